// Copies of inflate states, each with as much of a window as differs from the one before.
#include "png/checkpoint.h"

#include <algorithm>
#include <cstring>

#include "core/core.h"

namespace vorel {
namespace {

// A window is put together from at most that many pieces.
constexpr uint32_t kMostPieces = 32;

// Keeps of reader->windows->copied what differs from the last one that was kept.
bool keep_window(IdatReader *reader, Checkpoint *checkpoint) {
    InflateWindows *windows = reader->windows;
    const uint8_t *now = windows->copied;
    const auto differs = [&](size_t i) { return now[i] != windows->last[i]; };
    const bool chained = windows->newest && windows->newest->depth + 1 < kMostPieces;
    // What is not there yet is zeros.
    if (!chained) std::memset(windows->last, 0, sizeof windows->last);
    size_t first = 0, end = sizeof windows->last;
    while (first < end && !differs(first)) ++first;
    while (end > first && !differs(end - 1)) --end;
    checkpoint->base = chained ? windows->newest : nullptr;
    checkpoint->depth = chained ? windows->newest->depth + 1 : 0;
    checkpoint->piece_offset = static_cast<uint32_t>(first);
    checkpoint->piece_bytes = static_cast<uint32_t>(end - first);
    if (end > first) {
        checkpoint->piece = os_allocate_array<uint8_t>(end - first);
        if (!checkpoint->piece) return false;
        std::memcpy(checkpoint->piece, now + first, end - first);
        std::memcpy(windows->last + first, now + first, end - first);
    }
    windows->newest = checkpoint;
    return true;
}

void fill_window(IdatReader *reader, const Checkpoint *checkpoint) {
    const Checkpoint *chain[kMostPieces];
    size_t count = 0;
    for (; checkpoint; checkpoint = checkpoint->base) chain[count++] = checkpoint;
    uint8_t *window = reader->windows->copied;
    std::memset(window, 0, sizeof reader->windows->copied);
    while (count > 0) {
        const Checkpoint *at = chain[--count];
        if (at->piece) std::memcpy(window + at->piece_offset, at->piece, at->piece_bytes);
    }
}

bool copy_state(IdatReader *reader, Checkpoint *checkpoint) {
    checkpoint->shown.inflateState = os_allocate_array<z_stream>(1);
    if (!checkpoint->shown.inflateState) return false;
    // A copy is of the whole window, also of what was never written there.
    std::memset(reader->windows->copied, 0, sizeof reader->windows->copied);
    reader->windows->sharing = true;
    const bool copied = inflateCopy(checkpoint->shown.inflateState, &reader->live) == Z_OK;
    reader->windows->sharing = false;
    return copied && keep_window(reader, checkpoint);
}

void keep_place(IdatReader *reader, Checkpoint *checkpoint) {
    constexpr int kUnusedBits = 63;
    z_stream &live = reader->live;
    const long mark = inflateMark(&live);
    checkpoint->in_middle = checkpoint->shown.bytesLeft != reader->chunk_bytes;
    checkpoint->block = reader->block;
    checkpoint->bits = (live.total_in - reader->block.total_in) * 8 + reader->block.bits -
                       static_cast<uint32_t>(live.data_type & kUnusedBits);
    checkpoint->code_bits = static_cast<int32_t>(mark >> 16);
    checkpoint->given = static_cast<uint32_t>(mark & 0xFFFF);
}

}  // namespace

const Checkpoint *whole_of(const vpng_row_checkpoint *shown) { return reinterpret_cast<const Checkpoint *>(shown); }

bool make_checkpoint(IdatReader *reader, vpng_row_checkpoint **out) {
    auto *checkpoint = os_allocate_array<Checkpoint>(1);
    if (!checkpoint) return false;
    *out = &checkpoint->shown;
    checkpoint->shown.streamPosition = reader->chunk_offset;
    checkpoint->shown.bytesLeft = reader->live.avail_in + reader->idat_left;
    if (!has_rows(*reader)) return true;
    checkpoint->shown.previousRow = os_allocate_array<uint8_t>(reader->row_bytes + 1);
    if (!checkpoint->shown.previousRow || !copy_state(reader, checkpoint)) return false;
    std::memcpy(checkpoint->shown.previousRow, reader->above, reader->row_bytes + 1);
    keep_place(reader, checkpoint);
    return true;
}

bool restore_checkpoint(IdatReader *reader, const vpng_row_checkpoint *checkpoint) {
    if (!checkpoint->inflateState) return true;
    if (reader->live_open) inflateEnd(&reader->live);
    fill_window(reader, whole_of(checkpoint));
    reader->live_open = inflateCopy(&reader->live, checkpoint->inflateState) == Z_OK;
    // The check value of data that was entered in the middle is of no use, and a tenth of the work.
    if (reader->live_open) inflateValidate(&reader->live, 0);
    return reader->live_open;
}

void delete_checkpoint(vpng_row_checkpoint *checkpoint) {
    if (!checkpoint) return;
    if (checkpoint->inflateState) {
        inflateEnd(checkpoint->inflateState);  // harmless where the copy failed
        os_release(checkpoint->inflateState);
    }
    os_release(checkpoint->previousRow);
    os_release(whole_of(checkpoint)->piece);
    os_release(checkpoint);
}

}  // namespace vorel
