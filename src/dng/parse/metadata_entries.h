// The metadata calls on one file. Each parses it: to be called once, on a fresh file.
#pragma once

#include <vorel/dng_metadata.h>

#include "dng/parse/dng_file.h"

namespace vorel {

// Records that are null are skipped. 1, or -1 when the parse fails. Throw std::bad_alloc.
int32_t parse_metadata(DngFile &file, CPVorelDngMetadata *metadataOut, CPVorelDngExif *exifOut,
                       CPVorelDngExif *exifOut2);
int32_t parse_exif_info(DngFile &file, CPVorelDngExif *exifOut);
// Also 0 where there is no XMP packet.
int32_t parse_xmp_info(DngFile &file, int64_t *offsetOut, int32_t *lengthOut, CPVorelDngExif *exifOut);

}  // namespace vorel

// A debug print of so many bytes of XMP from the stream's position, to standard output.
void printXMP(VorelDngStream &stream, uint32_t count);
