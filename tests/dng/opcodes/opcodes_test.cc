// Opcodes against direct double models; a region is the cut of the whole.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

#include "dng/driver/files.h"
#include "dng/opcodes/bad_pixels.h"
#include "dng/opcodes/opcode_list.h"
#include "dng/support/plain_context.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {
Bytes list_of(std::initializer_list<Bytes> all) { return cat({big_32(static_cast<uint32_t>(all.size())), cat(all)}); }
size_t apply(const Bytes &list, VorelDngImage &image, PlainContext &context) {
    VorelDngStream stream(list.data(), static_cast<uint32_t>(list.size()));
    VorelDngOpcodeList opcodes(2);
    opcodes.parse(context, stream, static_cast<uint32_t>(list.size()), 0);
    VorelDngImage *changed = &image;
    opcodes.doApply(context, changed);
    return opcodes.count();
}
constexpr int32_t kRows = 30, kColumns = 40;
const DngRect kWhole = {0, 0, kRows, kColumns};
// rect of an image as one of its own.
Image cut(const VorelDngImage &image, const DngRect &rect = kWhole) {
    const auto sample = [&](int32_t row, int32_t column, uint32_t plane) {
        return sample_at(image, rect.top + row, rect.left + column, plane) / range_of(image);
    };
    return image_of({0, 0, rect.size().v, rect.size().h}, image.planes(), image.getPixelType(), sample);
}
// The list on a part of the image gives the part of what it gives on the whole, but for a border.
void expect_cut(const Bytes &list, const VorelDngImage &before, const VorelDngImage &after, int32_t border) {
    for (const DngRect &rect : {DngRect{6, 5, 30, 33}, {0, 0, 19, 40}, {11, 13, 24, 27}}) {
        PlainContext context;
        context.frame = {{rect.top, rect.left}, {kRows, kColumns}, false};
        const Image part = cut(before, rect);
        apply(list, *part, context);
        part->doTrim({border, border, rect.size().v - border, rect.size().h - border});
        each_sample(*part, [&](int32_t v, int32_t h, uint32_t p) {
            ASSERT_EQ(sample_at(*part, v, h, p), sample_at(after, rect.top + v, rect.left + h, p));
        });
    }
}

