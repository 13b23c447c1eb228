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
void put_values(PackedBits code, uint32_t size, const DirectValues &values, PackedBits *direct) {
    if (!code) return;
    const int32_t first = size ? 1 << (size - 1) : 0, all_ones = (1 << size) - 1;
    const PackedBits base = (code >> 8) << size << 8 | (length_of(code) + size);
    PackedBits *zero = direct + values.first + values.reach;
    for (int32_t value = first; value <= std::min(all_ones, values.reach); ++value) {
        if (value < values.reach) zero[value] = base | static_cast<uint32_t>(value) << 8;
        if (size) zero[-value] = base | static_cast<uint32_t>(all_ones - value) << 8;
    }
}
static_assert(16 + kDirectSizes <= 24);

}  // namespace

void make_dc_codes(const RimEncDerived &derived, CodeTable *codes) {
    *codes = {};
    for (uint32_t size = 0; size <= kMostSize; ++size) codes->of_size[0][size] = packed(derived, size);
    for (uint32_t size = 0; size <= kDirectSizes; ++size) {
        put_values(codes->of_size[0][size], size, kDirect.of_run[0], codes->direct);
    }
}

void make_ac_codes(const RimEncDerived &derived, CodeTable *codes) {
    *codes = {};
    for (uint32_t run = 0; run < kZeroRun; ++run) {
        for (uint32_t size = 1; size <= kMostAcSize; ++size) {
            codes->of_size[run][size] = packed(derived, run << 4 | size);
        }
        for (uint32_t size = 1; size <= kDirectSizes; ++size) {
            put_values(codes->of_size[run][size], size, kDirect.of_run[run], codes->direct);
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
