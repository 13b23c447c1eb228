// Renders: a pixel worked by hand, curves, hue and saturation maps, and the fast rows against the plain steps.
#include "dng/render/render.h"

#include <array>
#include <bit>
#include <cmath>
#include <random>

#include "dng/colour/color_spec.h"
#include "dng/colour/gamma.h"
#include "dng/colour/temperature.h"
#include "dng/render/exposure.h"
#include "dng/render/kernels/kernels.h"
#include "dng/render/row_functions.h"
#include "dng/render/tone_curve.h"
#include "dng/support/plain_context.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

using Samples = std::vector<float>;

Image rendered(PlainContext &context, double exposure = 0,
               const VorelDngColorSpace *space = &VorelDngSpace_sRGB::GET()) {
    VorelDngRender render(context);
    render.exposure = exposure, render.finalSpace = space;
    return Image(render.doRender(context));
}

void make_stage3(PlainContext &context, int32_t rows, int32_t columns, uint32_t planes, uint32_t type,
                 const std::function<double()> &next) {
    const auto value = [&](auto...) { return next() / (type == kPixelShort ? 65535 : 1); };
    context.stage3 = image_of({0, 0, rows, columns}, planes, type, value);
}

Bytes row_of(const VorelDngImage &image, int32_t row) {
    const uint8_t *at = image.at<const uint8_t>(row, 0);
    return {at, at + 3 * image.getBounds().width()};
}

// All figures of this test were worked in double precision apart from this system.
TEST(DngRender, OnePixelThroughAPlainCamera) {
    PlainContext context = plain_camera();
    VorelDngColorSpec spec(context, &context.profile);
    const VorelDngXYCoord white = spec.doNeutralToXY(context.develop_values.cameraNeutral);
    EXPECT_NEAR(white.x, 0.33147861, 5e-9);
    EXPECT_NEAR(white.y, 0.34363105, 5e-9);
    EXPECT_NEAR(VorelDngTemperature(white).temperature, 5541.306, 5e-4);
    EXPECT_NEAR(VorelDngTemperature(white).tint, 5.476, 5e-4);
    EXPECT_NEAR(context.profile.weightOfFirst(white), 0.13508900, 5e-9);
    spec.setWhiteXY(white);
    expect_near(spec.getCameraToPCS(),
                VorelDngMatrix3x3(1.42281833, 0.25569546, 0.04136686, 0.49703329, 0.96003983, -0.32034807, 0.05639683,
                                  -0.24350776, 1.67990631),
                5e-9);
    // A white that the matrix takes to that of the PCS.
    const VorelDngVector pcs_white = spec.getCameraToPCS() * context.develop_values.cameraNeutral;
    for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(pcs_white[i], (std::array{0.96429568, 1.0, 0.82510460})[i], 1e-6);
    VorelDngRender render(context);
    render.prepareRender();
    expect_near(render.cameraToRGB(),
                VorelDngMatrix3x3(1.78484116, 0.11113866, 0.05183488, -0.02389071, 1.30364013, -0.47124612, 0.06835112,
                                  -0.29512350, 2.03599193),
                5e-9);
    expect_near(render.rgbToFinal(),
                VorelDngMatrix3x3(2.03428946, -0.72730815, -0.30698131, -0.22892475, 1.23171658, -0.00279183,
                                  -0.00846944, -0.15332600, 1.16179544),
                5e-9);
    VorelDng1dTable tables[3];
    tables[0].initialize(VorelDngFunctionExposureRamp(1, 0.005, 0.005), false);
    tables[1].initialize(VorelDngToneCurveArc3Default::GET(), false);
    tables[2].initialize(VorelDngFunctionGammaEncode_sRGB::GET(), false);
    Samples v = {5125 / 65535.0f, 10113 / 65535.0f, 6423 / 65535.0f};
    // Each step starts from the figures before it, so that roundings do not add up.
    const auto expect_samples = [&](const double(&expected)[3]) {
        for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(v[i], expected[i], 6e-8) << i;
        v.assign(expected, expected + 3);
    };
    expect_samples({0.07820249, 0.15431449, 0.09800870});
    DoBaselineABCtoRGB(v.data(), v.data(), 1, spec.getCameraWhite(), render.cameraToRGB());
    expect_samples({0.16180959, 0.15311603, 0.15934831});
    DoBaseline1DTable(v.data(), v.data(), 3, tables[0]);
    expect_samples({0.15759757, 0.14886034, 0.15512392});
    DoBaselineRGBTone(v.data(), v.data(), 1, tables[1]);
    expect_samples({0.33878481, 0.31831452, 0.33298934});
    DoBaselineRGBtoRGB(v.data(), v.data(), 1, render.rgbToFinal());
    expect_samples({0.35545213, 0.31358740, 0.33519028});
    DoBaseline1DTable(v.data(), v.data(), 3, tables[2]);
    expect_samples({0.63061120, 0.59573156, 0.61404790});
}

