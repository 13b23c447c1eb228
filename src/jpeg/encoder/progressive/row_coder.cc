// Rows of a scan by tokens: counted and kept in the pass that gathers, written in the one that follows.
#include <cstring>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/progressive/scan_tokens.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

// Tokens that are written at once: 32 bits at most, twice that where all are stuffed, and what the writer stores beyond
// its end.
constexpr ptrdiff_t kBatch = 512;
constexpr uint32_t kBatchBytes = static_cast<uint32_t>(kBatch) * 8 + 16;
static_assert(kBatchBytes <= kMostMcuBytes);

// The record keeps one correction bit a byte.
void load_state(const JEPhuff &phuff, TokenState *state) {
    state->eob_run = phuff.eobRun;
    std::memcpy(state->last_dc, phuff.lastDc, sizeof(state->last_dc));
    uint64_t *words = state->pending.words;
    std::memset(words, 0, sizeof(state->pending.words));
    for (uint32_t i = 0; i < phuff.bufferedBits; ++i)
        words[i / 64] |= static_cast<uint64_t>(phuff.correctionBits[i]) << (63 - i % 64);
    state->pending.count = phuff.bufferedBits;
}
void store_state(const TokenState &state, JEPhuff *phuff) {
    phuff->eobRun = state.eob_run;
    std::memcpy(phuff->lastDc, state.last_dc, sizeof(state.last_dc));
    for (uint32_t i = 0; i < state.pending.count; ++i)
        phuff->correctionBits[i] = state.pending.words[i / 64] >> (63 - i % 64) & 1;
    phuff->bufferedBits = state.pending.count;
}

// Symbols of the row so far, into the tables' counts.
void add_counts(const JEInfo *session, ScanCoder *coder) {
    uint32_t **counts = coder->record.counts;
    const uint32_t table = session->scanComponents[0]->acTable;
    for (uint32_t i = 0; i < kRawToken; ++i) {
        const uint32_t seen = coder->seen[0][i] + coder->seen[1][i];
        if (!seen) continue;
        if (session->ss) {
            counts[table][i] += seen;
        } else {
            counts[i >> 4][i & 15] += seen;
        }
    }
    std::memset(coder->seen, 0, sizeof(coder->seen));
}

void count_tokens(ScanCoder *coder, const Token *tokens, const Token *end) {
    uint32_t *even = coder->seen[0], *odd = coder->seen[1];
    for (; end - tokens >= 2; tokens += 2) {
        ++even[tokens[0] & kTokenIndexMask];
        ++odd[tokens[1] & kTokenIndexMask];
    }
    if (tokens < end) ++even[*tokens & kTokenIndexMask];
}

bool write_batch(JEInfo *session, const uint32_t *codes, const Token *tokens, const Token *end) {
    if (!make_room(session, kBatchBytes)) return false;
    JEPhuff *phuff = session->phuff;
    RimEncSink *sink = session->sink;
    // A token is 32 bits at most.
    uint8_t plain[4 * kBatch + 16];
    // The record's bits stand at the top of 24.
    BitWriter writer(phuff->bitBuffer >> (24 - phuff->bitCount), phuff->bitCount, plain);
    uint32_t absent = 0;
    for (; tokens < end; ++tokens) {
        const Token token = *tokens;
        const uint32_t code = codes[token & kTokenIndexMask], size = token >> 9 & 31;
        absent |= code;
        writer.put((code & 0xFFFF) << size | token >> 16, (code >> 16 & 31) + size);
        writer.flush();
    }
    phuff->bitCount = writer.waiting_count();
    phuff->bitBuffer = writer.waiting() << (24 - phuff->bitCount);
    sink->position =
        static_cast<uint32_t>(copy_stuffed(plain, writer.at(), sink->buffer + sink->position) - sink->buffer);
    return !(absent & kAbsentCode);
}

bool write_tokens(JEInfo *session, const uint32_t *codes, const Token *tokens, const Token *end) {
    for (; end - tokens > kBatch; tokens += kBatch)
        if (!write_batch(session, codes, tokens, tokens + kBatch)) return false;
    return tokens == end || write_batch(session, codes, tokens, end);
}

