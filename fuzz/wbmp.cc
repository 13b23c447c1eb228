// WBMP into targets of all sizes: nothing outside the buffer, the documented number of pixels, and the same from memory
// and from a file whatever is around them.
#include "raster.h"

using namespace vorel_fuzz;

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{3, 63, 0}, {4, 63, 0}};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_GRAY};
    Target target = {};
    target.format = input.one_of(kFormats);
    target.options = input.option() % 2 ? VOREL_OPTION_FIT_STRETCH : 0;
    target.width = input.side();
    target.height = input.side();
    if (input.picture().empty()) return 0;
    const Runs runs = run_all(input.picture(), target, [&](DecInfo *session, uint8_t fill) {
        Decoded out;
        if (out.call(VORELBRIMI_DecodeWBMP, session, target, fill))
            out.pixels = uint64_t{session->outWidth} * session->outHeight;
        return out;
    });
    require(runs.memory == runs.file, "a file decodes as memory does");
    const size_t pixel = format_bytes(target.format, 1, 1);
    require(require_whole_pixels(runs.memory.output, runs.other_fill.output, pixel) == runs.memory.pixels,
            "as many pixels are written as the session says");
    return 0;
}
