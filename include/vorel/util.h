/* Utilities on raw frames: a thread pool, resizers, rotation and colour converters.
 *
 * Frames stand without padding: rows follow one another, planes too. For a size of w x h pixels, with cw = (w + 1) / 2
 * and ch = (h + 1) / 2:
 *     planar 4:2:0  w * h bytes Y, cw * ch bytes U, cw * ch bytes V
 *     NV12, NV21    w * h bytes Y, cw * ch pairs U V (NV12) or V U (NV21)
 *     RGBA, BGRA    w * h times four bytes in the order of the name
 *     RGB888        w * h times the bytes R, G, B
 * A frame may be as large as memory allows; its bytes are counted in size_t. Functions that are given a null pointer, a
 * size below 1 or a frame of more than PTRDIFF_MAX bytes do nothing. Sources and destinations must not overlap unless a
 * function says so. Results depend on the input alone: not on the processor, nor on the number of threads. */
#ifndef VOREL_UTIL_H
#define VOREL_UTIL_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

/* ---- Thread pool ---------------------------------------------------------------------------------------------- */

enum { VOREL_THREADPOOL_TASKS = 2000 };

/* One task; both fields are null while the record is unused. */
typedef struct vorel_threadpool_task {
    void *(*routine)(void *argument); /* its result is ignored */
    void *argument;
} vorel_threadpool_task;

/* A ring. When it becomes empty head and tail return to 0; empty slots are null. */
typedef struct vorel_threadpool_queue {
    uint32_t head, tail, count;
    vorel_threadpool_task *slots[VOREL_THREADPOOL_TASKS];
} vorel_threadpool_queue;

/* A pool, in one allocation. The two locks are never held together, and routines run with none held. */
typedef struct vorel_threadpool {
    vorel_threadpool_queue waiting; /* tasks ready to run */
    vorel_threadpool_queue free;    /* unused records */
    vorel_threadpool_task tasks[VOREL_THREADPOOL_TASKS];
    uint16_t threadCount;
    uint16_t stop; /* nonzero: workers leave once waiting is empty; read and written atomically */
    pthread_t *threads;
    pthread_mutex_t freeLock, waitingLock;
    pthread_cond_t freeNotEmpty, waitingNotEmpty;
} vorel_threadpool;

/* Starts a pool of threadCount threads, at most 65535. A count below 1 gives a pool without threads, whose tasks wait
 * for someone who takes them from the queue. Null when memory, a lock or a thread cannot be had. */
VOREL_API vorel_threadpool *vorel_threadpool_init(int32_t threadCount);

/* Queues routine(argument). May be called from any thread; tasks start in the order of their coming, and run at once
 * on as many threads as there are. argument stays the caller's and has to live until the routine has run.
 * block: 0 gives up when all 2000 records are taken (those of running tasks count too), else waits for one; on a pool
 * without threads that is for ever. A null routine takes a record away for good.
 * Returns 1 queued, -2 no record free, -1 any other failure, also a null pool. */
VOREL_API int32_t vorel_threadpool_add_task(vorel_threadpool *pool, void *(*routine)(void *), void *argument,
                                            int32_t block);

/* Ends the pool after the tasks that are queued; nobody may add any more. wait: nonzero returns when all is over, and
 * must not come from one of the pool's own tasks; 0 returns at once, and the pool must not be touched again. On a pool
 * without threads queued tasks never run. A null pool is nothing. */
VOREL_API void vorel_threadpool_free(vorel_threadpool *pool, int32_t wait);

/* The queues take no locks themselves. enqueue: 0, or -1 for null, when the queue is full or the slot at its tail is
 * taken. dequeue: null for a null or empty queue. is_empty: 1 for a null queue. */
