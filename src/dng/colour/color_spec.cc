#include "dng/colour/color_spec.h"

#include <cmath>

#include "dng/colour/camera_profile.h"
#include "dng/colour/white_map.h"

namespace {

constexpr int kMaxNeutralRounds = 30;
constexpr double kNeutralTolerance = 1e-7;
constexpr double kLeastWhite = 0.001;

// The one that is there, or both by the weight of the first.
VorelDngMatrix blended(const VorelDngMatrix &a, const VorelDngMatrix &b, double weight) {
    if (b.empty() || (!a.empty() && weight >= 1)) return a;
    if (a.empty() || weight <= 0) return b;
    return weight * a + (1 - weight) * b;
}

VorelDngMatrix calibration_or_identity(const VorelDngMatrix &matrix, bool counts, uint32_t planes) {
    if (counts && matrix.rows() == planes && matrix.columns() == planes) return matrix;
    VorelDngMatrix identity;
    identity.setIdentity(planes);
    return identity;
}

VorelDngMatrix inverse(const VorelDngMatrix &matrix, const VorelDngMatrix &reduction) {
    return reduction.empty() ? Invert(matrix) : Invert(matrix, reduction);
}

}  // namespace

VorelDngColorSpec::VorelDngColorSpec(const vorel::DevelopContext &decoder, const VorelDngCameraProfile *profile)
    : profile_(profile) {
    const vorel::DevelopValues &values = decoder.values();
    if (!profile || values.colorPlanes < 2 || !profile->isValid(values.colorPlanes)) return;
    planes_ = values.colorPlanes;
    const bool calibrated = profile->calibrationSignature == values.cameraCalibrationSignature;
    calibration1_ = calibration_or_identity(values.cameraCalibration1, calibrated, planes_);
    calibration2_ = calibration_or_identity(values.cameraCalibration2, calibrated, planes_);
    if (values.analogBalance.count() == planes_) {
        analog_balance_ = diagonal(values.analogBalance);
    } else {
        analog_balance_.setIdentity(planes_);
    }
}

VorelDngMatrix VorelDngColorSpec::findXYZtoCamera(const VorelDngXYCoord &coord, VorelDngMatrix *forwardMatrix,
                                                  VorelDngMatrix *reductionMatrix,
                                                  VorelDngMatrix *cameraCalibration) const {
    const VorelDngCameraProfile &profile = *profile_;
    // One illuminant alone: its matrices stand for every white.
    const bool two = !profile.color2.empty() && profile.hasTwoTemperatures();
    const double weight = two ? profile.weightOfFirst(coord) : 1;
    const auto at_white = [&](const VorelDngMatrix &first, const VorelDngMatrix &second) {
        return two ? blended(first, second, weight) : first;
    };
    const VorelDngMatrix calibration = at_white(calibration1_, calibration2_);
    if (forwardMatrix) *forwardMatrix = at_white(profile.forward1, profile.forward2);
    if (reductionMatrix) *reductionMatrix = at_white(profile.reduction1, profile.reduction2);
    if (cameraCalibration) *cameraCalibration = calibration;
    return analog_balance_ * calibration * at_white(profile.color1, profile.color2);
}

void VorelDngColorSpec::setWhiteXY(const VorelDngXYCoord &coord) {
    white_ = coord;
    if (empty()) return;
    VorelDngMatrix forward, reduction, calibration;
    const VorelDngMatrix xyz_to_camera = findXYZtoCamera(coord, &forward, &reduction, &calibration);

    camera_white_ = xyz_to_camera * XYtoXYZ(coord);
    const double most = camera_white_.maxEntry();
    if (most > 0) camera_white_.scale(1 / most);
    for (uint32_t i = 0; i < planes_; ++i) {
        double &entry = camera_white_[i];
        entry = entry > kLeastWhite ? entry < 1 ? entry : 1 : kLeastWhite;
    }

    if (!forward.empty()) {
        // To the reference camera, its white to ones, and on to the PCS.
        const VorelDngMatrix to_reference = Invert(analog_balance_ * calibration);
        VorelDngVector scales = to_reference * camera_white_;
        for (uint32_t i = 0; i < planes_; ++i) scales[i] = 1 / scales[i];
        camera_to_pcs_ = forward * diagonal(scales) * to_reference;
        pcs_to_camera_ = Invert(camera_to_pcs_);
        return;
    }
    pcs_to_camera_ = xyz_to_camera * MapWhiteMatrix(PCStoXY(), coord);
    pcs_to_camera_.scale(1 / (pcs_to_camera_ * PCStoXYZ()).maxEntry());
    camera_to_pcs_ = inverse(pcs_to_camera_, reduction);
}

VorelDngXYCoord VorelDngColorSpec::doNeutralToXY(const VorelDngVector &neutral) {
    VorelDngXYCoord last = PCStoXY();
    if (empty() || neutral.count() != planes_) return last;
    for (int round = 0; round < kMaxNeutralRounds; ++round) {
        VorelDngMatrix reduction;
        const VorelDngMatrix xyz_to_camera = findXYZtoCamera(last, nullptr, &reduction, nullptr);
        const VorelDngXYCoord next = XYZtoXY(VorelDngVector3(inverse(xyz_to_camera, reduction) * neutral));
        if (std::fabs(next.x - last.x) + std::fabs(next.y - last.y) < kNeutralTolerance) return next;
        // Without an end, most likely back and forth between two points.
        last = round + 1 < kMaxNeutralRounds ? next : VorelDngXYCoord{(last.x + next.x) * 0.5, (last.y + next.y) * 0.5};
    }
    return last;
}
