// A develop context with a stage 3 image and a camera profile that a test sets itself.
#pragma once

#include <memory>

#include "dng/colour/camera_profile.h"
#include "dng/support/plain_context.h"

namespace vorel::test {

struct FixedContext : PlainContext {
    bool cancelled() const override { return tests_until_cancel == 0 || (--tests_until_cancel, false); }
    const VorelDngImage *stage3Image() const override { return stage3.get(); }
    const VorelDngCameraProfile *cameraProfile() const override { return has_profile ? &profile : nullptr; }

    VorelDngCameraProfile profile;
    bool has_profile = true;
    std::unique_ptr<VorelDngImage> stage3;
    mutable int tests_until_cancel = -1;  // below 0: never
};

// Two matrices for 2850 and 6500 K and a neutral.
inline FixedContext plain_camera() {
    FixedContext context;
    context.profile.color1 = VorelDngMatrix3x3(0.9, -0.25, -0.03, -0.4, 1.22, 0.2, -0.06, 0.15, 0.65);
    context.profile.color2 = VorelDngMatrix3x3(0.8, -0.22, -0.08, -0.45, 1.25, 0.22, -0.1, 0.2, 0.55);
    context.profile.illuminant1 = 17, context.profile.illuminant2 = 21, context.develop_values.colorPlanes = 3;
    context.develop_values.cameraNeutral = VorelDngVector3(0.48, 1, 0.62);
    return context;
}

}  // namespace vorel::test
