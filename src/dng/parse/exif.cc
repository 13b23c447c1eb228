#include "dng/parse/exif.h"

#include <algorithm>
#include <cmath>

#include "dng/parse/dng_file.h"
#include "dng/parse/exif_tags.h"

using namespace vorel;

namespace {

// Seconds of the usual shutter settings: as they are above half a second, else one by them.
constexpr double kLongTimes[] = {30, 25, 20, 15, 13, 10, 8, 6, 5, 4, 3.2, 3, 2.5, 2, 1.6, 1.5, 1.3, 1, 0.8, 0.7, 0.6};
constexpr double kShortTimes[] = {2,    2.5,  3,    4,    5,    6,    8,    10,   13,   15,   20,   25,
                                  30,   40,   45,   50,   60,   80,   90,   100,  125,  160,  180,  200,
                                  250,  320,  350,  400,  500,  640,  750,  800,  1000, 1250, 1500, 1600,
                                  2000, 2500, 3000, 3200, 4000, 5000, 6000, 6400, 8000};
// Farther than this from all of them, as a ratio, a time stays what it is.
constexpr double kSnapReach = 1.05;

// Millionths, which is as fine as APEX values need to be. Required: within 2000.
DngSRational apex_fraction(double apex) { return {static_cast<int32_t>(std::lround(apex * 1000000)), 1000000}; }

// Rounded to steps of 1 / denominator.
DngURational fraction(double value, uint32_t denominator) {
    return {static_cast<uint32_t>(std::lround(value * denominator)), denominator};
}

// Whether a value is one that a camera can have, and not damage.
bool is_plausible(double value) { return value >= 1e-6 && value <= 1e6; }

}  // namespace

bool VorelDngExif::parseTag(VorelDngStream &stream, VorelDngShared &, uint32_t parentCode, uint32_t tagCode,
                            uint32_t tagType, uint32_t tagCount, uint64_t offset) {
    stream.setPosition(offset);
    switch (parentCode) {
        case kParentIfd0:
            return parseIfd0Tag(stream, parentCode, tagCode, tagType, tagCount, offset);
        case kParentExif:
            return parseExifTag(stream, parentCode, tagCode, tagType, tagCount, offset);
        case kParentGps:
            return parseGpsTag(stream, parentCode, tagCode, tagType, tagCount);
        case kParentInteroperability:
            return parseInteroperabilityTag(stream, tagCode, tagType, tagCount);
        case kParentMagic85:
            // The camera's own tag for the sensitivity.
            return tagCode == 23 && read_exif(stream, tagType, tagCount, isoSpeedRatings[0]);
        default:
            return false;
    }
}

void VorelDngExif::postParse(VorelDngShared &) {
    const double exposure = exposureTime.value(), f = fNumber.value(), aperture = apertureValue.value(),
                 shutter = shutterSpeedValue.value();
    if (!is_plausible(exposure)) {
        if (shutterSpeedValue.d != 0 && std::fabs(shutter) < 20) setShutterSpeedValue(shutter);
    } else if (shutterSpeedValue.d == 0) {
        shutterSpeedValue = apex_fraction(-std::log2(exposure));
    }
    if (!is_plausible(f)) {
        if (apertureValue.d != 0 && aperture < 20) fNumber = encodeFNumber(getApertureValueToFNumber(aperture));
    } else if (apertureValue.d == 0) {
        apertureValue = fraction(std::max(getFNumberToApertureValue(f), 0.0), 1000000);
    }
    dateTimeOriginal.zoneMinutes = 60 * std::clamp(zoneHours_[0], -12, 14);
    dateTime.zoneMinutes = 60 * std::clamp(zoneHours_[1], -12, 14);
}

void VorelDngExif::setExposureTime(double seconds, bool snap) {
    exposureTime = {};
    shutterSpeedValue = {};
    if (!is_plausible(seconds)) return;
    if (snap) seconds = getSnapExposureTime(seconds);
    if (seconds >= 100) {
        exposureTime = fraction(seconds, 1);
    } else if (seconds >= 1) {
        exposureTime = fraction(seconds, 10);
        if (exposureTime.n % 10 == 0) exposureTime = {exposureTime.n / 10, 1};
    } else if (seconds <= 0.1) {
        exposureTime = {1, fraction(1 / seconds, 1).n};
    } else {
        exposureTime = {10, fraction(1 / seconds, 10).n};
        if (exposureTime.d % 10 == 0) exposureTime = {1, exposureTime.d / 10};
    }
    shutterSpeedValue = apex_fraction(-std::log2(exposureTime.value()));
}

void VorelDngExif::setShutterSpeedValue(double apex) {
    // 2^20 seconds are twelve days.
    if (!(std::fabs(apex) <= 20)) return;
    if (exposureTime.value() == 0) setExposureTime(std::exp2(-apex), true);
    shutterSpeedValue = apex_fraction(apex);
}

void VorelDngExif::setFNumber(double f) {
    fNumber = {};
    apertureValue = {};
    if (!is_plausible(f)) return;
    fNumber = encodeFNumber(f);
    apertureValue = fraction(std::max(getFNumberToApertureValue(fNumber.value()), 0.0), 1000000);
}

DngURational VorelDngExif::encodeFNumber(double f) {
    if (!is_plausible(f)) return {};
    // As lenses are marked: 0.95, 2.8, 22.
    if (f < 1) return fraction(f, 100);
    return f < 10 ? fraction(f, 10) : fraction(f, 1);
}

double VorelDngExif::getSnapExposureTime(double seconds) {
    double best = seconds, distance = std::log(kSnapReach);
    const auto offer = [&](double time) {
        const double from = std::fabs(std::log(seconds / time));
        if (from < distance) best = time, distance = from;
    };
    if (!is_plausible(seconds)) return seconds;
    for (const double time : kLongTimes) offer(time);
    for (const double part : kShortTimes) offer(1 / part);
    return best;
}

double VorelDngExif::getApertureValueToFNumber(double apex) { return std::exp2(apex / 2); }

double VorelDngExif::getFNumberToApertureValue(double f) { return f > 0 ? 2 * std::log2(f) : 0; }
