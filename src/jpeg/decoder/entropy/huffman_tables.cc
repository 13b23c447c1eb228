// Derived Huffman tables (T.81 annex C and F.2.2.3), skip tables and the fast path's look-ups.
#include "jpeg/decoder/entropy/huffman_tables.h"

#include <cstring>

namespace vorel {
namespace {

constexpr uint32_t kLongerThan8 = 0x900;
constexpr int32_t kSentinel = 0xFFFFF;

// A code found in the bits ahead: its length and symbol, or length 0 when it is longer than they are.
struct Code {
    int32_t length;
    uint8_t symbol;
};

// ahead: `bits` bits, left-aligned in 16.
Code find_code(const DerivedTable *table, uint32_t ahead, int32_t bits) {
    const uint32_t look = table->lookup[ahead >> 8];
    if (look != kLongerThan8) {
        const int32_t length = static_cast<int32_t>(look >> 8);
        return length <= bits ? Code{length, static_cast<uint8_t>(look)} : Code{0, 0};
    }
    for (int32_t length = 9; length <= bits; ++length) {
        const int32_t code = static_cast<int32_t>(ahead >> (16 - length));
        if (code <= table->maxCode[length - 1]) {
            return {length, table->rawTable->symbols[(code + table->valOffset[length - 1]) & 255]};
        }
    }
    return {0, 0};
}

// Canonical codes of T.81 C.2. False for counts that no prefix code has, or that would need the code of all ones, which
// is reserved: writers of lossless frames use it all the same.
bool assign_codes(const RawHuffTable *raw, bool all_ones, uint16_t *codes, uint8_t *lengths, int32_t *count) {
    int32_t total = 0;
    for (int length = 1; length <= 16; ++length) {
        if (total + raw->counts[length - 1] > 256) return false;
        for (int i = 0; i < raw->counts[length - 1]; ++i) lengths[total++] = static_cast<uint8_t>(length);
    }
    *count = total;
    uint32_t code = 0;
    int32_t length = total ? lengths[0] : 0;
    for (int32_t i = 0; i < total;) {
        for (; i < total && lengths[i] == length; ++i) codes[i] = static_cast<uint16_t>(code++);
        if (code >= (1u << length) + (all_ones ? 1 : 0)) return false;
        if (i < total) {
            code <<= lengths[i] - length;
            length = lengths[i];
        }
    }
    return true;
}

bool fill_derived(DerivedTable *table, const RawHuffTable *raw, bool is_dc) {
    uint16_t codes[256];
    uint8_t lengths[256];
    int32_t count;
    if (!assign_codes(raw, table->lossless, codes, lengths, &count)) return false;
    int32_t next = 0;
    for (int length = 1; length <= 16; ++length) {
        const int32_t here = raw->counts[length - 1];
        table->maxCode[length - 1] = here ? codes[next + here - 1] : -1;
        table->valOffset[length - 1] = here ? next - codes[next] : 0;
        next += here;
    }
    table->maxCode[16] = kSentinel;
    for (uint32_t &entry : table->lookup) entry = kLongerThan8;
    for (int32_t i = 0; i < count && lengths[i] <= 8; ++i) {
        const uint32_t first = static_cast<uint32_t>(codes[i]) << (8 - lengths[i]);
        for (uint32_t k = 0; k < 1u << (8 - lengths[i]); ++k) {
            table->lookup[first + k] = static_cast<uint32_t>(lengths[i]) << 8 | raw->symbols[i];
        }
    }
    if (is_dc) {
        for (int32_t i = 0; i < count; ++i) {
            if (raw->symbols[i] > (table->lossless ? 16 : 15)) return false;
        }
    }
    return true;
}

uint32_t pack_value(int32_t bits, uint32_t advance, int32_t value) {
    return static_cast<uint32_t>(value) << 16 | advance << 8 | static_cast<uint32_t>(bits);
}

uint32_t pack_special(EntryKind kind, int32_t bits, uint32_t run, uint32_t size) {
    return run << 12 | size << 8 | static_cast<uint32_t>(kind) << 6 | static_cast<uint32_t>(bits);
}

// The value bits behind a code in `look_bits` bits.
int32_t value_ahead(uint32_t ahead, int32_t look_bits, int32_t code_bits, int32_t size) {
    const uint32_t raw = ahead >> (look_bits - code_bits - size) & ((1u << size) - 1);
    return extend(static_cast<int32_t>(raw), size);
}

void build_fast_dc(const DerivedTable *table, uint32_t *entries) {
    const int32_t look_bits = table->look_bits;
    for (uint32_t ahead = 0; ahead < 1u << look_bits; ++ahead) {
        const Code code = find_code(table, ahead << (16 - look_bits), look_bits);
        const auto length = static_cast<uint32_t>(code.length);
        const uint32_t size = code.symbol;
        if (length == 0 || size == kLosslessWholeSize) {
            entries[ahead] = length << 8 | kDifferenceRare;
        } else {
            entries[ahead] = (63 - size) << 16 | length << 8 | (length + size);
        }
    }
}

void build_fast_ac(const DerivedTable *table, uint32_t *entries) {
    const int32_t look_bits = table->look_bits;
    uint32_t end_code, end_bits;
    find_end_of_block(table, &end_code, &end_bits);
    for (uint32_t ahead = 0; ahead < 1u << look_bits; ++ahead) {
        const Code code = find_code(table, ahead << (16 - look_bits), look_bits);
        const int32_t size = code.symbol & 15;
        const uint32_t run = code.symbol >> 4;
        if (!code.length) {
            entries[ahead] = pack_special(kEntryLongCode, 0, 0, 0);
        } else if (size == 0) {
            entries[ahead] = pack_special(run == 15 ? kEntryZeroRun : kEntryEndOfBlock, code.length, run, 0);
        } else if (code.length + size <= look_bits) {
            const int32_t used = code.length + size;
            const uint32_t value = pack_value(used, run + 1, value_ahead(ahead, look_bits, code.length, size));
            const uint32_t rest = ahead << (16 - look_bits + used) & 0xFFFF;
            const bool ends =
                end_bits && used + static_cast<int32_t>(end_bits) <= look_bits && rest >> (16 - end_bits) == end_code;
            entries[ahead] = ends ? value + end_bits + kEntryEndsBlock : value;
        } else {
            entries[ahead] = pack_special(kEntryLongValue, code.length, run, static_cast<uint32_t>(size));
        }
    }
}

// A symbol with its value in the first `bits` of what is ahead (left-aligned in 16). advance 0: none.
struct Coefficient {
    int32_t bits;
    uint32_t advance;
    int32_t value;
};
Coefficient find_coefficient(const DerivedTable *table, uint32_t ahead, int32_t bits) {
    const Code code = find_code(table, ahead, bits);
    const int32_t size = code.symbol & 15;
    const uint32_t run = code.symbol >> 4;
    if (!code.length || code.length + size > bits || (size == 0 && run != 15)) return {0, 0, 0};
    return {code.length + size, run + 1, size ? value_ahead(ahead, 16, code.length, size) : 0};
}

// The length of an end of block in the first `bits` of what is ahead; 0: there is none.
int32_t find_end(const DerivedTable *table, uint32_t ahead, int32_t bits) {
    const Code code = find_code(table, ahead, bits);
    return code.length && (code.symbol & 15) == 0 && code.symbol != 0xF0 ? code.length : 0;
}

uint64_t pair_entry(const DerivedTable *table, uint32_t ahead) {
    const auto behind = [&](int32_t used) { return ahead << used & 0xFFFF; };
    const Coefficient first = find_coefficient(table, ahead, kPairLookBits);
    int32_t used = first.bits;
    Coefficient second = {0, 0, first.value};
    if (first.advance) second = find_coefficient(table, behind(used), kPairLookBits - used);
    if (!second.advance) second.value = first.value;
    used += second.bits;
    const int32_t end = find_end(table, behind(used), kPairLookBits - used);
    if (!first.advance && !end) {
        const Code code = find_code(table, ahead, kPairLookBits);
        const uint32_t length = static_cast<uint32_t>(code.length), size = code.symbol & 15;
        if (length == 0) return kPairOdd << 8;
        return (63 - size) << 24 | static_cast<uint32_t>((code.symbol >> 4) + 1) << 16 | kPairOdd << 8 |
               (length + size) | static_cast<uint64_t>(length) << 32;
    }
    const uint32_t advance = first.advance + second.advance + (end ? kPairEnd : 0);
    const auto value = [](int32_t of) { return static_cast<uint64_t>(static_cast<uint16_t>(of)); };
    const uint32_t first_at = first.advance ? first.advance : kPairNowhere;
    const uint32_t second_at = first.advance ? first.advance + second.advance : kPairNowhere;
    return value(second.value) << 48 | value(first.value) << 32 | second_at << 24 | first_at << 16 | advance << 8 |
           static_cast<uint32_t>(used + end);
}

// Each entry walks forward through its bits. Value bits may run past them, since nobody looks at them; a code
// may not.
void build_skip_table(const DerivedTable *table, uint16_t *entries) {
    const uint32_t look_bits = static_cast<uint32_t>(table->look_bits) + 1;
    // The first symbol for whatever is ahead, so that the walks below cost a load a symbol.
    uint8_t code_bits[1 << kMostSkipLookBits];
    uint8_t symbols[1 << kMostSkipLookBits];
    for (uint32_t ahead = 0; ahead < 1u << look_bits; ++ahead) {
        const Code code = find_code(table, ahead << (16 - look_bits), table->look_bits + 1);
        code_bits[ahead] = static_cast<uint8_t>(code.length);
        symbols[ahead] = code.symbol;
    }
    for (uint32_t ahead = 0; ahead < 1u << look_bits; ++ahead) {
        uint32_t used = 0, advance = 0;
        bool end_of_block = false;
        while (used < look_bits && advance < 64) {
            const uint32_t rest = ahead << used & ((1u << look_bits) - 1);
            const uint32_t length = code_bits[rest];
            if (!length || used + length > look_bits) break;
            const uint32_t size = symbols[rest] & 15, run = symbols[rest] >> 4;
            if (used + length + size > kMostSkipBits) break;
            used += length + size;
            if (size == 0 && run != 15) {
                end_of_block = true;
                break;
            }
            advance += run + 1;
        }
        entries[ahead] =
            used == 0 ? kSkipNone : static_cast<uint16_t>(used | advance << 8 | (end_of_block ? kSkipEndOfBlock : 0));
    }
}

}  // namespace

namespace {

bool derive(const RawHuffTable &raw, bool is_dc, bool lossless, int32_t look_bits, DerivedTable **out) {
    if (!*out) {
        *out = static_cast<DerivedTable *>(BRIM_FakeMalloc(nullptr, sizeof(DerivedTable)));
        if (!*out) {
            set_error(kErrorOutOfMemory);
            return false;
        }
        std::memset(*out, 0, sizeof **out);
    }
    DerivedTable *table = *out;
    const bool same = table->is_dc == is_dc && table->lossless == lossless && table->look_bits == look_bits;
    if (table->valid && same && std::memcmp(&table->raw, &raw, sizeof raw) == 0) return true;
    os_release(table->fast);
    os_release(table->pairs);
    os_release(table->skip);
    std::memset(table, 0, sizeof *table);
    table->raw = raw;
    table->rawTable = &table->raw;
    table->is_dc = is_dc;
    table->lossless = lossless;
    table->look_bits = look_bits;
    table->valid = fill_derived(table, &table->raw, is_dc);
    return table->valid;
}

}  // namespace

bool derive_table(const RawHuffTable &raw, bool is_dc, int32_t number, DerivedTable **table) {
    return derive(raw, is_dc, false, is_dc ? kDcLookBits : ac_look_bits(number), table);
}

bool derive_lossless_table(const RawHuffTable &raw, DerivedTable **table) {
    return derive(raw, true, true, kLosslessLookBits, table);
}

void find_end_of_block(const DerivedTable *table, uint32_t *code, uint32_t *bits) {
    *code = *bits = 0;
    for (uint32_t length = 1, index = 0; length <= 16; ++length) {
        for (uint32_t i = 0; i < table->raw.counts[length - 1]; ++i, ++index) {
            if (table->raw.symbols[index] != 0) continue;
            *bits = length;
            *code = index - static_cast<uint32_t>(table->valOffset[length - 1]);
            return;
        }
    }
}

void release_table(DerivedTable *table) {
    if (!table) return;
    os_release(table->fast);
    os_release(table->pairs);
    os_release(table->skip);
    BRIM_FakeFree(table);
}

const uint32_t *fast_entries(DerivedTable *table) {
    if (table->fast) return table->fast;
    table->fast = os_allocate_array<uint32_t>(uint64_t{1} << table->look_bits);
    if (!table->fast) return nullptr;
    table->is_dc ? build_fast_dc(table, table->fast) : build_fast_ac(table, table->fast);
    return table->fast;
}

const uint64_t *pair_entries(DerivedTable *table) {
    if (table->pairs) return table->pairs;
    table->pairs = os_allocate_array<uint64_t>(uint64_t{1} << kPairLookBits);
    for (uint32_t ahead = 0; table->pairs && ahead < 1u << kPairLookBits; ++ahead) {
        table->pairs[ahead] = pair_entry(table, ahead << (16 - kPairLookBits));
    }
    return table->pairs;
}

const uint16_t *skip_entries(DerivedTable *table) {
    if (table->skip) return table->skip;
    table->skip = os_allocate_array<uint16_t>(uint64_t{1} << (table->look_bits + 1));
    if (table->skip) build_skip_table(table, table->skip);
    return table->skip;
}

}  // namespace vorel
