// The end of a session that bytes go to. Everything that is written asks for room first, so nothing is written outside
// of the buffer whatever the content.
#pragma once

#include <cstring>

#include "jpeg/encoder/session.h"

namespace vorel {

constexpr uint32_t kSinkFile = 0, kSinkMemory = 1, kSinkCallback = 4;
constexpr uint32_t kStagingBytes = 4096;
constexpr uint32_t kGrowth = 4096;
// No MCU is longer. A caller's codes are up to 16 bits long and go up to sizes of 17 bits for DC and 15 for AC; there
// are ten blocks at most.
constexpr uint32_t kMostMcuBits = kMaxBlocksInMcu * (33 + 63 * 31);
// Twice that where every byte is stuffed: 4966 bytes. A restart marker behind the padding of the MCU before, and what
// the writer stores beyond its end.
constexpr uint32_t kMostMcuBytes = 4992;

// Room for `bytes` at sink->position, of at most kMostMcuBytes in file and callback mode, where what is in the buffer
// moves on if need be. False: there is none, and the session has failed.
bool make_room(JEInfo *session, uint32_t bytes);
// Memory: the same without a word about it in sink->capacity, which grows by steps.
bool reserve(JEInfo *session, uint32_t bytes);
// File and callback: hands over what is in the buffer, which is empty then.
void hand_over(JEInfo *session);
// The same with bytes that stand elsewhere, behind what is in the buffer.
void hand_over(JEInfo *session, const uint8_t *bytes, uint32_t count);

// File and callback: hands over what is in the buffer. Memory: the capacity grows by `step`. False: no memory.
bool step_on(JEInfo *session, uint32_t step);

// Behind make_room.
inline void put_byte(JEInfo *session, uint32_t byte) {
    RimEncSink *sink = session->sink;
    sink->buffer[sink->position++] = static_cast<uint8_t>(byte);
}
inline void put_short(JEInfo *session, uint32_t value) {  // big-endian, as all of T.81
    put_byte(session, value >> 8);
    put_byte(session, value);
}
inline void put_marker(JEInfo *session, int32_t marker) {
    put_byte(session, 0xFF);
    put_byte(session, static_cast<uint32_t>(marker));
}
inline void put_bytes(JEInfo *session, const void *bytes, uint32_t count) {
    RimEncSink *sink = session->sink;
    if (count == 0) return;  // there may be no memory at all
    std::memcpy(sink->buffer + sink->position, bytes, count);
    sink->position += count;
}

}  // namespace vorel
