// Renders: a pixel worked by hand, curves, hue and saturation maps, and the fast rows against the plain steps.
#include "dng/render/render.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "dng/colour/color_spec.h"
#include "dng/colour/gamma.h"
#include "dng/colour/temperature.h"
#include "dng/render/exposure.h"
#include "dng/render/fixed_context.h"
#include "dng/render/kernels/kernels.h"
#include "dng/render/row_functions.h"
#include "dng/render/tone_curve.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

using Samples = std::vector<float>;

std::unique_ptr<VorelDngImage> rendered(FixedContext &context, const std::function<void(VorelDngRender &)> &set = {}) {
    VorelDngRender render(context);
    if (set) set(render);
    return std::unique_ptr<VorelDngImage>(render.doRender(context));
}

void make_stage3(FixedContext &context, int32_t rows, int32_t columns, uint32_t planes, uint32_t type,
                 const std::function<double()> &next) {
    context.stage3 = std::make_unique<VorelDngImage>(DngRect{0, 0, rows, columns}, planes, type);
    for (int32_t y = 0; y < rows; ++y) {
        for (int32_t i = 0; i < columns * static_cast<int32_t>(planes); ++i) {
            if (type == kPixelShort) {
                context.stage3->at<uint16_t>(y, 0)[i] = static_cast<uint16_t>(next());
            } else {
                context.stage3->at<float>(y, 0)[i] = static_cast<float>(next());
            }
        }
    }
}

Bytes row_of(const VorelDngImage &image, int32_t row) {
    const uint8_t *at = image.at<const uint8_t>(row, 0);
    return {at, at + 3 * image.getBounds().width()};
}

// All figures of this test were worked in double precision apart from this system.
TEST(DngRender, OnePixelThroughAPlainCamera) {
    FixedContext context = plain_camera();
    VorelDngColorSpec spec(context, &context.profile);
    const VorelDngXYCoord white = spec.doNeutralToXY(context.fixed.cameraNeutral);
    EXPECT_NEAR(white.x, 0.33147861, 5e-9);
    EXPECT_NEAR(white.y, 0.34363105, 5e-9);
    const VorelDngTemperature temperature(white);
    EXPECT_NEAR(temperature.temperature, 5541.306, 5e-4);
    EXPECT_NEAR(temperature.tint, 5.476, 5e-4);
    EXPECT_NEAR(context.profile.weightOfFirst(white), 0.13508900, 5e-9);
    spec.setWhiteXY(white);
    const auto expect_matrix = [](const VorelDngMatrix &matrix, const double(&expected)[9]) {
        for (uint32_t i = 0; i < 9; ++i) EXPECT_NEAR(matrix[i / 3][i % 3], expected[i], 5e-9) << i;
    };
    expect_matrix(spec.getCameraToPCS(), {1.42281833, 0.25569546, 0.04136686, 0.49703329, 0.96003983, -0.32034807,
                                          0.05639683, -0.24350776, 1.67990631});
    const VorelDngVector pcs_white = spec.getCameraToPCS() * spec.getCameraWhite();
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(spec.getCameraWhite()[i], context.fixed.cameraNeutral[i], 1e-6);
        EXPECT_NEAR(pcs_white[i], (std::array{0.96429568, 1.0, 0.82510460})[i], 5e-9);
    }

    const uint16_t stage2[3] = {5125, 10113, 6423};
    for (const uint32_t type : {kPixelShort, kPixelFloat}) {
        const double scale = type == kPixelFloat ? 65535 : 1;
        size_t at = 0;
        // The patch, white and black.
        make_stage3(context, 4, 33, 3, type, [&] {
            const size_t pixel = at / 3, plane = at++ % 3;
            return (pixel % 33 == 1 ? 65535 : pixel % 33 == 2 ? 0 : stage2[plane]) / scale;
        });
        const auto image = rendered(context);
        const Bytes row = row_of(*image, 3);
        EXPECT_EQ(Bytes(row.begin(), row.begin() + 9), (Bytes{161, 152, 157, 255, 255, 255, 0, 0, 0}));
        EXPECT_EQ(Bytes(row.end() - 3, row.end()), (Bytes{161, 152, 157}));
    }

    VorelDngRender render(context);
    render.prepareRender();
    expect_matrix(render.cameraToRGB(), {1.78484116, 0.11113866, 0.05183488, -0.02389071, 1.30364013, -0.47124612,
                                         0.06835112, -0.29512350, 2.03599193});
    expect_matrix(render.rgbToFinal(), {2.03428946, -0.72730815, -0.30698131, -0.22892475, 1.23171658, -0.00279183,
                                        -0.00846944, -0.15332600, 1.16179544});
    VorelDng1dTable ramp, tone, gamma;
    ramp.initialize(VorelDngFunctionExposureRamp(1, 0.005, 0.005), false);
    tone.initialize(VorelDngToneCurveArc3Default::GET(), false);
    gamma.initialize(VorelDngFunctionGammaEncode_sRGB::GET(), false);
    Samples v = {5125 / 65535.0f, 10113 / 65535.0f, 6423 / 65535.0f};
    // Each step starts from the figures before it, so that roundings do not add up.
    const auto expect_samples = [&](const double(&expected)[3]) {
        for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(v[i], expected[i], 6e-8) << i;
        v.assign(expected, expected + 3);
    };
    expect_samples({0.07820249, 0.15431449, 0.09800870});
    DoBaselineABCtoRGB(v.data(), v.data(), 1, spec.getCameraWhite(), render.cameraToRGB());
    expect_samples({0.16180959, 0.15311603, 0.15934831});
    DoBaseline1DTable(v.data(), v.data(), 3, ramp);
    expect_samples({0.15759757, 0.14886034, 0.15512392});
    DoBaselineRGBTone(v.data(), v.data(), 1, tone);
    expect_samples({0.33878481, 0.31831452, 0.33298934});
    DoBaselineRGBtoRGB(v.data(), v.data(), 1, render.rgbToFinal());
    expect_samples({0.35545213, 0.31358740, 0.33519028});
    DoBaseline1DTable(v.data(), v.data(), 3, gamma);
    expect_samples({0.63061120, 0.59573156, 0.61404790});
}

