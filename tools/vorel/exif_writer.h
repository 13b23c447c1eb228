// Exif blocks made from single values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorel_tool {

// A directory of a TIFF structure (TIFF 6.0 section 2), little-endian. Values that are absent are left out.
class ExifDirectory {
  public:
    void put_text(uint16_t tag, const std::string &text);
    void put_short(uint16_t tag, uint32_t value);
    void put_long(uint16_t tag, uint32_t value);
    // Texts "n/d", negative ones as SRATIONAL; absent where the first has a denominator of 0.
    void put_rationals(uint16_t tag, const std::vector<const char *> &quotients, bool is_signed = false);
    void put_bytes(uint16_t tag, uint16_t type, const std::vector<uint8_t> &bytes);
    bool empty() const { return entries_.empty(); }

    // With the offsets counting from the beginning of *out, at whose end it is put; returns where it begins.
    uint32_t append_to(std::vector<uint8_t> *out) const;

  private:
    struct Entry {
        uint16_t tag, type;
        uint32_t count;
        std::vector<uint8_t> value;
    };
    std::vector<Entry> entries_;
};

// The structure of an Exif segment: the 0th directory, which gets the links to the others that hold anything.
std::vector<uint8_t> exif_structure(ExifDirectory zeroth, const ExifDirectory &exif, const ExifDirectory &gps);

}  // namespace vorel_tool
