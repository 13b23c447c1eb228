// Quick walks over the marker stream that touch only what their caller asks for: sizes and layout, and the place of
// EOI.
#include <algorithm>
#include <cstring>

#include "jpeg/decoder/headers/markers.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

// What one SOF left the quick parse with.
enum class FrameWalk { kGoOn, kStopWithMarker, kFailed };

bool valid_side(uint32_t side) { return side >= 1 && side <= static_cast<uint32_t>(kMaxJpegSide); }

// One component's sampling factors. False for a factor outside 1 to 4.
bool take_factors(uint8_t byte, ImageInfo *out) {
    const uint32_t h = byte >> 4, v = byte & 15;
    if (h < 1 || h > 4 || v < 1 || v > 4) return false;
    if (h > out->maxHSampling) out->maxHSampling = h;
    if (v > out->maxVSampling) out->maxVSampling = v;
    return true;
}

// Those of `count` components behind the cursor.
bool read_factors(StreamBuffer *stream, ImageInfo *out, int32_t count) {
    if (!ensure_bytes(stream, 3 * count)) return false;
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t factors = unread(stream)[1];
        consume(stream, 3);
        if (!take_factors(factors, out)) return false;
    }
    return true;
}

FrameWalk read_quick_frame(StreamBuffer *stream, ImageInfo *out, bool progressive) {
    if (progressive) out->progressive = 1;
    if (!ensure_bytes(stream, 8)) return FrameWalk::kStopWithMarker;
    const uint8_t *bytes = unread(stream);
    const int32_t length = big_endian_16(bytes);
    const int32_t precision = bytes[2];
    const uint32_t height = static_cast<uint32_t>(big_endian_16(bytes + 3));
    const uint32_t width = static_cast<uint32_t>(big_endian_16(bytes + 5));
    const int32_t count = bytes[7];
    // A progressive frame of another precision has a size all the same; only the decode refuses it.
    if (precision != 8 && !progressive) return FrameWalk::kStopWithMarker;
    if (!valid_side(height) || !valid_side(width)) return FrameWalk::kFailed;
    out->width = width;
    out->height = height;
    out->numComponents = static_cast<uint32_t>(count);
    if (!progressive && length != 8 + 3 * count) return FrameWalk::kStopWithMarker;
    consume(stream, 8);
    if (progressive) {
        // The factors are reported where they are there, but the segment is passed over by its length alone.
        const int32_t left = length - 8;
        if (left <= 0) return FrameWalk::kGoOn;
        ensure_bytes(stream, std::min(left, 3 * count));
        const int32_t there = std::min({count, left / 3, stream->available / 3});
        for (int32_t i = 0; i < there; ++i) take_factors(unread(stream)[3 * i + 1], out);
        return skip_bytes(stream, left) ? FrameWalk::kGoOn : FrameWalk::kFailed;
    }
    return read_factors(stream, out, count) ? FrameWalk::kGoOn : FrameWalk::kStopWithMarker;
}

bool has_length(int32_t marker) {
    return marker == kDht || marker == kDqt || marker == kCom || marker == kDnl || is_app(marker);
}

bool skip_by_length(StreamBuffer *stream) {
    const int32_t length = read_segment_length(stream);
    return length >= 2 && skip_bytes(stream, length - 2);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_SimpleParser(StreamBuffer *stream, int32_t precisionSelector, ImageInfo *out) {
    if (precisionSelector != 8 && precisionSelector != 2) return kStepFailed;
    if (!find_soi(stream)) return kStepFailed;
    for (;;) {
        const int32_t marker = next_marker(stream);
        if (marker < 0) return kStepFailed;
        if (marker == kSos) return kStepOk;
        if (marker == kSof0 || marker == kSof1 || marker == kSof2) {
            const FrameWalk walk = read_quick_frame(stream, out, marker == kSof2);
            if (walk == FrameWalk::kFailed) return kStepFailed;
            if (walk == FrameWalk::kStopWithMarker) return marker;
        } else if (marker == kDri) {
            if (read_segment_length(stream) != 4 || !ensure_bytes(stream, 2)) return kStepFailed;
            out->restartInterval = static_cast<uint32_t>(big_endian_16(unread(stream)));
            consume(stream, 2);
        } else if (has_length(marker) && !skip_by_length(stream)) {
            return kStepFailed;
        }
    }
}

int32_t BRIMJ_GetHInfo(IoInfo *io, ImageInfo *imageInfo) {
    if (!io || !imageInfo) return 0;
    StreamCursor cursor(io);
    if (!cursor.ready()) {
        set_error(kErrorOutOfMemory);
        return 0;
    }
    const StepScope scope(JPEG_STAT_HEADERS);
    if (cursor.start_at(static_cast<int32_t>(imageInfo->scanOffset)) < 0) return 0;
    return BRIMJ_SimpleParser(cursor.stream(), 8, imageInfo) != kStepFailed;
}

int32_t BRIMJ_EOIParser(StreamBuffer *stream, int32_t selector, ImageInfo *outValues) {
    if ((selector != 8 && selector != 2) || !find_soi(stream)) return 0;
    for (;;) {
        const int32_t marker = next_marker(stream);
        if (marker < 0) return 0;
        if (marker == kEoi) {
            const int32_t position = stream->totalRead - stream->available - 2;
            if (outValues) outValues->scanOffset = static_cast<uint32_t>(position);
            return position;
        }
        const bool frame = marker == kSof0 || marker == kSof1 || marker == kSof2;
        if ((frame || marker == kDri || has_length(marker)) && !skip_by_length(stream)) return 0;
    }
}

int32_t BRIMJ_GetEOIOffset(IoInfo *io, ImageInfo *imageInfo) {
    if (!io) return 0;
    StreamCursor cursor(io);
    if (!cursor.ready() || cursor.start_at(0) < 0) return 0;
    return BRIMJ_EOIParser(cursor.stream(), 8, imageInfo);
}

}  // extern "C"