TEST(DngOpcodes, SamplesByThemselves) {
    // Rows 3, 5, ... 21, columns 4, 7, ... 34 of the second plane.
    const Bytes area = big_longs({3, 4, 22, 36, 1, 1, 2, 3}), all = big_longs({0, 0, 30, 40, 0, 99, 1, 1, 1, 1});
    const auto in_area = [](int32_t v, int32_t h, uint32_t plane) {
        return v >= 3 && v < 22 && h >= 4 && h < 36 && plane == 1 && (v - 3) % 2 == 0 && (h - 4) % 3 == 0;
    };
    const auto gain = [](double v, double h) { return 0.5 + 0.25 * v + 0.125 * h + 0.0625 * v * h; };
    std::vector<float> gains;
    for (int32_t i = 0; i < 12; ++i) gains.push_back(static_cast<float>(gain(i / 4, i % 4)));
    struct Case {
        uint32_t id;
        Bytes body;
        std::function<double(int32_t row, int32_t column, uint32_t plane, double x)> model;
    };
    std::vector<Case> cases = {
        {7, cat({area, big_longs({2}), {0, 7, 0x9C, 0x40}}),
         [](auto, auto, auto, double x) { return (x * 65535 < 0.5 ? 7 : 40000) / 65535.0; }},
        {8, cat({area, big_longs({3}), big_doubles({0.125, -0.5, 2, 0.25})}),
         [](auto, auto, auto, double x) { return 0.125 - 0.5 * x + 2 * x * x + 0.25 * x * x * x; }},
        {9, cat({area, big_longs({3, 4}), big_doubles({0.3, 0.2, 0.1, 0.2}), big_longs({1}), big_floats(gains)}),
         [&](int32_t row, int32_t column, auto, double x) {
             const double v = (row / 30.0 - 0.1) / 0.3, h = (column / 40.0 - 0.2) / 0.2;
             return x * gain(std::clamp(v, 0.0, 2.0), std::clamp(h, 0.0, 3.0));
         }},
        {9, cat({all, big_doubles({1, 1, 0, 0}), big_longs({2}), big_floats({0.5F, 2})}),
         [](auto, auto, uint32_t plane, double x) { return x * (plane ? 2 : 0.5); }},
        {3, big_doubles({0.5, -0.25, 0.125, 0.0625, 0.03125, 0.25, 0.5}),
         [](int32_t row, int32_t column, auto, double x) {
             const double a = (std::pow(column - 10, 2) + std::pow(row - 15, 2)) / (30.0 * 30 + 15 * 15), b = a * a;
             return x * (1 + a / 2 - b / 4 + a * b / 8 + b * b / 16 + a * b * b / 32);
         }},
    };
    for (const uint32_t id : {10U, 11U, 12U, 13U})
        cases.push_back({id, cat({area, big_longs({3}), big_floats({0.5F, -0.25F, 0.125F})}),
                         [id](int32_t row, int32_t column, auto, double x) {
                             const int32_t i = id % 2 ? (column - 4) / 3 : (row - 3) / 2;
                             const double number = i == 0 ? 0.5 : i == 1 ? -0.25 : i == 2 ? 0.125 : id < 12 ? 0 : 1;
                             return id < 12 ? x + number : x * number;
                         }});
    for (uint32_t i = 0; i < 3 * cases.size(); ++i) {
        const Case &one = cases[i / 3];
        const uint32_t type = i % 3 == 0 ? kPixelByte : i % 3 == 1 ? kPixelShort : kPixelFloat;
        const Image before = image_of(kWhole, 2, type, [](int32_t row, int32_t column, uint32_t plane) {
            return std::fmod(std::sin(row * 12.9 + column * 78.2 + plane * 3.7) * 43758.5 + 43759, 1);
        });
        const Image after = cut(*before);
        PlainContext context;
        const Bytes list = list_of({opcode(one.id, one.body)});
        ASSERT_EQ(apply(list, *after, context), 1U);
        // Tables are of words; polynomials and gain maps are for words and floats.
        const bool none = type == kPixelByte ? one.id >= 7 && one.id <= 9 : one.id == 7 && type == kPixelFloat;
        const double range = range_of(*after), near = range > 1 ? 0.51 + range * 1e-6 : 1e-6;
        each_sample(*after, [&](int32_t v, int32_t h, uint32_t plane) {
            const double was = sample_at(*before, v, h, plane);
            const bool same = none || !(one.id == 3 || one.body[3] == 0 || in_area(v, h, plane));
            const double is = same ? was : std::clamp(one.model(v, h, plane, was / range), 0.0, 1.0) * range;
            ASSERT_NEAR(sample_at(*after, v, h, plane), is, same ? 0 : near) << one.id;
        });
        expect_cut(list, *before, *after, 0);
    }
    // Areas that are looked up in a table have the values of those that are not.
    std::vector<uint16_t> many(70000), single(70000);
    for (uint32_t i = 0; i < 70000; ++i) many[i] = single[i] = static_cast<uint16_t>(i * 7);
    const double coefficients[] = {0.01, 0.3};
    doMapPoly16(many.data(), 7, 100, 100, 10000, 100, 1, coefficients, 1);
    for (uint16_t &sample : single) doMapPoly16(&sample, 1, 1, 1, 0, 0, 0, coefficients, 1);
    EXPECT_EQ(many, single);
}

