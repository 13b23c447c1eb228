// Converters: the formula on every triple, layouts, both ways, sizes that are refused.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/counting_allocator.h"
#include "util/kernels/kernels.h"
#include "util/model.h"

namespace vorel::test {
namespace {

using Convert = void (*)(int32_t, int32_t, const uint8_t *, uint8_t *);

struct Family {
    const char *name;
    int32_t from, to;  // COLOR_
    Convert chosen, single, threaded;
};
// A form that is given its planes apart.
template <auto kForm>
void apart(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    kForm(width, height, src, src && width > 0 && height > 0 ? src + area(width, height) : src, dst);
}
#define VOREL_FAMILY(NAME, FROM, TO) \
    { #NAME, COLOR_##FROM, COLOR_##TO, NAME, _##NAME##_sg, _##NAME##_tps }
constexpr Family kFamilies[] = {
    VOREL_FAMILY(nv12_to_rgba8888, NV12, RGBA8888),
    VOREL_FAMILY(nv12_to_bgra8888, NV12, BGRA8888),
    VOREL_FAMILY(nv12_to_rgb888, NV12, RGB888),
    VOREL_FAMILY(nv21_to_rgba8888, NV21, RGBA8888),
    VOREL_FAMILY(nv21_to_bgra8888, NV21, BGRA8888),
    VOREL_FAMILY(nv21_to_rgb888, NV21, RGB888),
    VOREL_FAMILY(yuv420_to_rgba8888, YUV420, RGBA8888),
    VOREL_FAMILY(yuv420_to_bgra8888, YUV420, BGRA8888),
    VOREL_FAMILY(rgba8888_to_nv12, RGBA8888, NV12),
    VOREL_FAMILY(rgba8888_to_nv21, RGBA8888, NV21),
    {"rgba8888_to_yuv420", COLOR_RGBA8888, COLOR_YUV420, rgba8888_to_yuv420, _rgba8888_to_yuv420_sg, nullptr},
    VOREL_FAMILY(yuv_nv_reverse, NV12, NV21),
    VOREL_FAMILY(yuv420_to_nv12, YUV420, NV12),
    VOREL_FAMILY(yuv420_to_nv21, YUV420, NV21),
    {"y_uv_nv12", COLOR_NV12, COLOR_RGBA8888, apart<y_uv_nv12_to_rgba8888>, apart<_y_uv_nv12_to_rgba8888_sg>,
     apart<_y_uv_nv12_to_rgba8888_tps>},
    {"y_uv_nv21", COLOR_NV21, COLOR_RGBA8888, apart<y_uv_nv21_to_rgba8888>, apart<_y_uv_nv21_to_rgba8888_sg>,
     apart<_y_uv_nv21_to_rgba8888_tps>},
};

bool is_yuv(int32_t format) { return format == COLOR_YUV420 || format == COLOR_NV12 || format == COLOR_NV21; }

void store(int32_t format, Rgb rgb, uint8_t *out) {
    out[0] = static_cast<uint8_t>(format == COLOR_BGRA8888 ? rgb.b : rgb.r);
    out[1] = static_cast<uint8_t>(rgb.g);
    out[2] = static_cast<uint8_t>(format == COLOR_BGRA8888 ? rgb.r : rgb.b);
    if (format != COLOR_RGB888) out[3] = 255;
}

Bytes model_to_rgb(const Family &family, const Bytes &src, int width, int height) {
    const auto bytes = static_cast<size_t>(pixel_bytes(family.to));
    Bytes out(area(width, height) * bytes);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const size_t at = area(width, y) + static_cast<size_t>(x);
            const Yuv yuv = {src[at], src[u_at(family.from, width, height, x, y)],
                             src[v_at(family.from, width, height, x, y)]};
            store(family.to, model_rgb(yuv), &out[at * bytes]);
        }
    }
    return out;
}

Rgb pixel_of(const Bytes &rgba, int width, int x, int y) {
    const uint8_t *at = &rgba[(area(width, y) + static_cast<size_t>(x)) * 4];
    return {at[0], at[1], at[2]};
}

Bytes model_to_yuv(const Family &family, const Bytes &src, int width, int height) {
    const bool full = family.to == COLOR_YUV420;
    const auto convert = full ? model_full_yuv : model_video_yuv;
    Bytes out(format_bytes(COLOR_NV21, width, height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Yuv here = convert(pixel_of(src, width, x, y));
            out[area(width, y) + static_cast<size_t>(x)] = static_cast<uint8_t>(here.y);
            if (x % 2 || y % 2) continue;
            Yuv chroma = here;
            if (full) {
                const int next_x = std::min(x + 1, width - 1), next_y = std::min(y + 1, height - 1);
                const Yuv b = convert(pixel_of(src, width, next_x, y)), c = convert(pixel_of(src, width, x, next_y)),
                          d = convert(pixel_of(src, width, next_x, next_y));
                const auto mean = [](int p, int q) { return (p + q + 1) >> 1; };
                chroma.u = mean(mean(here.u, b.u), mean(c.u, d.u));
                chroma.v = mean(mean(here.v, b.v), mean(c.v, d.v));
            }
            out[u_at(family.to, width, height, x, y)] = static_cast<uint8_t>(chroma.u);
            out[v_at(family.to, width, height, x, y)] = static_cast<uint8_t>(chroma.v);
        }
    }
    return out;
}

Bytes model_convert(const Family &family, const Bytes &src, int width, int height) {
    if (!is_yuv(family.from)) return model_to_yuv(family, src, width, height);
    if (!is_yuv(family.to)) return model_to_rgb(family, src, width, height);
    Bytes out = src;
    for (int y = 0; y < height; y += 2) {
        for (int x = 0; x < width; x += 2) {
            out[u_at(family.to, width, height, x, y)] = src[u_at(family.from, width, height, x, y)];
            out[v_at(family.to, width, height, x, y)] = src[v_at(family.from, width, height, x, y)];
        }
    }
    return out;
}

// Each of 256 x 256 pairs, for one value of the third: luma by rows and V by columns, or 2 x 2 pixels of a colour.
TEST(Convert, ColoursAreTheFormulaOnEveryTriple) {
    constexpr int kSide = 512;
    for (int third = 0; third < 256; third += kSlowBuild ? 15 : 1) {
        for (const Family &family : kFamilies) {
            if (is_yuv(family.from) && is_yuv(family.to)) continue;
            const int height = is_yuv(family.from) ? kSide / 2 : kSide;
            Bytes src(format_bytes(family.from, kSide, height));
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < kSide; ++x) {
                    const size_t at = area(kSide, y) + static_cast<size_t>(x);
                    if (is_yuv(family.from)) {
                        src[at] = static_cast<uint8_t>(y);
                        if (x % 2 || y % 2) continue;
                        src[u_at(family.from, kSide, height, x, y)] = static_cast<uint8_t>(third);
                        src[v_at(family.from, kSide, height, x, y)] = static_cast<uint8_t>(x / 2);
                    } else {
                        const int rgba[4] = {third, y / 2, x / 2, x * 37};
                        std::copy(rgba, rgba + 4, &src[at * 4]);
                    }
                }
            }
            const Bytes expected = model_convert(family, src, kSide, height);
            const auto check = [&](const char *target) {
                Bytes out(expected.size());
                family.single(kSide, height, src.data(), out.data());
                ASSERT_TRUE(out == expected) << family.name << " third " << third << " " << target;
            };
            is_yuv(family.from) ? check("widest") : on_every_target(check);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Convert, FramesOfAllShapesEqualTheModelAndFillTheirOutput) {
    constexpr int kShapes[][2] = {{1, 1},  {2, 1},   {1, 2},  {3, 3},   {5, 3},   {15, 4},   {16, 5},  {17, 2},
                                  {31, 7}, {33, 33}, {64, 3}, {65, 64}, {130, 9}, {131, 67}, {2, 300}, {33, 1217}};
    for (const auto &[width, height] : kShapes) {
        for (const Family &family : kFamilies) {
            SCOPED_TRACE(std::string(family.name) + " " + std::to_string(width) + "x" + std::to_string(height));
            GuardBuffer src(noise(format_bytes(family.from, width, height), static_cast<unsigned>(width + height)));
            const Bytes expected = model_convert(family, src.bytes(), width, height);
            // Pairs are swapped beside a luma that stays, and perhaps in place.
            const bool swaps = family.single == _yuv_nv_reverse_sg;
            const size_t kept = swaps ? area(width, height) : 0;
            for (const Convert convert : {family.single, family.threaded, family.chosen}) {
                if (!convert) continue;
                EXPECT_TRUE(whole_output(expected.size(), [&, w = width, h = height](uint8_t *out) {
                                std::fill(out, out + kept, 9);
                                convert(w, h, src.data(), out);
                                EXPECT_EQ(Bytes(out, out + kept), Bytes(kept, 9));
                                std::copy(expected.data(), expected.data() + kept, out);
                            }) == expected);
                Bytes in_place = src.bytes();
                if (swaps) convert(width, height, in_place.data(), in_place.data());
                if (swaps) EXPECT_TRUE(in_place == expected);
            }
        }
    }
}

TEST(Convert, EveryWayGivesTheSameAtEveryHeight) {
    const ShuffledTasks shuffled(5);
    const Bytes src = noise(area(13, 3000) * 4, 1);
    for (int height = 1; height <= 3000; height += kSlowBuild ? 97 : 1) {
        const int width = 1 + height * 7 % 13;
        for (const Family &family : kFamilies) {
            if (!family.threaded) continue;
            Bytes single(format_bytes(family.to, width, height)), other = single;
            family.single(width, height, src.data(), single.data());
            for (const Convert convert : {family.threaded, height % 32 ? nullptr : family.chosen}) {
                if (convert) convert(width, height, src.data(), other.data());
                ASSERT_TRUE(single == other) << family.name << " " << width << "x" << height;
                if (height % 32 == 0) std::fill(other.begin(), other.end(), 0);
            }
        }
    }
}

TEST(Convert, HighFramesAreCutIntoTheSpecifiedBands) {
    WatchedTasks watched;
    constexpr struct {
        int height, bands;
    } kRows[] = {{1199, 0}, {1200, 38}, {1215, 38}, {1216, 38}, {1231, 38}, {1232, 39}};
    for (const auto &row : kRows) {
        const Bytes src = noise(format_bytes(COLOR_NV21, 5, row.height), 3);
        Bytes out(area(5, row.height) * 4);
        nv21_to_rgba8888(5, row.height, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), row.bands) << row.height;
    }
    // Chroma moves alone: by area.
    const Bytes src = noise(format_bytes(COLOR_NV21, 2048, 2049), 4);
    Bytes out(src.size());
    for (const auto move : {yuv_nv_reverse, yuv420_to_nv12, yuv420_to_nv21}) {
        move(2048, 2048, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), 0) << "0x400000 pixels";
        move(2048, 2049, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), 65);
    }
}

