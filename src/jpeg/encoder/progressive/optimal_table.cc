// The Huffman table of least length for measured counts (T.81 K.2).
#include <vorel/jpeg_encoder_progressive.h>

#include <algorithm>
#include <cstring>

namespace vorel {
namespace {

constexpr int kSymbols = 257, kReserved = 256;  // the reserved symbol keeps the code of all ones free
constexpr int kLongestCode = 16;
// Counts are 32 bits and searched from here down.
constexpr uint64_t kMostCount = 1000000000;

struct CodeLengths {
    int size[kSymbols];  // of each symbol's code; 0: none
    int bits[kSymbols];  // codes of each length; at most 256 bits long
};

// T.81 figure K.1. The search takes the rarest symbol, of equals the last one.
void join_symbols(uint64_t *counts, CodeLengths *lengths) {
    int others[kSymbols], live[kSymbols], alive = 0;
    for (int i = 0; i < kSymbols; ++i) {
        others[i] = -1;
        lengths->size[i] = 0;
        if (counts[i]) live[alive++] = i;
    }
    const auto rarest = [&](int but) {
        int found = -1;
        for (int i = 0; i < alive; ++i)
            if (i != but && (found < 0 || counts[live[i]] <= counts[live[found]])) found = i;
        return found;
    };
    while (alive > 1) {
        const int first = rarest(-1), second = rarest(first);
        int c1 = live[first];
        const int c2 = live[second];
        counts[c1] += counts[c2];
        counts[c2] = 0;
        std::memmove(live + second, live + second + 1, sizeof(int) * static_cast<size_t>(--alive - second));
        for (++lengths->size[c1]; others[c1] >= 0; ++lengths->size[c1]) c1 = others[c1];
        others[c1] = c2;
        for (c1 = c2; c1 >= 0; c1 = others[c1]) ++lengths->size[c1];
    }
}

// T.81 figure K.3: brings codes down to 16 bits, and takes the reserved symbol's away, which is one of the longest.
void limit_lengths(CodeLengths *lengths) {
    int *bits = lengths->bits;
    std::memset(bits, 0, sizeof(lengths->bits));
    for (const int size : lengths->size)
        if (size) ++bits[size];
    for (int i = kSymbols - 1; i > kLongestCode; --i) {
        while (bits[i] > 0) {
            int j = i - 2;
            while (!bits[j]) --j;
            bits[i] -= 2;
            ++bits[i - 1];
            bits[j + 1] += 2;
            --bits[j];
        }
    }
    int longest = kLongestCode;
    while (longest && !bits[longest]) --longest;
    if (longest) --bits[longest];
}

void make_table(uint32_t *counts, uint8_t *table_counts, uint8_t *values) {
    counts[kReserved] = 1;
    uint64_t most = 0, wide[kSymbols];
    for (int i = 0; i < kSymbols; ++i) {
        wide[i] = counts[i];
        if (wide[i] > most) most = wide[i];
    }
    for (; most > kMostCount; most = (most + 1) / 2)
        for (uint64_t &count : wide) count = (count + 1) / 2;

    CodeLengths lengths;
    join_symbols(wide, &lengths);
    limit_lengths(&lengths);
    for (int i = 0; i < kSymbols; ++i) counts[i] = static_cast<uint32_t>(wide[i] < UINT32_MAX ? wide[i] : UINT32_MAX);

    for (int i = 0; i <= kLongestCode; ++i) table_counts[i] = static_cast<uint8_t>(lengths.bits[i]);
    // The order of symbols is that of their lengths before the limit.
    const int longest = *std::max_element(lengths.size, lengths.size + kSymbols);
    for (int size = 1; size <= longest; ++size)
        for (int i = 0; i < kReserved; ++i)
            if (lengths.size[i] == size) *values++ = static_cast<uint8_t>(i);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void vjpeg_gen_optimal_table(JEInfo *, RimEncHuffTable *table, uint32_t *counts) {
    make_table(counts, table->counts, table->values);
    table->sent = 0;
}

void brim_jpeg_gen_optimal_table(JEInfo *, HuffmanSlot *slot, uint32_t *counts) {
    make_table(counts, slot->counts, slot->values);
    slot->mark = 1;
}

}  // extern "C"
