// Positions as the two records that outlive a decode keep them: the entries of a region map and the checkpoints that
// applications store. Both speak of a reader that takes the input in blocks of 16384 bytes and name what is left of its
// block, so the position in the input is streamPosition - bufferBytesLeft.
#pragma once

#include <vorel/frame.h>

#include "core/core.h"
#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

// Fills in what the records have in common; whether the data has ended is theirs to say.
template <typename Record>
void store_position(const EntropyPosition &position, const DecInfo *session, Record *record) {
    // The end of the block that a reader has in hand who began at the start of the stream.
    const int64_t start = session->streamOffset, next = position.next;
    int64_t end = next <= start ? start : start + (next - start + kBlockBytes - 1) / kBlockBytes * kBlockBytes;
    const int64_t size = session->ioInfo->size;
    if (size >= next && end > size) end = size;
    record->streamPosition = static_cast<uint32_t>(end);
    record->bufferBytesLeft = static_cast<uint16_t>(end - next);
    record->unreadMarker = position.marker;
    record->bitBuffer = static_cast<decltype(record->bitBuffer)>(position.bits);
    record->bitCount = position.bit_count;
    record->eobRun = position.eob_run;
    record->restartsToGo = static_cast<uint16_t>(position.restarts_to_go);
    record->nextRestartNumber = position.next_restart;
    for (int c = 0; c < kMaxComponents; ++c) record->lastDc[c] = static_cast<int16_t>(position.last_dc[c]);
}

// The position that a record describes, with mcus_done left to the caller. Records may come from anywhere: false for
// what no reader can have been at. A count of bits beyond the reservoir stands for none, at the end of the data.
template <typename Record>
bool load_position(const Record &record, bool out_of_data, EntropyPosition *position) {
    *position = {};
    if (record.bufferBytesLeft > kBlockBytes || record.bufferBytesLeft > record.streamPosition) return false;
    if (record.streamPosition > static_cast<uint32_t>(INT32_MAX)) return false;
    const auto bits = static_cast<uint32_t>(record.bitCount);
    position->next = static_cast<int32_t>(record.streamPosition - record.bufferBytesLeft);
    position->out_of_data = out_of_data || bits > kReservoirBits;
    position->bit_count = static_cast<uint8_t>(bits <= kReservoirBits ? bits : 0);
    position->bits = static_cast<uint32_t>(record.bitBuffer);
    position->marker = record.unreadMarker;
    position->eob_run = record.eobRun;
    position->restarts_to_go = record.restartsToGo;
    position->next_restart = static_cast<uint8_t>(record.nextRestartNumber & 7);
    for (int c = 0; c < kMaxComponents; ++c) position->last_dc[c] = record.lastDc[c];
    return true;
}

}  // namespace vorel
