// Bits to bytes, most significant first, in two steps: bits are put together without a branch, and the zeros behind FF
// (T.81 F.1.2.3) come in when bytes are copied to where they go. Both would be guessed wrong by the processor all the
// time if bits were counted one code after another.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "util/inline.h"

namespace vorel {

// Some bits: bits << 8 | how many, at most 24. 0: there are none.
using PackedBits = uint32_t;
constexpr uint32_t length_of(PackedBits packed) { return packed & 0xFF; }

VOREL_ALWAYS_INLINE void store_big_endian(uint64_t word, uint8_t *to) {
    if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    std::memcpy(to, &word, sizeof word);
}

// Writes up to 8 bytes behind the last whole one.
class BitWriter {
  public:
    // `count` bits wait already, less than 8.
    VOREL_ALWAYS_INLINE BitWriter(uint32_t bits, uint32_t count, uint8_t *to) : bits_(bits), count_(count), at_(to) {}

    // Between two flushes at most 56 bits. `bits` has nothing above `count`.
    VOREL_ALWAYS_INLINE void put(uint64_t bits, uint32_t count) {
        bits_ = bits_ << count | bits;
        count_ += count;
    }
    // Shifts look at the low six bits alone, so that a code need not be taken apart.
    VOREL_ALWAYS_INLINE void put(PackedBits packed) {
        bits_ = bits_ << (packed & 63) | packed >> 8;
        count_ += packed;
    }

    // Less than 8 bits wait after it.
    VOREL_ALWAYS_INLINE void flush() {
        // Nothing is lost where none wait: the 8 bytes are written again.
        store_big_endian(bits_ << (-count_ & 63), at_);
        at_ += count_ >> 3 & 7;
        count_ &= 7;
    }
    // Behind flush().
    VOREL_ALWAYS_INLINE uint32_t waiting() const {
        return static_cast<uint32_t>(bits_) & ((1u << waiting_count()) - 1);
    }
    VOREL_ALWAYS_INLINE uint32_t waiting_count() const { return count_ & 7; }
    VOREL_ALWAYS_INLINE uint8_t *at() const { return at_; }

  private:
    uint64_t bits_;   // the lower count_; what is above them was written before
    uint32_t count_;  // in its lower six bits
    uint8_t *at_;
};

// Copies bytes with a zero behind each FF; reads and writes up to 16 bytes further than they and their zeros reach.
// Returns the end.
inline uint8_t *copy_stuffed(const uint8_t *from, const uint8_t *end, uint8_t *to) {
    using Piece __attribute__((vector_size(16), aligned(1), may_alias)) = uint8_t;
    using Halves __attribute__((vector_size(16))) = uint64_t;
    while (from < end) {
        const Piece piece = *reinterpret_cast<const Piece *>(from);
        const ptrdiff_t left = end - from, count = left < 16 ? left : 16;
        const Halves found = reinterpret_cast<Halves>(piece == 0xFF);
        if ((found[0] | found[1]) == 0) [[likely]] {
            *reinterpret_cast<Piece *>(to) = piece;
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
