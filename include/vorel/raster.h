/* Raster formats: WBMP. */
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

VOREL_END_DECLS

#endif
