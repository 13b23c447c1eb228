// The full parser: fills the working record from the marker stream, up to and including an SOS (T.81 annex B).
#include "jpeg/decoder/headers/markers.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace vorel {
namespace {

constexpr const char *kParser = "BRIMJ_ParseNextMarker";

// "[name:line...]" lines of marker parsing.
#define TRACE_MARKER(format, ...) VOREL_LOG(kTagJpeg, "[%s:%d" format "]", kParser, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// What became of one segment.
enum class Segment {
    kDone,
    kFailed,        // logged; the parse ends
    kOddlyRefused,  // DHT or DQT with a length below 2
};

bool need(StreamBuffer *stream, int32_t bytes) {
    if (ensure_bytes(stream, bytes)) return true;
    TRACE_MARKER("");
    return false;
}

// One allocation per component block and per table: a second frame is refused, and tables are filled again in place.
bool allocate_components(JpegInfo *info) {
    if (info->components) return true;
    // For the most that a frame may have: a second frame header may have more than a first one that failed.
    info->components = os_allocate_array<JpegComponent>(kMaxComponents);
    if (!info->components) set_error(kErrorOutOfMemory);
    return info->components != nullptr;
}

// SOF2 on a stream that cannot go back: the scans are visited many times, so the whole stream moves into memory, and
// the input becomes the session's own block. Where everything read so far still stands in the block, the memory begins
// at the start of the stream.
bool pull_stream(JpegInfo *info) {
    IoInfo *io = info->io;
    StreamBuffer *stream = info->streamBuffer;
    const int32_t kept = stream->offset + stream->available == stream->totalRead ? stream->offset : 0;
    const int64_t have = static_cast<int64_t>(kept) + stream->available;
    const int64_t more = static_cast<int64_t>(io->size) - stream->totalRead;
    const int64_t capacity = have + (more > 0 ? more : 0);
    size_t bytes;
    if (!checked_product(static_cast<uint64_t>(capacity ? capacity : 1), 1, &bytes)) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    uint8_t *memory = static_cast<uint8_t *>(os_allocate(bytes));
    if (!memory) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    std::memcpy(memory, stream->buffer + stream->offset - kept, static_cast<size_t>(have));
    int64_t filled = have;
    while (filled < capacity) {
        const int64_t left = capacity - filled;
        const int32_t delivered =
            VORELBRIM_Read_IO(io, memory + filled, static_cast<int32_t>(left < kBlockBytes ? left : kBlockBytes));
        if (delivered <= 0) break;
        filled += delivered;
    }
    io->kind = kIoOwnedMemory;
    io->source = memory;
    io->readFn = nullptr;
    io->skipFn = nullptr;
    io->rewindFn = nullptr;
    io->size = static_cast<int32_t>(filled);
    const int32_t block = io->size < kBlockBytes ? io->size : kBlockBytes;
    io->position = block;
    stream->buffer = memory;
    stream->offset = kept;
    stream->available = block - kept;
    stream->totalRead = block;
    stream->totalSize = io->size;
    info->decInfo->streamOffset = 0;
    return true;
}

Segment read_frame(JpegInfo *info, bool progressive) {
    StreamBuffer *stream = info->streamBuffer;
    if (info->markerState->frameType != kNoFrame) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    if (!need(stream, 8)) return Segment::kFailed;
    const uint8_t *bytes = unread(stream);
    const int32_t length = big_endian_16(bytes);
    const int32_t height = big_endian_16(bytes + 3);
    const int32_t width = big_endian_16(bytes + 5);
    const int32_t count = bytes[7];
    if (bytes[2] != 8) {
        TRACE_MARKER(", val : %d", bytes[3]);
        return Segment::kFailed;
    }
    if (width > kMaxJpegSide || height > kMaxJpegSide || count > kMaxComponents) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    if (length != 8 + 3 * count) {
        if (progressive) {
            TRACE_MARKER(", length : %d, no : %d", length, count);
        } else {
            TRACE_MARKER("");
        }
        return Segment::kFailed;
    }
    consume(stream, 8);
    if (!need(stream, 3 * count)) return Segment::kFailed;
    info->imageWidth = static_cast<uint16_t>(width);
    info->imageHeight = static_cast<uint16_t>(height);
    info->numComponents = static_cast<uint16_t>(count);
    if (!allocate_components(info)) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    for (int32_t i = 0; i < count; ++i) {
        bytes = unread(stream);
        JpegComponent *component = &info->components[i];
        component->index = static_cast<uint32_t>(i);
        component->id = bytes[0];
        component->hSampling = bytes[1] >> 4;
        component->vSampling = bytes[1] & 15;
        component->quantTableIndex = bytes[2];
        info->markerState->componentId[i] = bytes[0];
        consume(stream, 3);
        if (component->hSampling < 1 || component->hSampling > 4 || component->vSampling < 1 ||
            component->vSampling > 4) {
            TRACE_MARKER(", h : %d, v : %d", static_cast<int>(component->hSampling),
                         static_cast<int>(component->vSampling));
            return Segment::kFailed;
        }
    }
    info->markerState->frameType = progressive ? kProgressiveFrame : kBaselineFrame;
    if (progressive && info->io->kind == kIoStream && !pull_stream(info)) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    return Segment::kDone;
}

// The length of a DHT or DQT segment: the bytes of its tables.
Segment start_tables(StreamBuffer *stream, int32_t *left) {
    const int32_t length = read_segment_length(stream);
    if (length < 0) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    if (length < 2) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kOddlyRefused;
    }
    *left = length - 2;
    return Segment::kDone;
}

