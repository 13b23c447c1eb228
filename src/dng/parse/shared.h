// What belongs to the whole file.
#pragma once

#include <string>
#include <vector>

#include "dng/base/matrix.h"
#include "dng/base/xy_coord.h"
#include "dng/parse/profile_info.h"

class VorelDngExif;

// Blocks that the develop does not look into stay in the file, by offset and count of bytes.
class VorelDngShared {
  public:
    bool parseTag(VorelDngStream &stream, VorelDngExif &exif, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                  uint32_t tagCount, uint64_t offset);
    void postParse(VorelDngExif &exif);

    uint64_t exifIFD = 0, gpsInfo = 0, interoperabilityIFD = 0;  // offsets
    uint32_t dngVersion = 0, dngBackwardVersion = 0;             // 0x01040000 is 1.4.0.0; 0: no DNG
    std::string uniqueCameraModel, localizedCameraModel;
    VorelDngCameraProfileInfo cameraProfile;
    VorelDngMatrix cameraCalibration1, cameraCalibration2;
    std::string cameraCalibrationSignature, asShotProfileName;
    VorelDngVector analogBalance, asShotNeutral;
    VorelDngXYCoord asShotWhiteXY;  // zeros when not there
    vorel::DngSRational baselineExposure = {0, 1};
    vorel::DngURational baselineNoise = {1, 1}, noiseReductionApplied = {0, 0}, baselineSharpness = {1, 1};
    vorel::DngURational linearResponseLimit = {1, 1}, shadowScale = {1, 1};

    bool hasBaseOrientation = false;
    uint32_t baseOrientation = 1;
    bool makerNoteSafe = false;
    uint8_t rawImageDigest[16] = {}, newRawImageDigest[16] = {}, rawDataUniqueID[16] = {},
            originalRawFileDigest[16] = {};
    std::string originalRawFileName;
    uint32_t originalDefaultFinalSize[2] = {}, originalBestQualitySize[2] = {};
    double originalDefaultCropSize[2] = {};

    uint64_t dngPrivateDataOffset = 0, makerNoteOffset = 0, xmpOffset = 0, iptcOffset = 0, originalRawDataOffset = 0,
             asShotICCProfileOffset = 0, currentICCProfileOffset = 0;
    uint32_t dngPrivateDataCount = 0, makerNoteCount = 0, xmpCount = 0, iptcCount = 0, originalRawDataCount = 0,
             asShotICCProfileCount = 0, currentICCProfileCount = 0;
    VorelDngMatrix asShotPreProfileMatrix, currentPreProfileMatrix;
    uint32_t colorimetricReference = 0;

    uint32_t extraProfilesType = 0, extraProfilesCount = 0;
    uint64_t extraProfilesOffset = 0;  // of the list of offsets
    std::vector<VorelDngCameraProfileInfo> extraProfiles;
};
