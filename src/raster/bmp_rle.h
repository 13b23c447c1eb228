// RLE8: runs of palette indices, row by row from the bottom.
#pragma once

#include <cstdint>

#include "raster/bmp_input.h"

namespace vorel {

// Pixels of one row, in the order in which the file stores rows: 0 is the lowest.
struct IndexRun {
    int32_t row, x, count;   // within the picture; count may be 0
    const uint8_t *indices;  // valid until the next step
};

class Rle8Reader {
  public:
    Rle8Reader(BmpInput *input, int32_t width, int32_t height) : input_(input), width_(width), height_(height) {}

    // Does one code; false when the bitmap has ended.
    bool step(IndexRun *run);
    // The row that the next pixel is in.
    int32_t row() const { return row_; }
    // The bytes ran out before the end of the bitmap.
    bool cut_off() const { return cut_off_; }

  private:
    bool escape(int32_t code, IndexRun *run);
    bool absolute(int32_t count, IndexRun *run);
    bool end_of_bytes();
    void emit(int32_t count, IndexRun *run);

    BmpInput *input_;
    int32_t width_, height_;
    int32_t x_ = 0, row_ = 0;
    bool cut_off_ = false;
    uint8_t indices_[255];
};

}  // namespace vorel
