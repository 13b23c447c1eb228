// What the fuzz targets share.
#include "harness.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorel_fuzz {

Case::Case(const uint8_t *data, size_t size, size_t option_bytes) {
    const size_t split = size > option_bytes ? size - option_bytes : size;
    picture_.assign(data, data + split);
    options_.assign(data + split, data + size);
}

uint32_t Case::option() {
    if (options_.empty()) return 0;
    const uint32_t value = options_.back();
    options_.pop_back();
    return value;
}

uint64_t require_whole_pixels(const Bytes &first, const Bytes &second, size_t pixel_bytes) {
    require(first.size() == second.size(), "both write as much");
    uint64_t written = 0;
    const uint8_t *a = first.data(), *b = second.data();
    for (const uint8_t *end = a + first.size(); a < end; a += pixel_bytes, b += pixel_bytes) {
        size_t same = 0, kept = 0;
        for (size_t i = 0; i < pixel_bytes; ++i) {
            same += a[i] == b[i];
            kept += a[i] == kFill && b[i] == kOtherFill;
        }
        require(same == pixel_bytes || kept == pixel_bytes, "no pixel is written in part");
        written += same == pixel_bytes;
    }
    return written;
}

void require(bool holds, const char *property) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", property);
    std::abort();
}

}  // namespace vorel_fuzz
