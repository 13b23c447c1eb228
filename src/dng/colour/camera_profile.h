// What a camera's colours mean.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dng/base/matrix.h"
#include "dng/base/xy_coord.h"
#include "dng/colour/hue_sat_map.h"
#include "dng/parse/profile_info.h"

class VorelDngCameraProfile {
  public:
    // Tables whose data are not all in the stream stay empty. stream keeps its position and byte order.
    void parse(VorelDngStream &stream, const VorelDngCameraProfileInfo &info);

    // Whether the matrices fit an image of so many colour planes, and the forward ones a white.
    bool isValid(uint32_t planes) const;
    // matrix times 1, 1, ... is the white of the PCS, within 0.01.
    static bool validForwardMatrix(const VorelDngMatrix &matrix);

    // Two illuminants with temperatures that differ, to blend by.
    bool hasTwoTemperatures() const;
    // The share of illuminant 1 at a white, by reciprocal temperatures, limited to 0 to 1. Of two temperatures.
    double weightOfFirst(const VorelDngXYCoord &white) const;

    // Null without a map; the caller deletes the result.
    VorelDngHueSatMap *getHueSatMapForWhite(const VorelDngXYCoord &white) const;

    std::string name;
    VorelDngMatrix color1, color2;          // planes x 3, XYZ to camera
    VorelDngMatrix forward1, forward2;      // 3 x planes, white-balanced camera to PCS
    VorelDngMatrix reduction1, reduction2;  // 3 x planes
    std::string calibrationSignature;
    VorelDngHueSatMap hueSat1, hueSat2, look;
    uint32_t illuminant1 = 0, illuminant2 = 0;  // Exif LightSource codes
    double baselineExposureOffset = 0;
    uint32_t defaultBlackRender = 0;
    std::vector<std::pair<float, float>> toneCurve;  // as the file has it; renders use their own
    uint32_t embedPolicy = 0;
    std::string copyright;
    uint32_t hueSatEncoding = 0, lookEncoding = 0;
};
