// The Exif directory (Exif 2.3, 4.6.5) and the interoperability directory (4.6.7).
#include "dng/parse/exif_tags.h"

using namespace vorel;

namespace {

constexpr ExifText kTexts[] = {{kTagSubsecTime, &VorelDngExif::subsecTime},
                               {kTagSubsecTimeOriginal, &VorelDngExif::subsecTimeOriginal},
                               {kTagSubsecTimeDigitized, &VorelDngExif::subsecTimeDigitized},
                               {kTagImageUniqueId, &VorelDngExif::imageUniqueID},
                               {kTagCameraOwnerName, &VorelDngExif::ownerName},
                               {kTagLensMake, &VorelDngExif::lensMake},
                               {kTagLensSerialNumber, &VorelDngExif::lensSerialNumber}};
constexpr ExifNumber kNumbers[] = {{kTagExposureProgram, &VorelDngExif::exposureProgram},
                                   {kTagSelfTimerMode, &VorelDngExif::selfTimerMode},
                                   {kTagSensitivityType, &VorelDngExif::sensitivityType},
                                   {kTagStandardOutputSensitivity, &VorelDngExif::standardOutputSensitivity},
                                   {kTagRecommendedExposureIndex, &VorelDngExif::recommendedExposureIndex},
                                   {kTagIsoSpeed, &VorelDngExif::isoSpeed},
                                   {kTagIsoSpeedLatitudeyyy, &VorelDngExif::isoSpeedLatitudeyyy},
                                   {kTagIsoSpeedLatitudezzz, &VorelDngExif::isoSpeedLatitudezzz},
                                   {kTagMeteringMode, &VorelDngExif::meteringMode},
                                   {kTagLightSource, &VorelDngExif::lightSource},
                                   {kTagImageNumber, &VorelDngExif::imageNumber},
                                   {kTagColorSpace, &VorelDngExif::colorSpace},
                                   {kTagPixelXDimension, &VorelDngExif::pixelXDimension},
                                   {kTagPixelYDimension, &VorelDngExif::pixelYDimension},
                                   {kTagFocalPlaneResolutionUnit, &VorelDngExif::focalPlaneResolutionUnit},
                                   {kTagSensingMethod, &VorelDngExif::sensingMethod},
                                   {kTagFileSource, &VorelDngExif::fileSource},
                                   {kTagSceneType, &VorelDngExif::sceneType},
                                   {kTagCustomRendered, &VorelDngExif::customRendered},
                                   {kTagExposureMode, &VorelDngExif::exposureMode},
                                   {kTagWhiteBalance, &VorelDngExif::whiteBalance},
                                   {kTagFocalLengthIn35mmFilm, &VorelDngExif::focalLengthIn35mmFilm},
                                   {kTagSceneCaptureType, &VorelDngExif::sceneCaptureType},
                                   {kTagGainControl, &VorelDngExif::gainControl},
                                   {kTagContrast, &VorelDngExif::contrast},
                                   {kTagSaturation, &VorelDngExif::saturation},
                                   {kTagSharpness, &VorelDngExif::sharpness},
                                   {kTagSubjectDistanceRange, &VorelDngExif::subjectDistanceRange}};
constexpr ExifRational kRationals[] = {{kTagExposureTime, &VorelDngExif::exposureTime},
                                       {kTagFNumber, &VorelDngExif::fNumber},
                                       {kTagCompressedBitsPerPixel, &VorelDngExif::compressedBitsPerPixel},
                                       {kTagApertureValue, &VorelDngExif::apertureValue},
                                       {kTagMaxApertureValue, &VorelDngExif::maxApertureValue},
                                       {kTagSubjectDistance, &VorelDngExif::subjectDistance},
                                       {kTagFocalLength, &VorelDngExif::focalLength},
                                       {kTagExposureIndexEp, &VorelDngExif::exposureIndex},
                                       {kTagExposureIndex, &VorelDngExif::exposureIndex},
                                       {kTagFocalPlaneXResolution, &VorelDngExif::focalPlaneXResolution},
                                       {kTagFocalPlaneYResolution, &VorelDngExif::focalPlaneYResolution},
                                       {kTagDigitalZoomRatio, &VorelDngExif::digitalZoomRatio},
                                       {kTagGamma, &VorelDngExif::gamma}};
constexpr ExifSignedRational kSignedRationals[] = {{kTagShutterSpeedValue, &VorelDngExif::shutterSpeedValue},
                                                   {kTagBrightnessValue, &VorelDngExif::brightnessValue},
                                                   {kTagExposureBiasValue, &VorelDngExif::exposureBiasValue}};

// Columns and rows of the repeated block, then its colours. Some writers store the two numbers in the other byte order.
bool read_cfa_pattern(VorelDngStream &stream, uint32_t count, VorelDngExif &exif) {
    if (count < 5) return false;
    uint32_t columns = stream.get_QMUINT16(), rows = stream.get_QMUINT16();
    if (columns > 255) columns = columns >> 8 | (columns & 255) << 8, rows = rows >> 8 | (rows & 255) << 8;
    if (columns < 1 || columns > 8 || rows < 1 || rows > 8 || count != 4 + rows * columns) return false;
    if (stream.takeCopy(count) != count) return false;
    exif.cfaRepeatPatternRows = rows;
    exif.cfaRepeatPatternCols = columns;
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t column = 0; column < columns; ++column) exif.cfaPattern[row][column] = stream.get_QMUINT8();
    }
    return true;
}

}  // namespace

