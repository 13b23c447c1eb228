// Rows of a region out of bands: only the segments that the region lies in.
#pragma once

#include "png/bands/store.h"

namespace vorel {

struct BandRows {
    PngSource *source;
    BandStore *store;
    uint32_t first, end;  // segments
    size_t from, to;      // bytes of a row; `from` is where `first` begins
    int32_t at;           // the row that stands in scratch->rows[0]; -1: none
    // Of the first row, from which on all rows would be read; whether they went on behind its chunk.
    const vpng_row_checkpoint *entered;
    bool crossed;
};

// For regions from `row` on that need the bytes from..to - 1 of rows. False where there are no bands.
bool open_band_rows(PngSource *source, int32_t row, size_t from, size_t to, BandRows *rows);
// Whether band_row is known to be null for a row: a region that needs it should not begin with bands.
bool is_refused(const BandRows &rows, int32_t row);
// Row `row`, valid in those bytes; null where it does not come this way, and the region has to begin anew without
// bands. May jump.
const uint8_t *band_row(BandRows *rows, int32_t row);
// Behind the last row: says of check values what a reader of all the rows would have said.
void close_band_rows(BandRows *rows);

}  // namespace vorel
