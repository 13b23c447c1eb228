// Baseline files of random symbols in random tables: what a decoder has to read and no encoder writes.
#pragma once

#include "support/inputs.h"

namespace vorel::test {

// Three components, the first with sampling x sampling blocks. Codes have up to 16 bits, blocks end by any of the
// symbols of size 0 or at their last coefficient; with separate scans each has tables of its own in the same slots.
struct StreamSpec {
    int width, height, sampling;
    bool separate;
    unsigned restart, seed;
};
Bytes coded_stream(const StreamSpec &spec);

}  // namespace vorel::test
