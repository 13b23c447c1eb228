/* JPEG decodes in pieces: checkpoints that applications keep as bytes, rows a few at a time, strips with guard rows,
 * bands. An iterative decode is VORELBRIM_PrepareJPEGIter until it stops returning 4, then one of the DecodeJPEG...Iter
 * functions until it stops returning 4. A session serves one such decode at a time: changes to its window have to wait
 * for its end, and so have, over a FILE or callbacks, other functions that read its input. One that is left early ends
 * by VORELBRIM_AbortJPEGIter, before its session is destroyed. Sizes are pixels. */
#ifndef VOREL_JPEG_ITERATIVE_H
#define VOREL_JPEG_ITERATIVE_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>

VOREL_BEGIN_DECLS

/* A checkpoint of a baseline entropy decoder (T.81 F.2) in front of an iMCU row: 68 bytes, little-endian where they are
 * stored. The reader takes the input in blocks of 16384 bytes, of which it has streamPosition behind it and
 * bufferBytesLeft of the last one unread; bitBuffer holds bitCount bits, the newest at the low end. */
typedef struct Midpoint {
    uint32_t streamSize;    /* of the input, bytes: with the picture's size it tells whose checkpoint this is */
    uint16_t width, height; /* of the picture */
    uint32_t streamPosition, unreadMarker, bitBuffer, eobRun;
    uint16_t bufferBytesLeft, restartsToGo;
    uint8_t insufficientData, reserved29;
    uint16_t nextRestartNumber;
    uint32_t bitCount;
    uint16_t reserved36;
    int16_t lastDc[4];
    uint16_t reserved46;
    /* Rows that the decode which took it had behind it: output rows (less the vertical sampling at full size), iMCU
     * rows. */
    uint32_t outputRow, iMcuRow, iMcuRowCount, pumpRow, reserved64;
} Midpoint;

/* Flags of the iterative calls. Without the first they free everything and return 0. */
enum {
    VOREL_ITERATE = 1,    /* go on */
    VOREL_ITERATE_MAP = 2 /* fill in the region map on the way: behind the last row regions can be decoded at once */
};

/* ---- Checkpoints --------------------------------------------------------------------------------------------- */

/* A session whose midpointCount is 1 to 4 takes that many while VORELBRIM_DecodeJPEG decodes a baseline picture, evenly
 * spaced; midpoints[k] is null where none was due. These are for loops of one's own: SAVE takes one in front of the
 * next iMCU row, as midpointState (and into midpoints[midpointIndex] where midpointCount is not 0); LOAD goes on from
 * midpointState, frees it, and passes over the output rows above. A checkpoint of another picture, and one that no
 * decoder can have taken, leaves the decoder where it stands. SetMidPoint does nothing. */
VOREL_API void SAVE_MID_POINT(JpegInfo *jpegInfo);
VOREL_API void LOAD_MID_POINT(JpegInfo *jpegInfo);
VOREL_API void SetMidPoint(void);
/* The first picture row of checkpoint `index` (1 to midpointCount; 0 counts as 1), divided by divisor; 0 where there is
 * none, or from the second on no decoder for it, and without an iterative decode. */
VOREL_API int32_t VORELBRIM_GetJPEGMidPoint(DecInfo *session, int32_t divisor, int32_t index);
/* The session's checkpoints as bytes: a count, then 68 bytes each, zeros for those that are not there. Returns how many
 * bytes that takes; nothing is written when `size` is less. */
VOREL_API int32_t vorel_write_midpoints(const DecInfo *session, uint8_t *blob, int32_t size);
/* The other way round, in place of those that the session has. The bytes may come from anywhere: records that do not
 * fit the picture count as missing when they are used. 1, or 0 for a count above 4 or bytes that end early. */
VOREL_API int32_t vorel_read_midpoints(DecInfo *session, const uint8_t *blob, int32_t size);

/* ---- Rows a few at a time ------------------------------------------------------------------------------------ */

/* One step of preparation for a decode to width x height pixels: 1 ready, 4 call again, 0 failed. Finding the scans of
 * a progressive picture is spread over several calls. A session with checkpoints gets a decoder for each from the
 * second on. Where the option word says 2 in its lowest two bits the picture's JPEG thumbnail is decoded in its place,
 * if there is one; with 3 one that is taller than wide comes turned by 90 degrees. */
