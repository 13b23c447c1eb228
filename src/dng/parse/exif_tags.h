// How the directories of the camera data read their tags: tables of the fields of each kind.
#pragma once

#include "dng/parse/exif.h"
#include "dng/parse/tag_codes.h"
#include "dng/parse/tag_helpers.h"

namespace vorel {

template <typename Field>
struct ExifTag {
    uint32_t code;
    Field VorelDngExif::*field;
};
using ExifNumber = ExifTag<uint32_t>;
using ExifText = ExifTag<std::string>;
using ExifRational = ExifTag<DngURational>;
using ExifSignedRational = ExifTag<DngSRational>;
using ExifTriple = ExifTag<DngURational[3]>;

inline bool read_exif(VorelDngStream &stream, uint32_t type, uint32_t count, uint32_t &value) {
    const bool bytes = type == kTagByte || type == kTagUndefined;
    if (count != 1 || (!bytes && type != kTagShort && type != kTagLong)) return false;
    value = stream.getTagValue_QMUINT32(type);
    return true;
}

inline bool read_exif(VorelDngStream &stream, uint32_t type, uint32_t count, std::string &text) {
    if (type != kTagAscii && type != kTagByte) return false;
    ParseStringTag(stream, 0, 0, count, text);
    return true;
}

inline bool read_exif(VorelDngStream &stream, uint32_t type, uint32_t count, DngURational &value) {
    if (count != 1 || (type != kTagRational && type != kTagSRational)) return false;
    value = stream.getTagValue_urational(type);
    return true;
}

inline bool read_exif(VorelDngStream &stream, uint32_t type, uint32_t count, DngSRational &value) {
    if (count != 1 || (type != kTagRational && type != kTagSRational)) return false;
    value = stream.getTagValue_srational(type);
    return true;
}

template <size_t kCount>
bool read_exif(VorelDngStream &stream, uint32_t type, uint32_t count, DngURational (&values)[kCount]) {
    if (count != kCount || (type != kTagRational && type != kTagSRational)) return false;
    for (DngURational &value : values) value = stream.getTagValue_urational(type);
    return true;
}

// Four bytes as one number, the first the most significant, in files of either byte order.
inline bool read_exif_version(VorelDngStream &stream, uint32_t type, uint32_t count, uint32_t &version) {
    if (count != 4 || !CheckTagType(0, 0, type, kTagByte, kTagAscii, kTagUndefined)) return false;
    version = 0;
    for (uint32_t i = 0; i < 4; ++i) version = version << 8 | stream.get_QMUINT8();
    return true;
}

inline bool read_exif_date(VorelDngStream &stream, uint32_t code, uint32_t type, uint32_t count, uint64_t offset,
                           VorelDngDateTime &date, DngDateTimeStorageInfo &storage) {
    if (!ParseDateTimeTag(stream, 0, code, type, count, date)) return false;
    storage = {DngDateTimeFormat::kExif, offset};
    return true;
}

// Whether one of the tags is the one that is asked for, and was read.
template <typename Field, size_t kCount>
bool read_exif_tags(const ExifTag<Field> (&tags)[kCount], VorelDngExif &exif, VorelDngStream &stream, uint32_t code,
                    uint32_t type, uint32_t count) {
    for (const ExifTag<Field> &tag : tags) {
        if (tag.code == code) return read_exif(stream, type, count, exif.*tag.field);
    }
    return false;
}

}  // namespace vorel
