// The TIFF structure that a record becomes: what its directories hold and its length, before a byte is written.
#pragma once

#include <vorel/exif.h>

#include "jpeg/tiff_reader.h"

namespace vorel {

// An entry to come. Strings are data with a NUL; other data have `count` values.
struct ExifEntry {
    uint16_t tag;
    TiffType type;
    uint32_t count;
    const void *data;  // kRational, kAscii, kByte, kUndefined
    uint32_t value;    // kShort, kLong
    bool is_cursor;    // kLong: where the cursor stands
};

class ExifDirectory {
  public:
    void add_short(uint16_t tag, uint32_t value) { add({tag, kShort, 1, nullptr, value, false}); }
    void add_long(uint16_t tag, uint32_t value) { add({tag, kLong, 1, nullptr, value, false}); }
    void add_cursor(uint16_t tag) { add({tag, kLong, 1, nullptr, 0, true}); }
    void add_rationals(uint16_t tag, const uint32_t *pairs, uint32_t count) {
        add({tag, kRational, count, pairs, 0, false});
    }
    void add_text(uint16_t tag, const char *text);
    void add_bytes(uint16_t tag, TiffType type, const void *data, uint32_t count) {
        add({tag, type, count, data, 0, false});
    }
    // Room for an entry that is written later, behind the others.
    void reserve_entry() { ++reserved_; }

    // Bytes of the table and of the values behind it.
    uint64_t size() const;
    // At *cursor, which moves behind the values. Returns the position behind the entries.
    uint32_t write(uint8_t *base, uint32_t *cursor) const;

  private:
    static constexpr uint32_t kMostEntries = 9;

    void add(const ExifEntry &entry) { entries_[count_++] = entry; }

    ExifEntry entries_[kMostEntries];
    uint32_t count_ = 0, reserved_ = 0;
};

class ExifBlock {
  public:
    // Keeps pointers into the record. Strings are measured up to 65,535 characters: with one that is longer the block
    // is larger than any segment, and is not to be written.
    ExifBlock(const ExifInfo &exif, bool with_thumbnail);
    ExifBlock(const ExifBlock &) = delete;
    ExifBlock &operator=(const ExifBlock &) = delete;

    // write() may clear as many bytes behind the block.
    static constexpr uint32_t kSlackBytes = 12;

    uint64_t size() const;
    // Returns the size.
    uint32_t write(uint8_t *base) const;

  private:
    ExifDirectory zeroth_, exif_, gps_, first_;
    bool has_gps_, has_first_;
    char now_[80];           // six numbers of an int each
    char references_[2][2];  // of latitude and longitude
};

}  // namespace vorel
