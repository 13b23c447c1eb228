// A picture opened once, of which rectangles are decoded.
#pragma once

#include <vorel/png.h>

#include <cstdint>
#include <string>

#include "pixels.h"

namespace vorel_tool {

struct Rect {
    int32_t x, y, width, height;
};

// Throws Failure with the path in front, also for formats that have no regions.
class RegionSource {
  public:
    explicit RegionSource(const std::string &path);
    RegionSource(const RegionSource &) = delete;
    RegionSource &operator=(const RegionSource &) = delete;
    ~RegionSource();

    int32_t width() const { return handle_->width; }
    int32_t height() const { return handle_->height; }

    // Every sample-th pixel and row of a rectangle inside the picture, as RGBA8888: both sides divided as integers,
    // which leaves at least 1. Rectangles that start at multiples of sample fit together.
    Picture decode(const Rect &rect, int32_t sample);

  private:
    void decode_rows(Rect rect, int32_t sample, uint8_t *out);

    std::string path_;
    bool interlaced_;
    vpng_tile_index *handle_;
};

}  // namespace vorel_tool