bool VorelDngExif::parseExifTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                                uint32_t tagCount, uint64_t offset) {
    switch (tagCode) {
        case kTagIsoSpeedRatings:
            if (!CheckTagType(parentCode, tagCode, tagType, kTagShort, kTagLong) || tagCount < 1) return false;
            for (uint32_t i = 0; i < 3 && i < tagCount; ++i) isoSpeedRatings[i] = stream.getTagValue_QMUINT32(tagType);
            return true;
        case kTagTimeZoneOffset:
            // Whole hours: of the original date, then of the date of the last change.
            if (tagType != kTagSShort || tagCount < 1 || tagCount > 2) return false;
            for (uint32_t i = 0; i < tagCount; ++i) zoneHours_[i] = stream.getTagValue_QMINT32(tagType);
            return true;
        case kTagExifVersion:
            return read_exif_version(stream, tagType, tagCount, exifVersion);
        case kTagFlashPixVersion:
            return read_exif_version(stream, tagType, tagCount, flashPixVersion);
        case kTagComponentsConfiguration:
            return read_exif_version(stream, tagType, tagCount, componentsConfiguration);
        case kTagDateTimeOriginal:
            return read_exif_date(stream, tagCode, tagType, tagCount, offset, dateTimeOriginal,
                                  dateTimeOriginalStorage);
        case kTagDateTimeDigitized:
            return read_exif_date(stream, tagCode, tagType, tagCount, offset, dateTimeDigitized,
                                  dateTimeDigitizedStorage);
        case kTagFlash:
            if (!read_exif(stream, tagType, tagCount, flash)) return false;
            // Exif 2.2 added the upper four of seven bits; the version is the characters "0220".
            flashMask = exifVersion < 0x30323230 ? 0x07 : 0x7F;
            return true;
        case kTagSubjectArea:
        case kTagSubjectLocation:
            if (tagType != kTagShort || tagCount < 2 || tagCount > 4) return false;
            if (tagCode == kTagSubjectLocation && (tagCount != 2 || subjectAreaCount)) return false;
            subjectAreaCount = tagCount;
            for (uint32_t i = 0; i < tagCount; ++i) subjectArea[i] = stream.get_QMUINT16();
            return true;
        case kTagUserComment:
            if (tagType != kTagUndefined && tagType != kTagAscii) return false;
            ParseEncodedStringTag(stream, parentCode, tagCode, tagCount, userComment);
            return true;
        case kTagCfaPatternExif:
            return tagType == kTagUndefined && read_cfa_pattern(stream, tagCount, *this);
        case kTagBodySerialNumber:
            // The number of IFD 0 stands where there are both.
            return cameraSerialNumber.empty() && read_exif(stream, tagType, tagCount, cameraSerialNumber);
        case kTagLensSpecification:
            return lensInfo[0] == DngURational{} && read_exif(stream, tagType, tagCount, lensInfo);
        case kTagLensModel:
            if (!read_exif(stream, tagType, tagCount, lensName)) return false;
            lensNameWasReadFromExif = true;
            return true;
        default:
            return read_exif_tags(kNumbers, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kRationals, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kSignedRationals, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kTexts, *this, stream, tagCode, tagType, tagCount);
    }
}

bool VorelDngExif::parseInteroperabilityTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType,
                                            uint32_t tagCount) {
    switch (tagCode) {
        case 1:
            return read_exif(stream, tagType, tagCount, interoperabilityIndex);
        case 2:
            return read_exif_version(stream, tagType, tagCount, interoperabilityVersion);
        case 4096:
            return read_exif(stream, tagType, tagCount, relatedImageFileFormat);
        case 4097:
            return read_exif(stream, tagType, tagCount, relatedImageWidth);
        case 4098:
            return read_exif(stream, tagType, tagCount, relatedImageLength);
        default:
            return false;
    }
}
