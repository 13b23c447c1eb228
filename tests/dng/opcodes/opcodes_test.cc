// Opcodes against direct double models; a region is the cut of the whole.
#include <gtest/gtest.h>
#include <vorel/dng_samples.h>

#include <bit>
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

// Big-endian numbers behind one another.
struct Body {
    template <typename Number, typename Value>
    Body &add(std::initializer_list<Value> values) {
        for (const Value value : values)
            for (size_t byte = sizeof(Number); byte-- > 0;)
                bytes.push_back(static_cast<uint8_t>(uint64_t{std::bit_cast<Number>(value)} >> 8 * byte));
        return *this;
    }
    Body &u32(std::initializer_list<uint32_t> values) { return add<uint32_t>(values); }
    Body &u16(std::initializer_list<uint16_t> values) { return add<uint16_t>(values); }
    Body &floats(std::initializer_list<float> values) { return add<uint32_t>(values); }
    Body &doubles(std::initializer_list<double> values) { return add<uint64_t>(values); }
    operator Bytes() const { return bytes; }
    Bytes bytes;
};
Bytes list_of(std::initializer_list<Bytes> opcodes) {
    return cat({big_32(static_cast<uint32_t>(opcodes.size())), cat(opcodes)});
}
size_t apply(const Bytes &list, VorelDngImage &image, PlainContext &context) {
    VorelDngStream stream(list.data(), static_cast<uint32_t>(list.size()));
    VorelDngOpcodeList opcodes(2);
    opcodes.parse(context, stream, static_cast<uint32_t>(list.size()), 0);
    VorelDngImage *changed = &image;
    opcodes.doApply(context, changed);
    return opcodes.count();
}

constexpr int32_t kRows = 30, kColumns = 40;

double range_of(uint32_t type) { return type == kPixelFloat ? 1 : type == kPixelShort ? 65535 : 255; }
double get(const VorelDngImage &image, int32_t row, int32_t column, uint32_t plane = 0) {
    if (image.isFloat()) return *image.at<float>(row, column, plane);
    if (image.getPixelType() == kPixelShort) return *image.at<uint16_t>(row, column, plane);
    return *image.at<uint8_t>(row, column, plane);
}
using Image = std::unique_ptr<VorelDngImage>;
// By fractions of the range.
template <typename Surface>
Image image_of(uint32_t planes, uint32_t type, const Surface &surface, const DngPoint &size = {kRows, kColumns}) {
    auto image = std::make_unique<VorelDngImage>(DngRect{0, 0, size.v, size.h}, planes, type);
    each_sample(*image, [&](int32_t row, int32_t column, uint32_t plane) {
        const double value = surface(row, column, plane) * range_of(type);
        if (type == kPixelFloat) *image->at<float>(row, column, plane) = static_cast<float>(value);
        if (type == kPixelShort) *image->at<uint16_t>(row, column, plane) = static_cast<uint16_t>(value + 0.5);
        if (type == kPixelByte) *image->at<uint8_t>(row, column, plane) = static_cast<uint8_t>(value + 0.5);
    });
    return image;
}
// rect of an image as one of its own.
Image cut(const VorelDngImage &image, const DngRect &rect = {0, 0, kRows, kColumns}) {
    const auto sample = [&](int32_t row, int32_t column, uint32_t plane) {
        return get(image, rect.top + row, rect.left + column, plane) / range_of(image.getPixelType());
    };
    return image_of(image.planes(), image.getPixelType(), sample, rect.size());
}
// The list on a part of the image gives the part of what it gives on the whole, but for a border.
void expect_cut(const Bytes &list, const VorelDngImage &before, const VorelDngImage &after, int32_t border) {
    for (const DngRect &rect : {DngRect{6, 5, 30, 33}, {0, 0, 19, 40}, {11, 13, 24, 27}}) {
        PlainContext context;
        context.frame = {{rect.top, rect.left}, {kRows, kColumns}, false};
        const Image part = cut(before, rect);
        apply(list, *part, context);
        part->doTrim({border, border, rect.size().v - border, rect.size().h - border});
        int32_t other = 0;
        each_sample(*part, [&](int32_t row, int32_t column, uint32_t plane) {
            other += get(*part, row, column, plane) != get(after, rect.top + row, rect.left + column, plane);
        });
        EXPECT_EQ(other, 0) << rect.top << ", " << rect.left;
    }
}

