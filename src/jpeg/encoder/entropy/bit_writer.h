// Bits to bytes, most significant first, in two steps: bits are put together without a branch, and the zeros behind FF
// (T.81 F.1.2.3) come in when bytes are copied to where they go. Both would be guessed wrong by the processor all the
// time if bits were counted one code after another.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorel {

// Some bits: bits << 8 | how many, at most 24. 0: there are none.
using PackedBits = uint32_t;
constexpr uint32_t length_of(PackedBits packed) { return packed & 0xFF; }

inline uint64_t load_big_endian(const uint8_t *from) {
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}
inline void store_big_endian(uint64_t word, uint8_t *to) {
    if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    std::memcpy(to, &word, sizeof word);
}

// Writes up to 8 bytes behind the last whole one.
class BitWriter {
  public:
    // `count` bits wait already, less than 8.
    BitWriter(uint32_t bits, uint32_t count, uint8_t *to) : bits_(bits), count_(count), at_(to) {}

    // Between two flushes at most 57 bits. `bits` has nothing above `count`.
    void put(uint64_t bits, uint32_t count) {
        bits_ = bits_ << count | bits;
        count_ += count;
    }
    void put(PackedBits packed) { put(packed >> 8, length_of(packed)); }

    // Less than 8 bits wait after it.
    void flush() {
        // Nothing is lost where none wait: the 8 bytes are written again.
        store_big_endian(bits_ << (-count_ & 63), at_);
        at_ += count_ >> 3;
        count_ &= 7;
    }
    // Behind flush().
    uint32_t waiting() const { return static_cast<uint32_t>(bits_) & ((1u << count_) - 1); }
    uint32_t waiting_count() const { return count_; }
    uint8_t *at() const { return at_; }

  private:
    uint64_t bits_;  // the lower count_; what is above them was written before
    uint32_t count_;
    uint8_t *at_;
};

// Copies bytes with a zero behind each FF; reads and writes up to 8 bytes further than they and their zeros reach.
// Returns the end.
inline uint8_t *copy_stuffed(const uint8_t *from, const uint8_t *end, uint8_t *to) {
    constexpr uint64_t kOnes = 0x0101010101010101, kTops = 0x8080808080808080;
    while (from < end) {
        const uint64_t word = load_big_endian(from);
        const ptrdiff_t left = end - from, count = left < 8 ? left : 8;
        // Only FF carries into a top bit that it has itself.
        if ((word & kTops & ~(word + kOnes)) == 0) [[likely]] {
            store_big_endian(word, to);
            to += count;
            from += count;
            continue;
        }
        for (const uint8_t *stop = from + count; from < stop; ++from) {
            *to++ = *from;
            if (*from == 0xFF) *to++ = 0;
        }
    }
    return to;
}

}  // namespace vorel
