// Front of the raw developer for the other modules.
#pragma once

#include <vorel/dng.h>

namespace vorel {

// Where a picture goes: to out, or where that is null to new pixels of malloc, which *pixels receives.
struct DngTarget {
    uint8_t *out;
    uint8_t **pixels;
    int64_t most_pixels;  // that out has room for; more are refused with VDNG_FAILED
};

// VDngDecodeBuffer2Buf and VDngDecodeFile2Buf with a record of the caller's, zeroed but for what it asks for. It can be
// cancelled through that, which receives the size in front of the reduction. factor below 1 means 1. 1 or a status.
int32_t dng_decode_buffer(const uint8_t *buffer, int32_t length, int32_t factor, const DngTarget &target,
                          decInfo *info);
int32_t dng_decode_file(const char *path, int32_t factor, const DngTarget &target, decInfo *info);

}  // namespace vorel
