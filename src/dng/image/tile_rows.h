// What the readers of a tile share: where it lies, and its rows on their way into the image.
#pragma once

#include <cstring>

#include "dng/image/image.h"
#include "dng/parse/ifd.h"

namespace vorel {

// TIFF 6.0 section 8 and DNG, Compression.
enum DngCompression : uint32_t { kUncompressed = 1, kJpeg = 7, kDeflate = 8, kLossyJpeg = 34892 };

// The tile of the IFD that an area lies in.
inline DngRect tile_of(const VorelDngIFD &ifd, const DngRect &area) {
    const uint32_t top = static_cast<uint32_t>(area.top) / ifd.tileLength * ifd.tileLength;
    const uint32_t left = static_cast<uint32_t>(area.left) / ifd.tileWidth * ifd.tileWidth;
    // Within the limit on sides, so that edges are far below 2^31.
    return {static_cast<int32_t>(top), static_cast<int32_t>(left), static_cast<int32_t>(top + ifd.tileLength),
            static_cast<int32_t>(left + ifd.tileWidth)};
}

// Rows of a tile put into the image: those of area, from samples of `planes` interleaved planes.
class RowWriter {
  public:
    RowWriter(VorelDngImage &image, const DngRect &area, uint32_t plane, uint32_t planes)
        : image_(image), area_(area), plane_(plane), planes_(planes) {}

    // Whether the image's rows can take the samples as they are.
    bool direct() const { return planes_ == image_.planes(); }
    void *place(int32_t row) const {
        const VorelDngPixelBuffer &buffer = image_.buffer();
        return static_cast<uint8_t *>(buffer.data) +
               static_cast<size_t>(image_.at<uint8_t>(row, area_.left, plane_) - static_cast<uint8_t *>(buffer.data)) *
                   buffer.pixelSize;
    }
    // samples: the first one of area.
    void put(int32_t row, const void *samples) const {
        switch (image_.buffer().pixelSize) {
            case 1:
                return put_as<uint8_t>(row, samples);
            case 2:
                return put_as<uint16_t>(row, samples);
            default:
                return put_as<uint32_t>(row, samples);
        }
    }

  private:
    template <typename Sample>
    void put_as(int32_t row, const void *samples) const {
        const Sample *in = static_cast<const Sample *>(samples);
        if (direct()) {
            std::memcpy(place(row), in, uint64_t{area_.width()} * planes_ * sizeof(Sample));
            return;
        }
        for (int32_t column = area_.left; column < area_.right; ++column) {
            for (uint32_t i = 0; i < planes_; ++i) *image_.at<Sample>(row, column, plane_ + i) = *in++;
        }
    }

    VorelDngImage &image_;
    const DngRect &area_;
    uint32_t plane_, planes_;
};

}  // namespace vorel
