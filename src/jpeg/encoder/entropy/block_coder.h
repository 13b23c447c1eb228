// Huffman coding of baseline blocks (T.81 F.1.2): the codes in the form that the loop wants, and the writer of bits.
#pragma once

#include <bit>
#include <cstring>

#include "jpeg/encoder/session.h"

namespace vorel {

// A code and the bits behind it: code << 8 | length in bits; 0: there is none.
using PackedCode = uint32_t;
constexpr uint32_t length_of(PackedCode packed) { return packed & 0xFF; }

// Values from -kDirect to kDirect - 1 have their code and their bits in one look-up.
constexpr int kDirect = 32;
constexpr int kZeroRun = 16;     // ZRL, F.1.2.2.1
constexpr int kMostAcSize = 15;  // that a symbol has room for
constexpr int kMostSize = 17;    // of a difference of 16-bit values

struct CodeTable {
    // AC: by run and value. DC: the first row, by difference.
    PackedCode direct[16][2 * kDirect];
    PackedCode of_size[16][kMostSize + 1];  // by run and size; the code alone
    PackedCode zero_run, end_of_block;
};
// The bits that a value's magnitude takes.
uint32_t size_of(int32_t value);
void make_dc_codes(const RimEncDerived &derived, CodeTable *codes);
void make_ac_codes(const RimEncDerived &derived, CodeTable *codes);

// Bits to bytes with a zero behind each FF (T.81 F.1.2.3), most significant first. The 64 bits wait in a register;
// writes store 8 bytes at a time, or up to 16 where bytes are stuffed.
class BitWriter {
  public:
    BitWriter(uint32_t bits, uint32_t count, uint8_t *at)
        : bits_(bits), free_(64 - static_cast<int32_t>(count)), at_(at) {}

    // At most 32 bits, which `bits` has nothing above.
    void put(uint64_t bits, uint32_t count) {
        free_ -= static_cast<int32_t>(count);
        if (free_ >= 0) [[likely]] {
            bits_ = bits_ << count | bits;
            return;
        }
        // free_ + count is what there was room for, less than 32.
        const uint32_t rest = static_cast<uint32_t>(-free_);
        const uint64_t full = bits_ << (count - rest) | bits >> rest;
        free_ += 64;
        bits_ = bits;
        store(full, 8);
    }
    void put(PackedCode packed) { put(packed >> 8, length_of(packed)); }

    // All whole bytes; less than 8 bits wait after it.
    void drain() {
        const uint32_t count = static_cast<uint32_t>(64 - free_);
        if (count >= 8) store(bits_ << (free_ & 63), count / 8);
        free_ = 64 - static_cast<int32_t>(count % 8);
    }
    // Behind drain().
    uint32_t waiting() const { return static_cast<uint32_t>(bits_) & ((1u << waiting_count()) - 1); }
    uint32_t waiting_count() const { return static_cast<uint32_t>(64 - free_); }
    uint8_t *at() const { return at_; }

  private:
    // The upper `count` bytes of `bytes`.
    void store(uint64_t bytes, uint32_t count) {
        constexpr uint64_t kOnes = 0x0101010101010101, kTops = 0x8080808080808080;
        // Only FF carries into a top bit that it has itself.
        if ((bytes & kTops & ~(bytes + kOnes)) == 0) [[likely]] {
            const uint64_t big_endian = std::endian::native == std::endian::little ? __builtin_bswap64(bytes) : bytes;
            std::memcpy(at_, &big_endian, 8);
            at_ += count;
            return;
        }
        for (; count > 0; --count, bytes <<= 8) {
            const uint8_t byte = static_cast<uint8_t>(bytes >> 56);
            *at_++ = byte;
            if (byte == 0xFF) *at_++ = 0;
        }
    }

    uint64_t bits_;  // the lower 64 - free_
    int32_t free_;
    uint8_t *at_;
};

// A block: its coefficients in zigzag order, which of them are not 0 (bit 0 does not count), and its DC value, which
// may be another's.
struct CodingBlock {
    const int16_t *zigzag;
    uint64_t nonzero;
    int32_t dc;
};
// What is done before an MCU is begun: a chunk that is full moves on, or memory grows. False: there is none.
bool next_mcu_room(JEInfo *session);
// blocksInMcu of them, with the restart marker that stands in front of them. False: something has no code, or there is
// no room.
bool encode_mcu(JEInfo *session, const CodingBlock *blocks);

}  // namespace vorel
