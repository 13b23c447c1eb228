// WBMP into targets of all sizes: nothing outside the buffer, the documented number of pixels, and the same from memory
// and from a file whatever is around them.
#include <vorel/raster.h>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Decoded {
    int32_t result = -1;
    uint64_t pixels = 0;  // that it says it wrote
    Bytes output;
    bool operator==(const Decoded &other) const = default;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_GRAY};
    const int32_t format = input.one_of(kFormats);
    const uint32_t options = input.option() % 2 ? VOREL_OPTION_FIT_STRETCH : 0;
    const int32_t width = input.side(), height = input.side();
    if (input.picture().empty()) return 0;
    const auto decode = [&](Kind kind, uint8_t fill) {
        Decoded out = {-1, 0, Bytes(target_bytes(format, width, height), fill)};
        Session session(input.picture(), kind, format, options);
        if (!session.get()) return out;
        out.result = VORELBRIMI_DecodeWBMP(session.get(), out.output.data(), width, height);
        if (out.result) out.pixels = uint64_t{session.get()->outWidth} * session.get()->outHeight;
        return out;
    };
    const Decoded first = decode(Kind::kMemory, kFill), second = decode(Kind::kMemory, kOtherFill);
    require(first.result == second.result, "the result does not depend on what was in the buffer");
    require(first == decode(Kind::kPath, kFill), "a file decodes as memory does");
    require(require_whole_pixels(first.output, second.output, target_bytes(format, 1, 1)) == first.pixels,
            "as many pixels are written as the session says");
    return 0;
}