VOREL_API int32_t vorel_threadpool_queue_enqueue(vorel_threadpool_queue *queue, vorel_threadpool_task *task);
VOREL_API vorel_threadpool_task *vorel_threadpool_queue_dequeue(vorel_threadpool_queue *queue);
VOREL_API int32_t vorel_threadpool_queue_is_empty(const vorel_threadpool_queue *queue);
VOREL_API int32_t vorel_threadpool_queue_getsize(const vorel_threadpool_queue *queue);

/* Clears both fields. */
VOREL_API void vorel_threadpool_task_init(vorel_threadpool_task *task);

/* Takes the next task, waiting for one. Its record belongs to the caller and does not come back to the pool. Null for a
 * null pool, when the pool stops and its queue is empty, and when a lock or a wait fails. */
VOREL_API vorel_threadpool_task *vorel_threadpool_task_get_task(vorel_threadpool *pool);

/* ---- Resizers ---------------------------------------------------------------------------------------------------
 *
 * One filter for all. A destination sample d of D draws on the source samples ((S >> 2) + d * S) / D and
 * (((3 * S) >> 2) + d * S) / D of S, across and down: it is the sum of four samples, each shifted right by 2 first. So
 * white (255) becomes 252, and a picture at its own size loses its two lowest bits. Chroma planes are resized by
 * themselves, from their own size to their own size.
 *
 * Names: the plain ones choose between _sg (in the calling thread; source heights below 1024) and _tps (in bands over
 * up to four threads and the caller's; work of less than a millisecond or so stays in the caller's). _tp is the work of
 * one band, _get_pos moves a band's record on to the next. For every canvas, and for destinations that are no multiples
 * of 4 both ways, the planar and semi-planar forms need memory for a copy of the result, and write nothing when there
 * is none. */

/* Where a _keep_ratio form puts its picture: targetWidth wide, srcHeight * targetWidth / srcWidth high, at (offsetX,
 * offsetY) of a canvas that is cleared first (Y and RGBA 0, chroma 128). Chroma goes to half of the offsets. Nothing
 * is written when canvasWidth < targetWidth + offsetX, when canvasHeight is less than the height, or when that is 0.
 * What lies outside the canvas otherwise is cut off. */
typedef struct ResizeCanvas {
    uint8_t *pixels;
    int32_t canvasWidth, canvasHeight;
    int32_t offsetX, offsetY;
    int32_t targetWidth;
} ResizeCanvas;

/* One band: rows of the source, and the destination rows whose first tap is among them. A band writes its rows alone
 * and whole, so bands may run at the same time and in any order. A band without source planes or without a place for
 * the result makes nothing and is finished. tapA and tapB are the targets of the two taps,
 * accumulator counts the destination's size a source row; they run modulo 2^32, and only their differences count. */
typedef struct ResizeBand {
    int32_t rowsDone, tapA, tapB, accumulator;
    size_t firstTapRow,
        secondTapRow; /* byte offsets of the row that the next such tap goes to, in the result's plane */
    int32_t chromaRowsDone, chromaTapA, chromaTapB, chromaAccumulator;
    size_t chromaFirstTapRow, chromaSecondTapRow;
    int32_t srcWidth, srcHeight, dstWidth, dstHeight;
    int32_t bandRows;                  /* luma rows that _get_pos moves on by */
    size_t srcOffset, chromaSrcOffset; /* bytes from the planes' start to the band's first row */
    const uint8_t *srcY, *srcU, *srcV; /* srcU: also the plane of pairs; srcY: also packed pixels */
    uint8_t *dst;
    uint8_t *scratch; /* the result with rows and columns rounded up to multiples of 4, or null */
    int32_t rowsThisBand, chromaRowsThisBand;
    int32_t finished;           /* 1 at the end of _tp; stored with release order */
    const ResizeCanvas *canvas; /* of the keep-ratio forms, else null */
    const void *plan;           /* column taps shared by the bands; null: _tp makes its own */
} ResizeBand;

/* Three separate planes into planar 4:2:0; canvas may be null, else dst and the destination's size are not looked at.
 */