TEST(DngRender, WhiteIsFoundInOrder) {
    FixedContext context = plain_camera();
    context.fixed.cameraWhiteXY = {0.45, 0.41};
    const auto white_for = [&](double x, double y) {
        VorelDngRender render(context);
        render.whiteX = x;
        render.whiteY = y;
        render.prepareRender();
        return render.cameraWhite();
    };
    const auto expected = [&](double x, double y) {
        VorelDngColorSpec spec(context, &context.profile);
        spec.setWhiteXY({x, y});
        return spec.getCameraWhite();
    };
    const auto expect_same = [](const VorelDngVector &a, const VorelDngVector &b) {
        for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], 1e-6);
    };
    expect_same(white_for(0.4, 0.38), expected(0.4, 0.38));
    expect_same(white_for(0.4, 0), context.fixed.cameraNeutral);  // both or none
    context.fixed.cameraNeutral = {};
    expect_same(white_for(0, 0), expected(0.45, 0.41));
    context.fixed.cameraWhiteXY = {};
    expect_same(white_for(0, 0), expected(0.3324, 0.3474));
}

TEST(DngRender, Curves) {
    const VorelDngFunctionExposureRamp ramp(0.5, 0.01, 0.02);
    const double slope = 1 / 0.49;
    EXPECT_EQ(ramp.evaluate(0), 0);
    EXPECT_EQ(ramp.evaluate(0.02), (0.02 - 0.01) * slope);  // where the parabola ends
    EXPECT_NEAR(ramp.evaluate(0.01), slope * 0.01 / 4, 1e-12);
    EXPECT_EQ(ramp.evaluate(0.7), 1);
    EXPECT_NEAR(ramp.evaluateInverse(1), 0.5, 1e-12);
    EXPECT_EQ(ramp.evaluateInverse(0), 0);

    const VorelDng1dFunction &tone = VorelDngToneCurveArc3Default::GET();
    // Pairs of an index of 1024 and the value.
    const std::vector<std::array<double, 2>> forward = {
        {0, 0},         {1, 0.00078},   {2, 0.0016},     {64, 0.10433},   {128, 0.25961}, {256, 0.52069},
        {512, 0.80486}, {768, 0.93986}, {1000, 0.99664}, {1023, 0.99987}, {1024, 1}};
    const std::vector<std::array<double, 2>> inverse = {{0, 0},         {1, 0.00121},   {64, 0.04292},   {256, 0.12122},
                                                        {512, 0.23787}, {768, 0.43434}, {1000, 0.87306}, {1024, 1}};
    for (const auto &[index, value] : forward) EXPECT_NEAR(tone.evaluate(index / 1024), value, 6e-8);
    for (const auto &[index, value] : inverse) EXPECT_NEAR(tone.evaluateInverse(index / 1024), value, 6e-8);
    double last = -1;
    for (int i = 0; i <= 4000; ++i) {
        const double x = i / 4000.0, y = tone.evaluate(x);
        EXPECT_GT(y, last);
        EXPECT_NEAR(tone.evaluate(tone.evaluateInverse(x)), x, 2e-5);
        last = y;
    }
}

