// Sessions that Java keeps between calls: made once, decoded by one of the calls below, which ends them.
#pragma once

#include <vorel/exif.h>
#include <vorel/frame.h>

#include <cstdint>

#include "bindings/java/operations/picture_decode.h"

namespace vorel {

// What is said of a source that is no JPEG names the file, or says that it is a buffer.
// The size of a JPEG. False with a log line for anything else.
bool jpeg_size(const FactorySource &source, int32_t *width, int32_t *height);

// A session over a copy of the source, which goes with it; null with a log line. It is parsed.
DecInfo *keep_jpeg(const FactorySource &source, int32_t color_format, uint32_t option_word);

// The Exif record of a kept session's picture, or with null of a file's. Null with a log line where there is none.
ExifInfo *read_exif(DecInfo *session, const char *path);

// The session and its children end at their next row; or only the pass that makes a region map. Null is ignored: 0.
int32_t cancel_decode(DecInfo *session);
int32_t cancel_map(DecInfo *session);

// ---- Whole pictures. These do not end the session.

// What a kept session is decoded to.
struct KeptRequest {
    int32_t width = 0, height = 0;  // what the caller has room for
    int32_t sample_size = 1;        // the picture's sides are divided by it; below 1: width x height is the size
};
// The size that the pixels will have.
void kept_size(const DecInfo *session, const KeptRequest &request, int32_t *width, int32_t *height);
// Into kept_size pixels. 1 or 0.
int32_t decode_kept(DecInfo *session, void *output, const KeptRequest &request);
// False with a log line for an empty window.
bool is_window(const FactoryWindow &window);
// A window of them, into as many pixels as it has. 1 or 0.
int32_t decode_kept_window(DecInfo *session, void *output, const KeptRequest &request, const FactoryWindow &window);
// The picture's thumbnail, or where it has none the picture, in width x height pixels. flags: 2, or 3 for an upright
// picture that comes turned by 90 degrees. 1 or 0.
int32_t decode_kept_thumbnail(DecInfo *session, void *output, int32_t width, int32_t height, int32_t flags);
// The whole picture, in one piece, with as many checkpoints as are asked for: 0 to 4. 1 or 0.
int32_t decode_kept_with_midpoints(DecInfo *session, void *output, const KeptRequest &request, int32_t count);

// ---- In pieces. What the library's function gave; anything but 4 ends the session, but for a 1 with a map (flags 3),
// after which rectangles can be decoded from it.

int32_t prepare_kept(DecInfo *session, int32_t width, int32_t height);
// With checkpoints: a count, then 68 bytes each. Null, and bytes that are no checkpoints, mean none, and a log line.
int32_t prepare_kept_midpoints(DecInfo *session, int32_t width, int32_t height, const uint8_t *blob, int32_t size);
bool ends_session(int32_t result, int32_t flags);

}  // namespace vorel
