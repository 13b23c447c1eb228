// Tables that the entropy decoder works with, derived from what DHT segments said.
#pragma once

#include "jpeg/decoder/frame_layout.h"

// Derived Huffman table (T.81 F.2.2.3): 32-bit entries; maxCode[0] is length 1, maxCode[16] the sentinel.
struct DerivedTable {
    int32_t maxCode[17];
    int32_t valOffset[16];
    const vorel::RawHuffTable *rawTable;
    uint32_t lookup[256];  // (length << 8) | symbol for 8 bits of look-ahead; 0x900: longer than 8

    // inside
    vorel::RawHuffTable raw;  // what the table was made of: a stream may define its tables again between scans
    bool is_dc;
    bool lossless;  // DC with the size 16 of lossless frames
    bool valid;
    int32_t look_bits;  // that `fast` looks at; `skip` looks at one more
    uint32_t *fast;     // whole symbols with their values, see below; null until asked for
    uint64_t *pairs;    // AC: two of them in an entry; null until asked for
    uint16_t *skip;     // walks over AC coefficients; null until asked for
};

namespace vorel {

// How far the MCU decoder of a scale keeps coefficients, by zigzag position.
constexpr int kKeepAll = 64;
constexpr int kKeep2to1 = 19;  // the 4 x 4 corner but for its last entry
constexpr int kKeep4to1 = 5;   // the 2 x 2 corner
constexpr int kKeepDc = 1;

// Look-ups of the fast path.
//
// A difference (DC tables): how to take it from the bits ahead without a branch on its size, from the low end
//   6 bits  of the code and the value together
//   1 bit   free
//   1 bit   kDifferenceRare: a code that is longer than the look-up, or of size 16 (its length in the second byte)
//   8 bits  of the code
//   8 bits  63 less those of the value
//
// An AC symbol with its value bits:
//   6 bits  to consume
//   2 bits  kind, see below
//   value:      5 bits of run + 1 (AC), a bit that an end of block behind it is taken in, 2 bits free, then the value
//   as 16
//               signed bits; never 0 for AC
//   end of block: 4 bits 0, 4 bits n of a progressive scan's EOBn
//   long value: 4 bits size, 4 bits run; code bits are to be consumed, the value follows
// An AC entry is a value exactly when its upper half is not 0.
//
// Two AC symbols with their values, 64 bits:
//   byte 0       bits to consume, of both
//   byte 1       positions advanced by both, and 64 where an end of block follows that is taken in. kPairOdd: no symbol
//                with its value fits; byte 0 then is what a lone one takes, 0 where its code does not fit either, byte
//                3 is 63 less the bits of its value, byte 4 those of its code
//   bytes 2, 3   positions advanced up to the first and up to the second; kPairNowhere in an end of block that stands
//                alone: beyond the block's end, which is where 63 is
//   16, 16 bits  the values. A lone symbol is there twice, second at the first's place; sixteen zeros are one 0.
constexpr int kPairLookBits = 10;
constexpr uint32_t kPairEnd = 64, kPairOdd = 128, kPairNowhere = 64;
constexpr uint32_t kDifferenceRare = 1 << 7;

constexpr int kMostAcLookBits = 11;
constexpr int kDcLookBits = 9;
// Differences of whole samples are larger.
constexpr int kLosslessLookBits = 12;
// T.81 H.1.2.2: a code of size 16 has no value bits; samples are differences modulo 2^16, so that 32768 is as good as
// this.
constexpr int kLosslessWholeSize = 16;
constexpr int kLosslessWholeValue = -32768;

// Of AC tables, those but the first serve chroma, whose values are small: with half the entries the look-ups of a
// picture and a batch of its coefficients stay in 32 KiB of first-level cache.
constexpr int32_t ac_look_bits(int32_t table_number) { return kMostAcLookBits - (table_number > 0); }

enum EntryKind : uint32_t {
    kEntryValue = 0,       // DC only: AC values show in their upper half
    kEntryEndOfBlock = 0,  // AC
    kEntryZeroRun = 1,     // AC: 16 zeros
    kEntryLongValue = 2,   // the code fits the look-up, its value bits do not
    kEntryLongCode = 3,
};

// The end of block stands in the same look-up, and its bits are consumed with it.
constexpr uint32_t kEntryEndsBlock = 1 << 13;

constexpr uint32_t entry_bits(uint32_t entry) { return entry & 63; }
constexpr uint32_t entry_kind(uint32_t entry) { return entry >> 6 & 3; }
constexpr uint32_t entry_advance(uint32_t entry) { return entry >> 8 & 31; }
constexpr uint32_t entry_size(uint32_t entry) { return entry >> 8 & 15; }
constexpr uint32_t entry_run(uint32_t entry) { return entry >> 12 & 15; }
constexpr int32_t entry_value(uint32_t entry) { return static_cast<int32_t>(entry) >> 16; }

// Skip entries: low byte bits to consume, at most kMostSkipBits, high byte positions advanced, its top bit for an end
// of block. kSkipNone: no symbol fits.
constexpr uint32_t kMostSkipBits = 22;
constexpr uint16_t kSkipNone = 0xFF00;
constexpr int kMostSkipLookBits = kMostAcLookBits + 1;
constexpr uint32_t kSkipEndOfBlock = 0x8000;

// T.81 F.2.2.1, EXTEND: the value of `size` raw bits, 0 <= size <= 15.
constexpr int32_t extend(int32_t raw, int32_t size) {
    return size && raw < (1 << (size - 1)) ? raw - (1 << size) + 1 : raw;
}

// Derives a table, allocating it where *table is null; nothing happens where it was made of the same raw table. False
// for counts that no prefix code has, for a DC symbol above 15, and when out of memory, which sets the error word.
// `number` is that of the raw table, 0 to 3, by which streams tell luma from chroma.
bool derive_table(const RawHuffTable &raw, bool is_dc, int32_t number, DerivedTable **table);
// The same for the differences of a lossless frame (T.81 H.1.2.2), with symbols up to 16.
bool derive_lossless_table(const RawHuffTable &raw, DerivedTable **table);
void release_table(DerivedTable *table);

// The code of symbol 0, the end of a block, and its length; length 0 where the table has none.
void find_end_of_block(const DerivedTable *table, uint32_t *code, uint32_t *bits);

// The look-ups of a derived table, made when they are first asked for; null when out of memory.
const uint32_t *fast_entries(DerivedTable *table);
const uint64_t *pair_entries(DerivedTable *table);
const uint16_t *skip_entries(DerivedTable *table);

}  // namespace vorel
