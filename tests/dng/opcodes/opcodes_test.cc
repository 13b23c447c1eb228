// Opcodes against direct double models; a region is the cut of the whole.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "dng/opcodes/bad_pixels.h"
#include "dng/opcodes/lists.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

constexpr int32_t kRows = 30, kColumns = 40;

// One plane of fractions, or of as many 16-bit words, by a function of row, column and plane.
using Surface = std::function<double(int32_t row, int32_t column, uint32_t plane)>;
std::unique_ptr<VorelDngImage> image_of(uint32_t planes, uint32_t type, const Surface &surface) {
    auto image = std::make_unique<VorelDngImage>(DngRect{0, 0, kRows, kColumns}, planes, type);
    for (int32_t row = 0; row < kRows; ++row)
        for (int32_t column = 0; column < kColumns; ++column)
            for (uint32_t plane = 0; plane < planes; ++plane) {
                const double value = surface(row, column, plane);
                if (type == kPixelFloat) *image->at<float>(row, column, plane) = static_cast<float>(value);
                if (type == kPixelShort)
                    *image->at<uint16_t>(row, column, plane) = static_cast<uint16_t>(value * 65535 + 0.5);
            }
    return image;
}
double noise_at(int32_t row, int32_t column, uint32_t plane) {
    return std::fmod(std::sin(row * 12.9 + column * 78.2 + plane * 3.7) * 43758.5 + 43759, 1);
}

// The list on a part of the image gives the part of what it gives on the whole, but for a border.
void expect_cut(const Bytes &list, const VorelDngImage &before, const VorelDngImage &after, int32_t border) {
    for (const DngRect &rect : {DngRect{6, 5, 30, 33}, {0, 0, 19, 40}, {11, 13, 24, 27}}) {
        PlainContext context;
        context.frame = {{rect.top, rect.left}, {kRows, kColumns}, false};
        const auto part = cut(before, rect);
        apply(list, *part, context);
        part->doTrim({border, border, rect.size().v - border, rect.size().h - border});
        const auto expected =
            cut(after, {rect.top + border, rect.left + border, rect.bottom - border, rect.right - border});
        EXPECT_TRUE(samples_of(*part) == samples_of(*expected)) << rect.top << ", " << rect.left;
    }
}

// Rows 3, 5, ... 21, columns 4, 7, ... 34 of the second plane; `whole` is all samples.
Body area() { return Body().u32({3, 4, 22, 36, 1, 1, 2, 3}); }
Body whole() { return Body().u32({0, 0, kRows, kColumns, 0, 99, 1, 1}); }
bool in_area(int32_t row, int32_t column, uint32_t plane) {
    return row >= 3 && row < 22 && column >= 4 && column < 36 && plane == 1 && (row - 3) % 2 == 0 &&
           (column - 4) % 3 == 0;
}

