// Huffman coding of baseline blocks (T.81 F.1.2): the codes in the form that the loop wants.
#pragma once

#include "jpeg/encoder/entropy/bit_writer.h"
#include "jpeg/encoder/session.h"

namespace vorel {

// Values from -kDirect to kDirect - 1 have their code and their bits in one look-up.
constexpr int kDirect = 32;
constexpr int kZeroRun = 16;     // ZRL, F.1.2.2.1
constexpr int kMostAcSize = 15;  // that a symbol has room for
constexpr int kMostSize = 17;    // of a difference of 16-bit values

struct CodeTable {
    // AC: by run and value.
    PackedBits direct[16][2 * kDirect];
    PackedBits of_size[16][kMostSize + 1];  // by run and size; the code alone
    PackedBits zero_run, end_of_block;
    bool complete;  // AC: everything in `direct` has a code, but for values of zero
};
// The bits that a value's magnitude takes.
constexpr uint32_t size_of(int32_t value) {
    // No branch: signs cannot be foreseen, and a bit below spares asking for 0.
    const uint32_t sign = static_cast<uint32_t>(value >> 31);
    const uint64_t magnitude = (static_cast<uint32_t>(value) ^ sign) - sign;
    return static_cast<uint32_t>(std::bit_width(magnitude << 1 | 1)) - 1;
}
void make_dc_codes(const RimEncDerived &derived, CodeTable *codes);
void make_ac_codes(const RimEncDerived &derived, CodeTable *codes);

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
