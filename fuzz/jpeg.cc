// JPEG into targets of all sizes and layouts: nothing outside the buffer, and the same result and pixels from memory
// and from streams, however the bytes arrive.
#include <vorel/jpeg_decoder.h>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

// A decode of more pixels teaches nothing new and costs runs.
constexpr uint64_t kMostPixels = 512 * 512;

struct Request {
    int32_t format, width, height, sample;
    uint32_t options;
};

struct Decoded {
    int32_t result = -1;
    uint32_t out_width = 0, out_height = 0;
    bool several_scans = false;
    Bytes output;
    bool operator==(const Decoded &other) const {
        return result == other.result && out_width == other.out_width && out_height == other.out_height &&
               output == other.output;
    }
};

Decoded decode(Session &&session, const Request &request) {
    Decoded out;
    out.output.assign(target_bytes(request.format, request.width, request.height), 0x5A);
    if (!session.get()) return out;
    ImageInfo info;
    if (VORELBRIM_Parser(session.get(), &info) != VOREL_IMAGE_JPEG) return out;
    out.result = VORELBRIM_PDecodeJPEG(session.get(), out.output.data(), request.width, request.height, request.sample);
    out.out_width = session.get()->outWidth;
    out.out_height = session.get()->outHeight;
    out.several_scans = session.get()->multiScan != 0;
    return out;
}

// True when the picture is one worth decoding; its size is used for a target of a part of it.
bool measure(const Bytes &picture, ImageInfo *info) {
    Session session(picture, Kind::kMemory, COLOR_RGBA8888, 0);
    return session.get() && VORELBRIM_Parser(session.get(), info) == VOREL_IMAGE_JPEG &&
           static_cast<uint64_t>(info->width) * info->height <= kMostPixels;
}

Request choose(Case &input, const ImageInfo &info) {
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGB565, COLOR_BGRA8888, COLOR_YUV420,    COLOR_NV21,
                                    COLOR_NV12,     COLOR_YUV422, COLOR_YUV440,   COLOR_YUV444,    COLOR_YUYV,
                                    COLOR_GRAY,     COLOR_RGB888, COLOR_ARGB8888, COLOR_RGB565_ALT};
    constexpr uint32_t kFits[] = {VOREL_OPTION_FIT_CENTER, VOREL_OPTION_FIT_PACKED, VOREL_OPTION_FIT_TOP_LEFT,
                                  VOREL_OPTION_FIT_COVER, VOREL_OPTION_FIT_STRETCH};
    Request request;
    request.format = input.one_of(kFormats);
    const uint32_t bits = input.option();
    request.options = kFits[bits % 5] | (bits >> 4 & 3) << 2;
    if (bits & 0x80) request.options |= VOREL_OPTION_COMPRESS_RANGE;
    request.sample = input.below(18);
    const uint32_t across = input.option(), down = input.option();
    if (across == 0) {  // the size that the one-call entries use
        const uint32_t divisor = request.sample ? static_cast<uint32_t>(request.sample) : 1;
        request.width = static_cast<int32_t>(info.width / divisor);
        request.height = static_cast<int32_t>(info.height / divisor);
    } else {
        request.width = static_cast<int32_t>(across);
        request.height = static_cast<int32_t>(1 + down);
    }
    return request;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 5);
    ImageInfo info;
    if (input.picture().empty() || !measure(input.picture(), &info)) return 0;
    const Request request = choose(input, info);
    if (request.width < 1 || request.height < 1) return 0;
    const auto by = [&](Kind kind) {
        return decode({input.picture(), kind, request.format, request.options}, request);
    };
    const Decoded memory = by(Kind::kMemory), stream = by(Kind::kStream);
    // Several scans are read side by side, which a stream cannot serve.
    if (memory.several_scans && stream.result == 0) return 0;
    require(stream == memory, "result, size and pixels are the same from memory and from a stream");
    // A stream that delivers less than it is asked for may end a parser early: only that nothing breaks is asked.
    decode({input.picture(), request.format, request.options}, request);
    return 0;
}