// Below zero white stays and the curve bends, above it white comes down; a gain counts against it.
TEST(DngRender, ExposureBelowAndAboveZero) {
    FixedContext context;
    context.fixed.colorPlanes = 1;
    context.fixed.shadowScale = 0;
    uint16_t value = 0;
    make_stage3(context, 1, 64, 1, kPixelShort, [&] { return value += 1000; });
    for (const double stops : {-1.5, 0.0, 1.0}) {
        context.fixed.stage3Gain = 2;
        context.fixed.baselineExposure = stops;
        const auto image = rendered(context, [](VorelDngRender &render) { render.exposure = 1; });
        for (int i = 0; i < 64; ++i) {
            double v = (i + 1) * 1000 / 65535.0;
            if (stops > 0) v = std::min(v * std::exp2(stops), 1.0);
            if (stops < 0) {
                const double slope = std::exp2(stops), a = (1 - slope) * 16 / 9;
                v = v <= 0.25 ? v * slope : 1 - a - (slope - a / 2) + v * (slope - a / 2) + v * v * a;
            }
            v = VorelDngToneCurveArc3Default::GET().evaluate(v);
            EXPECT_NEAR(*image->at<uint8_t>(0, i), VorelDngFunctionGammaEncode_sRGB::GET().evaluate(v) * 255, 0.52);
        }
    }
}

TEST(DngRender, ToneKeepsHue) {
    VorelDng1dTable tone;
    tone.initialize(VorelDngToneCurveArc3Default::GET(), false);
    Samples v = {0.1f, 0.7f, 0.3f, 0.4f, 0.4f, 0.4f, 0.2f, 0.2f, 0.9f};
    DoBaselineRGBTone(v.data(), v.data(), 3, tone);
    const float least = tone.interpolate(0.1f), most = tone.interpolate(0.7f), same = tone.interpolate(0.4f);
    EXPECT_NEAR(v[2], least + (most - least) / 3, 1e-6);
    EXPECT_EQ(Samples({v[0], v[1], v[3], v[4], v[5], v[6]}), Samples({least, most, same, same, same, v[7]}));
}

// A map by its entries; val divisions last.
VorelDngHueSatMap map_of(uint32_t hues, uint32_t sats, uint32_t vals,
                         const std::function<std::array<float, 3>(uint32_t, uint32_t, uint32_t)> &entry) {
    VorelDngHueSatMap map(hues, sats, vals);
    for (uint32_t v = 0; v < vals; ++v) {
        for (uint32_t h = 0; h < hues; ++h) {
            for (uint32_t s = 0; s < sats; ++s) {
                const auto e = entry(h, s, v);
                std::copy(e.begin(), e.end(), map.data() + 3 * (v * map.valStep() + h * map.hueStep() + s));
            }
        }
    }
    return map;
}

// The same in doubles, entry by entry: each with the product of its three weights.
std::array<double, 3> through_model(const VorelDngHueSatMap &map, const float *rgb, bool encoded) {
    const double v = std::max({rgb[0], rgb[1], rgb[2]}), delta = v - std::min({rgb[0], rgb[1], rgb[2]});
    double hue = 0, most = v, change[3] = {0, 0, 0};
    if (delta > 0) {
        const double r = rgb[0], g = rgb[1], b = rgb[2];
        hue = v == r ? (g - b) / delta + 6 : v == g ? (b - r) / delta + 2 : (r - g) / delta + 4;
    }
    const VorelDng1dFunction &gamma = VorelDngFunctionGammaEncode_sRGB::GET();
    if (encoded) most = gamma.evaluate(most);
    const double at[3] = {std::fmod(hue, 6) * map.hueDivisions() / 6, delta / v * (map.satDivisions() - 1),
                          most * (map.valDivisions() - 1)};
    const uint32_t sizes[3] = {map.hueDivisions(), map.satDivisions(), map.valDivisions()};
    for (uint32_t h = 0; h <= sizes[0]; ++h) {  // the first hue once more behind the last one
        for (uint32_t s = 0; s < sizes[1]; ++s) {
            for (uint32_t e = 0; e < sizes[2]; ++e) {
                const double weight = std::max(0.0, 1 - std::fabs(at[0] - h)) *
                                      std::max(0.0, 1 - std::fabs(at[1] - s)) * std::max(0.0, 1 - std::fabs(at[2] - e));
                const float *entry = map.data() + 3 * ((e * sizes[0] + h % sizes[0]) * sizes[1] + s);
                for (int i = 0; i < 3; ++i) change[i] += weight * static_cast<double>(entry[i]);
            }
        }
    }
    hue += change[0] / 60;
    const double saturation = std::min(delta / v * change[1], 1.0);
    most = std::clamp(most * change[2], 0.0, 1.0);
    if (encoded) most = gamma.evaluateInverse(most);
    std::array<double, 3> result;
    for (size_t i = 0; i < 3; ++i) {
        // How far the hue is from that of the plane, 0, 2 or 4: full up to 1, nothing from 2 on.
        const double distance = std::fabs(std::remainder(hue - 2 * static_cast<double>(i), 6));
        result[i] = most * (1 - saturation * std::clamp(distance - 1, 0.0, 1.0));
    }
    return result;
}

