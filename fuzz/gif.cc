// GIF stills and animations at all sizes: nothing outside the buffer, the same from memory, a file and a slow stream,
// calls that end, and no pixel that depends on what stood in the buffer unless the picture does not reach it.
#include <vorel/raster.h>

#include <algorithm>

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
    bool operator==(const Decoded &other) const = default;
};

constexpr size_t kMostFrames = 12;

Decoded decode(Session &&session, const Target &target, uint8_t fill) {
    Decoded out;
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
    target.format = input.one_of(kFormats);
    target.options = input.one_of(kOptions);
    target.width = input.side();
    target.height = input.side();
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;
    const auto by = [&](Kind kind, uint8_t fill = kFill) {
        return decode({picture, kind, target.format, target.options}, target, fill);
    };
    const Decoded first = by(Kind::kMemory), second = by(Kind::kMemory, kOtherFill);
    require(first.still == second.still && first.results == second.results, "results do not depend on the buffer");
    require_whole_pixels(first.output, second.output, 1);
    require(first == by(Kind::kPath), "a file gives the same");
    require(first == decode({picture, target.format, target.options}, target, kFill), "a stream gives the same");
    return 0;
}
