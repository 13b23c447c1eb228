// A plane of numbers of one type.
#pragma once

#include <cstddef>
#include <cstdint>

// Owns its data, which come from malloc(). Element types: 1 and others unlisted: 8 bits, 2: 16 bits, 3: 32 bits, all
// unsigned, 4: float, 5: double.
class VorelDngImageArray {
  public:
    static constexpr int32_t kByte = 1, kShort = 2, kLong = 3, kFloat = 4, kDouble = 5;

    // Throws std::bad_alloc. Sides below 0 count as 0.
    VorelDngImageArray(int32_t width, int32_t height, int32_t type);
    // Takes data over, so many elements from malloc().
    VorelDngImageArray(void *data, int32_t width, int32_t height, int32_t type);
    ~VorelDngImageArray();
    VorelDngImageArray(const VorelDngImageArray &) = delete;
    VorelDngImageArray &operator=(const VorelDngImageArray &) = delete;

    // Copies of buffers of a type; the caller owns the result. Throw std::bad_alloc. As bytes, numbers are limited to
    // 0 to 255.
    static VorelDngImageArray *getDoubleImageArray(const void *data, int32_t width, int32_t height, int32_t type);
    static VorelDngImageArray *getByteImageArray(const void *data, int32_t width, int32_t height, int32_t type);

    // Of an array of doubles: integers get 0.5 added and are truncated.
    void convertBufferFromDouble(void *dest, int32_t type) const;
    // Of an array of bytes, to bytes alone; nothing for other types.
    void convertBufferFromByte(void *dest, int32_t type) const;

    // Of all elements, 1e7 and 0; so data without a number above 0 have the maximum 0. Found on the first call.
    double getMinValue();
    double getMaxValue();

    static size_t pixel_size(int32_t type);
    static double element(const void *data, size_t i, int32_t type);

    size_t count() const { return static_cast<size_t>(width_) * static_cast<size_t>(height_); }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int32_t type() const { return type_; }
    template <typename Element>
    Element *data() const {
        return static_cast<Element *>(data_);
    }

  private:
    void find_range();

    void *data_;
    int32_t width_, height_, type_;
    double minimum_ = -1, maximum_ = -1;
    bool range_known_ = false;
};
