// The sum by which kept results are known.
#pragma once

#include "support/inputs.h"

namespace vorel::test {

// FNV-1a; of several in a row, each from the sum before.
inline uint64_t sum_of(const Bytes &bytes, uint64_t sum = 0xCBF29CE484222325) {
    for (const uint8_t byte : bytes) sum = (sum ^ byte) * 0x100000001B3;
    return sum;
}

}  // namespace vorel::test
