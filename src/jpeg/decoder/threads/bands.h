// A decode whose bands of rows are decoded by several threads.
//
// The caller goes through the entropy-coded data ahead of the others: from restart marker to restart marker where there
// are any, by the codes alone where there are none. In front of each band it leaves a position, and a thread decodes the
// band from there. When what is handed out will keep the threads busy for as long as the caller needs for the rest, it
// stops walking and decodes the rest itself.
//
//     caller    walk walk walk walk walk walk | decode the rest, then what is left over
//     threads        band 0      band 1      band 2      band 3
#pragma once

#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/decoder/threads/method.h"

namespace vorel {

// True where bands of the session's picture can be read side by side.
bool can_split(const DecInfo *session);

// In place of BRIMJ_DecodeFrame, with the same pixels: 1, or 0 when it failed or was cancelled. A picture that turns
// out not to be one for bands is decoded in one piece.
int32_t decode_in_bands(DecInfo *session, StreamBuffer *stream, void *output, int32_t width, int32_t height,
                        const DecodeSplit &split);

}  // namespace vorel
