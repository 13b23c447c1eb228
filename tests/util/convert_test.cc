// Converters: the formula on every triple, layouts, both ways, sizes that are refused.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

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
#define VOREL_FAMILY(NAME, FROM, TO) \
    { #NAME, FROM, TO, NAME, _##NAME##_sg, _##NAME##_tps }
constexpr Family kToRgb[] = {
    VOREL_FAMILY(nv12_to_rgba8888, COLOR_NV12, COLOR_RGBA8888),
    VOREL_FAMILY(nv12_to_bgra8888, COLOR_NV12, COLOR_BGRA8888),
    VOREL_FAMILY(nv12_to_rgb888, COLOR_NV12, COLOR_RGB888),
    VOREL_FAMILY(nv21_to_rgba8888, COLOR_NV21, COLOR_RGBA8888),
    VOREL_FAMILY(nv21_to_bgra8888, COLOR_NV21, COLOR_BGRA8888),
    VOREL_FAMILY(nv21_to_rgb888, COLOR_NV21, COLOR_RGB888),
    VOREL_FAMILY(yuv420_to_rgba8888, COLOR_YUV420, COLOR_RGBA8888),
    VOREL_FAMILY(yuv420_to_bgra8888, COLOR_YUV420, COLOR_BGRA8888),
};
constexpr Family kToYuv[] = {
    VOREL_FAMILY(rgba8888_to_nv12, COLOR_RGBA8888, COLOR_NV12),
    VOREL_FAMILY(rgba8888_to_nv21, COLOR_RGBA8888, COLOR_NV21),
    {"rgba8888_to_yuv420", COLOR_RGBA8888, COLOR_YUV420, rgba8888_to_yuv420, _rgba8888_to_yuv420_sg, nullptr},
};
constexpr Family kMovers[] = {
    VOREL_FAMILY(yuv_nv_reverse, COLOR_NV12, COLOR_NV21),
    VOREL_FAMILY(yuv420_to_nv12, COLOR_YUV420, COLOR_NV12),
    VOREL_FAMILY(yuv420_to_nv21, COLOR_YUV420, COLOR_NV21),
};
std::vector<Family> all_families() {
    std::vector<Family> all(std::begin(kToRgb), std::end(kToRgb));
    all.insert(all.end(), std::begin(kToYuv), std::end(kToYuv));
    all.insert(all.end(), std::begin(kMovers), std::end(kMovers));
    return all;
}

size_t pixel_bytes(int32_t format) { return format == COLOR_RGB888 ? 3 : 4; }

void store(int32_t format, Rgb rgb, uint8_t *out) {
    out[0] = static_cast<uint8_t>(format == COLOR_BGRA8888 ? rgb.b : rgb.r);
    out[1] = static_cast<uint8_t>(rgb.g);
    out[2] = static_cast<uint8_t>(format == COLOR_BGRA8888 ? rgb.r : rgb.b);
    if (format != COLOR_RGB888) out[3] = 255;
}

Bytes model_to_rgb(const Family &family, const Bytes &src, int width, int height) {
    Bytes out(area(width, height) * pixel_bytes(family.to));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const size_t at = area(width, y) + static_cast<size_t>(x);
            const Yuv yuv = {src[at], src[u_at(family.from, width, height, x, y)],
                             src[v_at(family.from, width, height, x, y)]};
            store(family.to, model_rgb(yuv), &out[at * pixel_bytes(family.to)]);
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
    Bytes out(yuv_bytes(width, height));
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

// Each of 256 x 256 pairs in a 2 x 2 block of its own, for one value of the third.
TEST(Convert, YuvToRgbIsTheFormulaOnEveryTriple) {
    for (int u = 0; u < 256; u += kSlowBuild ? 15 : 1) {
        // Luma by rows, V by columns.
        Bytes luma(512 * 512), expected(512 * 512 * 3);
        for (int y = 0; y < 512; ++y) {
            std::memset(&luma[area(512, y)], y / 2, 512);
            for (int x = 0; x < 512; ++x)
                store(COLOR_RGB888, model_rgb({y / 2, u, x / 2}),
                      &expected[(area(512, y) + static_cast<size_t>(x)) * 3]);
        }
        for (const Family &family : kToRgb) {
            Bytes src = luma, out(512 * 512 * pixel_bytes(family.to));
            src.resize(yuv_bytes(512, 512));
            for (int y = 0; y < 512; y += 2) {
                for (int x = 0; x < 512; x += 2) {
                    src[u_at(family.from, 512, 512, x, y)] = static_cast<uint8_t>(u);
                    src[v_at(family.from, 512, 512, x, y)] = static_cast<uint8_t>(x / 2);
                }
            }
            family.single(512, 512, src.data(), out.data());
            if (family.to == COLOR_RGB888) {
                ASSERT_TRUE(out == expected) << family.name << " U " << u;
                continue;
            }
            const size_t red = family.to == COLOR_BGRA8888 ? 2 : 0;
            bool same = true;
            for (size_t i = 0; i < size_t{512} * 512; ++i) {
                const uint8_t *have = &out[i * 4], *want = &expected[i * 3];
                same = same && have[red] == want[0] && have[1] == want[1] && have[2 - red] == want[2] && have[3] == 255;
            }
            ASSERT_TRUE(same) << family.name << " U " << u;
        }
    }
}

TEST(Convert, RgbaToYuvIsTheFormulaOnEveryTriple) {
    for (int red = 0; red < 256; red += kSlowBuild ? 15 : 1) {
        Bytes src(512 * 512 * 4);
        for (int y = 0; y < 512; ++y) {
            for (int x = 0; x < 512; ++x) {
                uint8_t *pixel = &src[(area(512, y) + static_cast<size_t>(x)) * 4];
                pixel[0] = static_cast<uint8_t>(red);
                pixel[1] = static_cast<uint8_t>(y / 2);
                pixel[2] = static_cast<uint8_t>(x / 2);
                pixel[3] = static_cast<uint8_t>(x * 37);
            }
        }
        for (const Family &family : kToYuv) {
            // Two by two pixels of a colour: their mean is their own.
            Bytes expected(yuv_bytes(512, 512));
            for (int y = 0; y < 512; y += 2) {
                for (int x = 0; x < 512; x += 2) {
                    const Rgb rgb = {red, y / 2, x / 2};
                    const Yuv yuv = family.to == COLOR_YUV420 ? model_full_yuv(rgb) : model_video_yuv(rgb);
                    const size_t at = area(512, y) + static_cast<size_t>(x);
                    for (const size_t pixel : {at, at + 1, at + 512, at + 513})
                        expected[pixel] = static_cast<uint8_t>(yuv.y);
                    expected[u_at(family.to, 512, 512, x, y)] = static_cast<uint8_t>(yuv.u);
                    expected[v_at(family.to, 512, 512, x, y)] = static_cast<uint8_t>(yuv.v);
                }
            }
            on_every_target([&](const char *target) {
                Bytes out(expected.size());
                family.single(512, 512, src.data(), out.data());
                ASSERT_TRUE(out == expected) << family.name << " R " << red << " " << target;
            });
        }
    }
}

TEST(Convert, KnownColours) {
    struct {
        Yuv yuv;
        Rgb rgb;
    } constexpr kRows[] = {{{16, 128, 128}, {0, 0, 0}}, {{235, 128, 128}, {254, 254, 254}}, {{0, 0, 0}, {0, 135, 0}}};
    for (const auto &row : kRows) {
        const uint8_t nv12[6] = {static_cast<uint8_t>(row.yuv.y), static_cast<uint8_t>(row.yuv.y),
                                 static_cast<uint8_t>(row.yuv.y), static_cast<uint8_t>(row.yuv.y),
                                 static_cast<uint8_t>(row.yuv.u), static_cast<uint8_t>(row.yuv.v)};
        uint8_t rgb[12];
        nv12_to_rgb888(2, 2, nv12, rgb);
        EXPECT_EQ(Bytes(rgb + 9, rgb + 12), (Bytes{static_cast<uint8_t>(row.rgb.r), static_cast<uint8_t>(row.rgb.g),
                                                   static_cast<uint8_t>(row.rgb.b)}));
    }
    const Bytes white(4, 255);
    uint8_t out[3];
    rgba8888_to_nv12(1, 1, white.data(), out);
    EXPECT_EQ(Bytes(out, out + 3), (Bytes{235, 128, 128}));
    rgba8888_to_yuv420(1, 1, white.data(), out);
    EXPECT_EQ(Bytes(out, out + 3), (Bytes{255, 128, 128}));
}

TEST(Convert, FramesOfAllShapesEqualTheModelAndFillTheirOutput) {
    constexpr int kShapes[][2] = {{1, 1},  {2, 1},  {1, 2},   {3, 3},  {15, 4},  {16, 5},
                                  {17, 2}, {31, 7}, {33, 33}, {64, 3}, {65, 64}, {130, 9}};
    for (const auto &shape : kShapes) {
        const int width = shape[0], height = shape[1];
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        GuardBuffer yuv(noise(yuv_bytes(width, height), static_cast<unsigned>(width)));
        GuardBuffer rgba(noise(area(width, height) * 4, static_cast<unsigned>(height)));
        for (const Family &family : kToRgb) {
            const Bytes expected = model_to_rgb(family, yuv.bytes(), width, height);
            for (const Convert convert : {family.single, family.threaded, family.chosen}) {
                EXPECT_TRUE(whole_output(expected.size(),
                                         [&](uint8_t *out) { convert(width, height, yuv.data(), out); }) == expected)
                    << family.name;
            }
        }
        for (const Family &family : kToYuv) {
            const Bytes expected = model_to_yuv(family, rgba.bytes(), width, height);
            for (const Convert convert : {family.single, family.threaded, family.chosen}) {
                if (!convert) continue;
                EXPECT_TRUE(whole_output(expected.size(),
                                         [&](uint8_t *out) { convert(width, height, rgba.data(), out); }) == expected)
                    << family.name;
            }
        }
    }
}

TEST(Convert, PairsAreSwappedAndMadeOfPlanes) {
    constexpr int kShapes[][2] = {{1, 1}, {5, 3}, {64, 64}, {131, 67}, {2, 300}};
    for (const auto &shape : kShapes) {
        const int width = shape[0], height = shape[1];
        const size_t luma = area(width, height), chroma = area(half_up(width), half_up(height));
        const Bytes planar = noise(yuv_bytes(width, height), 3);
        for (const bool v_first : {false, true}) {
            Bytes expected(planar.begin(), planar.begin() + static_cast<ptrdiff_t>(luma));
            for (size_t i = 0; i < chroma; ++i) {
                expected.push_back(planar[luma + i + (v_first ? chroma : 0)]);
                expected.push_back(planar[luma + i + (v_first ? 0 : chroma)]);
            }
            const Family &family = kMovers[v_first ? 2 : 1];
            for (const Convert convert : {family.single, family.threaded, family.chosen})
                EXPECT_TRUE(whole_output(planar.size(),
                                         [&](uint8_t *out) { convert(width, height, planar.data(), out); }) == expected)
                    << family.name;
            // Y stays as it is; source and destination may be one frame.
            const Family &swap = kMovers[0];
            for (const Convert convert : {swap.single, swap.threaded, swap.chosen}) {
                Bytes other(planar.size(), 9), swapped = expected;
                convert(width, height, expected.data(), other.data());
                convert(width, height, swapped.data(), swapped.data());
                EXPECT_EQ(other[0], 9);
                for (size_t i = luma; i < planar.size(); ++i) {
                    const size_t partner = luma + ((i - luma) ^ 1);
                    ASSERT_EQ(other[i], expected[partner]);
                    ASSERT_EQ(swapped[i], expected[partner]);
                }
                EXPECT_TRUE(
                    std::equal(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(luma), swapped.begin()));
            }
        }
    }
}

TEST(Convert, ThreadedEqualsSingleAtEveryHeight) {
    const ShuffledTasks shuffled(5);
    const Bytes src = noise(area(13, 3000) * 4, 1);
    for (int height = 1; height <= 3000; height += kSlowBuild ? 97 : 1) {
        const int width = 1 + height * 7 % 13;
        for (const Family &family : all_families()) {
            if (!family.threaded) continue;
            Bytes single(frame_bytes(family.to, width, height)), threaded = single;
            family.single(width, height, src.data(), single.data());
            family.threaded(width, height, src.data(), threaded.data());
            ASSERT_TRUE(single == threaded) << family.name << " " << width << "x" << height;
        }
    }
}

TEST(Convert, LowFramesAreTheFirstRowsOfHighOnes) {
    // 1199 rows are converted in the calling thread, 1200 and more on a pool, with a last band of 16 to 47 rows.
    for (const int height : {1200, 1210, 1215, 1216, 2048}) {
        const Bytes src = noise(yuv_bytes(33, height), 8);
        for (const Family &family : kToRgb) {
            if (family.from == COLOR_YUV420) continue;
            Bytes high(frame_bytes(family.to, 33, height)), low(frame_bytes(family.to, 33, 1199)), cut = src;
            family.chosen(33, height, src.data(), high.data());
            // The same planes at the lower height.
            cut.erase(cut.begin() + 33 * 1199, cut.begin() + 33 * height);
            family.chosen(33, 1199, cut.data(), low.data());
            EXPECT_TRUE(std::equal(low.begin(), low.end(), high.begin())) << family.name << " " << height;
        }
    }
}

TEST(Convert, HighFramesAreCutIntoTheSpecifiedBands) {
    WatchedTasks watched;
    constexpr struct { int height, bands; } kRows[] = {{1199, 0}, {1200, 38}, {1210, 38}, {1215, 38}, {1216, 38}};
    for (const auto &row : kRows) {
        const Bytes src = noise(yuv_bytes(5, row.height), 3);
        Bytes out(area(5, row.height) * 4);
        nv21_to_rgba8888(5, row.height, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), row.bands) << row.height;
    }
    // Chroma moves alone: by area.
    const Bytes src = noise(yuv_bytes(2048, 2049), 4);
    Bytes out(src.size());
    for (const auto move : {yuv_nv_reverse, yuv420_to_nv12, yuv420_to_nv21}) {
        move(2048, 2048, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), 0) << "0x400000 pixels";
        move(2048, 2049, src.data(), out.data());
        EXPECT_EQ(watched.take_count(), 65);
    }
}