// MCUs of a chunk that are good; all of them: count.
uint32_t gather_chunk(JEInfo *session, ScanCoder *coder, const Chunk &chunk) {
    if (coder->keeping && coder->kept_capacity - coder->kept_size <= kChunkTokens) {
        coder->keeping = false;
        coder->behind_kept = coder->state;
    }
    Token *tokens = coder->keeping ? coder->kept + coder->kept_size + 1 : coder->chunk;
    const ChunkTokens made = chunk_tokens(session, &coder->state, chunk, tokens);
    count_tokens(coder, tokens, made.end);
    if (coder->keeping) {
        tokens[-1] = static_cast<Token>(made.end - tokens);
        coder->kept_size += 1 + tokens[-1];
        coder->behind_kept = coder->state;
    }
    return made.done;
}

uint32_t write_chunk(JEInfo *session, ScanCoder *coder, const Chunk &chunk) {
    if (coder->following) {
        const Token *tokens = coder->kept + coder->kept_at + 1;
        const uint32_t count = tokens[-1];
        coder->kept_at += 1 + count;
        if (coder->kept_at == coder->kept_size) {
            coder->following = false;
            coder->state = coder->behind_kept;
        }
        return write_tokens(session, coder->codes, tokens, tokens + count) ? chunk.count : 0;
    }
    const ChunkTokens made = chunk_tokens(session, &coder->state, chunk, coder->chunk);
    if (!write_tokens(session, coder->codes, coder->chunk, made.end)) return 0;
    return made.done;
}

void fill_codes(const JEInfo *session, ScanCoder *coder) {
    for (uint32_t &code : coder->codes) code = kAbsentCode;
    coder->codes[kRawToken] = 0;
    const auto take = [&](const RimEncDerived *table, uint32_t symbols, uint32_t first) {
        for (uint32_t i = 0; i < symbols; ++i)
            if (table->size[i]) coder->codes[first + i] = table->code[i] | static_cast<uint32_t>(table->size[i]) << 16;
    };
    if (session->ss) {
        take(coder->record.derived[session->scanComponents[0]->acTable], kRawToken, 0);
    } else if (!session->ah) {
        for (uint32_t i = 0; i < session->componentsInScan; ++i) {
            const uint32_t table = session->scanComponents[i]->dcTable;
            take(coder->record.derived[table], 16, 16 * table);
        }
    }
}

}  // namespace

void start_tokens(JEInfo *session, bool gather) {
    ScanCoder *coder = coder_of(session);
    const JEScan scan = {session->componentsInScan,
                         {session->scanComponents[0]->index},
                         session->ss,
                         session->se,
                         session->ah,
                         session->al};
    if (gather) {
        coder->kept_size = 0;
        coder->kept_scan = scan;
        coder->keeping = true;
        coder->following = false;
        std::memset(coder->seen, 0, sizeof(coder->seen));
        coder->behind_kept = {};
    } else {
        // A refinement of DC values has no pass before this one.
        if (std::memcmp(&scan, &coder->kept_scan, sizeof(scan)) != 0) coder->kept_size = 0;
        coder->kept_at = 0;
        coder->following = coder->kept_size > 0;
        fill_codes(session, coder);
    }
}

bool code_row(JEInfo *session) {
    ScanCoder *coder = coder_of(session);
    JECoefState *state = session->coefState;
    const bool gather = coder->record.gatherStatistics;
    const uint32_t step = session->componentsInScan == 1 ? kChunkBlocks : kChunkMcus;
    Chunk chunk = {};
    chunk.kernels = coder->kernels;
    load_state(coder->record, &coder->state);
    bool good = true;
    for (uint32_t y = state->vertOffset; good && y < state->rowsPerMcuRow; ++y) {
        for (uint32_t i = 0; i < session->componentsInScan; ++i) {
            const JEComponent &component = *session->scanComponents[i];
            chunk.rows[i] = state->wholeImage[component.index] + state->mcuRow * component.vSamp + y;
        }
        for (uint32_t column = 0; good && column < session->mcusPerRow; column += chunk.count) {
            chunk.first = column;
            chunk.count = session->mcusPerRow - column < step ? session->mcusPerRow - column : step;
            const uint32_t done = (gather ? gather_chunk : write_chunk)(session, coder, chunk);
            if (done == chunk.count) continue;
            state->vertOffset = y;
            state->mcuColumn = column + done;
            good = false;
        }
    }
    if (gather) add_counts(session, coder);
    store_state(coder->state, &coder->record);
    return good;
}

}  // namespace vorel
