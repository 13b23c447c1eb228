// Rows of BMP decoding; the peer of each is a copy of as many bytes as are read and written.
#pragma once

#include <vector>

#include "timed_table.h"

namespace vorel_bench {

// Files of 4000 x 3000 pixels in memory, and room for what they decode to.
class BmpFiles {
  public:
    BmpFiles();
    std::vector<TimedRow> rows();
    CopyRoom room() { return {plain_[2].data(), out_.data(), plain_[2].size()}; }

  private:
    TimedRow row(const char *name, std::vector<uint8_t> &file, int32_t format, int32_t divisor, uint32_t options);

    std::vector<uint8_t> plain_[3], runs_;  // 8, 24 and 32 bits; RLE8
    std::vector<uint8_t> out_, copy_;
};

}  // namespace vorel_bench
