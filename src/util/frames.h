// Sizes of raw frames, and where their planes stand.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

constexpr uint64_t kMostFrameBytes = PTRDIFF_MAX;

// A 4:2:0 frame, with (width + 1) / 2 x (height + 1) / 2 chroma samples; sizes in bytes.
struct Yuv420 {
    size_t luma = 0;
    int32_t chroma_width = 0, chroma_height = 0;  // samples, or pairs
    size_t chroma_plane = 0;                      // of one of the two planes; pairs take twice as much

    Yuv420(int32_t width, int32_t height)
        : luma(static_cast<size_t>(width) * static_cast<size_t>(height)),
          chroma_width(static_cast<int32_t>((int64_t{width} + 1) / 2)),
          chroma_height(static_cast<int32_t>((int64_t{height} + 1) / 2)),
          chroma_plane(static_cast<size_t>(chroma_width) * static_cast<size_t>(chroma_height)) {}
    size_t bytes() const { return luma + 2 * chroma_plane; }
};

// A frame of at least one pixel and at most kMostFrameBytes; no product here leaves 64 bits.
inline bool packed_frame_fits(int32_t width, int32_t height, uint32_t pixel_bytes) {
    return width > 0 && height > 0 &&
           static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * pixel_bytes <= kMostFrameBytes;
}
inline bool yuv420_frame_fits(int32_t width, int32_t height) {
    return packed_frame_fits(width, height, 1) && Yuv420(width, height).bytes() <= kMostFrameBytes;
}

// The bytes of memory beside a frame, which may be more than one can have: false then.
inline bool block_fits(uint64_t a, uint64_t b, size_t *bytes) {
    uint64_t product;
    if (__builtin_mul_overflow(a, b, &product) || product > kMostFrameBytes) return false;
    *bytes = static_cast<size_t>(product);
    return true;
}

}  // namespace vorel
