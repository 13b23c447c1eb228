// Lossless JPEG streams (T.81 annex H), written symbol by symbol.
#pragma once

#include "support/inputs.h"

namespace vorel::test {

struct LosslessStream {
    int width = 0, height = 0, components = 1, precision = 16;
    int predictor = 1, transform = 0;
    int interval_rows = 0;  // rows between restart markers; 0: none
    // Codes of 5 bits for every size; or one of each length, so that most sizes have codes longer than look-ups.
    bool long_codes = false;
    std::vector<uint16_t> samples;  // row by row, components side by side

    Bytes encode() const;
};

}  // namespace vorel::test
