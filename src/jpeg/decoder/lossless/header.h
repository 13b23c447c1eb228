// The header of a lossless frame in memory.
#pragma once

#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/frame_layout.h"

namespace vorel {

struct LosslessHeader {
    VorelLosslessFrame frame;
    int32_t predictor;        // 1 to 7, T.81 table H.1
    int32_t point_transform;  // low bits that were left out
    int64_t interval_rows;    // rows between restart markers; 0: none
    RawHuffTable tables[4];   // of each component
    const uint8_t *scan;      // where its data begin
};

// Reads on to the data of the first scan. False for frames that are not lossless, are subsampled, or whose scan does
// not hold all components.
bool read_lossless_header(const uint8_t *data, size_t length, LosslessHeader *header);

}  // namespace vorel
