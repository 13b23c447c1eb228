// Rows of BMP decoding: 4000 x 3000 pixels from memory, against a copy of as many bytes as are read and written.
#pragma once

#include <string>

#include "turns.h"

namespace vorel_bench {

// Those whose names match the filter.
void bmp_rows(const Filter &filter, Table &table);

}  // namespace vorel_bench
