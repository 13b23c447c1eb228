/* The JPEG decoder: T.81 baseline and progressive pictures, decoded straight to the wanted size and colour format.
 * Applications call VORELBRIM_PDecodeJPEG or VORELBRIM_DecodeJPEG with a session of vorel/frame.h; the rest is the
 * decoder's inside, open to programs that build decoding loops of their own: BRIMJ_Initialize makes a working record,
 * vorel_jpeg_rows tells what a loop needs of it, BRIMJ_ProcessData (full size) or BRIMJ_ProcessData_resize does a step,
 * BRIMJ_DeleteDecoderInfo ends it. A record belongs to one thread at a time. Pointers may be null only where it is
 * said. */
#ifndef VOREL_JPEG_DECODER_H
#define VOREL_JPEG_DECODER_H

#include <stdint.h>

#include <vorel/exif.h>
#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

typedef struct JpegInfo JpegInfo;
typedef struct JpegComponent JpegComponent;
typedef struct DerivedTable DerivedTable;
typedef struct EntropyDecoder EntropyDecoder;
typedef struct ScanInfo ScanInfo;

/* What the plain bit reader leaves behind: its record, the next byte in the stream's block and how many are left there,
 * and the reservoir, newest bits at the low end. */
typedef struct BitState {
    JpegInfo *jpegInfo;
    const uint8_t *next;
    int32_t bytesLeft;
    uint32_t bitBuffer;
    int32_t bitCount;
} BitState;

/* What a loop of one's own needs of a record. The pointers are the record's and live as long. */
typedef struct VorelJpegRows {
    int32_t components;                /* of the frame, 1 to 4 */
    uint32_t mcusPerRow, mcuRows;      /* of the first scan (T.81 A.2) */
    int32_t blocksInMcu;               /* of the first scan: blocks of 64 coefficients that an MCU decoder fills */
    int32_t scaledWidth, scaledHeight; /* of the picture behind the inverse DCTs, pixels */
    uint32_t outputRows;               /* rows of the output up to the last stored one: maxRows for all of them */
    JpegComponent *component[4];
    uint8_t **rows[4];   /* sample rows of one iMCU row: rowArray of the row steps */
    int32_t rowCount[4]; /* how many, for each component */
    int32_t rowBytes[4]; /* the least that a row of the caller's own may be long */
} VorelJpegRows;

/* 1, or 0 for a null argument. */
VOREL_API int32_t vorel_jpeg_rows(JpegInfo *jpegInfo, VorelJpegRows *out);

/* A decode request: sizes in pixels. imageWidth and imageHeight are filled in by set-up. */
typedef struct FrameRequest {
    uint32_t imageWidth, imageHeight;
    void *outputBuffer;
    int32_t targetWidth, targetHeight;
} FrameRequest;

/* An inverse DCT: dequantises one block of 64 coefficients in natural order and writes samples at column of rows. */
typedef void (*BrimIdctFunc)(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                             uint8_t **rows, int32_t column);

/* ---- Decoding -------------------------------------------------------------------------------------------- */

/* Decodes the session's picture into output: width x height pixels (nonzero) of the session's colour format, the
 * picture fitted into them by the option word and the rest left as it is. The buffer has to hold the whole target;
 * planes of odd sides round up (see the formats in vorel/frame.h). Chooses a method by size and reduction: baseline
 * pictures of 512 pixels a side and more, reduced to a quarter at most where they have no restart markers, are decoded
 * in bands by several threads (vorel/jpeg_threads.h), the others as by VORELBRIM_DecodeJPEG. All give the same pixels,
 * with any number of processors. The calling thread alone asks checkFn. Parses the size first if the session has none.
 * sampleSize is the reduction that led to the target, 1 for none. Cancelled by DecInfo.abortFlag and by a 0 from
 * DecInfo.checkFn, at most one row of MCUs late; rows written so far stay. Returns 1, or 0 for null arguments, a
 * session whose type is not JPEG, a refused stream (docs/tolerance.md), a cancel, a thread that could not be started.
 * Where the bands are not those of an exact reduction of a picture with three components, 1 is also the result of a
 * stream that broke off: the rows behind that stay as they were, and the error word is 2. */
VOREL_API int32_t VORELBRIM_PDecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height,
                                        int32_t sampleSize);
/* The same in one piece, whatever the size, and 0 for every stream that breaks off. At 1/8 and below, large baseline
 * pictures without restart markers have their DC values read ahead by other threads. The session's decode mode and
 * picture size are taken afresh. */
