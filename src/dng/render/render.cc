#include "dng/render/render.h"

#include <vorel/dng_samples.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "dng/base/quadrants.h"
#include "dng/colour/camera_profile.h"
#include "dng/colour/color_spec.h"
#include "dng/colour/gamma.h"
#include "dng/render/exposure.h"
#include "dng/render/kernels/kernels.h"
#include "dng/render/row_functions.h"
#include "dng/render/tone_curve.h"

static_assert(vorel::kRenderSteps == VorelDng1dTable::kSteps);

// sRGB's curve as floats, and as bytes for kernels; made once, since powers are slow.
struct EncodeTable {
    EncodeTable() : bytes(vorel::kRenderSteps + 1) {
        gamma.initialize(VorelDngFunctionGammaEncode_sRGB::GET(), false);
        usable = vorel::make_encode_table(gamma.data(), bytes.data(), &doubt);
    }
    VorelDng1dTable gamma;
    std::vector<uint32_t> bytes;
    int32_t doubt = 0;
    bool usable;
};

namespace {

constexpr VorelDngXYCoord kUnknownWhite = {0.3324, 0.3474};
constexpr int32_t kRowsBetweenCancelTests = 32;

const EncodeTable &srgb_table() {
    static const EncodeTable kTable;
    return kTable;
}

// The default tone curve without an exposure: that of nearly every render.
const VorelDng1dTable &default_tone_table() {
    static const VorelDng1dTable kTable = [] {
        VorelDng1dTable table;
        table.initialize(VorelDngToneCurveArc3Default::GET(), false);
        return table;
    }();
    return kTable;
}

void copy_rows(const VorelDngMatrix &from, float *to) {
    for (uint32_t row = 0; row < 3; ++row) {
        for (uint32_t column = 0; column < 3; ++column) {
            const bool there = row < from.rows() && column < from.columns();
            to[3 * row + column] = there ? static_cast<float>(from[row][column]) : 0;
        }
    }
}

bool interleaved_rgb(const VorelDngPixelBuffer &buffer) {
    return buffer.planes == 3 && buffer.colStep == 3 && buffer.planeStep == 1;
}

struct RenderWork {
    const VorelDngRender &render;
    vorel::DevelopContext &decoder;
    const VorelDngImage &src;
    VorelDngImage &dst;
};

}  // namespace

VorelDngRender::VorelDngRender(vorel::DevelopContext &decoder)
    : toneCurve(&VorelDngToneCurveArc3Default::GET()), finalSpace(&VorelDngSpace_sRGB::GET()), decoder_(&decoder) {}

VorelDngImage *VorelDngRender::doRender(vorel::DevelopContext &decoder) {
    decoder_ = &decoder;
    const VorelDngImage &src = *decoder.stage3Image();
    std::unique_ptr<VorelDngImage> dst(decoder.makeDngImage(src.getBounds(), 3, kPixelByte));
    prepareRender();
    RenderWork work = {*this, decoder, src, *dst};
    vorel::run_quadrants<RenderWork>(
        src.getBounds(),
        [](RenderWork &of, const vorel::DngRect &rect) { of.render.performRender(of.decoder, of.src, of.dst, rect); },
        work);
    return dst.release();
}

void VorelDngRender::prepareRender() {
    prepareColours();
    prepareCurves();
}

VorelDngXYCoord VorelDngRender::white(VorelDngColorSpec &spec) const {
    const vorel::DevelopValues &values = decoder_->values();
    if (whiteX > 0 && whiteY > 0) return {whiteX, whiteY};
    if (!values.cameraNeutral.empty()) return spec.doNeutralToXY(values.cameraNeutral);
    if (values.cameraWhiteXY.x > 0 && values.cameraWhiteXY.y > 0) return values.cameraWhiteXY;
    return kUnknownWhite;
}

