// Blocks to tokens.
#pragma once

#include "jpeg/encoder/progressive/scan_coder.h"

namespace vorel {

// MCUs `first` and on of a row; of a scan of one component they are blocks.
struct Chunk {
    const ScanKernels *kernels;
    JEBlock *const *rows[3];  // of each component of the scan its block rows in the MCU row
    uint32_t first, count;    // at most kChunkMcus, of one component kChunkBlocks
};
// Where tokens end, and how many MCUs there were before one without a code; chunk.count: all are there.
struct ChunkTokens {
    Token *end;
    uint32_t done;
};
// At most kChunkTokens from `out` on.
ChunkTokens chunk_tokens(const JEInfo *session, TokenState *state, const Chunk &chunk, Token *out);

}  // namespace vorel
