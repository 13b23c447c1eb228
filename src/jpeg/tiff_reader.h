// A TIFF structure in memory, in either byte order (TIFF 6.0 section 2): image file directories and their entries.
#pragma once

#include <cstring>

#include "core/core.h"

namespace vorel {

// Field types, 1 to 12, and the bytes of one value of each.
enum TiffType : uint16_t {
    kByte = 1,
    kAscii = 2,
    kShort = 3,
    kLong = 4,
    kRational = 5,
    kUndefined = 7,
    kSRational = 10
};
constexpr uint16_t kLastTiffType = 12;
constexpr uint8_t kTiffTypeSizes[kLastTiffType + 1] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

constexpr uint16_t kOrientationTag = 274;

class TiffReader {
  public:
    static constexpr int64_t kEntryBytes = 12;

    TiffReader(const uint8_t *data, int64_t size) : data_(data), size_(size) {
        if (!holds(0, 8)) return;
        little_ = std::memcmp(data, "II", 2) == 0;
        valid_ = (little_ || std::memcmp(data, "MM", 2) == 0) && word(2) == 42;
    }
    // One whose header was read elsewhere.
    TiffReader(const uint8_t *data, int64_t size, bool little_endian)
        : data_(data), size_(size), little_(little_endian), valid_(true) {}

    bool valid() const { return valid_; }
    bool little_endian() const { return little_; }
    const uint8_t *at(int64_t position) const { return data_ + position; }
    bool holds(int64_t at, int64_t count) const { return at >= 0 && count >= 0 && at + count <= size_; }

    // A directory stands there: its count and its entries, and its link to the next one.
    bool holds_entries(int64_t at) const { return holds(at, 2) && holds(at, 2 + kEntryBytes * word(at)); }
    bool holds_directory(int64_t at) const { return holds_entries(at) && holds(at, 2 + kEntryBytes * word(at) + 4); }

    // Bytes that are there: see holds.
    uint32_t word(int64_t at) const {
        return static_cast<uint32_t>(little_ ? little_endian_16(data_ + at) : big_endian_16(data_ + at));
    }
    uint32_t long_word(int64_t at) const { return little_ ? little_endian_32(data_ + at) : big_endian_32(data_ + at); }

    // The first directory, and the one that a directory links to; 0 where there is none.
    int64_t first_directory() const { return valid_ ? directory_at(4) : 0; }
    int64_t next_directory(int64_t directory) const {
        return directory_at(directory + 2 + kEntryBytes * word(directory));
    }

    // Calls visit(tag, value) for each entry of a directory that is there, with the entry's first value, which counts
    // when it stands in the entry itself.
    template <typename Visit>
    void for_entries(int64_t directory, const Visit &visit) const {
        const int64_t entries = word(directory);
        for (int64_t i = 0, at = directory + 2; i < entries && holds(at, kEntryBytes); ++i, at += kEntryBytes) {
            visit(word(at), first_value(at));
        }
    }

  private:
    int64_t directory_at(int64_t link) const {
        if (!holds(link, 4)) return 0;
        const int64_t directory = long_word(link);
        return directory != 0 && holds(directory, 2) ? directory : 0;
    }
    uint32_t first_value(int64_t entry) const {
        const uint32_t type = word(entry + 2);
        if (type < 1 || type > kLastTiffType) return 0;
        const uint8_t size = kTiffTypeSizes[type];
        return size == 1 ? data_[entry + 8] : size == 2 ? word(entry + 8) : long_word(entry + 8);
    }

    const uint8_t *data_;
    int64_t size_;
    bool little_ = false;
    bool valid_ = false;
};

}  // namespace vorel
