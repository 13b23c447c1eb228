/* Raster formats: WBMP, BMP, GIF. */
#ifndef VOREL_RASTER_H
#define VOREL_RASTER_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

/* Decodes a WBMP of type 0 into the middle of output, a buffer of targetWidth x targetHeight pixels of the session's
 * format: 0 (RGB565), 1 (RGB888), 7 (RGBA8888) or 8 (BGRA8888). A picture that does not fit is shrunk to fit with its
 * aspect kept, or to the whole target when decOption is exactly VOREL_OPTION_FIT_STRETCH; none is enlarged otherwise.
 * Pixels around the picture stay as they were. The input must be a path or the caller's memory; the session need not
 * be parsed. White is 255 of 255 (in RGB565 the word 0xFFDF) one to one, and 252 (0xFFFF) shrunk.
 * 1 with the size in outWidth and outHeight, 0 x 0 when a side of the target or of the shrunk picture is 0; or 0 for
 * null, a damaged or short input, another input kind or format, or no memory. No log lines, no error word. */
VOREL_API int32_t VORELBRIMI_DecodeWBMP(DecInfo *session, void *output, int32_t targetWidth, int32_t targetHeight);

/* Reads the multi-byte integer (seven bits a byte, most significant first, the top bit set on all bytes but the last)
 * at data[*inOutCursor], up to its last byte or to length. Leaves the cursor behind it, stores the number of groups,
 * and packs their 7 * groups bits to the left in scratch, as many bytes as groups; scratch must have room for
 * length - *inOutCursor. Returns the number of bytes written; 0 for null. */
VOREL_API int32_t BRIMI_WBMPdecodeMultibyte(const uint8_t *data, int32_t length, int32_t *inOutCursor,
                                            int32_t *outGroupCount, uint8_t *scratch);

/* The value of such a packed string: its bytes, big-endian, divided by 2 to the power of groupCount. 2^31 - 1 for
 * values above that; 0 for null. */
VOREL_API int32_t BRIMI_WBMPgetMultibyte2Int(const uint8_t *scratch, int32_t byteCount, int32_t groupCount);

/* base to the power of exponent, modulo 2^32; 1 for an exponent below 1. */
VOREL_API int32_t BRIMI_WBMPpow(int32_t base, int32_t exponent);

/* ---- GIF ------------------------------------------------------------------------------------------------------ */
/* GIF87a and GIF89a (clauses are those of GIF89a). Pixels come out in formats 7 and 8, colour indices, one byte a
 * pixel, in VOREL_GIF_INDICES; of every other format at most the background is stored. A palette colour loses the low
 * bit of its byte 0 (red in format 7, blue in 8), so white is FE FF FF FF in both.
 *
 * A picture is shrunk to fit the width x height that are asked for, never enlarged, its aspect kept, and stands in the
 * middle of a buffer of width x height pixels; with VOREL_OPTION_FIT_PACKED the buffer is as large as the picture, and
 * VOREL_OPTION_FIT_STRETCH takes the size as asked for. outWidth and outHeight of the session hold the size. Rows and
 * columns are picked by their centres. With a rotation option everything is decoded and nothing but the background
 * stored. */

enum { VOREL_GIF_INDICES = 13 };

/* Clause 22 and Appendix F: the string of a code is that of its prefix and one index. */
typedef struct GifTranslation {
    uint32_t prefix[4096];
    uint8_t suffix[4096];
    uint32_t length[4096];
} GifTranslation;

/* A block of the input: available unread bytes at cursor, inside buffer of 4096 bytes. */
typedef struct GifInput {
    int32_t available;
    uint8_t *cursor;
    uint8_t *buffer;
    IoInfo *stream; /* the session's, or the caller's */
} GifInput;

struct GifWork;