TEST(DngOpcodes, SamplesByThemselves) {
    // Rows 3, 5, ... 21, columns 4, 7, ... 34 of the second plane.
    const Body area = Body().u32({3, 4, 22, 36, 1, 1, 2, 3});
    const auto in_area = [](int32_t v, int32_t h, uint32_t plane) {
        return v >= 3 && v < 22 && h >= 4 && h < 36 && plane == 1 && (v - 3) % 2 == 0 && (h - 4) % 3 == 0;
    };
    const auto with = [&](const Body &more) { return Body{cat({area, more})}; };
    // A map of 3 by 4 points; what lies beyond them takes the first and the last.
    const auto gain = [](double v, double h) { return 0.5 + 0.25 * v + 0.125 * h + 0.0625 * v * h; };
    Body points = with(Body().u32({3, 4}).doubles({0.3, 0.2, 0.1, 0.2}).u32({1}));
    for (int32_t i = 0; i < 12; ++i) points.floats({static_cast<float>(gain(i / 4, i % 4))});
    struct Case {
        uint32_t id;
        Body body;
        std::function<double(int32_t row, int32_t column, uint32_t plane, double x)> model;
    };
    std::vector<Case> cases = {
        {7, with(Body().u32({3}).u16({7, 8, 40000})),
         [](auto, auto, auto, double x) {
             return (x * 65535 < 0.5 ? 7 : x * 65535 < 1.5 ? 8 : 40000) / 65535.0;
         }},
        {8, with(Body().u32({3}).doubles({0.125, -0.5, 2, 0.25})),
         [](auto, auto, auto, double x) { return 0.125 - 0.5 * x + 2 * x * x + 0.25 * x * x * x; }},
        {9, points,
         [&](int32_t row, int32_t column, auto, double x) {
             return x * gain(std::clamp((row / 30.0 - 0.1) / 0.3, 0.0, 2.0),
                             std::clamp((column / 40.0 - 0.2) / 0.2, 0.0, 3.0));
         }},
        {9, Body().u32({0, 0, 30, 40, 0, 99, 1, 1, 1, 1}).doubles({1, 1, 0, 0}).u32({2}).floats({0.5F, 2}),
         [](auto, auto, uint32_t plane, double x) { return x * (plane ? 2 : 0.5); }},
        {3, Body().doubles({0.5, -0.25, 0.125, 0.0625, 0.03125, 0.25, 0.5}),
         [](int32_t row, int32_t column, auto, double x) {
             const double r2 = (std::pow(column - 10, 2) + std::pow(row - 15, 2)) / (30.0 * 30 + 15 * 15);
             return x * (1 + r2 / 2 - std::pow(r2, 2) / 4 + std::pow(r2, 3) / 8 + std::pow(r2, 4) / 16 +
                         std::pow(r2, 5) / 32);
         }},
    };
    for (const uint32_t id : {10U, 11U, 12U, 13U})
        cases.push_back({id, with(Body().u32({3}).floats({0.5F, -0.25F, 0.125F})),
                         [id](int32_t row, int32_t column, auto, double x) {
                             const int32_t i = id % 2 ? (column - 4) / 3 : (row - 3) / 2;
                             const double number = i == 0 ? 0.5 : i == 1 ? -0.25 : i == 2 ? 0.125 : id < 12 ? 0 : 1;
                             return id < 12 ? x + number : x * number;
                         }});
    for (const Case &one : cases) {
        for (const uint32_t type : {kPixelByte, kPixelShort, kPixelFloat}) {
            const Image before = image_of(2, type, [](int32_t row, int32_t column, uint32_t plane) {
                return std::fmod(std::sin(row * 12.9 + column * 78.2 + plane * 3.7) * 43758.5 + 43759, 1);
            });
            const Image after = cut(*before);
            PlainContext context;
            const Bytes list = list_of({opcode(one.id, one.body)});
            ASSERT_EQ(apply(list, *after, context), 1U);
            // Tables are of words; polynomials and gain maps are for words and floats.
            const bool none = type == kPixelByte ? one.id >= 7 && one.id <= 9 : one.id == 7 && type == kPixelFloat;
            const bool everywhere = one.id == 3 || one.body.bytes[3] == 0;
            const double range = range_of(type);
            each_sample(*after, [&](int32_t v, int32_t h, uint32_t plane) {
                const double was = get(*before, v, h, plane);
                const bool same = none || !(everywhere || in_area(v, h, plane));
                const double is = same ? was : std::clamp(one.model(v, h, plane, was / range), 0.0, 1.0) * range;
                if (HasFatalFailure()) return;
                ASSERT_NEAR(get(*after, v, h, plane), is,
                            same        ? 0
                            : range > 1 ? 0.51 + range * 1e-6
                                        : 1e-6)
                    << one.id << " at " << v << ", " << h << ", " << plane;
            });
            expect_cut(list, *before, *after, 0);
        }
    }
    // Areas that are looked up in a table have the values of those that are not.
    std::vector<uint16_t> all(70000), one(70000);
    for (uint32_t i = 0; i < 70000; ++i) all[i] = one[i] = static_cast<uint16_t>(i * 7);
    const double coefficients[] = {0.01, 0.3, NAN, 0.4, 0.3};
    doMapPoly16(all.data(), 7, 100, 100, 10000, 100, 1, coefficients, 1);
    for (uint16_t &sample : one) doMapPoly16(&sample, 1, 1, 1, 0, 0, 0, coefficients, 1);
    EXPECT_EQ(all, one);
}

