// From sample rows to the caller's buffer: writers for every colour format, and resampling to the output size.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// One row of samples, a pointer a component. With `shared` chroma has one sample for two pixels.
struct RowSet {
    const uint8_t *c[kMaxComponents];
    bool shared;

    RowSet at(int32_t x) const {
        const int32_t chroma = shared ? x / 2 : x;
        return {{c[0] + x, c[1] + chroma, c[2] + chroma, c[3] ? c[3] + x : nullptr}, shared};
    }
};

// OutputState.scratch: three rows for the writers' own use, then the four rows of a resampled picture row.
constexpr int kResampledRow = 3;

// Writes `count` rows of `width` pixels at the row counter, of samples in the colour space `color`, and moves the
// counter on. A format that the colour space does not serve only moves the counter.
void write_rows(JpegInfo *info, ColorSpace color, const RowSet *rows, int32_t count, int32_t width);

// Writes the means of four samples that packed sums hold (see KernelTable::unpack_means); a fourth component, if there
// is one, stands in its row already.
void write_sums(JpegInfo *info, ColorSpace color, const uint32_t *sums, int32_t width);

// Allocate what write_rows and the resampler need; false when out of memory.
bool prepare_writers(JpegInfo *info);
bool prepare_resampler(JpegInfo *info);
void release_output(JpegInfo *info);

// What of the scaled picture the window needs.
void find_source_ranges(OutputPlan *plan);

// Takes rows of the DCT-scaled picture: crops or resamples them, and writes what comes out, until the output row
// counter reaches end_row. Gives how many rows are used up; one that has more output rows to give is not.
int32_t emit_rows(JpegInfo *info, ColorSpace color, Resample resample, const RowSet *rows, int32_t count,
                  uint32_t end_row);
constexpr int kMaxEmitRows = 32;

// Passes over rows of the DCT-scaled picture, with the output rows that begin in them.
void pass_rows(JpegInfo *info, int32_t count);

// Where MCUs from column first_mcu on of an iMCU row of `rows` rows will be written, as far as rows are written as they
// come: the pixels, or luma.
FetchAhead lines_to_write(const JpegInfo *info, int32_t first_mcu, int32_t rows);

// Rows of samples, a pointer array a component, to output as the plan says.
int32_t emit_planned_rows(JpegInfo *info, uint8_t *const *const *rows, int32_t count, uint32_t end_row);

// Chooses how rows are resampled. False for components that have no colours.
bool plan_row_output(JpegInfo *info);

}  // namespace vorel
