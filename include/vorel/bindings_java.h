/* What stands below the Java natives and is of use beside them. Needs <jni.h>; the natives themselves are declared by
 * the Java classes. */
#ifndef VOREL_BINDINGS_JAVA_H
#define VOREL_BINDINGS_JAVA_H

#include <jni.h>
#include <stdint.h>

#include <vorel/dng_metadata.h>
#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/png.h>

VOREL_BEGIN_DECLS

/* Bytes of a file; 0 with a line in the log where there is none. */
VOREL_API int32_t getFileSize(const char *path);
/* Milliseconds of a clock that only goes forward. */
VOREL_API int64_t gettime(void);
/* Logs the version. */
VOREL_API void vorel_vjpeg_get_version(void);

/* android.graphics.Bitmap.createBitmap with ARGB_8888: a local reference, or null without a pending exception. */
VOREL_API jobject createBitmap(JNIEnv *env, int32_t width, int32_t height);
/* Its recycle(). */
VOREL_API void recycleBitmap(JNIEnv *env, jobject bitmap);

/* Copies a rectangle between buffers of different widths and bytes a pixel, of which the first ones that both have;
 * what lies outside either is left out. These give 1, or 0 for null and for sizes below 1. */
VOREL_API int32_t copySubImageBuffer(uint8_t *dst, int32_t dstWidth, int32_t dstHeight, int32_t dstBytesPerPixel,
                                     int32_t dstX, int32_t dstY, const uint8_t *src, int32_t srcWidth,
                                     int32_t srcHeight, int32_t srcBytesPerPixel, int32_t srcX, int32_t srcY,
                                     int32_t width, int32_t height);
/* Copies the tile whose corner in the strip is (x, y). */
VOREL_API int32_t getSubImageBuffer(uint8_t *tile, int32_t tileWidth, int32_t tileHeight, const uint8_t *strip,
                                    int32_t stripWidth, int32_t stripHeight, int32_t x, int32_t y,
                                    int32_t bytesPerPixel);
/* The same of a Y plane and pairs (NV21, NV12); x and y are even. */
VOREL_API int32_t getSubImageBufferForYUV420(uint8_t *tile, int32_t tileWidth, int32_t tileHeight, const uint8_t *strip,
                                             int32_t stripWidth, int32_t stripHeight, int32_t x, int32_t y);

/* A rectangle of an open picture that may hang over it. Coordinates are those of the reduced picture for JPEG and of
 * the whole one for PNG. What lies outside stays as it is; planar formats are cleared to black there. 1 or 0. */
VOREL_API int32_t DoDecodeRegionEx(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                                   int32_t format, int32_t sampleSize);
VOREL_API int32_t DoDecodeRegionPNGEx(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width,
                                      int32_t height, int32_t format, int32_t sampleSize);
VOREL_API int32_t decodeRegionPNG(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width,
                                  int32_t height, int32_t sampleSize);
/* R, G, B, A to planar YUV 4:2:0. */
VOREL_API void argb88882Yuv420p(uint8_t *yuv, const uint8_t *rgba, int32_t width, int32_t height);

/* Copies a record into the fields of a Java object that have its members' names. */
VOREL_API void copyMetadataInfo(JNIEnv *env, jobject destination, const CPVorelDngMetadata *source);
VOREL_API void copyExifInfo(JNIEnv *env, jobject destination, const CPVorelDngExif *source);

VOREL_END_DECLS

#endif
