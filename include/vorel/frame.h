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

/* Callbacks of a stream input (kind 4). read delivers count bytes into destination and returns how many came: fewer
 * than count mean that the input ends there, 0 that it has ended; skip(context, 0, count) moves forward by count bytes
 * and returns the new position; rewind(context, 0, 0) returns to the start and may be null. */
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

/* Bits of DecInfo.decOption. Rotation and fit are values of a field of several bits, the others are flags; bits that
 * are not named here are ignored. */
enum {
    /* Clockwise turn (mask 0xC). A picture that is turned by 90 or 270 is fitted into the target with its sides
     * exchanged. JPEG turns the formats that are stored pixel by pixel (0, 5, 7, 8, 9) and leaves the others upright.
     */
    VOREL_OPTION_ROTATE_90 = 0x4,
    VOREL_OPTION_ROTATE_180 = 0x8,
    VOREL_OPTION_ROTATE_270 = 0xC,
    /* Fit into the target (mask 0x700). CENTER, PACKED and TOP_LEFT keep the shape of the picture, shrink it where it
     * is too large, and enlarge nothing: it stands in the middle of the target, at the start of a buffer whose rows are
     * as long as its own, or in the target's top left corner. COVER fills the target and cuts off what exceeds it,
     * equally on both sides; STRETCH fills it with the whole picture. What the picture does not reach stays as it is.
     */
    VOREL_OPTION_FIT_CENTER = 0x000,
    VOREL_OPTION_FIT_PACKED = 0x100,
    VOREL_OPTION_FIT_TOP_LEFT = 0x200,
    VOREL_OPTION_FIT_COVER = 0x300,
    VOREL_OPTION_FIT_STRETCH = 0x700,
    /* Adds the turn that the Exif orientation asks for (CIPA DC-008 4.6.4 A), for the length of the decode. */
    VOREL_OPTION_EXIF_ORIENTATION = 0x1000,
    /* JPEG: samples of the colour components are compressed into 23..233 around 128. */
    VOREL_OPTION_COMPRESS_RANGE = 0x2000,
    /* JPEG: the tables for passing over coefficients are made at once, also where this decode does not need them. */
    VOREL_OPTION_SKIP_TABLES = 0x4000,
    /* JPEG: the session serves rectangles by a map of its data, see vorel/jpeg_region.h. */
    VOREL_OPTION_REGION = 0x10000,
    /* JPEG: the exact inverse DCT at full size; it is always taken, so this changes nothing. */
    VOREL_OPTION_EXACT_KERNEL = 0x20000
};

