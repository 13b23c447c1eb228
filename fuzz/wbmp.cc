// WBMP into targets of all sizes: nothing outside the buffer, the documented number of pixels, and the same from memory
// and from a file whatever is around them.
#include <vorel/raster.h>

#include <cstring>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

struct Decoded {
    int32_t result = -1;
    uint64_t pixels = 0;  // that it says it wrote
    Bytes output;
};

Decoded decode(const Bytes &picture, Source source, int32_t format, uint32_t options, int32_t width, int32_t height,
               uint8_t fill) {
    Decoded out;
    out.output.assign(target_bytes(format, width, height), fill);
    Session session(picture, source, format, options);
    if (!session.get()) return out;
    out.result = VORELBRIMI_DecodeWBMP(session.get(), out.output.data(), width, height);
    if (out.result) out.pixels = uint64_t{session.get()->outWidth} * session.get()->outHeight;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_GRAY};
    const int32_t format = kFormats[input.option() % 5];
    const uint32_t options = input.option() % 2 ? VOREL_OPTION_FIT_STRETCH : 0;
    const int32_t width = static_cast<int32_t>(1 + input.option()), height = static_cast<int32_t>(1 + input.option());
    const Bytes &picture = input.picture();
    if (picture.empty()) return 0;
    const Decoded first = decode(picture, Source::kMemory, format, options, width, height, 0x5A);
    const Decoded second = decode(picture, Source::kMemory, format, options, width, height, 0xA5);
    const Decoded file = decode(picture, Source::kPath, format, options, width, height, 0x5A);
    require(first.result == second.result, "the result does not depend on what was in the buffer");
    require(first.result == file.result && first.output == file.output, "a file decodes as memory does");
    // Every pixel is written in both or in none.
    const size_t pixel = first.output.size() / (static_cast<size_t>(width) * static_cast<size_t>(height));
    uint64_t written = 0;
    for (size_t at = 0; at < first.output.size(); at += pixel) {
        const bool same = std::memcmp(&first.output[at], &second.output[at], pixel) == 0;
        for (size_t i = at; i < at + pixel && !same; ++i) {
            require(first.output[i] == 0x5A && second.output[i] == 0xA5, "no pixel is written in part");
        }
        written += same;
    }
    require(written == first.pixels, "as many pixels are written as the session says");
    return 0;
}
