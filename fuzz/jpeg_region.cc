// Maps of JPEG streams and rectangles out of them: nothing outside the buffer, the same from memory, from a stream and
// by two threads, and where the whole picture decodes too, its cut.
#include <vorel/vorel.h>

#include <algorithm>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

constexpr uint64_t kMostPixels = 512 * 512;

struct Request {
    int32_t format, x, y, width, height, sample;
};

struct Part {
    int32_t map = -1, result = -1;
    uint32_t picture_width = 0, picture_height = 0;
    Bytes output;
    // The session's input still begins where the picture does. A stream behind whose first block a progressive frame
    // begins becomes the memory from there on: what is read later, when the map has failed, is another picture.
    bool whole_input = true;

    bool same(const Part &other) const {
        return map == other.map && result == other.result && picture_width == other.picture_width &&
               picture_height == other.picture_height && output == other.output;
    }
};

using Decoder = decltype(VORELBRIM_DecodeRegion);

Part decode(Session &&session, const Request &at, Decoder *decoder) {
    Part out;
    out.output.assign(format_bytes(at.format, at.width, at.height), kFill);
    DecInfo *base = session.get();
    if (!base) return out;
    const int32_t bytes = base->ioInfo->size;
    out.map = VORELBRIM_ScanHuffmanInfo(base);
    out.whole_input = base->ioInfo->size == bytes;
    out.picture_width = base->imageWidth;
    out.picture_height = base->imageHeight;
    out.result = decoder(base, out.output.data(), 1, 1, at.x, at.y, at.width, at.height, at.sample);
    VORELBRIM_DestroyJpegInfo(base);
    return out;
}

int32_t reduced(uint32_t side, int32_t sample) {
    const auto by = static_cast<uint32_t>(sample);
    return static_cast<int32_t>(std::max(1u, (2 * side + by) / (2 * by)));
}

Request choose(Case &input) {
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21,
                                    COLOR_YUV422,   COLOR_YUYV,     COLOR_GRAY,   COLOR_RGB888};
    constexpr int32_t kSamples[] = {1, 1, 1, 2, 4, 8, 16, 3};
    Request out;
    out.format = input.one_of(kFormats);
    out.sample = input.one_of(kSamples);
    out.x = static_cast<int32_t>(input.option() + input.option());
    out.y = static_cast<int32_t>(input.option() + input.option());
    out.width = input.side();
    out.height = input.side();
    return out;
}

// Reduced progressive pictures are left out: the whole reads fewer headers, and tables may be defined again in the
// rest.
void compare_with_whole(const Bytes &picture, const ImageInfo &info, const Request &at, const Part &part) {
    if (part.result != 1 || at.format != COLOR_RGBA8888 || (info.progressive && at.sample != 1)) return;
    // Of several frame headers detection and the decoder may take different ones.
    if (part.picture_width != info.width || part.picture_height != info.height) return;
    const int32_t width = reduced(info.width, at.sample), height = reduced(info.height, at.sample);
    Session session(picture, Kind::kMemory, at.format, VOREL_OPTION_FIT_STRETCH);
    Bytes whole(format_bytes(at.format, width, height), kFill);
    if (!session.get() || VORELBRIM_DecodeJPEG(session.get(), whole.data(), width, height) != 1) return;
    // At 1/8 an MCU fails whose DC is out of range. Predictors of a map have 16 bits, so of data that runs away some
    // MCUs come out that the whole leaves gray, in its last rows, where failures are forgiven.
    const int32_t strict = at.sample >= 8 ? height - 32 : height;
    for (int32_t row = 0; row < at.height; ++row) {
        if (at.y + row < height && at.y + row >= strict) continue;
        for (int32_t column = 0; column < at.width; ++column) {
            const auto *pixel = &part.output[4 * static_cast<size_t>(row * at.width + column)];
            const bool inside = at.x + column < width && at.y + row < height;
            const auto from = inside ? 4 * static_cast<size_t>((at.y + row) * width + at.x + column) : 0;
            require(inside ? std::equal(pixel, pixel + 4, &whole[from]) : pixel[0] == kFill && pixel[3] == kFill,
                    "a rectangle is the cut of the whole, and nothing beside it is written");
        }
    }
}

// What is kept of rectangles that come again, and of others over them, changes nothing.
void compare_with_kept(const Bytes &picture, const Request &at, const Part &memory) {
    Session session(picture, Kind::kMemory, at.format, VOREL_OPTION_REGION);
    DecInfo *base = session.get();
    if (!base || VORELBRIM_ScanHuffmanInfo(base) != 1) return;
    for (int i = 0; i < 5; ++i) {
        Bytes out(memory.output.size(), kFill);
        // The third time what is around it is shown.
        const int32_t aside = i == 2 ? 9 : 0;
        const int32_t result =
            VORELBRIM_DecodeRegion(base, out.data(), 1, 1, at.x + aside, at.y + aside, at.width, at.height, at.sample);
        require(aside || (result == memory.result && out == memory.output), "the same from what is kept");
    }
    VORELBRIM_DestroyJpegInfo(base);
}

}  // namespace

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{7, 63, 0}, {8, 63, 0}};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 8);
    ImageInfo info;
    {
        Session session(input.picture(), Kind::kMemory, COLOR_RGBA8888, 0);
        if (!session.get() || VORELBRIM_Parser(session.get(), &info) != VOREL_IMAGE_JPEG) return 0;
        if (static_cast<uint64_t>(info.width) * info.height > kMostPixels) return 0;
    }
    const Request request = choose(input);
    const auto by = [&](Kind kind, Decoder *decoder) {
        return decode({input.picture(), kind, request.format, VOREL_OPTION_REGION}, request, decoder);
    };
    const Part memory = by(Kind::kMemory, VORELBRIM_DecodeRegion);
    compare_with_whole(input.picture(), info, request, memory);
    compare_with_kept(input.picture(), request, memory);
    const Part stream = by(Kind::kStream, VORELBRIM_DecodeRegion);
    require(stream.same(memory) || (!stream.whole_input && stream.map == 0 && memory.map == 0),
            "the same from memory and from a stream");
    const Part halves = by(Kind::kMemory, VORELBRIM_PDecodeRegion);
    if (halves.result == 1 && memory.result == 1) require(halves.output == memory.output, "the same by two threads");
    by(Kind::kMemory, VORELBRIM_P2DecodeRegion);
    return 0;
}