RawHuffTable *huffman_slot(JpegInfo *info, int32_t index) {
    const bool ac = index & 0x10;
    if (ac ? index > 19 : index > 3) {
        TRACE_MARKER(", tableIndex : %d", index);
        return nullptr;
    }
    RawHuffTable **slot = ac ? &info->huffAc[index - 16] : &info->huffDc[index];
    if (!*slot) {
        if (info->raw_tables > kMaxRawTables - 1) {
            TRACE_MARKER("");
            return nullptr;
        }
        *slot = os_allocate_array<RawHuffTable>(1);
        if (!*slot) {
            set_error(kErrorOutOfMemory);
            TRACE_MARKER("");
            return nullptr;
        }
        ++info->raw_tables;
    }
    return *slot;
}

// DHT, T.81 B.2.4.2. Up to 16 leftover bytes stay unread: the marker scan passes over them.
Segment read_huffman_tables(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    info->markerState->sawDht = 1;
    int32_t left;
    const Segment start = start_tables(stream, &left);
    if (start != Segment::kDone) return start;
    while (left >= 17) {
        if (!need(stream, 17)) return Segment::kFailed;
        RawHuffTable *table = huffman_slot(info, unread(stream)[0]);
        if (!table) return Segment::kFailed;
        const uint8_t *counts = unread(stream) + 1;
        int32_t sum = 0;
        for (int i = 0; i < 16; ++i) sum += counts[i];
        std::memset(table, 0, sizeof *table);
        std::memcpy(table->counts, counts, 16);
        consume(stream, 17);
        left -= 17;
        if (sum >= 256 || sum > left) {
            std::memset(table->counts, 0, 16);
            TRACE_MARKER(", count : %d", sum);
            return Segment::kFailed;
        }
        if (!need(stream, sum)) return Segment::kFailed;
        std::memcpy(table->symbols, unread(stream), static_cast<size_t>(sum));
        consume(stream, sum);
        left -= sum;
    }
    return Segment::kDone;
}

// DQT, T.81 B.2.4.1: zigzag order on the wire, natural order in the table.
Segment read_quantisation_tables(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    int32_t left;
    const Segment start = start_tables(stream, &left);
    if (start != Segment::kDone) return start;
    while (left > 0) {
        if (!need(stream, 1)) return Segment::kFailed;
        const int32_t head = unread(stream)[0];
        const int32_t index = head & 15;
        const bool wide = head >> 4;
        if (index > 3) {
            TRACE_MARKER(", tq : %d", index);
            return Segment::kFailed;
        }
        const int32_t bytes = wide ? 128 : 64;
        consume(stream, 1);
        left -= 1 + bytes;
        if (left < 0) {
            TRACE_MARKER(", length : %d", left);
            return Segment::kFailed;
        }
        if (!need(stream, bytes)) return Segment::kFailed;
        QuantBlock **slot = &info->quantTables[index];
        if (!*slot) *slot = os_allocate_array<QuantBlock>(1);
        if (!*slot) {
            set_error(kErrorOutOfMemory);
            TRACE_MARKER("");
            return Segment::kFailed;
        }
        const uint8_t *entries = unread(stream);
        for (int k = 0; k < kBlockCoefficients; ++k) {
            (*slot)->q[BRIMJ_NATURAL_ORDER[k]] =
                static_cast<uint16_t>(wide ? big_endian_16(entries + 2 * k) : entries[k]);
        }
        consume(stream, bytes);
    }
    info->markerState->sawDqt = 1;
    return Segment::kDone;
}

