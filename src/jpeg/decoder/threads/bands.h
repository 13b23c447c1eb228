// A decode whose bands of rows are decoded by several threads.
//
// The caller goes through the entropy-coded data ahead of the others: from restart marker to restart marker where there
// are any, by the codes alone where there are none. In front of each band it leaves a position, and a thread decodes
// the band from there. When what is handed out will keep the threads busy for as long as the caller needs for the rest,
// it stops walking and decodes the rest itself.
//
//     caller    walk walk walk walk walk walk | decode the rest, then what is left over
//     threads        band 0      band 1      band 2      band 3
#pragma once

#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/decoder/threads/method.h"

namespace vorel {

// In place of BRIMJ_DecodeFrame, with the same pixels. What cannot be split is decoded in one piece: progressive frames
// and those of several scans, inputs that only one thread can read, sessions that take checkpoints or hand out bands of
// their own, a single processor. 1, or 0 when nothing could be opened, when it was cancelled, with DecodeMethod::kPool
// where the caller's own part failed, and with kPlain where any part did.
int32_t decode_in_bands(DecInfo *session, StreamBuffer *stream, void *output, int32_t width, int32_t height,
                        const DecodeSplit &split);

}  // namespace vorel
