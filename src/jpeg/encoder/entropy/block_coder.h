// Huffman coding of baseline blocks (T.81 F.1.2): the codes in the form that the loop wants.
#pragma once

#include "jpeg/encoder/entropy/bit_writer.h"
#include "jpeg/encoder/session.h"

namespace vorel {

// Values that have their code and their bits in one look-up: from -reach to reach - 1, further where they come often.
struct DirectValues {
    int32_t reach;
    uint32_t first;  // of them
};
constexpr uint32_t kDirectSizes = 8;  // that the furthest have
struct DirectTable {
    DirectValues of_run[16];
};
constexpr DirectTable make_direct_table() {
    DirectTable table = {};
    uint32_t first = 0;
    for (int run = 0; run < 16; ++run) {
        const int32_t reach = run == 0 ? 128 : run == 1 ? 64 : 32;
        table.of_run[run] = {reach, first};
        first += 2 * static_cast<uint32_t>(reach);
    }
    return table;
}
constexpr DirectTable kDirect = make_direct_table();
constexpr uint32_t kDirectCodes = kDirect.of_run[15].first + 2 * kDirect.of_run[15].reach;
constexpr int kZeroRun = 16;     // ZRL, F.1.2.2.1
constexpr int kMostAcSize = 15;  // that a symbol has room for
constexpr int kMostSize = 17;    // of a difference of 16-bit values

struct CodeTable {
    // AC: by run and value. DC: as if of run 0, by difference.
    PackedBits direct[kDirectCodes];
    PackedBits of_size[16][kMostSize + 1];  // by run and size; the code alone
    PackedBits zero_run, end_of_block;
};
// The bits that a value's magnitude takes.
constexpr uint32_t size_of(int32_t value) {
    // No branch: signs cannot be foreseen.
    const uint32_t sign = static_cast<uint32_t>(value >> 31);
    const uint32_t magnitude = (static_cast<uint32_t>(value) ^ sign) - sign;
    return 64 - static_cast<uint32_t>(__builtin_clzll(uint64_t{magnitude} << 1 | 1)) - 1;
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
// Codes blocksInMcu of them. False: something has no code.
using McuRun = bool (*)(const JEInfo *session, const CodingBlock *blocks, BitWriter *to);
extern const McuRun kPlainMcuRun;
#if defined(__x86_64__)
extern const McuRun kBmi2McuRun;
#endif
// The loop for this processor.
McuRun mcu_run();

// What is done before an MCU is begun: a chunk that is full moves on, or memory grows. False: there is none.
bool next_mcu_room(JEInfo *session);
// blocksInMcu of them, with the restart marker that stands in front of them. False: something has no code, or there is
// no room.
bool encode_mcu(JEInfo *session, const CodingBlock *blocks);

}  // namespace vorel
