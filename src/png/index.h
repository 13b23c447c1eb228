// Checkpoints over the rows of a PNG.
#pragma once

#include "png/source.h"

namespace vorel {

// Frees index and reader of a record, also unfinished ones.
void delete_row_index(PngSource *source);

}  // namespace vorel
