/* JPEG decodes on several threads. What they give is what one thread gives, byte for byte, with any number of threads
 * in any order. VORELBRIM_PDecodeJPEG (jpeg_decoder.h) chooses among the ways; here are the ways themselves, and their
 * parts for loops of one's own. */
#ifndef VOREL_JPEG_THREADS_H
#define VOREL_JPEG_THREADS_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>
#include <vorel/jpeg_iterative.h>

VOREL_BEGIN_DECLS

/* ---- Whole pictures ------------------------------------------------------------------------------------------ */

/* VORELBRIM_DecodeJPEG in bands of rows; a progressive picture, one in several scans, an input that cannot be read by
 * several threads (a FILE, callbacks), a session that takes checkpoints, a height too small to divide, and a process
 * with one processor are decoded in one piece. sampleSize is ignored. RST is for pictures with restart markers, whose
 * bands are found by these; No_RST reaches them by walking the Huffman codes. 1, also where a band failed: its rows
 * stay as they were from there on, and the error word is 2. 0 where nothing could be opened, a thread could not be
 * started, or the decode was cancelled. */
VOREL_API int32_t VORELBRIM_PDecodeJPEG_RST(DecInfo *session, void *output, int32_t width, int32_t height,
                                            int32_t sampleSize);
VOREL_API int32_t VORELBRIM_PDecodeJPEG_No_RST(DecInfo *session, void *output, int32_t width, int32_t height,
                                               int32_t sampleSize);

/* ---- Bands of a walk of one's own ----------------------------------------------------------------------------- */

/* A band of the output: a rectangle of the target's full width, and where its first pixel goes in the whole output; of
 * formats with planes the start of that. DecInfo.bandTable points to bandCount of these, from the top down. */
typedef struct BandRow {
    int32_t x, y, width, height;
    void *output;
} BandRow;

/* What a thread needs for its bands: the target's size, the first band, the option word with the turn settled, and the
 * checkpoint in front of the band, which the task owns. */
typedef struct BandTask {
    DecInfo *session;
    int32_t width, height, bandIndex;
    uint32_t options;
    Midpoint *midpoint;
} BandTask;

/* In front of an iMCU row of a baseline decode whose session has threadBandStart set; decodes of the library call it by
 * themselves. Hands out the bands that begin in that row, by partialDecodeOnThread, from band 1 on with a checkpoint. A
 * session with noMidpointTaking goes on from its midpointState instead. Either clears threadBandStart at its end. */
VOREL_API void processMidPoint(JpegInfo *decoder);
/* Queues a band on the session's threadPool, with the session's midpointState for all bands but the first. The target
 * is width by dualTargetHeight, or by outHeight where that is 0. 1, or 0 without band, pool or memory. */
VOREL_API int32_t partialDecodeOnThread(DecInfo *session, int32_t width, int32_t bandIndex);
/* The task that it queues, which frees its BandTask (from malloc). Null. */
VOREL_API void *decodeSubTP(void *bandTask);
/* A thread that decodes every bandThreads-th band from the task's on, each from the session's checkpoint of that number
 * as soon as it is there. Ends at a band that fails, when cancelled, and when decodeResult says that the walk is over
 * without the checkpoint. To be started when the walk has begun. The BandTask stays the caller's. Null. */
VOREL_API void *decodeSub(void *bandTask);

/* ---- Threads over a block ------------------------------------------------------------------------------------ */

/* Bodies for threads over a DecodeJobParam: one VORELBRIM_DecodeJPEG of its session; of scan_jpeg the pass that makes
 * the session's region map. A block that lacks something leaves a line in the log, so does one that fails for
 * decode_jpeg2 and scan_jpeg. Null. */
VOREL_API void *decode_jpeg(void *decodeJobParam);
VOREL_API void *decode_jpeg2(void *decodeJobParam);
VOREL_API void *dualdecode_jpeg(void *task);
VOREL_API void *scan_jpeg(void *task);
VOREL_API void *scan_jpeg_mid_point(void *task);
/* A thread of the speculative decode; does nothing without a task of its. Null. */
VOREL_API void *scan_n_merge_jpeg(void *task);

/* ---- Row loops ------------------------------------------------------------------------------------------------ */

/* All rows of an open record that are left, into the row arrays of BRIMJ_ProcessData (null: the record's own), with a
 * look at the cancel word before each step: 200, or 201 when a step failed or when cancelled. The 8to1 functions read
 * DC values ahead on several threads where the record's scale and the input's size are worth it. */
VOREL_API int32_t BRIMJ_Decode_Dualcore_8to1_NoWait(DecInfo *session, FrameRequest *params, JpegInfo *decoder,
                                                    uint8_t **rows);
VOREL_API int32_t BRIMJ_Decode_Dualcore_8to1(DecInfo *session, FrameRequest *params, JpegInfo *decoder, uint8_t **rows);
VOREL_API int32_t BRIMJ_Decode_Dualcore_1to1(DecInfo *session, FrameRequest *params, JpegInfo *decoder, uint8_t **rows);
VOREL_API int32_t BRIMJ_Decode_Dualcore_Nto1(DecInfo *session, FrameRequest *params, JpegInfo *decoder, uint8_t **rows,
                                             uint32_t scale);
VOREL_API int32_t BRIMJ_Decode_Dualcore_Nowait(DecInfo *session, FrameRequest *params, JpegInfo *decoder,
                                               uint8_t **rows, uint32_t scale);

/* One MCU as BRIMJ_DecodeMcu, BRIMJ_DecodeMcu_8to1 and BRIMJ_SkipMcu decode it, or out of what other threads have read
 * where the record's decode has such. */
VOREL_API int32_t BRIMJ_DecodeMcu_1to1_dual(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_8to1_dual(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcuDualDecodeDC(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_skip_dual(JpegInfo *decoder, int16_t **blocks);
VOREL_API int32_t BRIMJ_SkipMcuDual(JpegInfo *decoder, int16_t **blocks);

/* 302: no other decoder of the picture has left a position to go on from. Bands here are handed their positions. */
VOREL_API int32_t BRIMJ_LookUpOtherThread(JpegInfo *decoder);

VOREL_END_DECLS

#endif
