// Colours: adaptation and temperatures by closed models, spaces, camera profiles, cameras under a white.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <bit>
#include <cmath>
#include <cstring>

#include "dng/colour/color_space.h"
#include "dng/colour/color_spec.h"
#include "dng/colour/gamma.h"
#include "dng/colour/temperature.h"
#include "dng/colour/white_map.h"
#include "dng/support/plain_context.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(DngColour, ChromaticitiesAndAdaptation) {
    const VorelDngXYCoord black = XYZtoXY({0, 0, 0}), red = {0.735, 0.265};
    EXPECT_TRUE(black.x == 0.3457 && black.y == 0.3585);
    for (const VorelDngXYCoord &odd : {VorelDngXYCoord{-1, 0}, {2, 2}, {NAN, NAN}, {0.3, 0.7}, {1e300, -1e300}}) {
        const VorelDngVector3 xyz = XYtoXYZ(odd);
        EXPECT_TRUE(xyz.minEntry() > 0 && xyz.maxEntry() < 1e7) << odd.x;
    }
    // Two of three responses to a red are next to nothing: their ratios are at a limit. The trace is the sum of all.
    const VorelDngMatrix to_red = MapWhiteMatrix(PCStoXY(), red), from_red = MapWhiteMatrix(red, PCStoXY());
    EXPECT_NEAR(to_red[0][0] + to_red[1][1] + to_red[2][2], 2.759054 + 0.1 + 0.1, 1e-4);
    EXPECT_NEAR(from_red[0][0] + from_red[1][1] + from_red[2][2], 1 / 2.759054 + 10 + 10, 1e-4);
}

TEST(DngColour, Temperatures) {
    // Illuminant A by an implementation of Robertson's method apart from this one.
    const VorelDngTemperature a(VorelDngXYCoord{0.44757, 0.40745});
    EXPECT_NEAR(a.temperature, 2855.76, 0.01);
    EXPECT_NEAR(a.tint, 0.008, 0.006);
    for (double kelvin = 1700; kelvin <= 50000; kelvin *= 1.21) {
        for (const double tint : {-50.0, 0.0, 50.0}) {
            const VorelDngTemperature back(VorelDngTemperature(kelvin, tint).get_xy_coord());
            // The locus bends at the row whose published u stands out.
            const bool bent = kelvin < 1e6 / 300 && kelvin > 1e6 / 350;
            EXPECT_NEAR(back.temperature / kelvin, 1, bent ? 4e-5 : 6e-6);
            EXPECT_NEAR(back.tint, tint, bent ? 1e-3 : 1e-4);
        }
    }
    // Upon that row: its u and v of CIE 1960 as x, y. Then bluer than infinitely hot.
    const double divisor = 0.24702 - 4 * 0.34655 + 2;
    const VorelDngXYCoord on_row = {1.5 * 0.24702 / divisor, 0.34655 / divisor};
    EXPECT_NEAR(VorelDngTemperature(on_row).temperature, 1000000 / 325.0, 1e-6);
    EXPECT_NEAR(VorelDngTemperature(VorelDngXYCoord{0.2, 0.2}).temperature, 100000, 1e-6);
    EXPECT_NEAR(VorelDngTemperature(VorelDngXYCoord{0.7, 0.3}).temperature, 1000000 / 600.0, 1e-6);
    EXPECT_TRUE(std::isfinite(VorelDngTemperature(VorelDngXYCoord{NAN, 0}).temperature));
    const uint32_t codes[] = {0, 1, 4, 5, 12, 15, 17, 24, 25};
    const double temperatures[] = {0, 5500, 5500, 0, 6400, 3525, 2850, 3200, 0};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(convertIlluminantToTemperature(codes[i]), temperatures[i]) << i;
}

TEST(DngColour, Gammas) {
    const std::tuple<const VorelDng1dFunction &, double, double, double, double> powers[] = {
        {VorelDngFunctionGammaEncode_1_8::GET(), 1.8, 0.0008211879055212056, 0.01931085103014514, 13.0643066},
        {VorelDngFunctionGammaEncode_2_2::GET(), 2.2, 0.0034800731177356986, 0.07630274598059436, 9.96618898}};
    for (const auto &[curve, gamma, knee, knee_value, slope] : powers) {
        EXPECT_NEAR(curve.evaluate(1e-9), 32e-9, 1e-13);
        EXPECT_NEAR(curve.evaluate(knee), knee_value, 1e-12);
        EXPECT_NEAR((curve.evaluate(knee) - curve.evaluate(knee * 0.9999)) / (knee * 0.0001), slope, slope * 2e-4);
        EXPECT_NEAR(curve.evaluate(0.5), std::pow(0.5, 1 / gamma), 1e-15);
        for (const double x : {0.0, knee / 3, 0.3}) EXPECT_NEAR(curve.evaluateInverse(curve.evaluate(x)), x, 1e-12);
    }
    const VorelDng1dFunction &srgb = VorelDngFunctionGammaEncode_sRGB::GET();
    for (const double x : {0.0, 0.002, 0.0031308, 0.5}) EXPECT_NEAR(srgb.evaluateInverse(srgb.evaluate(x)), x, 1e-12);
    VorelDng1dTable whole, sampled;
    whole.initialize(srgb, false), sampled.initialize(srgb, true);
    for (uint32_t i = 0; i <= 4096; ++i) EXPECT_NEAR(sampled.data()[i], whole.data()[i], 1e-3);
    std::vector<uint16_t> wide(65536);
    whole.expand16(wide.data());
    for (uint32_t i = 526; i < 65536; i += 251) EXPECT_NEAR(wide[i], srgb.evaluate(i / 65535.0) * 65535, 0.6) << i;
}

