// A picture's rows from the top to the bottom, as R, G, B, A. Without alpha: what is transparent has been multiplied by
// it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace vorel_tool {

class RowSource {
  public:
    RowSource(int32_t width, int32_t height) : width_(width), height_(height) {}
    RowSource(const RowSource &) = delete;
    RowSource &operator=(const RowSource &) = delete;
    virtual ~RowSource() = default;

    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    // All pixels are gray.
    virtual bool gray() const { return false; }
    // The next `count` rows. May also write the row above and the row below them, with what the picture has there.
    // Throws Failure.
    virtual void read(uint8_t *rows, int32_t count) = 0;

  private:
    const int32_t width_, height_;
};

// JPEG and PNG that is not interlaced are decoded as their rows are asked for, other pictures whole. What a camera has
// noted about how it was held is heeded where `oriented` says so. Throws Failure with the path in front.
std::unique_ptr<RowSource> open_rows(const std::string &path, bool oriented);

}  // namespace vorel_tool
