// Inverse DCTs over rows of blocks, wherever the coefficients come from and wherever the sample rows lie.
#include "jpeg/decoder/rows/transform.h"

#include <cstring>

#include "jpeg/decoder/rows/imcu.h"

namespace vorel {
namespace {

// The distance between rows, where it is the same for all; 0 where it is not.
ptrdiff_t common_stride(uint8_t *const *rows, int32_t count) {
    if (count < 2) return 1;
    // Rows may belong to different blocks of memory, so addresses are compared as numbers.
    const auto address = [&](int32_t i) { return reinterpret_cast<intptr_t>(rows[i]); };
    const intptr_t stride = address(1) - address(0);
    for (int32_t i = 2; i < count; ++i) {
        if (address(i) - address(i - 1) != stride) return 0;
    }
    return stride;
}

}  // namespace

void transform_blocks(const JpegInfo *info, const JpegComponent *component, const BlockRow &row, uint8_t *const *rows,
                      ptrdiff_t column) {
    const OutputPlan &plan = info->plan;
    const ComponentPlan &at = plan.components[component->index];
    const uint8_t *range = range_of(info, component);
    const bool plain = range == plan.sampleRangeLimit;
    const BlockRunFn transform = plan.kernels->idct[static_cast<int>(at.shape)];
    const ptrdiff_t stride = common_stride(rows, at.block_height);
    if (stride != 0) {
        transform({row.blocks, row.last, row.count, at.multipliers, range, plain, rows[0] + column, stride});
        return;
    }
    alignas(64) uint8_t samples[kBlockSide][kBatchBlocks * kBlockSide];
    transform({row.blocks, row.last, row.count, at.multipliers, range, plain, samples[0], sizeof samples[0]});
    const size_t bytes = static_cast<size_t>(row.count) * at.block_width;
    for (int32_t i = 0; i < at.block_height; ++i) std::memcpy(rows[i] + column, samples[i], bytes);
}

}  // namespace vorel
