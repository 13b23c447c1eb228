// Damage in the entropy-coded data: what the pixels hold. docs/tolerance.md names these tests.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/surgery.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 128, kHeight = 160;  // 8 x 10 MCUs of 16 x 16
constexpr int kAcross = 8;

Bytes picture(unsigned restart, int height = kHeight) {
    PictureSpec spec;
    spec.width = kWidth;
    spec.height = height;
    spec.restart_interval = restart;
    spec.noise = 60;
    return turbo_picture(spec);
}

Bytes luma(const Bytes &jpeg, int32_t *result, Kind kind = Kind::kMemory, int height = kHeight) {
    const Decoded out = decode(jpeg, {.format = COLOR_YUV444, .width = kWidth, .height = height, .kind = kind});
    *result = out.result;
    return Bytes(out.pixels.begin(), out.pixels.begin() + kWidth * height);
}

// What an MCU of the luma plane is: as in the good picture, gray, or something else.
enum class Mcu { kGood, kGray, kOther };
Mcu mcu_is(const Bytes &plane, const Bytes &good, int mcu) {
    bool same = true, gray = true;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const size_t at = static_cast<size_t>((mcu / kAcross * 16 + y) * kWidth + mcu % kAcross * 16 + x);
            if (at >= plane.size()) continue;
            same &= plane[at] == good[at];
            gray &= plane[at] == 128;
        }
    }
    return same ? Mcu::kGood : gray ? Mcu::kGray : Mcu::kOther;
}

void expect_mcus(const Bytes &plane, const Bytes &good, int from, int to, Mcu wanted, const char *what) {
    for (int mcu = from; mcu < to; ++mcu) EXPECT_EQ(mcu_is(plane, good, mcu), wanted) << what << ": MCU " << mcu;
}

size_t middle_of_scan(const Bytes &jpeg) {
    size_t at = (scan_data(jpeg) + jpeg.size()) / 2;
    while (jpeg[at] == 0xFF || jpeg[at - 1] == 0xFF) ++at;
    return at;
}

TEST(JpegTolerance, AMarkerInTheDataLeavesTheRestGray) {
    const Bytes jpeg = picture(0);
    int32_t result;
    const Bytes good = luma(jpeg, &result);
    const Bytes cut = with_inserted(jpeg, middle_of_scan(jpeg), {0xFF, 0xD9});
    const Bytes plane = luma(cut, &result);
    EXPECT_EQ(result, 1);
    int first = 0;
    while (mcu_is(plane, good, first) == Mcu::kGood) ++first;
    EXPECT_GT(first, 20);
    EXPECT_LT(first, 70);
    // The MCU in which the bits ran out went on with zero bits.
    expect_mcus(plane, good, first + 1, 80, Mcu::kGray, "behind the marker");
}

TEST(JpegTolerance, AnEndFarFromTheBottomFailsAndKeepsTheRowsAbove) {
    const Bytes jpeg = picture(0);
    int32_t result;
    const Bytes good = luma(jpeg, &result);
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream}) {
        const Bytes plane = luma(head(jpeg, middle_of_scan(jpeg)), &result, kind);
        EXPECT_EQ(result, 0);
        expect_mcus(plane, good, 0, 2 * kAcross, Mcu::kGood, "rows above the end");
        EXPECT_EQ(plane.back(), 0) << "nothing is stored below";
    }
}

TEST(JpegTolerance, AnEndInTheLast15RowsLeavesAGrayTail) {
    constexpr int kLow = 8 * 16 + 15;
    const Bytes jpeg = picture(0, kLow);
    int32_t result;
    const Bytes good = luma(jpeg, &result, Kind::kMemory, kLow);
    // Find an end inside the last iMCU row.
    size_t at = jpeg.size() - 2;
    Bytes plane;
    for (int step = 0; step < 12; ++step) {
        at -= 12;
        plane = luma(head(jpeg, at), &result, Kind::kMemory, kLow);
        ASSERT_EQ(result, 1);
    }
    expect_mcus(plane, good, 0, 8 * kAcross, Mcu::kGood, "rows above");
    EXPECT_EQ(mcu_is(plane, good, 9 * kAcross - 1), Mcu::kGray);
    // One row more below it, and the same end is a failure.
    const Bytes taller = picture(0, kLow + 1);
    luma(head(taller, taller.size() - 100), &result, Kind::kMemory, kLow + 1);
    EXPECT_EQ(result, 0);
}

