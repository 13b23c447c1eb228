// Whites by correlated colour temperature and tint.
#pragma once

#include "dng/base/xy_coord.h"

// By the isotherms of Robertson (Computation of correlated colour temperature and distribution temperature, 1968).
class VorelDngTemperature {
  public:
    VorelDngTemperature() = default;
    VorelDngTemperature(double temperature_k, double tint_steps) : temperature(temperature_k), tint(tint_steps) {}
    explicit VorelDngTemperature(const VorelDngXYCoord &coord) { set_xy_coord(coord); }

    void set_xy_coord(const VorelDngXYCoord &coord);
    VorelDngXYCoord get_xy_coord() const;

    double temperature = 0;  // kelvin
    double tint = 0;         // distance from the locus in CIE 1960 u, v, times -3000
};
