// BMP into targets of all sizes, formats, fits and turns: nothing outside the buffer, pixels written whole or not at
// all, and the same from every kind of input whatever is around them.
#include <vorel/raster.h>

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
    bool operator==(const Decoded &other) const = default;
};

Decoded decode(Session &&session, const Target &target, uint8_t fill) {
    Decoded out;
    out.output.assign(target_bytes(target.format, target.width, target.height), fill);
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
    target.format = input.one_of(kFormats);
    const uint32_t bits = input.option();
    target.options = (bits & 3) << 2 | (bits >> 2 & 7) << 8;
    target.width = input.side();
    target.height = input.side();
    target.first_row = input.option();
    target.rows = input.option() / 2;
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;

    const auto by = [&](Kind kind, uint8_t fill = kFill) {
        return decode({picture, kind, target.format, target.options}, target, fill);
    };
    const Decoded first = by(Kind::kMemory), second = by(Kind::kMemory, kOtherFill), file = by(Kind::kPath);
    require(first.result == 0 || first.result == 1, "memory ends where it ends");
    require(first.result == second.result, "the result does not depend on what was in the buffer");
    require(first == by(Kind::kOwnedMemory), "both kinds of memory are the same");
    require(file == decode({picture, target.format, target.options}, target, kFill), "a stream decodes as a file does");
    // A stream without its palette is refused.
    require(first.result == file.result ? first.output == file.output : file.result == 0,
            "a file decodes as memory does");
    if (first.result) require_whole_pixels(first.output, second.output, target_bytes(target.format, 1, 1));
    return 0;
}