TEST(DngColour, SpacesAndTheirProfiles) {
    const std::pair<const VorelDngColorSpace &, double> spaces[] = {
        {VorelDngSpace_sRGB::GET(), 0},          {VorelDngSpace_AdobeRGB::GET(), 2.2},
        {VorelDngSpace_ColorMatch::GET(), 1.8},  {VorelDngSpace_ProPhoto::GET(), 1.8},
        {VorelDngSpace_GrayGamma18::GET(), 1.8}, {VorelDngSpace_GrayGamma22::GET(), 2.2}};
    for (const auto &[space, gamma] : spaces) {
        const bool grey = space.isMonochrome();
        const VorelDngVector ones = space.fromPCS() * PCStoXYZ(), white = space.toPCS() * ones;
        for (uint32_t i = 0; i < ones.count(); ++i) EXPECT_NEAR(ones[i], 1, 1e-12);
        for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(white[i], PCStoXYZ()[i], 1e-12);
        uint32_t length = 0;
        const uint8_t *data = nullptr;
        ASSERT_TRUE(space.resetICCProfile(length, data));
        const auto u32 = [&](uint32_t at) {
            return uint32_t{data[at]} << 24 | uint32_t{data[at + 1]} << 16 | uint32_t{data[at + 2]} << 8 | data[at + 3];
        };
        // Every tag lies inside; curves say the gamma.
        EXPECT_EQ(u32(0), length);
        for (uint32_t tag = 0; tag < u32(128); ++tag) {
            const uint32_t offset = u32(132 + 12 * tag + 4);
            ASSERT_LE(offset + uint64_t{u32(132 + 12 * tag + 8)}, length);
            const bool curve = std::memcmp(data + 132 + 12 * tag + 1, "TRC", 3) == 0;
            EXPECT_EQ(curve, tag >= (grey ? 3 : 6));
            if (curve && gamma != 0) EXPECT_NEAR(u32(offset + 12) / 0x1p24, gamma, 1 / 256.0);
        }
    }
}

