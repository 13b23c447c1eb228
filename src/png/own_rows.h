// The rows of a whole picture that is not interlaced, by our own inflate: about half of libpng's time. It gives up at
// anything but sound image data; then libpng reads the picture from its first row on, and says what there is to say.
#pragma once

#include "png/idat_reader.h"

namespace vorel {

struct OwnRows;

// Behind the header of the first IDAT chunk. Null where the source is none for it, or without memory.
OwnRows *open_own_rows(PngSource *source);
// The same, for who wants another reader to go on in front of every noted_rows-th row: in front of these, nothing
// behind them is read, and a block is noted that begins shortly before. Refuses windows of less than 32 KiB.
OwnRows *open_noting_rows(PngSource *source, int32_t noted_rows);
// Null: the stream's start is as near.
const NotedBlock *noted_block(const OwnRows &rows);
// Of the next byte, in the source: with the last row behind the last chunk that was read.
uint32_t own_rows_offset(const OwnRows &rows);
// The source was used for something else.
void resume_own_rows(OwnRows *rows);
// The source stands again where it stood.
void close_own_rows(OwnRows *rows);

// The next row, unfiltered, without its filter byte; null where libpng has to look. With the last row, all behind it up
// to the end of its chunk is looked at, as libpng does. Never jumps.
const uint8_t *next_own_row(OwnRows *rows);
// Of that row.
uint8_t own_row_filter(const OwnRows &rows);

}  // namespace vorel