// Results that fit no cache take another way to memory: the same as of parts of the frame that fit.
TEST(Convert, LargeFramesAreTheSumOfTheirParts) {
    constexpr int kWidth = 2048, kHeight = 1000, kPart = 200;
    const SmallCache cache(4 << 20);
    const Bytes planes = noise(format_bytes(COLOR_YUV420, kWidth, kHeight), 5),
                pixels = noise(area(kWidth, kHeight) * 4, 6);
    Bytes pairs(planes.size()), full(planes.size());
    _yuv420_to_nv12_sg(kWidth, kHeight, planes.data(), pairs.data());
    EXPECT_TRUE(std::equal(planes.begin(), planes.begin() + kWidth * kHeight, pairs.begin()));
    const size_t luma = area(kWidth, kHeight), chroma = luma / 4, part_luma = area(kWidth, kPart);
    for (size_t i = 0; i < chroma; ++i) {
        ASSERT_EQ(pairs[luma + 2 * i], planes[luma + i]) << i;
        ASSERT_EQ(pairs[luma + 2 * i + 1], planes[luma + chroma + i]) << i;
    }
    Bytes part(format_bytes(COLOR_YUV420, kWidth, kPart));
    for (const Convert convert : {_rgba8888_to_yuv420_sg, _rgba8888_to_nv12_sg}) {
        const size_t parts = convert == _rgba8888_to_nv12_sg ? 1 : 2;  // of chroma
        convert(kWidth, kHeight, pixels.data(), full.data());
        for (size_t top = 0; top < luma; top += part_luma) {
            convert(kWidth, kPart, pixels.data() + top * 4, part.data());
            const auto same = [&](size_t from, size_t count, size_t at) {
                return std::equal(part.begin() + static_cast<ptrdiff_t>(from),
                                  part.begin() + static_cast<ptrdiff_t>(from + count),
                                  full.begin() + static_cast<ptrdiff_t>(at));
            };
            ASSERT_TRUE(same(0, part_luma, top)) << top;
            for (size_t i = 0; i < parts; ++i) {
                const size_t count = part_luma / 2 / parts;
                ASSERT_TRUE(same(part_luma + i * count, count, luma + (i * luma + top) / 2 / parts)) << top;
            }
        }
    }
}

