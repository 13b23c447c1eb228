// What the files of the GIF decoder share.
#pragma once

#include <vorel/raster.h>

#include "core/core.h"
#include "raster/gif_codes.h"

namespace vorel {

// First bytes of blocks (clause 20, 23 and 27).
constexpr uint8_t kGifExtension = 0x21, kGifSeparator = 0x2C, kGifTrailer = 0x3B;

constexpr int32_t kGifBlockBytes = 4096;  // of GifInput.buffer
constexpr int32_t kGifLineSpare = 4096;   // indices that a line may hold beyond the screen's width
constexpr int32_t kGifPaletteColours = 256;

// In the canvas and in rows of words. No colour of a palette has this value, since one of its bits is clear.
constexpr uint32_t kGifTransparent = 0xFFFFFFFF;
constexpr uint32_t kGifBackground = 0x00FFFFFF;  // what a frame that was taken away leaves behind

// ---- input ---------------------------------------------------------------------------------------------------------

// A byte, or -1 at the end of the input.
int32_t gif_byte(GifInput *input);
// Data sub-blocks up to the block terminator (clause 16). False at the end of the input.
bool gif_skip_sub_blocks(GifInput *input);
// Whether a block, the trailer or the end of the input follows.
bool gif_at_block(GifInput *input);

// Reads a colour table (clause 19), its last unused entries cleared. False when it is cut.
bool gif_read_palette(GifInfo *info, uint32_t *palette, uint32_t colours);

// ---- state ---------------------------------------------------------------------------------------------------------

// What a state needs from the start, into a zeroed record; false without memory, and then it holds what it got.
bool gif_allocate(GifInfo *info, IoInfo *stream);
// Everything that hangs on the record, which is zeroed.
void gif_release(GifInfo *info);
// The line buffer for a picture of out_width x out_height; false without memory.
bool gif_size_rows(GifInfo *info, int32_t out_width, int32_t out_height);

// Whether the session may hold a state: not when it was parsed as something else than a GIF.
bool gif_may_hold_state(const DecInfo *session);
// The state on the session, null without one.
GifInfo *gif_state(const DecInfo *session);
// A state on the session with its header read and its layout done, up to the first image. Null on any failure.
GifInfo *gif_begin(DecInfo *session, void *output, int32_t width, int32_t height, bool animated);
// Where the picture's pixels go in a buffer of the size that the layout was done for; false when a row is too long.
bool gif_place(GifInfo *info, void *output);

// ---- rows ----------------------------------------------------------------------------------------------------------

// Tables for the frame that was found: which columns it covers, what each index is stored as. False without memory.
bool gif_prepare_frame(GifInfo *info);

// The output row that a row of the screen is the centre of, -1 for none.
int32_t gif_output_row(const GifInfo *info, int32_t row);

// The frame's indices in the output columns that it covers.
const uint8_t *gif_sample_line(const GifInfo *info);

// Writes the rows of the canvas that the frame did not.
void gif_deliver_canvas(GifInfo *info);

}  // namespace vorel

// The decoder's own part of a state.
struct GifWork {
    int32_t asked_width, asked_height;    // of the first call
    int32_t buffer_width, buffer_height;  // pixels of the caller's buffer, as the screen stands
    bool finished;                        // animated: the last frame or a damaged one has gone out
    bool prepared;                        // the tables below are those of the frame

    int32_t first_column, columns;              // of the output, those that the frame covers
    uint32_t *source_columns;                   // of the screen, by output column
    uint8_t *sampled;                           // a row of the frame's indices at the output's width
    int32_t sampled_width;                      // output columns that the two are made for
    uint32_t words[vorel::kGifPaletteColours];  // by index: what is stored for it

    bool opaque;         // animated: no pixel of the canvas is transparent
    uint8_t *delivered;  // animated, by output row: the frame has written it
    int32_t delivered_rows;

    vorel::GifCodes codes;
    vorel::GifStrings strings;
};
