// Code lengths to look-up tables (RFC 1951, clause 3.2), refused where zlib refuses them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel {

// An entry of a table, found by the next bits of the stream:
//   bits 0-5    how many bits it takes, those of a length or distance behind its code among them
//   bit  6      literals: bits 8-9 how many, 1 or 2, bits 16-31 the bytes; of two, bits 10-13 the first one's code
//   bit  7      neither literals nor a number: bits 12-14 say what
//   bits 8-11   of a number: bits of the code alone; of a second-level table: the bits that index it
//   bits 16-31  of a number: what is added to the bits behind the code; where a second-level table starts
using InflateEntry = uint32_t;
constexpr InflateEntry kEntryBits = 63, kEntryLiteral = 1 << 6, kEntryOther = 1 << 7;
constexpr InflateEntry kEntryMore = 1 << 12, kEntryEndOfBlock = 1 << 13, kEntryInvalid = 1 << 14;
constexpr int kEntryCountShift = 8, kEntryCodeShift = 8, kEntryFirstShift = 10, kEntryValueShift = 16;

constexpr int kMostCodeBits = 15;
constexpr int kMostLengthCodes = 286, kMostDistanceCodes = 30;  // zlib's bounds on HLIT and HDIST
constexpr int kLengthSymbols = 288, kDistanceSymbols = 32;      // of the fixed codes

// The first level of the tables, and space for the second ones that any complete code needs.
constexpr int kMostLengthTableBits = 11, kDistanceTableBits = 8;
constexpr int kLengthEntries = 2352, kDistanceEntries = 416;

struct InflateTables {
    uint32_t length_bits;  // of the first level
    InflateEntry length[kLengthEntries];
    InflateEntry distance[kDistanceEntries];
};

// With `pairs`, entries give two literals where both codes fit: that pays where a block is read whole. False where the
// lengths are no code.
bool make_length_table(const uint8_t *lengths, int count, int table_bits, bool pairs, InflateTables *tables);
bool make_distance_table(const uint8_t *lengths, int count, InflateTables *tables);

// Clause 3.2.6.
void fixed_code_lengths(uint8_t length[kLengthSymbols], uint8_t distance[kDistanceSymbols]);

// The code of code lengths, of which all entries are plain: the symbol in bits 16-31, its bits in 0-5.
constexpr int kLengthsCodes = 19, kLengthsTableBits = 7;
bool make_lengths_table(const uint8_t lengths[kLengthsCodes], InflateEntry table[1 << kLengthsTableBits]);

}  // namespace vorel
