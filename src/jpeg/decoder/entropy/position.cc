// Positions in a scan: read while the fast path's window stays open, restored, and discarded.
#include <cstring>

#include "jpeg/decoder/entropy/entropy_window.h"

namespace vorel {
namespace {

struct BitPosition {
    int32_t next;
    uint32_t bits;
    int32_t bit_count;
    bool behind_data;  // more bits were used than there are before a marker
};

// Whole bytes at the low end of a reservoir of `count` bits count as unread; what is left has fewer than 8 bits.
BitPosition give_back(const EntropyDecoder &entropy, uint32_t buffer, int32_t count, int32_t next) {
    for (int32_t i = 0; i < count / 8; ++i) next -= entropy.ahead_bytes[i];
    const int32_t left = count & 7, whole = count & ~7;
    return {next, whole < 32 ? buffer >> whole & ((1u << left) - 1) : 0, left, false};
}

BitPosition plain_position(const ScanReader *scan) {
    const EntropyDecoder &entropy = scan->entropy;
    int32_t next = stream_position(scan->streamBuffer);
    if (entropy.insufficientData) return {next, 0, 0, false};
    // A marker that was read ahead of the bits before it was not met yet.
    if (entropy.unreadMarker) next -= entropy.marker_bytes;
    return give_back(entropy, entropy.bitBuffer, entropy.bitCount, next);
}

BitPosition window_position(const ScanReader *scan, EntropyWindow *window) {
    const ptrdiff_t position = (window->next - window->data) * 8 - window->bits;
    const ptrdiff_t size = window->end - window->data;
    const int32_t start = stream_position(scan->streamBuffer);
    if (position < 0) {
        return give_back(scan->entropy, static_cast<uint32_t>(window->reservoir >> (64 + position)),
                         static_cast<int32_t>(-position), start);
    }
    if (position > size * 8) {
        return {start + static_cast<int32_t>(raw_position(window, size) + 2 - window->raw), 0, 0, true};
    }
    const ptrdiff_t used = (position + 7) / 8;
    const int32_t left = static_cast<int32_t>(used * 8 - position);
    return {start + static_cast<int32_t>(raw_position(window, used) - window->raw),
            left ? window->data[used - 1] & ((1u << left) - 1) : 0, left, false};
}

}  // namespace

EntropyPosition tell(ScanReader *scan) {
    const EntropyDecoder &entropy = scan->entropy;
    EntropyWindow *window = scan->window;
    const bool open = window && window->open;
    const BitPosition at = open ? window_position(scan, window) : plain_position(scan);
    EntropyPosition out = {};
    out.next = at.next;
    out.bits = at.bits;
    out.bit_count = static_cast<uint8_t>(at.bit_count);
    out.next_restart = entropy.nextRestartNumber;
    out.out_of_data = entropy.insufficientData || at.behind_data;
    if (out.out_of_data) out.marker = at.behind_data ? window->marker : entropy.unreadMarker;
    out.eob_run = entropy.eobRun;
    out.restarts_to_go = entropy.restartsToGo;
    std::memcpy(out.last_dc, entropy.lastDc, sizeof out.last_dc);
    out.mcus_done = scan->mcus_done;
    return out;
}

void discard(ScanReader *scan) {
    EntropyDecoder &entropy = scan->entropy;
    if (scan->window) scan->window->open = false;
    entropy.insufficientData = 0;
    entropy.bitBuffer = 0;
    entropy.bitCount = 0;
    entropy.unreadMarker = 0;
    entropy.nextRestartNumber = 0;
    entropy.eobRun = 0;
    entropy.restartsToGo = scan->restartInterval;
    std::memset(entropy.lastDc, 0, sizeof entropy.lastDc);
}

bool restore(ScanReader *scan, const EntropyPosition &position) {
    discard(scan);
    EntropyDecoder &entropy = scan->entropy;
    entropy.insufficientData = position.out_of_data;
    entropy.bitCount = position.bit_count <= kReservoirBits ? position.bit_count : 0;
    entropy.bitBuffer = entropy.bitCount == 32 ? position.bits : position.bits & ((1u << entropy.bitCount) - 1);
    // An FF is followed by its stuffing.
    for (int i = 0; i < 4; ++i) entropy.ahead_bytes[i] = (position.bits >> 8 * i & 0xFF) == 0xFF ? 2 : 1;
    entropy.unreadMarker = position.out_of_data ? position.marker : 0;
    entropy.nextRestartNumber = position.next_restart & 7;
    entropy.eobRun = position.eob_run;
    entropy.restartsToGo = position.restarts_to_go;
    std::memcpy(entropy.lastDc, position.last_dc, sizeof entropy.lastDc);
    scan->mcus_done = position.mcus_done;
    return move_to(scan->streamBuffer, scan->readBuffer, position.next);
}

}  // namespace vorel
