// Colours: adaptation and temperatures by closed models, spaces and their profiles, camera profiles and specifications.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "dng/colour/color_space.h"
#include "dng/colour/color_spec.h"
#include "dng/colour/gamma.h"
#include "dng/colour/temperature.h"
#include "dng/colour/white_map.h"
#include "dng/render/fixed_context.h"
#include "support/inputs.h"

namespace vorel::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void expect_near(const VorelDngMatrix &a, const VorelDngMatrix &b, double tolerance) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.columns(), b.columns());
    for (uint32_t row = 0; row < a.rows(); ++row) {
        for (uint32_t column = 0; column < a.columns(); ++column) {
            EXPECT_NEAR(a[row][column], b[row][column], tolerance) << row << " " << column;
        }
    }
}

TEST(DngColour, ChromaticitiesAndAdaptation) {
    EXPECT_EQ(XYZtoXY({0, 0, 0}).x, 0.3457);
    EXPECT_EQ(XYZtoXY({0, 0, 0}).y, 0.3585);
    const VorelDngVector3 white = PCStoXYZ();
    EXPECT_NEAR(white[0], 0.964296, 5e-7);
    EXPECT_NEAR(white[2], 0.825105, 5e-7);
    for (const VorelDngXYCoord &odd : {VorelDngXYCoord{-1, 0}, {2, 2}, {kNaN, kNaN}, {0.3, 0.7}, {1e300, -1e300}}) {
        const VorelDngVector3 xyz = XYtoXYZ(odd);
        for (uint32_t i = 0; i < 3; ++i) EXPECT_TRUE(xyz[i] > 0 && xyz[i] < 1e7) << odd.x << " " << i;
        const VorelDngMatrix3x3 map = MapWhiteMatrix(odd, PCStoXY());
        for (uint32_t i = 0; i < 9; ++i) EXPECT_TRUE(std::isfinite(map[i / 3][i % 3]));
    }
    // Illuminant A to D50, as ICC.1 annex E makes it.
    const VorelDngXYCoord a = {0.44757, 0.40745};
    expect_near(MapWhiteMatrix(a, PCStoXY()),
                VorelDngMatrix3x3(0.8779529, -0.0915288, 0.2566181, -0.1117372, 1.0924325, 0.0851788, 0.0502012,
                                  -0.0837636, 2.3994031),
                2e-4);
    const VorelDngVector mapped = MapWhiteMatrix(a, PCStoXY()) * XYtoXYZ(a);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(mapped[i], white[i], 1e-12);
}

TEST(DngColour, Temperatures) {
    struct Known {
        VorelDngXYCoord white;
        double temperature, tint;
    };
    // By an implementation of Robertson's method apart from this one.
    for (const Known &known : {Known{{0.3457, 0.3585}, 5000.71, 9.56},
                               {{0.3127, 0.329}, 6503.71, 9.77},
                               {{0.44757, 0.40745}, 2855.76, 0.008},
                               {{0.3324, 0.3474}, 5502.34, 9.99}}) {
        const VorelDngTemperature found(known.white);
        EXPECT_NEAR(found.temperature, known.temperature, 0.01);
        EXPECT_NEAR(found.tint, known.tint, 0.006);
    }
    for (double kelvin = 1700; kelvin <= 50000; kelvin *= 1.21) {
        for (const double tint : {-50.0, -3.0, 0.0, 50.0}) {
            const VorelDngTemperature back(VorelDngTemperature(kelvin, tint).get_xy_coord());
            // The locus bends at the row whose published u stands out.
            const bool bent = 1e6 / kelvin > 300 && 1e6 / kelvin < 350;
            EXPECT_NEAR(back.temperature / kelvin, 1, bent ? 4e-5 : 6e-6);
            EXPECT_NEAR(back.tint, tint, bent ? 1e-3 : 1e-4);
        }
    }
    // Upon an isotherm, the one whose published u stands out: u 0.24702 and v 0.34655 of CIE 1960 as x, y.
    const double divisor = 0.24702 - 4 * 0.34655 + 2;
    EXPECT_NEAR(VorelDngTemperature(VorelDngXYCoord{1.5 * 0.24702 / divisor, 0.34655 / divisor}).temperature,
                1000000 / 325.0, 1e-6);
    // Bluer than infinitely hot, redder than the last row, nonsense: finite.
    for (const VorelDngXYCoord &odd : {VorelDngXYCoord{0.2, 0.2}, {0.7, 0.3}, {kNaN, 0}, {0.5, -1}}) {
        const VorelDngTemperature found(odd);
        EXPECT_TRUE(found.temperature > 0 && found.temperature <= 1e9) << odd.x;
    }
    EXPECT_NEAR(VorelDngTemperature(VorelDngXYCoord{0.2, 0.2}).temperature, 100000, 1e-6);

    const double kelvin[] = {0,    5500, 4150, 2850, 5500, 0,    0,    0,    0,    5500, 6500, 7500, 6400,
                             5050, 4150, 3525, 2925, 2850, 5500, 6500, 5500, 6500, 7500, 5000, 3200, 0};
    for (uint32_t code = 0; code < std::size(kelvin); ++code) {
        EXPECT_EQ(convertIlluminantToTemperature(code), kelvin[code]) << code;
    }
}

