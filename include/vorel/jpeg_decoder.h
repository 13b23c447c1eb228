/* The JPEG decoder: T.81 baseline pictures, decoded straight to the wanted size and colour format. Applications call
 * VORELBRIM_PDecodeJPEG or VORELBRIM_DecodeJPEG with a session of vorel/frame.h; the rest is the decoder's inside, open to
 * programs that build decoding loops of their own. Its working record, JpegInfo, is opaque here. */
#ifndef VOREL_JPEG_DECODER_H
#define VOREL_JPEG_DECODER_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

typedef struct JpegInfo JpegInfo;
typedef struct JpegComponent JpegComponent;
typedef struct DerivedTable DerivedTable;
typedef struct EntropyDecoder EntropyDecoder;
typedef struct BitState BitState;

/* A decode request: sizes in pixels. imageWidth and imageHeight are filled in by set-up. */
typedef struct FrameRequest {
    uint32_t imageWidth, imageHeight;
    void *outputBuffer;
    int32_t targetWidth, targetHeight;
} FrameRequest;

/* First thumbnail found in a header. */
typedef struct ThumbnailRecord {
    uint32_t found, width, height, format, secondCode, offset, length, reserved[8];
} ThumbnailRecord;

/* An inverse DCT: dequantises one block of 64 coefficients in natural order and writes samples at column of rows. */
typedef void (*BrimIdctFunc)(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                             int32_t column);