// A mosaic whose colours are surfaces of their own, which pairs across a defect reproduce.
TEST(DngOpcodes, BadPixels) {
    for (const uint32_t phase : {0U, 1U, 2U, 3U, 4U}) {
        const Image good = image_of(1, kPixelShort, [&](uint32_t row, uint32_t column, uint32_t) {
            const uint32_t colour = phase > 3 ? 0 : ((row + (phase >> 1)) % 2 * 2 + (column + phase) % 2 + 1) / 2 % 3;
            return (10000.0 + 15000 * colour + 60 * row + 40 * column) / 65535;
        });
        // Points: one alone, corners, three neighbours; rectangles: a row, a column, and squares of 3 and 5.
        const DngRect defects[] = {{20, 9, 21, 10}, {0, 0, 1, 1},   {29, 39, 30, 40}, {5, 30, 6, 31},
                                   {5, 31, 6, 32},  {6, 30, 7, 31}, {24, 11, 25, 29}, {2, 17, 17, 18},
                                   {9, 8, 12, 11},  {9, 22, 14, 27}};
        const Image spoilt = cut(*good);
        // One of the points stands twice, and one is outside.
        Body body = Body().u32({phase, 8, 4, 20, 9, 400, 9});
        for (const DngRect &defect : defects) {
            const auto add = [&](int32_t a, int32_t b) {
                body.u32({static_cast<uint32_t>(a), static_cast<uint32_t>(b)});
            };
            add(defect.top, defect.left);
            if (&defect - defects > 5) add(defect.bottom, defect.right);
            for (int32_t row = defect.top; row < defect.bottom; ++row)
                std::fill_n(spoilt->at<uint16_t>(row, defect.left), defect.width(), uint16_t{0});
        }
        // The same by the value that all of them have; one beyond the range is none of theirs.
        const Bytes none = list_of({opcode(4, Body().u32({0x10000, phase}))});
        for (const Bytes &fix : {list_of({opcode(5, body)}), list_of({opcode(4, Body().u32({0, phase}))}), none}) {
            const Image fixed = cut(*spoilt);
            PlainContext context;
            apply(fix, *fixed, context);
            each_sample(*fixed, [&](int32_t row, int32_t column, uint32_t) {
                const auto has = [&](const DngRect &defect) { return defect.contains(row, column); };
                const int64_t i = std::find_if(defects, std::end(defects), has) - defects;
                // At corners and in squares from one side, less than five samples away; in none the sample stays.
                ASSERT_NEAR(get(*fixed, row, column), get(fix == none ? *spoilt : *good, row, column),
                            i == 10                     ? 0
                            : i == 1 || i == 2 || i > 7 ? 220
                                                        : 1)
                    << phase << " " << row << ", " << column;
            });
            expect_cut(fix, *spoilt, *fixed, 4);
        }
    }
    VorelDngBadPixelList list;
    for (const DngPoint &point : {DngPoint{9, 9}, {4, 7}, {4, 4}}) list.addPoint(point);
    list.addRect({12, 8, 13, 12});
    list.sort();
    // The second point lies three columns from the first, the third three rows from the rectangle.
    EXPECT_TRUE(list.isPointIsolated(0, 2) && !list.isPointIsolated(1, 3) && list.isPointIsolated(2, 2) &&
                !list.isPointIsolated(2, 3) && list.isRectIsolated(0, 2) && !list.isRectIsolated(0, 3));
    const auto valid = [&](const DngPoint &point, uint32_t i) { return list.isPointValid(point, {0, 0, 30, 30}, i); };
    EXPECT_TRUE(valid({4, 4}, 0) && !valid({4, 4}, 1) && !valid({12, 11}, 0) && !valid({3, 30}, 0));
}

