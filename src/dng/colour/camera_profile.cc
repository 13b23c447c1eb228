#include "dng/colour/camera_profile.h"

#include <vorel/dng_samples.h>

#include <cmath>

#include "dng/colour/temperature.h"
#include "dng/colour/white_map.h"

namespace {

constexpr double kForwardTolerance = 0.01;
constexpr uint32_t kMaxCurveFloats = 2 * 65536;

bool fits(const VorelDngMatrix &matrix, uint32_t rows, uint32_t columns) {
    return matrix.rows() == rows && matrix.columns() == columns;
}

// Empty where divisions and data do not agree.
VorelDngHueSatMap read_map(VorelDngStream &stream, uint32_t hue, uint32_t sat, uint32_t val, uint64_t offset,
                           uint32_t count) {
    const uint64_t floats = VorelDngHueSatMap::isValid(hue, sat, val) ? uint64_t{3} * hue * sat * val : 0;
    if (floats == 0 || offset == 0 || floats > count || !stream.holds(offset, floats * sizeof(float))) return {};
    VorelDngHueSatMap map(hue, sat, val);
    stream.setPosition(offset);
    for (uint64_t i = 0; i < floats; ++i) map.data()[i] = stream.get_QMFLOAT();
    return map;
}

}  // namespace

void VorelDngCameraProfile::parse(VorelDngStream &stream, const VorelDngCameraProfileInfo &info) {
    name = info.name;
    color1 = info.colorMatrix1;
    color2 = info.colorMatrix2;
    forward1 = info.forwardMatrix1;
    forward2 = info.forwardMatrix2;
    reduction1 = info.reductionMatrix1;
    reduction2 = info.reductionMatrix2;
    calibrationSignature = info.calibrationSignature;
    illuminant1 = info.illuminant1;
    illuminant2 = info.illuminant2;
    baselineExposureOffset = info.baselineExposureOffset;
    defaultBlackRender = info.defaultBlackRender;
    embedPolicy = info.embedPolicy;
    copyright = info.copyright;
    hueSatEncoding = info.hueSatMapEncoding;
    lookEncoding = info.lookTableEncoding;

    VorelDngStream tables(stream);
    info.littleEndian ? tables.setLittleEndian() : tables.setBigEndian();
    hueSat1 = read_map(tables, info.hueDivisions, info.satDivisions, info.valDivisions, info.hueSatDeltas1Offset,
                       info.hueSatDeltas1Count);
    hueSat2 = read_map(tables, info.hueDivisions, info.satDivisions, info.valDivisions, info.hueSatDeltas2Offset,
                       info.hueSatDeltas2Count);
    look = read_map(tables, info.lookHueDivisions, info.lookSatDivisions, info.lookValDivisions, info.lookTableOffset,
                    info.lookTableCount);
    toneCurve.clear();
    const uint32_t floats = info.toneCurveCount;
    if (info.toneCurveOffset != 0 && floats <= kMaxCurveFloats &&
        tables.holds(info.toneCurveOffset, uint64_t{floats} * sizeof(float))) {
        tables.setPosition(info.toneCurveOffset);
        for (uint32_t i = 0; i + 1 < floats; i += 2) {
            const float x = tables.get_QMFLOAT();
            toneCurve.emplace_back(x, tables.get_QMFLOAT());
        }
    }
}

bool VorelDngCameraProfile::isValid(uint32_t planes) const {
    if (!fits(color1, planes, 3) || (!color2.empty() && !fits(color2, planes, 3))) return false;
    for (const VorelDngMatrix *matrix : {&forward1, &forward2, &reduction1, &reduction2}) {
        if (!matrix->empty() && !fits(*matrix, 3, planes)) return false;
    }
    return (forward1.empty() || validForwardMatrix(forward1)) && (forward2.empty() || validForwardMatrix(forward2));
}

bool VorelDngCameraProfile::validForwardMatrix(const VorelDngMatrix &matrix) {
    if (matrix.rows() != 3) return false;
    VorelDngVector ones;
    ones.setIdentity(matrix.columns());
    const VorelDngVector white = matrix * ones;
    const VorelDngVector3 expected = PCStoXYZ();
    for (uint32_t i = 0; i < 3; ++i) {
        if (!(std::fabs(white[i] - expected[i]) <= kForwardTolerance)) return false;
    }
    return true;
}

bool VorelDngCameraProfile::hasTwoTemperatures() const {
    const double first = convertIlluminantToTemperature(illuminant1);
    const double second = convertIlluminantToTemperature(illuminant2);
    return first > 0 && second > 0 && first != second;
}

double VorelDngCameraProfile::weightOfFirst(const VorelDngXYCoord &white) const {
    const double first = 1 / convertIlluminantToTemperature(illuminant1);
    const double second = 1 / convertIlluminantToTemperature(illuminant2);
    const double weight = (1 / VorelDngTemperature(white).temperature - second) / (first - second);
    return weight > 0 ? weight < 1 ? weight : 1 : 0;
}

VorelDngHueSatMap *VorelDngCameraProfile::getHueSatMapForWhite(const VorelDngXYCoord &white) const {
    if (hueSat1.empty()) return nullptr;
    if (hueSat2.empty() || !hasTwoTemperatures()) return new VorelDngHueSatMap(hueSat1);
    const double weight = weightOfFirst(white);
    if (weight >= 1) return new VorelDngHueSatMap(hueSat1);
    if (weight <= 0) return new VorelDngHueSatMap(hueSat2);
    return VorelDngHueSatMap::interpolate(hueSat1, hueSat2, weight);
}
