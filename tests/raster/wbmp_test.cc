// The WBMP decoder against a model that walks the picture, and its limits.
#include <gtest/gtest.h>

#include <vorel/raster.h>

#include <climits>
#include <random>

#include "raster/wbmp_model.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888};
constexpr Kind kServedKinds[] = {Kind::kPath, Kind::kMemory};

WbmpPicture random_picture(std::mt19937 &random, int32_t width, int32_t height) {
    WbmpPicture picture = {width, height, {}};
    for (int32_t i = 0; i < (width + 7) / 8 * height; ++i) picture.rows.push_back(static_cast<uint8_t>(random()));
    return picture;
}

Bytes file_of(const WbmpPicture &picture) {
    return wbmp(static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height), picture.rows);
}

struct Decoded {
    int32_t result;
    uint32_t width, height;
    Bytes pixels;
};

Decoded decode(Kind kind, const Bytes &file, const WbmpTarget &target, uint32_t option, uint8_t fill = 0x5B) {
    const auto area = static_cast<size_t>(std::max(target.width, 0)) * static_cast<size_t>(std::max(target.height, 0));
    GuardBuffer output(area * static_cast<size_t>(wbmp_pixel_bytes(target.format)), fill);
    Input input(kind, file, target.format, option);
    if (!input.session()) return {0, 0, 0, output.bytes()};
    const int32_t result = VORELBRIMI_DecodeWBMP(input.session(), output.data(), target.width, target.height);
    return {result, input.session()->outWidth, input.session()->outHeight, output.bytes()};
}

void expect_as_model(const WbmpPicture &picture, const WbmpTarget &target) {
    int32_t width, height;
    const uint8_t fill = static_cast<uint8_t>(picture.width * 16 + target.height);
    const Bytes before(static_cast<size_t>(target.width * target.height * wbmp_pixel_bytes(target.format)), fill);
    const Bytes expected = model_wbmp(picture, target, before, &width, &height);
    for (const Kind kind : kServedKinds) {
        const Decoded got =
            decode(kind, file_of(picture), target, target.stretch ? uint32_t{VOREL_OPTION_FIT_STRETCH} : 0u, fill);
        ASSERT_EQ(got.result, 1);
        ASSERT_EQ(got.width, static_cast<uint32_t>(width));
        ASSERT_EQ(got.height, static_cast<uint32_t>(height));
        ASSERT_EQ(got.pixels, expected) << picture.width << " x " << picture.height << " to " << target.width << " x "
                                        << target.height << " format " << target.format << " stretch "
                                        << target.stretch;
    }
}

