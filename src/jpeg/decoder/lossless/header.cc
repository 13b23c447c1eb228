#include "jpeg/decoder/lossless/header.h"

#include <cstring>

#include "core/core.h"
#include "jpeg/jpeg.h"

namespace vorel {
namespace {

constexpr uint8_t kLosslessFrame = 0xC3;
constexpr int32_t kMostComponents = 4;

// What the segments say, before the scan's header puts it together.
struct Segments {
    bool has_frame = false;
    uint8_t ids[kMostComponents] = {};
    RawHuffTable tables[4] = {};
    bool defined[4] = {};
    uint32_t interval = 0;  // MCUs
};

// Cursor over a segment's payload. Reads beyond it give 0 and make it bad.
class Payload {
  public:
    Payload(const uint8_t *data, size_t length) : data_(data), left_(length) {}
    uint32_t byte() {
        if (left_ == 0) {
            good_ = false;
            return 0;
        }
        --left_;
        return *data_++;
    }
    uint32_t word() {
        const uint32_t high = byte();
        return high << 8 | byte();
    }
    bool good() const { return good_; }
    size_t left() const { return left_; }

  private:
    const uint8_t *data_;
    size_t left_;
    bool good_ = true;
};

// T.81 B.2.2.
bool read_frame(Payload segment, Segments *segments, VorelLosslessFrame *frame) {
    if (segments->has_frame) return false;
    segments->has_frame = true;
    frame->precision = static_cast<int32_t>(segment.byte());
    frame->height = static_cast<int32_t>(segment.word());
    frame->width = static_cast<int32_t>(segment.word());
    frame->components = static_cast<int32_t>(segment.byte());
    if (frame->precision < 2 || frame->precision > 16 || frame->height == 0 || frame->width == 0) return false;
    if (frame->components < 1 || frame->components > kMostComponents) return false;
    for (int32_t i = 0; i < frame->components; ++i) {
        segments->ids[i] = static_cast<uint8_t>(segment.byte());
        const uint32_t sampling = segment.byte();
        segment.byte();
        if (sampling != 0x11) return false;
    }
    return segment.good();
}

// T.81 B.2.4.2. Tables of the other class are of no use here.
bool read_tables(Payload segment, Segments *segments) {
    while (segment.left() != 0) {
        const uint32_t kind = segment.byte();
        RawHuffTable table = {};
        uint32_t count = 0;
        for (uint8_t &codes : table.counts) count += codes = static_cast<uint8_t>(segment.byte());
        if (count > 256) return false;
        for (uint32_t i = 0; i < count; ++i) table.symbols[i] = static_cast<uint8_t>(segment.byte());
        if (!segment.good()) return false;
        if (kind > 3) continue;
        segments->tables[kind] = table;
        segments->defined[kind] = true;
    }
    return true;
}

// T.81 B.2.3 with H.1.1 and the values of table B.3.
bool read_scan(Payload segment, const Segments &segments, LosslessHeader *header) {
    const int32_t components = header->frame.components;
    if (!segments.has_frame || static_cast<int32_t>(segment.byte()) != components) return false;
    for (int32_t i = 0; i < components; ++i) {
        const uint32_t id = segment.byte(), table = segment.byte() >> 4;
        if (id != segments.ids[i] || table > 3 || !segments.defined[table]) return false;
        header->tables[i] = segments.tables[table];
    }
    header->predictor = static_cast<int32_t>(segment.byte());
    segment.byte();
    header->point_transform = static_cast<int32_t>(segment.byte() & 15);
    const uint32_t width = static_cast<uint32_t>(header->frame.width);
    if (segments.interval % width != 0) return false;
    header->interval_rows = segments.interval / width;
    return segment.good() && header->predictor >= 1 && header->predictor <= 7 &&
           header->point_transform < header->frame.precision;
}

}  // namespace

bool read_lossless_header(const uint8_t *data, size_t length, LosslessHeader *header) {
    if (!data || length < 4 || data[0] != 0xFF || data[1] != kSoi) return false;
    Segments segments;
    *header = {};
    const uint8_t *at = data + 2, *const end = data + length;
    while (end - at >= 4) {
        if (at[0] != 0xFF) return false;
        const uint8_t marker = at[1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        const size_t bytes = static_cast<size_t>(big_endian_16(at + 2));
        if (bytes < 2 || bytes > static_cast<size_t>(end - at) - 2) return false;
        const Payload segment(at + 4, bytes - 2);
        at += 2 + bytes;
        switch (marker) {
            case kLosslessFrame:
                if (!read_frame(segment, &segments, &header->frame)) return false;
                break;
            case kDht:
                if (!read_tables(segment, &segments)) return false;
                break;
            case kDri:
                segments.interval = Payload(segment).word();
                break;
            case kSos:
                header->scan = at;
                return read_scan(segment, segments, header);
            default:
                // Other frames; segments of applications and comments are passed over.
                if (marker >= kSof0 && marker <= 0xCF && marker != 0xC8 && marker != 0xCC) return false;
                break;
        }
    }
    return false;
}

}  // namespace vorel