TEST(DngColour, CameraUnderAWhite) {
    PlainContext context = plain_camera();
    VorelDngCameraProfile &profile = context.profile;
    VorelDngMatrix forward, forwards = VorelDngSpace_AdobeRGB::GET().toPCS();
    const auto found = [&](const VorelDngXYCoord &white) {
        return VorelDngColorSpec(context, &profile).findXYZtoCamera(white, &forward, nullptr, nullptr);
    };
    // Below, between and above the illuminants; codes the other way round say the same.
    const double between = (1 / 4000.0 - 1 / 6500.0) / (1 / 2850.0 - 1 / 6500.0);
    for (const auto &[kelvin, mix] : {std::pair{2500.0, 1.0}, {4000.0, between}, {8000.0, 0.0}}) {
        const VorelDngXYCoord white = VorelDngTemperature(kelvin, 0).get_xy_coord();
        const VorelDngMatrix expected = mix * profile.color1 + (1 - mix) * profile.color2;
        for (int order = 0; order < 2; ++order) {
            expect_near(found(white), expected, 1e-6);
            std::swap(profile.color1, profile.color2), std::swap(profile.illuminant1, profile.illuminant2);
        }
    }
    // An illuminant without a temperature leaves the first matrices alone, and none where there is no first.
    // Calibration counts only under its signature, analog balance always.
    const VorelDngXYCoord white = VorelDngTemperature(4000, 0).get_xy_coord();
    profile.illuminant2 = 0;
    profile.forward2 = forwards;
    expect_near(found(white), profile.color1, 1e-12);
    EXPECT_TRUE(forward.empty());
    context.develop_values.cameraCalibration1 = diagonal(VorelDngVector3(1.1, 1, 0.9));
    context.develop_values.analogBalance = VorelDngVector3(1, 2, 1);
    for (const bool same : {true, false}) {
        context.develop_values.cameraCalibrationSignature = same ? "" : "other";
        const VorelDngMatrix factors = diagonal(same ? VorelDngVector3(1.1, 2, 0.9) : VorelDngVector3(1, 2, 1));
        expect_near(found(white), factors * profile.color1, 1e-12);
        // A white's response leads back to it, and maps to the white of the PCS; with forward matrices too.
        for (const VorelDngMatrix &first : {VorelDngMatrix(), forwards}) {
            profile.forward1 = first;
            VorelDngColorSpec of(context, &profile);
            of.setWhiteXY(white);
            const VorelDngXYCoord back = of.doNeutralToXY(of.getCameraWhite());
            EXPECT_NEAR(std::hypot(back.x - white.x, back.y - white.y), 0, 1e-6);
            const VorelDngVector mapped = of.getCameraToPCS() * of.getCameraWhite();
            for (uint32_t i = 0; i < 3; ++i) EXPECT_NEAR(mapped[i], PCStoXYZ()[i], 1e-9);
            expect_near(of.getCameraToPCS() * of.getPCStoCamera(), diagonal(VorelDngVector3(1, 1, 1)), 1e-9);
        }
    }
    // A channel that does not respond is raised; without a profile, and of one plane, there are no matrices.
    profile.color1 = VorelDngMatrix3x3(1, 0, 0, 0, 1, 0, 0, 0, -1);
    VorelDngColorSpec spec(context, &profile);
    spec.setWhiteXY(PCStoXY());
    EXPECT_EQ(spec.getCameraWhite()[2], 0.001);
    EXPECT_TRUE(VorelDngColorSpec(context, nullptr).empty());
    context.develop_values.colorPlanes = 1;
    EXPECT_EQ(VorelDngColorSpec(context, &profile).doNeutralToXY(VorelDngVector3(1, 1, 1)).x, PCStoXY().x);
}

TEST(DngColour, ProfilesOfAFile) {
    PlainContext context = plain_camera();
    VorelDngCameraProfile &profile = context.profile;
    EXPECT_TRUE(profile.isValid(3) && !profile.isValid(4));
    profile.forward1 = VorelDngSpace_ProPhoto::GET().toPCS();
    EXPECT_TRUE(profile.isValid(3));
    profile.forward1[0][0] += 0.011;
    EXPECT_FALSE(profile.isValid(3));
    profile.forward1 = {}, profile.reduction1 = VorelDngMatrix(2, 3);
    EXPECT_FALSE(profile.isValid(3));

    Bytes file(4, 0);
    for (int i = 0; i < 24; ++i)
        file = cat({file, little_32(std::bit_cast<uint32_t>(static_cast<float>(i < 12 ? i : i - 2)))});
    VorelDngCameraProfileInfo info;
    info.littleEndian = true;
    info.hueDivisions = info.satDivisions = info.lookHueDivisions = info.lookSatDivisions = 2;
    info.valDivisions = info.lookValDivisions = 1, info.illuminant1 = 17, info.illuminant2 = 21;
    info.hueSatDeltas1Offset = info.toneCurveOffset = 4, info.hueSatDeltas2Offset = 52;
    info.lookTableOffset = 56;  // ends behind the file
    info.hueSatDeltas1Count = info.hueSatDeltas2Count = info.lookTableCount = 12, info.toneCurveCount = 5;
    VorelDngStream stream(file.data(), static_cast<uint32_t>(file.size()));
    VorelDngCameraProfile read;
    read.parse(stream, info);
    EXPECT_TRUE(read.look.empty());
    EXPECT_EQ(read.toneCurve, (std::vector<std::pair<float, float>>{{0, 1}, {2, 3}}));
    const auto last_for = [&](double kelvin) {
        const VorelDngXYCoord white = VorelDngTemperature(kelvin, 0).get_xy_coord();
        const std::unique_ptr<VorelDngHueSatMap> map(read.getHueSatMapForWhite(white));
        return map ? map->data()[11] : -1;
    };
    EXPECT_TRUE(last_for(2000) == 11 && last_for(9000) == 21);
    EXPECT_NEAR(last_for(2 / (1 / 2850.0 + 1 / 6500.0)), 16, 1e-4);
    read.illuminant2 = 17;  // of equal temperatures the first
    EXPECT_EQ(last_for(9000), 11);
    // Divisions that no pixel can be looked up in, or more data than there are.
    for (const auto &[hues, sats] : {std::pair{0u, 2u}, {2u, 1u}, {4u, 2u}, {70000u, 70000u}}) {
        info.hueDivisions = hues, info.satDivisions = sats;
        read.parse(stream, info);
        EXPECT_EQ(last_for(5000), -1) << hues;
    }
}

}  // namespace
}  // namespace vorel::test
