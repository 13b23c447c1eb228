#include "dng/colour/white_map.h"

#include <algorithm>

namespace {

constexpr double kLeast = 0.000001, kMost = 0.999999;  // of a coordinate, and of their sum

// Not a number counts as least.
double limited(double value, double least, double most) { return value > least ? std::min(value, most) : least; }

}  // namespace

VorelDngXYCoord PCStoXY() { return {0.3457, 0.3585}; }
VorelDngVector3 PCStoXYZ() { return XYtoXYZ(PCStoXY()); }

VorelDngXYCoord XYZtoXY(const VorelDngVector3 &vector) {
    const double sum = vector[0] + vector[1] + vector[2];
    if (!(sum > 0)) return PCStoXY();
    return {vector[0] / sum, vector[1] / sum};
}

VorelDngVector3 XYtoXYZ(const VorelDngXYCoord &coord) {
    double x = limited(coord.x, kLeast, kMost), y = limited(coord.y, kLeast, kMost);
    if (x + y > kMost) {
        const double scale = kMost / (x + y);
        x *= scale;
        y *= scale;
    }
    return {x / y, 1, (1 - x - y) / y};
}

VorelDngMatrix3x3 MapWhiteMatrix(const VorelDngXYCoord &white1, const VorelDngXYCoord &white2) {
    const VorelDngMatrix3x3 bradford(0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296);
    const VorelDngVector from = bradford * XYtoXYZ(white1), to = bradford * XYtoXYZ(white2);
    VorelDngVector3 ratios;
    for (uint32_t i = 0; i < 3; ++i) ratios[i] = from[i] > 0 ? limited(std::max(to[i], 0.0) / from[i], 0.1, 10) : 10;
    return VorelDngMatrix3x3(Invert(bradford) * diagonal(ratios) * bradford);
}
