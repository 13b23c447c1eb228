// The state of a decode that is done in pieces, and what its forms share.
#pragma once

#include <vorel/jpeg_iterative.h>

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

constexpr int32_t kMostPlanes = 3;

// Planes as they stand one behind another: the rows of the second and third go with `1 << shift` rows of the first.
struct PlaneRows {
    size_t offset;
    size_t row_bytes;
    int32_t shift;
};
struct FramePlanes {
    int32_t count;
    PlaneRows planes[kMostPlanes];
};

// Rows between two strips, and how far the strips are.
struct StripState {
    bool begun;
    uint8_t firstStrip;                        // the guard rows above are still to be made
    uint32_t stripRowBytes, stripChromaBytes;  // of a row of luma or pixels, and of chroma
    uint8_t *carryRows[kMostPlanes];           // the last rows of the strip before: see carried
    int32_t carried;                           // output rows in them
    int32_t next;                              // output row that the next strip begins with
};

struct Iteration {
    IoInfo *io;            // its own opening of the input; null where that does not open again
    StreamCursor *cursor;  // null where the stream buffer is the caller's
    int32_t width, height;
    int32_t first_row, end_row;  // output rows of a checkpoint's strips
    uint32_t numbers;            // of the picture's decoder: the checkpoints that have one, a bit for each number
    bool called;                 // rows were asked for
    bool kept_for_map;           // it is at its end, and the map waits for the decoders of other checkpoints
    StripState strip;
    uint8_t *turned;      // a thumbnail that was decoded as a whole, width x height
    int32_t turned_rows;  // of it that are delivered
};

// The decoder of a checkpoint's number; the first is the one from the top. Null where there is none.
JpegInfo *decoder_of(const DecInfo *session, int32_t number);
// The session's codecState belongs to another format's decoder.
bool has_foreign_state(const DecInfo *session);
void close_decoder_of(DecInfo *session, int32_t number);

// Output row to be produced next, at least the window's first, and the row behind the last one.
int32_t next_row(const JpegInfo *info);
int32_t rows_end(const JpegInfo *info);

// Planes of a whole picture.
FramePlanes planes_of_frame(int32_t format, int32_t width, int32_t height);

// Decodes to row `end` of the output. 4 for more to come, 1 at the end, 0 failed or cancelled.
int32_t produce_rows(JpegInfo *info, int32_t end);

// True for what a call may go on with. The first one begins the region map, if it is to be filled in.
bool begin_call(const DecInfo *session, JpegInfo *info, const void *output, int32_t width, int32_t height,
                uint32_t flags, int32_t rows);

// Behind a call: a decoder that is at its end, or whose decode failed or was cancelled, is freed, and all others with
// it unless it is of a checkpoint's number, which go on by themselves. A map that is filled in becomes the session's
// when the last number is at its end. Returns what the call does.
int32_t end_call(DecInfo *session, int32_t number, uint32_t flags, int32_t result);
constexpr int32_t kWholePicture = 0;  // for a number

// Makes the decoders of the session's checkpoints. False without memory.
bool open_midpoint_decoders(DecInfo *session);

}  // namespace vorel