/* The state of a decode, on DecInfo.codecState. */
typedef struct GifInfo {
    int32_t width, height; /* logical screen */
    uint32_t colourResolution;
    uint8_t backgroundIndex, aspect;
    uint32_t *globalPalette; /* 256 words: alpha, B, G, R from the top, in format 8 alpha, R, G, B */
    uint32_t globalColours;  /* 0 without a table */
    int32_t frameLeft, frameTop, frameWidth, frameHeight;
    int32_t interlacePass, interlaced; /* pass 1 to 4, 0 for a frame that is not interlaced or done */
    uint32_t *localPalette;
    uint32_t localColours, minCodeSize, disposal, transparentFlag;
    int32_t transparentIndex; /* -1 for none */
    uint32_t delayMs;
    uint32_t *palette; /* that of the frame: one of the two above */
    int32_t paletteColours;
    GifTranslation *lzw;
    int32_t outputFormat, lineFill;
    uint8_t *lineBuffer; /* indices not yet written, lineFill of at most width + 4096 */
    GifInput *input;
    int32_t requestedWidth, outWidth, outHeight, oneToOne;
    uint32_t rotation;
    int32_t stride, bytesPerPixel, currentRow;
    uint8_t *output;    /* the picture's first pixel, null when none is stored */
    uint32_t *canvas;   /* animated: outWidth x outHeight words; 0xFFFFFFFF transparent, 0x00FFFFFF background */
    uint32_t *lineOut;  /* animated: the row to be written */
    uint32_t *rowWords; /* a row of them */
    int32_t animated, outputRow, rowsDone;
    uint32_t *sharedPalette; /* the session's second gifLineBuffers */
    struct GifWork *work;    /* the decoder's own */
} GifInfo;

/* Decodes the first image onto the background: the whole buffer is filled with the background colour, or with
 * transparency when the image has a transparent index; gifFlag of the session tells which (1 transparent). The fill
 * takes the components of a colour word from bits 20, 10 and 0 on. The session need not be parsed.
 * An animation that runs on the session ends.
 * 1 when the image was decoded, also when the input ended in it (rows so far), else 0. No log lines, no error word. */
VOREL_API int32_t VORELBRIMI_DecodeGIF(DecInfo *session, void *output, int32_t width, int32_t height);

/* The next picture of an animation, composed of the frames so far, in formats 7 and 8. width and height are those of
 * the first call, output may change. What is around the picture is not touched.
 * 1: more follow, and frameDelay of the session is the next frame's delay in ms; 3: that was the last, frameDelay 0;
 * 0: the frame is damaged (rows so far, older pixels below) or there is none. Behind 3 and 0 all calls give 0.
 * The state lives until VORELBRIMI_DeleteGIFInfo, after which the animation starts anew. */
VOREL_API int32_t VORELBRIMI_DecodeAGIF(DecInfo *session, void *output, int32_t width, int32_t height);

/* Do nothing and return 0. */
VOREL_API int32_t VORELBRIMI_DecodeAGIFIter(DecInfo *session);
VOREL_API int32_t VORELBRIMI_AborAGIF(DecInfo *session);
VOREL_API int32_t VORELBRIMI_AbortGIFIter(DecInfo *session);

/* Frees the state; to be called before the session is destroyed. 1, also without a state; 0 for null. */
VOREL_API int32_t VORELBRIMI_DeleteGIFInfo(DecInfo *session);

/* Of the image that was found last: colours of its palette, transparent index (-1 for none), delay in ms. Null
 * outputs are left out; 1, or 0 without a state and for a null outTransparentIndex. */
VOREL_API int32_t VORELBRIMI_GetColorInfo(DecInfo *session, uint32_t *outColours, int32_t *outTransparentIndex,
                                          uint32_t *outDelay);

/* The palette of that image, 256 words of the state; null without one. In format 8 each call first exchanges bytes 0
 * and 2 of every word, for later frames as well. */
VOREL_API uint32_t *VORELBRIMI_GetColorMap(DecInfo *session);

/* An array of count null pointers for states, 0 to 4; null otherwise. */
VOREL_API void **VORELBRIMI_SetDecodeAGIFBuffer(void *ignored1, void *ignored2, int32_t count);