void VorelDngRender::prepareColours() {
    const vorel::DevelopValues &values = decoder_->values();
    const VorelDngCameraProfile *profile = decoder_->cameraProfile();
    const VorelDngColorSpace &wide = VorelDngSpace_ProPhoto::GET();
    rgbToFinal_ = finalSpace->fromPCS() * wide.toPCS();
    hueSatMap_.reset();
    lookTable_.reset();
    const uint32_t planes = values.colorPlanes;
    if (planes < 2) return;

    VorelDngColorSpec spec(*decoder_, profile);
    if (!spec.empty()) {
        try {
            spec.setWhiteXY(white(spec));
            cameraWhite_ = spec.getCameraWhite();
            cameraToRGB_ = wide.fromPCS() * spec.getCameraToPCS();
            hueSatMap_.reset(profile->getHueSatMapForWhite(spec.getWhiteXY()));
            if (profile->look.entries() > 1) lookTable_ = std::make_unique<VorelDngHueSatMap>(profile->look);
            buildHueSatMapEncodingTable(profile->hueSatEncoding, hueSatEncode_, hueSatDecode_, false);
            buildHueSatMapEncodingTable(profile->lookEncoding, lookEncode_, lookDecode_, false);
            return;
        } catch (const std::domain_error &) {
            // Matrices that cannot be inverted say nothing: as without a profile.
        }
    }
    // Balanced camera colours stand for the wide ones.
    cameraWhite_.setIdentity(planes);
    cameraToRGB_ = VorelDngMatrix(3, planes);
    for (uint32_t i = 0; i < std::min(3u, planes); ++i) {
        const bool known = values.cameraNeutral.count() == planes && values.cameraNeutral[i] > 0;
        if (known) cameraWhite_[i] = std::min(values.cameraNeutral[i], 1.0);
        cameraToRGB_[i][i] = 1 / cameraWhite_[i];
    }
}

void VorelDngRender::prepareCurves() {
    const vorel::DevelopValues &values = decoder_->values();
    const double gain = values.stage3Gain > 0 ? values.stage3Gain : 1;
    const double stops = exposure + values.baselineExposure - std::log2(gain);
    const double white = 1 / std::exp2(std::max(stops, 0.0));
    const double black = std::min(shadows * values.shadowScale * gain * 0.001, white * 0.99);
    exposureRamp_.initialize(VorelDngFunctionExposureRamp(white, black, black), false);

    const VorelDngFunctionExposureTone exposure_tone(stops);
    if (exposure_tone.isIdentity() && toneCurve == &VorelDngToneCurveArc3Default::GET()) {
        tone_ = default_tone_table();
    } else {
        tone_.initialize(VorelDng1dConcatenate(exposure_tone, *toneCurve), false);
    }

    const VorelDng1dFunction &gamma = finalSpace->getGammaFunction();
    encodeTable_ = nullptr;
    if (&gamma == &VorelDngFunctionGammaEncode_sRGB::GET()) {
        encodeTable_ = &srgb_table();
        encodeGamma_ = encodeTable_->gamma;
    } else {
        encodeGamma_.initialize(gamma, false);
    }
}

void VorelDngRender::performRender(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                                   const vorel::DngRect &rect) const {
    if (rect.empty()) return;
    const uint32_t width = rect.width();
    const bool usual = encodeTable_ && encodeTable_->usable && !finalSpace->isMonochrome() &&
                       decoder.values().colorPlanes == 3 && interleaved_rgb(src.buffer()) &&
                       interleaved_rgb(dst.buffer()) && (src.isFloat() || src.getPixelType() == kPixelShort);
    if (!usual) {
        std::vector<float> buffer(size_t{width} * std::max(3u, src.planes()));
        for (int32_t row = rect.top; row < rect.bottom; ++row) {
            if (row % kRowsBetweenCancelTests == 0 && decoder.cancelled()) return;
            renderRowPlainly(src, dst, row, rect, buffer.data());
        }
        return;
    }

    vorel::RenderSetup setup = {};
    for (uint32_t i = 0; i < 3; ++i) setup.white[i] = static_cast<float>(cameraWhite_[i]);
    copy_rows(cameraToRGB_, setup.camera);
    copy_rows(rgbToFinal_, setup.output);
    vorel::HueSatTable hue_sat = {}, look = {};
    if (hueSatMap_) {
        hue_sat = vorel::hue_sat_table(*hueSatMap_, hueSatEncode_.get(), hueSatDecode_.get());
        setup.hue_sat = &hue_sat;
    }
    if (lookTable_) {
        look = vorel::hue_sat_table(*lookTable_, lookEncode_.get(), lookDecode_.get());
        setup.look = &look;
    }
    setup.ramp = exposureRamp_.data();
    setup.tone = tone_.data();
    setup.gamma = encodeGamma_.data();
    setup.encode = encodeTable_->bytes.data();
    setup.encode_doubt = encodeTable_->doubt;

    const vorel::RenderKernels &kernels = vorel::render_kernels();
    for (int32_t row = rect.top; row < rect.bottom; ++row) {
        if (row % kRowsBetweenCancelTests == 0 && decoder.cancelled()) return;
        uint8_t *out = dst.at<uint8_t>(row, rect.left);
        if (src.isFloat()) {
            kernels.from_float(setup, src.at<float>(row, rect.left), width, out);
        } else {
            kernels.from_short(setup, src.at<uint16_t>(row, rect.left), width, out);
        }
    }
}

