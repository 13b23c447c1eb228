/* DNG (version 1.4.0.0): developing raw files, whole, a rectangle, or reduced, to R, G, B, A of 8 bits in sRGB.
 *
 * All of a file is in memory: a File entry reads it. Lengths are bytes, sizes pixels; a length below 1 is empty input.
 * Rectangles are half open and count from the active area's corner; they may hang over the picture, and stay black and
 * transparent there. A develop runs four threads beside the caller's. Entries may be called from several threads; a
 * record belongs to one call, but for its cancel flag. */
#ifndef VOREL_DNG_H
#define VOREL_DNG_H

#include <stdint.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

/* What a caller and a develop share; zeroed by the caller. */
typedef struct decInfo {
    void *handle;                     /* of parseDNGImageBuffer_for_RD; else null */
    uint32_t width, height;           /* of the raw image, by parsing; of the result, by decoding a rectangle */
    char make[256];                   /* camera maker, by parseDNGImageBuffer_for_RD */
    int32_t cropOriginX, cropOriginY; /* the default crop in the active area, by parsing */
    int32_t cropWidth, cropHeight;
    uint32_t preferredSize;               /* longest side wanted of a reduced develop; 0: full size */
    uint32_t previewWidth, previewHeight; /* size of a reduced develop */
    int32_t noiseStrength;                /* rounds of chroma smoothing; below 1 no noise reduction */
    int32_t cancelFlag;                   /* 1, from any thread, stops the develop */
    int32_t regionTop, regionBottom, regionLeft, regionRight; /* all 0: the whole picture */
    uint32_t samplesPerPixel, blackRepeatRows, blackRepeatColumns;
    double blackLevel[8][8][4], whiteLevel[4]; /* as the file says, by parsing */
    uint32_t userBlackRepeatRows, userBlackRepeatColumns;
    double userBlackLevel[8][8][4], userWhiteLevel[4];
    int32_t useUserLevels;  /* 1: develop with the user's levels; repeats of 1 to 8 */
    int32_t acceptLossless; /* 1: lossless JPEG (T.81 annex H), which is refused otherwise, is read as well */
    int32_t progress;       /* by the develop: percent of its work that is done; 100: it succeeded */
    uint32_t compression, bitsPerSample, photometric; /* tags 259, 258 and 262 of the raw image, by parsing */
    uint32_t orientation;                             /* tag 274, 1 to 8; 0: not stated */
    int32_t readable; /* by parsing: 1 when there is a reader for the compression, with acceptLossless as it is */
} decInfo;

/* What VDngParseMetaData gives. */
typedef struct VDngMetaData {
    uint32_t reserved;
    uint32_t width, height;
    char make[256];
    int32_t cropOriginX, cropOriginY, cropWidth, cropHeight;
} VDngMetaData;

/* An open file for rectangles. */
typedef struct VDngRegionInstance {
    uint8_t *source;
    int32_t ownsBuffer; /* 1: source is freed with the instance */
    int32_t sourceLength;
    int32_t width, height;
    char make[256];
    int32_t cropOriginX, cropOriginY, cropWidth, cropHeight;
    void *decoder; /* the handle */
} VDngRegionInstance;

/* Options of the VDng and DngDecodeRegion entries, of which these words are used; words 0 and 1 hold the record of the
 * running call, for VDngCancelDecoding, and are null again when it is over. */
enum {
    VDNG_OPTION_INFO = 0,
    VDNG_OPTION_WIDTH = 2,     /* receives the size before reduction */
    VDNG_OPTION_HEIGHT = 3,    /* the same */
    VDNG_OPTION_FACTOR = 4,    /* sides are divided by it; below 1 means 1 */
    VDNG_OPTION_STRENGTH = 12, /* as noiseStrength */
    VDNG_OPTION_WORDS = 13
};
typedef int32_t VDngOptionWords[VDNG_OPTION_WORDS];

