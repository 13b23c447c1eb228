// WBMP into targets of all sizes: nothing outside the buffer, and the same pixels from memory whatever is around them.
#include <vorel/raster.h>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

Bytes decode(const Bytes &picture, int32_t format, uint32_t options, int32_t width, int32_t height, uint8_t fill,
             int32_t *result) {
    Bytes output(target_bytes(format, width, height), fill);
    Session session(picture, Source::kMemory, format, options);
    *result = session.get() ? VORELBRIMI_DecodeWBMP(session.get(), output.data(), width, height) : -1;
    return output;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 4);
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_GRAY};
    const int32_t format = kFormats[input.option() % 5];
    const uint32_t options = input.option() % 2 ? VOREL_OPTION_FIT_STRETCH : 0;
    const int32_t width = static_cast<int32_t>(1 + input.option()), height = static_cast<int32_t>(1 + input.option());
    if (input.picture().empty()) return 0;
    int32_t first_result, second_result;
    const Bytes first = decode(input.picture(), format, options, width, height, 0x5A, &first_result);
    const Bytes second = decode(input.picture(), format, options, width, height, 0xA5, &second_result);
    require(first_result == second_result, "the result does not depend on what was in the buffer");
    // A pixel is written in both or in none.
    size_t at = 0;
    while (at < first.size() && (first[at] == second[at] || (first[at] == 0x5A && second[at] == 0xA5))) ++at;
    require(at == first.size(), "the pixels do not depend on what was in the buffer");
    return 0;
}
