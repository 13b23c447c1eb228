// Rows of blocks to the tokens of a scan (T.81 G.1.2 and G.2), by masks of the coefficients that matter. What comes
// out is what the steps of phuff.cc would write or count.
#include "jpeg/encoder/progressive/scan_tokens.h"

#include <cstdlib>

namespace vorel {
namespace {

uint32_t lowest_bit(uint64_t mask) { return static_cast<uint32_t>(__builtin_ctzll(mask)); }

// Bits of a plane at the places of a mask, lowest place first.
struct Bits {
    uint64_t bits;
    uint32_t count;
};
Bits gather_bits(uint64_t plane, uint64_t mask) {
    Bits out = {0, 0};
    for (; mask; mask &= mask - 1, ++out.count) out.bits = out.bits << 1 | (plane >> lowest_bit(mask) & 1);
    return out;
}

// A symbol with `count` bits behind it, at most 64; in raw tokens what does not fit.
Token *put(Token *out, uint32_t index, Bits bits) {
    if (bits.count <= kTokenBits) {
        *out++ = make_token(index, static_cast<uint32_t>(bits.bits), bits.count);
        return out;
    }
    uint32_t left = bits.count - kTokenBits;
    *out++ = make_token(index, static_cast<uint32_t>(bits.bits >> left) & 0xFFFF, kTokenBits);
    while (left) {
        const uint32_t size = left < kTokenBits ? left : kTokenBits;
        left -= size;
        *out++ = make_token(kRawToken, static_cast<uint32_t>(bits.bits >> left) & ((1u << size) - 1), size);
    }
    return out;
}

void append(PendingBits *pending, Bits bits) {
    if (!bits.count) return;
    uint64_t *word = pending->words + pending->count / 64;
    const uint32_t used = pending->count % 64, free = 64 - used;
    pending->count += bits.count;
    if (!used) *word = 0;
    if (bits.count <= free) {
        *word |= bits.bits << (free - bits.count);
    } else {
        *word |= bits.bits >> (bits.count - free);
        word[1] = bits.bits << (64 - (bits.count - free));
    }
}

Token *put_eob_run(TokenState *state, Token *out) {
    const uint32_t size = bit_size(state->eob_run) - 1;
    out = put(out, size << 4, {state->eob_run & ((1u << size) - 1), size});
    state->eob_run = 0;
    const uint64_t *word = state->pending.words;
    for (uint32_t left = state->pending.count; left; ++word) {
        const uint32_t count = left < 64 ? left : 64;
        uint64_t bits = *word;
        for (uint32_t done = 0; done < count; done += kTokenBits, bits <<= kTokenBits) {
            const uint32_t size16 = count - done < kTokenBits ? count - done : kTokenBits;
            *out++ = make_token(kRawToken, static_cast<uint32_t>(bits >> (64 - size16)), size16);
        }
        left -= count;
    }
    state->pending.count = 0;
    return out;
}

uint64_t band_mask(const JEInfo *session) { return (~uint64_t{0} >> (63 - session->se)) & ~uint64_t{0} << session->ss; }

// The positions behind `previous` and in front of `next`.
uint64_t between(uint32_t previous, uint32_t next) {
    return ((uint64_t{1} << next) - 1) & (~uint64_t{0} << previous << 1);
}

// Scans of DC values touch one cache line of each block, which is too far apart to be fetched ahead by itself. The
// address may be behind the last block: it is not read.
void ask_ahead(const int16_t *block) {
    __builtin_prefetch(reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(block) + 24 * sizeof(JEBlock)));
}

ChunkTokens dc_first(const JEInfo *session, TokenState *state, const Chunk &chunk, Token *out) {
    const uint32_t al = session->al;
    for (uint32_t mcu = 0; mcu < chunk.count; ++mcu) {
        for (uint32_t c = 0; c < session->componentsInScan; ++c) {
            const JEComponent *component = session->scanComponents[c];
            const uint32_t table = static_cast<uint32_t>(component->dcTable) << 4;
            const uint32_t column = (chunk.first + mcu) * component->mcuWidth;
            int32_t last = state->last_dc[c];
            for (uint32_t y = 0; y < component->mcuHeight; ++y) {
                const JEBlock *block = chunk.rows[c][y] + column;
                for (uint32_t x = 0; x < component->mcuWidth; ++x) {
                    ask_ahead(block[x]);
                    const int32_t value = block[x][0] >> al, difference = value - last;
                    last = value;
                    const uint32_t size = bit_size(static_cast<uint32_t>(std::abs(difference)));
                    if (size > kMostDcBits) return {out, mcu};
                    const uint32_t bits = static_cast<uint32_t>(difference - (difference < 0)) & ((1u << size) - 1);
                    *out++ = make_token(table | size, bits, size);
                }
            }
            state->last_dc[c] = last;
        }
    }
    return {out, chunk.count};
}

ChunkTokens dc_refine(const JEInfo *session, TokenState *, const Chunk &chunk, Token *out) {
    uint32_t bits = 0, count = 0;
    for (uint32_t mcu = 0; mcu < chunk.count; ++mcu) {
        for (uint32_t c = 0; c < session->componentsInScan; ++c) {
            const JEComponent *component = session->scanComponents[c];
            const uint32_t column = (chunk.first + mcu) * component->mcuWidth;
            for (uint32_t y = 0; y < component->mcuHeight; ++y) {
                const JEBlock *block = chunk.rows[c][y] + column;
                for (uint32_t x = 0; x < component->mcuWidth; ++x) {
                    ask_ahead(block[x]);
                    bits = bits << 1 | (static_cast<uint32_t>(block[x][0] >> session->al) & 1);
                    if (++count == kTokenBits) {
                        *out++ = make_token(kRawToken, bits, count);
                        bits = count = 0;
                    }
                }
            }
        }
    }
    if (count) *out++ = make_token(kRawToken, bits, count);
    return {out, chunk.count};
}

ChunkTokens ac_first(const JEInfo *session, TokenState *state, const Chunk &chunk, Token *out) {
    uint64_t masks[kChunkBlocks];
    const JEBlock *block = chunk.rows[0][0] + chunk.first;
    const uint32_t al = session->al, last = session->se, start = session->ss - 1;
    const uint64_t band = band_mask(session);
    chunk.kernels->first(block[0], chunk.count, last, al, masks);
    for (uint32_t i = 0; i < chunk.count; ++i, ++block) {
        uint64_t mask = masks[i] & band;
        uint32_t previous = start;
        if (mask) {
            if (state->eob_run) out = put_eob_run(state, out);
            do {
                const uint32_t k = lowest_bit(mask);
                uint32_t run = k - previous - 1;
                for (; run > 15; run -= 16) *out++ = make_token(0xF0, 0, 0);
                const int32_t value = (*block)[k], sign = value >> 31;
                const uint32_t magnitude = static_cast<uint32_t>((value ^ sign) - sign) >> al;
                const uint32_t size = bit_size(magnitude);
                if (size > kMostAcBits) return {out, i};
                const uint32_t bits = (magnitude ^ static_cast<uint32_t>(sign)) & ((1u << size) - 1);
                *out++ = make_token(run << 4 | size, bits, size);
                previous = k;
                mask &= mask - 1;
            } while (mask);
        }
        if (previous != last && ++state->eob_run == kMostEobRun) out = put_eob_run(state, out);
    }
    return {out, chunk.count};
}

// A new coefficient behind 16 zeros or more: each 16 zeros become a symbol at the next coefficient that is not 0,
// which an older one may be.
Token *put_far_symbol(Token *out, uint32_t previous, uint32_t k, uint64_t old, uint64_t plane, bool positive) {
    uint32_t run = 0;
    uint64_t passed = 0;
    for (uint64_t stops = old | uint64_t{1} << k; stops; stops &= stops - 1) {
        const uint32_t stop = lowest_bit(stops);
        run += stop - previous - 1;
        for (; run > 15; run -= 16, passed = 0) out = put(out, 0xF0, gather_bits(plane, passed));
        if (stop != k) passed |= uint64_t{1} << stop;
        previous = stop;
    }
    Bits bits = gather_bits(plane, passed);
    bits.bits |= static_cast<uint64_t>(positive) << bits.count++;
    return put(out, run << 4 | 1, bits);
}

ChunkTokens ac_refine(const JEInfo *session, TokenState *state, const Chunk &chunk, Token *out) {
    RefineMasks masks[kChunkBlocks];
    const JEBlock *block = chunk.rows[0][0] + chunk.first;
    const uint32_t start = session->ss - 1;
    const uint64_t band = band_mask(session);
    chunk.kernels->refine(block[0], chunk.count, session->al, masks);
    for (uint32_t i = 0; i < chunk.count; ++i, ++block) {
        const uint64_t old = masks[i].before & band, plane = masks[i].plane;
        uint64_t fresh = masks[i].now & band & ~old;
        uint32_t previous = start;
        if (fresh && state->eob_run) out = put_eob_run(state, out);
        for (; fresh; fresh &= fresh - 1) {
            const uint32_t k = lowest_bit(fresh);
            const uint64_t passed = old & between(previous, k);
            const bool positive = (*block)[k] >= 0;
            Bits bits = gather_bits(plane, passed);
            const uint32_t run = k - previous - 1 - bits.count;
            if (run <= 15) {
                bits.bits |= static_cast<uint64_t>(positive) << bits.count++;
                out = put(out, run << 4 | 1, bits);
            } else {
                out = put_far_symbol(out, previous, k, passed, plane, positive);
            }
            previous = k;
        }
        if (previous == session->se) continue;
        append(&state->pending, gather_bits(plane, old & (~uint64_t{0} << previous << 1)));
        if (++state->eob_run == kMostEobRun || state->pending.count > kFullCorrectionBits)
            out = put_eob_run(state, out);
    }
    return {out, chunk.count};
}

}  // namespace

ChunkTokens chunk_tokens(const JEInfo *session, TokenState *state, const Chunk &chunk, Token *out) {
    if (session->ss == 0) return (session->ah ? dc_refine : dc_first)(session, state, chunk, out);
    return (session->ah ? ac_refine : ac_first)(session, state, chunk, out);
}

}  // namespace vorel