/* Statuses of the VDng and Dng entries. */
enum { VDNG_EMPTY = -7, VDNG_FAILED = -8, VDNG_NO_SIZE = -9, VDNG_NO_MEMORY = -10, VDNG_NOT_OPENED = -11 };

/* ---- With a record -------------------------------------------------------------------------------------------- */

/* Size, crop and levels into info; sizes of 0 for a file without a raw image. 0, or -1 when it is no TIFF structure. */
VOREL_API int32_t parseDNGImageBuffer(const uint8_t *buffer, int32_t length, decInfo *info);

/* Develops into out, info->width by info->height pixels, which is cleared first: the picture from the default crop's
 * corner, or the rectangle of info, whose size width and height become. With preferredSize the picture is the reduced
 * one of previewWidth by previewHeight, where the mosaic's pattern allows a reduction. Required: 0 whether it succeeded
 * or not; a develop that was cancelled, or refused (see acceptLossless), has the cancel flag set. */
VOREL_API int32_t decodeDNGImageBuffer(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info);

/* Opens a file for rectangles: as parseDNGImageBuffer, and the samples are read and kept in info->handle, until
 * finalizeHandle. 0, or -1. */
VOREL_API int32_t parseDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, decInfo *info);
/* Develops the rectangle of info from the samples of info->handle; buffer is what it was opened with. Any number of
 * threads may do so with one handle, each with a record of its own. 0. */
VOREL_API int32_t decodeDNGImageBuffer_for_RD(const uint8_t *buffer, int32_t length, uint8_t *out, decInfo *info);
/* Frees the handle, after the last decode. 0. */
VOREL_API int32_t finalizeHandle(decInfo *info);
/* Rectangles of the handle that have not begun yet will not, for good; one that runs does not see it. 0. */
VOREL_API int32_t cancelDecoding_for_RD(decInfo *info);
VOREL_API int32_t CancleDngDecode(void *handle);
/* Stops the develop that runs with the record. 1, or 0 for null. */
VOREL_API int32_t VDngCancelDecoding(decInfo *info);

/* The size of the first preview. 0, or -1 when there is none. */
VOREL_API int32_t parseDNGPreviewImageBuffer(const uint8_t *buffer, int32_t length, int32_t *widthOut,
                                             int32_t *heightOut);
VOREL_API int32_t parseDNGPreviewImageBuffer2(const uint8_t *buffer, int32_t length, int32_t *widthOut,
                                              int32_t *heightOut);
/* The first preview into out, width by height pixels, which is cleared first. A preview in JPEG is decoded as it is and
 * cut to the size; for any other the raw image is developed at that size. 0. */
VOREL_API int32_t decodeDNGPreviewImageBuffer(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width,
                                              int32_t height);
VOREL_API int32_t decodeDNGPreviewImageBuffer2(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width,
                                               int32_t height);
/* The raw image developed at about the size, whether there is a preview or not, with acceptLossless, cancelFlag and
 * progress of info. 1, or 0. */
VOREL_API int32_t vorel_dng_develop_preview(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t width,
                                            int32_t height, decInfo *info);

/* The samples of a stage on the way to a picture, interleaved: 1 as they are stored (longs and floats scaled to words),
 * 2 linear over the active area, 3 with every colour at each pixel, in the camera's colours. */
typedef struct VDngStage {
    int32_t width, height, planes;
    uint16_t *samples; /* to be freed with free() */
} VDngStage;
/* Runs the develop up to a stage, with acceptLossless, cancelFlag and the user's levels of info. 1, or 0. */
VOREL_API int32_t vorel_dng_stage(const uint8_t *buffer, int32_t length, int32_t stage, decInfo *info, VDngStage *out);

/* ---- In one call ---------------------------------------------------------------------------------------------- */

/* The default crop, each side divided by the factor of options and rounded, as new pixels that the caller frees with
 * free(); null on failure. unused arguments may be anything. */
