/* One plain interface over JPEG, PNG and DNG: a picture into a buffer at a fraction of its size, rectangles of a large
 * one, and what a raw file says of itself. BMP, GIF and WBMP have their entries in vorel/frame.h and vorel/raster.h.
 *
 * The short names find the type of a file themselves and are what applications call; the Vr names are the steps below
 * them. Pixels are in the colour format of the options, rows without padding. Failures leave a line in the log, under
 * "VrBitmapFactory" or "VrBitmapRegionDecoder". */
#ifndef VOREL_BINDINGS_H
#define VOREL_BINDINGS_H

#include <pthread.h>
#include <stdint.h>

#include <vorel/dng.h>
#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/png.h>

VOREL_BEGIN_DECLS

/* What a call is asked for and what it tells. The first five words are those of VDngOptionWords. */
typedef struct VrOptions {
    union {
        void *handle; /* out: the session or index of a region decoder; while a decode runs, what decodeCancel stops */
        uint64_t handle64;
    };
    int32_t width, height; /* out: the picture's size in pixels */
    int32_t sampleSize;    /* in: both sides are divided by it */
    int32_t colorFormat;   /* in: COLOR_RGBA8888 and the others of vorel/frame.h */
    int32_t justBounds;    /* in: not 0: width, height and fileType alone */
    int32_t fileType;      /* out: VOREL_IMAGE_JPEG, VOREL_IMAGE_PNG, 0 or VOREL_IMAGE_DNG */
} VrOptions;

enum { VOREL_IMAGE_DNG = 7 };

/* An open picture for rectangles. */
typedef struct RegionHandle {
    union {
        void *decoder; /* DecInfo, vpng_tile_index, or the handle of a VDngRegionInstance */
        uint64_t decoder64;
    };
    int32_t fileType; /* VOREL_IMAGE_JPEG, VOREL_IMAGE_PNG or VOREL_IMAGE_DNG */
    VDngRegionInstance *dngInstance;
} RegionHandle;

typedef VDngMetaData VrMetadata;

/* ---- A picture in one call --------------------------------------------------------------------------------------- */

/* The picture, each side divided by sampleSize and rounded, as new pixels that the caller frees with free(). Size and
 * type go into options before. Null for other types, with justBounds, for a sampleSize of 0, and on failure. Raw files
 * come as R, G, B, A whatever the format; their fileType is 0, and their size is the default crop's. */
VOREL_API void *decodeFile(const char *path, VrOptions *options);
VOREL_API void *decodeByteArray(const void *bytes, int32_t length, VrOptions *options);
/* Stops the decode that runs with these options, from another thread and before that decode returns. 1 or 0. */
VOREL_API int32_t decodeCancel(VrOptions *options);

/* The same into the caller's output; length 0: the first argument is a path. sampleSize below 1 means 1. JPEG and PNG,
 * of which colorFormat is the format. 1 or 0. */
VOREL_API int32_t VrDecodeImage(const void *pathOrBytes, void *output, int32_t length, int32_t colorFormat,
                                VrOptions *options);
/* Stops the session and its children. 1, or 0 for null. */
VOREL_API int32_t VrDecodeCancel(DecInfo *session);

/* Raw files, see VDngDecodeFile2Buf and VDngDecodeBuffer2Buf, whose statuses these give; without noise reduction. A
 * picture of more pixels than width x height is refused with VDNG_FAILED; sides below 1 say nothing. */
VOREL_API int32_t VrDecodeDNGFile(const char *path, void *output, int32_t width, int32_t height, VrOptions *options);
VOREL_API int32_t VrDecodeDNGByteArray(const void *bytes, int32_t length, void *output, int32_t width, int32_t height,
                                       VrOptions *options);
/* Size, maker and crop of a raw file. 1 or 0; a path of another type gives 0. */
VOREL_API int32_t VrParseMetadata(const char *path, VrMetadata *metadata);
VOREL_API int32_t VrParseMetadataBA(const void *bytes, int32_t length, VrMetadata *metadata);
/* The preview that a raw file carries: its size, and its pixels. 1 or 0. */
VOREL_API int32_t VrParseDNGPreview(const void *bytes, int32_t length, int32_t *width, int32_t *height);
VOREL_API int32_t VrDecodeDNGPreview(const void *bytes, int32_t length, void *output, int32_t width, int32_t height);

/* encodeJPEGToFile and encodeJPEGToBuffer. */
VOREL_API int32_t compressToFile(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                                 int32_t quality);
VOREL_API int32_t compressToByte(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                                 int32_t *size, int32_t quality);

/* ---- Rectangles -------------------------------------------------------------------------------------------------- */

/* Opens a picture for rectangles: a pass over it that makes a map. Null for other types and on failure. The bytes stay
 * the caller's and have to stay until recycle. */
VOREL_API RegionHandle *newInstanceFile(const char *path, VrOptions *options);
VOREL_API RegionHandle *newInstanceByteArray(const void *bytes, int32_t length, VrOptions *options);
/* The rectangle (pixels of the whole picture, half open), each side divided by sampleSize, as new RGBA pixels that the
 * caller frees with free(). Any number of threads may decode from one handle. Null on failure and for a sampleSize
 * of 0. */
VOREL_API void *decodeRegion(RegionHandle *handle, int32_t left, int32_t right, int32_t top, int32_t bottom,
                             VrOptions *options);
/* The same into output. 1 or 0. */
VOREL_API int32_t decodeRegion2(RegionHandle *handle, void *output, int32_t left, int32_t right, int32_t top,
                                int32_t bottom, VrOptions *options);
/* Stops the handle's decodes, from any thread, and those that would follow. 1 for JPEG, 0 for raw files, which are
 * stopped too, and for PNG, whose rectangles cannot be. */
VOREL_API int32_t decodeRegionCancel(RegionHandle *handle);
/* Frees the handle, after the last decode. */
VOREL_API int32_t recycle(RegionHandle *handle);

VOREL_API int32_t getWidth(RegionHandle *handle);
VOREL_API int32_t getHeight(RegionHandle *handle);
/* Of raw files; 0 and null for others. */
VOREL_API int32_t getCropOriginX(RegionHandle *handle);
VOREL_API int32_t getCropOriginY(RegionHandle *handle);
VOREL_API int32_t getCropSizeWidth(RegionHandle *handle);
VOREL_API int32_t getCropSizeHeight(RegionHandle *handle);
VOREL_API const char *getExifMake(RegionHandle *handle);

/* The steps below newInstance and decodeRegion. VrNewInstance takes the type from options->fileType and leaves session
 * or index in options->handle; of a JPEG it is there while the map is made, and decodeCancel stops that. 1, also with
 * nothing done for another type, or 0.
 *
 * VrDoDecodeRegionEx and its twin for PNG decode a rectangle that may hang over the picture: in pixels of the reduced
 * picture, and of the whole picture for PNG, whose output has width / sampleSize by height / sampleSize pixels of
 * format COLOR_RGBA8888. Output outside of the picture stays as it is; formats with chroma planes are cleared to black
 * there. 1, or 0 for a failure and for a rectangle that lies wholly outside. */
VOREL_API int32_t VrNewInstance(const void *pathOrBytes, int32_t length, VrOptions *options);
VOREL_API int32_t VrDoDecodeRegionEx(DecInfo *handle, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                                     int32_t format, int32_t sampleSize);
VOREL_API int32_t VrDoDecodeRegionPNGEx(vpng_tile_index *handle, void *output, int32_t x, int32_t y, int32_t width,
                                        int32_t height, int32_t format, int32_t sampleSize);

VOREL_END_DECLS

#endif
