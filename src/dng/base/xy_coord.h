// CIE 1931 chromaticity.
#pragma once

struct VorelDngXYCoord {
    double x = 0, y = 0;
};
