// Pixels to a JPEG stream, in memory or in a file.
#pragma once

#include <vorel/exif.h>

#include <cstdint>

#include "core/core.h"

namespace vorel {

struct EncodeRequest {
    void *pixels;  // rows without padding
    int32_t width, height, color_format, quality;
    ExifInfo *exif;  // for the stream's APP1 segment, or null; the caller's
    bool optimize;   // Huffman tables are measured
};

// A block of os_allocate with the stream; null without memory and for what the encoder refuses.
uint8_t *encode_to_memory(const EncodeRequest &request, int32_t *size);
// To a new file. 1 or 0.
int32_t encode_to_file(const EncodeRequest &request, const char *path);

}  // namespace vorel
