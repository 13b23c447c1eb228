// JPEG into targets of all sizes and layouts: nothing outside the buffer, and the same result and pixels from memory
// and from streams, however the bytes arrive.
#include <vorel/jpeg_decoder.h>

#include <algorithm>

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
    Bytes output;
    bool operator==(const Decoded &other) const {
        return result == other.result && out_width == other.out_width && out_height == other.out_height &&
               output == other.output;
    }
};

Decoded decode(Session &&session, const Request &request) {
    Decoded out;
    out.output.assign(format_bytes(request.format, request.width, request.height), 0x5A);
    if (!session.get()) return out;
    ImageInfo info;
    if (VORELBRIM_Parser(session.get(), &info) != VOREL_IMAGE_JPEG) return out;
    out.result = VORELBRIM_PDecodeJPEG(session.get(), out.output.data(), request.width, request.height, request.sample);
    out.out_width = session.get()->outWidth;
    out.out_height = session.get()->outHeight;
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

// A window of pixels, from memory, against the whole picture where that decodes.
void compare_window(const Bytes &picture, const ImageInfo &info, const Request &request, const Decoded &whole,
                    uint32_t place) {
    // At 1/8 a window of a progressive picture goes through all scans, the whole through those of the first DC bits.
    const bool eighth = 8 * whole.out_width <= info.width + 4 || 8 * whole.out_height <= info.height + 4;
    if (info.progressive && eighth) return;
    if (whole.result != 1 || request.format != COLOR_RGBA8888 || request.options & (12 | 0x700)) return;
    const uint32_t x = place % whole.out_width, y = place / 7 % whole.out_height;
    const uint32_t width = 1 + place / 3 % (whole.out_width - x), height = 1 + place / 5 % (whole.out_height - y);
    Session session(picture, Kind::kMemory, request.format, request.options);
    if (!session.get()) return;
    vorel::test::set_window(session.get(), x, y, width, height);
    Bytes window(size_t{width} * height * 4, 0x5A);
    require(VORELBRIM_DecodeJPEG(session.get(), window.data(), request.width, request.height) == 1,
            "a window of a picture that decodes does so too");
    // The whole stands in the middle of its target.
    const size_t across = static_cast<size_t>(request.width);
    const size_t left = (across - whole.out_width) / 2 + x;
    const size_t top = (static_cast<size_t>(request.height) - whole.out_height) / 2 + y;
    for (size_t row = 0; row < height; ++row) {
        const auto from = whole.output.begin() + static_cast<ptrdiff_t>(((top + row) * across + left) * 4);
        require(std::equal(from, from + static_cast<ptrdiff_t>(width) * 4,
                           window.begin() + static_cast<ptrdiff_t>(row * width * 4)),
                "a window is the cut of the whole");
    }
}

}  // namespace

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{4, 63, 0}, {5, 63, 0}};

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
    compare_window(input.picture(), info, request, memory,
                   static_cast<uint32_t>(input.picture().size()) * 2654435761u >> 12);
    require(stream == memory, "result, size and pixels are the same from memory and from a stream");
    // A stream that delivers less than it is asked for may end a parser early: only that nothing breaks is asked.
    decode({input.picture(), request.format, request.options}, request);
    return 0;
}
