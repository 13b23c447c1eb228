/* The codec frame: operating-system layer, input streams, decode sessions, type detection and the entries that
 * decode any format. Plain records and functions with C linkage; sizes and positions are signed 32-bit, so an input
 * is at most 2 GiB - 1 long. A session and everything that hangs on it belong to one thread at a time. */
#ifndef VOREL_FRAME_H
#define VOREL_FRAME_H

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

/* ---- Input ------------------------------------------------------------------------------------------------- */

/* Callbacks of a stream input (kind 4). read delivers up to count bytes into destination and returns how many, 0 at
 * the end; skip(context, 0, count) moves forward by count bytes and returns the new position; rewind(context, 0, 0)
 * returns to the start and may be null. */
typedef int32_t (*VorelReadFn)(void *context, void *destination, int32_t count);
typedef int32_t (*VorelSkipFn)(void *context, int32_t zero, int32_t count);
typedef int32_t (*VorelRewindFn)(void *context, int32_t zero1, int32_t zero2);

/* One input. Kinds: 0 file by path (opened and closed by the library), 1 the caller's memory, 2 the caller's FILE
 * (stays open), 4 callbacks, 5 memory owned by the session. */
typedef struct IoInfo {
    uint32_t kind;
    void *source;        /* 1, 5: the memory; 4: the context; 0: the caller's path pointer as given */
    FILE *file;          /* 0, 2 */
    int32_t size;        /* bytes of the whole input */
    int32_t position;    /* next byte to be read, as counted by these operations */
    int32_t startOffset; /* 2: where the stream stood when it was handed in */
    int32_t bufferSize;  /* always 16384 */
    VorelReadFn readFn;
    VorelSkipFn skipFn;
    VorelRewindFn rewindFn;
    char *path; /* 0: private copy, owned */
} IoInfo;

/* Cursor through an input in blocks of 16384 bytes. For kind 1 the block is the input itself. */
typedef struct StreamBuffer {
    IoInfo *io;
    int32_t totalRead; /* bytes taken from the input, including what is unread in the block */
    int32_t totalSize; /* copy of io->size */
    int32_t offset;    /* index of the next unread byte */
    int32_t available; /* unread bytes */
    uint8_t *buffer;
} StreamBuffer;

/* Process-wide words with the reason of the last failure. Unsynchronised between sessions: information for people,
 * never for control flow. gVORELBRIM_Error: 0 none, 1 null session, 2 JPEG decoder failed, 4 out of memory, 5 header
 * unreadable, 11 unknown input kind, 12 memory input of size 0, 13 file not openable. */
VOREL_API extern uint32_t gVORELBRIM_Error;
VOREL_API extern uint32_t debug_BrimCodecError;

/* ---- Formats ------------------------------------------------------------------------------------------------ */

enum {
    VOREL_IMAGE_NONE = 0,
    VOREL_IMAGE_JPEG = 1,
    VOREL_IMAGE_BMP = 2,
    VOREL_IMAGE_PNG = 3,
    VOREL_IMAGE_GIF = 4,
    VOREL_IMAGE_WBMP = 5,
    VOREL_IMAGE_ANIMATED_GIF = 6
};

/* Pixel layouts. Planar and semi-planar formats store their planes behind one another, without padding. */
enum {
    COLOR_RGB565 = 0,   /* 16-bit little-endian word: red 15-11, green 10-5, blue 4-0 */
    COLOR_RGB888 = 1,   /* bytes R, G, B */
    COLOR_YUV420 = 2,   /* Y, Cb, Cr; chroma planes of ((w+1)/2) x ((h+1)/2) */
    COLOR_YUV422 = 3,   /* Y, Cb, Cr; chroma planes of ((w+1)/2) x h */
    COLOR_GRAY = 4,     /* Y only */
    COLOR_ARGB8888 = 5, /* bytes A, R, G, B */
    COLOR_BGR565A = 6,  /* 16-bit word with blue on top, then an alpha byte */
    COLOR_RGBA8888 = 7, /* bytes R, G, B, A */
    COLOR_BGRA8888 = 8, /* bytes B, G, R, A */
    COLOR_RGB565_ALT = 9,
    COLOR_YUV440 = 14, /* Y, Cb, Cr; chroma planes of w x ((h+1)/2) */
    COLOR_YUV444 = 15, /* Y, Cb, Cr; three planes of w x h */
    COLOR_YUYV = 17,   /* packed Y0, Cb, Y1, Cr; a row is 2w bytes plus (2w & 3) */
    COLOR_NV21 = 18,   /* Y plane, then Cr, Cb pairs: rows of ((w+1) & ~1) bytes, (h+1)/2 of them */
    COLOR_NV12 = 19    /* as NV21 with Cb first */
};