TEST(Convert, SizesThatMakeNoFrameTouchNothing) {
    // The last one has more bytes than there are addresses, as RGBA.
    constexpr int kSizes[][2] = {
        {0, 5}, {5, 0}, {-1, 5}, {5, -1}, {-4, -4}, {INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}};
    GuardBuffer nothing(16, 7);
    for (const auto &size : kSizes) {
        for (const Family &family : kFamilies) {
            if (size[0] > 5 && family.from != COLOR_RGBA8888 && family.to != COLOR_RGBA8888) continue;
            for (const Convert convert : {family.chosen, family.single, family.threaded}) {
                if (convert) convert(size[0], size[1], nothing.data(), nothing.data());
            }
        }
    }
    for (const Family &family : kFamilies) {
        family.chosen(4, 2, nullptr, nothing.data());
        family.chosen(4, 2, nothing.data(), nullptr);
    }
    y_uv_nv21_to_rgba8888(4, 2, nothing.data(), nullptr, nothing.data());
    _swap_uv(-1, nothing.data(), nothing.data());
    _swap_uv(0, nothing.data(), nothing.data());
    _interleave_uv(4, nothing.data(), nullptr, nothing.data());
    uint8_t *word = nothing.data(), *null = nullptr;
    for (int missing = 0; missing < 8; ++missing) {
        uint8_t **cursors[4] = {&word, &word, &word, &word};
        cursors[missing / 2] = missing % 2 ? &null : nullptr;
        ConvertBand band = {4, 2, cursors[0], {cursors[1], cursors[2], cursors[3], nullptr}};
        _yuv420_to_rgba8888_tp(&band);
        if (missing < 6) _rgba8888_to_nv12_tp(&band);
    }
    EXPECT_EQ(nothing.bytes(), Bytes(16, 7));
}

TEST(Convert, WithoutMemoryTheCallingThreadDoesTheWork) {
    const ShuffledTasks shuffled(8);
    const Bytes src = noise(area(20, 1300) * 4, 2);
    for (const Family &family : kFamilies) {
        Bytes expected(format_bytes(family.to, 20, 1300)), out = expected;
        family.single(20, 1300, src.data(), expected.data());
        if (family.threaded)
            with_each_allocation_failing([&](CountingAllocator &) {
                std::fill(out.begin(), out.end(), 0);
                family.threaded(20, 1300, src.data(), out.data());
                EXPECT_TRUE(out == expected) << family.name;
            });
    }
}

}  // namespace
}  // namespace vorel::test