void VorelDngRender::renderRowPlainly(const VorelDngImage &src, VorelDngImage &dst, int32_t row,
                                      const vorel::DngRect &rect, float *buffer) const {
    const uint32_t width = rect.width(), planes = std::min(src.planes(), 4u);
    const uint32_t colours = decoder_->values().colorPlanes >= 2 ? planes : 1,
                   step = std::max(colours == 1 ? 1u : 3u, colours);
    const VorelDngPixelBuffer &from = src.buffer(), &to = dst.buffer();
    const int32_t pixel = static_cast<int32_t>(step);
    if (src.isFloat()) {
        for (uint32_t x = 0; x < width; ++x) {
            const float *at = src.at<float>(row, rect.left + static_cast<int32_t>(x));
            for (uint32_t plane = 0; plane < std::min(planes, step); ++plane) {
                buffer[x * step + plane] = at[static_cast<ptrdiff_t>(plane) * from.planeStep];
            }
        }
    } else {
        DoCopyArea16_R32(src.at<uint16_t>(row, rect.left), buffer, 1, width, std::min(planes, step), from.rowStep,
                         from.colStep, from.planeStep, 0, pixel, 1, 65535);
    }
    for (uint32_t plane = planes; plane < step; ++plane) {
        for (uint32_t x = 0; x < width; ++x) buffer[x * step + plane] = 0;
    }
    uint32_t made = 3;
    if (colours == 1) {
        made = 1;
        DoBaseline1DTable(buffer, buffer, width, exposureRamp_);
        DoBaseline1DTable(buffer, buffer, width, tone_);
    } else {
        (step == 4 ? DoBaselineABCDtoRGB : DoBaselineABCtoRGB)(buffer, buffer, width, cameraWhite_, cameraToRGB_);
        if (hueSatMap_) {
            doBaselineHueSatMap(buffer, buffer, width, *hueSatMap_, hueSatEncode_.get(), hueSatDecode_.get(), 1);
        }
        DoBaseline1DTable(buffer, buffer, 3 * width, exposureRamp_);
        if (lookTable_)
            doBaselineHueSatMap(buffer, buffer, width, *lookTable_, lookEncode_.get(), lookDecode_.get(), 1);
        DoBaselineRGBTone(buffer, buffer, width, tone_);
        if (finalSpace->isMonochrome()) {
            made = 1;
            DoBaselineRGBtoGray(buffer, buffer, width, rgbToFinal_);
        } else {
            DoBaselineRGBtoRGB(buffer, buffer, width, rgbToFinal_);
        }
    }
    DoBaseline1DTable(buffer, buffer, made * width, encodeGamma_);
    // One sample serves all planes.
    DoCopyAreaR32_8(buffer, dst.at<uint8_t>(row, rect.left), 1, width, std::min(dst.planes(), 3u), 0,
                    static_cast<int32_t>(made), made == 3 ? 1 : 0, to.rowStep, to.colStep, to.planeStep, 255);
}
