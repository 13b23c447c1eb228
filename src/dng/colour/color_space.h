// Colour spaces by their matrices to and from the PCS and their curves. Each is made once.
#pragma once

#include <cstdint>
#include <vector>

#include "dng/base/matrix.h"
#include "dng/colour/function_1d.h"

class VorelDngColorSpace {
  public:
    virtual ~VorelDngColorSpace() = default;
    VorelDngColorSpace(const VorelDngColorSpace &) = delete;
    VorelDngColorSpace &operator=(const VorelDngColorSpace &) = delete;

    // From linear light; the identity unless overridden.
    virtual const VorelDng1dFunction &getGammaFunction() const;
    // The space's ICC profile, which stays the space's; false, with 0 and null, without one.
    virtual bool resetICCProfile(uint32_t &length, const uint8_t *&data) const;

    const VorelDngMatrix &toPCS() const { return to_pcs_; }      // 3 x 3, or 3 x 1
    const VorelDngMatrix &fromPCS() const { return from_pcs_; }  // 3 x 3, or 1 x 3
    bool isMonochrome() const { return to_pcs_.columns() == 1; }

  protected:
    VorelDngColorSpace() = default;
    // Each row is scaled so that 1, 1, 1 gives the white of the PCS.
    void setMatrixToPCS(const VorelDngMatrix3x3 &matrix);
    void setMonochrome();

  private:
    VorelDngMatrix to_pcs_, from_pcs_;
};

namespace vorel {

// A space that has an ICC profile.
class ProfiledSpace : public VorelDngColorSpace {
  public:
    const VorelDng1dFunction &getGammaFunction() const override { return gamma_; }
    bool resetICCProfile(uint32_t &length, const uint8_t *&data) const override;

  protected:
    explicit ProfiledSpace(const VorelDng1dFunction &gamma) : gamma_(gamma) {}
    // power: of the profile's curve, 0 for sRGB's.
    void make_profile(const char *description, double power);

  private:
    const VorelDng1dFunction &gamma_;
    std::vector<uint8_t> profile_;
};

}  // namespace vorel

class VorelDngSpace_sRGB final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_sRGB();
};

class VorelDngSpace_AdobeRGB final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_AdobeRGB();
};

class VorelDngSpace_ColorMatch final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_ColorMatch();
};

// Wide enough for the colours of cameras: the develop works in it, in linear light.
class VorelDngSpace_ProPhoto final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_ProPhoto();
};

class VorelDngSpace_GrayGamma18 final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_GrayGamma18();
};

class VorelDngSpace_GrayGamma22 final : public vorel::ProfiledSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_GrayGamma22();
};

// Linear, with the primaries of AdobeRGB.
class VorelDngSpace_fakeRGB final : public VorelDngColorSpace {
  public:
    static const VorelDngColorSpace &GET();

  private:
    VorelDngSpace_fakeRGB();
};