/* Frees such an array and its states: null, or records of VORELBRIM_OsMalloc that are zeroed or set up by
 * VORELBRIMI_ParseGIFHeader_SKIA. */
VOREL_API void VORELBRIMI_DeleteGIFInfo_SKIA(GifInfo **array, int32_t count);

/* Sets up a state over an input up to its first image, without a session; what info held before is not looked at.
 * sampleSize is 1 or more, the output size the screen's divided by it. With animated a screen side of 10000 or more is
 * refused. 1, or 0 with info zeroed. Decoding goes on by hanging info on a session and VORELBRIMI_SetGIF_SKIA; it is
 * freed by VORELBRIMI_DeleteGIFInfo or VORELBRIMI_DeleteGIFInfo_SKIA. The input stays the caller's. */
VOREL_API int32_t VORELBRIMI_ParseGIFHeader_SKIA(IoInfo *stream, GifInfo *info, int32_t sampleSize, int32_t animated);

/* Gives the state of the session another output size, with the output scaled. 1, or 0 without a state or memory. */
VOREL_API int32_t VORELBRIMI_SetGIF_SKIA(DecInfo *session, int32_t width, int32_t height);

/* The steps of a decode, in their order. A null argument does nothing and gives 0. */

/* The output size of a state that a caller drives: VOREL_GIF_INDICES has rows of width bytes, formats 1 and 2 of
 * 4 * width. 1, or 0 without memory. */
VOREL_API int32_t BRIMI_InitializeGIF_SKIA(DecInfo *session, int32_t width, int32_t height);

/* Words of count colours of three bytes R, G, B: for format 7, and for format 8. */
VOREL_API void BRIMI_MakeColorTable(const uint8_t *rgb, uint32_t *palette, int32_t count);
VOREL_API void BRIMI_MakeColorTable_BGRA(const uint8_t *rgb, uint32_t *palette, int32_t count);

/* A new state on the session, in the place of an older one; null without memory. */
VOREL_API GifInfo *BRIMI_CreateGIFDecoderInfo(DecInfo *session);

/* Clauses 17 to 19, from the start of the input. session may be null. 1, or 0 for another signature than "GIF", two
 * digits and a letter, for a side of 0 and a cut table. */
VOREL_API int32_t BRIMI_ParseGIFHeader(DecInfo *session, GifInfo *info);

/* Sees to it that needed bytes (at most 4096) are available; 1, or 0 when the input ends before. */
VOREL_API int32_t BRIMI_CheckBuffer(GifInput *input, int32_t needed);

/* Output size and layout for a buffer of width x height pixels; 1, or 0 without memory. */
VOREL_API int32_t BRIMI_InitializeGIF(DecInfo *session, GifInfo *info, void *output, int32_t width, int32_t height,
                                      int32_t animated);

/* Walks to the next image (clauses 20 to 27), whose descriptor it stores; bytes that begin no block are passed over,
 * the trailer too. 1, or 0 at the end of the input and for a graphic control of another size than 4. */
VOREL_API int32_t BRIMI_SeekImageData(GifInfo *info);

/* Decodes the image there and writes its rows, from currentRow on. 1, or 0 for damaged data. */
VOREL_API int32_t BRIMI_DecodeGIFImage(DecInfo *session, GifInfo *info);

/* The codes of single indices, of clear and of end; 0 for a minimum code size above 11. */
VOREL_API int32_t BRIMI_InitializeTransTBL(GifTranslation *table, uint32_t minCodeSize);

/* Appends the string of a code to the line; its first index to outFirst, which may be null. 0 when it has no place. */
VOREL_API int32_t BRIMI_TranslateCode(GifInfo *info, uint32_t code, uint8_t *outFirst);

/* Animated: lays the row in lineBuffer over the canvas as its disposal says (clause 23) and leaves the row of the
 * output in lineOut; null when the output has no such row. */
VOREL_API void BRIMI_MakeFrameLineBuffer(GifInfo *info);

