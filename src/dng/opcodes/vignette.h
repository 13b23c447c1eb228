// Light that is lost towards the corners, given back.
#pragma once

#include <vector>

#include "dng/opcodes/opcode.h"

class VorelDngVigetteRadialParams {
  public:
    // Five finite coefficients and a centre inside the image.
    bool isValid() const;

    std::vector<double> k;            // of the even powers of the distance, from the second on
    double centreX = 0, centreY = 0;  // fractions of width and height
};

class VorelDngOpcodeFixVignetteRadial : public VorelDngInplaceOpcode {
  public:
    explicit VorelDngOpcodeFixVignetteRadial(VorelDngStream &stream);
    // No effect without valid parameters.
    bool isNOP() const override { return !params_.isValid(); }
    // Centre and radius, which is the distance to the farthest corner, for an image.
    void init(const vorel::DngRect &bounds);
    void doPrepare(vorel::DevelopContext &decoder, const vorel::DngRect &imageBounds, uint32_t imagePlanes,
                   uint32_t bufferPixelType) override;
    void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) override;

  private:
    VorelDngVigetteRadialParams params_;
    double centreRow_ = 0, centreColumn_ = 0, perRadius2_ = 0;  // 1 / radius^2
};
