// The WBMP decoder against a model that walks the picture, over the corpus too, and its limits.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <tuple>

#include "raster/raster_model.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888, COLOR_RGBA8888, COLOR_BGRA8888};
const std::vector<Kind> kServedKinds = {Kind::kMemory, Kind::kPath};

struct WbmpPicture {
    int32_t width, height;
    Bytes rows;  // packed bits, (width + 7) / 8 bytes a row

    uint32_t white(int32_t x, int32_t y) const {
        return rows[static_cast<size_t>(y * ((width + 7) / 8) + x / 8)] >> (7 - x % 8) & 1u;
    }
};

// ---- model ----------------------------------------------------------------------------------------------------------

// White samples of each output pixel, by a walk down the source with the two sample rows of an output row, which it
// may meet at different times.
std::vector<std::vector<uint32_t>> walk(const WbmpPicture &picture, RasterSize out) {
    struct SampleRow {
        int64_t position;
        size_t row;  // the accumulator that it adds to
    };
    std::vector<std::vector<uint32_t>> sums(2, std::vector<uint32_t>(static_cast<size_t>(out.width))), rows;
    SampleRow a = {picture.height >> 2, 0}, b = {picture.height * 3 >> 2, 0};
    for (int32_t y = 0; static_cast<int32_t>(rows.size()) < out.height;) {
        const auto holds = [&](const SampleRow &row) { return row.position / out.height == y; };
        const bool has_a = holds(a), has_b = holds(b);
        if (!has_a && !has_b) {
            ++y;
            continue;
        }
        for (int32_t x = 0; x < out.width; ++x) {
            const auto [left, right] = quarter_taps(x, picture.width, out.width);
            // A row that holds the upper sample row alone counts the left sample twice.
            const uint32_t white = picture.white(left, y) + picture.white(has_b ? right : left, y);
            if (has_a) sums[a.row][static_cast<size_t>(x)] += white;
            if (has_b) sums[b.row][static_cast<size_t>(x)] += white;
        }
        if (has_b) {
            rows.push_back(sums[b.row]);
            sums[b.row].assign(sums[b.row].size(), 0);
        }
        if (has_a && has_b) std::swap(a.row, b.row);
        if (has_a != has_b) (has_a ? a : b).row ^= 1;
        if (has_a) a.position += picture.height;
        if (has_b) b.position += picture.height;
    }
    return rows;
}

// Unlike that of the others: 31 bits, no smaller than the rectangle, only the bare option.
RasterSize shown_size(const WbmpPicture &picture, const RasterTarget &target) {
    const double across = static_cast<double>(picture.width) / target.width,
                 down = static_cast<double>(picture.height) / target.height;
    if (target.options == VOREL_OPTION_FIT_STRETCH) return {target.width, target.height};
    if (across <= 1 && down <= 1) return {picture.width, picture.height};
    if (across >= down) return {target.width, target.width * picture.height / picture.width};
    return {target.height * picture.width / picture.height, target.height};
}

RasterPicture model_wbmp(const WbmpPicture &picture, const RasterTarget &target, uint8_t fill) {
    const RasterSize shown = shown_size(picture, target);
    const bool direct =
        target.options != VOREL_OPTION_FIT_STRETCH && picture.width <= target.width && picture.height <= target.height;
    std::vector<std::vector<uint32_t>> whites;
    if (!direct && shown.width > 0) whites = walk(picture, shown);
    const RasterTarget centred = {target.width, target.height, target.format};
    const auto store = [&](int32_t x, int32_t y, uint8_t *at) {
        const uint32_t gray =
            direct ? 255 * picture.white(x, y) : 63 * whites[static_cast<size_t>(y)][static_cast<size_t>(x)];
        const Bytes pixel = pixel_of({gray, gray, gray, 255}, target.format);
        std::copy(pixel.begin(), pixel.end(), at);
        if (direct && target.format == COLOR_RGB565 && gray) at[0] = 0xDF;
    };
    constexpr int32_t kRoundUp = 1;
    return laid_out(centred, shown, target_bytes(target, fill), store, kRoundUp);
}

void expect_as_model(const WbmpPicture &picture, const RasterTarget &target, const Bytes &file) {
    const auto fill = static_cast<uint8_t>(picture.width * 16 + target.height);
    const RasterPicture expected = model_wbmp(picture, target, fill);
    for (const Kind kind : kServedKinds) {
        const RasterPicture got = decode_raster(VORELBRIMI_DecodeWBMP, kind, file, target, fill);
        ASSERT_EQ(got.pixels, expected.pixels) << picture.width << " x " << picture.height << text_of(target);
        ASSERT_TRUE(got == expected) << picture.width << " x " << picture.height << text_of(target);
    }
}

