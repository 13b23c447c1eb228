/* The Exif record that the reader and the encoder share, and its reader (CIPA DC-008, "Exif 2.3"; TIFF 6.0 section 2
 * for the directories). Decoding wants the orientation alone; everything else is here for callers that show or copy
 * camera data. Offsets are bytes from the beginning of the TIFF header, which `buffer` points to; lengths are bytes.
 * Nothing is read beyond them. Rationals are numerator and denominator. Failures leave a line in the log. */
#ifndef VOREL_EXIF_H
#define VOREL_EXIF_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

/* First thumbnail found in a header. format: 1 raw, 3 with a palette, 6 JPEG. offset and length are in the input, from
 * where the walk began. Where found is 0, width and height are the picture's. */
typedef struct ThumbnailRecord {
    uint32_t found, width, height, format, secondCode, offset, length, reserved[8];
} ThumbnailRecord;

/* GPS attributes (Exif 2.3, 4.6.6). The references are letters, and a NUL where there is room. */
typedef struct GpsInfo {
    uint8_t versionId[4];
    char latitudeRef[2];
    uint32_t latitude[3][2]; /* degrees, minutes, seconds */
    char longitudeRef[2];
    uint32_t longitude[3][2];
    uint8_t altitudeRef;       /* 0 above sea level, 1 below */
    uint32_t altitude[2];      /* metres */
    uint32_t timeStamp[3][2];  /* UTC: hours, minutes, seconds */
    char *mapDatum;            /* of VORELBRIM_OsMalloc, like the next; null where absent */
    uint8_t *processingMethod; /* as tagged, and a NUL behind */
    char dateStamp[11];        /* "YYYY:MM:DD" */
} GpsInfo;

/* Strings and the GPS record are blocks of VORELBRIM_OsMalloc or null; BRIMJ_DestroyExifInfo frees them. Numbers are 0
 * where the tag is absent. Whoever fills a record for the encoder begins with one that is all zero. */
typedef struct ExifInfo {
    uint32_t orientation; /* tag 274, 1 to 8 */
    char *textFields[4];  /* make, model, and two free ones: for the encoder, the reader leaves them null */
    char *exifVersion, *dateTimeOriginal, *dateTimeDigitized;
    uint16_t iso;
    uint32_t exposureTime[2], fNumber[2];         /* seconds; the ratio itself */
    int32_t exposureBias[2], shutterSpeed[2];     /* APEX */
    uint32_t focalLength[2], digitalZoomRatio[2]; /* mm; the ratio itself */
    uint16_t flash, colorSpace, exposureMode, whiteBalance;
    uint32_t pixelWidth, pixelHeight; /* tags 40962, 40963 */
    ThumbnailRecord thumbnail;        /* all zero */
    GpsInfo *gps;
    uint32_t littleEndian; /* 1: the TIFF header said "II" */
    /* For the encoder alone. */
    uint32_t xResolution[2], yResolution[2], resolutionUnit, yCbCrPositioning, dateTime;
    uint32_t hasThumbnail, thumbnailWidth, thumbnailHeight, thumbnailCompression, thumbnailSize;
    uint8_t *thumbnailData; /* the caller's own */
    uint32_t thumbnailXResolution[2], thumbnailYResolution[2];
} ExifInfo;

/* One entry of a directory. `value` is the number itself for a single SHORT or LONG; for at most 4 bytes of BYTE, ASCII
 * or UNDEFINED where they stand in the entry; else where the data stand. */
typedef struct ExifField {
    uint16_t tag, type;
    uint32_t count, byteLength, value;
} ExifField;

/* The record of a session's picture, read from its streamOffset on; the input is left somewhere else. Null when there
 * is no Exif segment, when its TIFF header is bad, and without memory. The caller destroys it. */
VOREL_API ExifInfo *BRIMJ_CreatExifInfo(DecInfo *session);
/* The same from an APP1 segment in memory, which begins with its marker. */
VOREL_API ExifInfo *BRIMJ_CreatExifInfoUseExifBuffer(const uint8_t *buffer, int32_t length);
/* 1, or 0 for null. */
VOREL_API int32_t BRIMJ_DestroyExifInfo(ExifInfo *info);

/* Walks the markers of a stream that stands at SOI to the first Exif segment and reads it; scan data are passed over,
 * so a file without one is walked to its end. 1 or 0. */
VOREL_API int32_t BRIMJ_GetExifInfo(StreamBuffer *streamBuffer, ExifInfo *info);
/* A copy of the TIFF structure in that segment of a session's picture, of at most 65527 bytes, for the readers below;
 * the input is left somewhere else. The caller frees it with VORELBRIM_OsFree. Null where there is none. */
VOREL_API uint8_t *vorel_exif_block(DecInfo *session, uint32_t *length);
/* A TIFF structure with its 0th and 1st directories; baseOffset says where in the input it stands. 0 for a bad header;
 * a fault behind it leaves what was read, and 1. */
VOREL_API int32_t BRIMJ_ReadExifInfo(const uint8_t *buffer, uint32_t baseOffset, uint32_t length, ExifInfo *info);
/* The orientation, from a 0th directory. The offset of the next directory, which may be 0; 0 for a directory that does
 * not fit. */
VOREL_API uint32_t BRIMJ_Read0thIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                                        ExifInfo *info);
/* The camera's settings (tag 34665 of the 0th directory tells the offset) and the GPS attributes (tag 34853). A tag of
 * another type or count, or whose data lie outside, is passed over. 0 for a directory that does not fit, and without
 * memory. */
VOREL_API int32_t BRIMJ_ReadExifIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                                        ExifInfo *info);
VOREL_API int32_t BRIMJ_ReadGpsIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                                       ExifInfo *info);
/* The entry at an offset. 0 for a type that is none of the twelve, for data outside the length, and for two SHORTs,
 * which are refused although they would stand in the entry. */
VOREL_API int32_t BRIMJ_ReadExifField(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                                      ExifField *field);

/* TIFF files. The orientation of the 0th directory: 1 or 0. */
VOREL_API int32_t BRIMJ_GetTiffInfo(StreamBuffer *streamBuffer, ExifInfo *info);
/* The same, and the session's streamOffset becomes that of a JPEG stream which the 0th or 1st directory, or one of
 * their subdirectories (tag 330), names (tag 513). 1 or 0. */
VOREL_API int32_t BRIMJ_ReadTiffInfo(DecInfo *session, StreamBuffer *streamBuffer, ExifInfo *info);
/* One directory and its subdirectories, each behind its parent, at most 8 below it and 64 in all. The offset of the
 * next one; 0 where there is none, or for a fault. */
VOREL_API uint32_t BRIMJ_ReadTiffIFDInfo(DecInfo *session, uint32_t offset, uint32_t littleEndian, ExifInfo *info);

/* The size, pixels, of the last SOF0 or SOF2 before the first scan of a JPEG in memory, 0 x 0 without one. 200, or 201
 * for any fault. */
VOREL_API int32_t BRIMJ_GetJPEGResolution(const uint8_t *buffer, int32_t length, uint32_t *outWidth,
                                          uint32_t *outHeight);
/* Nothing, and 1: thumbnails are BRIMJ_ParseFileHeader's. */
VOREL_API void BRIMJ_ParseExifThumbnail(void);
VOREL_API int32_t BRIMJ_DecodeUncompressThumbnail(void);

VOREL_END_DECLS

#endif
