#include "dng/mosaic/mosaic_info.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "dng/mosaic/bilinear.h"
#include "dng/mosaic/fast_interpolator.h"

using vorel::DngPoint;

namespace {

constexpr uint32_t kPhotometricCfa = 32803;
constexpr int32_t kMostScale = 64;

// Half away from zero; what is no number, or below 0, is 0. The limit is far above any side.
int32_t rounded_size(double value) { return value > 0 ? static_cast<int32_t>(std::lround(std::min(value, 1e9))) : 0; }

int32_t reduced(int64_t size, int32_t scale) {
    if (scale < 1) scale = 1;
    return static_cast<int32_t>(std::max<int64_t>((size + scale / 2) / scale, 1));
}

DngPoint sum(const DngPoint &a, const DngPoint &b) { return {a.v + b.v, a.h + b.h}; }

}  // namespace

void VorelDngMosaicInfo::parse(vorel::DevelopContext &, VorelDngStream &, const VorelDngIFD &ifd,
                               const VorelDngShared &shared) {
    if (ifd.photometric != kPhotometricCfa) return;
    if (ifd.cfaRepeatRows > kMostCells || ifd.cfaRepeatColumns > kMostCells) return;
    cfaRows = static_cast<int32_t>(ifd.cfaRepeatRows);
    cfaColumns = static_cast<int32_t>(ifd.cfaRepeatColumns);
    for (int32_t row = 0; row < kMostCells; ++row) {
        std::copy_n(ifd.cfaPattern[row], kMostCells, cfaPattern[row]);
    }
    // The colour matrices know how many colours the camera has; the plane tag names them.
    const uint32_t planes = shared.cameraProfile.colorPlanes ? shared.cameraProfile.colorPlanes : ifd.cfaPlaneCount;
    colorPlanes = std::min(planes, vorel::kMaxDngPlanes);
    std::copy_n(ifd.cfaPlaneColor, vorel::kMaxDngPlanes, planeColor);
    layout = ifd.cfaLayout;
    bayerGreenSplit = ifd.bayerGreenSplit;
}

void VorelDngMosaicInfo::postParse(vorel::DevelopContext &decoder) {
    if (const VorelDngImage *stage2 = decoder.stage2Image()) {
        stage2Height = stage2->getBounds().height();
        stage2Width = stage2->getBounds().width();
    }
    const vorel::DevelopValues &values = decoder.values();
    finalRows = rounded_size(values.cropSizeV * values.defaultScaleV);
    finalColumns = rounded_size(values.cropSizeH * values.defaultScaleH);
    const double aspect = values.defaultScaleH / values.defaultScaleV;
    pixelAspect = std::isfinite(aspect) && aspect > 0 ? aspect : 1;
}

DngPoint VorelDngMosaicInfo::getFullScale() const {
    if (layout == 2 || layout == 3) return {2, 1};
    if (layout == 4 || layout == 5) return {1, 2};
    return {1, 1};
}

DngPoint VorelDngMosaicInfo::getDstSize(const DngPoint &scale) const {
    if (scale.v < 1 || scale.h < 1 || scale.v > kMostScale || scale.h > kMostScale) return {0, 0};
    if (scale == DngPoint{1, 1}) {
        const DngPoint full = getFullScale();
        return {static_cast<int32_t>(stage2Height) * full.v, static_cast<int32_t>(stage2Width) * full.h};
    }
    return {reduced(stage2Height, scale.v), reduced(stage2Width, scale.h)};
}

uint32_t VorelDngMosaicInfo::getSizeForDownScale(const DngPoint &s) const {
    return static_cast<uint32_t>(std::max(reduced(finalRows, s.v), reduced(finalColumns, s.h)));
}

bool VorelDngMosaicInfo::isSafeDownScale(const DngPoint &scale) const {
    if (scale.v >= cfaRows && scale.h >= cfaColumns) return true;
    for (int32_t top = 0; top < cfaRows; ++top) {
        for (int32_t left = 0; left < cfaColumns; ++left) {
            for (uint32_t plane = 0; plane < colorPlanes; ++plane) {
                bool found = false;
                for (int32_t row = top; row < top + std::min(scale.v, cfaRows); ++row) {
                    for (int32_t column = left; column < left + std::min(scale.h, cfaColumns); ++column) {
                        found |= cfaPattern[row % cfaRows][column % cfaColumns] == planeColor[plane];
                    }
                }
                if (!found) return false;
            }
        }
    }
    return true;
}

bool VorelDngMosaicInfo::validSizeDownScale(const DngPoint &candidate, uint32_t minimum) const {
    return candidate.v <= kMostScale && candidate.h <= kMostScale && getSizeForDownScale(candidate) >= minimum;
}

DngPoint VorelDngMosaicInfo::getDownScale(uint32_t minSize, uint32_t preferredSize, double cropFactor) const {
    DngPoint result = {1, 1};
    if (preferredSize == 0 || !hasPattern() || !(cropFactor > 0)) return result;
    const uint32_t minimum = static_cast<uint32_t>(rounded_size(minSize / cropFactor));
    const int64_t target = std::max(static_cast<uint32_t>(rounded_size(preferredSize / cropFactor)), minimum);
    const auto distance = [&](const DngPoint &scale) {
        return std::abs(static_cast<int64_t>(getSizeForDownScale(scale)) - target);
    };

    // Samples farther apart in one direction are taken together in the other.
    DngPoint step = {1, 1};
    if (pixelAspect < 1 / 1.8) step.h = rounded_size(std::min(1 / pixelAspect, 4.0));
    if (pixelAspect > 1.8) step.v = rounded_size(std::min(pixelAspect, 4.0));

    DngPoint candidate = step;
    while (!isSafeDownScale(candidate)) candidate = sum(candidate, step);  // ends at the pattern's size
    if (!validSizeDownScale(candidate, minimum) || distance(candidate) > distance({1, 1})) return result;
    for (result = candidate;;) {
        candidate = sum(candidate, step);
        if (!validSizeDownScale(candidate, minimum)) return result;
        if (!isSafeDownScale(candidate)) continue;
        if (distance(candidate) > distance(result)) return result;
        result = candidate;
    }
}

void VorelDngMosaicInfo::interpolate(vorel::DevelopContext &decoder, const VorelDngImage &srcImage,
                                     VorelDngImage &dstImage, const DngPoint &scale, uint32_t plane,
                                     VorelDngMatrix *matrix) {
    for (uint32_t i = 0; matrix && i < dstImage.planes(); ++i) {
        VorelDngVector factors(2);
        factors[0] = 1.0 / scale.v;
        factors[1] = 1.0 / scale.h;
        matrix[i] = diagonal(factors);
    }
    if (scale == DngPoint{1, 1}) {
        interpolateGeneric(decoder, srcImage, dstImage, plane);
    } else {
        interpolateFast(decoder, srcImage, dstImage, scale, plane);
    }
}

void VorelDngMosaicInfo::interpolateGeneric(vorel::DevelopContext &decoder, const VorelDngImage &srcImage,
                                            VorelDngImage &dstImage, uint32_t plane) {
    const VorelDngPixelBuffer &samples = srcImage.buffer();
    std::make_unique<VorelDngBilinearInterpolator>(*this, samples.rowStep, samples.colStep)
        ->interpolate(decoder, srcImage, dstImage, plane);
}

void VorelDngMosaicInfo::interpolateFast(vorel::DevelopContext &, const VorelDngImage &srcImage,
                                         VorelDngImage &dstImage, const DngPoint &scale, uint32_t plane) {
    VorelDngFastInterpolator(*this, scale, plane).interpolate(srcImage, dstImage);
}
