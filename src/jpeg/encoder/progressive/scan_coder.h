// The entropy coder of progressive scans: what it holds beside its public record, and the steps between its files.
//
// A scan is coded twice, for its statistics and for its bytes. Rows of blocks become tokens, a symbol with the raw bits
// behind it, that are counted in the first pass and written in the second. Tokens of the first pass are kept as long as
// there is room, so that the second has to look at blocks only beyond that.
#pragma once

#include "jpeg/encoder/kernels/scan_masks.h"
#include "jpeg/encoder/progressive/progressive.h"

namespace vorel {

constexpr uint32_t kMostEobRun = 0x7FFF;    // T.81 G.1.2.2
constexpr uint32_t kCorrectionBits = 1000;  // buffered behind an EOB run
// More than these leave no room for a further block's 63.
constexpr uint32_t kFullCorrectionBits = kCorrectionBits - 63;

// Bits 0 to 8: symbol, in DC scans with 16 * table number on top, or kRawToken; 9 to 13: how many bits follow it, at
// most 16; 16 to 31: those bits.
using Token = uint32_t;
constexpr uint32_t kRawToken = kSymbolCounts - 1;  // bits alone
constexpr uint32_t kTokenIndexMask = 511;
constexpr uint32_t kTokenBits = 16;
constexpr Token make_token(uint32_t index, uint32_t bits, uint32_t size) { return index | size << 9 | bits << 16; }

// Blocks, or MCUs of at most 10 blocks, that become tokens at once. A block has at most 63 symbols and, in refinement,
// as many correction bits (one raw token for each 16 of them, one for each symbol's part); and it may send an EOB run
// with 1000 buffered bits ahead of it and one behind it.
constexpr uint32_t kChunkBlocks = 32, kChunkMcus = 16;
constexpr uint32_t kBlockTokens = 2 * (1 + kCorrectionBits / kTokenBits + 1) + 2 * 63;
constexpr uint32_t kChunkTokens = kChunkBlocks * kBlockTokens;

// Correction bits behind the present EOB run, the first at the top of words[0].
struct PendingBits {
    uint64_t words[kCorrectionBits / 64 + 1];
    uint32_t count;
};

struct TokenState {
    uint32_t eob_run;
    PendingBits pending;
    int32_t last_dc[3];
};

// session->phuff points at one of these.
struct ScanCoder {
    JEPhuff record;
    const ScanKernels *kernels;
    uint32_t last_interval;           // that the stream states by a DRI segment
    uint32_t codes[kSymbolCounts];    // of tokens: code, and its size from bit 16; kAbsentCode
    uint32_t seen[2][kSymbolCounts];  // neighbouring tokens count in different ones: most are the same few symbols
    // Kept tokens, each chunk's behind their number.
    Token *kept;
    JEScan kept_scan;  // that they are of, of its components the first
    uint32_t kept_capacity, kept_size;
    uint32_t kept_at;        // where the output pass reads
    bool keeping;            // gather: there was room so far
    bool following;          // output: the chunks ahead are kept ones
    TokenState behind_kept;  // gather: the state where keeping ended
    TokenState state;
    Token chunk[kChunkTokens];  // of chunks that are not kept
};
constexpr uint32_t kAbsentCode = 0x80000000;

inline ScanCoder *coder_of(JEInfo *session) { return reinterpret_cast<ScanCoder *>(session->phuff); }

// One row of MCUs of the present scan, by tokens. False, with coefState telling the place: a coefficient or symbol that
// has no code, or no room.
bool code_row(JEInfo *session);
// At the start of each pass.
void start_tokens(JEInfo *session, bool gather);

}  // namespace vorel
