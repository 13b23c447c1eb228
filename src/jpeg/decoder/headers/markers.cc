// The full parser: fills the working record from the marker stream, up to and including an SOS (T.81 annex B).
#include "jpeg/decoder/headers/markers.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {
namespace {

constexpr const char *kParser = "BRIMJ_ParseNextMarker";

// "[name:line...]" lines of marker parsing.
#define TRACE_MARKER(format, ...) VOREL_LOG(kTagJpeg, "[%s:%d" format "]", kParser, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// What became of one segment.
enum class Segment {
    kDone,
    kFailed,  // logged; the parse ends
    kShort,   // DHT or DQT with a length below 2, which the parse passes over
};

// Each site logs a line of its own.
#define FAIL_SEGMENT(...)          \
    do {                           \
        TRACE_MARKER(__VA_ARGS__); \
        return Segment::kFailed;   \
    } while (0)

// SOF2 on a stream that cannot go back: the scans are visited many times, so the whole stream moves into memory, and
// the input becomes the session's own block. Where everything read so far still stands in the block, the memory begins
// at the start of the stream.
bool pull_stream(const MarkerParser &p) {
    IoInfo *io = p.io;
    StreamBuffer *stream = p.stream;
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
    p.session->streamOffset = 0;
    return true;
}

Segment read_frame(const MarkerParser &p, bool progressive) {
    StreamBuffer *stream = p.stream;
    if (p.header->frameType != kNoFrame) FAIL_SEGMENT("");
    if (!ensure_bytes(stream, 8)) FAIL_SEGMENT("");
    const uint8_t *bytes = unread(stream);
    const int32_t length = big_endian_16(bytes);
    const int32_t height = big_endian_16(bytes + 3);
    const int32_t width = big_endian_16(bytes + 5);
    const int32_t count = bytes[7];
    if (bytes[2] != 8) FAIL_SEGMENT(", val : %d", bytes[3]);
    if (width > kMaxJpegSide || height > kMaxJpegSide || count > kMaxComponents) FAIL_SEGMENT("");
    if (length != 8 + 3 * count) {
        if (progressive) {
            TRACE_MARKER(", length : %d, no : %d", length, count);
        } else {
            TRACE_MARKER("");
        }
        return Segment::kFailed;
    }
    consume(stream, 8);
    if (!ensure_bytes(stream, 3 * count)) FAIL_SEGMENT("");
    p.frame->imageWidth = static_cast<uint16_t>(width);
    p.frame->imageHeight = static_cast<uint16_t>(height);
    p.frame->numComponents = static_cast<uint16_t>(count);
    for (int32_t i = 0; i < count; ++i) {
        bytes = unread(stream);
        JpegComponent *component = &p.frame->components[i];
        component->index = static_cast<uint32_t>(i);
        component->id = bytes[0];
        component->hSampling = bytes[1] >> 4;
        component->vSampling = bytes[1] & 15;
        component->quantTableIndex = bytes[2];
        consume(stream, 3);
        if (component->hSampling < 1 || component->hSampling > 4 || component->vSampling < 1 ||
            component->vSampling > 4)
            FAIL_SEGMENT(", h : %d, v : %d", static_cast<int>(component->hSampling),
                         static_cast<int>(component->vSampling));
    }
    p.frame->progressive = progressive;
    p.header->frameType = progressive ? kProgressiveFrame : kBaselineFrame;
    if (progressive && p.io->kind == kIoStream && !pull_stream(p)) FAIL_SEGMENT("");
    return Segment::kDone;
}

RawHuffTable *huffman_slot(const MarkerParser &p, int32_t index) {
    const bool ac = index & 0x10;
    if (ac ? index > 19 : index > 3) {
        TRACE_MARKER(", tableIndex : %d", index);
        return nullptr;
    }
    RawHuffTable **slot = ac ? &p.header->huffAc[index - 16] : &p.header->huffDc[index];
    if (!*slot) {
        if (p.header->raw_tables > kMaxRawTables - 1) {
            TRACE_MARKER("");
            return nullptr;
        }
        *slot = os_allocate_array<RawHuffTable>(1);
        if (!*slot) {
            p.header->out_of_memory = true;
            set_error(kErrorOutOfMemory);
            TRACE_MARKER("");
            return nullptr;
        }
        ++p.header->raw_tables;
    }
    return *slot;
}

// DHT, T.81 B.2.4.2. Up to 16 leftover bytes stay unread: the marker scan passes over them.
Segment read_huffman_tables(const MarkerParser &p) {
    StreamBuffer *stream = p.stream;
    p.header->sawDht = 1;
    const int32_t length = read_segment_length(stream);
    if (length < 0) FAIL_SEGMENT("");
    if (length < 2) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kShort;
    }
    int32_t left = length - 2;
    while (left >= 17) {
        if (!ensure_bytes(stream, 17)) FAIL_SEGMENT("");
        RawHuffTable *table = huffman_slot(p, unread(stream)[0]);
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
        if (!ensure_bytes(stream, sum)) FAIL_SEGMENT("");
        std::memcpy(table->symbols, unread(stream), static_cast<size_t>(sum));
        consume(stream, sum);
        left -= sum;
    }
    return Segment::kDone;
}

