#include "bindings/java/operations/encode.h"

#include <vorel/jpeg_encoder.h>

#include <algorithm>

namespace vorel {
namespace {

constexpr int32_t kRowsForStrips = 512;
constexpr int32_t kLeastCapacity = 1 << 16;

// The formats of which strips are encoded side by side.
bool has_strips(const EncodeRequest &request) {
    switch (request.color_format) {
        case COLOR_YUV420:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
        case COLOR_YUYV:
            return request.height >= kRowsForStrips;
        case COLOR_NV21:
        case COLOR_NV12:
            // Tables of strips are not measured for these.
            return request.height >= kRowsForStrips && !request.optimize;
        default:
            return false;
    }
}

}  // namespace

uint8_t *encode_to_memory(const EncodeRequest &request, int32_t *size) {
    if (!request.pixels || request.width < 1 || request.height < 1) return nullptr;
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(request.width);
    raw.height = request.height;
    raw.fullHeight = static_cast<uint32_t>(request.height);
    raw.format = static_cast<uint32_t>(request.color_format);
    raw.pixels = static_cast<uint8_t *>(request.pixels);
    raw.exif = request.exif;
    raw.optimizeHuffman = request.optimize;
    // A byte for four pixels is what a photograph of good quality takes.
    const int64_t capacity = std::clamp<int64_t>(int64_t{request.width} * request.height / 4, kLeastCapacity, 1 << 28);
    uint8_t *stream = static_cast<uint8_t *>(os_allocate(static_cast<size_t>(capacity)));
    if (!stream) return nullptr;
    int32_t done;
    if (has_strips(request)) {
        *size = static_cast<int32_t>(capacity);
        done = VORELBRIM_PEncodeJpegToBuffer(&raw, &stream, size, request.quality);
    } else {
        HuffmanSpec spec = {};
        spec.quality = static_cast<uint32_t>(std::clamp(request.quality, 1, 100));
        uint32_t bytes = static_cast<uint32_t>(capacity);
        done = rim_enc_jpeg_to_buffer_ex(&raw, &stream, &bytes, &spec);
        *size = static_cast<int32_t>(bytes);
    }
    if (done == 1 && stream && *size > 0) return stream;
    os_release(stream);
    return nullptr;
}

int32_t encode_to_file(const EncodeRequest &request, const char *path) {
    int32_t size = 0;
    const OsBlock stream(encode_to_memory(request, &size));
    if (!stream) return 0;
    FILE *file = VORELBRIM_OsFopen(path, "wb");
    if (!file) return 0;
    const bool written = VORELBRIM_OsFwrite(stream.as<void>(), 1, size, file) == size;
    // What the system still holds back is known when the file is closed.
    return VORELBRIM_OsFclose(file) == 0 && written;
}

}  // namespace vorel
