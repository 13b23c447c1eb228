// Inverse DCTs over rows of blocks, wherever the coefficients come from and wherever the sample rows lie.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Blocks of one component that stand side by side.
struct BlockRow {
    const int16_t *blocks[kBatchBlocks];  // 64 coefficients each, natural order
    uint8_t last[kBatchBlocks];           // zigzag position of the last coefficient that may be nonzero
    int32_t count;
};

// Transforms a row of blocks into rows[0..block_height) from sample column `column` on. Each row lies where its pointer
// says; rows at equal distances are written in place.
void transform_blocks(const JpegInfo *info, const JpegComponent *component, const BlockRow &row, uint8_t *const *rows,
                      ptrdiff_t column);

}  // namespace vorel
