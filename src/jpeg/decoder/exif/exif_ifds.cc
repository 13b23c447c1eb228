// The directories of an Exif block: 0th, Exif and GPS (Exif 2.3, 4.6.3 to 4.6.6).
#include <vorel/exif.h>

#include <cstring>

#include "core/core.h"
#include "jpeg/tiff_reader.h"

namespace vorel {
namespace {

// Calls visit(field) for every entry that can be read, until it gives false. The directory is there whole.
template <typename Visit>
bool for_fields(const TiffReader &tiff, uint32_t length, uint32_t offset, const Visit &visit) {
    const uint32_t count = tiff.word(offset);
    for (uint32_t i = 0, at = offset + 2; i < count; ++i, at += TiffReader::kEntryBytes) {
        ExifField field;
        if (BRIMJ_ReadExifField(tiff.at(0), at, length, tiff.little_endian(), &field) && !visit(field)) return false;
    }
    return true;
}

// A copy of the field's bytes with a NUL behind takes the place of what was there.
template <typename Char>
bool replace_string(const TiffReader &tiff, const ExifField &field, Char **text) {
    uint8_t *copy = static_cast<uint8_t *>(os_allocate(size_t{field.byteLength} + 1));
    if (!copy) return false;
    std::memcpy(copy, tiff.at(field.value), field.byteLength);
    copy[field.byteLength] = 0;
    os_release(*text);
    *text = reinterpret_cast<Char *>(copy);
    return true;
}

// Rationals, signed or not.
template <typename Number>
bool take_rationals(const TiffReader &tiff, const ExifField &field, Number (*out)[2], uint32_t count) {
    for (uint32_t i = 0; i < 2 * count; ++i) {
        out[i / 2][i % 2] = static_cast<Number>(tiff.long_word(int64_t{field.value} + 4 * i));
    }
    return true;
}

bool take_number(const ExifField &field, uint16_t *out) {
    *out = static_cast<uint16_t>(field.value);
    return true;
}

bool is(const ExifField &field, TiffType type, uint32_t count) { return field.type == type && field.count == count; }

// False without memory alone: a tag of another type or count is passed over.
bool take_exif_field(const TiffReader &tiff, const ExifField &field, ExifInfo *info) {
    const bool one_short = is(field, kShort, 1);
    const bool one_rational = is(field, kRational, 1), one_signed = is(field, kSRational, 1);
    switch (field.tag) {
        case 33434:
            return !one_rational || take_rationals(tiff, field, &info->exposureTime, 1);
        case 33437:
            return !one_rational || take_rationals(tiff, field, &info->fNumber, 1);
        case 34855:
            return !one_short || take_number(field, &info->iso);
        case 36864:
            return !is(field, kUndefined, 4) || replace_string(tiff, field, &info->exifVersion);
        case 36867:
            return !is(field, kAscii, 20) || replace_string(tiff, field, &info->dateTimeOriginal);
        case 36868:
            return !is(field, kAscii, 20) || replace_string(tiff, field, &info->dateTimeDigitized);
        case 37377:
            return !one_signed || take_rationals(tiff, field, &info->shutterSpeed, 1);
        case 37380:
            return !one_signed || take_rationals(tiff, field, &info->exposureBias, 1);
        case 37385:
            return !one_short || take_number(field, &info->flash);
        case 37386:
            return !one_rational || take_rationals(tiff, field, &info->focalLength, 1);
        case 40961:
            return !one_short || take_number(field, &info->colorSpace);
        case 40962:
            if (one_short || is(field, kLong, 1)) info->pixelWidth = field.value;
            return true;
        case 40963:
            if (one_short || is(field, kLong, 1)) info->pixelHeight = field.value;
            return true;
        case 41986:
            return !one_short || take_number(field, &info->exposureMode);
        case 41987:
            return !one_short || take_number(field, &info->whiteBalance);
        case 41988:
            return !one_rational || take_rationals(tiff, field, &info->digitalZoomRatio, 1);
        default:
            return true;
    }
}

// The last of each, copied when the directory has been read: any number of entries may share what they name.
struct GpsStrings {
    ExifField datum, method;