/* What parsing reports; zeroed by every parser. */
typedef struct ImageInfo {
    uint32_t width, height;              /* pixels */
    uint32_t fileSize;                   /* copy of IoInfo.size */
    uint32_t frameCount;                 /* GIF: images found; others: 1 */
    uint32_t progressive;                /* JPEG: 1 for SOF2; PNG: the interlace byte of IHDR */
    uint32_t restartInterval;            /* JPEG: MCUs between restart markers, 0 without (T.81 B.2.4.4) */
    uint32_t maxHSampling, maxVSampling; /* JPEG: largest sampling factors, 1 to 4 (T.81 B.2.2) */
    uint32_t numComponents;              /* JPEG: components of the frame */
    uint32_t scanOffset; /* in: where BRIMJ_GetHInfo begins; out: the place that BRIMJ_EOIParser found */
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

/* Called before each iMCU row with the output rows done so far, from 0 to DecInfo.outHeight; 0 stops the decode. */
typedef int32_t (*VorelCheckFn)(struct DecInfo *session, uint32_t currentRow);

/* A decode session: input, wanted format and options, parse results, the slots of the running decoder. Made by
 * VORELBRIM_CreateDecInfo and its like, which zero it, and freed by VORELBRIM_DestroyDecInfo. "set" fields are the
 * caller's to set before a decode; "read" fields are the library's results; the rest is the library's own, and 0 where
 * nothing is running. */
typedef struct DecInfo {
    IoInfo *ioInfo;                   /* owned */
    int32_t outColorFormat;           /* set: COLOR_ */
    uint32_t decOption;               /* set: VOREL_OPTION_ bits */
    int32_t decMode;                  /* set: 0 to 4, see VORELBRIM_SetDecMode; VORELBRIM_DecodeJPEG sets 0 */
    uint32_t imageWidth, imageHeight; /* read: the picture's own size, behind a parse or a decode */
    /* read: the output's size. While a JPEG decode runs that of the upright picture, behind it as it stands in the
     * buffer: a turn by 90 or 270 exchanges the two. */
    uint32_t outWidth, outHeight;
    uint32_t decoderReady;
    int32_t imageType;        /* read: VOREL_IMAGE_, behind a parse */
    VorelCheckFn checkFn;     /* set: called once per iMCU row; VORELBRIM_CheckFn at first, null for none */
    ProgressRecord *progress; /* set: from malloc, freed with the session */
    uint32_t gifFlag;         /* read: 1 where the GIF that was decoded has a transparent index */
    void *codecState;         /* of the running decoder */
    struct Midpoint *midpointState;
    struct JpegInfo *retainedJpegInfo;
    uint32_t totalDuration; /* read: GIF, sum of frame delays in ms, added to by every parse */
    void *gifLineBuffers[2];
    int32_t sampleSize;     /* set: reduction that target sides of 0 are filled in by, 0 for none */
    uint32_t *regionMap;    /* owned */
    uint32_t partialDecode; /* set: 1 where only the window below is wanted */
    /* set: the window, in pixels of the output before it is turned. It is cut to the output. A decode without one fills
     * them in while it runs. */
    uint32_t partialX, partialY, partialWidth, partialHeight;
    /* set: 0, the output buffer holds the window alone, its rows partialWidth pixels long; 1, it is the whole target's,
     * for pixel formats beginning at the window's first pixel. */
    uint32_t partialToBuffer;
    void *fileBuffer,
        *extraBuffer;   /* set: the caller's, which frees them before the session; for keeping memory with it */
    uint32_t abortFlag; /* set, from any thread: nonzero stops decoding at the next iMCU row */
    struct DecInfo *children[32];
    struct DecInfo *parent;
    int32_t childCount;
    uint32_t childIndex;
    struct Midpoint *midpoints[4]; /* owned */
    int32_t midpointCount;         /* set: how many are wanted, or are there; at most 4 */
    int32_t midpointIndex, midpointPhase;
    struct JpegInfo *midpointDecoders[3]; /* of midpoints 2 to 4 */
    uint32_t stripStartRow;
    uint32_t multiThread;
    struct RegionJob *regionJobs; /* owned */
    int32_t regionJobCount, regionNextJob;
    uint32_t jobsExhausted;
    pthread_mutex_t jobMutex; /* of the jobs, and of counters that threads of one session share */
    uint32_t streamOffset;    /* set: where the JPEG stream begins in the input, bytes */
    /* read, of a JPEG behind a parse: as in ImageInfo. */
    uint32_t jpegProgressive, jpegRestartInterval, jpegMaxV, jpegMaxH, jpegComponents;
    struct vorel_threadpool *threadPool;
    int32_t decodeResult; /* read: -1 before and while a JPEG decode runs, then its result */
    uint32_t dualMode, dualTargetWidth, dualTargetHeight;
    uint32_t dualBusy;
    uint32_t bandStep, bandCount, bandIndex;
    struct BandRow *bandTable;
    void *bandOutput;
    uint32_t bandThreads;
    uint32_t *bandsBusy;
    struct vorel_threadpool *scanPool;
    uint32_t threadBandStart, noMidpointTaking;
    uint32_t multiScan; /* read: 1 where the last JPEG was a baseline picture in several scans */
    uint32_t multiscanInterval;
    uint32_t frameDelay; /* read: animated GIF, delay of the frame that follows, ms */
} DecInfo;

/* Between a handle and its session. */
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

/* Sends the diagnostics to print, which may be called from several threads at once. Null goes back to how a process
 * starts: to __android_log_print where the process provides it, else nowhere. Returns the function that was set
 * before, null if none was. Any thread. */
VOREL_API VorelLogPrint vorel_set_log_print(VorelLogPrint print);

/* ---- Operating system ---------------------------------------------------------------------------------------- */
/* Each does what its libc or POSIX namesake does, but for what is said here. Sizes, counts and positions are bytes or
 * elements in 31 bits. A null stream, and the (FILE *)-1 of a failed VORELBRIM_OpenFile, fail instead of crashing. */

/* malloc, realloc, free; a negative size gives null (and leaves the old block of realloc alone). Free accepts null. */
VOREL_API void *VORELBRIM_OsMalloc(int32_t size);
VOREL_API void *VORELBRIM_OsRealloc(void *pointer, int32_t size);
VOREL_API void VORELBRIM_OsFree(void *pointer);

/* memset, memcpy; a count of 0 or less touches nothing. Return destination. */
VOREL_API void *VORELBRIM_OsMemset(void *destination, int32_t value, int32_t count);
VOREL_API void *VORELBRIM_OsMemcpy(void *destination, const void *source, int32_t count);

/* usleep. */
VOREL_API int32_t VORELBRIM_OsSleep(uint32_t microseconds);

/* fopen. A mode that begins with 'r' refuses directories without a log line, and for reading alone opens nothing but
 * regular files, so it never waits; any other failure leaves the line "<path> : <errno> open fail". Null on failure,
 * and for a null argument. The caller closes. */
VOREL_API FILE *VORELBRIM_OsFopen(const char *path, const char *mode);

/* VORELBRIM_OsFopen(path, "rb"), but a failure is (FILE *)-1, not null. */
VOREL_API FILE *VORELBRIM_OpenFile(const char *path);

/* fclose; -1 for a stream that is not open. */
VOREL_API int32_t VORELBRIM_OsFclose(FILE *stream);
VOREL_API int32_t VORELBRIM_CloseFile(FILE *stream);

/* fseek: 0 or -1. ftell: the position, -1 also for one above 2^31 - 1. */
VOREL_API int32_t VORELBRIM_OsFseek(FILE *stream, int32_t offset, int32_t whence);
VOREL_API int32_t VORELBRIM_OsFtell(FILE *stream);

/* fread: elements read, 0 also for a null buffer and for negative sizes. */
VOREL_API int32_t VORELBRIM_OsFread(void *buffer, int32_t size, int32_t count, FILE *stream);

/* fseek, then ftell: the position after the seek, whether or not it succeeded; -1 where none can be told. */
VOREL_API int32_t VORELBRIM_SeekFile(FILE *stream, int32_t offset, int32_t whence);

/* Bytes read, 0 at the end. */
VOREL_API int32_t VORELBRIM_ReadFile(FILE *stream, void *destination, int32_t count);

/* fwrite: elements written; -1 when any argument is null, zero or negative. */
VOREL_API int32_t VORELBRIM_OsFwrite(const void *buffer, int32_t size, int32_t count, FILE *stream);

/* clock(), cut to 32 bits. */
VOREL_API int32_t VORELBRIM_OsClock(void);

/* Starts routine(argument) on a thread of system scope. 1 with the handle stored, or 0 and a log line. */
VOREL_API int32_t VORELBRIM_OsThreadCreate(void *(*routine)(void *), void *argument, pthread_t *outHandle);

/* pthread_join; the thread's result is dropped. 0, or an error number. */
VOREL_API int32_t VORELBRIM_OsThreadWait(pthread_t handle, void *ignored);

/* The mutex calls: 0, or an error number. Close does nothing and returns 0. */
VOREL_API int32_t VORELBRIM_OsThreadMutex_Init(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Lock(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Unlock(pthread_mutex_t *mutex);
VOREL_API int32_t VORELBRIM_OsThreadMutex_Close(pthread_mutex_t *mutex);

/* Where an outside pause or stop signal would come in: stores 0, go on. */
VOREL_API void VORELBRIM_CheckExStatus(int32_t *outStatus);

/* Does nothing. */
VOREL_API void rim_SetError(int32_t code);

/* size bytes at an address divisible by 16, not cleared; size 0 is allowed. owner is ignored. Null without memory and
 * for a negative size. Only BRIM_FakeFree, which accepts null, frees it. */
VOREL_API void *BRIM_FakeMalloc(void *owner, int32_t size);
VOREL_API void BRIM_FakeFree(void *pointer);

/* value rounded up to a multiple of power, a power of two. */
VOREL_API int32_t round_up_pow2(int32_t value, int32_t power);

/* ---- Input streams ------------------------------------------------------------------------------------------- */

/* Opens an input of kind 0 (a path), 1 (size bytes of the caller's memory, which must live as long as the input),
 * 2 (a FILE, which stays the caller's) or 5 (memory from malloc that a session will own). size 0 learns the size of a
 * path; leaves the size of a FILE at 0 and rewinds it. Null on failure, with error word 4, 11 (other kinds),
 * 12 (memory of size 0) or 13 (path does not open, its size does not fit 31 bits, or null FILE). */
VOREL_API IoInfo *VORELBRIM_Open_IO(uint32_t kind, void *pathOrBufferOrStream, int32_t size);

/* Opens an input over callbacks; size is what the stream will deliver. Null, with error word 4, without memory. */
VOREL_API IoInfo *VORELBRIM_Open_Stream(void *context, VorelReadFn readFn, VorelSkipFn skipFn, VorelRewindFn rewindFn,
                                        int32_t size);

/* Copies up to count bytes. Returns how many came, 0 at the end, -1 for an unknown kind and a null io. What a read
 * callback claims beyond count, or below 0, is not believed. */
VOREL_API int32_t VORELBRIM_Read_IO(IoInfo *io, void *destination, int32_t count);

/* As VORELBRIM_Read_IO, but memory is not copied: the address of the bytes is stored in *inOutPointer. Other kinds
 * read to where *inOutPointer points. */
VOREL_API int32_t VORELBRIM_Read_IO2(IoInfo *io, uint8_t **inOutPointer, int32_t count);

/* whence 0 from the start, 1 from the position, 2 from the end. Returns the new position, or -1. Memory: 0 and 1 stop
 * at the size; 1 may go below 0, where reads give nothing; offsets below 0 with 0 and above 0 with 2 are -1; another
 * whence returns the position. Files: the stream's position. Callbacks: forward by skip; 0 rewinds first, and without
 * a rewind callback returns 0 and moves nothing. */
VOREL_API int32_t VORELBRIM_Seek_IO(IoInfo *io, int32_t offset, int32_t whence);

/* Frees the record; a path input also its stream and its copy of the path. Memory stays. 1, or 0 with nothing freed
 * for null and for unknown kinds. */
VOREL_API int32_t VORELBRIM_Close_IO(IoInfo *io);

/* The block for a cursor: the input itself for kind 1, else 16384 bytes; null without memory. Release gets the
 * pointer that allocation gave, not the cursor's, and may be called with null. */
VOREL_API uint8_t *BRIMJ_AllocateStreamBuffer(IoInfo *io);
VOREL_API void BRIMJ_ReleaseStreamBuffer(IoInfo *io, uint8_t *buffer);

/* Refills a cursor: 2 when needed bytes are there already, 1 when bytes were added, 0 when none could be, also when
 * available + needed is above 16384. 1 does not promise needed bytes: look at available. */
VOREL_API int32_t BRIMJ_CheckBuffer(StreamBuffer *streamBuffer, int32_t needed);

/* ---- Sessions: making, options ------------------------------------------------------------------------------- */

/* Opens an input as VORELBRIM_Open_IO or VORELBRIM_Open_Stream do and a session over it. Null on failure; the error
 * word says why. options are the VOREL_OPTION bits. Freed by VORELBRIM_DestroyDecInfo. */
VOREL_API DecInfo *VORELBRIM_CreateDecInfo(uint32_t ioKind, void *pathOrBuffer, int32_t size, int32_t colorFormat,
                                           uint32_t options);
VOREL_API DecInfo *VORELBRIM_CreateDecInfoWithStream(void *context, int32_t size, VorelReadFn readFn,
                                                     VorelSkipFn skipFn, VorelRewindFn rewindFn, int32_t colorFormat,
                                                     uint32_t options);

/* Closes the input and frees the session with all it owns: progress record, region map, midpoints, region jobs.
 * fileBuffer and extraBuffer stay the caller's; free them first. A retained JpegInfo goes by
 * VORELBRIM_DestroyJpegInfo, before. 1, or 0 with error word 1 for null. */
VOREL_API int32_t VORELBRIM_DestroyDecInfo(DecInfo *session);
VOREL_API int32_t VORELBRIM_DestroyJpegInfo(DecInfo *session);

/* Frees the memory of a kind-1 input, which must come from malloc, and forgets it (as fileBuffer too, if it is the
 * same). The session then reads nothing. 1, or 0 for other kinds and null. */
VOREL_API int32_t VORELBRIM_DestroyInputBuffer(DecInfo *sessionPointer);

/* Replaces the whole option word. 1, or 0 for null. */
VOREL_API int32_t VORELBRIM_SetDecOption(DecInfo *session, uint32_t options);

/* Stores the mode, brought into 0 to 4. A mode trades quality for speed in decodes that keep it (BRIMJ_DecodeFrame; a
 * plain VORELBRIM_DecodeJPEG takes mode 0): 0 as the size asks; 1 holds fine quantisers of full-size pictures to
 * coarser ones; 2 halves the DCT scale once more (1/2 becomes 3/8) and picks samples instead of means; 3 as 2, and
 * takes 3/8 for the full size; 4 decodes at 1/8 whatever the size. 1, or 0 for null. */
VOREL_API int32_t VORELBRIM_SetDecMode(DecInfo *session, int32_t mode);

/* The default checkFn: 1 to go on, 0 to stop. On the fourth check of the process, and every third from there, calls
 * the session's progress callback with currentRow as a percentage of outHeight; a 0 from it stops. */
VOREL_API int32_t VORELBRIM_CheckFn(DecInfo *session, uint32_t currentRow);

/* Always 1. */
VOREL_API int32_t VORELBRIM_ZoomCheckFn(DecInfo *session, uint32_t currentRow);

/* Bytes a pixel that a display buffer for the session's format is given: 2 for formats 0, 2, 18, 19, else 4; 0 for
 * null. Coarser than the formats themselves. */
VOREL_API int32_t getBytePerPixel(const DecInfo *session);

/* ---- Sessions: parsing --------------------------------------------------------------------------------------- */
/* All read from the start of the input, and set the error word: 0 on entry, 1 null session, 4 out of memory, 5 header
 * unreadable. A null imageInfo gives 0. */

/* The image type, VOREL_IMAGE_NONE when the input is unknown, damaged, or larger than 225000000 pixels; in the last
 * case imageInfo holds the sizes and the session's imageType the type. */
VOREL_API int32_t VORELBRIM_Parser(DecInfo *session, ImageInfo *imageInfo);

/* The image type by the first bytes alone: any GIF is VOREL_IMAGE_GIF. */
VOREL_API int32_t VORELBRIM_GetImageType(DecInfo *session);

/* As VORELBRIM_Parser for an input that is taken for a GIF. totalDuration of the session grows by each frame's delay,
 * at least minimumDelay ms. */
VOREL_API int32_t VORELBRIM_SimpleParserGIF(DecInfo *session, ImageInfo *imageInfo, uint32_t minimumDelay);

/* As VORELBRIM_Parser for an input that is taken for a JPEG, without the limit: 1 or 0. */
VOREL_API int32_t VORELBRIM_JpgParser(DecInfo *session, ImageInfo *imageInfo);

/* The same shape for thumbnails, which are not looked for: 1 with width and height 0. */
VOREL_API int32_t VORELBRIM_ThumbnailParser(DecInfo *session, ImageInfo *imageInfo);

/* Sets both outputs to 0 and returns 0; either may be null. */
VOREL_API int32_t VORELBRIM_GetJpegOffset(DecInfo *session, int32_t *outOffset, int32_t *outLength);

/* The cores, over a cursor of the caller. The block must begin at the file's first byte. imageInfo may be null and is
 * not cleared; sizes go to the session. BRIM_ParseJPEGOffset differs in which bitmap headers it takes. */
VOREL_API int32_t BRIM_Parse(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo);
VOREL_API int32_t BRIM_ParseJPEGOffset(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo);
VOREL_API int32_t BRIM_GetImageType(DecInfo *session, StreamBuffer *streamBuffer);
VOREL_API int32_t __BRIM_ParserGIF(DecInfo *session, StreamBuffer *streamBuffer, ImageInfo *imageInfo,
                                   uint32_t minimumDelay);
VOREL_API int32_t __BRIM_ParserWBMP(DecInfo *session, StreamBuffer *streamBuffer);

/* ---- Handles ------------------------------------------------------------------------------------------------- */
/* Numbers 1 to 255 for sessions, in a table of the process. Opening and closing are safe from any thread; one handle
 * belongs to one thread at a time. The order is open, set, get, close. */

/* kind 0 opens the path pathOrBuffer, size 0 meaning that its size is looked up; kind 1 takes size bytes of memory.
 * Both must live until the handle is closed. The handle, or 0. */
VOREL_API int32_t VORELBRIM_OpenDecHandle(const void *pathOrBuffer, int32_t size, uint32_t kind);

/* Binds the input to the handle's session and parses it unless its type is known: 1 when the type is known then. */
VOREL_API int32_t VORELBRIM_SetDecInfoFromHandle(int32_t handle, int32_t colorFormat);

/* The handle's session, which stays the handle's; null for no such handle. */
VOREL_API DecInfo *VORELBRIM_GetDecInfoFromHandle(int32_t handle);

/* Closes the file and the session and gives the number back. 1, or 0 for no such handle. */
VOREL_API int32_t VORELBRIM_CloseDecHandle(int32_t handle);

/* The table. operation 0 makes a cleared record, 1 fetches that of id, 2 frees that of id (the record only) and
 * empties the slot. Returns the id (1 for operation 2), or 0; outId and outRecord may be null. */
VOREL_API int32_t __rim_dec_handle_contorl(int32_t id, int32_t *outId, DecHandle **outRecord, int32_t operation);
VOREL_API int32_t rim_dec_handle_create(void);
VOREL_API DecHandle *rim_dec_handle_get_struct(int32_t handle);
VOREL_API int32_t rim_dec_handle_destory(int32_t handle);

/* The steps of the four operations above: 1 or 0, a handle or 0, a session or null. rim_create_dec_info gives the
 * record a session with an empty input; a record that has one already is refused. */
VOREL_API int32_t rim_dec_handle_open(const void *source, int32_t size, uint32_t kind);
VOREL_API int32_t rim_dec_handle_close(int32_t handle);
VOREL_API int32_t rim_create_dec_info(DecHandle *record);
VOREL_API int32_t rim_destroy_dec_info(DecHandle *record);
VOREL_API int32_t __rim_codec_ctrl_set_dec_info(DecHandle *record);
VOREL_API DecInfo *rim_get_decinfo_from_handle(int32_t handle);
VOREL_API int32_t rim_set_decinfo_from_handle(int32_t handle, int32_t colorFormat);

/* ---- Pixels from a path or a buffer -------------------------------------------------------------------------- */
/* The Vorel entries take any format, the Vjpg twins only JPEG. All return nonzero on success, 0 on failure, which
 * leaves a log line. Null arguments fail. */

/* Bytes of a regular file; 0 also for one that is empty or has 2 GiB or more. */
VOREL_API int32_t VorelGetFileSize(const char *path);
VOREL_API int32_t VjpgGetFileSize(const char *path);

/* The image type and, if it is not 0, the size in pixels. */
VOREL_API int32_t VorelGetImageInfoFromFile(const char *path, int32_t ignored1, int32_t ignored2, int32_t *outWidth,
                                            int32_t *outHeight);
VOREL_API int32_t VjpgGetImageInfoFromFile(const char *path, int32_t ignored1, int32_t ignored2, int32_t *outWidth,
                                           int32_t *outHeight);

/* The same for the length bytes that begin at buffer + offset. */
VOREL_API int32_t VorelGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth,
                                              int32_t *outHeight);
VOREL_API int32_t VjpgGetImageInfoFromBuffer(const void *buffer, int32_t offset, int32_t length, int32_t *outWidth,
                                             int32_t *outHeight);

/* Decode at 1/sampleSize (1 for anything below 1): output receives width / sampleSize by height / sampleSize pixels of
 * colorFormat, and must have room for them. Files below 20 MiB are read whole. */
VOREL_API int32_t VorelDecodeFile(const char *path, void *output, int32_t ignored, int32_t colorFormat,
                                  int32_t sampleSize);
VOREL_API int32_t VjpgDecodeFile(const char *path, void *output, int32_t ignored, int32_t colorFormat,
                                 int32_t sampleSize);
VOREL_API int32_t VorelDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat,
                                    int32_t sampleSize);
VOREL_API int32_t VjpgDecodeBuffer(const void *buffer, void *output, int32_t length, int32_t colorFormat,
                                   int32_t sampleSize);

/* The same with three option words, or null: options[0] with VOREL_OPTION_EXIF_ORIENTATION turns the decoded picture
 * upright in output; options[1] and options[2] receive its width and height after that, also when decoding failed. */
VOREL_API int32_t VorelDecodeFileOpt(const char *path, void *output, int32_t ignored, int32_t colorFormat,
                                     int32_t sampleSize, int32_t *options);
VOREL_API int32_t VjpgDecodeFileOpt(const char *path, void *output, int32_t ignored, int32_t colorFormat,
                                    int32_t sampleSize, int32_t *options);
VOREL_API int32_t VorelDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat,
                                       int32_t sampleSize, int32_t *options);
VOREL_API int32_t VjpgDecodeBufferOpt(const void *buffer, void *output, int32_t length, int32_t colorFormat,
                                      int32_t sampleSize, int32_t *options);

/* JPEG, from a path (size 0) or size bytes of memory, fitted into width x height pixels of output. Formats 2, 7, 8,
 * 17, 18 and 19. Nonzero or 0. */
VOREL_API int32_t decodeJPEG(const void *pathOrBuffer, int32_t size, void *output, int32_t width, int32_t height,
                             int32_t colorFormat);

/* A session, source as for decodeJPEG, that has read its whole header, Exif included; null on failure, also for a
 * picture with a side below 8. The source must live as long. destroyExif frees it: 1, or 0 for null. */
VOREL_API DecInfo *getExif(const void *pathOrBuffer, int32_t size);
VOREL_API int32_t destroyExif(DecInfo *session);

VOREL_END_DECLS

#endif
