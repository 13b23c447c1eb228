// The image driver.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Decodes one frame from the stream buffer's position into the request's buffer. 200 or 201.
int32_t decode_frame(DecInfo *session, StreamBuffer *stream, FrameRequest *request);

}  // namespace vorel