TEST(DngColour, Gammas) {
    struct Curve {
        const VorelDng1dFunction &curve;
        double gamma, knee, knee_value, slope;
    };
    for (const Curve &c : {Curve{VorelDngFunctionGammaEncode_1_8::GET(), 1.8, 0.0008211879055212056,
                                 0.01931085103014514, 13.064306598005322},
                           {VorelDngFunctionGammaEncode_2_2::GET(), 2.2, 0.0034800731177356986, 0.07630274598059436,
                            9.966188979782718}}) {
        EXPECT_EQ(c.curve.evaluate(0), 0);
        EXPECT_NEAR(c.curve.evaluate(c.knee), c.knee_value, 1e-12);
        const double below = c.curve.evaluate(c.knee * 0.9999);
        EXPECT_NEAR((c.curve.evaluate(c.knee) - below) / (c.knee * 0.0001), c.slope, c.slope * 2e-4);
        EXPECT_NEAR(c.curve.evaluate(0.5), std::pow(0.5, 1 / c.gamma), 1e-15);
        for (const double x : {0.0, c.knee / 3, c.knee, 0.01, 0.3, 1.0}) {
            EXPECT_NEAR(c.curve.evaluateInverse(c.curve.evaluate(x)), x, 1e-12);
        }
    }
    const VorelDng1dFunction &srgb = VorelDngFunctionGammaEncode_sRGB::GET();
    for (const double x : {0.0, 0.002, 0.0031308, 0.5}) EXPECT_NEAR(srgb.evaluateInverse(srgb.evaluate(x)), x, 1e-12);
    VorelDng1dTable whole, sampled;
    whole.initialize(srgb, false);
    sampled.initialize(srgb, true);
    std::vector<uint16_t> wide(65536);
    whole.expand16(wide.data());
    for (uint32_t i = 0; i <= 4096; ++i) {
        EXPECT_NEAR(sampled.data()[i], whole.data()[i], 1e-3);
    }
    EXPECT_EQ(whole.data()[4097], whole.data()[4096]);
    for (uint32_t i = 0; i < 65536; i += 251) EXPECT_NEAR(wide[i], srgb.evaluate(i / 65535.0) * 65535, i < 40 ? 40 : 1);
}

