// Raw files: what they say of themselves, and their pixels, behind the checks of this interface.
#include "dng/dng.h"

#include <vorel/bindings.h>

#include "bindings/c/binding_log.h"
#include "bindings/c/picture_source.h"

namespace vorel {
namespace {

const uint8_t *as_bytes(const void *bytes) { return static_cast<const uint8_t *>(bytes); }

// Sides below 1: the caller does not say how large output is.
DngTarget target_of(void *output, int32_t width, int32_t height) {
    const bool stated = width > 0 && height > 0;
    return {static_cast<uint8_t *>(output), nullptr, stated ? int64_t{width} * height : INT64_MAX};
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrDecodeDNGFile(const char *path, void *output, int32_t width, int32_t height, VrOptions *options) {
    if (!path || !output || !options) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return develop_source({path, 0}, target_of(output, width, height), options);
}

int32_t VrDecodeDNGByteArray(const void *bytes, int32_t length, void *output, int32_t width, int32_t height,
                             VrOptions *options) {
    if (!bytes || !output || !options) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    // Bytes without a length would be a path.
    if (length < 1) return VDNG_EMPTY;
    return develop_source({bytes, length}, target_of(output, width, height), options);
}

int32_t VrParseMetadata(const char *path, VrMetadata *metadata) {
    if (!path || !metadata) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    int32_t width, height;
    if (VorelGetImageInfoFromFile(path, 0, 0, &width, &height) != VOREL_IMAGE_NONE) return 0;
    return VDngParseMetaData(path, metadata);
}

int32_t VrParseMetadataBA(const void *bytes, int32_t length, VrMetadata *metadata) {
    if (!bytes || !metadata) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return VDngParseMetaDataBA(as_bytes(bytes), length, metadata);
}

int32_t VrParseDNGPreview(const void *bytes, int32_t length, int32_t *width, int32_t *height) {
    if (!bytes || !width || !height) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return parseDNGPreviewImageBuffer(as_bytes(bytes), length, width, height) >= 0;
}

int32_t VrDecodeDNGPreview(const void *bytes, int32_t length, void *output, int32_t width, int32_t height) {
    if (!bytes || !output) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    return decodeDNGPreviewImageBuffer(as_bytes(bytes), length, static_cast<uint8_t *>(output), width, height) >= 0;
}

}  // extern "C"