Segment read_restart_interval(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    const int32_t length = read_segment_length(stream);
    if (length != 4) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kFailed;
    }
    if (!need(stream, 2)) return Segment::kFailed;
    info->restartInterval = static_cast<uint32_t>(big_endian_16(unread(stream)));
    if (info->markerState->frameType == kProgressiveFrame && info->scanNumber < kMaxScans) {
        info->scanRestartInterval[info->scanNumber] = info->restartInterval;
    }
    consume(stream, 2);
    return Segment::kDone;
}

JpegComponent *component_by_id(JpegInfo *info, int32_t id) {
    for (int i = 0; i < info->numComponents; ++i) {
        if (info->components[i].id == static_cast<uint32_t>(id)) return &info->components[i];
    }
    return nullptr;
}

// The first component count seen tells whether the frame is interleaved.
void remember_first_scan(JpegInfo *info, int32_t count) {
    if (info->first_scan_components) return;
    info->first_scan_components = static_cast<uint32_t>(count);
    info->scan_components_memory = count == info->numComponents ? -1 : count;
}

// SOS, T.81 B.2.3.
Segment read_scan(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    if (info->markerState->frameType == kNoFrame) {
        TRACE_MARKER("");
        return Segment::kFailed;
    }
    if (!need(stream, 3)) return Segment::kFailed;
    const int32_t length = big_endian_16(unread(stream));
    const int32_t count = unread(stream)[2];
    consume(stream, 3);
    remember_first_scan(info, count);
    if (count < 1 || count > kMaxComponents || length != 2 * (count + 3)) {
        TRACE_MARKER(", length : %d, compInScan : %d", length, count);
        return Segment::kFailed;
    }
    if (!need(stream, 2 * count + 3)) return Segment::kFailed;
    const uint8_t *bytes = unread(stream);
    JpegComponent *scan[kMaxComponents] = {};
    for (int32_t i = 0; i < count; ++i) {
        const int32_t id = bytes[2 * i];
        JpegComponent *component = component_by_id(info, id);
        if (!component || std::find(scan, scan + i, component) != scan + i) {
            TRACE_MARKER(", compId : %d, id : %d, no : %d", id, component ? static_cast<int>(component->id) : -1,
                         static_cast<int>(info->numComponents));
            return Segment::kFailed;
        }
        scan[i] = component;
    }
    for (int32_t i = 0; i < count; ++i) {
        scan[i]->dcTable = bytes[2 * i + 1] >> 4;
        scan[i]->acTable = bytes[2 * i + 1] & 15;
    }
    std::copy(scan, scan + kMaxComponents, info->curComponents);
    info->compsInScan = static_cast<uint16_t>(count);
    const uint8_t *spectral = bytes + 2 * count;
    info->sos = {spectral[0], spectral[1], spectral[2] >> 4, spectral[2] & 15};
    consume(stream, 2 * count + 3);
    info->markerState->sawSos = 1;
    if (info->markerState->frameType != kProgressiveFrame) info->sos = {0, kBlockCoefficients - 1, 0, 0};
    return Segment::kDone;
}

// APP14 of Adobe: the colour transform. The segment is read whole, so it has to fit the block.
Segment read_adobe(JpegInfo *info) {
    StreamBuffer *stream = info->streamBuffer;
    const int32_t length = read_segment_length(stream);
    if (length < 2 || !ensure_bytes(stream, length - 2)) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kFailed;
    }
    const uint8_t *bytes = unread(stream);
    if (length - 2 > 11 && std::memcmp(bytes, "Adobe", 5) == 0) {
        info->markerState->sawAdobe = 1;
        info->markerState->adobeTransform = bytes[11];
    }
    consume(stream, length - 2);
    return Segment::kDone;
}

Segment skip_segment(JpegInfo *info) {
    const int32_t length = read_segment_length(info->streamBuffer);
    if (length < 2 || !skip_bytes(info->streamBuffer, length - 2)) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kFailed;
    }
    return Segment::kDone;
}

Segment read_segment(JpegInfo *info, int32_t marker) {
    switch (marker) {
        case kSof0:
        case kSof1:
            return read_frame(info, false);
        case kSof2:
            return read_frame(info, true);
        case kDht:
            return read_huffman_tables(info);
        case kDqt:
            return read_quantisation_tables(info);
        case kDri:
            return read_restart_interval(info);
        case kSos:
            return read_scan(info);
        case kApp0:
            info->markerState->sawJfif = 1;
            return skip_segment(info);
        case kApp14:
            return read_adobe(info);
        case kCom:
        case kDnl:
            return skip_segment(info);
        default:
            // Arithmetic, lossless and hierarchical frames, restarts, SOI and EOI are passed over.
            return is_app(marker) ? skip_segment(info) : Segment::kDone;
    }
}