VOREL_API int32_t VORELBRIM_PrepareJPEGIter(DecInfo *session, int32_t width, int32_t height);
/* Its first step: 1, with the decoder in *decoderSlot and as the session's codecState, or 0. */
VOREL_API int32_t VORELBRIM_InitJPEGIter(DecInfo *session, JpegInfo **decoderSlot, int32_t width, int32_t height);
/* The next `rows` output rows, to where they belong in output, which holds the whole width x height pixels and may be
 * another one at each call. A decode that has begun in strips does not go on here. 4 more to come, 1 finished, 0 failed
 * (rows written so far stay), 6 cancelled by abortFlag. Everything but 4 frees the decoder. */
VOREL_API int32_t VORELBRIM_DecodeJPEGIter(DecInfo *session, void *output, int32_t width, int32_t height,
                                           uint32_t flags, int32_t rows);
/* The next strip: output holds rows + 2 rows of width pixels, for YUV420, NV21 and NV12 rows + 4 of luma and half as
 * many of chroma behind them (rows has to be even for these). Between guard rows, one or two above and below, which are
 * the neighbouring rows of the picture and repeat its first and last row at its ends, stand the rows themselves. The
 * last strip may have fewer; the rest of its buffer is cleared. Rows are not turned. Other formats than RGB565, RGB888,
 * the ones with four bytes and those three are passed over without a row. 0 rows in front of the first strip leave the
 * buffer as it is. Results as above. */
VOREL_API int32_t VORELBRIM_DecodeJPEGIter4LTN(DecInfo *session, void *output, int32_t width, int32_t height,
                                               uint32_t flags, int32_t rows);
/* The strips between two checkpoints: number 1 begins at the top of the picture, number n from 2 on at checkpoint n,
 * and each ends where the next begins. Different numbers may be decoded on different threads. Guard rows above the
 * first strip of a number repeat its first row. A number without a checkpoint gives 0. */
VOREL_API int32_t VORELBRIM_DecodeJPEGMidpIter4LTN(DecInfo *session, void *output, int32_t width, int32_t height,
                                                   uint32_t flags, int32_t midpointNumber, int32_t rows);
/* Frees the decoders of an iterative decode: 1, or 3 for null. */
VOREL_API int32_t VORELBRIM_AbortJPEGIter(DecInfo *session);
/* Output rows that the iterative decode has behind it, 0 without one. */
VOREL_API int32_t VORELBRIM_GetCurOutputRow(DecInfo *session);

/* BRIMJ_DecodeImage and BRIMJ_DecodeFrame without their rows: the record becomes the session's codecState. 200 or 201;
 * 1 or 0. The stream buffer has to live as long as the record. Output may be null. InitProg finds the scans of a
 * progressive record at once: 200 or 201. */
VOREL_API int32_t BRIMJ_DecodeImageIterInit(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API int32_t BRIMJ_JPEGDecIterInit(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width,
                                        int32_t height);
VOREL_API int32_t BRIMJ_JPEGDecIterInitProg(JpegInfo *jpegInfo);
/* As the functions without ForMidPoint, for a record whose tables and rows are there already: 200 or 201. */
VOREL_API int32_t BRIMJ_InitDecBeforeScanForMidPoint(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_SetupScanForMidPoint(JpegInfo *jpegInfo);

/* ---- Bands --------------------------------------------------------------------------------------------------- */

/* Row steps of a session with a window (partialDecode), as their namesakes in vorel/jpeg_decoder.h: iMCU rows above it
 * are walked over, and nothing is decoded below. ProcessDataPartial gives 101 behind the window's last row. */
VOREL_API int32_t BRIMJ_ProcessDataPartial(JpegInfo *jpegInfo, uint8_t **rowsBuffer, uint32_t *rowsDone,
                                           uint32_t maxRows);
VOREL_API int32_t BRIMJ_PartialDecompressOnepass(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_PartialDecodeSingleiMcu(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_PartialDecodeSingleiMcuResize2to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_PartialDecodeSingleiMcuResize4to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_PartialDecodeSingleiMcuResize8to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_PartialDecodeSingleiMcuResizeMore16(JpegInfo *jpegInfo, uint8_t ***sampleRows);

VOREL_END_DECLS

#endif
