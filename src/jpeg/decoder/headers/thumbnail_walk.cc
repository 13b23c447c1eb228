// The thumbnail that a header carries: JFIF (T.871 10.1), JFXX, Exif IFD1 (Exif 2.3 4.5.8) or an image resource of
// APP13.
#include <climits>
#include <cstring>

#include "jpeg/decoder/headers/markers.h"
#include "jpeg/tiff_reader.h"

namespace vorel {
namespace {

// Formats and second codes of the record.
constexpr uint32_t kThumbnailRaw = 1;
constexpr uint32_t kThumbnailPalette = 3;
constexpr uint32_t kThumbnailJpeg = 6;
constexpr uint32_t kSecondRgb = 2;

// One segment's data.
struct Bytes {
    const uint8_t *data;
    int64_t size;
    int64_t position;  // of data[0] in the input

    bool holds(int64_t at, int64_t count) const { return at >= 0 && count >= 0 && at + count <= size; }
};

void found(ThumbnailRecord *record, uint32_t width, uint32_t height, uint32_t format, uint32_t second, int64_t offset,
           int64_t length) {
    if (record->found || offset < 0 || length < 0 || offset + length > INT32_MAX) return;
    record->found = 1;
    record->width = width;
    record->height = height;
    record->format = format;
    record->secondCode = second;
    record->offset = static_cast<uint32_t>(offset);
    record->length = static_cast<uint32_t>(length);
}

// APP0: the raw thumbnail of JFIF, or the extension segment.
void look_at_jfif(const Bytes &segment, ThumbnailRecord *record) {
    if (segment.holds(0, 14) && std::memcmp(segment.data, "JFIF", 5) == 0) {
        const uint32_t width = segment.data[12], height = segment.data[13];
        const int64_t bytes = int64_t{3} * width * height;
        if (bytes > 0 && segment.size - 14 == bytes) {
            found(record, width, height, kThumbnailRaw, kSecondRgb, segment.position + 14, bytes);
        }
        return;
    }
    if (!segment.holds(0, 6) || std::memcmp(segment.data, "JFXX", 5) != 0) return;
    const int32_t code = segment.data[5];
    if (code == 16) {
        found(record, 0, 0, kThumbnailJpeg, 0, segment.position + 6, segment.size - 6);
        return;
    }
    if ((code != 17 && code != 19) || !segment.holds(6, 2)) return;
    const uint32_t width = segment.data[6], height = segment.data[7];
    const bool palette = code == 17;
    const int64_t head = 8 + (palette ? 768 : 0);
    const int64_t bytes = int64_t{width} * height * (palette ? 1 : 3);
    if (bytes > 0 && segment.holds(head, bytes)) {
        found(record, width, height, palette ? kThumbnailPalette : kThumbnailRaw, palette ? 0 : kSecondRgb,
              segment.position + head, bytes);
    }
}

// APP13: image resource blocks, "8BIM", id, padded name, size, padded data. 0x040C is the thumbnail.
void look_at_resources(const Bytes &segment, ThumbnailRecord *record) {
    constexpr int32_t kThumbnailResource = 0x040C;
    int64_t at = 14;
    while (segment.holds(at, 8) && std::memcmp(segment.data + at, "8BIM", 4) == 0) {
        const int32_t id = big_endian_16(segment.data + at + 4);
        const int64_t name = 1 + segment.data[at + 6];
        at += 6 + name + (name & 1);
        if (!segment.holds(at, 4)) return;
        const int64_t size = big_endian_32(segment.data + at);
        at += 4;
        if (id == kThumbnailResource && size >= 28 && segment.holds(at, size)) {
            const uint8_t *head = segment.data + at;
            const bool raw = big_endian_32(head) == 0;
            found(record, big_endian_32(head + 4), big_endian_32(head + 8), raw ? kThumbnailRaw : kThumbnailJpeg, 0,
                  segment.position + at + 28, size - 28);
            return;
        }
        at += size + (size & 1);
    }
}

// What IFD1 says of the thumbnail.
struct ThumbnailTags {
    uint32_t width, height, compression, photometric, strip_offset, strip_length, jpeg_offset, jpeg_length;
};

void take_tag(ThumbnailTags *tags, uint32_t tag, uint32_t value) {
    switch (tag) {
        case 256:
            tags->width = value;
            break;
        case 257:
            tags->height = value;
            break;
        case 259:
            tags->compression = value;
            break;
        case 262:
            tags->photometric = value;
            break;
        case 273:
            tags->strip_offset = value;
            break;
        case 279:
            tags->strip_length = value;
            break;
        case 513:
            tags->jpeg_offset = value;
            break;
        case 514:
            tags->jpeg_length = value;
            break;
        default:
            break;
    }
}

// APP1: "Exif", two zeros, a TIFF header, IFD0, IFD1.
void look_at_exif(const Bytes &segment, ThumbnailRecord *record) {
    if (!segment.holds(0, 14) || std::memcmp(segment.data, "Exif\0", 6) != 0) return;
    const Bytes body = {segment.data + 6, segment.size - 6, segment.position + 6};
    const TiffReader tiff(body.data, body.size);
    const int64_t ifd0 = tiff.first_directory();
    const int64_t ifd1 = ifd0 ? tiff.next_directory(ifd0) : 0;
    if (ifd1 == 0) return;
    ThumbnailTags tags = {};
    tiff.for_entries(ifd1, [&tags](uint32_t tag, uint32_t value) { take_tag(&tags, tag, value); });
    if (tags.jpeg_length && tiff.holds(tags.jpeg_offset, tags.jpeg_length)) {
        found(record, tags.width, tags.height, kThumbnailJpeg, 0, body.position + tags.jpeg_offset, tags.jpeg_length);
    } else if (tags.compression == 1 && tags.strip_length && tiff.holds(tags.strip_offset, tags.strip_length)) {
        found(record, tags.width, tags.height, kThumbnailRaw, tags.photometric, body.position + tags.strip_offset,
              tags.strip_length);
    }
}

// Hands a segment's data, which may be longer than a block, to its reader and passes over it. False at the end of the
// input.
bool walk_segment(StreamBuffer *stream, int32_t marker, ThumbnailRecord *record) {
    const int32_t length = read_segment_length(stream);
    if (length < 2) return false;
    const int32_t size = length - 2;
    if (record->found || (marker != kApp0 && marker != kApp1 && marker != kApp13)) return skip_bytes(stream, size);
    const int64_t position = int64_t{stream->totalRead} - stream->available;
    OsBlock block(os_allocate(static_cast<size_t>(size) + 1));
    if (!block) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    const Bytes segment = {block.as<uint8_t>(), size, position};
    if (read_bytes(stream, block.as<uint8_t>(), size) != size) return false;
    if (marker == kApp0) look_at_jfif(segment, record);
    if (marker == kApp1) look_at_exif(segment, record);
    if (marker == kApp13) look_at_resources(segment, record);
    return true;
}

bool has_segment(int32_t marker) {
    return marker == kSof0 || marker == kSof1 || marker == kSof2 || marker == kDht || marker == kDqt ||
           marker == kDri || marker == kCom || marker == kDnl || is_app(marker);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

// Fills the record with the first thumbnail before the first scan. SOF leaves the picture's sizes in the first words
// where no thumbnail was found. 200, or 201 for a stream that is no JPEG or ends.
int32_t BRIMJ_ParseFileHeader(StreamBuffer *stream, int32_t selector, ThumbnailRecord *record) {
    if ((selector != 8 && selector != 2) || !record || !find_soi(stream)) return kStepFailed;
    std::memset(record, 0, sizeof *record);
    for (;;) {
        const int32_t marker = next_marker(stream);
        if (marker < 0) return kStepFailed;
        if (marker == kSos) return kStepOk;
        if ((marker == kSof0 || marker == kSof1 || marker == kSof2) && !record->found && ensure_bytes(stream, 7)) {
            const int32_t width = big_endian_16(unread(stream) + 5), height = big_endian_16(unread(stream) + 3);
            if (width < 1 || width > kMaxJpegSide || height < 1 || height > kMaxJpegSide) return kStepFailed;
            record->width = static_cast<uint32_t>(width);
            record->height = static_cast<uint32_t>(height);
        }
        if (has_segment(marker) && !walk_segment(stream, marker, record)) return kStepFailed;
    }
}

}  // extern "C"
