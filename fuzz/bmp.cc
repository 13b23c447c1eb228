// BMP into targets of all sizes, formats, fits and turns: nothing outside the buffer, pixels written whole or not at
// all, and the same from every kind of input whatever is around them.
#include "raster.h"

using namespace vorel_fuzz;

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{3, 63, 0}, {4, 63, 0}};

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
    const uint32_t first_row = input.option(), rows = input.option() / 2;
    if (input.picture().empty()) return 0;
    const Runs runs = run_all(input.picture(), target, [&](DecInfo *session, uint8_t fill) {
        Decoded out;
        session->partialDecode = rows != 0;
        session->partialY = first_row;
        session->partialHeight = rows;
        out.call(VORELBRIMI_DecodeBMP, session, target, fill);
        require(!session->codecState, "no state is left behind");
        require(session->outWidth <= static_cast<uint32_t>(target.width) &&
                    session->outHeight <= static_cast<uint32_t>(target.height),
                "the picture is no larger than the target");
        return out;
    });
    if (runs.memory.results.empty()) return 0;
    const int32_t result = runs.memory.results[0];
    require(result == 0 || result == 1, "memory ends where it ends");
    require(runs.memory == runs.owned, "both kinds of memory are the same");
    require(runs.file == runs.slow, "a stream decodes as a file does");
    // A stream without its palette is refused.
    require(runs.memory == runs.file || (result == 1 && runs.file.results[0] == 0), "a file decodes as memory does");
    if (result) require_whole_pixels(runs.memory.output, runs.other_fill.output, format_bytes(target.format, 1, 1));
    return 0;
}