// DQT, T.81 B.2.4.1: zigzag order on the wire, natural order in the table.
Segment read_quantisation_tables(const MarkerParser &p) {
    StreamBuffer *stream = p.stream;
    const int32_t length = read_segment_length(stream);
    if (length < 0) FAIL_SEGMENT("");
    if (length < 2) {
        TRACE_MARKER(", length : %d", length);
        return Segment::kShort;
    }
    int32_t left = length - 2;
    while (left > 0) {
        if (!ensure_bytes(stream, 1)) FAIL_SEGMENT("");
        const int32_t head = unread(stream)[0];
        const int32_t index = head & 15;
        const bool wide = head >> 4;
        if (index > 3) FAIL_SEGMENT(", tq : %d", index);
        const int32_t bytes = wide ? 128 : 64;
        consume(stream, 1);
        left -= 1 + bytes;
        if (left < 0) FAIL_SEGMENT(", length : %d", left);
        if (!ensure_bytes(stream, bytes)) FAIL_SEGMENT("");
        QuantTable **slot = &p.header->quantTables[index];
        if (!*slot) *slot = os_allocate_array<QuantTable>(1);
        if (!*slot) {
            p.header->out_of_memory = true;
            set_error(kErrorOutOfMemory);
            FAIL_SEGMENT("");
        }
        const uint8_t *entries = unread(stream);
        for (int k = 0; k < kBlockCoefficients; ++k) {
            (*slot)->q[vorel_natural_order[k]] =
                static_cast<uint16_t>(wide ? big_endian_16(entries + 2 * k) : entries[k]);
        }
        consume(stream, bytes);
    }
    p.header->sawDqt = 1;
    return Segment::kDone;
}

Segment read_restart_interval(const MarkerParser &p) {
    StreamBuffer *stream = p.stream;
    const int32_t length = read_segment_length(stream);
    if (length != 4) FAIL_SEGMENT(", length : %d", length);
    if (!ensure_bytes(stream, 2)) FAIL_SEGMENT("");
    p.header->restartInterval = static_cast<uint32_t>(big_endian_16(unread(stream)));
    consume(stream, 2);
    return Segment::kDone;
}

JpegComponent *component_by_id(const MarkerParser &p, int32_t id) {
    for (int i = 0; i < p.frame->numComponents; ++i) {
        if (p.frame->components[i].id == static_cast<uint32_t>(id)) return &p.frame->components[i];
    }
    return nullptr;
}

