// The GPS directory (Exif 2.3, 4.6.6).
#include "dng/parse/exif_tags.h"

using namespace vorel;

namespace {

constexpr ExifText kTexts[] = {{1, &VorelDngExif::gpsLatitudeRef},       {3, &VorelDngExif::gpsLongitudeRef},
                               {8, &VorelDngExif::gpsSatellites},        {9, &VorelDngExif::gpsStatus},
                               {10, &VorelDngExif::gpsMeasureMode},      {12, &VorelDngExif::gpsSpeedRef},
                               {14, &VorelDngExif::gpsTrackRef},         {16, &VorelDngExif::gpsImgDirectionRef},
                               {18, &VorelDngExif::gpsMapDatum},         {19, &VorelDngExif::gpsDestLatitudeRef},
                               {21, &VorelDngExif::gpsDestLongitudeRef}, {23, &VorelDngExif::gpsDestBearingRef},
                               {25, &VorelDngExif::gpsDestDistanceRef},  {29, &VorelDngExif::gpsDateStamp}};
constexpr ExifNumber kNumbers[] = {{5, &VorelDngExif::gpsAltitudeRef}, {30, &VorelDngExif::gpsDifferential}};
constexpr ExifRational kRationals[] = {{6, &VorelDngExif::gpsAltitude},      {11, &VorelDngExif::gpsDOP},
                                       {13, &VorelDngExif::gpsSpeed},        {15, &VorelDngExif::gpsTrack},
                                       {17, &VorelDngExif::gpsImgDirection}, {24, &VorelDngExif::gpsDestBearing},
                                       {26, &VorelDngExif::gpsDestDistance}, {31, &VorelDngExif::gpsHPositioningError}};
constexpr ExifTriple kTriples[] = {{2, &VorelDngExif::gpsLatitude},
                                   {4, &VorelDngExif::gpsLongitude},
                                   {7, &VorelDngExif::gpsTimeStamp},
                                   {20, &VorelDngExif::gpsDestLatitude},
                                   {22, &VorelDngExif::gpsDestLongitude}};

}  // namespace

bool VorelDngExif::parseGpsTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                               uint32_t tagCount) {
    switch (tagCode) {
        case 0:
            return read_exif_version(stream, tagType, tagCount, gpsVersionID);
        case 27:
        case 28:
            if (tagType != kTagUndefined && tagType != kTagAscii) return false;
            ParseEncodedStringTag(stream, parentCode, tagCode, tagCount,
                                  tagCode == 27 ? gpsProcessingMethod : gpsAreaInformation);
            return true;
        default:
            return read_exif_tags(kTexts, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kNumbers, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kRationals, *this, stream, tagCode, tagType, tagCount) ||
                   read_exif_tags(kTriples, *this, stream, tagCode, tagType, tagCount);
    }
}
