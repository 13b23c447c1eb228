// Canonical Huffman codes to tables. A table is filled in the order of the codes, read backwards as the stream gives
// them, and doubles each time they become a bit longer.
#include "png/inflate/tables.h"

#include <algorithm>
#include <cstring>

namespace vorel {
namespace {

constexpr int kEndOfBlock = 256;
constexpr uint16_t kLengthBase[] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                    31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr uint8_t kLengthExtra[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                    2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr int kFirstLength = 257, kLengths = 29;
constexpr InflateEntry kInvalidEntry = kEntryOther | kEntryInvalid;

// Without the bits of the code.
InflateEntry literal_entry(int symbol) {
    return kEntryLiteral | 1 << kEntryCountShift | static_cast<InflateEntry>(symbol) << kEntryValueShift;
}

InflateEntry number_entry(uint32_t base, uint32_t extra) { return base << kEntryValueShift | extra; }

InflateEntry length_entry(int symbol) {
    if (symbol < kEndOfBlock) return literal_entry(symbol);
    if (symbol == kEndOfBlock) return kEntryOther | kEntryEndOfBlock;
    if (symbol >= kFirstLength + kLengths) return kInvalidEntry;
    return number_entry(kLengthBase[symbol - kFirstLength], kLengthExtra[symbol - kFirstLength]);
}

InflateEntry distance_entry(int symbol) {
    if (symbol >= kMostDistanceCodes) return kInvalidEntry;
    if (symbol < 2) return number_entry(static_cast<uint32_t>(symbol) + 1, 0);
    const uint32_t extra = static_cast<uint32_t>(symbol) / 2 - 1;
    return number_entry(((2u + (static_cast<uint32_t>(symbol) & 1)) << extra) + 1, extra);
}

// The bits of the code, in the total and where a number wants them by themselves.
InflateEntry with_code(InflateEntry entry, int bits) {
    const auto code = static_cast<InflateEntry>(bits);
    const bool number = !(entry & (kEntryLiteral | kEntryOther));
    return entry + (number ? code | code << kEntryCodeShift : code);
}

struct Code {
    int count[kMostCodeBits + 1];  // codes of that many bits
    int longest;
    uint16_t sorted[kLengthSymbols];
    int symbols;
};

// zlib's rule: a set may be incomplete only where it is a single code of one bit, or empty.
bool sort_code(const uint8_t *lengths, int count, bool may_be_incomplete, Code *code) {
    std::fill_n(code->count, kMostCodeBits + 1, 0);
    for (int i = 0; i < count; ++i) ++code->count[lengths[i]];
    code->longest = kMostCodeBits;
    while (code->longest > 0 && code->count[code->longest] == 0) --code->longest;
    int left = 1, offsets[kMostCodeBits + 2] = {};
    for (int bits = 1; bits <= kMostCodeBits; ++bits) {
        left = 2 * left - code->count[bits];
        if (left < 0) return false;
        offsets[bits + 1] = offsets[bits] + code->count[bits];
    }
    code->symbols = offsets[kMostCodeBits + 1];
    if (left > 0 && code->longest != 0 && (!may_be_incomplete || code->longest != 1)) return false;
    for (int i = 0; i < count; ++i) {
        if (lengths[i]) code->sorted[offsets[lengths[i]]++] = static_cast<uint16_t>(i);
    }
    return true;
}

// The next code in the order of the backward ones: the highest bit that is not set is set, those above it are cleared.
uint32_t next_code(uint32_t code, uint32_t all_ones) {
    const uint32_t bit = uint32_t{1} << (31 - __builtin_clz(code ^ all_ones));
    return (code & (bit - 1)) | bit;
}

template <InflateEntry (*kEntryOf)(int symbol)>
bool fill_table(const Code &code, int table_bits, int entries, InflateEntry *table) {
    const uint32_t first_size = uint32_t{1} << table_bits;
    if (code.symbols < 2) {
        // No code, or one of one bit: what is not it takes a bit and is invalid.
        for (uint32_t i = 0; i < first_size; ++i) {
            const bool valid = code.symbols == 1 && (i & 1) == 0;
            table[i] = with_code(valid ? kEntryOf(code.sorted[0]) : kInvalidEntry, 1);
        }
        return true;
    }
    uint32_t at = 0;  // the code, backwards
    int next = 0;
    const int short_bits = std::min(table_bits, code.longest);
    uint32_t size = 2;
    for (int bits = 1; bits <= short_bits; ++bits) {
        for (int i = 0; i < code.count[bits]; ++i, ++next) {
            table[at] = with_code(kEntryOf(code.sorted[next]), bits);
            if (at == size - 1) {  // the last code
                for (; size < first_size; size *= 2) std::memcpy(table + size, table, size * sizeof *table);
                return true;
            }
            at = next_code(at, size - 1);
        }
        if (bits < table_bits) {
            std::memcpy(table + size, table, size * sizeof *table);
            size *= 2;
        }
    }
    // Longer codes share second-level tables by their first bits.
    uint32_t start = 0, end = first_size, prefix = ~0u;
    int second_bits = 0;
    for (int bits = table_bits + 1; bits <= code.longest; ++bits) {
        const uint32_t ones = (uint32_t{1} << bits) - 1;
        for (int left = code.count[bits]; left > 0; --left, ++next) {
            if ((at & (first_size - 1)) != prefix) {
                prefix = at & (first_size - 1);
                start = end;
                second_bits = bits - table_bits;
                for (int used = left; used < 1 << second_bits && table_bits + second_bits < code.longest;) {
                    ++second_bits;
                    used = 2 * used + code.count[table_bits + second_bits];
                }
                end = start + (uint32_t{1} << second_bits);
                if (end > static_cast<uint32_t>(entries)) return false;
                table[prefix] = kEntryOther | kEntryMore | static_cast<InflateEntry>(second_bits) << kEntryCodeShift |
                                start << kEntryValueShift | static_cast<InflateEntry>(table_bits);
            }
            const InflateEntry entry = with_code(kEntryOf(code.sorted[next]), bits);
            const uint32_t step = uint32_t{1} << (bits - table_bits);
            for (uint32_t i = start + (at >> table_bits); i < end; i += step) table[i] = entry;
            if (at == ones) return true;
            at = next_code(at, ones);
        }
    }
    return true;
}

// Downwards: what is looked up for the second literal is not a pair yet.
void join_literals(int table_bits, InflateEntry *table) {
    for (uint32_t i = uint32_t{1} << table_bits; i-- > 0;) {
        const InflateEntry first = table[i];
        if (!(first & kEntryLiteral)) continue;
        const uint32_t bits = first & kEntryBits;
        const InflateEntry second = table[i >> bits];
        if (!(second & kEntryLiteral) || bits + (second & kEntryBits) > static_cast<uint32_t>(table_bits)) continue;
        table[i] = (first & ~(kEntryBits | 1 << kEntryCountShift)) | (bits + (second & kEntryBits)) |
                   2 << kEntryCountShift | bits << kEntryFirstShift |
                   (second >> kEntryValueShift & 255) << (kEntryValueShift + 8);
    }
}

InflateEntry plain_entry(int symbol) { return static_cast<InflateEntry>(symbol) << kEntryValueShift | kEntryLiteral; }

}  // namespace

bool make_length_table(const uint8_t *lengths, int count, int table_bits, bool pairs, InflateTables *tables) {
    Code code;
    // A block without an end is refused.
    if (lengths[kEndOfBlock] == 0 || !sort_code(lengths, count, true, &code)) return false;
    table_bits = std::min(table_bits, std::max(code.longest, 1));
    tables->length_bits = static_cast<uint32_t>(table_bits);
    if (!fill_table<length_entry>(code, table_bits, kLengthEntries, tables->length)) return false;
    if (pairs) join_literals(table_bits, tables->length);
    return true;
}

bool make_distance_table(const uint8_t *lengths, int count, InflateTables *tables) {
    Code code;
    return sort_code(lengths, count, true, &code) &&
           fill_table<distance_entry>(code, kDistanceTableBits, kDistanceEntries, tables->distance);
}

void fixed_code_lengths(uint8_t length[kLengthSymbols], uint8_t distance[kDistanceSymbols]) {
    for (int i = 0; i < kLengthSymbols; ++i) {
        length[i] = static_cast<uint8_t>(i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8);
    }
    std::memset(distance, 5, kDistanceSymbols);
}

// Required: as in zlib an empty code reads as zeros of one bit each.
bool make_lengths_table(const uint8_t lengths[kLengthsCodes], InflateEntry table[1 << kLengthsTableBits]) {
    Code code;
    if (!sort_code(lengths, kLengthsCodes, false, &code)) return false;
    if (code.symbols == 0) {
        std::fill_n(table, 1 << kLengthsTableBits, with_code(plain_entry(0), 1));
        return true;
    }
    return fill_table<plain_entry>(code, kLengthsTableBits, 1 << kLengthsTableBits, table);
}

}  // namespace vorel