// SOS, T.81 B.2.3.
Segment read_scan(const MarkerParser &p) {
    StreamBuffer *stream = p.stream;
    if (p.header->frameType == kNoFrame) FAIL_SEGMENT("");
    if (!ensure_bytes(stream, 3)) FAIL_SEGMENT("");
    const int32_t length = big_endian_16(unread(stream));
    const int32_t count = unread(stream)[2];
    consume(stream, 3);
    if (count < 1 || count > kMaxComponents || length != 2 * (count + 3))
        FAIL_SEGMENT(", length : %d, compInScan : %d", length, count);
    if (!ensure_bytes(stream, 2 * count + 3)) FAIL_SEGMENT("");
    const uint8_t *bytes = unread(stream);
    JpegComponent *scan[kMaxComponents] = {};
    for (int32_t i = 0; i < count; ++i) {
        const int32_t id = bytes[2 * i];
        JpegComponent *component = component_by_id(p, id);
        if (!component || std::find(scan, scan + i, component) != scan + i)
            FAIL_SEGMENT(", compId : %d, id : %d, no : %d", id, component ? static_cast<int>(component->id) : -1,
                         static_cast<int>(p.frame->numComponents));
        scan[i] = component;
    }
    ScanHeader header = {};
    for (int32_t i = 0; i < count; ++i) {
        header.component[i] = static_cast<uint8_t>(scan[i]->index);
        header.dc_table[i] = bytes[2 * i + 1] >> 4;
        header.ac_table[i] = bytes[2 * i + 1] & 15;
    }
    header.compsInScan = static_cast<uint16_t>(count);
    header.restartInterval = p.header->restartInterval;
    const uint8_t *spectral = bytes + 2 * count;
    header.Ss = spectral[0];
    header.Se = spectral[1];
    header.Ah = spectral[2] >> 4;
    header.Al = spectral[2] & 15;
    if (p.header->frameType != kProgressiveFrame) {
        header.Ss = header.Ah = header.Al = 0;
        header.Se = kBlockCoefficients - 1;
    }
    consume(stream, 2 * count + 3);
    p.header->scan = header;
    p.header->sawSos = 1;
    return Segment::kDone;
}

// APP14 of Adobe: the colour transform. The segment is read whole, so it has to fit the block.
Segment read_adobe(const MarkerParser &p) {
    StreamBuffer *stream = p.stream;
    const int32_t length = read_segment_length(stream);
    if (length < 2 || !ensure_bytes(stream, length - 2)) FAIL_SEGMENT(", length : %d", length);
    const uint8_t *bytes = unread(stream);
    if (length - 2 > 11 && std::memcmp(bytes, "Adobe", 5) == 0) {
        p.header->sawAdobe = 1;
        p.header->adobeTransform = bytes[11];
    }
    consume(stream, length - 2);
    return Segment::kDone;
}

Segment skip_segment(const MarkerParser &p) {
    const int32_t length = read_segment_length(p.stream);
    if (length < 2 || !skip_bytes(p.stream, length - 2)) FAIL_SEGMENT(", length : %d", length);
    return Segment::kDone;
}

Segment read_segment(const MarkerParser &p, int32_t marker) {
    switch (marker) {
        case kSof0:
        case kSof1:
            return read_frame(p, false);
        case kSof2:
            return read_frame(p, true);
        case kDht:
            return read_huffman_tables(p);
        case kDqt:
            return read_quantisation_tables(p);
        case kDri:
            return read_restart_interval(p);
        case kSos:
            return read_scan(p);
        case kApp0:
            p.header->sawJfif = 1;
            return skip_segment(p);
        case kApp14:
            return read_adobe(p);
        case kCom:
        case kDnl:
            return skip_segment(p);
        default:
            // Arithmetic, lossless and hierarchical frames, restarts, SOI and EOI are passed over.
            return is_app(marker) ? skip_segment(p) : Segment::kDone;
    }
}

// T.81 leaves the colours to JFIF and Adobe. False for a component count that has none.
bool guess_color_space(FrameLayout *frame, const HeaderState *header) {
    const JpegComponent *c = frame->components;
    switch (frame->numComponents) {
        case 1:
            frame->colorSpace = kColorGray;
            return true;
        case 3:
            if (header->sawJfif) {
                frame->colorSpace = kColorYcc;
            } else if (header->sawAdobe) {
                frame->colorSpace = header->adobeTransform ? kColorYcc : kColorRgb;
            } else {
                const bool rgb = c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B';
                frame->colorSpace = rgb ? kColorRgb : kColorYcc;
            }
            return true;
        case 4:
            // Without Adobe it stays unknown, which starting the decompression refuses.
            if (header->sawAdobe) frame->colorSpace = header->adobeTransform ? kColorYcck : kColorCmyk;
            return true;
        default:
            return false;
    }
}

