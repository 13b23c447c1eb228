#include "raster/bmp_rle.h"

#include <algorithm>
#include <cstring>

namespace vorel {
namespace {

constexpr int32_t kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2;

}  // namespace

bool Rle8Reader::step(IndexRun *run) {
    *run = {row_, x_, 0, indices_};
    if (row_ >= height_) return false;
    const int32_t count = next_byte(input_), value = next_byte(input_);
    if (value < 0) return end_of_bytes();
    if (count == 0) return escape(value, run);
    std::memset(indices_, value, static_cast<size_t>(count));
    emit(count, run);
    return true;
}

bool Rle8Reader::escape(int32_t code, IndexRun *run) {
    if (code == kEndOfBitmap) return false;
    if (code == kEndOfLine) {
        x_ = 0;
        return ++row_ < height_;
    }
    if (code != kDelta) return absolute(code, run);
    const int32_t right = next_byte(input_), rows = next_byte(input_);
    if (rows < 0) return end_of_bytes();
    x_ = std::min(x_ + right, width_);
    row_ += rows;
    return row_ < height_;
}

// An odd count of indices has a byte behind it that means nothing. Those past the row's end are read all the same.
bool Rle8Reader::absolute(int32_t count, IndexRun *run) {
    const auto came = static_cast<int32_t>(read_bytes(input_, indices_, count));
    emit(came, run);
    if (count % 2) next_byte(input_);
    if (came == count) return true;
    cut_off_ = true;
    row_ = height_;
    return came > 0;
}

void Rle8Reader::emit(int32_t count, IndexRun *run) {
    run->count = std::min(count, width_ - x_);
    x_ += run->count;
}

bool Rle8Reader::end_of_bytes() {
    cut_off_ = true;
    return false;
}

}  // namespace vorel
