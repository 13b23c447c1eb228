// Where the rows of a BMP go: which of them are wanted, and the way of a row into a picture that lies on its side.
#pragma once

#include <vorel/raster.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/core.h"

namespace vorel {

// Output rows `first` to `end`, counted as the file stores rows, and the addresses of their first pixels.
class OutputRows {
  public:
    OutputRows(const BmpInfo *info, void *output, int32_t asked, bool top_down)
        : first_(info->firstRow),
          count_(std::clamp(asked, 0, std::max(0, info->outHeight - info->firstRow))),
          start_(static_cast<uint8_t *>(output)),
          step_(info->rowStep) {
        if (top_down || count_ == 0) return;
        start_ += step_ * (count_ - 1);
        step_ = -step_;
    }
    int32_t first() const { return first_; }
    int32_t end() const { return first_ + count_; }
    bool holds(int32_t row) const { return row >= first_ && row < end(); }
    uint8_t *at(int32_t row) const { return start_ + step_ * (row - first_); }
    ptrdiff_t step() const { return step_; }

  private:
    int32_t first_, count_;
    uint8_t *start_;
    ptrdiff_t step_;
};

// Takes whole rows one after another from rows.first() on. Rows of a picture on its side are columns of the output:
// they are collected until they fill its cache lines.
class RowSink {
  public:
    RowSink(const BmpInfo *info, const OutputRows &rows) : info_(info), rows_(rows), next_(rows.first()) {}
    RowSink(const RowSink &) = delete;
    RowSink &operator=(const RowSink &) = delete;
    ~RowSink() { flush(); }

    // False without memory.
    bool open();

    // write(destination, pixel_step) stores the next row.
    template <typename Write>
    void put(const Write &write) {
        if (!tile_) return write(rows_.at(next_++), info_->pixelStep);
        write(tile_.as<uint8_t>() + collected_ * row_bytes_, pixel_bytes_);
        ++next_;
        if (++collected_ == kTileRows) flush();
    }

  private:
    static constexpr int32_t kTileRows = 16;

    void flush();

    const BmpInfo *info_;
    const OutputRows &rows_;
    int32_t next_, collected_ = 0, pixel_bytes_ = 0;
    ptrdiff_t row_bytes_ = 0;
    OsBlock tile_;
};

}  // namespace vorel