/* Bits of DecInfo.decOption. */
enum {
    VOREL_OPTION_ROTATE_90 = 0x4,
    VOREL_OPTION_ROTATE_180 = 0x8,
    VOREL_OPTION_ROTATE_270 = 0xC,
    VOREL_OPTION_FIT_CENTER = 0x000,
    VOREL_OPTION_FIT_PACKED = 0x100,
    VOREL_OPTION_FIT_TOP_LEFT = 0x200,
    VOREL_OPTION_FIT_COVER = 0x300,
    VOREL_OPTION_FIT_STRETCH = 0x700,
    VOREL_OPTION_EXIF_ORIENTATION = 0x1000,
    VOREL_OPTION_COMPRESS_RANGE = 0x2000,
    VOREL_OPTION_SKIP_TABLES = 0x4000,
    VOREL_OPTION_REGION = 0x10000,
    VOREL_OPTION_EXACT_KERNEL = 0x20000
};

/* What parsing reports; zeroed by every parser. */
typedef struct ImageInfo {
    uint32_t width, height; /* pixels */
    uint32_t fileSize;      /* copy of IoInfo.size */
    uint32_t frameCount;    /* GIF: images found; others: 1 */
    uint32_t progressive;   /* JPEG: 1 for SOF2; PNG: the interlace byte of IHDR */
    uint32_t restartInterval;
    uint32_t maxHSampling, maxVSampling;
    uint32_t numComponents;
    uint32_t scanOffset;
} ImageInfo;

/* ---- Sessions ------------------------------------------------------------------------------------------------ */

struct DecInfo;
struct JpegInfo;
struct Midpoint;
struct RegionJob;
struct vorel_threadpool;

/* callback(userValue, percent) returns 0 to stop the decode. The record must come from malloc: the session frees it. */
typedef struct ProgressRecord {
    void *userValue;
    int32_t (*callback)(void *userValue, int32_t percent);
} ProgressRecord;

typedef int32_t (*VorelCheckFn)(struct DecInfo *session, uint32_t currentRow);

/* A decode session: input, wanted format and options, parse results, the slots of the running decoder. */
typedef struct DecInfo {
    IoInfo *ioInfo; /* owned */
    int32_t outColorFormat;
    uint32_t decOption;
    int32_t decMode;
    uint32_t imageWidth, imageHeight;
    uint32_t outWidth, outHeight; /* output size really produced */
    uint32_t decoderReady;
    int32_t imageType;
    VorelCheckFn checkFn; /* called once per iMCU row */
    ProgressRecord *progress;
    uint32_t gifFlag;
    void *codecState;
    struct Midpoint *midpointState;
    struct JpegInfo *retainedJpegInfo;
    uint32_t totalDuration; /* GIF: sum of frame delays, ms */
    void *gifLineBuffers[2];
    int32_t sampleSize;
    uint32_t *regionMap; /* owned */
    uint32_t partialDecode;
    uint32_t partialX, partialY, partialWidth, partialHeight; /* output coordinates */
    uint32_t partialToBuffer;
    void *fileBuffer, *extraBuffer; /* the caller's; never freed by the session */
    uint32_t abortFlag;             /* nonzero stops decoding at the next row; may be set from any thread */
    struct DecInfo *children[32];
    struct DecInfo *parent;
    int32_t childCount;
    uint32_t childIndex;
    struct Midpoint *midpoints[4]; /* owned */
    int32_t midpointCount;
    uint32_t multiThread;
    struct RegionJob *regionJobs; /* owned */
    int32_t regionJobCount, regionNextJob;
    uint32_t streamOffset; /* where the JPEG stream begins in the input */
    uint32_t jpegProgressive, jpegRestartInterval, jpegMaxV, jpegMaxH, jpegComponents;
    struct vorel_threadpool *threadPool;
    int32_t decodeResult; /* -1 while running */
    uint32_t dualMode, dualTargetWidth, dualTargetHeight;
    uint32_t dualBusy;
    uint32_t multiScan;
    uint32_t multiscanInterval;
} DecInfo;

typedef struct DecInfoHolder {
    uint32_t options;
    DecInfo *decInfo;
    uint32_t extra;
} DecInfoHolder;

/* One of at most 255 open C handles. */
typedef struct DecHandle {
    uint32_t kind; /* 0 file, 1 memory */
    FILE *file;
    const void *source; /* path or buffer */
    int32_t size;
    int32_t colorFormat;
    uint32_t width, height;
    int32_t imageType; /* 0 until parsed */
    DecInfoHolder *decInfoHolder;
    VorelReadFn readFn;
    VorelSkipFn skipFn;
    VorelRewindFn rewindFn;
} DecHandle;

/* ---- Logging ------------------------------------------------------------------------------------------------- */