// A mosaic whose colours are surfaces of their own, which pairs across a defect reproduce.
TEST(DngOpcodes, BadPixels) {
    for (const uint32_t phase : {0U, 1U, 2U, 3U, 4U}) {
        const Image good = image_of(kWhole, 1, kPixelShort, [&](uint32_t row, uint32_t column, uint32_t) {
            const uint32_t colour = phase > 3 ? 0 : ((row + (phase >> 1)) % 2 * 2 + (column + phase) % 2 + 1) / 2 % 3;
            return (10000.0 + 15000 * colour + 60 * row + 40 * column) / 65535;
        });
        // Points: one alone, corners, three neighbours, one again, one outside; a row, a column, squares of 3 and 5.
        Bytes body = big_longs({phase, 8, 4, 20, 9, 400, 9});
        std::vector<DngRect> defects;
        const std::vector<uint32_t> listed[] = {{20, 9},        {0, 0},         {29, 39},         {5, 30},
                                                {5, 31},        {6, 30},        {24, 11, 25, 29}, {2, 17, 17, 18},
                                                {9, 8, 12, 11}, {9, 22, 14, 27}};
        for (const std::vector<uint32_t> &at : listed) {
            body = cat({body, big_longs(at)});
            const auto number = [&](size_t i) { return static_cast<int32_t>(i < at.size() ? at[i] : at[i - 2] + 1); };
            defects.push_back({number(0), number(1), number(2), number(3)});
        }
        const auto which = [&](int32_t row, int32_t column) {
            const auto has = [&](const DngRect &defect) { return defect.contains(row, column); };
            return std::find_if(defects.begin(), defects.end(), has) - defects.begin();
        };
        const Image spoilt = image_of(kWhole, 1, kPixelShort, [&](int32_t row, int32_t column, uint32_t) {
            return which(row, column) < 10 ? 0 : sample_at(*good, row, column) / 65535;
        });
        // The same by the value that all of them have; one beyond the range is none of theirs.
        const Bytes none = list_of({opcode(4, big_longs({0x10000, phase}))});
        for (const Bytes &fix : {list_of({opcode(5, body)}), list_of({opcode(4, big_longs({0, phase}))}), none}) {
            const Image fixed = cut(*spoilt);
            PlainContext context;
            apply(fix, *fixed, context);
            each_sample(*fixed, [&](int32_t v, int32_t h, uint32_t) {
                // At corners and in squares from one side, less than five samples away; in none the sample stays.
                const int64_t i = which(v, h);
                const double near = i == 10 ? 0 : i == 1 || i == 2 || i > 7 ? 220 : 1;
                ASSERT_NEAR(sample_at(*fixed, v, h), sample_at(fix == none ? *spoilt : *good, v, h), near);
            });
            expect_cut(fix, *spoilt, *fixed, 4);
        }
    }
    VorelDngBadPixelList list;
    for (const DngPoint &point : {DngPoint{9, 9}, {4, 7}, {4, 4}}) list.addPoint(point);
    list.addRect({12, 8, 13, 12});
    list.sort();
    EXPECT_TRUE(list.isPointIsolated(0, 2) && !list.isPointIsolated(1, 3) && list.isPointIsolated(2, 2) &&
                !list.isPointIsolated(2, 3) && list.isRectIsolated(0, 2) && !list.isRectIsolated(0, 3));
    const auto valid = [&](const DngPoint &point, uint32_t i) { return list.isPointValid(point, {0, 0, 30, 30}, i); };
    EXPECT_TRUE(valid({4, 4}, 0) && !valid({4, 4}, 1) && !valid({12, 11}, 0) && !valid({3, 30}, 0));
}

// Cubic convolution reproduces a plane: the value at a pixel tells where it was taken from.
TEST(DngOpcodes, Warps) {
    const auto surface = [](double v, double h, uint32_t p) { return 0.1 + 0.1 * p + 0.01 * v + 0.008 * h; };
    const std::vector<double> k[3] = {
        {0.9, 0.05, -0.02, 0.01, 0.01, -0.02}, {0.95, 0, 0, 0, 0, 0}, {1, -0.1, 0.02, -0.01, 0, 0.01}};
    for (uint32_t which = 0; which < 8; ++which) {
        const bool fisheye = which & 1;
        const uint32_t planes = which & 2 ? 3 : 1, type = which & 4 ? kPixelShort : kPixelFloat;
        Bytes body = big_longs({planes});
        for (uint32_t i = 0; i < planes; ++i) body = cat({body, head(big_doubles(k[i]), fisheye ? 32 : 48)});
        const Bytes list = list_of({opcode(fisheye ? 2 : 1, cat({body, big_doubles({0.4, 0.6})}))});
        const Image before = image_of(kWhole, 3, type, surface), after = cut(*before), region = cut(*before);
        PlainContext context;
        apply(list, *after, context);
        const double cx = 0.4 * 39, cy = 0.6 * 29, m = std::hypot(39 - cx, cy);
        each_sample(*after, [&](int32_t row, int32_t column, uint32_t plane) {
            const double dx = (column - cx) / m, dy = (row - cy) / m, r = std::hypot(dx, dy);
            const std::vector<double> &c = k[std::min(plane, planes - 1)];
            // Of the angle, for a fisheye, or of the distance: odd powers of it, per distance.
            const double t = fisheye ? std::atan(r) : r, kt0 = fisheye ? 0 : c[4], kt1 = fisheye ? 0 : c[5];
            const double f = (c[0] * t + c[1] * std::pow(t, 3) + c[2] * std::pow(t, 5) + c[3] * std::pow(t, 7)) / r;
            const double x = cx + m * (f * dx + kt0 * 2 * dx * dy + kt1 * (r * r + 2 * dx * dx));
            const double y = cy + m * (f * dy + kt1 * 2 * dx * dy + kt0 * (r * r + 2 * dy * dy));
            const bool inside = x >= 1 && y >= 1 && x <= kColumns - 3 && y <= kRows - 3;
            const double expected = surface(std::clamp(y, 0.0, 29.0), std::clamp(x, 0.0, 39.0), plane);
            ASSERT_NEAR(sample_at(*after, row, column, plane) / range_of(*after), expected, inside ? 2e-5 : 0.002);
        });
        context.frame.whole = false;  // regions stay as they are
        apply(list, *region, context);
        EXPECT_EQ(std::memcmp(region->at<uint8_t>(0, 0), before->at<uint8_t>(0, 0), size_t{kRows} * kColumns * 6), 0);
    }
}