VOREL_API void vorel_resize_y_u_v(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst, int32_t srcWidth,
                                  int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_u_v_keep_ratio(const uint8_t *y, const uint8_t *u, const uint8_t *v, ResizeCanvas *canvas,
                                             int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_u_v_sg(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst,
                                     int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, int32_t dstHeight,
                                     ResizeCanvas *canvas);
VOREL_API void vorel_resize_y_u_v_tps(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst,
                                      int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, int32_t dstHeight,
                                      ResizeCanvas *canvas);
VOREL_API void *vorel_resize_y_u_v_tp(void *resizeBand);
VOREL_API void vorel_resize_y_u_v_get_pos(ResizeBand *band);

/* One planar 4:2:0 frame into another. */
VOREL_API void vorel_resize_yuv420(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                   int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_yuv420_sg(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                      int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_yuv420_tps(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                       int32_t dstWidth, int32_t dstHeight);
VOREL_API void *vorel_resize_yuv420_tp(void *resizeBand);
VOREL_API void vorel_resize_yuv420_get_pos(ResizeBand *band);

/* One NV21 (or NV12) frame into another: the order inside a pair stays. */
VOREL_API void vorel_resize_nv21(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                 int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_nv21_sg(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                    int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_nv21_tps(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                     int32_t dstWidth, int32_t dstHeight);
VOREL_API void *vorel_resize_nv21_tp(void *resizeBand);
VOREL_API void vorel_resize_nv21_get_pos(ResizeBand *band);

/* The same with the plane of pairs apart from Y. */
VOREL_API void vorel_resize_y_nv21(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                   int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_nv21_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas,
                                              int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_nv21_sg(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                      int32_t srcHeight, int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas);
VOREL_API void vorel_resize_y_nv21_tps(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                       int32_t srcHeight, int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas);
VOREL_API void *vorel_resize_y_nv21_tp(void *resizeBand);

/* Four bytes a pixel. */
VOREL_API void vorel_resize_rgba8888(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                     int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_rgba8888_keep_ratio(const uint8_t *src, ResizeCanvas *canvas, int32_t srcWidth,
                                                int32_t srcHeight);
VOREL_API void vorel_resize_rgba8888_sg(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                        int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_rgba8888_keep_ratio_sg(const uint8_t *src, ResizeCanvas *canvas, int32_t srcWidth,
                                                   int32_t srcHeight);
VOREL_API void vorel_resize_rgba8888_tps(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                         int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_rgba8888_keep_ratio_tps(const uint8_t *src, ResizeCanvas *canvas, int32_t srcWidth,
                                                    int32_t srcHeight);
VOREL_API void *vorel_resize_rgba8888_tp(void *resizeBand);
VOREL_API void *vorel_resize_rgba8888_keep_ratio_tp(void *resizeBand);
VOREL_API void vorel_resize_rgba8888_get_pos(ResizeBand *band);
VOREL_API void vorel_resize_rgba8888_get_pos_keep_ratio(ResizeBand *band);

/* Three bytes a pixel; in the calling thread. */
VOREL_API void vorel_resize_rgb888(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                                   int32_t dstWidth, int32_t dstHeight);

/* Resized into memory of their own and converted from there; nothing without that memory. With a canvas all of it is
 * converted: canvas->pixels holds canvasWidth * canvasHeight pixels of the format in the name. */
VOREL_API void vorel_resize_y_nv21_to_rgba(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                           int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_nv12_to_rgba(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                           int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_nv21_to_bgra(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                           int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_nv12_to_bgra(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth,
                                           int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_u_v_to_rgba(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst,
                                          int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_u_v_to_bgra(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst,
                                          int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, int32_t dstHeight);
VOREL_API void vorel_resize_y_nv21_to_bgra_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas,
                                                      int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_nv12_to_bgra_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas,
                                                      int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_nv21_to_rgba_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas,
                                                      int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_nv12_to_rgba_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas,
                                                      int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_u_v_to_bgra_keep_ratio(const uint8_t *y, const uint8_t *u, const uint8_t *v,
                                                     ResizeCanvas *canvas, int32_t srcWidth, int32_t srcHeight);
VOREL_API void vorel_resize_y_u_v_to_rgba_keep_ratio(const uint8_t *y, const uint8_t *u, const uint8_t *v,
                                                     ResizeCanvas *canvas, int32_t srcWidth, int32_t srcHeight);

/* ---- Rotation -----------------------------------------------------------------------------------------------------
 *
 * Turns a frame in place, clockwise by 90, 180 or 270 degrees; after 90 and 270 its rows are height pixels long.
 * Formats (COLOR_ codes of frame.h): 0 and 9 two bytes a pixel, 1 three, 5, 7 and 8 four, 2 planar 4:2:0, 18 and 19
 * semi-planar. Others are refused. */

/* Some rows of a turn from source to destination, frames of width x height (before the turn) that do not overlap. The
 * chroma rows are those from (firstRow + 1) / 2 up to (firstRow + rows + 1) / 2; rows outside the frame are left out.
 */
typedef struct RotateJob {
    const uint8_t *source;
    uint8_t *destination;
    int32_t width, height, firstRow, rows, format;
} RotateJob;

/* 1; or 0, with the frame as it was, for null, a size below 1, another format or angle, or no memory. Above a height of
 * 512 work that is worth it is spread over up to four threads, also by the forms of one angle. */
VOREL_API int32_t vorel_rotate(void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle);
/* The form with threads, for any height. */
VOREL_API int32_t vorel_fast_rotate(void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle);
VOREL_API int32_t vorel_rotate_90(void *buffer, int32_t width, int32_t height, int32_t format);
VOREL_API int32_t vorel_rotate_180(void *buffer, int32_t width, int32_t height, int32_t format);
VOREL_API int32_t vorel_rotate_270(void *buffer, int32_t width, int32_t height, int32_t format);
/* The work of one task, on a RotateJob; null. */
VOREL_API void *_vorel_rotate_90(void *rotateJob);
VOREL_API void *_vorel_rotate_180(void *rotateJob);
VOREL_API void *_vorel_rotate_270(void *rotateJob);

/* base to the power of exponent, modulo 2^32; 1 for an exponent below 1. */
VOREL_API uint32_t brim_pow(uint32_t base, int32_t exponent);

/* Kept for programs that ask for the name; does nothing. */
VOREL_API void VORELBRIM_CODEC_Blend(void);

/* ---- Converters ---------------------------------------------------------------------------------------------------
 *
 * Names: the plain ones choose between _sg (the frame in the calling thread) and _tps (bands of 32 rows over up to four
 * threads and the caller's, or in the caller's alone as with resizers; from a height of 1200, or above 0x400000 pixels
 * for those that only move chroma). _tp is the work of one band, on a ConvertBand; null. */

/* Cursors of a band: each points at a word that holds the address of the band's first row in that plane; nothing is
 * done where the pointer or the word is null. For pairs firstChroma is theirs and secondChroma is not looked at; planar
 * has U first. reserved is not looked at. */
typedef struct ConvertPlanes {
    uint8_t **y, **firstChroma, **secondChroma, **reserved;
} ConvertPlanes;
typedef struct ConvertBand {
    int32_t width, rows; /* the band begins at an even row */
    uint8_t **rgbaRows;  /* also BGRA and RGB888 */
    ConvertPlanes planes;
} ConvertBand;

/* YUV to RGB, BT.601 video range. c = 1192 * (Y - 16), u = U - 128, v = V - 128; each held to 0..255:
 *     R = (c + 1634 v) >> 10    G = (c - 833 v - 400 u) >> 10    B = (c + 2066 u) >> 10
 * One chroma sample serves 2 x 2 pixels; alpha is 255. */
VOREL_API void nv12_to_rgba8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_rgba8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_rgba8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv12_to_rgba8888_tp(void *convertBand);
VOREL_API void nv12_to_bgra8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_bgra8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_bgra8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv12_to_bgra8888_tp(void *convertBand);
VOREL_API void nv12_to_rgb888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_rgb888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv12_to_rgb888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv12_to_rgb888_tp(void *convertBand);
VOREL_API void nv21_to_rgba8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_rgba8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_rgba8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv21_to_rgba8888_tp(void *convertBand);
VOREL_API void nv21_to_bgra8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_bgra8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_bgra8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv21_to_bgra8888_tp(void *convertBand);
VOREL_API void nv21_to_rgb888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_rgb888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _nv21_to_rgb888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_nv21_to_rgb888_tp(void *convertBand);
VOREL_API void yuv420_to_rgba8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_rgba8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_rgba8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_yuv420_to_rgba8888_tp(void *convertBand);
VOREL_API void yuv420_to_bgra8888(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_bgra8888_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_bgra8888_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_yuv420_to_bgra8888_tp(void *convertBand);
/* The same with the plane of pairs apart from Y. */
VOREL_API void y_uv_nv12_to_rgba8888(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv, uint8_t *dst);
VOREL_API void _y_uv_nv12_to_rgba8888_sg(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv,
                                         uint8_t *dst);
VOREL_API void _y_uv_nv12_to_rgba8888_tps(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv,
                                          uint8_t *dst);
VOREL_API void y_uv_nv21_to_rgba8888(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv, uint8_t *dst);
VOREL_API void _y_uv_nv21_to_rgba8888_sg(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv,
                                         uint8_t *dst);
VOREL_API void _y_uv_nv21_to_rgba8888_tps(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv,
                                          uint8_t *dst);

/* RGBA to NV12 and NV21, BT.601 video range:
 *     Y = ((16828 R + 33038 G + 6416 B + 32768) >> 16) + 16
 *     U = (-9713 R - 19070 G + 28784 B + 32767 + (128 << 16)) >> 16
 *     V = (28784 R - 24103 G - 4680 B + 32767 + (128 << 16)) >> 16
 * Chroma is that of the top left pixel of each 2 x 2. */
VOREL_API void rgba8888_to_nv12(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _rgba8888_to_nv12_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _rgba8888_to_nv12_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_rgba8888_to_nv12_tp(void *convertBand);
VOREL_API void rgba8888_to_nv21(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _rgba8888_to_nv21_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _rgba8888_to_nv21_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void *_rgba8888_to_nv21_tp(void *convertBand);

/* RGBA to planar 4:2:0, full range (JFIF):
 *     Y = (19595 R + 38470 G + 7471 B + 32768) >> 16
 *     U = (-11059 R - 21709 G + 32768 B + 32767 + (128 << 16)) >> 16
 *     V = (32768 R - 27439 G - 5329 B + 32767 + (128 << 16)) >> 16
 * Chroma is the mean over 2 x 2 pixels: (a + b + 1) >> 1 of neighbours in a row, then of the two rows; a last column or
 * row without a partner stands for itself. */
VOREL_API void rgba8888_to_yuv420(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _rgba8888_to_yuv420_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);

/* NV12 to NV21 and back: src and dst are whole frames, which may be the same. Y is not touched. */
VOREL_API void yuv_nv_reverse(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv_nv_reverse_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv_nv_reverse_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);

/* Planar 4:2:0 to NV12 and NV21. Y is copied. */
VOREL_API void yuv420_to_nv12(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_nv12_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_nv12_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void yuv420_to_nv21(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_nv21_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
VOREL_API void _yuv420_to_nv21_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);

/* count pairs with their bytes swapped (src may be dst), and count pairs made of two planes. */
VOREL_API void _swap_uv(int32_t count, const uint8_t *src, uint8_t *dst);
VOREL_API void _interleave_uv(int32_t count, const uint8_t *first, const uint8_t *second, uint8_t *dst);

VOREL_END_DECLS

#endif
