// What a stage of the develop asks for, set by hand, and the samples of its image.
#pragma once

#include "dng/base/develop_context.h"
#include "dng/image/image.h"

namespace vorel::test {

struct PlainContext : DevelopContext {
    bool cancelled() const override { return stop; }
    bool developsPreview() const override { return preview; }
    OpcodeFrame opcodeFrame(uint32_t) const override { return frame; }
    const DevelopValues &values() const override { return develop_values; }
    const VorelDngImage *stage2Image() const override { return stage2; }
    const VorelDngImage *stage3Image() const override { return nullptr; }
    const VorelDngCameraProfile *cameraProfile() const override { return nullptr; }
    VorelDngImage *makeDngImage(const DngRect &bounds, uint32_t planes, uint32_t pixelType) override {
        return new VorelDngImage(bounds, planes, pixelType);
    }

    bool stop = false, preview = false;
    OpcodeFrame frame;
    DevelopValues develop_values;
    const VorelDngImage *stage2 = nullptr;
};

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

}  // namespace vorel::test
