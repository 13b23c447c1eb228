// A picture opened once, of which rectangles are decoded.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "pixels.h"

namespace vorel_tool {

struct Rect {
    int32_t x, y, width, height;
};
// "X,Y,WIDTH,HEIGHT" of --rect, as it stands on the command line; throws BadUsage for anything else.
Rect parse_rect(const std::string &text);

class RegionSource {
  public:
    RegionSource() = default;
    RegionSource(const RegionSource &) = delete;
    RegionSource &operator=(const RegionSource &) = delete;
    virtual ~RegionSource() = default;

    virtual int32_t width() const = 0;
    virtual int32_t height() const = 0;

    // How many bytes may be kept between rectangles; what has nothing to keep takes no notice.
    virtual void set_memory(size_t) {}

    // A rectangle inside the picture, reduced by `sample`, as RGBA8888: both sides divided as integers, which leaves at
    // least 1. Rectangles that start at multiples of sample fit together. Throws Failure.
    virtual Picture decode(const Rect &rect, int32_t sample) = 0;
};

// Of a PNG every sample-th pixel and row, of a JPEG the picture decoded smaller. Throws Failure with the path in front,
// also for formats that have no regions.
std::unique_ptr<RegionSource> open_regions(const std::string &path);

}  // namespace vorel_tool
