// The table of decoders by image type, and the other modules' work that the entries use.
#include "frame/decoders.h"

#include "jpeg/decoder/decoder.h"
#include "png/png.h"
#include "raster/raster.h"
#include "util/util.h"

namespace vorel {
namespace {

using DecodeFn = int32_t (*)(DecInfo *session, void *output, int32_t width, int32_t height, int32_t sample_size);

int32_t decode_gif(DecInfo *session, void *output, int32_t width, int32_t height, int32_t) {
    return VORELBRIMI_DecodeGIF(session, output, width, height);
}

int32_t decode_wbmp(DecInfo *session, void *output, int32_t width, int32_t height, int32_t) {
    return VORELBRIMI_DecodeWBMP(session, output, width, height);
}

int32_t decode_bmp(DecInfo *session, void *output, int32_t width, int32_t height, int32_t) {
    return VORELBRIMI_DecodeBMP(session, output, width, height);
}

constexpr int32_t kImageTypes = VOREL_IMAGE_ANIMATED_GIF + 1;

// By image type. PNG has no entry: see decode_png.
constexpr DecodeFn kDecoders[kImageTypes] = {
    nullptr,                // VOREL_IMAGE_NONE
    VORELBRIM_PDecodeJPEG,  // VOREL_IMAGE_JPEG
    decode_bmp,             // VOREL_IMAGE_BMP
    nullptr,                // VOREL_IMAGE_PNG
    decode_gif,             // VOREL_IMAGE_GIF
    decode_wbmp,            // VOREL_IMAGE_WBMP
    decode_gif,             // VOREL_IMAGE_ANIMATED_GIF: its first picture
};

}  // namespace

int32_t decode_by_type(DecInfo *session, void *output, int32_t width, int32_t height, int32_t sample_size) {
    const int32_t type = session->imageType;
    if (type < 0 || type >= kImageTypes || !kDecoders[type]) return 0;
    return kDecoders[type](session, output, width, height, sample_size);
}

int32_t decode_png(const void *source, int32_t length, void *output, int32_t width, int32_t height, int32_t sample_size,
                   int32_t color_format) {
    return decodeVPNG(source, length, length ? vpng_read_fn : nullptr, output, width, height, sample_size,
                      color_format);
}

int32_t rotate_in_place(void *pixels, int32_t width, int32_t height, int32_t color_format, int32_t degrees) {
    return vorel_rotate(pixels, width, height, color_format, degrees);
}

}  // namespace vorel