// Cubic convolution reproduces a plane: the value at a pixel tells where it was taken from.
TEST(DngOpcodes, Warps) {
    const auto surface = [](double row, double column, uint32_t plane) {
        return 0.1 + 0.1 * plane + 0.01 * row + 0.008 * column;
    };
    const double k[3][6] = {
        {0.9, 0.05, -0.02, 0.01, 0.01, -0.02}, {0.95, 0, 0, 0, 0, 0}, {1, -0.1, 0.02, -0.01, 0, 0.01}};
    for (uint32_t which = 0; which < 8; ++which) {
        const bool fisheye = which & 1;
        const uint32_t planes = which & 2 ? 3 : 1, type = which & 4 ? kPixelShort : kPixelFloat;
        Body body = Body().u32({planes});
        for (uint32_t plane = 0; plane < planes; ++plane) {
            body.doubles({k[plane][0], k[plane][1], k[plane][2], k[plane][3]});
            if (!fisheye) body.doubles({k[plane][4], k[plane][5]});
        }
        const Bytes list = list_of({opcode(fisheye ? 2 : 1, body.doubles({0.4, 0.6}))});
        const Image before = image_of(3, type, surface), after = cut(*before), region = cut(*before);
        PlainContext context;
        apply(list, *after, context);
        const double cx = 0.4 * 39, cy = 0.6 * 29, m = std::hypot(39 - cx, cy);
        each_sample(*after, [&](int32_t row, int32_t column, uint32_t plane) {
            const double dx = (column - cx) / m, dy = (row - cy) / m, r = std::hypot(dx, dy);
            const double *const c = k[std::min(plane, planes - 1)];
            // Of the angle, for a fisheye, or of the distance: odd powers of it, per distance.
            const double t = fisheye ? std::atan(r) : r;
            const double f = (c[0] * t + c[1] * std::pow(t, 3) + c[2] * std::pow(t, 5) + c[3] * std::pow(t, 7)) / r;
            const double kt0 = fisheye ? 0 : c[4], kt1 = fisheye ? 0 : c[5];
            const double x = cx + m * (f * dx + kt0 * 2 * dx * dy + kt1 * (r * r + 2 * dx * dx));
            const double y = cy + m * (f * dy + kt1 * 2 * dx * dy + kt0 * (r * r + 2 * dy * dy));
            // Near the edges some of the samples around are those of the edge.
            const bool inside = x >= 1 && y >= 1 && x <= kColumns - 3 && y <= kRows - 3;
            const double expected = surface(std::clamp(y, 0.0, 29.0), std::clamp(x, 0.0, 39.0), plane);
            ASSERT_NEAR(get(*after, row, column, plane) / range_of(type), expected, inside ? 2e-5 : 0.002) << which;
        });
        // Regions stay as they are.
        context.frame = {{0, 0}, {kRows * 2, kColumns}, false};
        apply(list, *region, context);
        EXPECT_EQ(std::memcmp(region->at<uint8_t>(0, 0), before->at<uint8_t>(0, 0), size_t{kRows} * kColumns * 6), 0);
    }
}

