// Distortion of the lens: each pixel is taken from where the lens put it, each colour from its own place.
#pragma once

#include <cstdint>

#include "dng/base/limits.h"
#include "dng/opcodes/opcode.h"

class VorelDngWarpParams {
  public:
    virtual ~VorelDngWarpParams() = default;
    // One to four planes, and a centre inside the image.
    virtual bool isValid() const;
    // Source positions of a plane, relative to the centre and in units of the radius, are those of the destination
    // times ratio(r2), r2 being the square of their distance, plus a tangential part.
    virtual double ratio(uint32_t plane, double r2) const = 0;
    // Of across (x) and down (y), the one in the first coordinate and the one in the second.
    virtual double tangential(uint32_t plane, uint32_t which) const;

    uint32_t planes = 1;              // 1: the same for all
    double centreX = 0, centreY = 0;  // fractions of width and height
};

// DNG 1.4, WarpRectilinear: a polynomial of the distance, and two tangential terms.
class VorelDngWarpParamsRectilinear : public VorelDngWarpParams {
  public:
    bool isValid() const override;
    double ratio(uint32_t plane, double r2) const override;
    double tangential(uint32_t plane, uint32_t which) const override { return tangentials[plane][which]; }

    double radial[vorel::kMaxDngPlanes][4] = {};
    double tangentials[vorel::kMaxDngPlanes][2] = {};
};

// DNG 1.4, WarpFisheye: a polynomial of the angle.
class VorelDngWarpParamsFisheye : public VorelDngWarpParams {
  public:
    bool isValid() const override;
    double ratio(uint32_t plane, double r2) const override;

    double radial[vorel::kMaxDngPlanes][4] = {};
};

namespace vorel {

// On the caller's thread, for whole images alone: a region does not have all that moves into it.
class WarpOpcode : public VorelDngOpcode {
  public:
    void doApply(DevelopContext &decoder, VorelDngImage *&image) override;

  protected:
    WarpOpcode(uint32_t opcodeId, VorelDngStream &stream) : VorelDngOpcode(opcodeId, stream, kNeighbourPasses) {}
    virtual const VorelDngWarpParams &params() const = 0;
};

}  // namespace vorel

class VorelDngOpcodeWarpRectilinear : public vorel::WarpOpcode {
  public:
    explicit VorelDngOpcodeWarpRectilinear(VorelDngStream &stream);

  protected:
    const VorelDngWarpParams &params() const override { return params_; }

  private:
    VorelDngWarpParamsRectilinear params_;
};

class VorelDngOpcodeWarpFisheye : public vorel::WarpOpcode {
  public:
    explicit VorelDngOpcodeWarpFisheye(VorelDngStream &stream);

  protected:
    const VorelDngWarpParams &params() const override { return params_; }

  private:
    VorelDngWarpParamsFisheye params_;
};
