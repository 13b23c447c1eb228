// Decoding one iMCU row: entropy decoder and kernels together.
#pragma once

#include "jpeg/decoder/entropy/entropy.h"

namespace vorel {

// Decodes the next iMCU row of the record's scan into rows[component][row]. An iMCU row that the window does not need
// is passed over. 100, 101 at the last row, or 102.
int32_t decode_imcu(JpegInfo *info, McuMode mode, uint8_t ***rows);

// The same for reductions beyond 1/8, where a sample is the DC of the block that covers its pixel.
int32_t decode_sparse_imcu(JpegInfo *info, uint8_t ***rows);

// The mode and the function for the planned scale.
McuMode planned_mode(const JpegInfo *info);
int32_t decode_planned_imcu(JpegInfo *info, uint8_t ***rows);

// True when an MCU that fails now is too far from the bottom to be left gray.
bool too_early_to_fail(const JpegInfo *info);

}  // namespace vorel
