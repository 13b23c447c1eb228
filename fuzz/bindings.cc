// The calls for any type: whole pictures and rectangles that may hang over them, from memory and from files. Nothing
// outside the buffers, and the same by every call that gives the same pixels.
#include <vorel/bindings.h>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

constexpr int64_t kMostPixels = 256 * 256;

int32_t length_of(const Bytes &picture) { return static_cast<int32_t>(picture.size()); }

VrOptions options_of(int32_t sample, int32_t format) {
    VrOptions options = {};
    options.sampleSize = sample;
    options.colorFormat = format;
    return options;
}

// The pixels of a call in its own memory; empty for none.
Bytes taken(void *pixels, size_t bytes) {
    if (!pixels) return {};
    const uint8_t *first = static_cast<const uint8_t *>(pixels);
    const Bytes out(first, first + bytes);
    VORELBRIM_OsFree(pixels);
    return out;
}

int32_t reduced(int32_t side, int32_t sample) { return (2 * side + sample) / (2 * sample); }

void decode_whole(const Bytes &picture, const VrOptions &wanted, const VrOptions &bounds) {
    const int32_t width = reduced(bounds.width, wanted.sampleSize), height = reduced(bounds.height, wanted.sampleSize);
    if (bounds.fileType != VOREL_IMAGE_JPEG && bounds.fileType != VOREL_IMAGE_PNG) {
        VrOptions options = wanted;
        VORELBRIM_OsFree(decodeByteArray(picture.data(), length_of(picture), &options));
        return;
    }
    if (width < 1 || height < 1) return;
    VrOptions options = wanted, other = wanted;
    Bytes out(format_bytes(wanted.colorFormat, width, height), 0);
    const int32_t result = VrDecodeImage(picture.data(), out.data(), length_of(picture), wanted.colorFormat, &other);
    const Bytes made = taken(decodeByteArray(picture.data(), length_of(picture), &options), out.size());
    require(made.empty() == (result == 0), "both calls decode or neither");
    require(made.empty() || made == out, "both calls give the same");
    require(options.handle == nullptr, "no handle behind a decode");
}

void decode_rectangles(Case &input, const Bytes &picture, int32_t sample, int32_t format) {
    VrOptions options = options_of(sample, COLOR_RGBA8888);
    RegionHandle *handle = newInstanceByteArray(picture.data(), length_of(picture), &options);
    if (!handle) return;
    const int32_t width = getWidth(handle), height = getHeight(handle);
    const int32_t left = input.below(width + 40) - 20, top = input.below(height + 40) - 20;
    const int32_t right = left + input.side(), bottom = top + input.side();
    Bytes out(format_bytes(COLOR_RGBA8888, (right - left) / sample, (bottom - top) / sample), 0);
    const int32_t result = out.empty() ? 0 : decodeRegion2(handle, out.data(), left, right, top, bottom, &options);
    const Bytes made = taken(decodeRegion(handle, left, right, top, bottom, &options), out.size());
    require(made.empty() == (result == 0), "both calls decode a rectangle or neither");
    require(made.empty() || made == out, "both calls give the same rectangle");
    if (handle->fileType == VOREL_IMAGE_JPEG) {
        const int32_t w = input.side(), h = input.side();
        Bytes first(format_bytes(format, w, h), kFill), second(first.size(), kOtherFill);
        DecInfo *session = static_cast<DecInfo *>(handle->decoder);
        const int32_t one = VrDoDecodeRegionEx(session, first.data(), left, top, w, h, format, sample);
        const int32_t other = VrDoDecodeRegionEx(session, second.data(), left, top, w, h, format, sample);
        require(one == other, "the same result over other bytes");
    }
    recycle(handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 9);
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;
    VrOptions bounds = options_of(1, COLOR_RGBA8888);
    bounds.justBounds = 1;
    decodeByteArray(picture.data(), length_of(picture), &bounds);
    if (int64_t{bounds.width} * bounds.height > kMostPixels || bounds.width < 1 || bounds.height < 1) return 0;
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_BGRA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21, COLOR_NV12};
    constexpr int32_t kSamples[] = {1, 1, 2, 3, 4, 8, 9, 16};
    const int32_t format = input.one_of(kFormats), sample = input.one_of(kSamples);
    decode_whole(picture, options_of(sample, format), bounds);
    decode_rectangles(input, picture, sample, format);
    return 0;
}
