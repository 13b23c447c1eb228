// Chromaticities, the profile connection space (PCS: CIE XYZ under D50) and adaptation between whites.
#pragma once

#include "dng/base/matrix.h"
#include "dng/base/xy_coord.h"

// D50.
VorelDngXYCoord PCStoXY();
VorelDngVector3 PCStoXYZ();

// XYZ of black: the white of the PCS.
VorelDngXYCoord XYZtoXY(const VorelDngVector3 &vector);
// With Y of 1. Coordinates are limited so that all three are above 0.
VorelDngVector3 XYtoXYZ(const VorelDngXYCoord &coord);

// XYZ under white1 to XYZ under white2, by the linear Bradford transform (ICC.1 annex E) with responses' ratios within
// 0.1 to 10.
VorelDngMatrix3x3 MapWhiteMatrix(const VorelDngXYCoord &white1, const VorelDngXYCoord &white2);