TEST(Convert, PlanesApartAreTheWholeFrame) {
    const int width = 35, height = 1230;
    const Bytes src = noise(yuv_bytes(width, height), 4);
    const uint8_t *uv = src.data() + area(width, height);
    Bytes whole(area(width, height) * 4), apart = whole;
    nv12_to_rgba8888(width, height, src.data(), whole.data());
    for (const auto convert : {y_uv_nv12_to_rgba8888, _y_uv_nv12_to_rgba8888_sg, _y_uv_nv12_to_rgba8888_tps}) {
        convert(width, height, src.data(), uv, apart.data());
        EXPECT_TRUE(whole == apart);
    }
    nv21_to_rgba8888(width, height, src.data(), whole.data());
    for (const auto convert : {y_uv_nv21_to_rgba8888, _y_uv_nv21_to_rgba8888_sg, _y_uv_nv21_to_rgba8888_tps}) {
        convert(width, height, src.data(), uv, apart.data());
        EXPECT_TRUE(whole == apart);
    }
}

TEST(Convert, SizesThatMakeNoFrameTouchNothing) {
    // The last one has more bytes than there are addresses, as RGBA.
    constexpr int kSizes[][2] = {
        {0, 5}, {5, 0}, {-1, 5}, {5, -1}, {-4, -4}, {INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}};
    GuardBuffer nothing(16, 7);
    for (const auto &size : kSizes) {
        for (const Family &family : all_families()) {
            if (size[0] > 5 && family.from != COLOR_RGBA8888 && family.to != COLOR_RGBA8888) continue;
            for (const Convert convert : {family.chosen, family.single, family.threaded}) {
                if (convert) convert(size[0], size[1], nothing.data(), nothing.data());
            }
        }
        y_uv_nv12_to_rgba8888(size[0], size[1], nothing.data(), nothing.data(), nothing.data());
    }
    for (const Family &family : all_families()) {
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
    for (const Family &family : all_families()) {
        Bytes expected(frame_bytes(family.to, 20, 1300)), out = expected;
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
