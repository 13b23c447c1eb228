// Loops over rows of stored samples. Every member of a table gives the same bytes in every table, for all inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

struct SampleKernels {
    const char *name;  // "scalar", "SSE4", "AVX2", ...
    // count samples of 1 to 15 bits, most significant bit first, beginning with the high bit of src[0]. end: of the
    // memory that may be read; the samples lie in front of it.
    void (*unpack)(const uint8_t *src, const uint8_t *end, uint32_t bits, size_t count, uint16_t *out);
    // The bytes of each value reversed; out may be in.
    void (*swap_16)(const uint16_t *in, size_t count, uint16_t *out);
    void (*swap_32)(const uint32_t *in, size_t count, uint32_t *out);
};

const SampleKernels &scalar_sample_kernels();
const SampleKernels &sample_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_sample_kernels(const SampleKernels **out);

}  // namespace vorel
