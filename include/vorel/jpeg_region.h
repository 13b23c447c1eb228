/* Rectangles of a JPEG: a map of positions in the entropy-coded data, made by one pass over the file, and decodes of
 * rectangles that begin at the nearest position of each row. The session that has the map is the base session; each
 * rectangle is decoded by a session of its own, its child, which shares the map.
 *
 *     base = VORELBRIM_CreateDecInfo(0, path, 0, COLOR_RGBA8888, VOREL_OPTION_REGION);
 *     VORELBRIM_ScanHuffmanInfo(base);
 *     VORELBRIM_DecodeRegion(base, pixels, width, height, x, y, w, h, sample);     from any thread, any number of times
 *     VORELBRIM_DestroyJpegInfo(base);                                             frees the map
 *     VORELBRIM_DestroyDecInfo(base);
 *
 * The map does not change once it is there, so rectangles may be decoded by many threads at once. Sessions over a FILE
 * have no children; of sessions over callbacks one child at a time may decode. Frames with sampling factors above 3
 * have no map, baseline frames whose components come in scans of their own no rectangles. */
#ifndef VOREL_JPEG_REGION_H
#define VOREL_JPEG_REGION_H

#include <stddef.h>
#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>

VOREL_BEGIN_DECLS

/* A position before an MCU: all that a decoder needs to go on from there. It speaks of a reader that takes the input in
 * blocks of 16384 bytes. */
typedef struct EntropyState {
    uint32_t streamPosition;    /* position in the input of the end of the reader's block */
    uint32_t unreadMarker;      /* the marker that ended the data, 0 for none */
    int32_t bitBuffer;          /* bitCount bits, the newest at the low end */
    uint32_t eobRun;            /* progressive: bands left alone (T.81 G.1.2.2) */
    uint16_t bufferBytesLeft;   /* unread bytes of the block */
    uint16_t restartsToGo;      /* MCUs before the next restart marker */
    uint16_t nextRestartNumber; /* 0 to 7 */
    int32_t bitCount;           /* 0 to 7 */
    uint8_t flags;     /* 1: the data has ended, MCUs are zero; 2: no restart interval; 4: the MCU was decoded */
    int16_t lastDc[4]; /* of each component of the scan */
} EntropyState;

/* What a thread of the decoder is handed. width and height are those of the whole target; the session has the rectangle
 * that is decoded where it is a child. */
typedef struct DecodeJobParam {
    DecInfo *session;
    void *output;
    int32_t x, y, width, height;
    int32_t sampleSize;
    int32_t x2, y2, width2, height2; /* the same four again */
    int32_t workerIndex;
} DecodeJobParam;

/* One band of a rectangle, and where in the caller's buffer it goes. */
typedef struct RegionJob {
    int32_t x, y, width, height;
    void *output;
    uint8_t taken;
} RegionJob;

/* ---- The map ----------------------------------------------------------------------------------------------- */

/* Makes the session's map: one pass over the entropy-coded data, without pixels. 1, or 0 where the session lacks
 * VOREL_OPTION_REGION, where it has been tried before (a map that failed stays so), for a file that is broken or ends
 * more than 15 rows early without a marker, without memory, and when cancelled (DecInfo.abortFlag, checkFn). The map
 * belongs to DecInfo.retainedJpegInfo and goes with VORELBRIM_DestroyJpegInfo, which has to come after the last child
 * and before VORELBRIM_DestroyDecInfo. A cancel of a session with VOREL_OPTION_REGION is never taken back. */
VOREL_API int32_t VORELBRIM_ScanHuffmanInfo(DecInfo *session);
/* Its steps. CreateRegionMap tries again after a failure and leaves a map that is there alone; output, width and height
 * are not used. ScanJPEG4Region and ScanImage (200 or 201, from a stream buffer that stands at the SOI) make the record
 * alone, in the place of one that the session has. */
VOREL_API int32_t BRIMJ_CreateRegionMap(DecInfo *session, void *output, int32_t width, int32_t height);
VOREL_API int32_t BRIMJ_ScanJPEG4Region(DecInfo *session, void *output, int32_t width, int32_t height);
VOREL_API int32_t BRIMJ_ScanImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
/* Row steps of the pass: the check function and one iMCU row for its positions; 100, 101, or 201. The others are its
 * second half: 102 instead of 201. mode is 0; the arrays are not used. */
