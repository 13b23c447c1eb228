// Raw deflate and zlib streams (RFC 1951, RFC 1950): the headers of blocks around the loop over codes. A stream can be
// left at any bit and taken up again, from input in pieces. It fails where zlib does, and at some oddities besides;
// who meets one of these asks zlib.
#pragma once

#include "png/inflate/codes.h"

namespace vorel {

enum class BlockKind : uint8_t { kStored, kFixed, kDynamic };

// Where inflate_until stops with kBlock: nowhere, in front of each block's codes or bytes, or behind each but the last.
enum class BlockStops : uint8_t { kNone, kFront, kEnd };

struct InflateStream {
    CodeReader reader;
    enum : uint8_t {
        kZlibHeader,
        kBlockHeader,
        kStoredLength,
        kStored,
        kCounts,
        kLengthsCode,
        kLengths,
        kCodes,
        kEnded
    } phase;
    BlockKind kind;
    bool last_block;
    bool pairs;       // tables give two literals at once
    bool fixed;       // tables are those of fixed codes
    uint32_t window;  // how far back matches may reach
    uint32_t stored_left;
    uint32_t length_codes, distance_codes, lengths_codes, have;  // of a dynamic block's header
    uint8_t lengths[kLengthSymbols + kDistanceSymbols];
    uint8_t lengths_code[kLengthsCodes];
    InflateEntry lengths_table[1 << kLengthsTableBits];
    InflateTables tables;
};

void start_inflate(InflateStream *stream, bool zlib_header);

// Makes the tables of a block whose code lengths are known.
bool make_block_tables(BlockKind kind, const uint8_t *lengths, uint32_t length_codes, uint32_t distance_codes,
                       int table_bits, bool pairs, InflateTables *tables);

// Reads what stands in front of a block's codes or bytes, if anything does: kFull when they come next, kEnd behind the
// last block, kInput, kRefused.
InflateStop read_headers(InflateStream *stream);
// Bytes of a stored block, up to `end`: kFull, kInput, or kBlock behind its last one.
InflateStop copy_stored(InflateStream *stream, uint8_t **at, uint8_t *end);

// Up to `end`; *at moves.
template <class History>
InflateStop inflate_until(InflateStream *stream, History *history, uint8_t **at, uint8_t *end, BlockStops stops) {
    while (true) {
        if (stream->phase != InflateStream::kCodes && stream->phase != InflateStream::kStored) {
            const InflateStop stop = read_headers(stream);
            if (stop != InflateStop::kFull) return stop;
            if (stops == BlockStops::kFront) return InflateStop::kBlock;
        }
        if (*at >= end && !stream->reader.match_left) return InflateStop::kFull;
        const InflateStop stop = stream->phase == InflateStream::kStored
                                     ? copy_stored(stream, at, end)
                                     : read_codes(&stream->reader, stream->tables, history, at, end);
        if (stop != InflateStop::kBlock) return stop;
        stream->phase = stream->last_block ? InflateStream::kEnded : InflateStream::kBlockHeader;
        if (stops == BlockStops::kEnd && !stream->last_block) return InflateStop::kBlock;
    }
}

}  // namespace vorel
