// Tables that the entropy decoder works with, derived from what DHT segments said.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Private look-ups of the fast path, one symbol with its value bits each. An entry, from the low end:
//   6 bits  bits to consume
//   2 bits  kind, see below
//   value:      8 bits free but for 5 bits of run + 1 (AC), then the value as 16 signed bits; never 0 for AC
//   long value: 4 bits size, 4 bits run; code bits are to be consumed, the value follows
// An AC entry is a value exactly when its upper half is not 0.
constexpr int kAcLookBits = 11;
constexpr int kDcLookBits = 9;

enum EntryKind : uint32_t {
    kEntryValue = 0,       // DC only: AC values are told by their upper half
    kEntryEndOfBlock = 0,  // AC
    kEntryZeroRun = 1,     // AC: 16 zeros
    kEntryLongValue = 2,   // the code fits the look-up, its value bits do not
    kEntryLongCode = 3,
};

constexpr uint32_t entry_bits(uint32_t entry) { return entry & 63; }
constexpr uint32_t entry_kind(uint32_t entry) { return entry >> 6 & 3; }
constexpr uint32_t entry_advance(uint32_t entry) { return entry >> 8 & 31; }
constexpr uint32_t entry_size(uint32_t entry) { return entry >> 8 & 15; }
constexpr uint32_t entry_run(uint32_t entry) { return entry >> 12 & 15; }
constexpr int32_t entry_value(uint32_t entry) { return static_cast<int32_t>(entry) >> 16; }

struct FastHuffTables {
    uint32_t dc[kMaxComponents][1 << kDcLookBits];
    uint32_t ac[kMaxComponents][1 << kAcLookBits];
};

// Skip entries: low byte bits to consume, high byte positions advanced, its top bit for an end of block.
constexpr int kSkipLookBits = 12;
constexpr uint32_t kSkipEndOfBlock = 0x8000;

// T.81 F.2.2.1, EXTEND: the value of `size` raw bits, 0 <= size <= 15.
constexpr int32_t extend(int32_t raw, int32_t size) {
    return size && raw < (1 << (size - 1)) ? raw - (1 << size) + 1 : raw;
}

void build_fast_dc(const DerivedTable *table, uint32_t *entries);
void build_fast_ac(const DerivedTable *table, uint32_t *entries);
void build_skip_table(const DerivedTable *table, uint16_t *entries);

}  // namespace vorel
