// The coefficients of some MCUs in a fifth of their memory and less: what a rectangle has decoded, for the next one.
#pragma once

#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

// One block of memory: this, where each MCU begins, and the MCUs. A block is its DC, the zigzag position of its last
// coefficient, how many of its coefficients are not zero, their places and their values. With McuMode::kDc it is its
// DC.
struct PackedMcus {
    uint32_t bytes;  // of all
    uint32_t mcus;
};

// As decode_mcus left them: of kScaled blocks what their kernels look at. Freed with os_release. Null without memory.
PackedMcus *pack_mcus(const ScanReader *scan, McuMode mode, uint32_t mcus, const int16_t *const *blocks,
                      const uint8_t *last);

// MCUs [first, first + mcus) back to blocks that are as decode_mcus leaves them.
void unpack_mcus(const PackedMcus *packed, McuMode mode, int32_t blocks_in_mcu, uint32_t first, uint32_t mcus,
                 int16_t *const *blocks, uint8_t *last);

}  // namespace vorel
