// The mosaic's kernels: rows of a Bayer pattern, interpolated or added up. Every member gives the same bytes in every
// table, for all inputs. Outputs do not overlap inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {

// One row of the output, of three interleaved planes of which plane 1 takes the colour that every row has. Sites have
// neighbours on all sides: the three rows are read from one sample in front to one behind, and may be the same row.
struct BayerRow {
    const uint16_t *above, *here, *below;
    uint32_t count;
    bool green_first;  // whether the first site has the colour of plane 1
    uint32_t plane;    // 0 or 2: of the row's other colour
    uint16_t *dst;
};

struct MosaicKernels {
    const char *name;
    // Means of the two or four nearest of a colour, halves rounded up: (sum + count / 2) / count.
    void (*bayer_row)(const BayerRow &row);
    // sums[i] += src[i]; the first row of a block sets them.
    void (*set_sums)(const uint16_t *src, uint32_t count, uint32_t *sums);
    void (*add_sums)(const uint16_t *src, uint32_t count, uint32_t *sums);
};

const MosaicKernels &mosaic_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_mosaic_kernels(const MosaicKernels **out);

// Fill their members with the plainest code, and replace those that have a vector twin for the target.
void add_scalar_bayer_row(MosaicKernels *table);
void add_scalar_block_sums(MosaicKernels *table);
void add_vector_bayer_row(SimdTarget target, MosaicKernels *table);
void add_vector_block_sums(SimdTarget target, MosaicKernels *table);

}  // namespace vorel
