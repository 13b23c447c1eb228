// How far two pictures are from one another, and a line about it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// The peak signal to noise ratio of `count` bytes each, dB; infinite for equal ones, 0 for none.
double psnr(const uint8_t *first, const uint8_t *second, size_t count);
// Of rows of row_bytes, which lie first_stride and second_stride apart.
double psnr_of_rows(const uint8_t *first, size_t first_stride, const uint8_t *second, size_t second_stride,
                    size_t row_bytes, size_t rows);

struct Comparison {
    long first_ms, second_ms;  // of two decodes; of an encode the first
    int32_t quality;
    long origin_bytes, encoded_bytes;
    bool encode;
    double psnr;
};
// Appends the result to a file; false with a log line where that does not open.
bool append_comparison(const char *path, const Comparison &comparison);

}  // namespace vorel