TEST(DngRender, WhiteIsFoundInOrder) {
    PlainContext context = plain_camera();
    const auto expect_white = [&](double x, double y, const VorelDngXYCoord &expected) {
        VorelDngRender render(context);
        render.whiteX = x, render.whiteY = y;
        render.prepareRender();
        VorelDngColorSpec spec(context, &context.profile);
        spec.setWhiteXY(expected);
        for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(render.cameraWhite()[i], spec.getCameraWhite()[i], 1e-6);
    };
    context.develop_values.cameraWhiteXY = {0.45, 0.41};
    expect_white(0.4, 0.38, {0.4, 0.38});
    expect_white(0.4, 0, {0.33147861, 0.34363105});  // both or none: that of the neutral
    context.develop_values.cameraNeutral = {};
    expect_white(0, 0, {0.45, 0.41});
    context.develop_values.cameraWhiteXY = {};
    expect_white(0, 0, {0.3324, 0.3474});
}

TEST(DngRender, Curves) {
    const VorelDngFunctionExposureRamp ramp(0.5, 0.01, 0.02);
    EXPECT_EQ(ramp.evaluate(0.02), (0.02 - 0.01) * (1 / 0.49));  // where the parabola ends
    EXPECT_NEAR(ramp.evaluate(0.01), 0.01 / 0.49 / 4, 1e-12);
    EXPECT_NEAR(ramp.evaluateInverse(1), 0.5, 1e-12);
    EXPECT_TRUE(ramp.evaluateInverse(0) == 0 && ramp.evaluate(0.7) == 1);
    const VorelDng1dFunction &tone = VorelDngToneCurveArc3Default::GET();
    // Indices of 1024 and their values, there and back.
    const double forward[][2] = {{1, 0.00078}, {2, 0.0016}, {128, 0.25961}, {512, 0.80486}, {1023, 0.99987}, {1024, 1}};
    const double inverse[][2] = {{1, 0.00121}, {64, 0.04292}, {512, 0.23787}, {1000, 0.87306}, {1024, 1}};
    for (const auto &[index, value] : forward) EXPECT_NEAR(tone.evaluate(index / 1024), value, 6e-8);
    for (const auto &[index, value] : inverse) EXPECT_NEAR(tone.evaluateInverse(index / 1024), value, 6e-8);
    for (int i = 0; i < 4000; ++i) EXPECT_NEAR(tone.evaluate(tone.evaluateInverse(i / 4000.0)), i / 4000.0, 2e-5) << i;
}

// Below zero white stays and the curve bends, above it white comes down; a gain counts against it. One plane: the
// curves alone, in all three planes of the result.
TEST(DngRender, ExposureBelowAndAboveZero) {
    PlainContext context;
    context.develop_values.colorPlanes = 1;
    context.develop_values.shadowScale = 0;
    context.develop_values.stage3Gain = 2;
    uint16_t value = 0;
    make_stage3(context, 1, 64, 1, kPixelShort, [&] { return value += 1000; });
    for (const double stops : {-1.5, 0.0, 1.0}) {
        context.develop_values.baselineExposure = stops;
        const auto image = rendered(context, 1);
        const double slope = std::exp2(stops), a = (1 - slope) * 16 / 9, b = slope - a / 2;
        for (int i = 0; i < 64; ++i) {
            double v = (i + 1) * 1000 / 65535.0;
            v = stops > 0 || v <= 0.25 ? std::min(v * slope, 1.0) : 1 - a - b + v * b + v * v * a;
            v = VorelDngFunctionGammaEncode_sRGB::GET().evaluate(VorelDngToneCurveArc3Default::GET().evaluate(v)) * 255;
            for (uint32_t plane = 0; plane < 3; ++plane) EXPECT_NEAR(*image->at<uint8_t>(0, i, plane), v, 0.52) << i;
        }
    }
}

// A map of random entries.
VorelDngHueSatMap random_map(uint32_t hues, uint32_t sats, uint32_t vals, std::mt19937 &random) {
    VorelDngHueSatMap map(hues, sats, vals);
    std::uniform_real_distribution<float> any(0, 2);
    for (uint32_t i = 0; i < 3 * map.entries(); ++i) map.data()[i] = i % 3 == 0 ? 200 * any(random) - 200 : any(random);
    return map;
}

