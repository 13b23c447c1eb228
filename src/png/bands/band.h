// A band: the rows from one checkpoint to the next, kept so that pieces of them can be inflated by themselves. A row is
// cut into segments of so many bytes; of each segment the place in the stream is kept, what its matches refer to
// outside of it, and the unfiltered pixel to its left.
//
// Bits are counted from the byte at which the band's input begins.
#pragma once

#include <cstddef>
#include <cstdint>

#include "png/checkpoint.h"
#include "png/inflate/stream.h"

namespace vorel {

constexpr int32_t kAnchorRows = 64;         // an unfiltered row is kept of as many
constexpr size_t kSegmentBytes = 1536;      // about, in whole pixels
constexpr size_t kMostSegmentInput = 8192;  // a segment that takes more makes the band none

// Where a segment begins: at a code, or `given` bytes into the match whose code it is.
struct SegmentStart {
    uint32_t bit;
    uint32_t references;  // of the row's, where this segment's begin
    uint16_t block, given;
};

// One block of memory: the record, the segments' starts, their left pixels, the references.
struct BandRow {
    uint32_t reference_bytes;
    uint8_t filter;
};

struct BandBlock {
    uint32_t first_bit;  // of the codes, or of stored bytes
    uint32_t stored;     // bytes
    BlockKind kind;
    uint16_t length_codes, distance_codes;
    uint8_t lengths[(kLengthSymbols + kDistanceSymbols) / 2];  // two of 4 bits in a byte
};

// Input bytes from `byte` on stand in the source from `offset` on, up to the next piece.
struct BandPiece {
    uint32_t byte, offset;
};

// What a band is built with, while it is not whole.
struct BandBuilder {
    InflateStream stream;
    uint32_t offset, chunk_left;  // of the input that is not read yet
    uint32_t input_bytes;         // read so far
    uint32_t chunk;               // of that input: where its length field stands
    uint32_t entered_chunk;       // the one that the checkpoint stands in
    uint32_t entered_chunk_end;   // input byte behind it; UINT32_MAX: not read yet
    const uint8_t *window_begin;  // of what is known before `at`
    uint8_t *at;
    uint8_t *row, *above;  // row_bytes each
    SegmentStart *starts;
    uint8_t *references;
    uint8_t input[size_t{16} << 10];
    uint8_t window[(size_t{128} << 10) + kInflateSlack];
};

struct Band {
    uint64_t used;  // the store's clock when it was last touched
    int32_t first_row, row_count;
    int32_t built;  // rows of it
    bool busy;      // a build was left by a jump
    BandRow **rows;
    uint8_t *anchors[kCheckpointRows / kAnchorRows + 1];  // rows kAnchorRows - 1, ...
    BandBlock *blocks;
    uint32_t block_count, block_capacity;
    BandPiece *pieces;
    uint32_t piece_count, piece_capacity;
    uint32_t end_bit;      // behind the rows that are built
    uint32_t input_bytes;  // that are known to be there
    int32_t crossing_row;  // the first one that needs input behind the checkpoint's chunk; row_count: none
    BandBuilder *builder;  // null once it is whole
};

// How rows are cut.
struct Segments {
    size_t row_bytes, bytes, pixel;  // of a row, of a segment, of a pixel
    uint32_t count;

    size_t size_of(uint32_t segment) const {
        const size_t from = segment * bytes;
        return row_bytes - from < bytes ? row_bytes - from : bytes;
    }
    SegmentStart *starts(const BandRow *row) const {
        return reinterpret_cast<SegmentStart *>(const_cast<BandRow *>(row) + 1);
    }
    uint8_t *lefts(const BandRow *row) const { return reinterpret_cast<uint8_t *>(starts(row) + count); }
    uint8_t *references(const BandRow *row) const { return lefts(row) + count * pixel; }
    size_t row_size(size_t reference_bytes) const {
        return sizeof(BandRow) + count * (sizeof(SegmentStart) + pixel) + reference_bytes + kInflateSlack;
    }
};
Segments segments_of(const PngHeader &header);

// Rows of a picture may have so many bytes, else there are no bands of it.
constexpr size_t kMostBandRowBytes = size_t{1} << 24;

struct BandStore;

// Builds the band of a checkpoint up to its row `last`, by the source, which may jump. False where it cannot be: what
// is there does not know the stream, or there is no memory.
bool build_band(PngSource *source, BandStore *store, Band *band, int32_t last);
// Starts it. False alike.
bool start_band(PngSource *source, BandStore *store, Band *band);

// `count` bytes of the band's input from `byte` on, by the source; false where the source is short.
bool read_band_input(PngSource *source, const Band &band, uint32_t byte, uint32_t count, uint8_t *out);

}  // namespace vorel
