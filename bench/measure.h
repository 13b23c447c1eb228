// One row measured: both decoders in turns over the same picture.
#pragma once

#include <cstdint>

#include "rows.h"

namespace vorel_bench {

struct Side {
    double median_s = 0;
    double spread = 0;      // the middle half of the times, as a part of the median
    int64_t heap_peak = 0;  // bytes, besides the input and the output
};

struct Result {
    Side ours, peer;
    double ratio = 0;       // our speed by the peer's: the median over the turns, each of which is one decode of both
    double picture_mb = 0;  // the full picture at 3 bytes a pixel, in 10^6 bytes
    double bits_per_pixel = 0;  // of the JPEG
    int repetitions = 0;
    int difference = -1;  // the largest between two samples of the outputs; -1: sizes differ, nothing to compare
};

struct Effort {
    double seconds = 1.0;  // of measuring, for a row
    int least = 5, most = 25;
};

// Throws std::runtime_error when a decoder fails.
Result measure(const Row &row, const Effort &effort);

// The largest difference that the outputs of a row may have; -1 when it is only reported.
int tolerated_difference(const Row &row);

}  // namespace vorel_bench