/* Writes the row through one of the four below and moves currentRow on (Appendix E). */
VOREL_API void BRIMI_WriteTheLine(DecInfo *session, GifInfo *info);

/* Store row currentRow of the screen: indices of lineBuffer, or the words of lineOut with 0 for 0xFFFFFFFF. */
VOREL_API void BRIMI_WriteGIFOneToOneRow(DecInfo *session, GifInfo *info);
VOREL_API void BRIMI_DownsizeGIFRow(DecInfo *session, GifInfo *info);
VOREL_API void BRIMI_WriteAGIFOneToOneRow(DecInfo *session, GifInfo *info);
VOREL_API void BRIMI_DownsizeAGIFRow(DecInfo *session, GifInfo *info);

/* ---- BMP ---------------------------------------------------------------------------------------------------- */

/* What a BMP decode knows, made by BRIMI_BMP_Initialize and freed by BRIMI_BMP_DeleteDecInfo. Steps are in bytes. */
typedef struct BmpInfo {
    int32_t width, height; /* of the file: 16 bits each; a negative height made positive */
    uint16_t bitCount;
    uint32_t dataOffset;    /* bfOffBits */
    int32_t headerSize;     /* the low byte of biSize: 12, or 40 and more */
    uint8_t *palette;       /* 256 entries of B, G, R, reserved, those that the file lacks 0; null above 8 bits */
    int16_t paletteEntries; /* that the file may hold */
    uint32_t redMask, greenMask, blueMask; /* 16-bit pixels; else 0 */
    uint32_t redShift, greenShift, blueShift;
    int32_t outWidth, outHeight; /* before turning; either 0 when nothing is to be written */
    uint32_t *scratch;           /* outWidth words R << 20 | G << 10 | B, sums of four samples; null one to one */
    int32_t oneToOne;
    int32_t requestedWidth;
    uint32_t rotation; /* 0, 90, 180, 270 degrees clockwise */
    int32_t rowStep, pixelStep;
    int32_t topDown;
    uint8_t *output; /* pixel (0, 0) of the picture in the caller's buffer */
    int32_t outputFormat;
    uint32_t isRle8; /* the compression field is 1 */
    /* For the decoder itself. */
    DecInfo *session;
    uint32_t *alphaScratch; /* outWidth sums of four samples; null but for scaled 32 bits */
    int32_t firstRow;       /* first output row of a window, in the order in which the file stores rows */
    struct BmpInput *input;
    const struct BmpKernels *kernels;
    uint32_t *colours; /* the palette as packed words, then as pixels of outputFormat, 256 each */
} BmpInfo;

/* Decodes a BMP or OS/2 bitmap (headers of 12 bytes and of 40 to 255; 1, 4, 8, 16, 24, 32 bits a pixel, and RLE8) into
 * output, a buffer of width x height pixels of the session's format: 0 (RGB565), 1 (RGB888), 5 (ARGB8888),
 * 6 (BGR565A), 7 (RGBA8888) or 8 (BGRA8888); other formats store nothing, and RLE8 stores nothing in format 6.
 * decOption turns the picture (VOREL_OPTION_ROTATE_...) and says how it fits: FIT_STRETCH takes the size asked for,
 * all others keep the aspect and never enlarge; FIT_PACKED writes rows as long as the turned picture from the buffer's
 * start, others write into the middle. Pixels around the picture stay as they were. Scaled, a pixel is the mean, cut to
 * whole numbers, of the four samples at the quarter points of its footprint, rows counted as the file stores them.
 * Alpha is 255, but for scaled 32-bit files the mean of the fourth byte. 16-bit pixels are 555, 565 or 444, moved up
 * without replication. RLE8 is stored from the bottom whatever the height's sign is; pixels that it leaves out stay as
 * they were one to one, and count as black scaled.
 * With partialDecode, only partialHeight output rows from partialY on, counted as the file stores them, are written:
 * to the first partialHeight rows of the place that the whole picture would take.
 * Input of any kind. The session need not be parsed; codecState is null afterwards, the state of an animation that
 * stood there is freed; outWidth and outHeight hold the size of the turned picture. 1, also with fewer rows when a
 * memory input or a stream ends early, and with nothing written for other bit depths or a target without pixels; 5 when
 * a read brings nothing before the size of the input is reached; 0 for null, a memory input of less than 54 bytes,
 * another signature or header size, compression 2, 4 or 5, other 16-bit masks, a palette or masks cut off in a stream,
 * no memory, and, with the log line "BRIMI_BMP_Initialize : lineBytes is zero", a bit depth or width of 0. */
