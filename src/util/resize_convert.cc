// Resizes into memory of their own, followed by a conversion to RGBA or BGRA.
#include "core/core.h"
#include "util/resize.h"

namespace vorel {
namespace {

using Converter = void (*)(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);

// Room for a 4:2:0 frame; null for sizes that make no frame.
void *allocate_between(int32_t width, int32_t height) {
    size_t bytes;
    if (width < 1 || height < 1 ||
        !block_fits((static_cast<uint64_t>(width) + 1) * (static_cast<uint64_t>(height) + 1), 2, &bytes))
        return nullptr;
    return os_allocate(bytes);
}

void resize_and_convert(const ResizeFamily &family, ResizeRequest request, Converter converter) {
    if (!request.dst || !packed_frame_fits(request.dst_width, request.dst_height, 4)) return;
    const OsBlock between(allocate_between(request.dst_width, request.dst_height));
    if (!between) return;
    uint8_t *dst = request.dst;
    request.dst = between.as<uint8_t>();
    if (resize(family, ResizeWay::kChosen, request)) converter(request.dst_width, request.dst_height, request.dst, dst);
}

// The whole canvas is converted.
void resize_into_and_convert(const ResizeFamily &family, ResizeRequest request, const ResizeCanvas *canvas,
                             Converter converter) {
    if (!canvas || !canvas->pixels || !packed_frame_fits(canvas->canvasWidth, canvas->canvasHeight, 4)) return;
    const OsBlock between(allocate_between(canvas->canvasWidth, canvas->canvasHeight));
    if (!between) return;
    ResizeCanvas inner = *canvas;
    inner.pixels = between.as<uint8_t>();
    request.canvas = &inner;
    if (resize(family, ResizeWay::kChosen, request))
        converter(canvas->canvasWidth, canvas->canvasHeight, inner.pixels, canvas->pixels);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

#define VOREL_RESIZE_PAIRS_TO(NAME, CONVERTER)                                                                       \
    void NAME(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,                \
              int32_t dstWidth, int32_t dstHeight) {                                                                 \
        resize_and_convert(kPairsFamily, {y, uv, nullptr, srcWidth, srcHeight, dst, dstWidth, dstHeight, nullptr},   \
                           CONVERTER);                                                                               \
    }                                                                                                                \
    void NAME##_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas, int32_t srcWidth,              \
                           int32_t srcHeight) {                                                                      \
        resize_into_and_convert(kPairsFamily, {y, uv, nullptr, srcWidth, srcHeight, nullptr, 0, 0, nullptr}, canvas, \
                                CONVERTER);                                                                          \
    }
VOREL_RESIZE_PAIRS_TO(vorel_resize_y_nv21_to_rgba, nv21_to_rgba8888)
VOREL_RESIZE_PAIRS_TO(vorel_resize_y_nv12_to_rgba, nv12_to_rgba8888)
VOREL_RESIZE_PAIRS_TO(vorel_resize_y_nv21_to_bgra, nv21_to_bgra8888)
VOREL_RESIZE_PAIRS_TO(vorel_resize_y_nv12_to_bgra, nv12_to_bgra8888)

#define VOREL_RESIZE_PLANES_TO(NAME, CONVERTER)                                                                        \
    void NAME(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst, int32_t srcWidth, int32_t srcHeight, \
              int32_t dstWidth, int32_t dstHeight) {                                                                   \
        resize_and_convert(kPlanesFamily, {y, u, v, srcWidth, srcHeight, dst, dstWidth, dstHeight, nullptr},           \
                           CONVERTER);                                                                                 \
    }                                                                                                                  \
    void NAME##_keep_ratio(const uint8_t *y, const uint8_t *u, const uint8_t *v, ResizeCanvas *canvas,                 \
                           int32_t srcWidth, int32_t srcHeight) {                                                      \
        resize_into_and_convert(kPlanesFamily, {y, u, v, srcWidth, srcHeight, nullptr, 0, 0, nullptr}, canvas,         \
                                CONVERTER);                                                                            \
    }
VOREL_RESIZE_PLANES_TO(vorel_resize_y_u_v_to_rgba, yuv420_to_rgba8888)
VOREL_RESIZE_PLANES_TO(vorel_resize_y_u_v_to_bgra, yuv420_to_bgra8888)
