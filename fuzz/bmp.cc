// BMP into targets of all sizes, formats, fits and turns: nothing outside the buffer, pixels written whole or not at
// all, and the same from every kind of input whatever is around them.
#include <vorel/raster.h>

#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Target {
    int32_t format;
    uint32_t options;
    int32_t width, height;
    uint32_t first_row, rows;  // a window, when rows is not 0
};

struct Decoded {
    int32_t result = -1;
    Bytes output;
};

Decoded decode(const Bytes &picture, Source source, const Target &target, uint8_t fill) {
    Decoded out;
    out.output.assign(target_bytes(target.format, target.width, target.height), fill);
    Session session(picture, source, target.format, target.options);
    if (!session.get()) return out;
    session.get()->partialDecode = target.rows != 0;
    session.get()->partialY = target.first_row;
    session.get()->partialHeight = target.rows;
    out.result = VORELBRIMI_DecodeBMP(session.get(), out.output.data(), target.width, target.height);
    require(!session.get()->codecState, "no state is left behind");
    require(session.get()->outWidth <= static_cast<uint32_t>(target.width) &&
                session.get()->outHeight <= static_cast<uint32_t>(target.height),
            "the picture is no larger than the target");
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 6);
    constexpr int32_t kFormats[] = {COLOR_RGB565,   COLOR_RGB888,   COLOR_ARGB8888, COLOR_BGR565A,
                                    COLOR_RGBA8888, COLOR_BGRA8888, COLOR_GRAY};
    Target target = {};
    target.format = kFormats[input.option() % 7];
    const uint32_t bits = input.option();
    target.options = (bits & 3) << 2 | (bits >> 2 & 7) << 8;
    target.width = static_cast<int32_t>(1 + input.option());
    target.height = static_cast<int32_t>(1 + input.option());
    target.first_row = input.option();
    target.rows = input.option() / 2;
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;

    const Decoded first = decode(picture, Source::kMemory, target, 0x5A);
    const Decoded second = decode(picture, Source::kMemory, target, 0xA5);
    const Decoded owned = decode(picture, Source::kOwnedMemory, target, 0x5A);
    const Decoded file = decode(picture, Source::kPath, target, 0x5A);
    const Decoded slow = decode(picture, Source::kSlowStream, target, 0x5A);
    require(first.result == 0 || first.result == 1, "memory ends where it ends");
    require(first.result == second.result, "the result does not depend on what was in the buffer");
    require(first.result == owned.result && first.output == owned.output, "both kinds of memory are the same");
    require(file.result == slow.result && file.output == slow.output, "a stream decodes as a file does");
    // A stream without its palette is refused.
    require(first.result == file.result ? first.output == file.output : file.result == 0,
            "a file decodes as memory does");
    if (!first.result) return 0;
    const size_t pixel = first.output.size() / (static_cast<size_t>(target.width) * static_cast<size_t>(target.height));
    for (size_t at = 0; at < first.output.size(); at += pixel) {
        if (std::memcmp(&first.output[at], &second.output[at], pixel) == 0) continue;
        for (size_t i = at; i < at + pixel; ++i) {
            require(first.output[i] == 0x5A && second.output[i] == 0xA5, "no pixel is written in part");
        }
    }
    return 0;
}