TEST(DngColour, SpacesAndTheirProfiles) {
    const VorelDngVector3 white = PCStoXYZ();
    const struct {
        const VorelDngColorSpace &space;
        double gamma;
        bool grey;
    } spaces[] = {{VorelDngSpace_sRGB::GET(), 0, false},         {VorelDngSpace_AdobeRGB::GET(), 2.2, false},
                  {VorelDngSpace_ColorMatch::GET(), 1.8, false}, {VorelDngSpace_ProPhoto::GET(), 1.8, false},
                  {VorelDngSpace_GrayGamma18::GET(), 1.8, true}, {VorelDngSpace_GrayGamma22::GET(), 2.2, true}};
    for (const auto &[space, gamma, grey] : spaces) {
        EXPECT_EQ(space.isMonochrome(), grey);
        VorelDngVector ones;
        ones.setIdentity(grey ? 1 : 3);
        const VorelDngVector mapped = space.toPCS() * ones, back = space.fromPCS() * mapped;
        for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(mapped[i], white[i], 1e-12);
        for (uint32_t i = 0; i < back.count(); ++i) EXPECT_NEAR(back[i], 1, 1e-12);
        uint32_t length = 0;
        const uint8_t *data = nullptr;
        ASSERT_TRUE(space.resetICCProfile(length, data));
        const auto u32 = [&](uint32_t at) {
            return uint32_t{data[at]} << 24 | uint32_t{data[at + 1]} << 16 | uint32_t{data[at + 2]} << 8 | data[at + 3];
        };
        // Every tag lies inside; the curves say the gamma.
        ASSERT_GT(length, 132u);
        EXPECT_EQ(u32(0), length);
        EXPECT_EQ(0, std::memcmp(data + 16, grey ? "GRAY" : "RGB ", 4));
        int curves = 0;
        for (uint32_t tag = 0; tag < u32(128); ++tag) {
            const uint32_t entry = 132 + 12 * tag, offset = u32(entry + 4), size = u32(entry + 8);
            ASSERT_LE(offset + uint64_t{size}, length);
            const std::string name(reinterpret_cast<const char *>(data + entry), 4);
            if (name.substr(1) == "TRC") {
                ++curves;
                EXPECT_EQ(u32(offset + 8), gamma == 0 ? 1024u : 1u);
                if (gamma != 0) EXPECT_NEAR(data[offset + 12] + data[offset + 13] / 256.0, gamma, 1 / 256.0);
            }
        }
        EXPECT_EQ(curves, grey ? 1 : 3);
    }
    EXPECT_TRUE(VorelDngSpace_fakeRGB::GET().getGammaFunction().isIdentity());
}

TEST(DngColour, SpecificationOfAWhite) {
    FixedContext context = plain_camera();
    // Below, between and above the illuminants; codes the other way round say the same.
    const VorelDngXYCoord whites[] = {VorelDngTemperature(2500, 0).get_xy_coord(),
                                      VorelDngTemperature(4000, 0).get_xy_coord(),
                                      VorelDngTemperature(8000, 0).get_xy_coord()};
    const double mixes[] = {1, (1 / 4000.0 - 1 / 6500.0) / (1 / 2850.0 - 1 / 6500.0), 0};
    for (size_t i = 0; i < 3; ++i) {
        const auto found = [&] {
            return VorelDngColorSpec(context, &context.profile).findXYZtoCamera(whites[i], nullptr, nullptr, nullptr);
        };
        expect_near(found(), mixes[i] * context.profile.color1 + (1 - mixes[i]) * context.profile.color2, 1e-6);
        const VorelDngMatrix straight = found();
        std::swap(context.profile.color1, context.profile.color2);
        std::swap(context.profile.illuminant1, context.profile.illuminant2);
        expect_near(found(), straight, 1e-12);
        std::swap(context.profile.color1, context.profile.color2);
        std::swap(context.profile.illuminant1, context.profile.illuminant2);
    }

    // Calibration counts only under its signature; analog balance always; an illuminant without a temperature leaves
    // the first matrix alone.
    context.profile.illuminant2 = 0;
    context.fixed.cameraCalibration1 = diagonal(VorelDngVector3(1.1, 1, 0.9));
    context.fixed.analogBalance = VorelDngVector3(1, 2, 1);
    for (const bool same : {true, false}) {
        context.fixed.cameraCalibrationSignature = same ? "" : "other";
        VorelDngColorSpec spec(context, &context.profile);
        const VorelDngMatrix factors = diagonal(same ? VorelDngVector3(1.1, 2, 0.9) : VorelDngVector3(1, 2, 1));
        expect_near(spec.findXYZtoCamera(whites[1], nullptr, nullptr, nullptr), factors * context.profile.color1,
                    1e-12);
        // A white's response leads back to it, and maps to the white of the PCS; with forward matrices too.
        for (const bool forward : {false, true}) {
            context.profile.forward1 = {};
            if (forward) context.profile.forward1 = VorelDngSpace_AdobeRGB::GET().toPCS();
            VorelDngColorSpec of(context, &context.profile);
            of.setWhiteXY(whites[1]);
            const VorelDngXYCoord back = of.doNeutralToXY(of.getCameraWhite());
            EXPECT_NEAR(back.x, whites[1].x, 1e-6);
            EXPECT_NEAR(back.y, whites[1].y, 1e-6);
            const VorelDngVector white = of.getCameraToPCS() * of.getCameraWhite();
            for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(white[i], PCStoXYZ()[i], 1e-9);
            VorelDngMatrix identity;
            identity.setIdentity(3);
            expect_near(of.getCameraToPCS() * of.getPCStoCamera(), identity, 1e-9);
        }
        context.profile.forward1 = {};
    }
    // A channel that does not respond is raised; no profile and one plane leave the specification empty.
    context.profile.color1 = VorelDngMatrix3x3(1, 0, 0, 0, 1, 0, 0, 0, -1);
    VorelDngColorSpec spec(context, &context.profile);
    spec.setWhiteXY(PCStoXY());
    EXPECT_EQ(spec.getCameraWhite()[2], 0.001);
    EXPECT_TRUE(VorelDngColorSpec(context, nullptr).empty());
    context.fixed.colorPlanes = 1;
    VorelDngColorSpec grey(context, &context.profile);
    EXPECT_TRUE(grey.empty());
    EXPECT_EQ(grey.doNeutralToXY(VorelDngVector3(1, 1, 1)).x, PCStoXY().x);
}

