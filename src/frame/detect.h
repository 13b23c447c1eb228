// Finding out what an input is and how large its picture is, from the bytes at its start.
#pragma once

#include <vorel/frame.h>

namespace vorel {

// The start of an input, as much of it as came. Bytes that did not come read as 0.
struct HeaderBytes {
    const uint8_t *bytes;
    int32_t count;

    bool has(int32_t index) const { return index < count; }
    uint32_t byte(int32_t index) const { return has(index) ? bytes[index] : 0u; }
    uint32_t little_16(int32_t index) const { return byte(index) | byte(index + 1) << 8; }
    uint32_t little_32(int32_t index) const { return little_16(index) | little_16(index + 2) << 16; }
    uint32_t big_32(int32_t index) const {
        return byte(index) << 24 | byte(index + 1) << 16 | byte(index + 2) << 8 | byte(index + 3);
    }
};

HeaderBytes header_bytes(const StreamBuffer *stream);

// VOREL_IMAGE_ by the first bytes.
int32_t type_by_signature(const HeaderBytes &header);

// True when at least one byte could be had, else the error word is set. Callers look at what came.
bool request_header(StreamBuffer *stream, int32_t bytes);
// The same for as much as a signature takes.
bool request_signature(StreamBuffer *stream);

}  // namespace vorel
