// Rows of GIF stills and animations against giflib and a plain composition.
#pragma once

#include <string>

#include "turns.h"

namespace vorel_bench {

// Those whose names match the filter. Ends the program when ours and the peer differ.
void gif_rows(const Filter &filter, Table &table);

}  // namespace vorel_bench