// The white of a table row of x and y; values by bytes.
TEST(DngColour, ProfilesOfAFile) {
    FixedContext context = plain_camera();
    VorelDngCameraProfile &profile = context.profile;
    EXPECT_TRUE(profile.isValid(3));
    EXPECT_FALSE(profile.isValid(4));
    profile.forward1 = VorelDngSpace_ProPhoto::GET().toPCS();
    EXPECT_TRUE(profile.isValid(3));
    profile.forward1[0][0] += 0.011;
    EXPECT_FALSE(profile.isValid(3));
    profile.forward1 = {};
    profile.reduction1 = VorelDngMatrix(2, 3);
    EXPECT_FALSE(profile.isValid(3));

    for (const bool little : {true, false}) {
        Bytes file(4, 0);
        const auto put = [&](float v) {
            uint32_t bits;
            std::memcpy(&bits, &v, sizeof(bits));
            for (int i = 0; i < 4; ++i) file.push_back(static_cast<uint8_t>(bits >> (little ? 8 * i : 24 - 8 * i)));
        };
        for (int i = 0; i < 12; ++i) put(static_cast<float>(i));
        for (int i = 0; i < 12; ++i) put(static_cast<float>(i + 10));
        VorelDngCameraProfileInfo info;
        info.littleEndian = little;
        info.hueDivisions = 2, info.satDivisions = 2, info.valDivisions = 1;
        info.hueSatDeltas1Offset = 4, info.hueSatDeltas1Count = 12;
        info.hueSatDeltas2Offset = 52, info.hueSatDeltas2Count = 12;
        info.lookHueDivisions = 2, info.lookSatDivisions = 2, info.lookValDivisions = 1;
        info.lookTableOffset = 56, info.lookTableCount = 12;  // ends behind the file
        info.toneCurveOffset = 4, info.toneCurveCount = 5;
        info.illuminant1 = 17, info.illuminant2 = 21;
        VorelDngStream stream(file.data(), static_cast<uint32_t>(file.size()));
        VorelDngCameraProfile read;
        read.parse(stream, info);
        EXPECT_TRUE(read.look.empty());
        EXPECT_EQ(read.toneCurve, (std::vector<std::pair<float, float>>{{0, 1}, {2, 3}}));
        ASSERT_FALSE(read.hueSat2.empty());
        EXPECT_EQ(read.hueSat2.data()[11], 21);
        const struct { double kelvin, last; } whites[] = {{2000, 11}, {9000, 21}, {2 / (1 / 2850.0 + 1 / 6500.0), 16}};
        for (const auto &[kelvin, last] : whites) {
            const std::unique_ptr<VorelDngHueSatMap> map(
                read.getHueSatMapForWhite(VorelDngTemperature(kelvin, 0).get_xy_coord()));
            EXPECT_NEAR(map->data()[11], last, 1e-4) << kelvin;
        }
        read.illuminant2 = 17;  // of equal temperatures the first
        std::unique_ptr<VorelDngHueSatMap> map(read.getHueSatMapForWhite(PCStoXY()));
        EXPECT_EQ(map->data()[11], 11);
        // Divisions that no pixel can be looked up in, or more data than there are.
        for (const auto &[hues, sats] : {std::pair{0u, 2u}, {2u, 1u}, {4u, 2u}, {70000u, 70000u}}) {
            info.hueDivisions = hues, info.satDivisions = sats;
            read.parse(stream, info);
            map.reset(read.getHueSatMapForWhite(PCStoXY()));
            EXPECT_EQ(map, nullptr) << hues;
        }
    }
}

}  // namespace
}  // namespace vorel::test
