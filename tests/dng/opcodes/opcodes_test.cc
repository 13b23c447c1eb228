// Opcodes against direct double models; a region is the cut of the whole.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <iterator>
#include <memory>

#include "dng/opcodes/bad_pixels.h"
#include "dng/opcodes/opcode_list.h"
#include "dng/support/plain_context.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// Big-endian numbers behind one another.
struct Body {
    template <typename Number, typename Value>
    Body &add(std::initializer_list<Value> values) {
        for (const Value value : values) {
            const uint64_t bits = std::bit_cast<Number>(value);
            for (size_t byte = sizeof(Number); byte-- > 0;) bytes.push_back(static_cast<uint8_t>(bits >> 8 * byte));
        }
        return *this;
    }
    Body &u32(std::initializer_list<uint32_t> values) { return add<uint32_t>(values); }
    Body &u16(std::initializer_list<uint16_t> values) { return add<uint16_t>(values); }
    Body &floats(std::initializer_list<float> values) { return add<uint32_t>(values); }
    Body &doubles(std::initializer_list<double> values) { return add<uint64_t>(values); }
    Bytes bytes;
};

constexpr uint32_t kVersion13 = 0x01030000;

Bytes opcode(uint32_t id, const Body &body, uint32_t flags = 0, uint32_t version = kVersion13) {
    return cat(
        {big_32(id), big_32(version), big_32(flags), big_32(static_cast<uint32_t>(body.bytes.size())), body.bytes});
}
Bytes list_of(std::initializer_list<Bytes> opcodes) {
    return cat({big_32(static_cast<uint32_t>(opcodes.size())), cat(opcodes)});
}

size_t apply(const Bytes &list, VorelDngImage &image, PlainContext &context) {
    VorelDngStream stream(list.data(), static_cast<uint32_t>(list.size()));
    VorelDngOpcodeList opcodes(2);
    opcodes.parse(context, stream, static_cast<uint32_t>(list.size()), 0);
    VorelDngImage *held = &image;
    opcodes.doApply(context, held);
    return opcodes.count();
}

// Every sample of an image as a double.
std::vector<double> samples_of(const VorelDngImage &image) {
    std::vector<double> samples;
    const DngRect &bounds = image.getBounds();
    for (int32_t row = bounds.top; row < bounds.bottom; ++row) {
        const size_t count = bounds.width() * image.planes();
        if (image.isFloat())
            std::copy_n(image.at<float>(row, bounds.left), count, std::back_inserter(samples));
        else
            std::copy_n(image.at<uint16_t>(row, bounds.left), count, std::back_inserter(samples));
    }
    return samples;
}
// rect of an image as one of its own.
std::unique_ptr<VorelDngImage> cut(const VorelDngImage &image, const DngRect &rect) {
    const DngRect bounds = {0, 0, rect.size().v, rect.size().h};
    auto part = std::make_unique<VorelDngImage>(bounds, image.planes(), image.getPixelType());
    for (int32_t row = 0; row < bounds.bottom; ++row) {
        const size_t samples = rect.width() * image.planes();
        if (image.isFloat())
            std::copy_n(image.at<float>(rect.top + row, rect.left), samples, part->at<float>(row, 0));
        else
            std::copy_n(image.at<uint16_t>(rect.top + row, rect.left), samples, part->at<uint16_t>(row, 0));
    }
    return part;
}

constexpr int32_t kRows = 30, kColumns = 40;

