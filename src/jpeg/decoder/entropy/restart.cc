// Restart markers (T.81 E.2.4): finding them, resynchronising after damage, and skipping by them.
#include <cstring>

#include "jpeg/decoder/entropy/bit_reader.h"
#include "jpeg/decoder/jpeg_info.h"

namespace vorel {
namespace {

// Bytes up to the next FF are passed over at memory speed. False at the end of the input.
bool skip_to_ff(ScanReader *scan, Fill *stream_result) {
    StreamBuffer *stream = scan->streamBuffer;
    for (;;) {
        uint8_t byte;
        *stream_result = next_stream_byte(scan, &byte);
        if (*stream_result != Fill::kOk) return false;
        if (byte == 0xFF) return true;
        ++scan->discardedBytes;
        if (stream->available == 0) continue;
        const uint8_t *from = unread(stream);
        const void *found = std::memchr(from, 0xFF, static_cast<size_t>(stream->available));
        const int32_t skipped =
            found ? static_cast<int32_t>(static_cast<const uint8_t *>(found) - from) : stream->available;
        scan->discardedBytes += static_cast<uint32_t>(skipped);
        consume(stream, skipped);
    }
}

bool is_ahead(int32_t marker, int32_t expected, int32_t by) { return marker == kRst0 + ((expected + by) & 7); }

// The next marker becomes the pending one; stream_result says why there is none.
bool find_marker(ScanReader *scan, Fill *stream_result) {
    for (;;) {
        if (!skip_to_ff(scan, stream_result)) return false;
        int32_t bytes = 1;
        uint8_t byte = 0xFF;
        for (; byte == 0xFF; ++bytes) {
            *stream_result = next_stream_byte(scan, &byte);
            if (*stream_result != Fill::kOk) return false;
        }
        if (byte != 0) {
            scan->entropy.unreadMarker = byte;
            scan->entropy.marker_bytes = bytes;
            return true;
        }
        scan->discardedBytes += 2;
    }
}

bool next_restart_marker(ScanReader *scan) {
    Fill result = Fill::kOk;
    return find_marker(scan, &result) || take_end_as_marker(scan, result);
}

bool resync(ScanReader *scan, int32_t expected) {
    for (;;) {
        const int32_t marker = static_cast<int32_t>(scan->entropy.unreadMarker);
        const bool behind = is_ahead(marker, expected, -1) || is_ahead(marker, expected, -2);
        if (marker < kSof0 || behind) {
            if (!next_restart_marker(scan)) return false;
            continue;
        }
        // What lies between a marker ahead and here is lost: it stays unread, and the MCUs up to it stay zero.
        const bool ahead = is_ahead(marker, expected, 1) || is_ahead(marker, expected, 2);
        if (is_restart(marker) && !ahead) scan->entropy.unreadMarker = 0;
        return true;
    }
}

}  // namespace

bool process_restart(ScanReader *scan) {
    close_window(scan);
    EntropyDecoder &entropy = scan->entropy;
    scan->discardedBytes += static_cast<uint32_t>(entropy.bitCount / 8);
    entropy.bitBuffer = 0;
    entropy.bitCount = 0;
    if (entropy.unreadMarker == 0 && !next_restart_marker(scan)) return false;
    if (entropy.unreadMarker == static_cast<uint32_t>(kRst0 + entropy.nextRestartNumber)) {
        entropy.unreadMarker = 0;
    } else if (!resync(scan, entropy.nextRestartNumber)) {
        return false;
    }
    entropy.nextRestartNumber = (entropy.nextRestartNumber + 1) & 7;
    std::memset(entropy.lastDc, 0, sizeof entropy.lastDc);
    entropy.eobRun = 0;
    entropy.restartsToGo = scan->restartInterval;
    // While a marker from further on is pending there is nothing to decode: MCUs stay zero up to it.
    entropy.insufficientData = entropy.unreadMarker != 0;
    return true;
}

void pass_ended(ScanReader *scan, int32_t mcus) {
    EntropyDecoder &entropy = scan->entropy;
    scan->mcus_done += static_cast<uint64_t>(mcus);
    if (scan->restartInterval == 0) return;
    const uint64_t count = static_cast<uint64_t>(mcus), to_go = entropy.restartsToGo, interval = scan->restartInterval;
    const uint64_t restarts = count > to_go ? (count - to_go + interval - 1) / interval : 0;
    entropy.restartsToGo = static_cast<uint32_t>(to_go + restarts * interval - count);
    entropy.nextRestartNumber = static_cast<uint8_t>((entropy.nextRestartNumber + restarts) & 7);
    if (restarts == 0) return;
    std::memset(entropy.lastDc, 0, sizeof entropy.lastDc);
    entropy.eobRun = 0;
}

int32_t pass_by_restart(ScanReader *scan) {
    EntropyDecoder &entropy = scan->entropy;
    if (scan->restartInterval == 0) return 0;
    const bool at_restart = entropy.restartsToGo == 0;
    const uint32_t to_go = at_restart ? scan->restartInterval : entropy.restartsToGo;
    if (scan->mcus_done + to_go > scan->mcus_to_pass) return 0;
    if (at_restart && !process_restart(scan)) return 0;
    close_window(scan);
    --entropy.restartsToGo;
    ++scan->mcus_done;
    return at_restart ? 1 : 2;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_NextRestartMarker(JpegInfo *info) {
    close_window(&info->scan);
    return next_restart_marker(&info->scan);
}

int32_t BRIMJ_ResyncToRST(JpegInfo *info, int32_t expected) {
    close_window(&info->scan);
    return resync(&info->scan, expected);
}

int32_t BRIMJ_ProcessRestartMarker(JpegInfo *info) { return process_restart(&info->scan); }

int32_t BRIMJ_SkipMcuUsingRST(JpegInfo *info) {
    return info->decInfo->partialDecode ? pass_by_restart(&info->scan) : 0;
}

}  // extern "C"
