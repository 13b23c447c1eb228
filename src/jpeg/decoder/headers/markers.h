// The marker stream: the full parser of the decoder's header, and the skipping that the quick walks share.
#pragma once

#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/frame_layout.h"

namespace vorel {

// Moves the cursor behind the next SOI (FF D8). False when the input ends first.
bool find_soi(StreamBuffer *stream);

// Reads on to the next marker and returns its code: bytes up to an FF are passed over, fill bytes too. -1 at the end.
int32_t next_marker(StreamBuffer *stream);

// Reads a segment's length word, which counts itself. -1 at the end of the input.
int32_t read_segment_length(StreamBuffer *stream);

// What a parse works on. The session learns where its input begins when a stream moves into memory.
struct MarkerParser {
    StreamBuffer *stream;
    IoInfo *io;
    FrameLayout *frame;
    HeaderState *header;
    DecInfo *session;
};

// Reads on to the next SOS, or to where the parse fails: the last marker's code, with 200 or 201 in *status. A DHT or
// DQT with a length below 2 ends it with 201 as the marker and the status 200.
int32_t parse_to_scan(const MarkerParser &parser, int32_t *status);

// Frees the tables that DHT and DQT segments filled, and forgets the rest.
void release_header(HeaderState *header);

}  // namespace vorel
