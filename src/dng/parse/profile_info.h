// Where the camera profile of a file, or an extra one, lies.
#pragma once

#include <string>

#include "dng/base/matrix.h"
#include "dng/parse/stream.h"

// Small values as they are, tables by offset and count (of values). An offset of 0: not there.
class VorelDngCameraProfileInfo {
  public:
    bool parseTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                  uint64_t offset);

    bool littleEndian = true;
    uint32_t colorPlanes = 0;  // from the first colour matrix
    std::string uniqueCameraModel, name, copyright, calibrationSignature;
    uint32_t embedPolicy = 0;

    uint32_t illuminant1 = 0, illuminant2 = 0;  // Exif LightSource codes
    VorelDngMatrix colorMatrix1, colorMatrix2;  // planes x 3, XYZ to camera; empty when not there
    VorelDngMatrix forwardMatrix1, forwardMatrix2, reductionMatrix1, reductionMatrix2;  // 3 x planes
    VorelDngMatrix cameraCalibration1, cameraCalibration2;                              // planes x planes

    uint32_t hueDivisions = 0, satDivisions = 0, valDivisions = 0;
    uint64_t hueSatDeltas1Offset = 0, hueSatDeltas2Offset = 0;
    uint32_t hueSatDeltas1Count = 0, hueSatDeltas2Count = 0;  // floats
    uint32_t hueSatMapEncoding = 0;
    uint32_t lookHueDivisions = 0, lookSatDivisions = 0, lookValDivisions = 0;
    uint64_t lookTableOffset = 0;
    uint32_t lookTableCount = 0;  // floats
    uint32_t lookTableEncoding = 0;
    uint64_t toneCurveOffset = 0;
    uint32_t toneCurveCount = 0;  // floats: x, y of each point
    double baselineExposureOffset = 0;
    uint32_t defaultBlackRender = 0;
};
