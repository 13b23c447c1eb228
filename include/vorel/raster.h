/* Raster formats: WBMP. */
#ifndef VOREL_RASTER_H
#define VOREL_RASTER_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

VOREL_API int32_t VORELBRIMI_DecodeWBMP(DecInfo *session, void *output, int32_t targetWidth, int32_t targetHeight);
VOREL_API int32_t BRIMI_WBMPdecodeMultibyte(const uint8_t *data, int32_t length, int32_t *inOutCursor,
                                            int32_t *outGroupCount, uint8_t *scratch);
VOREL_API int32_t BRIMI_WBMPgetMultibyte2Int(const uint8_t *scratch, int32_t byteCount, int32_t groupCount);
VOREL_API int32_t BRIMI_WBMPpow(int32_t base, int32_t exponent);

VOREL_END_DECLS

#endif
