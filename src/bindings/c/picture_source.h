// What the calls for any type read: a path, or bytes of the caller's.
#pragma once

#include <vorel/bindings.h>

#include <cstdint>

namespace vorel {

struct PictureSource {
    const void *at;
    int32_t length;  // 0: a path

    bool is_path() const { return length == 0; }
    const char *path() const { return static_cast<const char *>(at); }
    // VOREL_IMAGE_NONE also for raw files.
    int32_t image_type(int32_t *width, int32_t *height) const {
        return is_path() ? VorelGetImageInfoFromFile(path(), 0, 0, width, height)
                         : VorelGetImageInfoFromBuffer(at, 0, length, width, height);
    }
};

struct PictureSide {
    int32_t width, height;
};
// VrDecodeImage without its checks. expected: the size that output has room for, or null; a file may have changed since
// it was measured.
int32_t decode_image(const PictureSource &source, void *output, int32_t color_format, const PictureSide *expected,
                     VrOptions *options);

struct DngTarget;
// Develops at options->sampleSize, which may be cancelled meanwhile, and puts the size in front of the reduction into
// the options. 1 or a status.
int32_t develop_source(const PictureSource &source, const DngTarget &target, VrOptions *options);

}  // namespace vorel