TEST(DngOpcodes, SamplesByThemselves) {
    const auto ramp = [](std::initializer_list<float> numbers, size_t i) {
        return i < numbers.size() ? double{numbers.begin()[i]} : 0;
    };
    const std::initializer_list<float> rows = {0.5F, -0.25F, 0.125F, 2, -2, 0.75F, 0, 0.1F, 0.2F, 0.3F};
    const std::initializer_list<float> few = {0.5F, -0.25F, 0.125F};
    // A map of 3 by 4 points, one plane; the last point of each row and column is held, and the first.
    const auto map_gain = [](int32_t row, int32_t column) {
        const auto held = [](double at, int32_t last) { return at > 0 ? std::min<double>(at, last) : 0; };
        const double v = held((row / double{kRows} - 0.1) / 0.3, 2),
                     h = held((column / double{kColumns} - 0.2) / 0.2, 3);
        const auto point = [](double i, double j) { return 0.5 + 0.25 * std::min(i, 2.0) + 0.125 * std::min(j, 3.0); };
        const double i = std::floor(v), j = std::floor(h), fv = v - i, fh = h - j;
        return (1 - fv) * ((1 - fh) * point(i, j) + fh * point(i, j + 1)) +
               fv * ((1 - fh) * point(i + 1, j) + fh * point(i + 1, j + 1));
    };
    const Body points = Body()
                            .u32({3, 4})
                            .doubles({0.3, 0.2, 0.1, 0.2})
                            .u32({1})
                            .floats({0.5F, 0.625F, 0.75F, 0.875F, 0.75F, 0.875F, 1, 1.125F, 1, 1.125F, 1.25F, 1.375F});
    const Body two_planes = Body().u32({1, 1}).doubles({1, 1, 0, 0}).u32({2}).floats({0.5F, 2});
    const struct {
        const char *what;
        uint32_t id;
        Body body;
        std::function<double(int32_t, int32_t, uint32_t, double)> model;
    } cases[] = {
        {"table", 7, area().u32({3}).u16({7, 8, 40000}),
         [](int32_t, int32_t, uint32_t, double x) {
             return (x < 0.5 / 65535 ? 7 : x < 1.5 / 65535 ? 8 : 40000) / 65535.0;
         }},
        {"polynomial", 8, area().u32({3}).doubles({0.125, -0.5, 2, 0.25}),
         [](int32_t, int32_t, uint32_t, double x) { return 0.125 - 0.5 * x + 2 * x * x + 0.25 * x * x * x; }},
        {"gains", 9, Body{cat({area().bytes, points.bytes})},
         [&](int32_t row, int32_t column, uint32_t, double x) { return x * map_gain(row, column); }},
        {"one gain", 9, Body{cat({whole().bytes, two_planes.bytes})},
         [](int32_t, int32_t, uint32_t plane, double x) { return x * (plane ? 2 : 0.5); }},
        {"rows +", 10, area().u32({10}).floats(rows),
         [&](int32_t row, int32_t, uint32_t, double x) { return x + ramp(rows, static_cast<size_t>(row - 3) / 2); }},
        {"columns +", 11, area().u32({3}).floats(few),
         [&](int32_t, int32_t column, uint32_t, double x) {
             return x + ramp(few, static_cast<size_t>(column - 4) / 3);
         }},
        {"rows *", 12, area().u32({10}).floats(rows),
         [&](int32_t row, int32_t, uint32_t, double x) { return x * ramp(rows, static_cast<size_t>(row - 3) / 2); }},
        {"columns *", 13, area().u32({3}).floats(few),
         [&](int32_t, int32_t column, uint32_t, double x) {
             const size_t i = static_cast<size_t>(column - 4) / 3;
             return i < few.size() ? x * ramp(few, i) : x;
         }},
        {"vignette", 3, Body().doubles({0.5, -0.25, 0.125, 0.0625, 0.03125, 0.25, 0.5}),
         [](int32_t row, int32_t column, uint32_t, double x) {
             const double dx = column - 10, dy = row - 15, r2 = (dx * dx + dy * dy) / (30 * 30 + 15 * 15);
             return x * (1 + 0.5 * r2 - 0.25 * std::pow(r2, 2) + 0.125 * std::pow(r2, 3) + 0.0625 * std::pow(r2, 4) +
                         0.03125 * std::pow(r2, 5));
         }},
    };
    for (const auto &row : cases) {
        for (const uint32_t type : {kPixelShort, kPixelFloat}) {
            const auto before = image_of(2, type, noise_at), after = image_of(2, type, noise_at);
            PlainContext context;
            const Bytes list = list_of({opcode(row.id, row.body)});
            ASSERT_EQ(apply(list, *after, context), 1U);
            const bool everywhere = row.id == 3 || std::string(row.what) == "one gain";
            const double range = type == kPixelShort ? 65535 : 1;
            const std::vector<double> was = samples_of(*before), is = samples_of(*after);
            for (size_t i = 0; i < was.size(); ++i) {
                const int32_t v = static_cast<int32_t>(i) / 2 / kColumns, h = static_cast<int32_t>(i) / 2 % kColumns;
                const bool changes = everywhere || in_area(v, h, i % 2);
                // Tables are of words.
                const double expected = changes && (row.id != 7 || type == kPixelShort)
                                            ? std::clamp(row.model(v, h, i % 2, was[i] / range), 0.0, 1.0) * range
                                            : was[i];
                ASSERT_NEAR(is[i], expected, changes ? range * 1e-6 + (type == kPixelShort ? 0.51 : 0) : 0)
                    << row.what << " at " << v << ", " << h << ", " << i % 2;
            }
            expect_cut(list, *before, *after, 0);
        }
    }
    // Areas that are looked up in a table have the values of those that are not.
    std::vector<uint16_t> all(70000), one(70000);
    for (uint32_t i = 0; i < 70000; ++i) all[i] = one[i] = static_cast<uint16_t>(i * 7);
    const double coefficients[] = {0.01, 0.3, NAN, 0.4, 0.3};
    for (const uint32_t degree : {1U, 4U}) {
        doMapPoly16(all.data(), 7, 100, 100, 10000, 100, 1, coefficients, degree);
        for (uint16_t &sample : one) doMapPoly16(&sample, 1, 1, 1, 0, 0, 0, coefficients, degree);
        EXPECT_EQ(all, one);
    }
}

