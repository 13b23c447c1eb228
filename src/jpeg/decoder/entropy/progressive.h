// Entropy decoding of the scans of a progressive frame (T.81 G.1.2): each adds to coefficients that the scans before it
// left in a row of blocks.
#pragma once

#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

// Where the blocks of a run of MCUs stand. With AC scans, nonzero has a bit for each zigzag position of a block that is
// not zero; what DC scans store does not show there.
struct PassTarget {
    int16_t *block[kMaxBlocksInMcu];
    uint32_t step[kMaxBlocksInMcu];  // coefficients from a block to the same one of the next MCU
    uint64_t *nonzero;               // of the scan's only component

    void advance(const ScanReader *scan, int32_t mcus) {
        for (int b = 0; b < scan->blocksInMcu; ++b) block[b] += static_cast<ptrdiff_t>(step[b]) * mcus;
        if (nonzero) nonzero += mcus;
    }
};

// The most bits that a point transform (Al) leaves out of coefficients of 8-bit samples.
constexpr int32_t kMaxPointTransform = 13;

// The four passes of T.81 G.1.2, by Ss and Ah.
enum class Pass : uint8_t { kDcFirst, kAcFirst, kDcRefine, kAcRefine };
Pass pass_of(const ScanReader *scan);

// Decodes `count` MCUs of the scan, one after another, each begun first, and moves the target on. Returns how many were
// done: fewer than count when an MCU failed, because the input cannot be read. The end of the input counts as a marker:
// what the scan has not refined stays as it is.
int32_t decode_pass(ScanReader *scan, PassTarget *to, int32_t count);

// Makes the blocks of the target's first MCU zero.
void clear_pass_mcu(const ScanReader *scan, const PassTarget &to);

}  // namespace vorel
