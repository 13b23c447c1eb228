// The image driver: opening a decode, one step of it, closing it. Whoever decodes in pieces keeps the decode open in
// between.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// A decode of one frame from the stream buffer's position into the request's buffer, ready for its first row. Null on
// failure, with the error word set.
JpegInfo *open_decode(DecInfo *session, StreamBuffer *stream, FrameRequest *request);

// The same, but the request's buffer may come later, and all but the first scans of a progressive frame too: see
// search_scans.
JpegInfo *begin_decode(DecInfo *session, StreamBuffer *stream, FrameRequest *request);

// One iMCU row's work, until output row end_row is reached: 100 more rows, 101 the last wanted one is done, 201 failed
// or cancelled.
int32_t step_decode(JpegInfo *info, uint32_t end_row);

// Stands in front of an iMCU row of a baseline frame in one scan, wherever the decode has been, with what lies above
// passed over. False where the frame, the scale or the input does not let it.
bool start_at_row(JpegInfo *info, uint32_t imcu_row, EntropyPosition position);

// Its half for what is not the reader's: counters and rows.
void aim_at_row(JpegInfo *info, uint32_t imcu_row);

// Output rows of the whole decode, for step_decode.
uint32_t last_row(const JpegInfo *info);

// All rows, by whichever method the scale has: 100, 101 or 201.
int32_t decode_all(JpegInfo *info);

void close_decode(JpegInfo *info);

}  // namespace vorel
