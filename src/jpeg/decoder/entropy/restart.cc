// Restart markers (T.81 E.2.4): finding them, resynchronising after damage, and skipping by them.
#include <cstring>

#include "jpeg/decoder/entropy/bit_reader.h"
#include "jpeg/decoder/entropy/entropy.h"

namespace vorel {
namespace {

// Bytes up to the next FF are passed over at memory speed. False at the end of the input.
bool skip_to_ff(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    for (;;) {
        uint8_t byte;
        if (next_stream_byte(info, &byte) != Fill::kOk) return false;
        if (byte == 0xFF) return true;
        ++info->markerState->discardedBytes;
        if (stream->available == 0) continue;
        const uint8_t *from = unread(stream);
        const void *found = std::memchr(from, 0xFF, static_cast<size_t>(stream->available));
        const int32_t skipped =
            found ? static_cast<int32_t>(static_cast<const uint8_t *>(found) - from) : stream->available;
        info->markerState->discardedBytes += static_cast<uint32_t>(skipped);
        consume(stream, skipped);
    }
}

bool is_ahead(int32_t marker, int32_t expected, int32_t by) { return marker == kRst0 + ((expected + by) & 7); }

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_NextRestartMarker(JpegInfo *info) {
    for (;;) {
        if (!skip_to_ff(info)) return 0;
        uint8_t byte = 0xFF;
        while (byte == 0xFF) {
            if (next_stream_byte(info, &byte) != Fill::kOk) return 0;
        }
        if (byte != 0) {
            info->unreadMarker = byte;
            return 1;
        }
        info->markerState->discardedBytes += 2;
    }
}

int32_t BRIMJ_ResyncToRST(JpegInfo *info, int32_t expected) {
    for (;;) {
        const int32_t marker = static_cast<int32_t>(info->unreadMarker);
        const bool behind = is_ahead(marker, expected, -1) || is_ahead(marker, expected, -2);
        if (marker < kSof0 || behind) {
            if (!BRIMJ_NextRestartMarker(info)) return 0;
            continue;
        }
        // What lies between a marker ahead and here is lost: it stays unread, and the MCUs up to it stay zero.
        const bool ahead = is_ahead(marker, expected, 1) || is_ahead(marker, expected, 2);
        if (is_restart(marker) && !ahead) info->unreadMarker = 0;
        return 1;
    }
}

int32_t BRIMJ_ProcessRestartMarker(JpegInfo *info) {
    close_window(info);
    EntropyDecoder *entropy = info->entropy;
    MarkerState *state = info->markerState;
    state->discardedBytes += static_cast<uint32_t>(entropy->bitCount / 8);
    entropy->bitBuffer = 0;
    entropy->bitCount = 0;
    if (info->unreadMarker == 0 && !BRIMJ_NextRestartMarker(info)) return 0;
    if (info->unreadMarker == static_cast<uint32_t>(kRst0 + state->nextRestartNumber)) {
        info->unreadMarker = 0;
    } else if (!BRIMJ_ResyncToRST(info, state->nextRestartNumber)) {
        return 0;
    }
    state->nextRestartNumber = (state->nextRestartNumber + 1) & 7;
    for (int i = 0; i < info->compsInScan; ++i) entropy->lastDc[i] = 0;
    entropy->restartsToGo = info->restartInterval;
    // While a marker from further on is pending there is nothing to decode: MCUs stay zero up to it.
    entropy->insufficientData = info->unreadMarker != 0;
    return 1;
}

// One MCU above the window's first row: 0 it has to be decoded, 1 passed over at a restart, which was processed, 2
// passed over inside an interval. An interval that reaches into the window is decoded from its start.
int32_t BRIMJ_SkipMcuUsingRST(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    if (!info->decInfo->partialDecode || info->restartInterval == 0) return 0;
    const bool at_restart = entropy->restartsToGo == 0;
    const uint32_t to_go = at_restart ? info->restartInterval : entropy->restartsToGo;
    if (info->mcus_done + to_go > info->mcus_above_window) return 0;
    if (at_restart && !BRIMJ_ProcessRestartMarker(info)) return 0;
    close_window(info);
    --entropy->restartsToGo;
    ++info->mcus_done;
    return at_restart ? 1 : 2;
}

}  // extern "C"
