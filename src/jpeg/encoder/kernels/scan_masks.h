// Which coefficients of a block a progressive scan has to look at, as bit masks. Pure functions of their arguments.
#pragma once

#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

// Bit k stands for coefficient k.
struct RefineMasks {
    uint64_t before;  // |v| >> (al + 1) is not 0: scans before this one have said so
    uint64_t now;     // |v| >> al is not 0
    uint64_t plane;   // bit al of |v|
};

struct ScanKernels {
    const char *name;
    // `count` neighbouring blocks of 64 coefficients, 16-byte aligned; al from 0 to 13. Coefficients above `last`,
    // rounded up to a multiple of 32 less 1, need no right masks.
    void (*first)(const int16_t *blocks, uint32_t count, uint32_t last, uint32_t al, uint64_t *now);
    void (*refine)(const int16_t *blocks, uint32_t count, uint32_t al, RefineMasks *masks);
};

const ScanKernels &scalar_scan_kernels();
// The best table that this CPU runs; taken once, at set-up.
const ScanKernels &scan_kernels();
int runnable_scan_kernels(const ScanKernels **out);

}  // namespace vorel
