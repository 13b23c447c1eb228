// The marker stream: the full parser of the decoder's header, and the skipping that the quick walks share.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Moves the cursor behind the next SOI (FF D8). False when the input ends first.
bool find_soi(StreamBuffer *stream);

// Reads on to the next marker and returns its code: bytes up to an FF are passed over, fill bytes too. -1 at the end.
int32_t next_marker(StreamBuffer *stream);

// Reads a segment's length word, which counts itself. -1 at the end of the input.
int32_t read_segment_length(StreamBuffer *stream);

// Frees the tables that DHT and DQT segments filled.
void release_header_tables(JpegInfo *info);

}  // namespace vorel
