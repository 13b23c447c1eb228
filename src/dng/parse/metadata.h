// What a file says about itself, and the plain records of it that callers get.
#pragma once

#include <vorel/dng_metadata.h>

#include <string>
#include <vector>

#include "dng/parse/date_time.h"
#include "dng/parse/exif.h"

class VorelDngMetadata {
  public:
    bool hasBaseOrientation = false;
    uint32_t baseOrientation = 0;  // Exif, 1 to 8
    bool isMakerNoteSafe = false;
    // Of the main image, which may not be there.
    int32_t imageWidth = 0, imageHeight = 0;
    int32_t cropOriginX = 0, cropOriginY = 0, cropWidth = 0, cropHeight = 0;
    std::vector<uint8_t> makerNote;
    uint8_t embeddedXMPDigest[16] = {};
    bool xmpInSidecar = false, xmpIsNewer = false;
    std::string sourceMIME;
};

// out is filled whole; its two heap blocks are malloc's, for freeCPVorelDngMetadata. Throws std::bad_alloc.
void convertMetadataClass2Struct(const VorelDngMetadata &metadata, CPVorelDngMetadata *out);
void convertExifClass2Struct(const VorelDngExif &exif, CPVorelDngExif *out);
// out has 256 bytes.
void convertURationalClass2Char(const vorel::DngURational &value, char *out);
void convertSRationalClass2Char(const vorel::DngSRational &value, char *out);
void convertDateTimeClass2Char(const VorelDngDateTime &value, char *out);
void convertDateTimeStorageInfoClass2Char(const vorel::DngDateTimeStorageInfo &value, char *out);
