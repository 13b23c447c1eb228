// GIF stills and animations at all sizes: nothing outside the buffer, the same from memory, a file and a slow stream,
// calls that end, and no pixel that depends on what stood in the buffer unless the picture does not reach it.
#include "raster.h"

using namespace vorel_fuzz;

const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{3, 31, 0}, {4, 31, 0}};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_BGRA8888, VOREL_GIF_INDICES, COLOR_RGB888, COLOR_RGB565};
    constexpr uint32_t kOptions[] = {VOREL_OPTION_FIT_CENTER, VOREL_OPTION_FIT_PACKED, VOREL_OPTION_FIT_STRETCH,
                                     VOREL_OPTION_ROTATE_90, VOREL_OPTION_FIT_PACKED | VOREL_OPTION_ROTATE_270};
    Target target = {};
    target.format = input.one_of(kFormats);
    target.options = input.one_of(kOptions);
    target.width = input.side();
    target.height = input.side();
    if (input.picture().empty()) return 0;
    const Runs runs = run_all(input.picture(), target, [&](DecInfo *session, uint8_t fill) {
        constexpr size_t kMostCalls = 13;
        Decoded out;
        out.call(VORELBRIMI_DecodeGIF, session, target, fill);
        require(session->codecState == nullptr, "a still leaves no state");
        for (int32_t result = 1; result == 1 && out.results.size() < kMostCalls;) {
            result = out.call(VORELBRIMI_DecodeAGIF, session, target, fill);
            require(result == 0 || result == 1 || result == 3, "a call says what follows");
            require(result == 1 || session->frameDelay == 0, "no delay behind the last picture");
        }
        VORELBRIMI_DeleteGIFInfo(session);
        return out;
    });
    require_whole_pixels(runs.memory.output, runs.other_fill.output, 1);
    require(runs.memory == runs.owned && runs.memory == runs.file, "other memory and a file give the same");
    require(runs.memory == runs.slow, "a stream gives the same");
    return 0;
}