// T.81 leaves the colours to JFIF and Adobe. 200, or 201 for a component count that has none.
int32_t guess_color_space(JpegInfo *info) {
    const MarkerState *state = info->markerState;
    switch (info->numComponents) {
        case 1:
            info->colorSpace = kColorGray;
            return kStepOk;
        case 3:
            if (state->sawJfif) {
                info->colorSpace = kColorYcc;
            } else if (state->sawAdobe) {
                info->colorSpace = state->adobeTransform ? kColorYcc : kColorRgb;
            } else {
                info->colorSpace = std::memcmp(state->componentId, "RGB", 3) == 0 ? kColorRgb : kColorYcc;
            }
            return kStepOk;
        case 4:
            // Without Adobe it stays unknown, which starting the decompression refuses.
            if (state->sawAdobe) info->colorSpace = state->adobeTransform ? kColorYcck : kColorCmyk;
            return kStepOk;
        default:
            return kStepFailed;
    }
}

}  // namespace

bool find_soi(StreamBuffer *stream) {
    for (int32_t byte = read_byte(stream); byte >= 0; byte = read_byte(stream)) {
        while (byte == 0xFF) {
            byte = read_byte(stream);
            if (byte == kSoi) return true;
        }
        if (byte < 0) return false;
    }
    return false;
}

int32_t next_marker(StreamBuffer *stream) {
    for (;;) {
        if (stream->available < 1 && BRIMJ_CheckBuffer(stream, 1) == 0) return -1;
        const uint8_t *from = unread(stream);
        const void *found = std::memchr(from, 0xFF, static_cast<size_t>(stream->available));
        if (!found) {
            consume(stream, stream->available);
            continue;
        }
        consume(stream, static_cast<int32_t>(static_cast<const uint8_t *>(found) - from) + 1);
        int32_t code = read_byte(stream);
        while (code == 0xFF) code = read_byte(stream);
        return code;
    }
}

int32_t read_segment_length(StreamBuffer *stream) {
    if (!ensure_bytes(stream, 2)) return -1;
    const int32_t length = big_endian_16(unread(stream));
    consume(stream, 2);
    return length;
}

void release_header_tables(JpegInfo *info) {
    for (int i = 0; i < 4; ++i) {
        os_release(info->quantTables[i]);
        os_release(info->huffDc[i]);
        os_release(info->huffAc[i]);
        info->quantTables[i] = nullptr;
        info->huffDc[i] = info->huffAc[i] = nullptr;
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_ParseNextMarker(JpegInfo *info, int32_t *outStatus) {
    *outStatus = kStepOk;
    int32_t last = 0;
    for (;;) {
        const int32_t marker = next_marker(info->streamBuffer);
        if (marker < 0) {
            TRACE_MARKER("");
            *outStatus = kStepFailed;
            return last;
        }
        last = marker;
        switch (read_segment(info, marker)) {
            case Segment::kFailed:
                *outStatus = kStepFailed;
                return marker;
            case Segment::kOddlyRefused:
                // Required: the marker result is 201 and the status stays 200.
                return kStepFailed;
            case Segment::kDone:
                break;
        }
        if (marker != kSos) continue;
        if (info->scans_to_pass == 0) return marker;
        --info->scans_to_pass;
        // What fails from here on fails the scan that is wanted.
        info->markerState->sawSos = 0;
    }
}

int32_t BRIMJ_ParseHeader(JpegInfo *info, void *) {
#define TRACE_HEADER() VOREL_LOG(kTagJpegStat, "[%s:%d]\n", __func__, __LINE__)
    info->markerState = static_cast<MarkerState *>(BRIM_FakeMalloc(info, sizeof(MarkerState)));
    if (!info->markerState) {
        set_error(kErrorOutOfMemory);
        TRACE_HEADER();
        return kStepFailed;
    }
    std::memset(info->markerState, 0, sizeof(MarkerState));
    info->markerState->adobeTransform = 1;
    if (!info->streamBuffer) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (info->io->kind != kIoOwnedMemory) {
        if (!find_soi(info->streamBuffer)) {
            TRACE_HEADER();
            return kStepFailed;
        }
        info->decInfo->imageType = VOREL_IMAGE_JPEG;
    }
    int32_t status;
    const int32_t marker = BRIMJ_ParseNextMarker(info, &status);
    if ((status == kStepFailed && marker != kSos) || (status == kStepOk && marker == kEoi)) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (guess_color_space(info) != kStepOk) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (!info->markerState->sawDht) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (info->markerState->frameType == kNoFrame) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (!info->markerState->sawSos) {
        TRACE_HEADER();
        return kStepFailed;
    }
    if (!info->markerState->sawDqt) {
        TRACE_HEADER();
        return kStepFailed;
    }
    return kStepOk;
#undef TRACE_HEADER
}

}  // extern "C"
