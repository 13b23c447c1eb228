/* Raster formats: WBMP, BMP. */
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
    int32_t outWidth, outHeight; /* before turning; 0 when nothing is to be written */
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
 * Input of any kind. The session need not be parsed; codecState is null afterwards, outWidth and outHeight hold the
 * size of the turned picture.
 * 1, also with fewer rows when a memory input or a stream ends early, and with nothing written for other bit depths or
 * a target without pixels; 5 when a read brings nothing before the size of the input is reached; 0 for null, a memory
 * input of less than 54 bytes, another signature or header size, compression 2, 4 or 5, other 16-bit masks, a palette
 * or masks cut off in a stream, no memory, and, with the log line "BRIMI_BMP_Initialize : lineBytes is zero", a bit
 * depth or width of 0. */
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
