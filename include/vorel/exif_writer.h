/* The encoder's Exif writer (CIPA DC-008, "Exif 2.3"; TIFF 6.0 section 2), little-endian, and the other application
 * segments. */
#ifndef VOREL_EXIF_WRITER_H
#define VOREL_EXIF_WRITER_H

#include <stdint.h>

#include <vorel/exif.h>
#include <vorel/export.h>
#include <vorel/jpeg_encoder_session.h>

VOREL_BEGIN_DECLS

/* The TIFF structure of a record, without its thumbnail, whose place is right behind. Returns its length. destination
 * has 640 bytes and those of make, model and the GPS processing method with their NULs. Strings, GPS record and numbers
 * of the record that are null or 0 are left out, but for whiteBalance; the date is that of the call. Required: without
 * a thumbnail the 0th directory's link to the next one is not written, four zeros stand 8 bytes behind the last
 * directory's table, and short strings are stored a second time. */
VOREL_API uint32_t __rim_CreateExif(uint8_t *destination, ExifInfo *exif);

/* Values, little-endian. */
VOREL_API void __rim_WriteSHORT_LE(uint8_t *destination, uint16_t value);
VOREL_API void __rim_WriteLONG_LE(uint8_t *destination, uint32_t value);
VOREL_API void __rim_WriteRATIONAL(uint8_t *destination, uint32_t numerator, uint32_t denominator);
VOREL_API void __rim_WriteASCII(uint8_t *destination, const char *text, uint32_t count);
VOREL_API void __rim_WriteUNDEFINED(uint8_t *destination, const uint8_t *data, uint32_t count);
/* Length with the NUL; 1 for null. */
VOREL_API uint32_t __rim_GetStringSize(const char *text);
VOREL_API uint32_t __rim_WriteASCII_String(uint8_t *destination, const char *text);

/* Directory entries. base is where offsets count from, entryPosition the entry's, *cursor where the next value goes
 * that has no room in its entry. The next entry's position. */
VOREL_API uint32_t __rim_WriteSHORTTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                       uint16_t value);
VOREL_API uint32_t __rim_WriteLONGTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                      uint32_t value);
VOREL_API uint32_t __rim_WriteRATIONALTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                          const uint32_t *pair);
VOREL_API uint32_t __rim_WriteGPSInfoTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                         const uint32_t *pairs, uint32_t count);
VOREL_API uint32_t __rim_WriteASCIITag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                       const char *text);
VOREL_API uint32_t __rim_WriteBYTESTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                       const uint8_t *data, uint32_t count);
VOREL_API uint32_t __rim_WriteUNDEFINEDTag(uint8_t *base, uint32_t entryPosition, uint32_t *cursor, uint16_t tag,
                                           const uint8_t *data, uint32_t count);

/* Segments of a session's header: APP1 with the session's Exif record; COM and APP14, which no header has; nothing. A
 * thumbnail without data or too long for the segment is left out, and so is a record; the log says so. */
VOREL_API int32_t __rim_jpeg_enc_write_app1_marker(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_write_com_marker(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_write_app14_marker(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_write_app14_marker_II(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_write_appn_marker(JEInfo *session);

VOREL_END_DECLS

#endif
