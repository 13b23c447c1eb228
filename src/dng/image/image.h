// The image of one stage of the develop.
#pragma once

#include "dng/image/pixel_buffer.h"

namespace vorel {
// What a new image holds: zeros, or whatever the memory held, for who writes every sample.
enum class ImageFill : uint8_t { kZero, kNone };
}  // namespace vorel

// Samples of bounds in interleaved pixels. An image that could not have a size (nothing in it, more than 2^32 - 1
// bytes, no planes) has empty bounds and no samples.
class VorelDngImage {
  public:
    // Throws std::bad_alloc.
    VorelDngImage(const vorel::DngRect &bounds, uint32_t planes, uint32_t pixelType,
                  vorel::ImageFill fill = vorel::ImageFill::kZero, PaddingType padding = kPaddingSIMD);
    ~VorelDngImage();
    VorelDngImage(const VorelDngImage &) = delete;
    VorelDngImage &operator=(const VorelDngImage &) = delete;

    const vorel::DngRect &getBounds() const { return buffer_.area; }
    uint32_t planes() const { return buffer_.planes; }
    uint32_t getPixelType() const { return buffer_.pixelType; }
    bool isFloat() const { return buffer_.pixelType == kPixelFloat; }
    const VorelDngPixelBuffer &buffer() const { return buffer_; }

    template <typename Sample>
    Sample *at(int32_t row, int32_t column, uint32_t plane = 0) {
        return buffer_.at<Sample>(row, column, plane);
    }
    template <typename Sample>
    const Sample *at(int32_t row, int32_t column, uint32_t plane = 0) const {
        return buffer_.at<const Sample>(row, column, plane);
    }

    // Bounds and samples of the two change places.
    void swap(VorelDngImage &other);
    // Cuts the image to what rect and its bounds share, if anything; rows and columns keep their numbers.
    void doTrim(const vorel::DngRect &rect);

  private:
    VorelDngPixelBuffer buffer_;
    void *memory_ = nullptr;
    size_t memorySize_ = 0;
};
