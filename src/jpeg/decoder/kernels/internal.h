// Between the files of this module: who fills which members of a table, and the scalar twins that vector code falls
// back on.
#pragma once

#include "jpeg/decoder/kernels/kernels.h"

namespace vorel {

// Fill their members with the plainest code.
void add_scalar_islow(KernelTable *table);
void add_scalar_scaled(KernelTable *table);
void add_scalar_colour(KernelTable *table);
void add_scalar_samples(KernelTable *table);
// Replace the members that have a vector twin for the target.
void add_vector_islow(SimdTarget target, KernelTable *table);
void add_vector_scaled(SimdTarget target, KernelTable *table);
void add_vector_colour(SimdTarget target, KernelTable *table);
void add_vector_samples(SimdTarget target, KernelTable *table);

// Where a block's samples go.
struct BlockOut {
    uint8_t *out;
    ptrdiff_t stride_bytes;
};
void islow_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut out);
// The part of a run from block `first` on, by the scalar code.
inline BlockRun run_from(const BlockRun &run, int32_t first, int32_t count, int width) {
    BlockRun part = run;
    part.blocks += first;
    part.last += first;
    part.count = count;
    part.out += static_cast<ptrdiff_t>(first) * width;
    return part;
}

// A transform's result to a sample. Values beyond the table are clamped at its ends, so that they never wrap.
template <typename Value>
inline uint8_t to_sample(const uint8_t *range_limit, Value value) {
    const Value clamped = value < -512 ? -512 : value > 511 ? 511 : value;
    return range_limit[static_cast<uint32_t>(clamped) & 0x3FF];
}

}  // namespace vorel
