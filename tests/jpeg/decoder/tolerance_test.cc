// Damage in the entropy-coded data: what the pixels are. docs/tolerance.md names these tests.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/entropy/scan_reader.h"
#include "jpeg/decoder/surgery.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 128, kHeight = 160;  // 8 x 10 MCUs of 16 x 16
constexpr int kAcross = 8;

Bytes picture(unsigned restart, int height = kHeight) {
    return turbo_picture({.width = kWidth, .height = height, .restart_interval = restart, .noise = 60});
}

// The result of a decode and its luma plane.
std::pair<int32_t, Bytes> luma(const Bytes &jpeg, Kind kind = Kind::kMemory, int height = kHeight) {
    const Decoded out = decode(jpeg, {.format = COLOR_YUV444, .width = kWidth, .height = height, .kind = kind});
    return {out.result, head(out.pixels, static_cast<size_t>(kWidth * height))};
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
    const Bytes good = luma(jpeg).second;
    const Bytes cut = with_inserted(jpeg, middle_of_scan(jpeg), {0xFF, 0xD9});
    const auto [result, plane] = luma(cut);
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
    const Bytes good = luma(jpeg).second;
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream}) {
        const auto [result, plane] = luma(head(jpeg, middle_of_scan(jpeg)), kind);
        EXPECT_EQ(result, 0);
        expect_mcus(plane, good, 0, 2 * kAcross, Mcu::kGood, "rows above the end");
        EXPECT_EQ(plane.back(), 0) << "nothing is stored below";
    }
}

TEST(JpegTolerance, AnEndInTheLast15RowsLeavesAGrayTail) {
    constexpr int kLow = 8 * 16 + 15;
    const Bytes jpeg = picture(0, kLow);
    const Bytes good = luma(jpeg, Kind::kMemory, kLow).second;
    // Find an end inside the last iMCU row.
    size_t at = jpeg.size() - 2;
    Bytes plane;
    for (int step = 0; step < 12; ++step) {
        at -= 12;
        const auto decoded = luma(head(jpeg, at), Kind::kMemory, kLow);
        ASSERT_EQ(decoded.first, 1);
        plane = decoded.second;
    }
    expect_mcus(plane, good, 0, 8 * kAcross, Mcu::kGood, "rows above");
    EXPECT_EQ(mcu_is(plane, good, 9 * kAcross - 1), Mcu::kGray);
    // One row more below it, and the same end is a failure.
    const Bytes taller = picture(0, kLow + 1);
    EXPECT_EQ(luma(head(taller, taller.size() - 100), Kind::kMemory, kLow + 1).first, 0);
}

TEST(JpegTolerance, LostRestartIntervalsAreGrayAndTheRestIsRight) {
    const Bytes jpeg = picture(4);
    const Bytes good = luma(jpeg).second;
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
        {"a marker far off, taken as the expected one",
         changed(jpeg, find_marker(jpeg, 0xD2, scan_data(jpeg)) + 1, {0xD6}), 0, 0},
        {"fill bytes before a restart", with_inserted(jpeg, restart(5), {0xFF, 0xFF, 0xFF}), 0, 0},
        {"junk before a restart", with_inserted(jpeg, restart(5), {1, 2, 3, 0xFF, 0, 4}), 0, 0},
    };
    for (const auto &row : kRows) {
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            const auto [result, plane] = luma(row.jpeg, kind);
            EXPECT_EQ(result, 1) << row.what;
            expect_mcus(plane, good, 0, row.gray_from, Mcu::kGood, row.what);
            expect_mcus(plane, good, row.gray_from, row.gray_to, Mcu::kGray, row.what);
            expect_mcus(plane, good, row.gray_to, 80, Mcu::kGood, row.what);
        }
    }
}

TEST(JpegTolerance, FillBytesInTheDataAreOneByte) {
    const Bytes jpeg = picture(0);
    const Bytes good = luma(jpeg).second;
    const size_t stuffed = find_marker(jpeg, 0x00, scan_data(jpeg));
    ASSERT_LT(stuffed, jpeg.size());
    EXPECT_TRUE(luma(with_inserted(jpeg, stuffed, {0xFF, 0xFF})) == std::pair(1, good));
}

// Blocks in the standard tables: a DC difference of size 0, 7 or 11 and its bits, then the end of the block.
const std::string kEnd = "1010", kSame = "00" + kEnd, kUp100 = "111101100100" + kEnd, kDown100 = "111100011011" + kEnd,
                  kUp2047Unfinished = "11111111011111111111", kUp2047 = kUp2047Unfinished + kEnd;

