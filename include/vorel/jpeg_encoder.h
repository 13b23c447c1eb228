/* The JPEG encoder: baseline and progressive streams (ITU-T T.81) from raw pixels, in memory, to a file or through a
 * callback. Baseline streams carry restart markers, so that strips are encoded side by side and the picture can be
 * decoded in bands. Functions return 1, or 0 with nothing promised about what was written, unless they say otherwise.
 * Quality runs from 1 to 100 and is clamped. Sizes are pixels, 1 to 49,999 either way.
 *
 * Memory that a stream goes to must come from VORELBRIM_OsMalloc: it is replaced where it is too small, and freed with
 * VORELBRIM_OsFree by the caller. Functions that take a buffer and its size as in/out leave the stream and its length
 * there. */
#ifndef VOREL_JPEG_ENCODER_H
#define VOREL_JPEG_ENCODER_H

#include <stdint.h>
#include <stdio.h>

#include <vorel/exif.h>
#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

/* ---- What is encoded ----------------------------------------------------------------------------------------- */

/* Formats with a reader: COLOR_RGB565, RGB888, YUV420, YUV422, GRAY, RGBA8888, BGRA8888, YUV440, YUV444, YUYV, NV21,
 * NV12. Every other number, also COLOR_ARGB8888 and BGR565A, gives a flat picture. Streams are 4:2:0, but for YUV422
 * and YUYV (4:2:2), YUV440, YUV444 and GRAY. Rows follow each other without padding, but those of YUYV, which are
 * padded to a multiple of 4 bytes. */
typedef struct RawInfo {
    uint32_t width;
    int32_t height;     /* rows that this session encodes: of a strip, the strip's */
    uint8_t *pixels;    /* interleaved pixels, or planes behind one another; null: planeY, planeU and planeV */
    uint32_t stripMode; /* this is a strip of a larger picture */
    uint32_t notFirstStrip, notLastStrip;  /* without header; without end */
    uint32_t fullHeight, stripStartRow;    /* of the whole picture; the strip's first row in it */
    uint32_t format, formatTag;            /* COLOR_; the tag is carried along */
    ExifInfo *exif;                        /* for the APP1 segment of a baseline stream, or null */
    uint8_t *planeY, *planeU, *planeV;     /* of NV21 and NV12 planeU has the pairs; of GRAY it may not be null */
    uint32_t progressive, optimizeHuffman; /* for the functions that say that they look at them */
} RawInfo;

/* A record of the caller's with a zeroed buffer for its pixels, which VORELBRIM_DestroyRawInfo frees with it. Null for
 * a side below 1 (debug_BrimCodecError 12), of 50,000 or more, and without memory (15). An unknown format becomes
 * COLOR_RGB565, with error 7. */
VOREL_API RawInfo *VORELBRIM_CreateRawInfo(int32_t width, int32_t height, int32_t format);
/* 1, also for null. */
VOREL_API int32_t VORELBRIM_DestroyRawInfo(RawInfo *raw);

/* A Huffman table as DHT has it (T.81 B.2.4.2): counts[1] to [16] are the numbers of codes of each length. */
typedef struct HuffmanSlot {
    uint8_t counts[17];
    uint8_t values[256];
    uint8_t pad[3];
    uint32_t mark; /* 1: made by brim_jpeg_gen_optimal_table */
} HuffmanSlot;

/* Quality, and tables of the caller's in place of those of T.81 annex K. Index 0 is luma, 1 chroma. */
typedef struct HuffmanSpec {
    uint32_t quality;
    uint32_t *userPair; /* two words that the session copies, or null */
    uint32_t reserved;
    HuffmanSlot dcSlots[2], acSlots[2];
    uint32_t valid; /* the slots hold tables */
} HuffmanSpec;

/* Where a stream goes. */
typedef void (*RimEncCallback)(void *callbackArg, uint8_t *data, uint32_t count);
typedef struct RimEncSink {
    uint32_t mode;     /* 0 file, 1 memory, 4 callback; others: memory that does not grow */
    uint32_t capacity; /* of the buffer */
    uint32_t position; /* next byte in it */
    uint32_t total;    /* bytes produced; of memory at the end only */
    FILE *file;
    uint8_t *buffer;
    RimEncCallback callback;
    void *callbackArg;
} RimEncSink;

/* ---- Whole pictures, in the calling thread --------------------------------------------------------------------- */

/* To memory. A size below 0 fails; a smaller buffer than 2048 bytes becomes one of 2048. */
VOREL_API int32_t rim_enc_jpeg_to_buffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality);
/* The same with tables; heeds stripMode, progressive and optimizeHuffman, which measures tables into spec. When it
 * fails the buffer is freed, and pointer and size are 0; a record that is refused leaves them. */
VOREL_API int32_t rim_enc_jpeg_to_buffer_ex(RawInfo *raw, uint8_t **buffer, uint32_t *size, HuffmanSpec *spec);
/* To a new file; _ex heeds progressive and optimizeHuffman. */
VOREL_API int32_t rim_enc_jpeg_to_file(RawInfo *raw, const char *path, int32_t quality);
VOREL_API int32_t rim_enc_jpeg_to_file_ex(RawInfo *raw, const char *path, HuffmanSpec *spec);
/* Through a callback, in pieces of about 4 KiB, baseline. 0 where callback or argument is null. */
VOREL_API int32_t rim_enc_jpeg_to_stream(RawInfo *raw, RimEncCallback callback, int32_t quality, void *callbackArg);
VOREL_API int32_t rim_enc_jpeg_to_stream_ex(RawInfo *raw, RimEncCallback callback, HuffmanSpec *spec,
                                            void *callbackArg);
