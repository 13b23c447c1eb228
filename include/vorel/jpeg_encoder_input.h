/* Encoder input: the readers that bring the caller's pixels into a session's sample rows, an MCU row at a time, and
 * small conversions of camera formats that stand beside them. */
#ifndef VOREL_JPEG_ENCODER_INPUT_H
#define VOREL_JPEG_ENCODER_INPUT_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/jpeg_encoder_session.h>

VOREL_BEGIN_DECLS

/* By format, each with its own arithmetic. 1. */
VOREL_API int32_t __rim_jpeg_enc_get_raw_rgb565_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_rgb888_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_data(JEInfo *session); /* planes */
VOREL_API int32_t __rim_jpeg_enc_get_raw_rgba8888_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_bgra8888_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_yuyv_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_yuv420_nv21_data(JEInfo *session); /* and NV12 */
/* Packed Y0 U Y1 V from inputBase, to 4:2:0 (chroma of the even rows) and to 4:2:2. */
VOREL_API int32_t __rim_jpeg_enc_get_raw_magiceye422_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_get_raw_magiceye422_data_for_yuv422(JEInfo *session);
/* Two wide rows to one of half the width, 8 * widthInBlocks samples: (a + b + c + d + bias) / 4, bias 1, 2, 1, 2, ...
 */
VOREL_API void h2v2_downsample(JEInfo *session, JEComponent *component, uint8_t **inputRows, uint8_t **outputRows);

/* A packed 4:2:2 picture to a smaller one of planes, 4:2:0; dstPlanes are Y, U, V. */
VOREL_API void __rim_jpeg_enc_down_scale_yuv422(const uint8_t *src, int32_t srcWidth, int32_t srcHeight,
                                                int32_t srcRowUnused, uint8_t **dstPlanes, int32_t dstWidth,
                                                int32_t dstHeight);
VOREL_API void __rim_jpeg_enc_write_yuv_to_yuv420(const uint32_t *accumulator, uint8_t **dstPlanes, int32_t dstWidth,
                                                  int32_t row);
/* 4:2:0 to RGB565: planes, and Y with pairs behind it. */
VOREL_API void rim_EyeYUV420toRGB565(const uint8_t *src, int32_t width, int32_t height, uint16_t *dst);
VOREL_API void rim_EyePYV0420toRGB565(const uint8_t *src, int32_t width, int32_t height, uint16_t *dst);
VOREL_API extern const int32_t rim_EnCrrTab[256];
VOREL_API extern const int32_t rim_EnCbbTab[256];
VOREL_API extern const int32_t rim_EnCrgTab[256];
VOREL_API extern const int32_t rim_EnCbgTab[256];
VOREL_API extern const uint8_t rim_EnRangeTalbe[1024];

VOREL_END_DECLS

#endif