// One plane of fractions, or of as many 16-bit words, by a function of row, column and plane.
using Surface = std::function<double(int32_t row, int32_t column, uint32_t plane)>;
std::unique_ptr<VorelDngImage> image_of(uint32_t planes, uint32_t type, const Surface &surface) {
    auto image = std::make_unique<VorelDngImage>(DngRect{0, 0, kRows, kColumns}, planes, type);
    each_sample(*image, [&](int32_t row, int32_t column, uint32_t plane) {
        const double value = surface(row, column, plane);
        if (type == kPixelFloat)
            *image->at<float>(row, column, plane) = static_cast<float>(value);
        else
            *image->at<uint16_t>(row, column, plane) = static_cast<uint16_t>(value * 65535 + 0.5);
    });
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
    const auto numbers = {0.5F, -0.25F, 0.125F};
    const auto number = [&](int32_t i, double none) { return i < 3 ? double{numbers.begin()[i]} : none; };
    // A map of 3 by 4 points; what lies beyond them takes the first and the last.
    const auto gain = [](double v, double h) { return 0.5 + 0.25 * v + 0.125 * h + 0.0625 * v * h; };
    const auto map_gain = [&](int32_t row, int32_t column) {
        return gain(std::clamp((row / double{kRows} - 0.1) / 0.3, 0.0, 2.0),
                    std::clamp((column / double{kColumns} - 0.2) / 0.2, 0.0, 3.0));
    };
    Body points = area().u32({3, 4}).doubles({0.3, 0.2, 0.1, 0.2}).u32({1});
    for (int32_t i = 0; i < 12; ++i) points.floats({static_cast<float>(gain(i / 4, i % 4))});
    const auto dim = [](double r2) {
        return 1 + r2 * 0.5 - std::pow(r2, 2) * 0.25 + std::pow(r2, 3) / 8 + std::pow(r2, 4) / 16 +
               std::pow(r2, 5) / 32;
    };
    const struct {
        const char *what;
        uint32_t id;
        Body body;
        std::function<double(int32_t row, int32_t column, uint32_t plane, double x)> model;
    } cases[] = {
        {"table", 7, area().u32({3}).u16({7, 8, 40000}),
         [](auto, auto, auto, double x) {
             return (x * 65535 < 0.5 ? 7 : x * 65535 < 1.5 ? 8 : 40000) / 65535.0;
         }},
        {"polynomial", 8, area().u32({3}).doubles({0.125, -0.5, 2, 0.25}),
         [](auto, auto, auto, double x) { return 0.125 - 0.5 * x + 2 * x * x + 0.25 * x * x * x; }},
        {"gains", 9, points, [&](int32_t row, int32_t column, auto, double x) { return x * map_gain(row, column); }},
        {"one gain", 9, whole().u32({1, 1}).doubles({1, 1, 0, 0}).u32({2}).floats({0.5F, 2}),
         [](auto, auto, uint32_t plane, double x) { return x * (plane ? 2 : 0.5); }},
        {"rows +", 10, area().u32({3}).floats(numbers),
         [&](int32_t row, auto, auto, double x) { return x + number((row - 3) / 2, 0); }},
        {"columns +", 11, area().u32({3}).floats(numbers),
         [&](auto, int32_t column, auto, double x) { return x + number((column - 4) / 3, 0); }},
        {"rows *", 12, area().u32({3}).floats(numbers),
         [&](int32_t row, auto, auto, double x) { return x * number((row - 3) / 2, 1); }},
        {"columns *", 13, area().u32({3}).floats(numbers),
         [&](auto, int32_t column, auto, double x) { return x * number((column - 4) / 3, 1); }},
        {"vignette", 3, Body().doubles({0.5, -0.25, 0.125, 0.0625, 0.03125, 0.25, 0.5}),
         [&](int32_t row, int32_t column, auto, double x) {
             return x * dim(((column - 10) * (column - 10) + (row - 15) * (row - 15)) / (30.0 * 30 + 15 * 15));
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
        // Points: one alone, corners, three neighbours; rectangles: a row, a column, and squares of 3 and 5.
        const DngRect defects[] = {{20, 9, 21, 10}, {0, 0, 1, 1},   {29, 39, 30, 40}, {5, 30, 6, 31},
                                   {5, 31, 6, 32},  {6, 30, 7, 31}, {24, 11, 25, 29}, {2, 17, 17, 18},
                                   {9, 8, 12, 11},  {9, 22, 14, 27}};
        const auto spoilt = image_of(1, kPixelShort, surface), good = image_of(1, kPixelShort, surface);
        // One of the points stands twice, and one is outside.
        Body body = Body().u32({phase, 8, 4, 20, 9, 400, 9});
        for (const DngRect &defect : defects) {
            const bool point = &defect - defects < 6;
            for (const int32_t number : {defect.top, defect.left}) body.u32({static_cast<uint32_t>(number)});
            for (const int32_t number : {defect.bottom, defect.right})
                if (!point) body.u32({static_cast<uint32_t>(number)});
            for (int32_t row = defect.top; row < defect.bottom; ++row)
                std::fill_n(spoilt->at<uint16_t>(row, defect.left), defect.width(), uint16_t{0});
        }
        // The same by the value that all of them have.
        for (const Bytes &fix : {list_of({opcode(5, body)}), list_of({opcode(4, Body().u32({0, phase}))})}) {
            const auto fixed = cut(*spoilt, spoilt->getBounds());
            PlainContext context;
            apply(fix, *fixed, context);
            for (int32_t i = 0; i < kRows * kColumns; ++i) {
                const int32_t row = i / kColumns, column = i % kColumns;
                const auto has = [&](const DngRect &defect) { return defect.contains(row, column); };
                const size_t defect = static_cast<size_t>(std::find_if(defects, std::end(defects), has) - defects);
                // At corners and in squares from one side, less than five samples away; in none the sample stays.
                const double near = defect == std::size(defects)               ? 0
                                    : defect == 1 || defect == 2 || defect > 7 ? 220
                                                                               : 1;
                ASSERT_NEAR(*fixed->at<uint16_t>(row, column), *good->at<uint16_t>(row, column), near)
                    << phase << " " << row << ", " << column;
            }
            expect_cut(fix, *spoilt, *fixed, 4);
        }
    }
    VorelDngBadPixelList list;
    for (const DngPoint &point : {DngPoint{9, 9}, {4, 7}, {4, 4}, {20, 20}}) list.addPoint(point);
    list.addRect({12, 8, 13, 12});
    list.sort();
    // The second point lies three columns from the first, the third three rows from the rectangle.
    EXPECT_TRUE(list.isPointIsolated(0, 2) && !list.isPointIsolated(1, 3));
    EXPECT_TRUE(list.isPointIsolated(2, 2) && !list.isPointIsolated(2, 3));
    EXPECT_TRUE(list.isRectIsolated(0, 2) && !list.isRectIsolated(0, 3));
    const DngRect bounds = {0, 0, 30, 30};
    EXPECT_TRUE(list.isPointValid({4, 4}, bounds, 0) && !list.isPointValid({4, 4}, bounds, 1));
    EXPECT_FALSE(list.isPointValid({12, 11}, bounds, 0) || list.isPointValid({3, 30}, bounds, 0));
}

// Cubic convolution reproduces a plane: the value at a pixel tells where it was taken from.
TEST(DngOpcodes, Warps) {
    const auto surface = [](int32_t row, int32_t column, uint32_t plane) {
        return 0.1 + 0.1 * plane + 0.01 * row + 0.008 * column;
    };
    const double k[3][6] = {
        {0.9, 0.05, -0.02, 0.01, 0.01, -0.02}, {0.95, 0, 0, 0, 0, 0}, {1, -0.1, 0.02, -0.01, 0, 0.01}};
    for (uint32_t which = 0; which < 8; ++which) {
        const bool fisheye = which & 1;
        const uint32_t planes = which & 2 ? 3 : 1, type = which & 4 ? kPixelShort : kPixelFloat;
        Body body = Body().u32({planes});
        for (uint32_t plane = 0; plane < planes; ++plane) {
            const double *const c = k[plane];
            body.doubles({c[0], c[1], c[2], c[3]});
            if (!fisheye) body.doubles({c[4], c[5]});
        }
        const Bytes list = list_of({opcode(fisheye ? 2 : 1, body.doubles({0.4, 0.6}))});
        const auto before = image_of(3, type, surface), after = image_of(3, type, surface);
        PlainContext context;
        apply(list, *after, context);
        const double cx = 0.4 * 39, cy = 0.6 * 29, m = std::hypot(39 - cx, cy), range = type == kPixelShort ? 65535 : 1;
        const std::vector<double> samples = samples_of(*after);
        int32_t inside = 0;
        for (int32_t i = 0; i < kRows * kColumns * 3; ++i) {
            const double dx = (i / 3 % kColumns - cx) / m, dy = (i / 3 / kColumns - cy) / m, r = std::hypot(dx, dy);
            const double *const c = k[std::min(static_cast<uint32_t>(i % 3), planes - 1)];
            // Of the angle, for a fisheye, or of the distance: odd powers of it, per distance.
            const double t = fisheye ? std::atan(r) : r;
            const double f = (c[0] * t + c[1] * std::pow(t, 3) + c[2] * std::pow(t, 5) + c[3] * std::pow(t, 7)) / r;
            const double kt0 = fisheye ? 0 : c[4], kt1 = fisheye ? 0 : c[5];
            const double x = cx + m * (f * dx + kt0 * 2 * dx * dy + kt1 * (r * r + 2 * dx * dx));
            const double y = cy + m * (f * dy + kt1 * 2 * dx * dy + kt0 * (r * r + 2 * dy * dy));
            if (x < 1 || y < 1 || x > kColumns - 3 || y > kRows - 3) continue;
            ++inside;
            const double expected = (0.1 + 0.1 * (i % 3) + 0.01 * y + 0.008 * x) * range;
            ASSERT_NEAR(samples[static_cast<size_t>(i)], expected, range * 2e-5) << which << " " << i;
        }
        EXPECT_GT(inside, kRows * kColumns * 2);
        // Regions stay as they are.
        context.frame = {{0, 0}, {kRows * 2, kColumns}, false};
        const auto region = cut(*before, before->getBounds());
        apply(list, *region, context);
        EXPECT_TRUE(samples_of(*region) == samples_of(*before));
    }
}

TEST(DngOpcodes, WhichOnesRun) {
    const auto scale = [](uint32_t flags, uint32_t version) {
        return opcode(13, Body().u32({0, 0, kRows, kColumns, 0, 1, 1, 1}).u32({1}).floats({0.5F}), flags, version);
    };
    const Body trim = Body().u32({2, 3, 20, 41});
    const Bytes half = scale(0, kVersion13), skipped = scale(2, kVersion13);
    enum How { kPlain, kPreview, kCancelled };
    const struct {
        const char *what;
        Bytes list;
        size_t count;
        double expected;  // of a sample of 1000 in the first column
        How how;
    } cases[] = {
        {"none", list_of({}), 0, 1000, kPlain},
        {"skipped in a preview", list_of({skipped}), 1, 1000, kPreview},
        {"not in a preview", list_of({skipped}), 1, 500, kPlain},
        {"optional", list_of({scale(1, kVersion13)}), 1, 500, kPreview},
        {"of 1.4", list_of({scale(0, 0x01040000)}), 1, 500, kPlain},
        {"too new", list_of({scale(0, 0x01040001)}), 1, 1000, kPlain},
        {"unknown", list_of({opcode(14, trim), half, opcode(0, {})}), 3, 500, kPlain},
        {"in order", list_of({half, half}), 2, 250, kPlain},
        {"cancelled", list_of({half}), 1, 1000, kCancelled},
        {"cut in the second", head(list_of({half, half}), 110), 2, 500, kPlain},
        {"more than there are", cat({big_32(9), half}), 1, 500, kPlain},
    };
    for (const auto &row : cases) {
        PlainContext context;
        context.preview = row.how == kPreview;
        context.stop = row.how == kCancelled;
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
        const Bytes bytes = big_32(static_cast<uint32_t>(row.body.bytes.size()) + row.more);
        apply(changed(list_of({opcode(9, row.body)}), 16, bytes), *image, context);
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