// A mosaic whose colours are surfaces of their own, which pairs across a defect reproduce.
TEST(DngOpcodes, BadPixels) {
    for (const uint32_t phase : {0U, 1U, 2U, 3U, 4U}) {
        const auto colour = [&](int32_t row, int32_t column) {
            return phase > 3 ? 0 : ((row + (phase >> 1)) % 2 * 2 + (column + phase) % 2 + 1) / 2 % 3;
        };
        const auto surface = [&](int32_t row, int32_t column, uint32_t) {
            return (10000.0 + 15000 * static_cast<double>(colour(row, column)) + 60 * row + 40 * column) / 65535;
        };
        // Points: one alone, corners, two neighbours, one twice, one outside; a row, a column, squares of 3 and 5.
        const Bytes list = list_of({opcode(5, Body()
                                                  .u32({phase, 8, 4})
                                                  .u32({20, 9, 0, 0, 29, 39, 5, 30, 5, 31, 6, 30, 20, 9, 400, 9})
                                                  .u32({24, 11, 25, 29})
                                                  .u32({2, 17, 17, 18})
                                                  .u32({9, 8, 12, 11})
                                                  .u32({9, 22, 14, 27}))});
        const auto spoilt = image_of(1, kPixelShort, surface), good = image_of(1, kPixelShort, surface);
        const auto bad = [](int32_t row, int32_t column) {
            return (row == 20 && column == 9) || (row == 0 && column == 0) || (row == 29 && column == 39) ||
                   (row == 5 && (column == 30 || column == 31)) || (row == 6 && column == 30) ||
                   (row == 24 && column >= 11 && column < 29) || (row >= 2 && row < 17 && column == 17) ||
                   (row >= 9 && row < 12 && column >= 8 && column < 11) ||
                   (row >= 9 && row < 14 && column >= 22 && column < 27);
        };
        for (int32_t row = 0; row < kRows; ++row)
            for (int32_t column = 0; column < kColumns; ++column)
                if (bad(row, column)) *spoilt->at<uint16_t>(row, column) = 0;
        // The same by the value that all of them have.
        for (const Bytes &fix : {list, list_of({opcode(4, Body().u32({0, phase}))})}) {
            const auto fixed = cut(*spoilt, spoilt->getBounds());
            PlainContext context;
            apply(fix, *fixed, context);
            for (int32_t row = 0; row < kRows; ++row) {
                for (int32_t column = 0; column < kColumns; ++column) {
                    // From one side only at a corner, and less than five samples away within squares.
                    const bool square =
                        row >= 9 && row < 14 && ((column >= 8 && column < 11) || (column >= 22 && column < 27));
                    const bool corner = row % 29 == 0 && column % 39 == 0;
                    ASSERT_NEAR(*fixed->at<uint16_t>(row, column), *good->at<uint16_t>(row, column),
                                !bad(row, column)  ? 0
                                : square || corner ? 220
                                                   : 1)
                        << phase << " " << row << ", " << column;
                }
            }
            expect_cut(fix, *spoilt, *fixed, 4);
        }
    }
    VorelDngBadPixelList list;
    for (const DngPoint &point : {DngPoint{9, 9}, {4, 7}, {4, 4}, {20, 20}}) list.addPoint(point);
    list.addRect({12, 8, 13, 12});
    list.sort();
    EXPECT_TRUE(list.isPointIsolated(0, 2));
    EXPECT_FALSE(list.isPointIsolated(1, 3));
    EXPECT_TRUE(list.isPointIsolated(2, 2));
    EXPECT_FALSE(list.isPointIsolated(2, 3)) << "the rectangle";
    EXPECT_TRUE(list.isRectIsolated(0, 2));
    EXPECT_FALSE(list.isRectIsolated(0, 3));
    EXPECT_TRUE(list.isPointValid({4, 4}, {0, 0, 30, 30}, 0));
    EXPECT_FALSE(list.isPointValid({4, 4}, {0, 0, 30, 30}, 1));
    EXPECT_FALSE(list.isPointValid({12, 11}, {0, 0, 30, 30}, 0));
    EXPECT_FALSE(list.isPointValid({3, 30}, {0, 0, 30, 30}, 0));
}

