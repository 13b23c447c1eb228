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

}  // namespace vorel::test