/* Shape of every diagnostic: priority (4 info, 6 error), tag, printf format, arguments. */
typedef int (*VorelLogPrint)(int priority, const char *tag, const char *format, ...);

/* Sends the diagnostics to print; null makes them silent, which is how a process starts unless it provides
 * __android_log_print, which then receives them. Returns the function that was set before. Any thread. */
VOREL_API VorelLogPrint vorel_set_log_print(VorelLogPrint print);

VOREL_API void *VORELBRIM_OsMalloc(int32_t size);
VOREL_API void *VORELBRIM_OsRealloc(void *pointer, int32_t size);
VOREL_API void VORELBRIM_OsFree(void *pointer);
VOREL_API void *VORELBRIM_OsMemset(void *destination, int32_t value, int32_t count);
VOREL_API void *VORELBRIM_OsMemcpy(void *destination, const void *source, int32_t count);
VOREL_API int32_t VORELBRIM_OsSleep(uint32_t microseconds);
VOREL_API FILE *VORELBRIM_OsFopen(const char *path, const char *mode);
VOREL_API FILE *VORELBRIM_OpenFile(const char *path);
VOREL_API int32_t VORELBRIM_OsFclose(FILE *stream);
VOREL_API int32_t VORELBRIM_CloseFile(FILE *stream);
VOREL_API int32_t VORELBRIM_OsFseek(FILE *stream, int32_t offset, int32_t whence);
VOREL_API int32_t VORELBRIM_OsFtell(FILE *stream);
VOREL_API int32_t VORELBRIM_OsFread(void *buffer, int32_t size, int32_t count, FILE *stream);
VOREL_API int32_t VORELBRIM_SeekFile(FILE *stream, int32_t offset, int32_t whence);
VOREL_API int32_t VORELBRIM_ReadFile(FILE *stream, void *destination, int32_t count);
VOREL_API int32_t VORELBRIM_OsFwrite(const void *buffer, int32_t size, int32_t count, FILE *stream);
VOREL_API int32_t VORELBRIM_OsClock(void);
VOREL_API int32_t VORELBRIM_OsThreadCreate(void *(*routine)(void *), void *argument, pthread_t *outHandle);
VOREL_API int32_t VORELBRIM_OsThreadWait(pthread_t handle, void *ignored);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Init(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Lock(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Unlock(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Close(pthread_mutex_t *mutex);
VOREL_API void VORELBRIM_CheckExStatus(int32_t *outStatus);
VOREL_API void rim_SetError(int32_t code);
VOREL_API IoInfo *VORELBRIM_Open_IO(uint32_t kind, void *pathOrBufferOrStream, int32_t size);
VOREL_API IoInfo *VORELBRIM_Open_Stream(void *context, VorelReadFn readFn, VorelSkipFn skipFn, VorelRewindFn rewindFn, int32_t size);
VOREL_API int32_t VORELBRIM_Read_IO(IoInfo *io, void *destination, int32_t count);
VOREL_API int32_t VORELBRIM_Read_IO2(IoInfo *io, uint8_t **inOutPointer, int32_t count);
VOREL_API int32_t VORELBRIM_Seek_IO(IoInfo *io, int32_t offset, int32_t whence);
VOREL_API int32_t VORELBRIM_Close_IO(IoInfo *io);
VOREL_API uint8_t *BRIMJ_AllocateStreamBuffer(IoInfo *io);
VOREL_API void BRIMJ_ReleaseStreamBuffer(IoInfo *io, uint8_t *buffer);
VOREL_API int32_t BRIMJ_CheckBuffer(StreamBuffer *streamBuffer, int32_t needed);
VOREL_API void *BRIM_FakeMalloc(void *owner, int32_t size);
VOREL_API void BRIM_FakeFree(void *pointer);
VOREL_API int32_t round_up_pow2(int32_t value, int32_t power);
VOREL_API DecInfo *VORELBRIM_CreateDecInfo(uint32_t ioKind, void *pathOrBuffer, int32_t size, int32_t colorFormat, uint32_t options);
VOREL_API DecInfo *VORELBRIM_CreateDecInfoWithStream(void *context, int32_t size, VorelReadFn readFn, VorelSkipFn skipFn, VorelRewindFn rewindFn, int32_t colorFormat, uint32_t options);
VOREL_API int32_t VORELBRIM_DestroyDecInfo(DecInfo *session);
VOREL_API int32_t VORELBRIM_DestroyJpegInfo(DecInfo *session);
VOREL_API int32_t VORELBRIM_DestroyInputBuffer(DecInfo *sessionPointer);
VOREL_API int32_t VORELBRIM_SetDecOption(DecInfo *session, uint32_t options);
VOREL_API int32_t VORELBRIM_SetDecMode(DecInfo *session, int32_t mode);
VOREL_API int32_t VORELBRIM_Parser(DecInfo *session, ImageInfo *imageInfo);
VOREL_API int32_t BRIM_Parse(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo);
VOREL_API int32_t VORELBRIM_GetImageType(DecInfo *session);
VOREL_API int32_t BRIM_GetImageType(DecInfo *session, StreamBuffer *streamBuffer);
VOREL_API int32_t VORELBRIM_SimpleParserGIF(DecInfo *session, ImageInfo *imageInfo, uint32_t minimumDelay);
VOREL_API int32_t VORELBRIM_JpgParser(DecInfo *session, ImageInfo *imageInfo);
VOREL_API int32_t VORELBRIM_ThumbnailParser(DecInfo *session, ImageInfo *imageInfo);
VOREL_API int32_t VORELBRIM_GetJpegOffset(DecInfo *session, int32_t *outOffset, int32_t *outLength);
VOREL_API int32_t BRIM_ParseJPEGOffset(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo);
VOREL_API int32_t __BRIM_ParserGIF(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo, uint32_t minimumDelay);
VOREL_API int32_t __BRIM_ParserWBMP(DecInfo *session, StreamBuffer *streamBuffer);
VOREL_API int32_t VORELBRIM_CheckFn(DecInfo *session, uint32_t currentRow);
VOREL_API int32_t VORELBRIM_ZoomCheckFn(DecInfo *session, uint32_t currentRow);
VOREL_API int32_t VORELBRIM_OpenDecHandle(const void *pathOrBuffer, int32_t size, uint32_t kind);
VOREL_API int32_t VORELBRIM_SetDecInfoFromHandle(int32_t handle, int32_t colorFormat);
VOREL_API DecInfo *VORELBRIM_GetDecInfoFromHandle(int32_t handle);
VOREL_API int32_t VORELBRIM_CloseDecHandle(int32_t handle);
VOREL_API int32_t __rim_dec_handle_contorl(int32_t id, int32_t *outId, DecHandle **outRecord, int32_t operation);
VOREL_API int32_t rim_dec_handle_create(void);
VOREL_API DecHandle *rim_dec_handle_get_struct(int32_t handle);
VOREL_API int32_t rim_dec_handle_destory(int32_t handle);
VOREL_API int32_t rim_dec_handle_open(const void *source, int32_t size, uint32_t kind);
VOREL_API int32_t rim_dec_handle_close(int32_t handle);
VOREL_API int32_t rim_create_dec_info(DecHandle *record);
VOREL_API int32_t rim_destroy_dec_info(DecHandle *record);
VOREL_API int32_t __rim_codec_ctrl_set_dec_info(DecHandle *record);
VOREL_API DecInfo *rim_get_decinfo_from_handle(int32_t handle);
VOREL_API int32_t rim_set_decinfo_from_handle(int32_t handle, int32_t colorFormat);
VOREL_API int32_t VorelGetFileSize(const char *path);
VOREL_API int32_t VorelGetImageInfoFromFile(const char *path, int32_t ignored1, int32_t ignored2, int32_t *outWidth, int32_t *outHeight);
VOREL_API int32_t VorelGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth, int32_t *outHeight);
VOREL_API int32_t VorelDecodeFile(const char *path, void *output, int32_t ignored, int32_t colorFormat, int32_t sampleSize);
VOREL_API int32_t VorelDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize);
VOREL_API int32_t VorelDecodeFileOpt(const char *path, void *output, int32_t ignored, int32_t colorFormat, int32_t sampleSize, int32_t *options);
VOREL_API int32_t VorelDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize, int32_t *options);
VOREL_API int32_t VjpgGetFileSize(const char *path);
VOREL_API int32_t VjpgGetImageInfoFromFile(const char *path, int32_t ignored1, int32_t ignored2, int32_t *outWidth, int32_t *outHeight);
VOREL_API int32_t VjpgGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth, int32_t *outHeight);
VOREL_API int32_t VjpgDecodeFile(const char *path, void *output, int32_t ignored, int32_t colorFormat, int32_t sampleSize);
VOREL_API int32_t VjpgDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize);
VOREL_API int32_t VjpgDecodeFileOpt(const char *path, void *output, int32_t ignored, int32_t colorFormat, int32_t sampleSize, int32_t *options);
VOREL_API int32_t VjpgDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat, int32_t sampleSize, int32_t *options);
VOREL_API int32_t decodeJPEG(const void *pathOrBuffer, int32_t size, void *output, int32_t width, int32_t height, int32_t colorFormat);
VOREL_API DecInfo *getExif(const void *pathOrBuffer, int32_t size);
VOREL_API int32_t destroyExif(DecInfo *session);
VOREL_API int32_t getBytePerPixel(const DecInfo *session);

VOREL_END_DECLS

#endif