VOREL_API int32_t BRIMJ_ProcessDataScan(JpegInfo *decoder, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows,
                                        uint32_t mode);
VOREL_API int32_t BRIMJ_ProgProcessDataScan(JpegInfo *decoder, uint8_t **rowsBuffer, uint32_t *rowsDone,
                                            uint32_t maxRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcuScan(JpegInfo *decoder, uint8_t ***outputRows, uint32_t mode);
VOREL_API int32_t BRIMJ_ProgDecodeSingleiMcuScan(JpegInfo *decoder, uint8_t ***outputRows);
/* The MCU decoders of the pass: where the map wants a position, it is noted before the MCU. The first of a record makes
 * its map. 1, or 0 for an MCU that fails, without memory, and where the frame has no map. */
VOREL_API int32_t BRIMJ_DecodeMcuScan(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu_DCScan(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu_ACScan(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_DCScan(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_ACScan(JpegInfo *decoder, int16_t **blocks);
/* Table 0 of the record's map, zeroed, in the place of what was there: null without memory. And its end. */
VOREL_API EntropyState **_createEntropyState(JpegInfo *decoder, uint32_t rows, uint32_t columns);
VOREL_API void _deleteEntropyState(JpegInfo *decoder);
VOREL_API void _deleteEntropyStateForProg(JpegInfo *decoder);

/* ---- Rectangles -------------------------------------------------------------------------------------------- */

/* Decodes a rectangle of the picture reduced by sampleSize (0 or 1 for its own size, 2, 4, 8, 16 and so on; both sides
 * divided and rounded) into output, which holds the rectangle alone, its rows partialWidth pixels long. Each pixel is
 * that of the whole picture decoded to that size. What of the rectangle lies outside the picture is not written. width
 * and height have to be above 0 and mean nothing else where the session has VOREL_OPTION_REGION; else they are the
 * size that the whole picture is decoded to, and everything above the rectangle is decoded too. A session without a map
 * makes one, in the base for VORELBRIM_DecodeJPEG, in the child for these. 1, or 0 for a negative or empty rectangle,
 * where no child can be made, where there is no map, for broken data, when cancelled. */
VOREL_API int32_t VORELBRIM_DecodeRegion(DecInfo *baseSession, void *output, int32_t width, int32_t height, int32_t x,
                                         int32_t y, int32_t partialWidth, int32_t partialHeight, int32_t sampleSize);
/* The same by two threads, a half each; baseline files, 64 rows or more, 131072 pixels of the picture or more. */
VOREL_API int32_t VORELBRIM_PDecodeRegion(DecInfo *baseSession, void *output, int32_t width, int32_t height, int32_t x,
                                          int32_t y, int32_t partialWidth, int32_t partialHeight, int32_t sampleSize);
/* The same by two threads that take bands of 128, 64 or 16 rows from a list. Where it does so the result is 0 whatever
 * came of it, and bands that failed are not written. */
VOREL_API int32_t VORELBRIM_P2DecodeRegion(DecInfo *baseSession, void *output, int32_t width, int32_t height, int32_t x,
                                           int32_t y, int32_t partialWidth, int32_t partialHeight, int32_t sampleSize);
/* Baseline maps keep what rectangles have decoded, packed, where a second one comes to it: a rectangle of MCUs that are
 * kept costs its transforms and its colours. bytes is the most that this takes: 32 MiB where nothing was said, 0 for
 * nothing; what was not shown for longest goes first. A rectangle that would fill more than half goes without, and so
 * does a child that reads another input than its base. The input has to stay unchanged as long as the map is used. 1,
 * or 0 for a session without a map of a baseline frame, and where there was no memory to begin with. */
VOREL_API int32_t vorel_jpeg_set_region_memory(DecInfo *baseSession, size_t bytes);
/* The rectangle of a child, which lets go of its base's map at the end: for one decode. */
VOREL_API int32_t VORELBRIM_DecodeRegionBase(DecInfo *childSession, void *output, int32_t width, int32_t height);
VOREL_API int32_t VORELBRIM_PDecodeRegionBase(DecInfo *childSession, void *output, int32_t width, int32_t height);
/* The list of bands of a rectangle, on the session: 1, or 0 where one band would do, for formats without whole bytes a
 * pixel, for rows below 65535, while the session has a list, and without memory. And the next band that nobody has
 * taken, null at the end. */
VOREL_API int32_t BRIMJ_MakeRDJobList(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width,
                                      int32_t height);
VOREL_API RegionJob *BRIMJ_GetOneJob(DecInfo *session);
/* Fills a block; does nothing but log without block, session or output. */
VOREL_API void set_parameter(DecodeJobParam *block, DecInfo *session, void *output, int32_t x, int32_t y, int32_t width,
                             int32_t height, int32_t sampleSize, int32_t workerIndex);
/* A thread that decodes bands of the list of the block's session until there is none left. Null. */
VOREL_API void *decode_jpeg_greedy(void *decodeJobParam);

/* ---- Child sessions ---------------------------------------------------------------------------------------- */

/* A session for one rectangle of the base session's picture, over an input of its own: the same path, the same memory,
 * or the same callbacks, which then must not be in use elsewhere. It has the base's colour format, options, sizes and
 * map, and a cancel that is pending there. The rectangle is in pixels of the picture reduced by sampleSize (1, 2, 4, 8,
 * 16 and so on). Null without memory, for an input that does not open again, and for a FILE. Freed by
 * VORELBRIM_DestroyDecInfo, before the base session and its map are. A cancel of the base stops its children. May be
 * called from several threads. */
VOREL_API DecInfo *BRIMJ_CreateTemporaryDecInfo(DecInfo *baseSession, int32_t x, int32_t y, int32_t width,
                                                int32_t height, int32_t sampleSize);
/* The same over an input that VORELBRIM_Open_IO opens by this kind and handle, for the whole picture. */
VOREL_API DecInfo *BRIMJ_CreateTemporaryDecInfoWithIIO(DecInfo *baseSession, uint32_t sourceKind, void *sourceHandle);
/* The first of these by another name. */
VOREL_API DecInfo *VORELBRIM_CreateRegionDecoderInstance(DecInfo *baseSession, int32_t x, int32_t y, int32_t width,
                                                         int32_t height, int32_t sampleSize);

/* ---- Working records of rectangles ------------------------------------------------------------------------- */

/* The record of a session's rectangle, ready for its first row: frame, tables and map are those of retainedJpegInfo,
 * which has to outlive it. Null without a complete map and where the frame has no rectangles. RegionInitialize is the
 * next two in a row; PostInitialize takes the record of the first and deletes it when it fails. */
VOREL_API JpegInfo *BRIMJ_GetJpegRegionInfo(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *parameters);
VOREL_API JpegInfo *BRIMJ_RegionInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API JpegInfo *BRIMJ_RegionPreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API JpegInfo *BRIMJ_RegionPostInitialize(DecInfo *session, JpegInfo *decoder, FrameRequest *frameRequest);
VOREL_API void BRIMJ_RegionDeleteDecoderInfo(JpegInfo *decoder);
/* Row steps as BRIMJ_ProcessData and BRIMJ_DecodeSingleiMcu and their like; each MCU row begins at its position in the
 * map. The table holds those for 1/2 (twice), 1/4, 1/8 and beyond (three times). */
VOREL_API int32_t BRIMJ_ProcessDataRegion(JpegInfo *decoder, uint8_t **rowsBuffer, uint32_t *rowsDone,
                                          uint32_t maxRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcu(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcu_resize(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecompressOnepass(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcuResize2to1(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcuResize4to1(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcuResize8to1(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_RegionDecodeSingleiMcuResizeMore16(JpegInfo *decoder, uint8_t ***sampleRows);
VOREL_API extern int32_t (*const pRegionDecodingResize[7])(JpegInfo *jpegInfo, uint8_t ***sampleRows);
/* One MCU as its namesakes without Region decode it; at a column where the map has a position, it is taken first. 0
 * where there is none. */
VOREL_API int32_t BRIMJ_DecodeMcuRegion(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_2to1Region(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_4to1Region(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_8to1Region(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu_DCRegion(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu_ACRegion(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_DCRegion(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_ACRegion(JpegInfo *decoder, int16_t **blocks);
/* The inverse DCT of a decoded iMCU row of a progressive region: 100 also above the rectangle, 101 also behind it; 201
 * for reductions by 3, 5, 6 and 7. */
VOREL_API int32_t BRIMJ_RegionProgIDct(JpegInfo *decoder, uint8_t ***outputRows);
VOREL_API int32_t BRIMJ_RegionProgIDctMore16(JpegInfo *decoder, uint8_t ***outputRows);

VOREL_END_DECLS

#endif
