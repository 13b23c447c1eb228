// Rows of a PNG read by zlib directly, so that reading can stop at one row and go on at another: the IDAT chunks of the
// source, inflated and unfiltered. It hangs on the source record beside the index, and reports failures by libpng's
// jump.
#pragma once

#include <zlib.h>

#include "png/chunks.h"
#include "png/inflate/codes.h"
#include "png/source.h"

namespace vorel {

constexpr int kAdam7Passes = 7;
// PNG clause 8.2: of each pass the first row and column, and the distances to the next ones.
struct Adam7Pass {
    uint8_t first_row, row_step, first_column, column_step;
};
constexpr Adam7Pass kAdam7[kAdam7Passes] = {{0, 8, 0, 8}, {0, 8, 4, 8}, {4, 8, 0, 4}, {0, 4, 2, 4},
                                            {2, 4, 0, 2}, {0, 2, 1, 2}, {1, 2, 0, 1}};
constexpr Adam7Pass kOnlyPass = {0, 1, 0, 1};

struct Checkpoint;

// Where a block of the stream begins: behind the last `bits` bits of the byte that stands before the position, which is
// given as in a checkpoint.
struct BlockStart {
    bool known;
    uint8_t bits, last_byte;
    uint32_t chunk_offset, bytes_left;
    uint64_t total_in;  // zlib's count at the position
};

// A block of the stream, and what its matches may reach.
struct NotedBlock {
    BlockStart start;
    uint64_t given;  // bytes that the stream gives in front of it
    uint32_t known;  // the last of those, in `window`
    uint8_t window[kWindowBytes];
};

// For copies of the inflate state.
struct InflateWindows {
    bool sharing;              // a copy that is being made gets `copied` for its window
    const Checkpoint *newest;  // whose window `last` is
    uint8_t copied[kWindowBytes], last[kWindowBytes];
};

struct IdatReader {
    z_stream live;
    InflateWindows *windows;
    bool live_open;
    enum : uint8_t { kGoingOn, kEnded, kDamaged } stream;
    uint32_t chunk_offset;  // in the source, of the length field of the current IDAT chunk
    uint32_t chunk_bytes;   // its length
    uint32_t idat_left;     // bytes of it that are not read yet
    uint32_t crc;
    Adam7Pass pass;
    uint32_t width;     // pixels of a row of the pass; 0: the pass has none
    size_t row_bytes;   // of a row of the pass, without the filter byte
    size_t used_bytes;  // of those as many as anybody looks at: the rest is not unfiltered
    int32_t height;     // of the image
    int32_t row;        // of the image, next in this pass
    int32_t ahead;      // rows below this one may be inflated already
    uint8_t *rows;      // capacity bytes
    size_t capacity;
    uint8_t *above;        // the unfiltered row before, with its filter byte; behind it inflated ones
    size_t inflated;       // bytes behind `above`
    BlockStart block;      // that zlib is in, while an index is built
    uint32_t input_bytes;  // of the piece in `input`
    uint8_t last_byte;     // of the piece before the one in `input`
    uint32_t window;       // that the stream's header gives to matches; 0: not known
    bool odd_chunks;       // a check value did not fit while the index was built
    bool following;        // another reader, which has looked at check values
    // Behind what was followed: bytes that the stream has given, and where the source stood.
    uint64_t followed;
    uint32_t followed_position;
    uint8_t header[kChunkHeader];  // of the chunk, or of one before it
    // The piece size decides what a source that is cut short still gives.
    uint8_t input[8192];
};

// Makes the reader of a record whose header is read. Null without memory.
IdatReader *make_idat_reader(const PngHeader &header);
void delete_idat_reader(IdatReader *reader);

// Whether the pass has pixels at all.
inline bool has_rows(const IdatReader &reader) { return reader.width != 0 && reader.height > reader.pass.first_row; }

// Goes over to the first row of a pass; above it are zeros.
void start_pass(PngSource *source, int pass);
// Goes on in the chunk whose length field is at chunk_offset; bytes_left of it UINT32_MAX: from its start.
void resume_chunk(PngSource *source, uint32_t chunk_offset, uint32_t bytes_left);
// Undoes the filter of a row, of types 0 to 4.
void unfilter_bytes(uint8_t filter, uint8_t *row, const uint8_t *above, size_t bytes, int pixel);
// The next row of the image in this pass, without its filter byte; null when the pass has no pixels in it. Its first
// used_bytes bytes are unfiltered.
const uint8_t *next_row(PngSource *source);
// Takes zlib to where the stream has given so many bytes, from a block before or from where it stands, which is at
// first the stream's start: whichever is nearer. False where it does not get there. The rows in between are gone.
bool follow(PngSource *source, const NotedBlock *block, uint64_t given);
// Reads on behind the last row as libpng does, and the chunk to its end.
void finish_idat(PngSource *source);
// Passes over `skip` bytes and the chunk's check value; true when that is wrong.
bool finish_chunk(PngSource *source, uint32_t skip);

}  // namespace vorel