VOREL_API int32_t BRIMJ_GetThumbInfo(DecInfo *session, ImageInfo *out);
VOREL_API void vjpeg_set_multiscan_interval(DecInfo *session, uint32_t value);
VOREL_API uint32_t vjpeg_get_multiscan_interval(DecInfo *session);
VOREL_API int32_t BRIMJ_GetHInfo(IoInfo *io, ImageInfo *imageInfo);
VOREL_API int32_t BRIMJ_SimpleParser(StreamBuffer *streamBuffer, int32_t precisionSelector, ImageInfo *outValues);
VOREL_API int32_t BRIMJ_ParseHeader(JpegInfo *jpegInfo, void *ignored);
VOREL_API int32_t BRIMJ_ParseNextMarker(JpegInfo *jpegInfo, int32_t *outStatus);
VOREL_API JpegInfo *BRIMJ_PreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API JpegInfo *BRIMJ_PostInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest, JpegInfo *jpegInfo);
VOREL_API JpegInfo *BRIMJ_Initialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API int32_t BRIMJ_StartDecompression(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_InitDecBeforeScan(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_SetupScan(JpegInfo *jpegInfo);
VOREL_API void BRIMJ_SetupiMcu(JpegInfo *jpegInfo);
VOREL_API uint8_t **BRIMJ_AllocSampleArry(void *owner, int32_t rowBytes, int32_t rows, int32_t *outOffset);
VOREL_API void BRIMJ_DeleteDecoderInfo(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_DestroyJpegInfo(DecInfo *session);
VOREL_API int32_t BRIMJ_GetEOIOffset(IoInfo *io, ImageInfo *imageInfo);
VOREL_API int32_t BRIMJ_EOIParser(StreamBuffer *streamBuffer, int32_t selector, ImageInfo *outValues);
VOREL_API int32_t BRIMJ_ParseFileHeader(StreamBuffer *streamBuffer, int32_t selector, ThumbnailRecord *thumbnailRecord);
VOREL_API const char *BRIMJ_GetVersion(void);
VOREL_API int32_t BRIMJ_PrepareDerivedTbl(JpegInfo *jpegInfo, int32_t isDc, int32_t tableNumber, DerivedTable **outDerived, EntropyDecoder *entropyState);
VOREL_API int32_t BRIMJ_P_PrepareDerivedTbl(JpegInfo *jpegInfo, int32_t isDc, int32_t tableNumber, DerivedTable **outDerived, EntropyDecoder *entropyState);
VOREL_API int32_t BRIMJ_DecodeMcu(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_2to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_4to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_DecodeMcu_8to1(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_SkipMcu(JpegInfo *jpegInfo, int16_t **blocks);
VOREL_API int32_t BRIMJ_ReadBits(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, int32_t needed);
VOREL_API int32_t BRIMJ_DecodeHuffMan(BitState *bitState, uint32_t bitBuffer, int32_t bitCount, DerivedTable *table, int32_t minimumBits);
VOREL_API int32_t BRIMJ_ProcessRestartMarker(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_NextRestartMarker(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_ResyncToRST(JpegInfo *jpegInfo, int32_t expected);
VOREL_API int32_t BRIMJ_SkipMcuUsingRST(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_GetDctMethodIndexFirst(void);
VOREL_API int32_t BRIMJ_GetDctMethodIndex(int32_t scaleIndex);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod2to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod4to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod8to1(void);
VOREL_API BrimIdctFunc BRIMJ_GetDctMethod8to3(void);
VOREL_API int32_t BRIMJ_InitUpsampler(JpegInfo *jpegInfo);
VOREL_API void BRIMJ_SetupUpsample(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows);
VOREL_API void BRIMJ_SkipRowUpsample(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRows, uint32_t maxRows);
VOREL_API void BRIMJ_DoFullsizeUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows);
VOREL_API void BRIMJ_DoH2V1Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows);
VOREL_API void BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows);
VOREL_API void __BRIMJ_DoH2V2Upsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows);
VOREL_API void BRIMJ_DoIntegralUpsample(JpegComponent *component, JpegInfo *info, uint8_t **inputRows, uint8_t ***outputRows);
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
VOREL_API void BRIMJ_YcbcrWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width);
VOREL_API void BRIMJ_FastYcbcrWriteOutput(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width);
VOREL_API void BRIMJ_FastYcbcrUpscaleWriteOutput(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width);
VOREL_API void BRIMJ_GrayWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_GrayWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, int32_t width);
VOREL_API void BRIMJ_RGBWriteOutput(JpegInfo *jpegInfo, const uint32_t *accumulators, int32_t width);
VOREL_API void BRIMJ_RGBWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *r, const uint8_t *g, const uint8_t *b, int32_t width);
VOREL_API void BRIMJ_CMYKWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *c, const uint8_t *m, const uint8_t *y, const uint8_t *k, int32_t width);
VOREL_API void BRIMJ_YCCKWriteOutput1to1(JpegInfo *jpegInfo, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, const uint8_t *k, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV420_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H2V1_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV422_H1V2_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toRGB565(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toRGBA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void BRIMJ_YcbcrWriteOutput1to1_YUV444_toBGRA8888(JpegInfo *jpegInfo, uint8_t ***componentRows, int32_t width);
VOREL_API void ycc_rgb_convert_internal(int32_t width, const uint8_t *table, uint8_t ***rows, int32_t rowIndex, uint8_t **outputRows, int32_t count);
VOREL_API int32_t VORELBRIM_PDecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height, int32_t sampleSize);
VOREL_API int32_t VORELBRIM_DecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height);
VOREL_API int32_t BRIMJ_DecodeFrame(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width, int32_t height);
VOREL_API int32_t BRIMJ_DecodeImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest);
VOREL_API int32_t BRIMJ_ProcessData(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProcessData_resize(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows);
VOREL_API int32_t BRIMJ_ProcessDataSkipRow(JpegInfo *jpegInfo, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows);
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
VOREL_API int32_t BRIMJ_GetMcuSampleWidth(JpegInfo *jpegInfo);
VOREL_API int32_t BRIMJ_GetMcuHeight(DecInfo *session);
VOREL_API int32_t BRIMJ_GetGCD(int32_t a, int32_t b);
VOREL_API int32_t GCD(int32_t a, int32_t b);
VOREL_API int32_t LCM(int32_t a, int32_t b);
VOREL_API int32_t getSampleSize(int32_t w, int32_t h, int32_t targetW, int32_t targetH);
VOREL_API int32_t checkOneToOne(int32_t w, int32_t h, int32_t targetW, int32_t targetH);

VOREL_API extern const uint8_t BRIMJ_NATURAL_ORDER[80];
VOREL_API extern const int32_t BRIMJ_HUFF_EXTEND_TEST[16];
VOREL_API extern const BrimIdctFunc pIDctFunc[29];
VOREL_API extern const BrimIdctFunc pIDctFuncIslow[29];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc2to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc4to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc8to1[7];
VOREL_API extern const BrimIdctFunc pIDctResizeFunc8to3[7];

VOREL_API void BRIMJ_DoIdct_islow(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdctDither(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_1x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8to3(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x8(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_2x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_1x2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1By1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1x1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1By2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By2(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2By2All(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct3By3(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct4By4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct5By5(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct6By6(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct7By7(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct8By8(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct1x1For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct2x2For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct3x3For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct4x4For4x4(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4to1_CBCR(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_4to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoIdct_8to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);
VOREL_API void BRIMJ_DoProgIdct_4to1(const uint8_t *rangeLimit, const int32_t *multipliers, const int16_t *block, uint8_t **rows, int32_t column);

VOREL_END_DECLS

#endif
