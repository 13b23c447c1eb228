// The rows of a whole picture that is not interlaced, by our own inflate: about half of libpng's time. It gives up at
// anything but sound image data; then libpng reads the picture from its first row on, and says what there is to say.
#pragma once

#include "png/source.h"

namespace vorel {

struct OwnRows;

// Behind the header of the first IDAT chunk. Null where the source is none for it, or without memory.
OwnRows *open_own_rows(PngSource *source);
// The source stands again where it stood.
void close_own_rows(OwnRows *rows);

// The next row, unfiltered, without its filter byte; null where libpng has to look. With the last row, all behind it up
// to the end of its chunk is looked at, as libpng does. Never jumps.
const uint8_t *next_own_row(OwnRows *rows);

}  // namespace vorel
