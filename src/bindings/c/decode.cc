// Whole pictures: a JPEG or a PNG into the caller's memory, any type that the interface has into new memory.
#include <vorel/bindings.h>
#include <vorel/jpeg_encoder.h>

#include <algorithm>

#include "bindings/c/binding_log.h"
#include "bindings/c/owned_session.h"
#include "bindings/c/picture_bytes.h"
#include "bindings/c/picture_source.h"
#include "bindings/c/running.h"
#include "core/path_source.h"
#include "dng/dng.h"
#include "frame/decoders.h"

namespace vorel {
namespace {

OwnedSession open_source(const PictureSource &source, int32_t color_format) {
    if (!source.is_path()) {
        return OwnedSession(
            VORELBRIM_CreateDecInfo(kIoMemory, const_cast<void *>(source.at), source.length, color_format, 0));
    }
    const int32_t size = file_size(kLogError, kTagFactory, source.path());
    return OwnedSession(size > 0 ? open_file(source.path(), size, color_format, 0) : nullptr);
}

// The size in front of the reduction, as a develop reports it.
void report_dng_size(VrOptions *options, int32_t width, int32_t height) {
    options->width = width;
    options->height = height;
    options->fileType = VOREL_IMAGE_NONE;
}

void *develop(const PictureSource &source, VrOptions *options) {
    if (options->justBounds) {
        VDngMetaData metadata;
        const int32_t parsed =
            source.is_path() ? VDngParseMetaData(source.path(), &metadata)
                             : VDngParseMetaDataBA(static_cast<const uint8_t *>(source.at), source.length, &metadata);
        if (parsed == 1 && metadata.width != 0 && metadata.height != 0) {
            // The crop is what is developed.
            report_dng_size(options,
                            metadata.cropWidth >= 0 ? metadata.cropWidth : static_cast<int32_t>(metadata.width),
                            metadata.cropHeight >= 0 ? metadata.cropHeight : static_cast<int32_t>(metadata.height));
        }
        return nullptr;
    }
    if (options->sampleSize == 0) return nullptr;
    uint8_t *pixels = nullptr;
    return develop_source(source, {nullptr, &pixels, 0}, options) == 1 ? pixels : nullptr;
}

void *decode_source(const PictureSource &source, VrOptions *options) {
    int32_t width = 0, height = 0;
    const int32_t type = source.image_type(&width, &height);
    if (type == VOREL_IMAGE_NONE) return develop(source, options);
    if (type != VOREL_IMAGE_JPEG && type != VOREL_IMAGE_PNG) return nullptr;
    options->width = width;
    options->height = height;
    options->fileType = type;
    if (options->justBounds || options->sampleSize == 0) return nullptr;
    const PictureSide side = {reduced_side(width, options->sampleSize), reduced_side(height, options->sampleSize)};
    size_t bytes;
    if (!picture_bytes(options->colorFormat, side.width, side.height, &bytes)) return nullptr;
    // What a decoder does not write, of a stream that broke off say, is black.
    OsBlock pixels(os_allocate_zeroed(bytes));
    if (!pixels) return nullptr;
    use_large_pages(pixels.as<void>(), bytes);
    if (!decode_image(source, pixels.as<void>(), options->colorFormat, &side, options)) return nullptr;
    return pixels.release();
}

}  // namespace

int32_t decode_image(const PictureSource &source, void *output, int32_t color_format, const PictureSide *expected,
                     VrOptions *options) {
    OwnedSession session = open_source(source, color_format);
    ImageInfo info;
    const int32_t type = session ? VORELBRIM_Parser(session.get(), &info) : VOREL_IMAGE_NONE;
    if (type != VOREL_IMAGE_JPEG && type != VOREL_IMAGE_PNG) return 0;
    const int32_t sample = std::max(options->sampleSize, 1);
    const PictureSide side = {reduced_side(static_cast<int32_t>(info.width), sample),
                              reduced_side(static_cast<int32_t>(info.height), sample)};
    if (expected && (side.width != expected->width || side.height != expected->height)) return 0;
    if (type == VOREL_IMAGE_PNG) {
        session.reset();
        return decode_png(source.at, source.length, output, side.width, side.height, sample, color_format);
    }
    const RunningCall running(options, session.get(), type);
    return VORELBRIM_PDecodeJPEG(session.get(), output, side.width, side.height, sample);
}

int32_t develop_source(const PictureSource &source, const DngTarget &target, VrOptions *options) {
    decInfo info = {};
    int32_t status;
    {
        const RunningCall running(options, &info, VOREL_IMAGE_NONE);
        status = source.is_path() ? dng_decode_file(source.path(), options->sampleSize, target, &info)
                                  : dng_decode_buffer(static_cast<const uint8_t *>(source.at), source.length,
                                                      options->sampleSize, target, &info);
    }
    if (info.width != 0) report_dng_size(options, static_cast<int32_t>(info.width), static_cast<int32_t>(info.height));
    return status;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrDecodeImage(const void *pathOrBytes, void *output, int32_t length, int32_t colorFormat, VrOptions *options) {
    if (!pathOrBytes || !output || !options || length < 0) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    const int32_t result = decode_image({pathOrBytes, length}, output, colorFormat, nullptr, options);
    if (!result) VOREL_ERROR_TRACE(kTagFactory);
    return result;
}

void *decodeFile(const char *path, VrOptions *options) {
    if (!path || !options) {
        VOREL_ERROR_TRACE(kTagFactory);
        return nullptr;
    }
    return decode_source({path, 0}, options);
}

void *decodeByteArray(const void *bytes, int32_t length, VrOptions *options) {
    if (!bytes || length < 1 || !options) {
        VOREL_ERROR_TRACE(kTagFactory);
        return nullptr;
    }
    return decode_source({bytes, length}, options);
}

int32_t compressToFile(void *pixels, int32_t width, int32_t height, int32_t type, const char *path, int32_t quality) {
    if (!pixels || !path) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return encodeJPEGToFile(pixels, width, height, type, path, quality);
}

int32_t compressToByte(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer, int32_t *size,
                       int32_t quality) {
    if (!pixels || !buffer || !size) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return encodeJPEGToBuffer(pixels, width, height, type, buffer, size, quality);
}

}  // extern "C"