// Also that odd margins go right and down, and that of the options only the bare one to stretch is looked at.
TEST(WbmpAgainstModel, AllSmallSizesAndSomeLargeOnes) {
    std::mt19937 random(1);
    const auto expect_picture = [&](int32_t width, int32_t height, const std::vector<RasterTarget> &targets) {
        const auto bytes = static_cast<size_t>((width + 7) / 8 * height);
        const WbmpPicture picture = {width, height, noise(bytes, static_cast<unsigned>(random()))};
        const Bytes file = wbmp(static_cast<uint32_t>(width), static_cast<uint32_t>(height), picture.rows);
        for (const RasterTarget &target : targets) expect_as_model(picture, target, file);
    };
    const std::tuple<int32_t, int32_t, int32_t, int32_t> large[] = {
        {100, 50, 10, 10}, {300, 200, 100, 77}, {67, 401, 66, 400}, {401, 67, 200, 300}, {129, 3, 128, 2},
        {16, 16, 160, 90}, {17, 33, 5, 500},    {257, 255, 1, 1},   {8, 8, 7, 9},        {1000, 1, 3, 3},
        {8, 8, 100, 100},  {50, 100, 10, 10},   {100, 1, 10, 10},   {2, 2, 5, 5},
    };
    std::vector<RasterTarget> targets;
    for (int32_t i = 0; i < 6 * 11; ++i)
        for (const uint32_t options : {0u, 0x700u})
            targets.push_back({1 + i % 11, 1 + i / 11 * 2, kFormats[i % 4], options});
    for (int32_t side = 0; side < 81; ++side) expect_picture(1 + side / 9, 1 + side % 9, targets);
    for (const auto &[width, height, across, down] : large) {
        targets.clear();
        for (const int32_t format : kFormats)
            for (const uint32_t options : {0u, 0x700u, 0x1700u, 0x300u})
                targets.push_back({across, down, format, options});
        expect_picture(width, height, targets);
    }
}