/* Into record->buffer of record->capacity bytes, which stays where it is: 0 where the stream is longer. record->total
 * is the length. Baseline. */
VOREL_API int32_t rim_enc_jpeg_to_buffer_full_buffer(RawInfo *raw, RimEncSink *record, int32_t quality);
VOREL_API int32_t rim_enc_jpeg_to_buffer_ex_full_buffer(RawInfo *raw, RimEncSink *record, HuffmanSpec *spec);
/* To record->file, which is closed. Baseline. */
VOREL_API int32_t rim_enc_jpeg_to_file_full_buffer(RawInfo *raw, RimEncSink *record, int32_t quality);
VOREL_API int32_t rim_enc_jpeg_to_file_ex_full_buffer(RawInfo *raw, RimEncSink *record, HuffmanSpec *spec);

/* The same as rim_enc_jpeg_to_file and rim_enc_jpeg_to_buffer behind a check of the arguments: a null record, path,
 * buffer, size or plane is refused with debug_BrimCodecError 15. */
VOREL_API int32_t VORELBRIM_EncodeJpegToFile(RawInfo *raw, const char *path, int32_t quality);
VOREL_API int32_t VORELBRIM_EncodeJpegToBuffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality);

/* ---- Whole pictures, in strips on several threads ------------------------------------------------------------- */

/* The stream that one session would write, from pictures of at least 512 rows on made in strips; smaller and
 * progressive ones by rim_enc_jpeg_to_buffer and rim_enc_jpeg_to_file. With optimizeHuffman tables are measured, of
 * NV21 and NV12 only below 512 rows. Arguments are checked as above. To memory, by six strips: *size comes in as the
 * buffer's capacity. */
VOREL_API int32_t VORELBRIM_PEncodeJpegToBuffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality);
/* To a new file, by strips of 64 rows. A file that cannot be opened gives 1 from 512 rows on, as does a strip that
 * failed. */
VOREL_API int32_t DBG_VORELBRIM_PEncodeJpegToFile(RawInfo *raw, const char *path, int32_t quality);

/* The same for pixels in one block: types COLOR_YUV420, RGBA8888, BGRA8888, YUYV, NV21, NV12. Another type is refused
 * with a line in the log. ...Opt differ in their log lines. */
VOREL_API int32_t encodeJPEGToFile(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                                   int32_t quality);
VOREL_API int32_t encodeJPEGToFileOpt(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                                      int32_t quality);
VOREL_API int32_t encodeJPEGToBuffer(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                                     int32_t *size, int32_t quality);
VOREL_API int32_t encodeJPEGToBufferOpt(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                                        int32_t *size, int32_t quality);
/* Resized first (vorel_resize_yuv420, vorel_resize_nv21): COLOR_YUV420 and NV21. */
VOREL_API int32_t encodeScaledJPEGToFile(void *pixels, int32_t sourceWidth, int32_t sourceHeight, int32_t width,
                                         int32_t height, int32_t type, const char *path, int32_t quality);
VOREL_API int32_t encodeScaledJPEGToBuffer(void *pixels, int32_t sourceWidth, int32_t sourceHeight, int32_t width,
                                           int32_t height, int32_t type, uint8_t **buffer, int32_t *size,
                                           int32_t quality);

/* The same for any format with a reader; of _YUV to memory COLOR_YUV420 alone, in the calling thread; of _NV NV21 and
 * NV12, to a file in the calling thread. */
VOREL_API int32_t VjpgEncodeToFile(const char *path, void *pixels, int32_t width, int32_t height, int32_t format,
                                   int32_t quality);
VOREL_API int32_t VjpgEncodeToFile_YUV(const char *path, void *y, void *u, void *v, int32_t width, int32_t height,
                                       int32_t format, int32_t quality);
VOREL_API int32_t VjpgEncodeToBuffer(uint8_t **buffer, int32_t *size, void *pixels, int32_t width, int32_t height,
                                     int32_t format, int32_t quality);
VOREL_API int32_t VjpgEncodeToBuffer_YUV(uint8_t **buffer, int32_t *size, void *y, void *u, void *v, int32_t width,
                                         int32_t height, int32_t format, int32_t quality);
VOREL_API int32_t VjpgEncodeToFile_NV(const char *path, void *y, void *uv, int32_t width, int32_t height,
                                      int32_t format, int32_t quality);
VOREL_API int32_t VjpgEncodeToBuffer_NV(uint8_t **buffer, int32_t *size, void *y, void *uv, int32_t width,
                                        int32_t height, int32_t format, int32_t quality);

/* ---- Later ----------------------------------------------------------------------------------------------------- */

/* A pool of threads for encodes; waitTask runs what is queued and frees it. */
VOREL_API struct vorel_threadpool *initTask(int32_t threadCount);
VOREL_API int32_t waitTask(struct vorel_threadpool *pool);
/* Queue encodeJPEGToFile or encodeJPEGToBuffer on the pool. Pixels, and of the second buffer and size, have to live
 * until waitTask is over. What vorel_threadpool_add says: 1 queued, -2 the pool is full, -1 any other failure. */
VOREL_API int32_t encodeJPEGToFileAsync(void *pixels, int32_t width, int32_t height, int32_t type, const char *path,
                                        int32_t quality, struct vorel_threadpool *pool);
VOREL_API int32_t encodeJPEGToBufferAsync(void *pixels, int32_t width, int32_t height, int32_t type, uint8_t **buffer,
                                          int32_t *size, int32_t quality, struct vorel_threadpool *pool);
/* The task that they queue, with a record of the encoder's own; null for null. */
VOREL_API void *encodeAsync(void *asyncTask);

VOREL_END_DECLS

#endif
