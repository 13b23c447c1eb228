// GIF stills and animations at all sizes: nothing outside the buffer, the same from memory, a file and a slow stream,
// calls that end, and no pixel that depends on what stood in the buffer unless the picture does not reach it.
#include <vorel/raster.h>

#include <algorithm>
#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Target {
    int32_t format, width, height;
    uint32_t options;

    size_t bytes() const {
        return format == VOREL_GIF_INDICES ? static_cast<size_t>(width) * static_cast<size_t>(height)
                                           : target_bytes(format, width, height);
    }
};

struct Decoded {
    int32_t still = -1;
    std::vector<int32_t> results;  // of the animation
    Bytes output;                  // all buffers behind one another
};

constexpr size_t kMostFrames = 12;

Decoded decode(const Bytes &picture, Source source, const Target &target, uint8_t fill) {
    Decoded out;
    Session session(picture, source, target.format, target.options);
    if (!session.get()) return out;
    Bytes buffer(target.bytes(), fill);
    const auto keep = [&] {
        out.output.insert(out.output.end(), buffer.begin(), buffer.end());
        std::fill(buffer.begin(), buffer.end(), fill);
    };
    out.still = VORELBRIMI_DecodeGIF(session.get(), buffer.data(), target.width, target.height);
    require(session.get()->codecState == nullptr, "a still leaves no state");
    keep();
    for (int32_t result = 1; result == 1 && out.results.size() < kMostFrames;) {
        result = VORELBRIMI_DecodeAGIF(session.get(), buffer.data(), target.width, target.height);
        require(result == 0 || result == 1 || result == 3, "a call says what follows");
        require(result == 1 || session.get()->frameDelay == 0, "no delay behind the last picture");
        out.results.push_back(result);
        keep();
    }
    VORELBRIMI_DeleteGIFInfo(session.get());
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_BGRA8888, VOREL_GIF_INDICES, COLOR_RGB888, COLOR_RGB565};
    constexpr uint32_t kOptions[] = {VOREL_OPTION_FIT_CENTER, VOREL_OPTION_FIT_PACKED, VOREL_OPTION_FIT_STRETCH,
                                     VOREL_OPTION_ROTATE_90, VOREL_OPTION_FIT_PACKED | VOREL_OPTION_ROTATE_270};
    Target target = {};
    target.format = kFormats[input.option() % 5];
    target.options = kOptions[input.option() % 5];
    target.width = static_cast<int32_t>(1 + input.option());
    target.height = static_cast<int32_t>(1 + input.option());
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;
    const Decoded first = decode(picture, Source::kMemory, target, 0x5A);
    const Decoded second = decode(picture, Source::kMemory, target, 0xA5);
    require(first.still == second.still && first.results == second.results, "results do not depend on the buffer");
    require(first.output.size() == second.output.size(), "nor does their number");
    for (size_t i = 0; i < first.output.size(); ++i)
        require(first.output[i] == second.output[i] || (first.output[i] == 0x5A && second.output[i] == 0xA5),
                "a byte is written in both or in none");
    for (const Source source : {Source::kPath, Source::kSlowStream}) {
        const Decoded other = decode(picture, source, target, 0x5A);
        require(other.still == first.still && other.results == first.results && other.output == first.output,
                "every kind of input gives the same");
    }
    return 0;
}