    void take(const ExifField &field) {
        if (field.tag == 18 && field.type == kAscii) datum = field;
        if (field.tag == 27 && field.type == kUndefined) method = field;
    }
    bool copy(const TiffReader &tiff, GpsInfo *gps) const {
        return (datum.tag == 0 || replace_string(tiff, datum, &gps->mapDatum)) &&
               (method.tag == 0 || replace_string(tiff, method, &gps->processingMethod));
    }
};

void take_gps_field(const TiffReader &tiff, const ExifField &field, GpsInfo *gps) {
    const auto bytes = [&] { return tiff.at(field.value); };
    switch (field.tag) {
        case 0:
            if (is(field, kByte, 4)) std::memcpy(gps->versionId, bytes(), 4);
            return;
        case 1:
            if (is(field, kAscii, 2)) std::memcpy(gps->latitudeRef, bytes(), 2);
            return;
        case 2:
            if (is(field, kRational, 3)) take_rationals(tiff, field, gps->latitude, 3);
            return;
        case 3:
            if (is(field, kAscii, 2)) std::memcpy(gps->longitudeRef, bytes(), 2);
            return;
        case 4:
            if (is(field, kRational, 3)) take_rationals(tiff, field, gps->longitude, 3);
            return;
        case 5:
            if (is(field, kByte, 1)) gps->altitudeRef = bytes()[0];
            return;
        case 6:
            if (is(field, kRational, 1)) take_rationals(tiff, field, &gps->altitude, 1);
            return;
        case 7:
            if (is(field, kRational, 3)) take_rationals(tiff, field, gps->timeStamp, 3);
            return;
        case 29:
            if (is(field, kAscii, sizeof gps->dateStamp)) {
                std::memcpy(gps->dateStamp, bytes(), sizeof gps->dateStamp);
                gps->dateStamp[sizeof gps->dateStamp - 1] = '\0';
            }
            return;
        default:
            return;
    }
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

uint32_t BRIMJ_Read0thIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                              ExifInfo *info) {
    const TiffReader tiff(buffer, length, littleEndian != 0);
    if (!tiff.holds_directory(offset)) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    for_fields(tiff, length, offset, [&](const ExifField &field) {
        if (field.tag == kOrientationTag && is(field, kShort, 1)) {
            info->orientation = field.value;
            info->littleEndian = littleEndian != 0;
        }
        return true;
    });
    return tiff.long_word(offset + 2 + TiffReader::kEntryBytes * tiff.word(offset));
}

int32_t BRIMJ_ReadExifIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                              ExifInfo *info) {
    const TiffReader tiff(buffer, length, littleEndian != 0);
    if (tiff.holds_entries(offset) &&
        for_fields(tiff, length, offset, [&](const ExifField &field) { return take_exif_field(tiff, field, info); }))
        return 1;
    VOREL_TRACE(kTagJpeg);
    return 0;
}

int32_t BRIMJ_ReadGpsIFDInfo(const uint8_t *buffer, uint32_t offset, uint32_t length, uint32_t littleEndian,
                             ExifInfo *info) {
    constexpr const char *kName = "BRIMJ_ReadGpsIFDInfo";
    const TiffReader tiff(buffer, length, littleEndian != 0);
    if (!tiff.holds(offset, 2)) {
        VOREL_LOG(kTagJpeg, "[%s:%d, length : %d, cBufferCount : %d]", kName, __LINE__, static_cast<int>(length),
                  static_cast<int>(offset));
        return 0;
    }
    if (!tiff.holds_entries(offset)) {
        VOREL_LOG(kTagJpeg, "[%s:%d, numField: %d, cBufferCount : %d, length : %d]", kName, __LINE__,
                  static_cast<int>(tiff.word(offset)), static_cast<int>(offset), static_cast<int>(length));
        return 0;
    }
    if (!info->gps) info->gps = os_allocate_array<GpsInfo>(1);
    GpsStrings strings = {};
    const auto take = [&](const ExifField &field) {
        take_gps_field(tiff, field, info->gps);
        strings.take(field);
        return true;
    };
    if (info->gps && for_fields(tiff, length, offset, take) && strings.copy(tiff, info->gps)) return 1;
    const uint32_t size = info->gps ? strings.datum.byteLength + strings.method.byteLength : sizeof(GpsInfo);
    VOREL_LOG(kTagJpeg, "[%s:%d, size : %d]", kName, __LINE__, static_cast<int>(size));
    return 0;
}

int32_t BRIMJ_ReadExifInfo(const uint8_t *buffer, uint32_t, uint32_t length, ExifInfo *info) {
    const TiffReader tiff(buffer, length);
    const uint32_t first = tiff.valid() ? tiff.long_word(4) : 0;
    if (!tiff.valid() || first >= length) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    info->littleEndian = tiff.little_endian();
    const uint32_t next = BRIMJ_Read0thIFDInfo(buffer, first, length, tiff.little_endian(), info);
    if (next == 0) return 1;
    // Required: the 1st directory is walked, and nothing of it kept.
    if (tiff.holds_directory(next)) {
        for_fields(tiff, length, next, [](const ExifField &) { return true; });
    } else {
        VOREL_TRACE(kTagJpeg);
    }
    std::memset(&info->thumbnail, 0, sizeof info->thumbnail);
    return 1;
}

}  // extern "C"
