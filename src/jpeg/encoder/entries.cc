// The entries that applications call: pixels in one block, planes, resized pixels.
#include <vorel/jpeg_decoder.h>
#include <vorel/jpeg_encoder.h>

#include "jpeg/encoder/arguments.h"
#include "util/util.h"

namespace vorel {
namespace {

// Memory, or a file.
struct Destination {
    const char *path;
    uint8_t **buffer;
    int32_t *size;
    bool is_file;
};
Destination to_file(const char *path) { return {path, nullptr, nullptr, true}; }
Destination to_buffer(uint8_t **buffer, int32_t *size) { return {nullptr, buffer, size, false}; }

int32_t in_strips(RawInfo *raw, const Destination &to, int32_t quality) {
    return to.is_file ? DBG_VORELBRIM_PEncodeJpegToFile(raw, to.path, quality)
                      : VORELBRIM_PEncodeJpegToBuffer(raw, to.buffer, to.size, quality);
}

int32_t in_one(RawInfo *raw, const Destination &to, int32_t quality) {
    return to.is_file ? VORELBRIM_EncodeJpegToFile(raw, to.path, quality)
                      : VORELBRIM_EncodeJpegToBuffer(raw, to.buffer, to.size, quality);
}

RawInfo record(int32_t width, int32_t height, int32_t format) {
    RawInfo raw = {};
    // A side below 1 becomes one that every entry refuses.
    raw.width = width < 0 ? 0 : static_cast<uint32_t>(width);
    raw.height = height;
    raw.format = static_cast<uint32_t>(format);
    return raw;
}

RawInfo record_of_pixels(void *pixels, int32_t width, int32_t height, int32_t format) {
    RawInfo raw = record(width, height, format);
    raw.pixels = static_cast<uint8_t *>(pixels);
    return raw;
}

RawInfo record_of_planes(void *y, void *u, void *v, int32_t width, int32_t height, int32_t format) {
    RawInfo raw = record(width, height, format);
    raw.planeY = static_cast<uint8_t *>(y);
    raw.planeU = static_cast<uint8_t *>(u);
    raw.planeV = static_cast<uint8_t *>(v);
    return raw;
}

bool is_taken(int32_t type) {
    return type == COLOR_YUV420 || type == COLOR_RGBA8888 || type == COLOR_BGRA8888 || type == COLOR_YUYV ||
           type == COLOR_NV21 || type == COLOR_NV12;
}

// Pixels in one block, of a type that is taken.
int32_t encode_pixels(void *pixels, int32_t width, int32_t height, int32_t type, const Destination &to,
                      int32_t quality) {
    RawInfo raw = record_of_pixels(pixels, width, height, type);
    raw.formatTag = type == COLOR_YUYV ? 3 : raw.format;
    return in_strips(&raw, to, quality);
}

// `refusal` is a format for the type.
int32_t encode_or_refuse(void *pixels, int32_t width, int32_t height, int32_t type, const Destination &to,
                         int32_t quality, const char *refusal) {
    if (is_taken(type)) return encode_pixels(pixels, width, height, type, to, quality);
    VOREL_LOG(kTagImageUtil, refusal, type);
    return 0;
}

void log_scaled_refusal(const char *entry, int32_t type) {
    switch (type) {
        case COLOR_RGBA8888:
            VOREL_LOG(kTagImageUtil, "VJPEG %s - not support rgba8888 resize", entry);
            break;
        case COLOR_BGRA8888:
            VOREL_LOG(kTagImageUtil, "VJPEG %s - not support bgra8888 resize", entry);
            break;
        case COLOR_YUYV:
            VOREL_LOG(kTagImageUtil, "VJPEG %s - not support yuyv8888 resize", entry);
            break;
        case COLOR_NV12:
            VOREL_LOG(kTagImageUtil, "VJPEG %s - not support nv12 resize", entry);
            break;
        default:
            VOREL_LOG(kTagImageUtil, "VJPEG %s not support type : %d", entry, type);
    }
}

struct Size {
    int32_t width, height;
    bool operator==(const Size &) const = default;
};

int32_t encode_scaled(void *pixels, Size source, Size target, int32_t type, const Destination &to, int32_t quality,
                      const char *entry) {
    const bool same = source == target;
    if (same) VOREL_LOG(kTagImageUtil, "VJPEG %s - %s", entry, BRIMJ_GetVersion());
    if (type != COLOR_YUV420 && type != COLOR_NV21) {
        log_scaled_refusal(entry, type);
        return 0;
    }
    if (same) return encode_pixels(pixels, target.width, target.height, type, to, quality);
    const bool sound = pixels && source.width > 0 && source.height > 0 && target.width > 0 && target.height > 0 &&
                       target.width <= kMostSide && target.height <= kMostSide;
    if (!sound) return 0;
    const uint64_t width = static_cast<uint32_t>(target.width), height = static_cast<uint32_t>(target.height);
    const uint64_t bytes = width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2);
    const OsBlock resized(os_allocate(static_cast<size_t>(bytes)));
    if (!resized) return 0;
    const auto *const frame = static_cast<const uint8_t *>(pixels);
    if (!resize_yuv420(type == COLOR_NV21, frame, resized.as<uint8_t>(), source.width, source.height, target.width,
                       target.height)) {
        return 0;
    }
    return encode_pixels(resized.as<void>(), target.width, target.height, type, to, quality);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_EncodeJpegToFile(RawInfo *raw, const char *path, int32_t quality) {
    if (!is_complete(raw, __func__)) return 0;
    if (!path) return refuse(__func__);
    return rim_enc_jpeg_to_file(raw, path, quality);
}

int32_t VORELBRIM_EncodeJpegToBuffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality) {
    if (!is_complete(raw, __func__)) return 0;
    if (!buffer || !*buffer || !size) return refuse(__func__);
    return rim_enc_jpeg_to_buffer(raw, buffer, size, quality);
}

int32_t encodeJPEGToFile(void *pixels, int32_t width, int32_t height, int32_t type, const char *path, int32_t quality) {
    VOREL_LOG(kTagImageUtil, "VJPEG encodeJPEGToFile - %s\n", BRIMJ_GetVersion());
    return encode_or_refuse(pixels, width, height, type, to_file(path), quality,
                            "VJPEG encodeJPEGToFile not support type : %d\n");
}

int32_t encodeJPEGToFileOpt(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                            int32_t quality) {
    VOREL_LOG(kTagImageUtil, "VJPEG encodeJPEGToFileOpt - %s", BRIMJ_GetVersion());
    return encode_or_refuse(pixels, width, height, type, to_file(path), quality,
                            "VJPEG encodeJPEGToFileOpt not support type : %d");
}

int32_t encodeJPEGToBuffer(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer, int32_t *size,
                           int32_t quality) {
    VOREL_LOG(kTagImageUtil, "VJPEG encodeJPEGToBuffer - %s", BRIMJ_GetVersion());
    return encode_or_refuse(pixels, width, height, type, to_buffer(buffer, size), quality,
                            "VJPEG encodeJPEGToBuffer not support type : %d");
}

int32_t encodeJPEGToBufferOpt(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                              int32_t *size, int32_t quality) {
    VOREL_LOG(kTagImageUtil, "VJPEG encodeJPEGToBufferOpt - ver : %s, wdt : %d, hgt : %d, type : %d, quality : %d",
              BRIMJ_GetVersion(), width, height, type, quality);
    return encode_or_refuse(pixels, width, height, type, to_buffer(buffer, size), quality,
                            "VJPEG encodeJPEGToBufferOpt not support type : %d");
}

int32_t encodeScaledJPEGToFile(void *pixels, int32_t sourceWidth, int32_t sourceHeight, int32_t width, int32_t height,
                               int32_t type, const char *path, int32_t quality) {
    return encode_scaled(pixels, {sourceWidth, sourceHeight}, {width, height}, type, to_file(path), quality, __func__);
}

int32_t encodeScaledJPEGToBuffer(void *pixels, int32_t sourceWidth, int32_t sourceHeight, int32_t width, int32_t height,
                                 int32_t type, uint8_t **buffer, int32_t *size, int32_t quality) {
    return encode_scaled(pixels, {sourceWidth, sourceHeight}, {width, height}, type, to_buffer(buffer, size), quality,
                         __func__);
}

int32_t VjpgEncodeToFile(const char *path, void *pixels, int32_t width, int32_t height, int32_t format,
                         int32_t quality) {
    RawInfo raw = record_of_pixels(pixels, width, height, format);
    return in_strips(&raw, to_file(path), quality);
}

int32_t VjpgEncodeToFile_YUV(const char *path, void *y, void *u, void *v, int32_t width, int32_t height, int32_t format,
                             int32_t quality) {
    RawInfo raw = record_of_planes(y, u, v, width, height, format);
    return in_strips(&raw, to_file(path), quality);
}

int32_t VjpgEncodeToBuffer(uint8_t **buffer, int32_t *size, void *pixels, int32_t width, int32_t height, int32_t format,
                           int32_t quality) {
    RawInfo raw = record_of_pixels(pixels, width, height, format);
    return in_strips(&raw, to_buffer(buffer, size), quality);
}

int32_t VjpgEncodeToBuffer_YUV(uint8_t **buffer, int32_t *size, void *y, void *u, void *v, int32_t width,
                               int32_t height, int32_t format, int32_t quality) {
    if (format != COLOR_YUV420) return 0;
    RawInfo raw = record_of_planes(y, u, v, width, height, format);
    return in_one(&raw, to_buffer(buffer, size), quality);
}

int32_t VjpgEncodeToFile_NV(const char *path, void *y, void *uv, int32_t width, int32_t height, int32_t format,
                            int32_t quality) {
    if (format != COLOR_NV21 && format != COLOR_NV12) return 0;
    RawInfo raw = record_of_planes(y, uv, nullptr, width, height, format);
    return in_one(&raw, to_file(path), quality);
}

int32_t VjpgEncodeToBuffer_NV(uint8_t **buffer, int32_t *size, void *y, void *uv, int32_t width, int32_t height,
                              int32_t format, int32_t quality) {
    if (format != COLOR_NV21 && format != COLOR_NV12) return 0;
    RawInfo raw = record_of_planes(y, uv, nullptr, width, height, format);
    return in_strips(&raw, to_buffer(buffer, size), quality);
}

}  // extern "C"
