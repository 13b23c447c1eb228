// A cursor over a file in memory, in either byte order.
#pragma once

#include <cstdint>
#include <cstdio>

#include "dng/base/geometry.h"

// A read past the end gives 0 and sets failed(), which stays set until it is cleared; nothing outside the block is
// read.
class VorelDngStream {
  public:
    VorelDngStream() = default;
    // data stays the caller's.
    VorelDngStream(const uint8_t *data, uint32_t length) : data_(data), length_(data ? length : 0) {}
    // Reads the whole file. One that cannot be read, or is empty, makes an empty stream.
    explicit VorelDngStream(const char *path);
    ~VorelDngStream();
    // Copies share the block, with position and byte order, and without the file.
    VorelDngStream(const VorelDngStream &other);
    VorelDngStream(const VorelDngStream &other, uint64_t position);
    VorelDngStream &operator=(const VorelDngStream &) = delete;

    const uint8_t *data() const { return data_; }
    uint32_t length() const { return length_; }
    // Whether bytes of [position, position + count) are all there.
    bool holds(uint64_t position, uint64_t count) const { return position <= length_ && count <= length_ - position; }

    uint64_t getPosition() const { return position_; }
    void setPosition(uint64_t position) { position_ = position; }
    // The same: the block is the whole file.
    uint64_t getPositionInOriginalFile() const { return position_; }

    void setLittleEndian() { littleEndian_ = true; }
    void setBigEndian() { littleEndian_ = false; }
    bool isLittleEndian() const { return littleEndian_; }

    bool failed() const { return failed_; }
    void clearFailure() { failed_ = false; }

    uint8_t get_QMUINT8();
    uint16_t get_QMUINT16();
    uint32_t get_QMUINT32();
    float get_QMFLOAT();
    double get_QMDOUBLE();

    // One value of a TIFF type, converted. A rational with a denominator of 0 is 0; a type without a number is 0.
    double getTagValue_QMDOUBLE(uint32_t type);
    uint32_t getTagValue_QMUINT32(uint32_t type);
    int32_t getTagValue_QMINT32(uint32_t type);
    vorel::DngURational getTagValue_urational(uint32_t type);
    vorel::DngSRational getTagValue_srational(uint32_t type);

    // How many of so many bytes of a text, or a list of numbers, may still be copied: limits one value, and all values
    // of one parse, in which every entry of a directory may point to the same long one.
    uint32_t takeCopy(uint32_t wanted);

  private:
    // The next bytes of the block, or null with failed_ set; the position moves on in either case.
    const uint8_t *take(uint32_t bytes);

    const uint8_t *data_ = nullptr;
    uint32_t length_ = 0;
    uint64_t position_ = 0;
    bool littleEndian_ = true;
    bool failed_ = false;
    uint32_t copyTaken_ = 0;
    FILE *file_ = nullptr;
    uint8_t *owned_ = nullptr;  // the block, where the file was read here
};