// What follows from sizes and sampling factors.
void complete_layout(FrameLayout *frame) {
    frame->maxH = frame->maxV = 1;
    for (int i = 0; i < frame->numComponents; ++i) {
        const JpegComponent *component = &frame->components[i];
        if (component->hSampling > frame->maxH) frame->maxH = static_cast<uint8_t>(component->hSampling);
        if (component->vSampling > frame->maxV) frame->maxV = static_cast<uint8_t>(component->vSampling);
    }
    frame->mcuWidth = static_cast<uint16_t>(frame->maxH * kBlockSide);
    frame->mcuHeight = static_cast<uint16_t>(frame->maxV * kBlockSide);
    for (int i = 0; i < frame->numComponents; ++i) {
        JpegComponent *component = &frame->components[i];
        const int64_t across = int64_t{frame->imageWidth} * component->hSampling;
        const int64_t down = int64_t{frame->imageHeight} * component->vSampling;
        component->widthInBlocks = static_cast<uint32_t>(ceil_div(across, frame->mcuWidth));
        component->heightInBlocks = static_cast<uint32_t>(ceil_div(down, frame->mcuHeight));
        component->downsampledWidth = static_cast<uint32_t>(ceil_div(across, frame->maxH));
        component->downsampledHeight = static_cast<uint32_t>(ceil_div(down, frame->maxV));
    }
    frame->imcu_rows = static_cast<uint32_t>(ceil_div(frame->imageHeight, frame->mcuHeight));
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

int32_t parse_to_scan(const MarkerParser &p, int32_t *status) {
    *status = kStepOk;
    int32_t last = 0;
    for (;;) {
        const int32_t marker = next_marker(p.stream);
        if (marker < 0) {
            TRACE_MARKER("");
            *status = kStepFailed;
            return last;
        }
        last = marker;
        switch (read_segment(p, marker)) {
            case Segment::kFailed:
                *status = kStepFailed;
                return marker;
            case Segment::kShort:
                // Required: the marker result is 201 and the status stays 200.
                return kStepFailed;
            case Segment::kDone:
                break;
        }
        if (marker == kSos) return marker;
    }
}

void release_header(HeaderState *header) {
    for (int i = 0; i < 4; ++i) {
        os_release(header->quantTables[i]);
        os_release(header->huffDc[i]);
        os_release(header->huffAc[i]);
    }
    *header = {};
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_ParseNextMarker(JpegInfo *info, int32_t *outStatus) {
    close_window(&info->scan);
    return parse_to_scan(parser_of(info), outStatus);
}

int32_t BRIMJ_ParseHeader(JpegInfo *info, void *) {
#define FAIL_HEADER()                                             \
    do {                                                          \
        VOREL_LOG(kTagJpegStat, "[%s:%d]\n", __func__, __LINE__); \
        return kStepFailed;                                       \
    } while (0)
    close_window(&info->scan);
    info->planned = false;
    release_header(&info->header);
    info->own_frame = {};
    info->frame = &info->own_frame;
    info->header.adobeTransform = 1;
    const MarkerParser parser = parser_of(info);
    if (!parser.stream || !parser.io) FAIL_HEADER();
    if (parser.io->kind != kIoOwnedMemory) {
        if (!find_soi(parser.stream)) FAIL_HEADER();
        info->decInfo->imageType = VOREL_IMAGE_JPEG;
    }
    int32_t status;
    const int32_t marker = parse_to_scan(parser, &status);
    if ((status == kStepFailed && marker != kSos) || (status == kStepOk && marker == kEoi)) FAIL_HEADER();
    const HeaderState &header = info->header;
    if (!guess_color_space(&info->own_frame, &header)) FAIL_HEADER();
    if (!header.sawDht) FAIL_HEADER();
    if (header.frameType == kNoFrame) FAIL_HEADER();
    if (!header.sawSos) FAIL_HEADER();
    if (!header.sawDqt) FAIL_HEADER();
    complete_layout(&info->own_frame);
    return kStepOk;
#undef FAIL_HEADER
}

}  // extern "C"