VOREL_API int32_t VORELBRIMI_DecodeBMP(DecInfo *session, void *output, int32_t width, int32_t height);

/* Reads the header, palette and masks and works out size and place in output, a buffer of width x height. Null as
 * VORELBRIMI_DecodeBMP gives 0. Sets decoderReady. The caller frees; the session and output must live as long. */
VOREL_API BmpInfo *BRIMI_BMP_Initialize(DecInfo *session, int32_t width, int32_t height, void *output);

/* Frees the record and all that hangs on it; accepts null. */
VOREL_API void BRIMI_BMP_DeleteDecInfo(BmpInfo *info);

/* Does nothing; 0. */
VOREL_API int32_t VORELBRIMI_AbortBMPIter(DecInfo *session);

/* The pixels of a record whose file has that many bits a pixel: outputHeight output rows from firstRow on, as many as
 * there are, output being pixel (0, 0) of them. isRle8 is not looked at. 1, or 5 as above; 0 for null or another bit
 * count. */
VOREL_API int32_t BRIMI_BMP_Decode1bitBMP(BmpInfo *info, void *output, int32_t outputHeight);
VOREL_API int32_t BRIMI_BMP_Decode4bitBMP(BmpInfo *info, void *output, int32_t outputHeight);
VOREL_API int32_t BRIMI_BMP_Decode8bitBMP(BmpInfo *info, void *output, int32_t outputHeight);
VOREL_API int32_t BRIMI_BMP_Decode16bitBMP(BmpInfo *info, void *output, int32_t outputHeight);
VOREL_API int32_t BRIMI_BMP_Decode24bitBMP(BmpInfo *info, void *output, int32_t outputHeight);
VOREL_API int32_t BRIMI_BMP_Decode32bitBMP(BmpInfo *info, void *output, int32_t outputHeight);

/* Store count pixels of a row as the file holds it (1 and 4 bits: the first pixel in the top bits), pixelStep bytes
 * apart, in a format as above; others store nothing. info gives palette or masks; for 24 and 32 bits
 * it may be null. */
VOREL_API void BRIMI_BMP_Write1bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                         int32_t count, int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_Write4bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                         int32_t count, int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_Write8bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                         int32_t count, int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_Write16bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                          int32_t count, int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_Write24bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                          int32_t count, int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_Write32bitOutput(const BmpInfo *info, const uint8_t *source, uint8_t *destination,
                                          int32_t count, int32_t pixelStep, int32_t format);

/* The same from sums of four samples: words R << 20 | G << 10 | B, and of the fourth byte in alphaScratch. */
VOREL_API void BRIMI_BMP_WriteResizedOutput(const uint32_t *scratch, uint8_t *destination, int32_t count,
                                            int32_t pixelStep, int32_t format);
VOREL_API void BRIMI_BMP_WriteResizedOutputWithAlpha(const uint32_t *scratch, const uint32_t *alphaScratch,
                                                     uint8_t *destination, int32_t count, int32_t pixelStep,
                                                     int32_t format);

/* Stores colour index (0 to 255) of a palette of 4-byte entries B, G, R, reserved as pixel number position of image, in
 * format 0, 1, 5, 7 or 8; nothing in another. */
VOREL_API void putPixel(uint8_t *image, const uint8_t *palette, int32_t position, int32_t index, int32_t format);

VOREL_END_DECLS

#endif
