// What a stage of the develop asks for, set by hand.
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

}  // namespace vorel::test