TEST(DngOpcodes, WhichOnesRunAndMessages) {
    // A map of gains of 2; more: in the count of bytes.
    const auto gains = [](uint32_t rows, uint32_t columns, uint32_t planes, uint32_t more = 0, uint32_t flags = 0,
                          uint32_t version = 0x01040000) {
        const Body body = Body().u32({0, 0, 30, 40, 0, 99, 1, 1, rows, columns}).doubles({1, 1, 0, 0}).u32({planes});
        const Bytes bytes = cat({body, Body().floats({2, 2})});
        return changed(opcode(9, bytes, flags, version), 12, big_32(static_cast<uint32_t>(bytes.size()) + more));
    };
    enum How { kPlain, kPreview, kCancelled, kRegion };
    const Body trim = Body().u32({2, 3, 20, 41});
    const Bytes twice = gains(1, 2, 1), skipped = gains(1, 2, 1, 0, 2);
    const std::string map = "VorelDngOpcodeGainMap error", size = "getStream error";
    const struct {
        Bytes list;
        size_t count;
        double factor;
        How how = kPlain;
        std::string messages = "";
    } cases[] = {
        {list_of({}), 0, 1},
        {list_of({skipped}), 1, 1, kPreview},
        {list_of({skipped}), 1, 2},
        {list_of({gains(1, 2, 1, 0, 1)}), 1, 2, kPreview},
        {list_of({gains(1, 2, 1, 0, 0, 0x01040001)}), 1, 1},
        {list_of({opcode(14, trim), twice, opcode(0, {})}), 3, 2},
        {list_of({twice, twice}), 2, 4},
        {list_of({twice}), 1, 1, kCancelled},
        {list_of({opcode(6, trim)}), 1, 1, kRegion},
        {list_of({opcode(6, Body().u32({30, 0, 40, 9}))}), 1, 1},
        {head(list_of({twice, twice}), 120), 2, 2, kPlain, size},
        {cat({big_32(9), twice}), 1, 2},
        {list_of({gains(1, 2, 1, 4)}), 1, 2, kPlain, map},
        {list_of({gains(1, 1, 1)}), 1, 2, kPlain, map},
        {list_of({gains(1, 3, 1)}), 1, 1, kPlain, size},
        {list_of({gains(0xFFFFFFFF, 0xFFFFFFFF, 4)}), 1, 1, kPlain, size},
        {list_of({gains(1, 2, 0)}), 1, 1, kPlain, size},
        {list_of({gains(0, 2, 1)}), 1, 1, kPlain, map + "(fMap.getPoints().v < 1) error"},
        {list_of({gains(1, 0, 1)}), 1, 1, kPlain, map + "(fMap.getPoints().h < 1) error"},
    };
    for (const auto &one : cases) {
        LogCapture log;
        PlainContext context;
        context.preview = one.how == kPreview, context.stop = one.how == kCancelled;
        if (one.how == kRegion) context.frame = {{0, 0}, {kRows * 2, kColumns}, false};
        const Image image = image_of(1, kPixelShort, [](auto...) { return 1000 / 65535.0; });
        EXPECT_EQ(apply(one.list, *image, context), one.count) << &one - cases;
        std::string messages;
        for (const LogLine &entry : log.take())
            messages += entry.tag == "Dng gain map" && entry.priority == 6 ? entry.text : "?";
        EXPECT_EQ(messages, one.messages) << &one - cases;
        ASSERT_EQ(image->getBounds(), (DngRect{0, 0, kRows, kColumns})) << &one - cases;
        EXPECT_EQ(get(*image, 29, 39), 1000 * one.factor) << &one - cases;
    }
    PlainContext context;
    const Image image = image_of(1, kPixelShort, [](auto...) { return 0; });
    apply(list_of({opcode(6, trim)}), *image, context);
    EXPECT_EQ(image->getBounds(), (DngRect{2, 3, 20, 40}));
}

// Packed codes may become larger than their bits hold, and a part of the active area may be cut off, which is black.
TEST(DngOpcodes, FirstListOfAFile) {
    for (const uint32_t columns : {16U, 8U}) {
        DngBuilder file;
        file.first = dng_mosaic(16, 12, 12);
        file.tags = dng_color_tags();
        const Body white = Body().u32({0, 0, 12, 16, 0, 1, 1, 1, 1}).u16({65535}),
                   trim = Body().u32({0, 0, 12, columns});
        file.tags.push_back(opcode_list(51008, {opcode(7, white), opcode(6, trim)}));
        uint32_t width, height;
        const Bytes out = developed_whole(file, &width, &height);
        for (const uint32_t x : {0U, 6U, 10U, 15U}) EXPECT_EQ(out[(5 * 16 + x) * 4], x < columns ? 255 : 0) << x;
    }
}

}  // namespace
}  // namespace vorel::test
