// Type detection by signature, and the header readers of the formats whose size stands at a fixed place.
#include "frame/detect.h"

#include <cstring>

#include "core/core.h"

#include <vorel/jpeg_decoder.h>

namespace vorel {

HeaderBytes header_bytes(const StreamBuffer *stream) { return {unread(stream), stream->available}; }

namespace {

constexpr int32_t kSignatureBytes = 8;
constexpr int32_t kGifVersionBytes = 3;

constexpr uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};
constexpr int32_t kPngHeaderBytes = 23;  // asked for; one less than the height needs, so its last byte may be missing

constexpr int32_t kBmpHeaderBytes = 26;
constexpr uint32_t kBmpCoreHeader = 12;  // BITMAPCOREHEADER: 16-bit sizes

constexpr int32_t kWbmpMinBytes = 4;
constexpr int32_t kWbmpHeaderBytes = 20;  // type, fixed header and both sizes end before this index
constexpr uint64_t kWbmpMaxSide = 5000;

bool begins_with(const HeaderBytes &header, const uint8_t *signature, int32_t bytes) {
    return header.count >= bytes && std::memcmp(header.bytes, signature, static_cast<size_t>(bytes)) == 0;
}

// Required: the second byte 'M' makes a BMP after any first byte, but for the type byte 0 of a WBMP, and 'B' makes one
// before any second byte. A first byte that opens another signature decides alone once the second byte fits too.
int32_t type_by_signature(const HeaderBytes &header) {
    if (!header.has(0)) return VOREL_IMAGE_NONE;
    const uint32_t first = header.byte(0);
    if (first == 'B') return VOREL_IMAGE_BMP;
    if (!header.has(1)) return VOREL_IMAGE_NONE;
    const uint32_t second = header.byte(1);
    if (first == 0) return second < 0x80 ? VOREL_IMAGE_WBMP : VOREL_IMAGE_NONE;
    if (first == 'G' && second == 'I') {
        const bool gif = header.count >= kGifVersionBytes && header.byte(2) == 'F';
        return gif ? VOREL_IMAGE_GIF : VOREL_IMAGE_NONE;
    }
    if (first == kPngSignature[0] && second == kPngSignature[1]) {
        return begins_with(header, kPngSignature, sizeof kPngSignature) ? VOREL_IMAGE_PNG : VOREL_IMAGE_NONE;
    }
    if (first == 0xFF && second == 0xD8) return VOREL_IMAGE_JPEG;
    return second == 'M' ? VOREL_IMAGE_BMP : VOREL_IMAGE_NONE;
}

// True when at least one byte could be had. Callers look at what came.
bool request(StreamBuffer *stream, int32_t bytes) {
    if (BRIMJ_CheckBuffer(stream, bytes) != 0) return true;
    set_error(kErrorHeader);
    return false;
}

int32_t parse_png(DecInfo *session, StreamBuffer *stream, ImageInfo *info) {
    if (!request(stream, kPngHeaderBytes)) return VOREL_IMAGE_NONE;
    const HeaderBytes header = header_bytes(stream);
    session->imageWidth = header.big_32(16);
    session->imageHeight = header.big_32(20);
    if (info) {
        info->frameCount = 1;
        info->progressive = header.byte(28);
    }
    return VOREL_IMAGE_PNG;
}

// The markers from the input's start. A source that does not go back is walked from the block that is at hand.
bool walk_jpeg_header(DecInfo *session, StreamBuffer *stream, ImageInfo *info) {
    const IoInfo *io = session->ioInfo;
    if (io && io->kind == kIoStream && !io->rewindFn) return BRIMJ_SimpleParser(stream, 8, info) != kStepFailed;
    return BRIMJ_GetHInfo(session->ioInfo, info) != 0;
}

int32_t parse_jpeg(DecInfo *session, StreamBuffer *stream, ImageInfo *info) {
    if (!info) return VOREL_IMAGE_JPEG;
    const uint32_t before = last_error();
    set_error(kErrorNone);
    if (!walk_jpeg_header(session, stream, info)) {
        // The header is the reason, unless memory ran out on the way.
        if (last_error() == kErrorNone) set_error(kErrorHeader);
        return VOREL_IMAGE_NONE;
    }
    set_error(before);
    session->imageWidth = info->width;
    session->imageHeight = info->height;
    info->frameCount = 1;
    return VOREL_IMAGE_JPEG;
}

// A top-down bitmap has a negative height.
uint32_t magnitude(uint32_t value) { return value >> 31 ? 0u - value : value; }

// Which low bytes of a DIB header's size are taken for a header with 32-bit sizes.
struct BmpHeaderRule {
    const char *name;  // in the log line of a refusal
    uint32_t smallest, largest;
};
constexpr BmpHeaderRule kParseRule = {"BRIM_Parse", 40, 255};
constexpr BmpHeaderRule kOffsetRule = {"BRIM_ParseJPEGOffset", 0, 64};

int32_t parse_bmp(DecInfo *session, StreamBuffer *stream, ImageInfo *info, const BmpHeaderRule &rule) {
    if (!request(stream, kBmpHeaderBytes)) return VOREL_IMAGE_NONE;
    const HeaderBytes header = header_bytes(stream);
    const uint32_t header_size = header.byte(14);
    if (header_size == kBmpCoreHeader) {
        session->imageWidth = header.little_16(18);
        session->imageHeight = header.little_16(20);
    } else if (header_size < rule.smallest || header_size > rule.largest) {
        VOREL_TRACE_AS(kTagJpeg, rule.name);
        return VOREL_IMAGE_NONE;
    } else {
        session->imageWidth = magnitude(header.little_32(18));
        session->imageHeight = magnitude(header.little_32(22));
    }
    if (info) info->frameCount = 1;
    return VOREL_IMAGE_BMP;
}

int32_t parse(DecInfo *session, StreamBuffer *stream, ImageInfo *info, const BmpHeaderRule &bmp_rule) {
    if (!session || !stream || !request(stream, kSignatureBytes)) return VOREL_IMAGE_NONE;
    switch (type_by_signature(header_bytes(stream))) {
        case VOREL_IMAGE_GIF:
            return __BRIM_ParserGIF(session, stream, info, 0);
        case VOREL_IMAGE_PNG:
            return parse_png(session, stream, info);
        case VOREL_IMAGE_JPEG:
            return parse_jpeg(session, stream, info);
        case VOREL_IMAGE_WBMP:
            if (info) info->frameCount = 1;
            return __BRIM_ParserWBMP(session, stream);
        case VOREL_IMAGE_BMP:
            return parse_bmp(session, stream, info, bmp_rule);
        default:
            return VOREL_IMAGE_NONE;
    }
}

// One multi-byte integer of a WBMP header (seven bits a byte, most significant first, top bit on all but the last).
// `index` is the byte's place in the header. False when it does not end in time; a missing byte sets the error word.
bool read_wbmp_integer(StreamBuffer *stream, int32_t *index, uint64_t *value) {
    *value = 0;
    while (*index < kWbmpHeaderBytes) {
        const int32_t byte = read_byte(stream);
        if (byte < 0) {
            set_error(kErrorHeader);
            return false;
        }
        ++*index;
        // 18 bytes of seven bits do not fit 64: a value that is too large already stays so.
        if (*value <= kWbmpMaxSide) *value = *value << 7 | (static_cast<uint32_t>(byte) & 0x7F);
        if (byte < 0x80) return true;
    }
    return false;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIM_GetImageType(DecInfo *, StreamBuffer *stream) {
    if (!stream || !request(stream, kSignatureBytes)) return VOREL_IMAGE_NONE;
    return type_by_signature(header_bytes(stream));
}

int32_t BRIM_Parse(DecInfo *session, StreamBuffer *stream, ImageInfo *imageInfo) {
    return parse(session, stream, imageInfo, kParseRule);
}

int32_t BRIM_ParseJPEGOffset(DecInfo *session, StreamBuffer *stream, ImageInfo *imageInfo) {
    return parse(session, stream, imageInfo, kOffsetRule);
}

int32_t __BRIM_ParserWBMP(DecInfo *session, StreamBuffer *stream) {
    if (!session || !stream || !stream->io || stream->io->size < kWbmpMinBytes) return VOREL_IMAGE_NONE;
    int32_t index = 0;
    while (index < 2) {
        if (read_byte(stream) < 0) {
            set_error(kErrorHeader);
            return VOREL_IMAGE_NONE;
        }
        ++index;
    }
    uint64_t width, height;
    if (!read_wbmp_integer(stream, &index, &width) || !read_wbmp_integer(stream, &index, &height)) {
        return VOREL_IMAGE_NONE;
    }
    if (width > kWbmpMaxSide || height > kWbmpMaxSide) return VOREL_IMAGE_NONE;
    session->imageWidth = static_cast<uint32_t>(width);
    session->imageHeight = static_cast<uint32_t>(height);
    return VOREL_IMAGE_WBMP;
}

}  // extern "C"
