// What the records share when they read a tag. parentCode and tagCode say where a failed check was; nothing is
// reported.
#pragma once

#include <string>

#include "dng/base/matrix.h"
#include "dng/parse/date_time.h"
#include "dng/parse/stream.h"
#include "dng/parse/tag_types.h"

// Whether type is one of the others; 0 stands for no type.
bool CheckTagType(uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t t1, uint32_t t2 = 0,
                  uint32_t t3 = 0, uint32_t t4 = 0);
// Between minCount and maxCount; exactly minCount where maxCount is smaller.
bool CheckTagCount(uint32_t parentCode, uint32_t tagCode, uint32_t tagCount, uint32_t minCount, uint32_t maxCount = 0);
bool CheckCFA(uint32_t parentCode, uint32_t tagCode, uint32_t photometric);
// A mosaic or linear raw samples.
bool CheckRawIFD(uint32_t parentCode, uint32_t tagCode, uint32_t photometric);
bool CheckMainIFD(uint32_t parentCode, uint32_t tagCode, uint32_t newSubFileType);
bool CheckColorImage(uint32_t parentCode, uint32_t tagCode, uint32_t colorPlanes);

// They read from the stream's position. Texts are cut at the first NUL, and where the limits of dng/base/limits.h say.
void ParseStringTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagCount,
                    std::string &string);
// Two texts with a NUL between.
void ParseDualStringTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagCount,
                        std::string &first, std::string &second);
// Exif 2.3, 4.6.5 (UserComment): 8 bytes name the character code. Unicode texts are left empty.
void ParseEncodedStringTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagCount,
                           std::string &string);
// False, with the result as it was, unless the tag holds just as many values, and all are finite.
bool ParseVectorTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                    uint32_t count, VorelDngVector &vector);
bool ParseMatrixTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                    uint32_t rows, uint32_t columns, VorelDngMatrix &matrix);
// Reads what values holds places for, of as many as the tag has. False, with them as they were, when one is not finite.
bool ParseDoubles(VorelDngStream &stream, uint32_t tagType, uint32_t tagCount, double *values, uint32_t places);
bool ParseDateTimeTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                      uint32_t tagCount, VorelDngDateTime &dateTime);
