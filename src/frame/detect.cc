// Type detection by signature.
#include "frame/detect.h"

#include <cstring>

#include "core/core.h"

namespace vorel {

HeaderBytes header_bytes(const StreamBuffer *stream) { return {unread(stream), stream->available}; }

namespace {

constexpr int32_t kSignatureBytes = 8;
constexpr int32_t kGifVersionBytes = 3;

constexpr uint8_t kPngSignature[] = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};

bool begins_with(const HeaderBytes &header, const uint8_t *signature, int32_t bytes) {
    return header.count >= bytes && std::memcmp(header.bytes, signature, static_cast<size_t>(bytes)) == 0;
}

// Required: the second byte 'M' makes a BMP after any first byte, but for the type byte 0 of a WBMP, and 'B' makes one
// before any second byte. A first byte that opens another signature decides alone once the second byte fits too.
}  // namespace

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

bool request_header(StreamBuffer *stream, int32_t bytes) {
    if (BRIMJ_CheckBuffer(stream, bytes) != 0) return true;
    set_error(kErrorHeader);
    return false;
}

bool request_signature(StreamBuffer *stream) { return request_header(stream, kSignatureBytes); }

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIM_GetImageType(DecInfo *, StreamBuffer *stream) {
    if (!stream || !request_signature(stream)) return VOREL_IMAGE_NONE;
    return type_by_signature(header_bytes(stream));
}

}  // extern "C"
