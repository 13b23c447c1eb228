// Entropy decoding of baseline scans, MCU by MCU (T.81 F.2.2), and restart handling (T.81 E.2.4).
//
// Two paths give the same coefficients and the same states. The plain path (bit_reader.h) reads byte by byte from the
// stream buffer and knows every way in which a stream can end. The fast path (entropy_window.h) reads from an unstuffed
// copy of the bytes ahead, through a 64-bit reservoir and look-ups that give whole symbols; it hands over to the plain
// path wherever the stream is not plain data.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// What a block keeps of its coefficients.
enum class McuMode : uint8_t {
    kFull,    // all
    kScaled,  // the first EntropyDecoder.block_keep of each block; the rest is walked over
    kDc,      // DC alone, the only value that is touched; a DC result beyond 12 bits fails the MCU
    kSkip,    // nothing is stored; only the predictors move
};

// McuMode::kDc refuses a DC value beyond this.
constexpr int32_t kMaxScaledDc = 2047;

// Makes the blocks of an MCU zero, as far as the mode stores anything of them.
void clear_mcu(const JpegInfo *info, McuMode mode, int16_t *const *blocks, uint8_t *last);

// Decodes `count` MCUs of the current scan, one after another. Blocks are cleared first; blocks and last hold
// count * blocksInMcu entries and may be null with kSkip. Returns how many were done: fewer than count when an MCU
// failed, which then has left its blocks zero.
int32_t decode_mcus(JpegInfo *info, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last);

// Puts what the fast path holds back into the record, for whoever looks at it, and lets the fast path start afresh.
void close_window(JpegInfo *info);

// The fast path gives the plain path's results; tests turn it off to see that. Takes effect with the next scan set-up.
void allow_fast_path(bool allowed);
bool fast_path_allowed();

// Allocates and fills what the fast path needs for the current scan. False when out of memory.
bool prepare_fast_tables(JpegInfo *info);

void release_entropy(JpegInfo *info);

}  // namespace vorel