TEST(DngRender, HueSatMaps) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> any(0.01f, 1);
    Samples in(3 * 500), out(in.size());
    for (float &v : in) v = any(random);
    std::unique_ptr<VorelDng1dTable> encode, decode;
    buildHueSatMapEncodingTable(1, encode, decode, false);
    for (const auto &[hues, sats, vals] : {std::array{7u, 4u, 1u}, {1u, 2u, 3u}, {2u, 2u, 1u}, {90u, 3u, 2u}}) {
        const auto map = map_of(hues, sats, vals, [&](auto...) {
            return std::array{400 * any(random) - 200, 2 * any(random), 1.5f * any(random)};
        });
        for (const bool tables : {false, true}) {
            doBaselineHueSatMap(in.data(), out.data(), 500, map, tables ? encode.get() : nullptr,
                                tables ? decode.get() : nullptr, 1);
            for (size_t i = 0; i < in.size(); ++i) {
                // The tables count only for maps of several values.
                const auto expected = through_model(map, &in[i / 3 * 3], tables && vals > 1);
                ASSERT_NEAR(out[i], expected[i % 3], 3e-5) << i << " hues " << hues << " tables " << tables;
            }
        }
    }

    // A hue that rounds to a full turn takes the first entry; planar.
    const auto ends = map_of(4, 2, 1, [](uint32_t h, uint32_t, uint32_t) {
        return std::array{h == 0 ? 0.0f : 1000.0f, 1.0f, 1.0f};
    });
    Samples two = {1, 1, 0.5f, 0.2f, 0.50000003f, 0.3f};
    doBaselineHueSatMap(two.data(), two.data(), 2, ends, nullptr, nullptr, 2);
    EXPECT_EQ(two[0], 1);
    EXPECT_NEAR(two[2], 0.5f, 1e-6);
    EXPECT_TRUE(VorelDngHueSatMap(3, 1, 1).empty());
    EXPECT_TRUE(VorelDngHueSatMap(0, 2, 1).empty());
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
    const auto next16 = [&] {
        const uint32_t kind = random() % 16;
        return static_cast<double>(kind == 0 ? 0 : kind == 1 ? 65535 : kind < 6 ? random() % 4096 : random() % 65536);
    };
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
    const auto next_float = [&]() -> double {
        const uint32_t kind = random() % 32;
        if (kind < 6) return std::array{nan, infinite, -infinite, -0.0, 1.5, -1e30}[kind];
        return kind < 16 ? random() * 0x1p-36 : random() * 0x1p-32;
    };
    std::uniform_real_distribution<float> shift(-200, 200), factor(0, 2);
    for (int maps = 0; maps < 4; ++maps) {
        FixedContext context = plain_camera();
        const auto random_map = [&](uint32_t vals) {
            return map_of(7, 4, vals, [&](auto...) {
                return std::array{shift(random), factor(random), factor(random)};
            });
        };
        if (maps & 1) context.profile.hueSat1 = random_map(1), context.profile.hueSat2 = random_map(1);
        if (maps & 2) context.profile.look = random_map(3), context.profile.lookEncoding = 1;
        context.fixed.baselineExposure = maps == 1 ? -0.7 : 0.3 * maps;
        for (const int32_t columns : {1, 2, 30, 33, 67, 2 * 257, 8000}) {
            for (const bool floats : {false, true}) {
                if (columns == 8000 && maps) continue;
                const int32_t rows = columns == 8000 ? 60 : 3;
                make_stage3(context, rows, columns, 3, floats ? kPixelFloat : kPixelShort,
                            floats ? std::function<double()>(next_float) : next16);
                const auto expected =
                    rendered(context, [&](VorelDngRender &render) { render.finalSpace = &plain_space; });
                for (int target = 0; target < kSimdTargets; ++target) {
                    if (!cpu_runs_target(static_cast<SimdTarget>(target))) continue;
                    limit_simd_targets(static_cast<SimdTarget>(target));
                    const auto image = rendered(context);
                    for (int32_t row = 0; row < rows; ++row) {
                        ASSERT_TRUE(row_of(*image, row) == row_of(*expected, row))
                            << simd_target_name(static_cast<SimdTarget>(target)) << " columns " << columns << " maps "
                            << maps << " floats " << floats;
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
    gamma.initialize(VorelDngFunctionGammaEncode_1_8::GET(), false);
    std::vector<uint32_t> encode(kRenderSteps + 1);
    int32_t doubt = 0;
    EXPECT_FALSE(make_encode_table(gamma.data(), encode.data(), &doubt));  // two bytes in a step
    gamma.initialize(VorelDngFunctionGammaEncode_sRGB::GET(), false);
    ASSERT_TRUE(make_encode_table(gamma.data(), encode.data(), &doubt));
    Samples in;
    for (int byte = 1; byte <= 255; ++byte) {
        uint32_t below = 0, above = std::bit_cast<uint32_t>(1.0f);
        while (above - below > 1) {
            const uint32_t middle = (above + below) / 2;
            (255 * gamma.interpolate(std::bit_cast<float>(middle)) + 0.5f < static_cast<float>(byte) ? below : above) =
                middle;
        }
        for (uint32_t bits = below - 40; bits < below + 40; ++bits) in.insert(in.end(), 3, std::bit_cast<float>(bits));
    }
    const float same[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    RenderSetup setup = {{1, 1, 1},     {},   {}, nullptr, nullptr, straight.data(), straight.data(), gamma.data(),
                         encode.data(), doubt};
    std::copy(same, same + 9, setup.camera);
    std::copy(same, same + 9, setup.output);
    expect_twins(runnable_render_kernels, "thresholds", [&](const RenderKernels &kernels) {
        Bytes out(in.size());
        kernels.from_float(setup, in.data(), static_cast<uint32_t>(in.size() / 3), out.data());
        return out;
    });
}

TEST(DngRender, PlanesAndSpacesOutOfTheUsual) {
    FixedContext context = plain_camera();
    // One plane: the curves alone, in all three planes of the result.
    context.fixed.colorPlanes = 1;
    uint32_t value = 0;
    make_stage3(context, 1, 40, 1, kPixelShort, [&] { return value += 1500; });
    const auto grey = rendered(context);
    const VorelDngFunctionExposureRamp ramp(1, 0.005, 0.005);
    for (int i = 0; i < 40; ++i) {
        const double v = 1500 * (i + 1) / 65535.0;
        const double e = VorelDngFunctionGammaEncode_sRGB::GET().evaluate(
            VorelDngToneCurveArc3Default::GET().evaluate(ramp.evaluate(v)));
        for (uint32_t plane = 0; plane < 3; ++plane) EXPECT_NEAR(*grey->at<uint8_t>(0, i, plane), e * 255, 0.51) << i;
    }
    // Four planes, white at all of them; then colours that a grey space folds into one.
    context.fixed.colorPlanes = 4;
    context.profile = {};
    context.profile.color1 = VorelDngMatrix(4, 3);
    const double rows[4][3] = {{0.9, -0.25, -0.03}, {-0.4, 1.22, 0.2}, {-0.06, 0.15, 0.65}, {0.2, 0.5, 0.4}};
    for (uint32_t i = 0; i < 12; ++i) context.profile.color1[i / 3][i % 3] = rows[i / 3][i % 3];
    context.fixed.cameraNeutral = {};
    for (const bool known : {true, false}) {
        context.has_profile = known;
        make_stage3(context, 1, 5, 4, kPixelShort, [] { return 65535; });
        EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 255)) << known;
    }
    context = plain_camera();
    make_stage3(context, 1, 5, 3, kPixelShort, [] { return 65535; });
    const auto folded =
        rendered(context, [](VorelDngRender &render) { render.finalSpace = &VorelDngSpace_GrayGamma22::GET(); });
    EXPECT_EQ(row_of(*folded, 0), Bytes(15, 255));
    // A matrix that cannot be inverted counts as none.
    context.profile.color1 = context.profile.color2 = VorelDngMatrix3x3();
    EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 255));
    // A cancelled render ends early.
    context.tests_until_cancel = 0;
    EXPECT_EQ(row_of(*rendered(context), 0), Bytes(15, 0));
}

}  // namespace
}  // namespace vorel::test