VOREL_API uint8_t *VDngDecodeBuffer(const uint8_t *buffer, int32_t length, int32_t unused, int32_t *options);
VOREL_API uint8_t *VDngDecodeFile(const char *path, int32_t unused, int32_t *options);
/* The same into out. 1, or a status: VDNG_NO_SIZE without a raw image, and for a default crop of more than 225 million
 * pixels. Required: the File form gives VDNG_NO_SIZE for an empty file, VDNG_EMPTY for one that cannot be read and
 * VDNG_NO_MEMORY for one that cannot be developed. */
VOREL_API int32_t VDngDecodeBuffer2Buf(const uint8_t *buffer, int32_t length, uint8_t *out, int32_t unused1,
                                       int32_t unused2, int32_t *options);
VOREL_API int32_t VDngDecodeFile2Buf(const char *path, uint8_t *out, int32_t unused1, int32_t unused2,
                                     int32_t *options);

/* ---- Rectangles ----------------------------------------------------------------------------------------------- */

/* Opens memory of malloc for rectangles. The handle as a number, which may be negative where addresses carry tags, with
 * the instance in *instanceOut; or a status, VDNG_NOT_OPENED to VDNG_EMPTY. Required: a failure frees buffer, but
 * afterwards it is the caller's, to be freed when the instance is destroyed. */
VOREL_API int64_t DngNewInstanceBuffer(uint8_t *buffer, int32_t length, VDngRegionInstance **instanceOut);
/* The instance owns what is read. Required: VDNG_EMPTY for an empty file, VDNG_NO_SIZE for one that cannot be read. */
VOREL_API int64_t DngNewInstanceFile(const char *path, VDngRegionInstance **instanceOut);
/* A rectangle as new pixels that the caller frees with free(). Null on failure. Required: four zeros give a block
 * without pixels. */
VOREL_API uint8_t *DngDecodeRegion(int32_t top, int32_t bottom, int32_t left, int32_t right, int32_t *options,
                                   void *handle, VDngRegionInstance *instance);
/* The same into out. 1, or -1 for an empty rectangle, no handle or a failure. */
VOREL_API int32_t DngDecodeRegion2Buf(int32_t top, int32_t bottom, int32_t left, int32_t right, int32_t *options,
                                      void *handle, VDngRegionInstance *instance, uint8_t *out);
/* Frees both, after the last decode. 0. */
VOREL_API int32_t DngRdDestroy(void *handle, VDngRegionInstance *instance);

VOREL_API int32_t getDngWidth(const VDngRegionInstance *instance);
VOREL_API int32_t getDngHeight(const VDngRegionInstance *instance);
VOREL_API int32_t VDngGetCropOriginX(const VDngRegionInstance *instance);
VOREL_API int32_t VDngGetCropOriginY(const VDngRegionInstance *instance);
VOREL_API int32_t VDngGetCropSizeWidth(const VDngRegionInstance *instance);
VOREL_API int32_t VDngGetCropSizeHeight(const VDngRegionInstance *instance);
VOREL_API const char *VDngGetExifMake(const VDngRegionInstance *instance);

/* ---- Parts ---------------------------------------------------------------------------------------------------- */

/* Sizes, maker and crop, without the samples. 1 or 0. */
VOREL_API int32_t VDngParseMetaData(const char *path, VDngMetaData *out);
VOREL_API int32_t VDngParseMetaDataBA(const uint8_t *buffer, int32_t length, VDngMetaData *out);

/* Three bytes a pixel to four with a last one of 255. Strides in bytes. */
VOREL_API void BgrToBgra(const uint8_t *src, int32_t srcStride, uint8_t *dst, int32_t dstStride, int32_t width,
                         int32_t height);
/* Clears out, width by height pixels of four bytes, and puts as much of the source, rows of sourceColumns * 3 bytes,
 * into its upper left corner as there is room for. */
VOREL_API void convertRGB2RGBA(uint8_t *out, int32_t width, int32_t height, const uint8_t *pixels,
                               int32_t sourceColumns, int32_t sourceRows);

VOREL_END_DECLS

#endif
