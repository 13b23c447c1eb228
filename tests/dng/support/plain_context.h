// What a stage of the develop asks for, set by hand, and the samples of its image.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "dng/base/develop_context.h"
#include "dng/colour/camera_profile.h"
#include "dng/image/image.h"
#include "util/atomics.h"

namespace vorel::test {

using Image = std::unique_ptr<VorelDngImage>;

struct PlainContext : DevelopContext {
    // Asked by several threads at once.
    bool cancelled() const override {
        const int left = load_relaxed(&tests_until_cancel);
        if (left > 0) store_relaxed(&tests_until_cancel, left - 1);
        return left == 0;
    }
    bool developsPreview() const override { return preview; }
    OpcodeFrame opcodeFrame(uint32_t) const override { return frame; }
    const DevelopValues &values() const override { return develop_values; }
    const VorelDngImage *stage2Image() const override { return stage2; }
    const VorelDngImage *stage3Image() const override { return stage3.get(); }
    const VorelDngCameraProfile *cameraProfile() const override { return has_profile ? &profile : nullptr; }
    VorelDngImage *makeDngImage(const DngRect &bounds, uint32_t planes, uint32_t pixelType) override {
        return new VorelDngImage(bounds, planes, pixelType);
    }

    mutable int tests_until_cancel = -1;  // below 0: never
    bool preview = false, has_profile = true;
    OpcodeFrame frame;
    DevelopValues develop_values;
    VorelDngCameraProfile profile;
    const VorelDngImage *stage2 = nullptr;
    Image stage3;
};

// Two matrices for 2850 and 6500 K and a neutral.
inline PlainContext plain_camera() {
    PlainContext context;
    context.profile.color1 = VorelDngMatrix3x3(0.9, -0.25, -0.03, -0.4, 1.22, 0.2, -0.06, 0.15, 0.65);
    context.profile.color2 = VorelDngMatrix3x3(0.8, -0.22, -0.08, -0.45, 1.25, 0.22, -0.1, 0.2, 0.55);
    context.profile.illuminant1 = 17, context.profile.illuminant2 = 21, context.develop_values.colorPlanes = 3;
    context.develop_values.cameraNeutral = VorelDngVector3(0.48, 1, 0.62);
    return context;
}

inline void expect_near(const VorelDngMatrix &is, const VorelDngMatrix &wanted, double tolerance) {
    for (uint32_t i = 0; i < 9; ++i) EXPECT_NEAR(is[i / 3][i % 3], wanted[i / 3][i % 3], tolerance) << i;
}

// visit(row, column, plane) for every sample.
template <typename Visit>
void each_sample(const VorelDngImage &image, const Visit &visit) {
    const DngRect &bounds = image.getBounds();
    for (int32_t row = bounds.top; row < bounds.bottom; ++row)
        for (int32_t column = bounds.left; column < bounds.right; ++column)
            for (uint32_t plane = 0; plane < image.planes(); ++plane) visit(row, column, plane);
}

inline double range_of(const VorelDngImage &image) {
    return image.isFloat() ? 1 : image.getPixelType() == kPixelShort ? 65535 : 255;
}
inline double sample_at(const VorelDngImage &image, int32_t row, int32_t column, uint32_t plane = 0) {
    if (image.isFloat()) return *image.at<float>(row, column, plane);
    if (image.getPixelType() == kPixelShort) return *image.at<uint16_t>(row, column, plane);
    return *image.at<uint8_t>(row, column, plane);
}
// Every sample of an image by value(row, column, plane), in units of its range.
template <typename Value>
void set_samples(VorelDngImage &image, const Value &value) {
    each_sample(image, [&](int32_t row, int32_t column, uint32_t plane) {
        const double sample = value(row, column, plane) * range_of(image);
        if (image.isFloat())
            *image.at<float>(row, column, plane) = static_cast<float>(sample);
        else if (image.getPixelType() == kPixelShort)
            *image.at<uint16_t>(row, column, plane) = static_cast<uint16_t>(sample + 0.5);
        else
            *image.at<uint8_t>(row, column, plane) = static_cast<uint8_t>(sample + 0.5);
    });
}

template <typename Value>
Image image_of(const DngRect &bounds, uint32_t planes, uint32_t type, const Value &value) {
    auto image = std::make_unique<VorelDngImage>(bounds, planes, type);
    set_samples(*image, value);
    return image;
}

}  // namespace vorel::test
