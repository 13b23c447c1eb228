// The handle forms that the entries for rectangles stand on: the names of the public pair, other arguments and results.
#pragma once

#include <vorel/dng.h>

class VorelDngDecoder;

// 1 with the handle, or VDNG_FAILED.
int32_t parseDNGImageBuffer_for_RD(uint8_t *buffer, int32_t length, decInfo *info, VorelDngDecoder **handleOut);
// 1, whether it succeeded or not.
int32_t decodeDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info,
                                    VorelDngDecoder *handle);
