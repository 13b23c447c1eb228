#include "dng/colour/color_space.h"

#include "dng/colour/gamma.h"
#include "dng/colour/icc_profile.h"
#include "dng/colour/white_map.h"

namespace {

const VorelDngMatrix3x3 &adobe_primaries() {
    static const VorelDngMatrix3x3 kMatrix(0.6097, 0.2053, 0.1492, 0.3111, 0.6257, 0.0632, 0.0195, 0.0609, 0.7446);
    return kMatrix;
}

}  // namespace

const VorelDng1dFunction &VorelDngColorSpace::getGammaFunction() const { return VorelDng1dIdentity::GET(); }

bool VorelDngColorSpace::resetICCProfile(uint32_t &length, const uint8_t *&data) const {
    length = 0;
    data = nullptr;
    return false;
}

void VorelDngColorSpace::setMatrixToPCS(const VorelDngMatrix3x3 &matrix) {
    const VorelDngVector3 white = PCStoXYZ();
    to_pcs_ = matrix;
    for (uint32_t row = 0; row < 3; ++row) {
        const double sum = matrix[row][0] + matrix[row][1] + matrix[row][2];
        for (uint32_t column = 0; column < 3; ++column) to_pcs_[row][column] *= white[row] / sum;
    }
    from_pcs_ = Invert(to_pcs_);
}

void VorelDngColorSpace::setMonochrome() {
    const VorelDngVector3 white = PCStoXYZ();
    to_pcs_ = VorelDngMatrix(3, 1);
    for (uint32_t row = 0; row < 3; ++row) to_pcs_[row][0] = white[row];
    from_pcs_ = Invert(to_pcs_);
}

void vorel::ProfiledSpace::make_profile(const char *description, double power) {
    profile_ = make_icc_profile(description, toPCS(), power, gamma_);
}

bool vorel::ProfiledSpace::resetICCProfile(uint32_t &length, const uint8_t *&data) const {
    length = static_cast<uint32_t>(profile_.size());
    data = profile_.data();
    return true;
}

VorelDngSpace_sRGB::VorelDngSpace_sRGB() : ProfiledSpace(VorelDngFunctionGammaEncode_sRGB::GET()) {
    setMatrixToPCS({0.4361, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7141});
    make_profile("sRGB (IEC 61966-2-1)", 0);
}
VorelDngSpace_AdobeRGB::VorelDngSpace_AdobeRGB() : ProfiledSpace(VorelDngFunctionGammaEncode_2_2::GET()) {
    setMatrixToPCS(adobe_primaries());
    make_profile("RGB of 1998, gamma 2.2", 2.2);
}
VorelDngSpace_ColorMatch::VorelDngSpace_ColorMatch() : ProfiledSpace(VorelDngFunctionGammaEncode_1_8::GET()) {
    setMatrixToPCS({0.5094, 0.3208, 0.1339, 0.2749, 0.6581, 0.067, 0.0243, 0.1087, 0.6919});
    make_profile("RGB of monitors, gamma 1.8", 1.8);
}
VorelDngSpace_ProPhoto::VorelDngSpace_ProPhoto() : ProfiledSpace(VorelDngFunctionGammaEncode_1_8::GET()) {
    setMatrixToPCS({0.7977, 0.1352, 0.0313, 0.288, 0.7119, 0.0001, 0.0, 0.0, 0.8249});
    make_profile("ROMM RGB, gamma 1.8", 1.8);
}
VorelDngSpace_GrayGamma18::VorelDngSpace_GrayGamma18() : ProfiledSpace(VorelDngFunctionGammaEncode_1_8::GET()) {
    setMonochrome();
    make_profile("Grey, gamma 1.8", 1.8);
}
VorelDngSpace_GrayGamma22::VorelDngSpace_GrayGamma22() : ProfiledSpace(VorelDngFunctionGammaEncode_2_2::GET()) {
    setMonochrome();
    make_profile("Grey, gamma 2.2", 2.2);
}
VorelDngSpace_fakeRGB::VorelDngSpace_fakeRGB() { setMatrixToPCS(adobe_primaries()); }

const VorelDngColorSpace &VorelDngSpace_sRGB::GET() {
    static const VorelDngSpace_sRGB kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_AdobeRGB::GET() {
    static const VorelDngSpace_AdobeRGB kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_ColorMatch::GET() {
    static const VorelDngSpace_ColorMatch kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_ProPhoto::GET() {
    static const VorelDngSpace_ProPhoto kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_GrayGamma18::GET() {
    static const VorelDngSpace_GrayGamma18 kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_GrayGamma22::GET() {
    static const VorelDngSpace_GrayGamma22 kSpace;
    return kSpace;
}
const VorelDngColorSpace &VorelDngSpace_fakeRGB::GET() {
    static const VorelDngSpace_fakeRGB kSpace;
    return kSpace;
}
