// Rectangles of open pictures.
#include <vorel/bindings.h>
#include <vorel/util.h>

#include <algorithm>

#include "bindings/c/binding_log.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/c/region_overhang.h"

namespace vorel {
namespace {

constexpr int32_t kMostDecoderSample = 8;  // what is left of a reduction is done by resizing

struct Rectangle {
    int32_t left, right, top, bottom;
};

struct Size {
    int32_t width, height;
};

// As a whole number of pixels; of empty rectangles, and those that no number holds, 0 x 0.
Size size_of(const Rectangle &at, int32_t sample) {
    const int64_t width = int64_t{at.right} - at.left, height = int64_t{at.bottom} - at.top;
    if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) return {0, 0};
    return {static_cast<int32_t>(width) / sample, static_cast<int32_t>(height) / sample};
}

bool decode_dng(const RegionHandle *handle, void *output, const Rectangle &at) {
    VDngOptionWords options = {};
    return DngDecodeRegion2Buf(at.top, at.bottom, at.left, at.right, options, handle->decoder, handle->dngInstance,
                               static_cast<uint8_t *>(output)) == 1;
}

// A reduction of the picture's own decoder, into size_of(at, sample) pixels.
bool decode_reduced(const RegionHandle *handle, void *output, const Rectangle &at, int32_t sample) {
    const Size whole = size_of(at, 1), reduced = size_of(at, sample);
    switch (handle->fileType) {
        case VOREL_IMAGE_JPEG:
            return VrDoDecodeRegionEx(static_cast<DecInfo *>(handle->decoder), output, at.left / sample,
                                      at.top / sample, reduced.width, reduced.height, COLOR_RGBA8888, sample) == 1;
        case VOREL_IMAGE_PNG:
            return VrDoDecodeRegionPNGEx(static_cast<vpng_tile_index *>(handle->decoder), output, at.left, at.top,
                                         whole.width, whole.height, COLOR_RGBA8888, sample) == 1;
        case VOREL_IMAGE_DNG:
            return decode_dng(handle, output, at);
        default:
            return false;
    }
}

// The largest reduction that the picture's decoder does. Raw files are developed at their full size.
int32_t decoder_sample(const RegionHandle *handle, int32_t sample) {
    return handle->fileType == VOREL_IMAGE_DNG ? 1 : std::min(sample, kMostDecoderSample);
}

// New pixels, black where the picture has none.
void *new_pixels(const Size &size) {
    size_t bytes;
    if (!picture_bytes(COLOR_RGBA8888, size.width, size.height, &bytes)) return nullptr;
    void *pixels = os_allocate_zeroed(bytes);
    if (pixels) use_large_pages(pixels, bytes);
    return pixels;
}

// Into size_of(at, sample) pixels.
bool decode_rectangle(const RegionHandle *handle, void *output, const Rectangle &at, int32_t sample) {
    const Size size = size_of(at, sample);
    if (size.width < 1 || size.height < 1) return false;
    const int32_t by_decoder = decoder_sample(handle, sample);
    if (by_decoder == sample) return decode_reduced(handle, output, at, sample);
    const Size decoded = size_of(at, by_decoder);
    const OsBlock pixels(new_pixels(decoded));
    if (!pixels || !decode_reduced(handle, pixels.as<void>(), at, by_decoder)) return false;
    vorel_resize_rgba8888(pixels.as<uint8_t>(), static_cast<uint8_t *>(output), decoded.width, decoded.height,
                          size.width, size.height);
    return true;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrDoDecodeRegionEx(DecInfo *handle, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                           int32_t format, int32_t sampleSize) {
    if (!handle || !output) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    return region_ex(handle, output, x, y, width, height, format, sampleSize);
}

int32_t VrDoDecodeRegionPNGEx(vpng_tile_index *handle, void *output, int32_t x, int32_t y, int32_t width,
                              int32_t height, int32_t format, int32_t sampleSize) {
    if (!handle || !output) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    return region_png_ex(handle, output, x, y, width, height, format, sampleSize);
}

void *decodeRegion(RegionHandle *handle, int32_t left, int32_t right, int32_t top, int32_t bottom, VrOptions *options) {
    if (!handle || !options) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return nullptr;
    }
    if (options->sampleSize == 0) return nullptr;
    const Rectangle at = {left, right, top, bottom};
    const int32_t sample = std::max(options->sampleSize, 1);
    OsBlock pixels(new_pixels(size_of(at, sample)));
    return pixels && decode_rectangle(handle, pixels.as<void>(), at, sample) ? pixels.release() : nullptr;
}

int32_t decodeRegion2(RegionHandle *handle, void *output, int32_t left, int32_t right, int32_t top, int32_t bottom,
                      VrOptions *options) {
    if (!handle || !output || !options) {
        VOREL_ERROR_TRACE(kTagRegionDecoder);
        return 0;
    }
    if (options->sampleSize == 0) return 0;
    return decode_rectangle(handle, output, {left, right, top, bottom}, std::max(options->sampleSize, 1));
}

}  // extern "C"