TEST(DngOpcodes, WhichOnesRunAndMessages) {
    const auto gains = [](uint32_t rows, uint32_t columns, uint32_t planes, uint32_t more = 0) {
        const Bytes body = cat({big_longs({0, 0, 30, 40, 0, 99, 1, 1, rows, columns}), big_doubles({1, 1, 0, 0}),
                                big_longs({planes}), big_floats({2, 2})});
        return changed(opcode(9, body), 12, big_32(static_cast<uint32_t>(body.size()) + more));
    };
    enum How { kPlain, kPreview, kCancelled, kRegion };
    const Bytes twice = gains(1, 2, 1), skipped = changed(twice, 8, big_32(2));
    const std::string map = "6Dng gain map: VorelDngOpcodeGainMap error", size = "6Dng gain map: getStream error";
    const struct {
        Bytes list;
        size_t count;
        double factor;
        How how = kPlain;
        std::string messages = "";
    } cases[] = {
        {list_of({skipped}), 1, 1, kPreview},
        {list_of({skipped}), 1, 2},
        {list_of({changed(twice, 8, big_32(1))}), 1, 2, kPreview},
        {list_of({changed(twice, 4, big_32(0x01040001)), changed(twice, 4, big_32(0x01040000))}), 2, 2},
        {list_of({opcode(14, twice), twice, opcode(0, {})}), 3, 2},
        {list_of({twice}), 1, 1, kCancelled},
        {list_of({opcode(6, big_longs({2, 3, 20, 41}))}), 1, 1, kRegion},
        {list_of({opcode(6, big_longs({30, 0, 40, 9}))}), 1, 1},
        {head(list_of({twice, twice}), 120), 2, 2, kPlain, size},
        {cat({big_32(9), twice}), 1, 2},
        {list_of({gains(1, 2, 1, 4)}), 1, 2, kPlain, map},
        {list_of({gains(0xFFFFFFFF, 0xFFFFFFFF, 4)}), 1, 1, kPlain, size},
        {list_of({gains(0, 2, 1)}), 1, 1, kPlain, map + "6Dng gain map: (fMap.getPoints().v < 1) error"},
        {list_of({gains(1, 0, 1)}), 1, 1, kPlain, map + "6Dng gain map: (fMap.getPoints().h < 1) error"},
    };
    for (const auto &one : cases) {
        LogCapture log;
        PlainContext context;
        context.preview = one.how == kPreview, context.tests_until_cancel = one.how == kCancelled ? 0 : -1;
        context.frame.whole = one.how != kRegion;
        const Image image = image_of(kWhole, 1, kPixelShort, [](auto...) { return 1000 / 65535.0; });
        EXPECT_EQ(apply(one.list, *image, context), one.count) << &one - cases;
        std::string messages;
        for (const LogLine &at : log.take()) messages += std::to_string(at.priority) + at.tag + ": " + at.text;
        EXPECT_EQ(messages, one.messages) << &one - cases;
        ASSERT_EQ(image->getBounds(), kWhole) << &one - cases;
        EXPECT_EQ(sample_at(*image, 29, 39), 1000 * one.factor) << &one - cases;
    }
}

// Packed codes may become larger than their bits hold, and a part of the active area may be cut off, which is black.
TEST(DngOpcodes, FirstListOfAFile) {
    DngBuilder file;
    file.first = dng_mosaic(16, 12, 12);
    file.tags = dng_color_tags();
    const Bytes white = cat({big_longs({0, 0, 12, 16, 0, 1, 1, 1, 1}), {0xFF, 0xFF}}), trim = big_longs({2, 4, 12, 11});
    file.tags.push_back(opcode_list(51008, {opcode(7, white), opcode(6, trim)}));
    const Bytes out = developed_whole(file).rgba;
    for (const size_t y : {0U, 5U, 11U})
        for (const size_t x : {0U, 6U, 8U, 13U}) EXPECT_EQ(out[(y * 16 + x) * 4], y > 1 && x > 3 && x < 11 ? 255 : 0);
}

}  // namespace
}  // namespace vorel::test