// Entropy-coded bytes of strings of bits: stuffed, and filled up with ones.
Bytes coded(const std::string &bits) {
    Bytes data;
    for (size_t i = 0; i < bits.size(); i += 8) {
        int byte = 0;
        for (size_t k = i; k < i + 8; ++k) byte = byte * 2 + (k >= bits.size() || bits[k] == '1');
        data.push_back(static_cast<uint8_t>(byte));
        if (byte == 0xFF) data.push_back(0);
    }
    return data;
}

// A gray picture's header, for data of one's own.
Bytes gray_header(int width, int height, unsigned restart) {
    Bytes jpeg = turbo_picture(
        {.width = width, .height = height, .colour = Colour::kGray, .h = 1, .v = 1, .restart_interval = restart});
    jpeg.resize(scan_data(jpeg));
    return jpeg;
}

TEST(JpegTolerance, AnEighthRefusesDcBeyondTwelveBits) {
    // One gray MCU row after another, each with the DC difference +2047: the third is out of range.
    std::string bits;
    for (int i = 0; i < 50; ++i) bits += kUp2047;
    const Bytes jpeg = cat({gray_header(8, 400, 0), coded(bits), {0xFF, 0xD9}});
    EXPECT_EQ(decode(jpeg, {.format = COLOR_GRAY, .width = 1, .height = 50}).result, 0);
    EXPECT_EQ(decode(jpeg, {.format = COLOR_GRAY, .width = 2, .height = 100}).result, 1) << "the others go on";
    const Decoded full = decode(jpeg, {.format = COLOR_GRAY, .width = 8, .height = 400});
    EXPECT_EQ(full.result, 1);
    EXPECT_EQ(full.pixels[8 * 100], 255) << "12 times 2047: saturated, not wrapped";
}

TEST(JpegTolerance, ABadDcNearTheBottomOfAnEighthIsGrayUpToTheNextRestart) {
    // 64 x 16 blocks, a row an interval, each with one bright block; row 3 leaves the range at column 11.
    constexpr int kBlocks = 64, kRows = 16, kBadRow = 3, kBadColumn = 11;
    const auto file = [&](bool damaged, bool cut) {
        Bytes jpeg = gray_header(8 * kBlocks, 8 * kRows, kBlocks);
        for (int row = 0; row < kRows; ++row) {
            std::string bits;
            for (int x = 0; x < kBlocks; ++x) {
                const bool bad = damaged && row == kBadRow && (x == kBadColumn - 1 || x == kBadColumn);
                bits += bad                ? (cut && x == kBadColumn ? kUp2047Unfinished : kUp2047)
                        : x == 2 * row     ? kUp100
                        : x == 2 * row + 1 ? kDown100
                                           : kSame;
                if (bad && cut && x == kBadColumn) break;
            }
            jpeg = cat({jpeg, coded(bits), {0xFF, static_cast<uint8_t>(row + 1 < kRows ? 0xD0 + row % 8 : 0xD9)}});
        }
        return jpeg;
    };
    const DecodeSpec wanted{.format = COLOR_GRAY, .width = kBlocks, .height = kRows};
    const Bytes good = decode(file(false, false), wanted).pixels;
    // Also where the data of the bad block end before the block does.
    for (const bool cut : {false, true}) {
        for (const bool fast : {true, false}) {
            allow_fast_path(fast);
            const Decoded ours = decode(file(true, cut), wanted);
            allow_fast_path(true);
            EXPECT_EQ(ours.result, 1);
            Bytes expected = good;
            expected[kBadRow * kBlocks + kBadColumn - 1] = 255;
            for (int x = kBadColumn; x < kBlocks; ++x) expected[static_cast<size_t>(kBadRow * kBlocks + x)] = 128;
            EXPECT_TRUE(ours.pixels == expected) << "cut " << cut << " fast " << fast;
        }
    }
}

// The read callback never says that it is the end.
TEST(JpegTolerance, AnEndlessStreamEndsAtThe31stBit) {
    // No marker comes, so the search for the next restart reads on.
    StreamSource source(gray_header(8 * 64, 8 * 64, 1));
    const VorelReadFn endless = [](void *context, void *destination, int32_t count) {
        std::fill_n(static_cast<uint8_t *>(destination), count, uint8_t{0});
        StreamSource::read(context, destination, count);
        return count;
    };
    const SessionGuard session(
        VORELBRIM_CreateDecInfoWithStream(&source, INT32_MAX, endless, StreamSource::skip, nullptr, COLOR_GRAY, 0));
    ASSERT_TRUE(session);
    StreamCursor cursor(session->ioInfo);
    cursor.stream()->totalRead = INT32_MAX - 100 * 16384;  // most of it is behind us already
    Bytes out(64 * 64);
    FrameRequest request = {0, 0, out.data(), 64, 64};
    EXPECT_EQ(BRIMJ_DecodeImage(session.get(), cursor.stream(), &request), 201);
}

}  // namespace
}  // namespace vorel::test
