#include "bindings/java/operations/comparison.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "bindings/c/binding_log.h"

namespace vorel {
namespace {

uint64_t squares(const uint8_t *first, const uint8_t *second, size_t count) {
    uint64_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        const int32_t difference = first[i] - second[i];
        sum += static_cast<uint32_t>(difference * difference);
    }
    return sum;
}

double ratio(uint64_t sum, size_t count) {
    if (count == 0) return 0;
    if (sum == 0) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(count) / static_cast<double>(sum));
}

}  // namespace

double psnr(const uint8_t *first, const uint8_t *second, size_t count) {
    return ratio(squares(first, second, count), count);
}

double psnr_of_rows(const uint8_t *first, size_t first_stride, const uint8_t *second, size_t second_stride,
                    size_t row_bytes, size_t rows) {
    uint64_t sum = 0;
    for (size_t row = 0; row < rows; ++row) {
        sum += squares(first + row * first_stride, second + row * second_stride, row_bytes);
    }
    return ratio(sum, row_bytes * rows);
}

bool append_comparison(const char *path, const Comparison &comparison) {
    FILE *file = VORELBRIM_OsFopen(path, "a");
    if (!file) {
        VOREL_ERROR(kTagBitmapDecoder, "resWriter Error!");
        return false;
    }
    if (comparison.encode) {
        std::fprintf(file, "Encode Speed : %ld ms\tEncode Quality : %d\tOrigin File Size : %ld Bytes\t",
                     comparison.first_ms, comparison.quality, comparison.origin_bytes);
        std::fprintf(file, "Encode File Size : %ld Bytes\tPSNR : %lf\n", comparison.encoded_bytes, comparison.psnr);
    } else {
        std::fprintf(file, "Decode Speed : %ldms\tSKIA Speed : %ldms\tPSNR : %lf\n", comparison.first_ms,
                     comparison.second_ms, comparison.psnr);
    }
    VORELBRIM_OsFclose(file);
    return true;
}

}  // namespace vorel
