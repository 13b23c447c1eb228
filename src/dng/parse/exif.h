// What the camera says about the picture: Exif 2.3 (CIPA DC-008), TIFF/EP (ISO 12234-2) and the DNG tags beside them.
#pragma once

#include <string>

#include "dng/parse/date_time.h"
#include "dng/parse/stream.h"

class VorelDngShared;

// Values are 0 or empty where a tag is missing or malformed. Codes are those of Exif; versions hold the four characters
// as one number, the first the most significant.
class VorelDngExif {
  public:
    // Whether the tag is one of this record's. parentCode: see dng/parse/dng_file.h.
    bool parseTag(VorelDngStream &stream, VorelDngShared &shared, uint32_t parentCode, uint32_t tagCode,
                  uint32_t tagType, uint32_t tagCount, uint64_t offset);
    // Fills in what follows from other values: exposure time and shutter speed, F number and aperture.
    void postParse(VorelDngShared &shared);

    // Also set the APEX value. snap: to the nearest of the usual shutter times.
    void setExposureTime(double seconds, bool snap);
    // Sets the exposure time too, where there is none.
    void setShutterSpeedValue(double apex);
    void setFNumber(double fNumber);
    static vorel::DngURational encodeFNumber(double fNumber);
    static double getSnapExposureTime(double seconds);
    static double getApertureValueToFNumber(double apex);
    static double getFNumberToApertureValue(double fNumber);

    std::string imageDescription, make, model, software, artist, copyright, copyright2, userComment;
    VorelDngDateTime dateTime, dateTimeOriginal, dateTimeDigitized;
    vorel::DngDateTimeStorageInfo dateTimeStorage, dateTimeOriginalStorage, dateTimeDigitizedStorage;
    std::string subsecTime, subsecTimeOriginal, subsecTimeDigitized;
    uint32_t tiffEpStandardID = 0, exifVersion = 0, flashPixVersion = 0;

    vorel::DngURational exposureTime, fNumber, apertureValue, maxApertureValue, focalLength, digitalZoomRatio,
        exposureIndex, subjectDistance, gamma, batteryLevelR;
    vorel::DngSRational shutterSpeedValue, brightnessValue, exposureBiasValue;
    std::string batteryLevelA;

    uint32_t exposureProgram = 0, meteringMode = 0, lightSource = 0, flash = 0, flashMask = 0, sensingMethod = 0;
    uint32_t colorSpace = 0, fileSource = 0, sceneType = 0, customRendered = 0, exposureMode = 0, whiteBalance = 0;
    uint32_t sceneCaptureType = 0, gainControl = 0, contrast = 0, saturation = 0, sharpness = 0;
    uint32_t subjectDistanceRange = 0, selfTimerMode = 0, imageNumber = 0, focalLengthIn35mmFilm = 0;
    uint32_t isoSpeedRatings[3] = {};
    uint32_t sensitivityType = 0, standardOutputSensitivity = 0, recommendedExposureIndex = 0;
    uint32_t isoSpeed = 0, isoSpeedLatitudeyyy = 0, isoSpeedLatitudezzz = 0;
    uint32_t subjectAreaCount = 0, subjectArea[4] = {};
    uint32_t componentsConfiguration = 0;
    vorel::DngURational compressedBitsPerPixel;
    uint32_t pixelXDimension = 0, pixelYDimension = 0;
    vorel::DngURational focalPlaneXResolution, focalPlaneYResolution;
    uint32_t focalPlaneResolutionUnit = 0;
    uint32_t cfaRepeatPatternRows = 0, cfaRepeatPatternCols = 0;  // at most 8
    uint8_t cfaPattern[8][8] = {};
    std::string imageUniqueID;

    uint32_t gpsVersionID = 0;
    std::string gpsLatitudeRef, gpsLongitudeRef, gpsSatellites, gpsStatus, gpsMeasureMode, gpsSpeedRef, gpsTrackRef,
        gpsImgDirectionRef, gpsMapDatum, gpsDestLatitudeRef, gpsDestLongitudeRef, gpsDestBearingRef, gpsDestDistanceRef,
        gpsProcessingMethod, gpsAreaInformation, gpsDateStamp;
    vorel::DngURational gpsLatitude[3], gpsLongitude[3], gpsTimeStamp[3], gpsDestLatitude[3], gpsDestLongitude[3];
    vorel::DngURational gpsAltitude, gpsDOP, gpsSpeed, gpsTrack, gpsImgDirection, gpsDestBearing, gpsDestDistance,
        gpsHPositioningError;
    uint32_t gpsAltitudeRef = 0, gpsDifferential = 0;

    std::string interoperabilityIndex, relatedImageFileFormat;
    uint32_t interoperabilityVersion = 0, relatedImageWidth = 0, relatedImageLength = 0;

    std::string cameraSerialNumber, lensID, lensMake, lensName, lensSerialNumber;
    // Focal lengths, then F numbers at these; shortest first.
    vorel::DngURational lensInfo[4];
    bool lensNameWasReadFromExif = false;
    vorel::DngURational approxFocusDistance;
    vorel::DngSRational flashCompensation;
    std::string ownerName, firmware, title;
    vorel::DngSRational lensDistortInfo[4];

  private:
    bool parseIfd0Tag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                      uint32_t tagCount, uint64_t offset);
    bool parseExifTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                      uint32_t tagCount, uint64_t offset);
    bool parseGpsTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                     uint32_t tagCount);
    bool parseInteroperabilityTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType, uint32_t tagCount);

    int32_t zoneHours_[2] = {};  // TIFF/EP, of the original date and of the date
};