// Cubic convolution reproduces a plane: the value at a pixel tells where it was taken from.
TEST(DngOpcodes, Warps) {
    const auto surface = [](int32_t row, int32_t column, uint32_t plane) {
        return 0.1 + 0.1 * plane + 0.01 * row + 0.008 * column;
    };
    const double k[3][6] = {
        {0.9, 0.05, -0.02, 0.01, 0.01, -0.02}, {0.95, 0, 0, 0, 0, 0}, {1, -0.1, 0.02, -0.01, 0, 0.01}};
    for (const bool fisheye : {false, true}) {
        Body body = Body().u32({3});
        for (const auto &plane : k) {
            body.doubles({plane[0], plane[1], plane[2], plane[3]});
            if (!fisheye) body.doubles({plane[4], plane[5]});
        }
        const Bytes list = list_of({opcode(fisheye ? 2 : 1, body.doubles({0.4, 0.6}))});
        for (const uint32_t type : {kPixelShort, kPixelFloat}) {
            const auto before = image_of(3, type, surface), after = image_of(3, type, surface);
            PlainContext context;
            apply(list, *after, context);
            const double cx = 0.4 * 39, cy = 0.6 * 29, m = std::hypot(39 - cx, cy);
            int32_t inside = 0;
            for (int32_t i = 0; i < kRows * kColumns * 3; ++i) {
                const int32_t row = i / 3 / kColumns, column = i / 3 % kColumns, plane = i % 3;
                const double dx = (column - cx) / m, dy = (row - cy) / m, r2 = dx * dx + dy * dy, r = std::sqrt(r2);
                const double t = std::atan(r), *c = k[plane];
                const double f =
                    fisheye
                        ? (r > 0
                               ? (c[0] * t + c[1] * std::pow(t, 3) + c[2] * std::pow(t, 5) + c[3] * std::pow(t, 7)) / r
                               : c[0])
                        : c[0] + c[1] * r2 + c[2] * r2 * r2 + c[3] * r2 * r2 * r2;
                const double kt0 = fisheye ? 0 : c[4], kt1 = fisheye ? 0 : c[5];
                const double x = cx + m * (f * dx + kt0 * 2 * dx * dy + kt1 * (r2 + 2 * dx * dx));
                const double y = cy + m * (f * dy + kt1 * 2 * dx * dy + kt0 * (r2 + 2 * dy * dy));
                if (x < 1 || y < 1 || x > kColumns - 3 || y > kRows - 3) continue;
                ++inside;
                const double range = type == kPixelShort ? 65535 : 1;
                ASSERT_NEAR(samples_of(*after)[static_cast<size_t>(i)],
                            (0.1 + 0.1 * plane + 0.01 * y + 0.008 * x) * range, range * 2e-5)
                    << fisheye << " " << row << ", " << column << ", " << plane;
            }
            EXPECT_GT(inside, kRows * kColumns * 2);
            // Regions stay as they are.
            context.frame = {{0, 0}, {kRows * 2, kColumns}, false};
            const auto region = image_of(3, type, surface);
            apply(list, *region, context);
            EXPECT_TRUE(samples_of(*region) == samples_of(*before));
        }
    }
}