VOREL_API int32_t VORELBRIM_DecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height);
/* One frame from a stream buffer that stands at (or before) its SOI. Keeps the session's decode mode. 1 or 0. */
VOREL_API int32_t BRIMJ_DecodeFrame(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width,
                                    int32_t height);
/* The same for a request. 200 or 201. */
VOREL_API int32_t BRIMJ_DecodeImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);

/* ---- Looking at a stream --------------------------------------------------------------------------------- */

/* Size and layout up to the first scan, starting at imageInfo->scanOffset of the input. 1, or 0 with nothing usable; a
 * frame of an unknown kind still is 1, with what was read before it. Sides above 50000 are refused. */
VOREL_API int32_t BRIMJ_GetHInfo(IoInfo *io, ImageInfo *imageInfo);
/* Its core, over a stream buffer; the selector is 8 or 2. 200, 201, or the code of the SOF that stopped it. */
VOREL_API int32_t BRIMJ_SimpleParser(StreamBuffer *streamBuffer, int32_t precisionSelector, ImageInfo *outValues);
/* Position of EOI (T.81 B.1.1.3) in the input, 0 if there is none. Segments are passed over by their lengths, scan data
 * by its bytes. */
VOREL_API int32_t BRIMJ_GetEOIOffset(IoInfo *io, ImageInfo *imageInfo);
VOREL_API int32_t BRIMJ_EOIParser(StreamBuffer *streamBuffer, int32_t selector, ImageInfo *outValues);
/* The first thumbnail in the header: JFIF and JFXX (T.871), IFD1 of Exif, image resource 0x040C. 200 or 201. */
VOREL_API int32_t BRIMJ_ParseFileHeader(StreamBuffer *streamBuffer, int32_t selector, ThumbnailRecord *thumbnailRecord);
/* Always 1; the record stays as it is. */
VOREL_API int32_t BRIMJ_GetThumbInfo(DecInfo *session, ImageInfo *out);
/* The decoder's version, a constant. */
VOREL_API const char *BRIMJ_GetVersion(void);
/* Reductions by sizes in pixels: the DCT scale's divisor (8, 4, 2, 1) that does not fall below the target, 0 for a side
 * that is not positive; whether the target is the picture divided by a power of two, up to 32. */
VOREL_API int32_t getSampleSize(int32_t w, int32_t h, int32_t targetW, int32_t targetH);
VOREL_API int32_t checkOneToOne(int32_t w, int32_t h, int32_t targetW, int32_t targetH);
/* Euclid's divisor (with its sign, and without), and the multiple; 0 where there is none. */
VOREL_API int32_t GCD(int32_t a, int32_t b);
VOREL_API int32_t BRIMJ_GetGCD(int32_t a, int32_t b);
VOREL_API int32_t LCM(int32_t a, int32_t b);
/* What the chunks of data that threads read ahead are reckoned from, in units of 16 KiB: decodes at 1/8 and below store
 * what they take, and a value of one's own has no effect on them. Null sessions read 0. */
VOREL_API void vjpeg_set_multiscan_interval(DecInfo *session, uint32_t value);
VOREL_API uint32_t vjpeg_get_multiscan_interval(DecInfo *session);

/* ---- Set-up ---------------------------------------------------------------------------------------------- */

/* The working record of a session over a stream buffer whose block the caller keeps until the record is deleted:
 * parsed, planned for the request, ready for its first row. Null on failure, with nothing left behind. Initialize is
 * the two others in a row; PostInitialize takes the record of the first and deletes it when it fails. */
VOREL_API JpegInfo *BRIMJ_Initialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API JpegInfo *BRIMJ_PreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API JpegInfo *BRIMJ_PostInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest,
                                         JpegInfo *jpegInfo);
