// Scaled rows of a BMP: an output pixel is the mean of four samples, at a quarter and at three quarters of its
// footprint in both directions.
#pragma once

#include <vorel/raster.h>

#include <cstdint>

#include "core/core.h"

namespace vorel {

// The two source positions of an output position.
struct SamplePair {
    int32_t first, second;
};
inline SamplePair sample_pair(int64_t position, int32_t source, int32_t target) {
    const int64_t start = position * source;
    return {static_cast<int32_t>(((source >> 2) + start) / target),
            static_cast<int32_t>(((int64_t{3} * source >> 2) + start) / target)};
}

// The sample columns of all output columns; null without memory. The caller releases it.
SamplePair *make_sample_columns(const BmpInfo *info);

// Adds the samples of one row, as the file stores it, to info->scratch (and alphaScratch for 32 bits).
using AddSamplesFn = void (*)(const BmpInfo *info, const uint8_t *row, const SamplePair *columns);
AddSamplesFn add_samples_of(int32_t bit_count);
// The same of a row of packed words.
void add_packed_samples(const BmpInfo *info, const uint32_t *row, const SamplePair *columns);

}  // namespace vorel
