// The caller's record with pixels.
#include "core/core.h"
#include "jpeg/encoder/session.h"
#include "util/atomics.h"

using namespace vorel;

namespace {

constexpr uint32_t kBadSide = 12, kUnknownFormat = 7, kTag = 2;

// The planes or pixels of a picture, odd sides rounded up as readers do.
uint64_t picture_bytes(int32_t format, uint64_t width, uint64_t height) {
    const PixelLayout layout = pixel_layout(format);
    if (layout.chroma == ChromaLayout::kPacked) return height * (2 * width + (2 * width & 3));
    const uint64_t planes = layout.chroma == ChromaLayout::kPlanes ? 2 : 1;
    return width * height * layout.pixel_bytes + planes * layout.chroma_row_bytes(width) * layout.chroma_rows(height);
}

bool known(int32_t format) {
    return (format >= COLOR_RGB565 && format <= COLOR_BGRA8888) || format == COLOR_YUV440 || format == COLOR_YUV444 ||
           (format >= COLOR_YUYV && format <= COLOR_NV12);
}

}  // namespace

extern "C" {

RawInfo *VORELBRIM_CreateRawInfo(int32_t width, int32_t height, int32_t format) {
    if (width <= 0 || height <= 0) {
        store_relaxed(&debug_BrimCodecError, kBadSide);
        return nullptr;
    }
    if (width > kMostSide || height > kMostSide) return nullptr;
    auto *raw = os_allocate_array<RawInfo>(1);
    if (!raw) {
        store_relaxed(&debug_BrimCodecError, kBadArgument);
        return nullptr;
    }
    if (!known(format)) {
        store_relaxed(&debug_BrimCodecError, kUnknownFormat);
        format = COLOR_RGB565;
    }
    const uint64_t bytes = picture_bytes(format, static_cast<uint64_t>(width), static_cast<uint64_t>(height));
    raw->pixels = os_allocate_array<uint8_t>(bytes);
    if (!raw->pixels) {
        os_release(raw);
        store_relaxed(&debug_BrimCodecError, kBadArgument);
        return nullptr;
    }
    raw->width = static_cast<uint32_t>(width);
    raw->height = height;
    raw->format = static_cast<uint32_t>(format);
    raw->formatTag = kTag;
    return raw;
}

int32_t VORELBRIM_DestroyRawInfo(RawInfo *raw) {
    if (!raw) return 1;
    os_release(raw->pixels);
    os_release(raw);
    return 1;
}

}  // extern "C"
