// The rows of the table of raster formats that are about GIF.
#pragma once

#include <vector>

#include "turns.h"

namespace vorel_bench {

// Ends the program when ours and the peer differ.
std::vector<TurnRow> gif_rows();

}  // namespace vorel_bench