// A map in doubles: each entry with the product of its three weights.
std::array<double, 3> through_model(const VorelDngHueSatMap &map, const float *rgb, bool encoded) {
    const double r = rgb[0], g = rgb[1], b = rgb[2], v = std::max({r, g, b}), delta = v - std::min({r, g, b});
    const double hue = v == r ? (g - b) / delta + 6 : v == g ? (b - r) / delta + 2 : (r - g) / delta + 4;
    const VorelDng1dFunction &gamma = VorelDngFunctionGammaEncode_sRGB::GET();
    const double value = encoded ? gamma.evaluate(v) : v;
    const uint32_t hues = map.hueDivisions(), sats = map.satDivisions(), vals = map.valDivisions();
    double change[3] = {0, 0, 0};
    for (uint32_t i = 0; i < (hues + 1) * sats * vals; ++i) {
        // The first hue comes once more behind the last one.
        const uint32_t h = i % (hues + 1), s = i / (hues + 1) % sats, e = i / (hues + 1) / sats;
        const auto weight = [](double distance) { return std::max(0.0, 1 - std::fabs(distance)); };
        const double share = weight(std::fmod(hue, 6) * hues / 6 - h) * weight(delta / v * (sats - 1) - s) *
                             weight(value * (vals - 1) - e);
        const float *entry = map.data() + 3 * ((e * hues + h % hues) * sats + s);
        for (int part = 0; part < 3; ++part) change[part] += share * static_cast<double>(entry[part]);
    }
    const double most = std::clamp(value * change[2], 0.0, 1.0), saturation = std::min(delta / v * change[1], 1.0);
    std::array<double, 3> result;
    for (size_t i = 0; i < 3; ++i) {
        // How far the hue is from that of the plane, 0, 2 or 4: full up to 1, nothing from 2 on.
        const double distance = std::fabs(std::remainder(hue + change[0] / 60 - 2 * static_cast<double>(i), 6));
        result[i] =
            (encoded ? gamma.evaluateInverse(most) : most) * (1 - saturation * std::clamp(distance - 1, 0.0, 1.0));
    }
    return result;
}

TEST(DngRender, HueSatMaps) {
    std::mt19937 random(7);
    Samples in(3 * 500), out(in.size());
    for (float &v : in) v = std::uniform_real_distribution<float>(0.01f, 1)(random);
    std::unique_ptr<VorelDng1dTable> encode, decode;
    buildHueSatMapEncodingTable(1, encode, decode, false);
    for (const auto &[hues, sats, vals] : {std::array{7u, 4u, 1u}, {1u, 2u, 3u}, {2u, 2u, 1u}, {90u, 3u, 2u}}) {
        const VorelDngHueSatMap map = random_map(hues, sats, vals, random);
        for (const bool tables : {false, true}) {
            doBaselineHueSatMap(in.data(), out.data(), 500, map, tables ? encode.get() : nullptr, decode.get(), 1);
            for (size_t i = 0; i < in.size(); ++i) {
                // The tables count in pairs, and only for maps of several values.
                const auto expected = through_model(map, &in[i / 3 * 3], tables && vals > 1);
                ASSERT_NEAR(out[i], expected[i % 3], 3e-5) << i << " hues " << hues << " tables " << tables;
            }
        }
    }
    // Planes behind one another.
    Samples planar = {0.9f, 0.2f, 0.3f, 0.3f, 0.1f, 0.7f}, pixels = {0.9f, 0.3f, 0.1f, 0.2f, 0.3f, 0.7f};
    const VorelDngHueSatMap map = random_map(7, 4, 1, random);
    doBaselineHueSatMap(planar.data(), planar.data(), 2, map, nullptr, nullptr, 2);
    doBaselineHueSatMap(pixels.data(), pixels.data(), 2, map, nullptr, nullptr, 1);
    for (size_t i = 0; i < 6; ++i) EXPECT_EQ(planar[i], pixels[i % 2 * 3 + i / 2]);
    EXPECT_TRUE(VorelDngHueSatMap(3, 1, 1).empty() && VorelDngHueSatMap(0, 2, 1).empty());
}

// The kernels of every target against the plain steps: a final space of another object with sRGB's numbers takes those.
class PlainSpace final : public VorelDngColorSpace {
  public:
    PlainSpace() { setMatrixToPCS({0.4361, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7141}); }
    const VorelDng1dFunction &getGammaFunction() const override { return gamma_; }

  private:
    VorelDngFunctionGammaEncode_sRGB gamma_;
};

