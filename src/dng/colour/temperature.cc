#include "dng/colour/temperature.h"

#include <vorel/dng_samples.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr double kTintScale = -3000;

// Reciprocal temperature in 1 / megakelvin, u and v (CIE 1960) of the locus, slope of the isotherm.
struct Isotherm {
    double r, u, v, t;
};
constexpr Isotherm kIsotherms[] = {
    {0, 0.18006, 0.26352, -0.24341},
    {10, 0.18066, 0.26589, -0.25479},
    {20, 0.18133, 0.26846, -0.26876},
    {30, 0.18208, 0.27119, -0.28539},
    {40, 0.18293, 0.27407, -0.3047},
    {50, 0.18388, 0.27709, -0.32675},
    {60, 0.18494, 0.28021, -0.35156},
    {70, 0.18611, 0.28342, -0.37915},
    {80, 0.18740, 0.28668, -0.40955},
    {90, 0.18880, 0.28997, -0.44278},
    {100, 0.19032, 0.29326, -0.47888},
    {125, 0.19462, 0.30141, -0.58204},
    {150, 0.19962, 0.30921, -0.70471},
    {175, 0.20525, 0.31647, -0.84901},
    {200, 0.21142, 0.32312, -1.0182},
    {225, 0.21807, 0.32909, -1.2168},
    {250, 0.22511, 0.33439, -1.4512},
    {275, 0.23247, 0.33904, -1.7298},
    {300, 0.24010, 0.34308, -2.0637},
    // u as published; a smooth locus would have 0.24792.
    {325, 0.24702, 0.34655, -2.4681},
    {350, 0.25591, 0.34951, -2.9641},
    {375, 0.26400, 0.35200, -3.5814},
    {400, 0.27218, 0.35407, -4.3633},
    {425, 0.28039, 0.35577, -5.3762},
    {450, 0.28863, 0.35714, -6.7262},
    {475, 0.29685, 0.35823, -8.5955},
    {500, 0.30505, 0.35907, -11.324},
    {525, 0.31320, 0.35968, -15.628},
    {550, 0.32129, 0.36011, -23.325},
    {575, 0.32931, 0.36038, -40.77},
    {600, 0.33724, 0.36051, -116.45},
};
constexpr int kLast = static_cast<int>(std::size(kIsotherms)) - 1;

struct Direction {
    double u, v;
};
Direction direction_of(const Isotherm &row) {
    const double length = std::sqrt(1 + row.t * row.t);
    return {1 / length, row.t / length};
}

// The locus between isotherm i - 1, which has the weight before, and isotherm i, with the direction of the isotherm.
struct LocusPoint {
    LocusPoint(int i, double before) {
        const Isotherm &a = kIsotherms[i - 1], &b = kIsotherms[i];
        const Direction from = direction_of(a), to = direction_of(b);
        const double after = 1 - before;
        r = a.r * before + b.r * after;
        u = a.u * before + b.u * after;
        v = a.v * before + b.v * after;
        du = from.u * before + to.u * after;
        dv = from.v * before + to.v * after;
        const double length = std::sqrt(du * du + dv * dv);
        du /= length;
        dv /= length;
    }
    double r, u, v, du, dv;
};

}  // namespace

void VorelDngTemperature::set_xy_coord(const VorelDngXYCoord &coord) {
    const double divisor = 1.5 - coord.x + 6 * coord.y;
    const double u = 2 * coord.x / divisor, v = 3 * coord.y / divisor;
    const auto distance = [&](const Isotherm &row) {
        const Direction d = direction_of(row);
        return (v - row.v) * d.u - (u - row.u) * d.v;
    };
    // Bluer than the first isotherm: the second one.
    double last = distance(kIsotherms[0]), before = 0;
    int i = 1;
    if (last > 0) {
        double here = distance(kIsotherms[i]);
        while (here > 0 && i < kLast) {
            last = here;
            here = distance(kIsotherms[++i]);
        }
        here = std::max(-here, 0.0);
        before = here / (last + here);
    }
    const LocusPoint locus(i, before);
    temperature = 1000000 / (locus.r > 1e-3 ? locus.r : 1e-3);
    tint = ((u - locus.u) * locus.du + (v - locus.v) * locus.dv) * kTintScale;
}

VorelDngXYCoord VorelDngTemperature::get_xy_coord() const {
    const double r = 1000000 / temperature;
    int i = 1;
    while (i < kLast && !(r < kIsotherms[i].r)) ++i;
    const Isotherm &a = kIsotherms[i - 1], &b = kIsotherms[i];
    const LocusPoint locus(i, (b.r - r) / (b.r - a.r));
    const double offset = tint * -0.0003333333333333333;
    const double u = locus.u + locus.du * offset, v = locus.v + locus.dv * offset;
    const double divisor = u - 4 * v + 2;
    return {1.5 * u / divisor, v / divisor};
}

extern "C" double convertIlluminantToTemperature(uint32_t code) {
    constexpr uint16_t kKelvin[] = {0,    5500, 4150, 2850, 5500, 0,    0,    0,    0,    5500, 6500, 7500, 6400,
                                    5050, 4150, 3525, 2925, 2850, 5500, 6500, 5500, 6500, 7500, 5000, 3200};
    return code < std::size(kKelvin) ? kKelvin[code] : 0;
}
