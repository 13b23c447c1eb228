// Bands of a resize: what a row of the result draws on, and the walk over a band's source rows.
#pragma once

#include <vorel/util.h>

#include "core/core.h"
#include "util/frames.h"
#include "util/kernels/kernels.h"

namespace vorel {

enum class ResizeLayout : uint8_t { kPlanar, kPairs, kRgba, kRgb };

inline int32_t luma_unit(ResizeLayout layout) {
    return layout == ResizeLayout::kRgba ? 4 : layout == ResizeLayout::kRgb ? 3 : 1;
}
inline bool has_chroma(ResizeLayout layout) {
    return layout == ResizeLayout::kPlanar || layout == ResizeLayout::kPairs;
}
inline int32_t chroma_unit(ResizeLayout layout) { return layout == ResizeLayout::kPairs ? 2 : 1; }

// The column taps of one plane, with the memory of their chunks.
class PlaneColumns {
  public:
    // Samples of `unit` bytes, of which the columns first..first + count are wanted. Without memory the taps are
    // walked.
    void build(int32_t src, int32_t dst, int32_t unit, int32_t first, int32_t count);
    const ColumnTaps &taps() const { return taps_; }

  private:
    ColumnTaps taps_ = {};
    OsBlock chunks_, chunk_ends_;
};

// What a band's record does not hold: shared by the bands of a call.
class ResizePlan {
  public:
    void build(ResizeLayout layout, const ResizeBand &band);
    const ColumnTaps &luma() const { return luma_.taps(); }
    const ColumnTaps &chroma() const { return chroma_.taps(); }
    // Rows of the result that are wanted.
    int32_t first_row() const { return first_row_; }
    int32_t end_row() const { return end_row_; }

  private:
    PlaneColumns luma_, chroma_;
    int32_t first_row_ = 0, end_row_ = 0;
};

// Where the result's planes stand: in the destination, or in the padded scratch.
struct ResizeResult {
    uint8_t *base;
    ptrdiff_t luma_pitch, chroma_pitch;  // bytes between rows
    size_t luma_bytes, chroma_bytes;     // of the whole planes
};
ResizeResult result_of(ResizeLayout layout, const ResizeBand &band);

// Whether the result is made in scratch: planar and semi-planar forms, for a canvas and for sizes that are no multiples
// of 4.
bool needs_scratch(ResizeLayout layout, const ResizeBand &band);
inline int64_t padded(int32_t size) { return (int64_t{size} + 3) / 4 * 4; }

// The state in front of the first row. Sizes, canvas and pointers of the band are set.
void start_band(ResizeLayout layout, ResizeBand *band);
// Moves the state on by bandRows source rows (or what is left of them), without a look at pixels.
void skip_band(ResizeLayout layout, ResizeBand *band);
// The work of one band; sets finished.
void *run_band(ResizeLayout layout, ResizeBand *band);

}  // namespace vorel