/* Frees the record and all that it owns; null is allowed. The second frees the one that a session retains. */
VOREL_API void BRIMJ_DeleteDecoderInfo(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_DestroyJpegInfo(DecInfo *session);
/* Steps of the set-up, 200 or 201. ParseHeader reads up to and including the first SOS (T.81 annex B); ParseNextMarker
 * reads on to the next one and returns the last marker code, with 200 or 201 in outStatus. */
VOREL_API int32_t BRIMJ_ParseHeader(JpegInfo *jpegInfo, void *ignored);
VOREL_API int32_t BRIMJ_ParseNextMarker(JpegInfo *jpegInfo, int32_t *outStatus);
VOREL_API int32_t BRIMJ_StartDecompression(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_InitDecBeforeScan(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_SetupScan(JpegInfo *jpegInfo);
VOREL_API void BRIMJ_SetupiMcu(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_InitUpsampler(JpegInfo *jpegInfo);
/* `rows` row pointers into one block of memory, filled with 128, rows 32-byte multiples apart; null when out of memory.
 * Freed with BRIM_FakeFree. */
VOREL_API uint8_t **BRIMJ_AllocSampleArry(void *owner, int32_t rowBytes, int32_t rows, int32_t *outOffset);
/* Width in pixels of an MCU of the current scan; height of an MCU of the retained record, -1 without one. */
VOREL_API int32_t BRIMJ_GetMcuSampleWidth(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_GetMcuHeight(DecInfo *session);

/* ---- Entropy decoding (T.81 F.2.2) ----------------------------------------------------------------------- */

/* One MCU of the current scan into blocks of 64 coefficients in natural order, which the caller has cleared: all of
 * them, those whose symbols begin below zigzag position 19 or 5, the DC alone (a value beyond -2047..2047 fails), or
 * nothing (blocks may be null). 1, or 0 at the end of the input, at a lost restart, or for that DC. */
VOREL_API int32_t BRIMJ_DecodeMcu(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_2to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_4to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_8to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_SkipMcu(JpegInfo *jpegInfo, int16_t **blocks);
/* A derived table (T.81 F.2.2.3), allocated when *outDerived is null: 1, or 0 for a table number above 3, a missing raw
 * table, counts that no prefix code has, or a DC symbol above 15. In a progressive frame a missing raw table is 1 with
 * *outDerived as it was. A table of the caller's own is freed with BRIM_FakeFree; entropyState null: the record's. */
VOREL_API int32_t BRIMJ_PrepareDerivedTbl(JpegInfo *jpegInfo, int32_t isDc, int32_t tableNumber,
                                          DerivedTable **outDerived, EntropyDecoder *entropyState);
VOREL_API int32_t BRIMJ_P_PrepareDerivedTbl(JpegInfo *jpegInfo, int32_t isDc, int32_t tableNumber,
                                            DerivedTable **outDerived, EntropyDecoder *entropyState);
/* The plain bit reader: fills the reservoir to 25 bits where it can, 1 or 0; and one code of at least minimumBits bits,
 * as its symbol or -1. The reservoir's new state is left in bitState. */
VOREL_API int32_t BRIMJ_ReadBits(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, int32_t needed);
VOREL_API int32_t BRIMJ_DecodeHuffMan(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, DerivedTable *table,
                                      int32_t minimumBits);
/* Restarts (T.81 E.2.4): at a restart; the next marker of any kind; after an unexpected one. 1, or 0 at the end of the
 * input. SkipMcuUsingRST passes over an MCU above the session's window: 0 it has to be decoded, 1 at a restart, 2
 * inside an interval. */
VOREL_API int32_t BRIMJ_ProcessRestartMarker(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_NextRestartMarker(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_ResyncToRST(JpegInfo *jpegInfo, int32_t expected);
VOREL_API int32_t BRIMJ_SkipMcuUsingRST(JpegInfo *jpegInfo);
/* Zigzag position to natural position, with 16 spare entries of 63; and the limits of EXTEND (T.81 F.2.2.1). */
VOREL_API extern const uint8_t BRIMJ_NATURAL_ORDER[80];
VOREL_API extern const int32_t BRIMJ_HUFF_EXTEND_TEST[16];

/* ---- Rows ------------------------------------------------------------------------------------------------ */

/* One iMCU row's work: the check function, decoding into rowArray[component][row], upsampling and output of rows until
 * *inOutRowCount, the output rows produced, reaches maxRows; what is left over waits for the next call. Each row goes
 * where its pointer says: rows are those of vorel_jpeg_rows, or a caller's own as many and as long. _resize at the
 * planned scale; SkipRow passes over the iMCU row, and what it would have given is not stored. 100 more rows, 101 the
 * last is done, 201 failed or cancelled. */
VOREL_API int32_t BRIMJ_ProcessData(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProcessData_resize(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount,
                                           uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProcessDataSkipRow(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount,
                                           uint32_t maxRows);
/* Decodes the next iMCU row into sampleRows[component][row]: at full size, by the planned scale, or by the scale named.
 * 100, 101, or 102 for an MCU that failed with more than 15 output rows due. */
VOREL_API int32_t BRIMJ_DecodeSingleiMcu(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcu_resize(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecompressOnepass(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResizeNto1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResizeMore16(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize2to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize4to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize8to1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize8to1_YUV420(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize8to1_YUV422H2V1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize8to1_YUV444(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize16_YUV420(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize16_YUV422H2V1(JpegInfo *jpegInfo, uint8_t ***sampleRows);
VOREL_API int32_t BRIMJ_DecodeSingleiMcuResize16_YUV444(JpegInfo *jpegInfo, uint8_t ***sampleRows);
/* Emits rows of the decoded iMCU row through the upsamplers and the row-output function, or passes over them. */
VOREL_API void BRIMJ_SetupUpsample(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows);
VOREL_API void BRIMJ_SkipRowUpsample(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows);
/* One row group of a component: maxV rows at the scaled picture's width, each sample repeated (a box, no filter). */
VOREL_API void BRIMJ_DoFullsizeUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows,
                                        uint8_t ***outputRows);
VOREL_API void BRIMJ_DoH2V1Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows,
                                    uint8_t ***outputRows);
VOREL_API void BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows,
                                    uint8_t ***outputRows);
VOREL_API void __BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows,
                                      uint8_t ***outputRows);
VOREL_API void BRIMJ_DoIntegralUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows,
                                        uint8_t ***outputRows);
/* Row output: `count` rows of every component at the scaled picture's width, in the colours of the name, cropped and
 * written at the row counter, by any budget. Where the output has another size, the plain forms take the mean of four
 * samples, Fast and Upscale forms one (of gray and RGB the Upscale forms); _Partial forms are the same functions. CMYK
 * and YCCK need a picture of four components. */
VOREL_API void BRIMJ_DoYcbcrToRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoYcbcrToRgb_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoFastYcbcrToRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoFastYcbcrToRgb_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoYcbcrToUpscaleRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoFastYcbcrToUpscaleRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoGrayConvert(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoGrayConvert_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoGrayUpscaleConvert(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoRgbConvert(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoRgbConvert_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoRgbUpscaleConvert(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoCMYKToRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoCMYKToRgb_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoYCCKToRgb(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
VOREL_API void BRIMJ_DoYCCKToRgb_Partial(JpegInfo *jpegInfo, uint8_t ***rows, int32_t count);
/* Row writers: one row of width pixels at the row counter, of samples in the colours of the name. accumulators hold the
 * sums of four samples, a << 20 | b << 10 | c. */
VOREL_API void BRIMJ_YcbcrWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr,
                                          int32_t width);
VOREL_API void BRIMJ_FastYcbcrWriteOutput(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr,
                                          int32_t width);
VOREL_API void BRIMJ_FastYcbcrUpscaleWriteOutput(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb,
                                                 const uint8_t *cr, int32_t width);
VOREL_API void BRIMJ_GrayWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_GrayWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, int32_t width);
VOREL_API void BRIMJ_RGBWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_RGBWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *r, const uint8_t *g, const uint8_t *b,
                                        int32_t width);
VOREL_API void BRIMJ_CMYKWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *c, const uint8_t *m, const uint8_t *y,
                                         const uint8_t *k, int32_t width);
VOREL_API void BRIMJ_YCCKWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr,
                                         const uint8_t *k, int32_t width);
/* Direct writers: componentRows[component][row] at the component's own width, one row (two with half-height chroma), in
 * the session's format or the one named. */
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                            int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                            int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                               int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                                 int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                                 int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                               int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                                 int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                                 int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                            int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows,
                                                            int32_t width);
/* Gray rows to bytes R, G, B, A = table[Y], 255. */
VOREL_API void ycc_rgb_convert_internal(int32_t width, const uint8_t *table, uint8_t ***rows, int32_t rowIndex,
                                        uint8_t **outputRows, int32_t count);

/* ---- Inverse DCTs ---------------------------------------------------------------------------------------- */

/* The kernels by scale index (clamped to 6) and by name. GetDctMethod8to3 is null. */
VOREL_API int32_t BRIMJ_GetDctMethodIndexFirst(void);
VOREL_API int32_t BRIMJ_GetDctMethodIndex(int32_t scaleIndex);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod2to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod4to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod8to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod8to3(void);
VOREL_API extern const BrimIdctFunc pIDctFunc[29];
VOREL_API extern const BrimIdctFunc pIDctFuncIslow[29];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc2to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc4to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc8to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc8to3[7];
/* The accurate integer transform of T.81's reference, with plain quantisers as multipliers. */
VOREL_API void BRIMJ_DoIdct_islow(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                  uint8_t **rows, int32_t column);
/* Smaller outputs, width x height. Plain quantisers for sides of at most 2, scaled products for the others. */
VOREL_API void BRIMJ_DoIdct_1x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x8(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_1x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8to3(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                 uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                 uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                 uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4to1_CBCR(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                      uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                 uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoProgIdct_4to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                     uint8_t **rows, int32_t column);
/* The fast transform with scaled products, and its forms for blocks whose other coefficients are known to be 0. */
VOREL_API void BRIMJ_DoIdct(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                            int32_t column);
VOREL_API void BRIMJ_DoIdctDither(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                  uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1By1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                               uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1By2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By2All(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                   uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct3By3(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct4By4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct5By5(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct6By6(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct7By7(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct8By8(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1x1For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                     uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2x2For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                     uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct3x3For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                     uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct4x4For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block,
                                     uint8_t **rows, int32_t column);

/* ---- Progressive frames (T.81 G) ------------------------------------------------------------------------------ */

/* One MCU of the current scan, added to what its blocks (64 coefficients in natural order) hold: first and refining
 * passes over DC and AC, and the two that choose by the scan's band. 1, or 0 where the input cannot be read, and in a
 * scan of another kind. At the end of the data blocks stay as they are. */
VOREL_API int32_t BRIMJ_ProgDecodeMcu_DC(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu_AC(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_DC(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine_AC(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcu(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ProgDecodeMcuRefine(JpegInfo *jpegInfo, int16_t **blocks);
/* A scan as the record stands in it: a new record of its shape, tables and position in *slot, freed with the JpegInfo
 * (1, or 0 without memory and in baseline frames); its position as it has become; and the record back in it. */
VOREL_API int32_t BRIMJ_SetupScanInfo(JpegInfo *jpegInfo, ScanInfo **slot);
VOREL_API void BRIMJ_SaveScanInfo(JpegInfo *jpegInfo, ScanInfo *scanInfo);
VOREL_API void BRIMJ_LoadScanInfo(JpegInfo *jpegInfo, ScanInfo *scanInfo);
/* Row steps, as BRIMJ_ProcessData and BRIMJ_ProcessData_resize; rowsBuffer is their rowArray, cast. One iMCU row of all
 * scans, and its inverse DCT alone: 100, 101 at the last row, 102 for an MCU that failed, 201. */
VOREL_API int32_t BRIMJ_ProgProcessData(JpegInfo *jpegInfo, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProgProcessData_resize(JpegInfo *jpegInfo, uint8_t **rowsBuffer, uint32_t *rowsDone,
                                               uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProgDecodeSingleiMcu(JpegInfo *jpegInfo, uint8_t ***outputRows);
VOREL_API int32_t BRIMJ_ProgIDct(JpegInfo *jpegInfo, uint8_t ***outputRows);
VOREL_API int32_t BRIMJ_ProgIDctPartial(JpegInfo *jpegInfo, uint8_t ***outputRows);
/* Number of the first snapshot of scan n, and of all scans: an interleaved scan has one, that of a lone component one
 * for each of its MCU rows in an iMCU row. 0 until a row step has found the scans. */
VOREL_API uint32_t BRIMJ_GetSnapshotNumber(JpegInfo *jpegInfo, uint32_t n);
VOREL_API uint32_t BRIMJ_GetCurrentSnapshotNumber(JpegInfo *jpegInfo);
/* The logarithm to base 2, rounded down; -1 for 0. */
VOREL_API int32_t BRIMJ_LOGN(uint32_t n);

/* ---- Lossless frames ------------------------------------------------------------------------------------------ */

/* What a lossless Huffman frame (SOF3, T.81 annex H) holds. */
typedef struct VorelLosslessFrame {
    int32_t width, height;
    int32_t components; /* 1 to 4, not subsampled */
    int32_t precision;  /* bits, 2 to 16 */
} VorelLosslessFrame;

/* Receives row number `row` of the picture: width * components interleaved samples, which are gone when it returns.
 * Nonzero ends the decode. */
typedef int32_t (*VorelLosslessRow)(void *user, int32_t row, const uint16_t *samples);

/* Reads the header of a lossless frame from memory. 1, or 0 for anything else. */
VOREL_API int32_t vorel_jpeg_lossless_frame(const uint8_t *data, int32_t length, VorelLosslessFrame *frame);
/* Decodes a lossless frame of one interleaved scan, rows from the top: all predictors, point transforms, and restart
 * intervals of whole rows. Returns the number of rows that were delivered, those in front of the first damage; 0 for
 * anything else than such a frame, and without memory. */
VOREL_API int32_t vorel_jpeg_decode_lossless(const uint8_t *data, int32_t length, VorelLosslessRow receive, void *user);

VOREL_END_DECLS

#endif
