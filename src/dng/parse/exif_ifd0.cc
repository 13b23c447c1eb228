// IFD 0: TIFF 6.0 sections 7 and 8, TIFF/EP, and the DNG tags of camera and lens.
#include "dng/parse/exif_tags.h"

using namespace vorel;

namespace {

constexpr ExifText kTexts[] = {{kTagImageDescription, &VorelDngExif::imageDescription},
                               {kTagMake, &VorelDngExif::make},
                               {kTagModel, &VorelDngExif::model},
                               {kTagSoftware, &VorelDngExif::software},
                               {kTagArtist, &VorelDngExif::artist},
                               {kTagCameraSerialNumber, &VorelDngExif::cameraSerialNumber}};
constexpr ExifNumber kNumbers[] = {{kTagFocalPlaneResolutionUnitEp, &VorelDngExif::focalPlaneResolutionUnit},
                                   {kTagImageNumber, &VorelDngExif::imageNumber},
                                   {kTagSensingMethodEp, &VorelDngExif::sensingMethod}};
constexpr ExifRational kRationals[] = {{kTagFocalPlaneXResolutionEp, &VorelDngExif::focalPlaneXResolution},
                                       {kTagFocalPlaneYResolutionEp, &VorelDngExif::focalPlaneYResolution}};

}  // namespace

bool VorelDngExif::parseIfd0Tag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                                uint32_t tagCount, uint64_t offset) {
    switch (tagCode) {
        case kTagDateTime:
            return read_exif_date(stream, tagCode, tagType, tagCount, offset, dateTime, dateTimeStorage);
        case kTagCopyright:
            if (tagType != kTagAscii && tagType != kTagByte) return false;
            ParseDualStringTag(stream, parentCode, tagCode, tagCount, copyright, copyright2);
            return true;
        case kTagTiffEpStandardId:
            return read_exif_version(stream, tagType, tagCount, tiffEpStandardID);
        case kTagBatteryLevel:
            return tagType == kTagAscii ? read_exif(stream, tagType, tagCount, batteryLevelA)
                                        : read_exif(stream, tagType, tagCount, batteryLevelR);
        case kTagLensInfo:
            return read_exif(stream, tagType, tagCount, lensInfo);
        default:
            return read_exif_tags(kTexts, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kNumbers, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kRationals, *this, stream, tagCode, tagType, tagCount);
    }
}
