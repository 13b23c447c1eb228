// From a camera's colours under a white to the PCS (DNG, chapter "Mapping Camera Color Space to CIE XYZ Space").
#pragma once

#include "dng/base/develop_context.h"
#include "dng/base/matrix.h"
#include "dng/base/xy_coord.h"

// Of images of two to four colour planes, and of profiles that are valid for them. setWhiteXY() and doNeutralToXY()
// throw std::domain_error where a matrix cannot be inverted.
class VorelDngColorSpec {
  public:
    // profile may be null, and stays the caller's. Without one that is valid this is empty.
    VorelDngColorSpec(const vorel::DevelopContext &decoder, const VorelDngCameraProfile *profile);

    bool empty() const { return planes_ == 0; }

    void setWhiteXY(const VorelDngXYCoord &coord);
    const VorelDngXYCoord &getWhiteXY() const { return white_; }
    // The camera's response to the white; the largest entry is 1.
    const VorelDngVector &getCameraWhite() const { return camera_white_; }
    const VorelDngMatrix &getCameraToPCS() const { return camera_to_pcs_; }  // 3 x planes
    const VorelDngMatrix &getPCStoCamera() const { return pcs_to_camera_; }  // planes x 3

    // The white under which neutral is the camera's response to a neutral surface.
    VorelDngXYCoord doNeutralToXY(const VorelDngVector &neutral);

    // XYZ to camera for a white, calibration and analog balance of this camera included; the others, unless null, as
    // the file has them, blended alike.
    VorelDngMatrix findXYZtoCamera(const VorelDngXYCoord &coord, VorelDngMatrix *forwardMatrix,
                                   VorelDngMatrix *reductionMatrix, VorelDngMatrix *cameraCalibration) const;

  private:
    uint32_t planes_ = 0;
    const VorelDngCameraProfile *profile_ = nullptr;
    VorelDngMatrix calibration1_, calibration2_;  // planes x planes
    VorelDngMatrix analog_balance_;
    VorelDngXYCoord white_;
    VorelDngVector camera_white_;
    VorelDngMatrix camera_to_pcs_, pcs_to_camera_;
};