TEST(DngRender, FastRowsEqualThePlainSteps) {
    const PlainSpace plain_space;
    std::mt19937 random(5);
    const auto next = [&](bool floats) -> double {
        const uint32_t kind = random() % 32;
        const double odd[] = {NAN, HUGE_VAL, -HUGE_VAL, -0.0, 1.5, -1e30};
        if (floats) return kind < 6 ? odd[kind] : random() * (kind < 16 ? 0x1p-36 : 0x1p-32);
        return kind < 2 ? 0 : kind < 4 ? 65535 : random() % (kind < 12 ? 4096 : 65536);
    };
    for (int maps = 0; maps < 4; ++maps) {
        PlainContext context = plain_camera();
        if (maps & 1) context.profile.hueSat1 = random_map(7, 4, 1, random);
        if (maps & 1) context.profile.hueSat2 = random_map(7, 4, 1, random);
        if (maps & 2) context.profile.look = random_map(7, 4, 3, random), context.profile.lookEncoding = 1;
        context.develop_values.baselineExposure = maps == 1 ? -0.7 : 0.3 * maps;
        for (const int32_t columns : {1, 2, 30, 33, 67, 2 * 257, 60000}) {
            for (const uint32_t type : {kPixelShort, kPixelFloat}) {
                if (columns == 60000 && maps) continue;
                make_stage3(context, 3, columns, 3, type, [&] { return next(type == kPixelFloat); });
                const auto expected = rendered(context, 0, &plain_space);
                for (int target = 0; target < kSimdTargets; ++target) {
                    if (!cpu_runs_target(static_cast<SimdTarget>(target))) continue;
                    limit_simd_targets(static_cast<SimdTarget>(target));
                    const auto image = rendered(context);
                    for (int32_t row = 0; row < 3; ++row) {
                        ASSERT_TRUE(row_of(*image, row) == row_of(*expected, row))
                            << target << " columns " << columns << " maps " << maps << " type " << type;
                    }
                }
                limit_simd_targets(SimdTarget::kCount);
            }
        }
    }
}

// Floats around each one from which on the byte is another: there roundings of the curve decide.
TEST(DngRender, BytesNextToTheirThresholds) {
    VorelDng1dTable straight, gamma;
    straight.initialize(VorelDng1dIdentity::GET(), false);
    std::vector<uint32_t> encode(kRenderSteps + 1);
    int32_t doubt = 0;
    gamma.initialize(VorelDngFunctionGammaEncode_sRGB::GET(), false);
    ASSERT_TRUE(make_encode_table(gamma.data(), encode.data(), &doubt));
    Samples in;
    for (uint32_t i = 0; i < kRenderSteps; ++i) {
        const uint32_t part = encode[i] >> 8;  // of 2^23, or none
        const float x = (static_cast<float>(i) + static_cast<float>(part) / 0x1p23f) / kRenderSteps;
        for (uint32_t j = 0; part < 1u << 23 && j < 80; ++j) {
            in.insert(in.end(), 3, std::bit_cast<float>(std::bit_cast<uint32_t>(x) - 40 + j));
        }
    }
    EXPECT_EQ(in.size(), 255u * 80 * 3);
    RenderSetup setup = {};
    for (size_t i = 0; i < 9; i += 4) setup.camera[i] = setup.output[i] = setup.white[i / 4] = 1;
    setup.ramp = setup.tone = straight.data(), setup.gamma = gamma.data();
    setup.encode = encode.data(), setup.encode_doubt = doubt;
    expect_twins(runnable_render_kernels, "thresholds", [&](const RenderKernels &kernels) {
        Bytes out(in.size());
        kernels.from_float(setup, in.data(), static_cast<uint32_t>(in.size() / 3), out.data());
        return out;
    });
}

TEST(DngRender, PlanesAndSpacesOutOfTheUsual) {
    PlainContext context = plain_camera();
    // White at all of four planes; then colours that a grey space folds into one.
    context.develop_values.colorPlanes = 4;
    context.profile = {};
    context.profile.color1 = VorelDngMatrix(4, 3);
    for (uint32_t i = 0; i < 4; ++i) context.profile.color1[i][i % 3] = 1 - 0.1 * i;
    context.develop_values.cameraNeutral = {};
    for (const bool known : {true, false}) {
        context.has_profile = known;
        make_stage3(context, 1, 5, 4, kPixelShort, [] { return 65535; });
        EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 255)) << known;
    }
    context = plain_camera();
    make_stage3(context, 1, 5, 3, kPixelShort, [] { return 65535; });
    EXPECT_EQ(row_of(*rendered(context, 0, &VorelDngSpace_GrayGamma22::GET()), 0), Bytes(15, 255));
    // A matrix that cannot be inverted counts as none.
    context.profile.color1 = context.profile.color2 = VorelDngMatrix3x3();
    EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 255));
    // A cancelled render ends early.
    context.tests_until_cancel = 0;
    EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 0));
}

}  // namespace
}  // namespace vorel::test