TEST(WbmpAgainstModel, AllSmallSizes) {
    std::mt19937 random(1);
    int cases = 0;
    for (int32_t width = 1; width <= 9; ++width) {
        for (int32_t height = 1; height <= 9; ++height) {
            const WbmpPicture picture = random_picture(random, width, height);
            for (int32_t across = 1; across <= 11; across += 1 + (width & 1)) {
                for (int32_t down = 1; down <= 11; ++down) {
                    expect_as_model(picture, {across, down, kFormats[++cases % 4], cases % 3 == 0});
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

TEST(WbmpAgainstModel, LargerSizesInEveryFormat) {
    std::mt19937 random(2);
    const struct {
        int32_t width, height, across, down;
    } cases[] = {
        {100, 50, 10, 10}, {300, 200, 100, 77}, {67, 401, 66, 400}, {401, 67, 200, 300}, {129, 3, 128, 2},
        {16, 16, 160, 90}, {17, 33, 5, 500},    {257, 255, 1, 1},   {8, 8, 7, 9},        {1000, 1, 3, 3},
    };
    for (const auto &c : cases) {
        const WbmpPicture picture = random_picture(random, c.width, c.height);
        for (const int32_t format : kFormats) {
            for (const bool stretch : {false, true}) expect_as_model(picture, {c.across, c.down, format, stretch});
        }
    }
}

TEST(WbmpPixels, TwoWhites) {
    const Bytes file = wbmp(1, 1, {0x80});
    const struct {
        int32_t format;
        uint32_t option;
        Bytes pixel;
    } cases[] = {
        {COLOR_RGB565, 0, {0xDF, 0xFF}},           {COLOR_RGB565, 0x700, {0xFF, 0xFF}},
        {COLOR_RGB888, 0, {255, 255, 255}},        {COLOR_RGB888, 0x700, {252, 252, 252}},
        {COLOR_RGBA8888, 0, {255, 255, 255, 255}}, {COLOR_BGRA8888, 0x700, {252, 252, 252, 255}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(decode(Kind::kMemory, file, {1, 1, c.format, false}, c.option).pixels, c.pixel) << c.format;
    }
    // All white stays white at any reduction.
    for (int32_t side = 1; side < 30; ++side) {
        const Decoded got = decode(Kind::kMemory, wbmp(30, 30, Bytes(120, 0xFF)), {side, side, COLOR_RGB888, false}, 0);
        EXPECT_EQ(got.pixels, Bytes(static_cast<size_t>(side * side * 3), 252)) << side;
    }
}

TEST(WbmpPixels, OneWhitePixelOfTheFourSamples) {
    const struct {
        int32_t side, x, y;
        uint8_t gray;
    } cases[] = {
        {4, 1, 1, 126}, {4, 3, 1, 0}, {4, 1, 3, 63}, {4, 3, 3, 63}, {4, 0, 0, 0},
        {2, 0, 0, 126}, {2, 1, 0, 0}, {2, 0, 1, 63}, {2, 1, 1, 63},
    };
    for (const auto &c : cases) {
        Bytes bits(static_cast<size_t>(c.side));
        bits[static_cast<size_t>(c.y)] = static_cast<uint8_t>(0x80 >> c.x);
        const Decoded got =
            decode(Kind::kMemory, wbmp(static_cast<uint32_t>(c.side), static_cast<uint32_t>(c.side), bits),
                   {1, 1, COLOR_RGB888, false}, 0);
        EXPECT_EQ(got.pixels, Bytes(3, c.gray)) << c.side << ": " << c.x << ", " << c.y;
    }
}

TEST(WbmpPlacement, SizesAndMargins) {
    const struct {
        const char *what;
        int32_t width, height, across, down;
        uint32_t option, out_width, out_height;
        int32_t left, top;
    } cases[] = {
        {"not enlarged", 8, 8, 100, 100, 0, 8, 8, 46, 46},
        {"odd margins go right and down", 2, 2, 5, 5, 0, 2, 2, 2, 2},
        {"shrunk by its width", 100, 50, 10, 10, 0, 10, 5, 0, 3},
        {"shrunk by its height", 50, 100, 10, 10, 0, 5, 10, 3, 0},
        {"stretched", 100, 50, 10, 10, 0x700, 10, 10, 0, 0},
        {"other bits beside stretching undo it", 100, 50, 10, 10, 0x1700, 10, 5, 0, 3},
        {"other fits are all alike", 100, 50, 10, 10, 0x300, 10, 5, 0, 3},
        {"nothing left of the height", 100, 1, 10, 10, 0, 0, 0, 0, 0},
        {"target without width", 8, 8, 0, 10, 0, 0, 0, 0, 0},
        {"target of negative height", 8, 8, 10, -10, 0, 0, 0, 0, 0},
    };
    for (const auto &c : cases) {
        const Bytes file = wbmp(static_cast<uint32_t>(c.width), static_cast<uint32_t>(c.height),
                                Bytes(static_cast<size_t>((c.width + 7) / 8 * c.height), 0xFF));
        for (const Kind kind : kServedKinds) {
            const Decoded got = decode(kind, file, {c.across, c.down, COLOR_RGB888, false}, c.option);
            EXPECT_EQ(got.result, 1) << c.what;
            EXPECT_EQ(got.width, c.out_width) << c.what;
            EXPECT_EQ(got.height, c.out_height) << c.what;
            int32_t left = INT_MAX, top = INT_MAX, painted = 0;
            for (int32_t i = 0; i < c.across * c.down; ++i) {
                if (got.pixels[static_cast<size_t>(i) * 3] == 0x5B) continue;
                ++painted;
                left = std::min(left, i % c.across);
                top = std::min(top, i / c.across);
            }
            EXPECT_EQ(painted, static_cast<int32_t>(c.out_width * c.out_height)) << c.what;
            if (painted) EXPECT_EQ(left, c.left) << c.what;
            if (painted) EXPECT_EQ(top, c.top) << c.what;
        }
    }
}

// docs/tolerance.md names these rows.
TEST(WbmpTolerance, RefusedHeaders) {
    const Bytes good = wbmp(9, 2, {1, 2, 3, 4});
    const auto changed = [&](size_t at, uint8_t value) {
        Bytes bytes = good;
        bytes[at] = value;
        return bytes;
    };
    const struct {
        const char *what;
        Bytes bytes;
    } cases[] = {
        {"type field 1", changed(0, 1)},
        {"top bit of the fixed header", changed(1, 0x80)},
        {"three bytes", {0, 0, 0}},
        {"a width that never ends", cat({{0, 0}, Bytes(60, 0xFF)})},
        {"a size that wraps 32 bits", cat({{0, 0, 0x90, 0x80, 0x80, 0x80, 0x01}, {1, 0}})},
        {"a size that wraps 64 bits", cat({{0, 0}, {0x82}, Bytes(9, 0x80), {0x01, 1, 0}})},
    };
    for (const auto &c : cases) {
        for (const Kind kind : kServedKinds) {
            const Decoded got = decode(kind, c.bytes, {4, 4, COLOR_RGB888, false}, 0);
            EXPECT_EQ(got.result, 0) << c.what;
            EXPECT_EQ(got.pixels, Bytes(48, 0x5B)) << c.what;
        }
    }
}

TEST(WbmpTolerance, ShortInputsAreRefusedBeforeAPixelIsWritten) {
    const Bytes whole = wbmp(9, 3, {1, 2, 3, 4, 5, 6});
    for (size_t length = 1; length < whole.size(); ++length) {
        for (const Kind kind : kServedKinds) {
            const Decoded got = decode(kind, head(whole, length), {9, 3, COLOR_RGB888, false}, 0);
            EXPECT_EQ(got.result, 0) << length;
            EXPECT_EQ(got.pixels, Bytes(81, 0x5B)) << length;
        }
    }
}

TEST(WbmpTolerance, LongHeadersAndTrailingBytesAreAccepted) {
    const Bytes bits = {0x12, 0x80, 0x34, 0};
    const Decoded plain = decode(Kind::kMemory, wbmp(9, 2, bits), {9, 2, COLOR_RGB888, false}, 0);
    for (const int groups : {2, 9, 20}) {
        const Bytes file = cat({{0, 0x7F}, wbmp_integer(9, groups), wbmp_integer(2, groups), bits, {1, 2, 3}});
        for (const Kind kind : kServedKinds) {
            EXPECT_EQ(decode(kind, file, {9, 2, COLOR_RGB888, false}, 0).pixels, plain.pixels) << groups;
        }
    }
}

// The decoder called without the parser.
TEST(WbmpTolerance, SidesThatDetectionRefuses) {
    const WbmpTarget wide = {5001, 1, COLOR_RGB888, false};
    const struct {
        const char *what;
        Bytes bytes;
        uint32_t width;
    } cases[] = {
        {"above 5000", wbmp(5001, 1, Bytes(626, 0xFF)), 5001},
        {"width 0", wbmp(0, 1, {0xFF}), 0},
        {"height cut off", {0, 0, 0xA7, 0x09}, 0},
    };
    for (const auto &c : cases) {
        for (const uint32_t option : {0u, 0x700u}) {
            for (const Kind kind : kServedKinds) {
                const Decoded got = decode(kind, c.bytes, wide, option);
                EXPECT_EQ(got.result, 1) << c.what;
                EXPECT_EQ(got.width, c.width) << c.what;
                EXPECT_EQ(got.pixels[0], c.width ? option ? 252 : 255 : 0x5B) << c.what;
            }
        }
    }
}

TEST(WbmpTolerance, AFileShorterThanItsSessionWasGivenIsBlackBelow) {
    const Bytes rows(4, 0xFF);
    TempFile file(wbmp(8, 9, rows));
    SessionGuard session(VORELBRIM_CreateDecInfo(0, file.path(), 1000, COLOR_RGB888, 0));
    Bytes out(8 * 9 * 3, 0x5B);
    EXPECT_EQ(VORELBRIMI_DecodeWBMP(session.get(), out.data(), 8, 9), 1);
    EXPECT_EQ(out, cat({Bytes(8 * 4 * 3, 255), Bytes(8 * 5 * 3, 0)}));
}

TEST(WbmpTolerance, OtherKindsAndFormatsAreRefused) {
    const Bytes file = wbmp(9, 2, {1, 2, 3, 4});
    for (const Kind kind : kAllKinds) {
        const bool served = kind == Kind::kPath || kind == Kind::kMemory;
        EXPECT_EQ(decode(kind, file, {9, 2, COLOR_RGB888, false}, 0).result, served ? 1 : 0);
        for (const int32_t format : {2, 3, 4, 5, 6, 9, 14, 15, 17, 18, 19, -1, 100}) {
            for (const int32_t side : {9, 5}) {
                const Decoded got = decode(kind, file, {side, side, format, false}, 0);
                EXPECT_EQ(got.result, 0) << format;
                EXPECT_EQ(got.pixels, Bytes(got.pixels.size(), 0x5B)) << format;
            }
        }
    }
    Input input(Kind::kMemory, file);
    EXPECT_EQ(VORELBRIMI_DecodeWBMP(nullptr, input.session(), 9, 2), 0);
    EXPECT_EQ(VORELBRIMI_DecodeWBMP(input.session(), nullptr, 9, 2), 0);
}

TEST(WbmpTolerance, EveryByteSetToFourValuesStaysInside) {
    LogCapture log;
    const Bytes file = wbmp(130, 3, Bytes(51, 0xA5));
    for (size_t at = 0; at < file.size(); ++at) {
        for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
            Bytes bytes = file;
            bytes[at] = static_cast<uint8_t>(value);
            const WbmpTarget target = {37, 5, COLOR_RGB565, false};
            const Decoded memory = decode(Kind::kMemory, bytes, target, 0),
                          path = decode(Kind::kPath, bytes, target, 0);
            EXPECT_EQ(memory.result, path.result) << at << " = " << value;
            EXPECT_EQ(memory.pixels, path.pixels) << at << " = " << value;
        }
    }
    EXPECT_TRUE(log.take().empty()) << "nothing here logs";
}

TEST(WbmpResources, AllocationFailuresAndBoundedMemory) {
    const Bytes file = wbmp(200, 100, Bytes(25 * 100, 0xA5));
    TempFile on_disk(file);
    for (const int32_t side : {300, 10}) {
        Bytes expected;
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            SessionGuard session(VORELBRIM_CreateDecInfo(0, on_disk.path(), 0, COLOR_RGB565, 0));
            if (!session) return;
            Bytes out(static_cast<size_t>(side * side * 2));
            const size_t before = allocator.live_blocks();
            const int32_t result = VORELBRIMI_DecodeWBMP(session.get(), out.data(), side, side);
            EXPECT_EQ(result, allocator.failed() ? 0 : 1);
            EXPECT_EQ(allocator.live_blocks(), before);
            EXPECT_LT(allocator.peak_bytes(), size_t{8} << 10);
            if (result) EXPECT_EQ(session->ioInfo->source, nullptr) << "the row buffer is gone from the path's place";
        });
        EXPECT_GE(allocations, side == 300 ? 4u : 5u);
    }
}

TEST(WbmpIntegers, PackingAndFolding) {
    const struct {
        uint32_t value;
        int groups;
    } cases[] = {
        {0, 1},     {1, 1},     {127, 1},       {128, 2},   {5000, 2},
        {16383, 2}, {16384, 3}, {INT32_MAX, 5}, {5000, 18}, {INT32_MAX, 12},
    };
    for (const auto &c : cases) {
        const Bytes data = cat({{0xEE}, wbmp_integer(c.value, c.groups), {0x7F}});
        int32_t cursor = 1, groups = -1;
        GuardBuffer scratch(static_cast<size_t>(c.groups), 0xEE);
        const int32_t bytes =
            BRIMI_WBMPdecodeMultibyte(data.data(), static_cast<int32_t>(data.size()), &cursor, &groups, scratch.data());
        EXPECT_EQ(groups, c.groups);
        EXPECT_EQ(bytes, c.groups);
        EXPECT_EQ(cursor, 1 + c.groups);
        EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(scratch.data(), bytes, groups), static_cast<int32_t>(c.value));
    }
}

TEST(WbmpIntegers, Ends) {
    const Bytes endless(30, 0xFF);
    uint8_t scratch[30];
    int32_t cursor = 3, groups = -1;
    EXPECT_EQ(BRIMI_WBMPdecodeMultibyte(endless.data(), 20, &cursor, &groups, scratch), 17);
    EXPECT_EQ(cursor, 20);
    EXPECT_EQ(BRIMI_WBMPdecodeMultibyte(endless.data(), 20, &cursor, &groups, scratch), 0);
    EXPECT_EQ(groups, 0);
    EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(scratch, 0, 0), 0);
    EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(endless.data(), 20, 20), INT32_MAX);
    EXPECT_EQ(BRIMI_WBMPdecodeMultibyte(nullptr, 20, &cursor, &groups, scratch), 0);
}

TEST(WbmpIntegers, Powers) {
    const struct {
        int32_t base, exponent, power;
    } cases[] = {
        {2, 0, 1},   {2, -5, 1},       {2, 10, 1024}, {3, 4, 81},
        {-2, 3, -8}, {2, 31, INT_MIN}, {2, 32, 0},    {7, INT_MAX, -1227133513},
        {0, 3, 0},   {5, 1, 5},
    };
    for (const auto &c : cases) EXPECT_EQ(BRIMI_WBMPpow(c.base, c.exponent), c.power) << c.base << "^" << c.exponent;
}

}  // namespace
}  // namespace vorel::test
