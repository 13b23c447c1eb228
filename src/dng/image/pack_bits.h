// TIFF 6.0 section 9: PackBits.
#pragma once

#include "dng/parse/stream.h"

// Unpacks count bytes from the stream's position. 1, or 0 when a run would pass count or the stream ends; dest then
// holds what came before it.
int32_t DecodePackBits(VorelDngStream &stream, uint8_t *dest, int32_t count);
