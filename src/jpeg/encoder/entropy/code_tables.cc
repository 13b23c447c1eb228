// Huffman tables: as DHT has them, by symbol, and as the block coder wants them.
#include <algorithm>

#include "jpeg/encoder/base_tables.h"
#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/memory.h"

namespace vorel {
namespace {

// T.81 C.2: canonical codes in the order of the symbols. Counts of a caller's may claim more than a table holds.
void derive(const RimEncHuffTable &table, RimEncDerived *derived) {
    *derived = {};
    uint32_t code = 0, next = 0;
    for (uint32_t length = 1; length <= 16; ++length, code <<= 1) {
        for (uint32_t i = 0; i < table.counts[length] && next < 256; ++i) {
            const uint8_t symbol = table.values[next++];
            derived->code[symbol] = code++ & ((1u << length) - 1);
            derived->size[symbol] = static_cast<uint8_t>(length);
        }
    }
}

PackedBits packed(const RimEncDerived &derived, uint32_t symbol) {
    return derived.size[symbol] ? derived.code[symbol] << 8 | derived.size[symbol] : 0;
}

// A code with the bits of each value of a size behind it, T.81 F.1.2.1: negative values by the complement.
void put_values(PackedBits code, uint32_t size, PackedBits *direct) {
    const int32_t first = size ? 1 << (size - 1) : 0, last = std::min((1 << size) - 1, kDirect - 1);
    const PackedBits base = (code >> 8) << size << 8 | (length_of(code) + size);
    for (int32_t value = first; code && value <= last; ++value) {
        direct[kDirect + value] = base | static_cast<uint32_t>(value) << 8;
    }
    const int32_t lowest = std::min((1 << size) - 1, kDirect), all_ones = (1 << size) - 1;
    for (int32_t value = first; code && size && value <= lowest; ++value) {
        direct[kDirect - value] = base | static_cast<uint32_t>(all_ones - value) << 8;
    }
}
// Sizes that values with a look-up have.
constexpr uint32_t kDirectSizes = 6;
static_assert(1 << kDirectSizes == 2 * kDirect);

}  // namespace

void make_dc_codes(const RimEncDerived &derived, CodeTable *codes) {
    *codes = {};
    for (uint32_t size = 0; size <= kMostSize; ++size) codes->of_size[0][size] = packed(derived, size);
}

void make_ac_codes(const RimEncDerived &derived, CodeTable *codes) {
    *codes = {};
    codes->complete = true;
    for (uint32_t run = 0; run < kZeroRun; ++run) {
        for (uint32_t size = 1; size <= kMostAcSize; ++size) {
            codes->of_size[run][size] = packed(derived, run << 4 | size);
        }
        for (uint32_t size = 1; size <= kDirectSizes; ++size) {
            put_values(codes->of_size[run][size], size, codes->direct[run]);
            codes->complete = codes->complete && codes->of_size[run][size];
        }
    }
    codes->zero_run = packed(derived, 0xF0);
    codes->end_of_block = packed(derived, 0);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_create_huffman_tbl(JEInfo *session, RimEncHuffTable **slot, const uint8_t *counts,
                                          const uint8_t *values) {
    if (!ensure_block(session, slot, 1)) {
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    std::memcpy((*slot)->counts, counts, sizeof(*slot)->counts);
    std::memcpy((*slot)->values, values, sizeof(*slot)->values);
    (*slot)->sent = 0;
    return 1;
}

int32_t __rim_jpeg_enc_set_huffman_spec_tbl(JEInfo *session) {
    const HuffmanSpec *own = session->useSuppliedHuffman ? session->suppliedHuffman : nullptr;
    for (int i = 0; i < 2; ++i) {
        if (!__rim_jpeg_enc_create_huffman_tbl(session, &session->dcSpecs[i],
                                               own ? own->dcSlots[i].counts : kDcCounts[i].of_length,
                                               own ? own->dcSlots[i].values : kDcValues[i].symbols) ||
            !__rim_jpeg_enc_create_huffman_tbl(session, &session->acSpecs[i],
                                               own ? own->acSlots[i].counts : kAcCounts[i].of_length,
                                               own ? own->acSlots[i].values : kAcValues[i].symbols)) {
            return 0;
        }
    }
    return 1;
}

// The session's own tables are what its blocks are coded by: the form that the coder wants follows them.
int32_t __rim_jpeg_enc_prepare_derived_tblDC(JEInfo *session, uint32_t tableNumber, RimEncDerived **slot) {
    if (tableNumber >= 4 || !session->dcSpecs[tableNumber] || !ensure_block(session, slot, 1)) return 0;
    derive(*session->dcSpecs[tableNumber], *slot);
    if (tableNumber >= 2 || !session->entropy || slot != &session->entropy->dcDerived[tableNumber]) return 1;
    if (!ensure_block(session, &session->work->dcCodes[tableNumber], 1)) return 0;
    make_dc_codes(**slot, session->work->dcCodes[tableNumber]);
    return 1;
}

int32_t __rim_jpeg_enc_prepare_derived_tbl(JEInfo *session, uint32_t tableNumber, RimEncDerived **slot) {
    if (tableNumber >= 4 || !session->acSpecs[tableNumber] || !ensure_block(session, slot, 1)) return 0;
    derive(*session->acSpecs[tableNumber], *slot);
    if (tableNumber >= 2 || !session->entropy || slot != &session->entropy->acDerived[tableNumber]) return 1;
    if (!ensure_block(session, &session->work->acCodes[tableNumber], 1)) return 0;
    make_ac_codes(**slot, session->work->acCodes[tableNumber]);
    return 1;
}

int32_t __rim_jpeg_enc_prepare_huffman_code(JEInfo *session) {
    if (!__rim_jpeg_enc_set_huffman_spec_tbl(session)) return 0;
    if (!ensure_block(session, &session->entropy, 1)) {
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    JEEntropy *entropy = session->entropy;
    for (uint32_t i = 0; i < 2; ++i) {
        if (!__rim_jpeg_enc_prepare_derived_tblDC(session, i, &entropy->dcDerived[i]) ||
            !__rim_jpeg_enc_prepare_derived_tbl(session, i, &entropy->acDerived[i])) {
            VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
            return 0;
        }
    }
    return 1;
}

}  // extern "C"
