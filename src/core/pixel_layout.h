// How each colour format lies in memory.
#pragma once

#include <vorel/frame.h>

#include <cstddef>
#include <cstdint>

namespace vorel {

enum class ChromaLayout : uint8_t {
    kNone,    // pixels, or gray alone
    kPlanes,  // two planes behind luma
    kPairs,   // one plane of pairs behind luma
    kPacked   // between the luma samples
};

struct PixelLayout {
    uint8_t pixel_bytes;  // of a pixel, of a luma sample, or of half a pair of packed pixels
    ChromaLayout chroma;
    bool half_width, half_height;  // of chroma; odd sides round up

    constexpr size_t chroma_row_bytes(size_t width) const {
        const size_t samples = half_width ? (width + 1) / 2 : width;
        return chroma == ChromaLayout::kPlanes ? samples : chroma == ChromaLayout::kPairs ? 2 * samples : 0;
    }
    constexpr size_t chroma_rows(size_t height) const { return half_height ? (height + 1) / 2 : height; }
};

constexpr PixelLayout pixel_layout(int32_t format) {
    switch (format) {
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            return {2, ChromaLayout::kNone, false, false};
        case COLOR_RGB888:
        case COLOR_BGR565A:
            return {3, ChromaLayout::kNone, false, false};
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return {4, ChromaLayout::kNone, false, false};
        case COLOR_YUV420:
            return {1, ChromaLayout::kPlanes, true, true};
        case COLOR_YUV422:
            return {1, ChromaLayout::kPlanes, true, false};
        case COLOR_YUV440:
            return {1, ChromaLayout::kPlanes, false, true};
        case COLOR_YUV444:
            return {1, ChromaLayout::kPlanes, false, false};
        case COLOR_NV21:
        case COLOR_NV12:
            return {1, ChromaLayout::kPairs, true, true};
        case COLOR_YUYV:
            return {2, ChromaLayout::kPacked, true, false};
        default:
            return {1, ChromaLayout::kNone, false, false};
    }
}

}  // namespace vorel