TEST(DngOpcodes, WhichOnesRun) {
    const auto scale = [](uint32_t flags, uint32_t version) {
        return opcode(13, Body().u32({0, 0, kRows, kColumns, 0, 1, 1, 1}).u32({1}).floats({0.5F}), flags, version);
    };
    const Body trim = Body().u32({2, 3, 20, 41});
    const struct {
        const char *what;
        Bytes list;
        double expected;  // of a sample of 1000 in the first column
        size_t count;
        bool preview, stop;
    } cases[] = {
        {"none", list_of({}), 1000, 0, false, false},
        {"one", list_of({scale(0, kVersion13)}), 500, 1, false, false},
        {"skipped in a preview", list_of({scale(2, kVersion13)}), 1000, 1, true, false},
        {"not in a preview", list_of({scale(2, kVersion13)}), 500, 1, false, false},
        {"optional", list_of({scale(1, kVersion13)}), 500, 1, true, false},
        {"of 1.4", list_of({scale(0, 0x01040000)}), 500, 1, false, false},
        {"too new", list_of({scale(0, 0x01040001)}), 1000, 1, false, false},
        {"unknown", list_of({opcode(14, trim), scale(0, kVersion13), opcode(0, {})}), 500, 3, false, false},
        {"in order", list_of({scale(0, kVersion13), scale(0, kVersion13)}), 250, 2, false, false},
        {"cancelled", list_of({scale(0, kVersion13)}), 1000, 1, false, true},
        {"cut in the second", head(list_of({scale(0, kVersion13), scale(0, kVersion13)}), 110), 500, 2, false, false},
        {"more than there are", cat({big_32(9), scale(0, kVersion13)}), 500, 1, false, false},
    };
    for (const auto &row : cases) {
        PlainContext context;
        context.preview = row.preview;
        context.stop = row.stop;
        const auto image = image_of(1, kPixelShort, [](auto...) { return 1000 / 65535.0; });
        EXPECT_EQ(apply(row.list, *image, context), row.count) << row.what;
        EXPECT_EQ(*image->at<uint16_t>(7, 0), row.expected) << row.what;
        EXPECT_EQ(*image->at<uint16_t>(7, 1), 1000) << row.what;
    }
    const auto image = image_of(1, kPixelShort, noise_at);
    PlainContext context;
    apply(list_of({opcode(6, Body().u32({30, 0, 40, 9}))}), *image, context);
    EXPECT_EQ(image->getBounds(), (DngRect{0, 0, kRows, kColumns})) << "outside";
    apply(list_of({opcode(6, trim)}), *image, context);
    EXPECT_EQ(image->getBounds(), (DngRect{2, 3, 20, 40}));
}

TEST(DngOpcodes, GainMapMessages) {
    const auto map = [](uint32_t rows, uint32_t columns, uint32_t planes) {
        return Body{whole().u32({rows, columns}).doubles({1, 1, 0, 0}).u32({planes}).floats({2, 2}).bytes};
    };
    const struct {
        Body body;
        uint32_t more;  // in the count of bytes
        const char *lines;
        double factor;
    } cases[] = {
        {map(1, 2, 1), 0, "", 2},
        {map(1, 2, 1), 4, "VorelDngOpcodeGainMap error", 2},
        {map(1, 1, 1), 0, "VorelDngOpcodeGainMap error", 2},
        {map(1, 3, 1), 0, "getStream error", 1},
        {map(0xFFFFFFFF, 0xFFFFFFFF, 4), 0, "getStream error", 1},
        {map(1, 2, 0), 0, "getStream error", 1},
        {map(0, 2, 1), 0, "VorelDngOpcodeGainMap error(fMap.getPoints().v < 1) error", 1},
        {map(1, 0, 1), 0, "VorelDngOpcodeGainMap error(fMap.getPoints().h < 1) error", 1},
    };
    for (const auto &row : cases) {
        LogCapture log;
        PlainContext context;
        const auto image = image_of(1, kPixelShort, [](auto...) { return 1000 / 65535.0; });
        apply(changed(list_of({opcode(9, row.body)}), 16,
                      big_32(static_cast<uint32_t>(row.body.bytes.size()) + row.more)),
              *image, context);
        std::string lines;
        for (const LogLine &line : log.take()) {
            EXPECT_EQ(line.tag, "Dng gain map");
            EXPECT_EQ(line.priority, 6);
            lines += line.text;
        }
        EXPECT_EQ(lines, row.lines);
        EXPECT_EQ(*image->at<uint16_t>(29, 39), 1000 * row.factor) << row.lines;
    }
}

}  // namespace
}  // namespace vorel::test