TEST(JpegTolerance, LostRestartIntervalsAreGrayAndTheRestIsRight) {
    const Bytes jpeg = picture(4);
    int32_t result;
    const Bytes good = luma(jpeg, &result);
    const auto restart = [&](int number) {
        size_t at = scan_data(jpeg);
        for (int i = 0; i < number; ++i) at = find_marker(jpeg, 0xD0 + i % 8, at + (i ? 2 : 0));
        return at;  // of the marker that begins interval `number`
    };
    const struct {
        const char *what;
        Bytes jpeg;
        int gray_from, gray_to;
    } kRows[] = {
        {"one interval lost with its marker", without(jpeg, restart(5), restart(6)), 20, 24},
        {"two intervals lost", without(jpeg, restart(5), restart(7)), 20, 28},
        {"a marker repeated", with_inserted(jpeg, restart(5), {0xFF, 0xD3}), 0, 0},
        {"a marker of two before", with_inserted(jpeg, restart(6), {0xFF, 0xD3}), 0, 0},
        {"fill bytes before a restart", with_inserted(jpeg, restart(5), {0xFF, 0xFF, 0xFF}), 0, 0},
        {"junk before a restart", with_inserted(jpeg, restart(5), {1, 2, 3, 0xFF, 0, 4}), 0, 0},
    };
    for (const auto &row : kRows) {
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            const Bytes plane = luma(row.jpeg, &result, kind);
            EXPECT_EQ(result, 1) << row.what;
            expect_mcus(plane, good, 0, row.gray_from, Mcu::kGood, row.what);
            expect_mcus(plane, good, row.gray_from, row.gray_to, Mcu::kGray, row.what);
            expect_mcus(plane, good, row.gray_to, 80, Mcu::kGood, row.what);
        }
    }
}

TEST(JpegTolerance, ARestartFarOffIsTakenAsTheExpectedOne) {
    Bytes jpeg = picture(4);
    int32_t result;
    const Bytes good = luma(jpeg, &result);
    const size_t third = find_marker(jpeg, 0xD2, scan_data(jpeg));
    jpeg[third + 1] = 0xD6;
    EXPECT_TRUE(luma(jpeg, &result) == good);
    EXPECT_EQ(result, 1);
}

TEST(JpegTolerance, FillBytesInTheDataAreOneByte) {
    const Bytes jpeg = picture(0);
    int32_t result;
    const Bytes good = luma(jpeg, &result);
    const size_t stuffed = find_marker(jpeg, 0x00, scan_data(jpeg));
    ASSERT_LT(stuffed, jpeg.size());
    EXPECT_TRUE(luma(with_inserted(jpeg, stuffed, {0xFF, 0xFF}), &result) == good);
    EXPECT_EQ(result, 1);
}

TEST(JpegTolerance, AnEighthRefusesDcBeyondTwelveBits) {
    // One gray MCU row after another, each with the DC difference +2047: the third is out of range.
    Bytes jpeg = picture(0);
    PictureSpec spec;
    spec.colour = Colour::kGray;
    spec.h = spec.v = 1;
    spec.width = 8;
    spec.height = 400;
    jpeg = turbo_picture(spec);
    // The standard table: size 11 is the code 111111110, and 2047 is eleven ones; end of block is 1010.
    std::vector<bool> bits;
    for (int i = 0; i < 50; ++i) {
        for (const char *c =
                 "111111110"
                 "11111111111"
                 "1010";
             *c; ++c)
            bits.push_back(*c == '1');
    }
    Bytes data;
    for (size_t i = 0; i + 8 <= bits.size(); i += 8) {
        int byte = 0;
        for (size_t k = 0; k < 8; ++k) byte = byte * 2 + bits[i + k];
        data.push_back(static_cast<uint8_t>(byte));
        if (byte == 0xFF) data.push_back(0);
    }
    jpeg.resize(scan_data(jpeg));
    jpeg.insert(jpeg.end(), data.begin(), data.end());
    jpeg.insert(jpeg.end(), {0xFF, 0xD9});
    EXPECT_EQ(decode(jpeg, {.format = COLOR_GRAY, .width = 1, .height = 50}).result, 0);
    EXPECT_EQ(decode(jpeg, {.format = COLOR_GRAY, .width = 2, .height = 100}).result, 1) << "the others go on";
    const Decoded full = decode(jpeg, {.format = COLOR_GRAY, .width = 8, .height = 400});
    EXPECT_EQ(full.result, 1);
    EXPECT_EQ(full.pixels[8 * 100], 255) << "12 times 2047: saturated, not wrapped";
}

TEST(JpegTolerance, EveryPrefixAndEveryChangedByteReturns) {
    PictureSpec spec;
    spec.width = 34;
    spec.height = 18;
    spec.restart_interval = 2;
    const Bytes jpeg = turbo_picture(spec);
    for (size_t length = 1; length < jpeg.size(); ++length) {
        decode(head(jpeg, length), {.format = COLOR_RGBA8888, .width = 34, .height = 18});
    }
    int decoded = 0;
    for (size_t at = 0; at < jpeg.size(); ++at) {
        for (const uint8_t value : {0x00, 0x7F, 0x80, 0xFF}) {
            Bytes changed = jpeg;
            changed[at] = value;
            const Kind kind = at % 3 == 0 ? Kind::kStream : Kind::kMemory;
            decoded += decode(changed, {.format = COLOR_YUV420, .width = 20, .height = 18, .kind = kind}).result;
        }
    }
    EXPECT_GT(decoded, 0);
}

}  // namespace
}  // namespace vorel::test
