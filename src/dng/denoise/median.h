// Median filters over one channel of a picture, and the replacement of samples far from theirs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "dng/denoise/kernels/kernels.h"

namespace vorel {

// Bytes: pixels `step` apart, rows `stride`.
struct ChannelView {
    const uint8_t *data;
    int32_t stride, step;
};

// Rows of a channel behind one another, with the neighbours that a window needs: a window that leaves the channel sees
// its nearest sample. A row is read when it first comes into a window, so a filter may write over rows that it has
// left.
class WindowRows {
  public:
    // radius: 1 or 2. Throws std::bad_alloc.
    WindowRows(const ChannelView &channel, int32_t width, int32_t height, int32_t radius);

    // Reads what the window of the next row needs; the first call is for row 0.
    void advance();
    // The row so far from the current one, with `radius` samples in front of it and behind it.
    const uint8_t *row(int32_t distance) const;
    // The current row itself.
    const uint8_t *middle() const { return row(0) + radius_; }

  private:
    uint8_t *slot(int32_t row);

    ChannelView channel_;
    int32_t width_, height_, radius_;
    int32_t at_ = -1, read_ = 0;  // rows
    size_t pitch_;
    std::vector<uint8_t> memory_;
};

// The medians of the 5 x 5 neighbourhoods of one row after another.
class SquareMedians {
  public:
    SquareMedians(const ChannelView &channel, int32_t width, int32_t height);
    // Of the next row, in order; valid until the next call. middle() is that row.
    const uint8_t *next();
    const uint8_t *middle() const { return rows_.middle(); }

  private:
    WindowRows rows_;
    uint32_t width_;
    std::vector<uint8_t> memory_;
    uint8_t *sorted_[5], *medians_;
};

// Puts the median of its 5 x 5 neighbourhood in place of each sample that differs from it by more than threshold. dst
// may be src; strides in bytes. Throws std::bad_alloc.
void remove_spikes(const uint8_t *src, int32_t stride, int32_t width, int32_t height, int32_t threshold, uint8_t *dst,
                   int32_t dst_stride);

}  // namespace vorel