TEST(WbmpCorpus, DecodesAsTheModel) {
    int decoded = 0;
    const auto check = [&](const std::string &name, const Bytes &file) {
        Input input(Kind::kMemory, file);
        ImageInfo info;
        const int32_t type = VORELBRIM_Parser(input.session(), &info);
        const bool corrupt = name.rfind("corrupt-", 0) == 0;
        if (!corrupt) EXPECT_EQ(type, VOREL_IMAGE_WBMP);
        if (type == 0) return;
        const auto width = static_cast<int32_t>(info.width), height = static_cast<int32_t>(info.height);
        if (corrupt &&
            decode_raster(VORELBRIMI_DecodeWBMP, Kind::kMemory, file, {width, height, COLOR_RGB565}).result == 0)
            return;
        // The rows stand at the end, but for files with bytes behind them.
        const size_t row_bytes = static_cast<size_t>((width + 7) / 8 * height);
        size_t start = 2;
        for (int integers = 0; integers < 2; integers += !(file[start++] & 0x80)) {
        }
        const WbmpPicture picture = {width, height, tail(head(file, start + row_bytes), row_bytes)};
        expect_as_model(picture, {width, height, COLOR_RGB565}, file);
        expect_as_model(picture, {width / 3 + 1, height / 2 + 3, COLOR_RGBA8888}, file);
        ++decoded;
    };
    if (!for_each_of_corpus("wbmp", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(decoded, 0);
}

// Input that is too short is refused before a pixel is written.
TEST(WbmpTolerance, EveryInputIsDecodedWholeOrNotAtAll) {
    for (const RasterTarget &target : {RasterTarget{37, 5, COLOR_RGB565}, {300, 300, COLOR_RGB565}}) {
        Subject subject = {
            .name = "WBMP" + text_of(target),
            .file = wbmp(100, 3, Bytes(39, 0xA5)),
            .decode = [=](Kind kind, const Bytes &file) { return seen_by(VORELBRIMI_DecodeWBMP, kind, file, target); },
            .kinds = kServedKinds,
            .memory = 8 << 10,
            .decodes = 200};
        subject.on_prefix = [&](const Bytes &cut, const Seen &seen) {
            const bool whole = cut.size() == subject.file.size();
            EXPECT_EQ(seen.result, whole);
            if (!whole) EXPECT_EQ(seen.bytes, target_bytes(target));
        };
        expect_conforms(subject);
    }
}

// docs/tolerance.md names these rows. The decoder is called without the parser, and rows may have bytes behind them.
TEST(WbmpTolerance, OddHeaders) {
    const Bytes bits(626, 0xFF);
    constexpr int32_t kRefused = -1;
    const struct {
        const char *what;
        Bytes bytes;
        int32_t width;
    } cases[] = {
        {"type field 1", cat({{1, 0, 9, 1}, bits}), kRefused},
        {"top bit of the fixed header", cat({{0, 0x80, 9, 1}, bits}), kRefused},
        {"three bytes", {0, 0, 0}, kRefused},
        {"a width that never ends", cat({{0, 0}, Bytes(60, 0xFF)}), kRefused},
        {"a size that wraps 32 bits", {0, 0, 0x90, 0x80, 0x80, 0x80, 0x01, 1, 0}, kRefused},
        {"a size that wraps 64 bits", cat({{0, 0, 0x82}, Bytes(9, 0x80), {0x01, 1, 0}}), kRefused},
        {"other bits of the fixed header", cat({{0, 0x7F, 9, 1}, bits}), 9},
        {"2 bytes a size", cat({{0, 0}, wbmp_integer(9, 2), wbmp_integer(1, 2), bits}), 9},
        {"20 bytes a size", cat({{0, 0}, wbmp_integer(9, 20), wbmp_integer(1, 20), bits}), 9},
        {"above 5000", wbmp(5001, 1, bits), 5001},
        {"width 0", wbmp(0, 1, bits), 0},
        {"height cut off", {0, 0, 0xA7, 0x09}, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        for (const uint32_t option : {0u, 0x700u}) {
            for (const Kind kind : kServedKinds) {
                const RasterTarget target = {std::max(c.width, 1), 1, COLOR_RGB888, option};
                const RasterPicture got = decode_raster(VORELBRIMI_DecodeWBMP, kind, c.bytes, target);
                const uint8_t white = option ? 252 : 255;
                EXPECT_EQ(got.result, c.width != kRefused);
                if (c.width != kRefused) EXPECT_EQ(got.width, static_cast<uint32_t>(c.width));
                EXPECT_EQ(got.pixels, target_bytes(target, c.width > 0 ? white : kUntouched));
            }
        }
    }
}

TEST(WbmpTolerance, AFileShorterThanItsSessionWasGivenIsBlackBelow) {
    const Bytes rows(4, 0xFF);
    TempFile file(wbmp(8, 9, rows));
    SessionGuard session(VORELBRIM_CreateDecInfo(0, file.path(), 1000, COLOR_RGB888, 0));
    Bytes out(8 * 9 * 3, kUntouched);
    EXPECT_EQ(VORELBRIMI_DecodeWBMP(session.get(), out.data(), 8, 9), 1);
    EXPECT_EQ(out, cat({Bytes(8 * 4 * 3, 255), Bytes(8 * 5 * 3, 0)}));
    EXPECT_EQ(session->ioInfo->source, nullptr) << "the row buffer is gone from the path's place";
}

TEST(WbmpIntegers, PackingAndFolding) {
    const struct {
        uint32_t value;
        int groups;
    } cases[] = {{0, 1},     {127, 1},   {128, 2},       {5000, 2},      {16383, 2},
                 {16384, 3}, {5000, 18}, {INT32_MAX, 5}, {INT32_MAX, 12}};
    for (const auto &c : cases) {
        const Bytes data = cat({{0xEE}, wbmp_integer(c.value, c.groups), {0x7F}});
        int32_t cursor = 1, groups = -1;
        GuardBuffer scratch(static_cast<size_t>(c.groups), 0xEE);
        const int32_t bytes =
            BRIMI_WBMPdecodeMultibyte(data.data(), static_cast<int32_t>(data.size()), &cursor, &groups, scratch.data());
        EXPECT_TRUE(groups == c.groups && bytes == c.groups && cursor == 1 + c.groups) << groups << ", " << cursor;
        EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(scratch.data(), bytes, groups), static_cast<int32_t>(c.value));
    }
    const Bytes endless(30, 0xFF);
    GuardBuffer scratch(20);
    int32_t cursor = 3, groups = -1;
    for (const int32_t taken : {17, 0}) {
        EXPECT_EQ(BRIMI_WBMPdecodeMultibyte(endless.data(), 20, &cursor, &groups, scratch.data()), taken);
        EXPECT_TRUE(cursor == 20 && groups == taken) << cursor << ", " << groups;
    }
    EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(scratch.data(), 0, 0), 0);
    EXPECT_EQ(BRIMI_WBMPgetMultibyte2Int(endless.data(), 20, 20), INT32_MAX);
    EXPECT_EQ(BRIMI_WBMPdecodeMultibyte(nullptr, 20, &cursor, &groups, scratch.data()), 0);
}

TEST(WbmpIntegers, Powers) {
    const struct {
        int32_t base, exponent, power;
    } cases[] = {{2, 0, 1},        {2, -5, 1}, {2, 10, 1024}, {-2, 3, -8}, {2, 32, 0}, {7, INT_MAX, -1227133513},
                 {2, 31, INT_MIN}, {3, 4, 81}};
    for (const auto &c : cases) EXPECT_EQ(BRIMI_WBMPpow(c.base, c.exponent), c.power) << c.base << "^" << c.exponent;
}

}  // namespace
}  // namespace vorel::test
