// Resizers: the closed formula of the taps, bands, canvases, fused forms, sizes that are refused.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "support/counting_allocator.h"
#include "util/model.h"

namespace vorel::test {
namespace {

struct Size {
    int width, height;
};
enum Way { kChosen, kSingle, kThreaded };

using Convert = void (*)(int32_t, int32_t, const uint8_t *, uint8_t *);

// A form from one frame to another or into a canvas, brought to one signature.
struct Family {
    const char *name;
    int32_t format;
    void (*run)(Way way, const uint8_t *src, uint8_t *dst, Size from, Size to, ResizeCanvas *canvas);
    bool has_canvas;
    Convert convert;  // what the resized frame goes through, if anything: these forms have one way
};

struct Planes {
    const uint8_t *y, *u, *v;
    // Sizes that make no frame have their planes at its start.
    Planes(const uint8_t *src, Size size) : y(src), u(src), v(src) {
        if (size.width < 1 || size.height < 1) return;
        u += area(size.width, size.height);
        v = u + area(half_up(size.width), half_up(size.height));
    }
};

// Calls form with the planes and what follows: three of them, or two.
template <bool kPairs, auto kForm, typename... Rest>
void with_planes(const uint8_t *src, Size from, Rest... rest) {
    const Planes p(src, from);
    if constexpr (kPairs) {
        kForm(p.y, p.u, rest...);
    } else {
        kForm(p.y, p.u, p.v, rest...);
    }
}
template <bool kPairs, auto kPlain, auto kInto, auto kSingleForm, auto kThreadedForm>
void run_planes(Way way, const uint8_t *src, uint8_t *dst, Size s, Size d, ResizeCanvas *canvas) {
    if (way == kChosen && canvas) return with_planes<kPairs, kInto>(src, s, canvas, s.width, s.height);
    if (way == kChosen) return with_planes<kPairs, kPlain>(src, s, dst, s.width, s.height, d.width, d.height);
    if (way == kSingle) with_planes<kPairs, kSingleForm>(src, s, dst, s.width, s.height, d.width, d.height, canvas);
    if (way == kThreaded) with_planes<kPairs, kThreadedForm>(src, s, dst, s.width, s.height, d.width, d.height, canvas);
}
template <bool kPairs, auto kPlain, auto kInto>
void run_fused(Way, const uint8_t *src, uint8_t *dst, Size s, Size d, ResizeCanvas *canvas) {
    if (canvas) return with_planes<kPairs, kInto>(src, s, canvas, s.width, s.height);
    with_planes<kPairs, kPlain>(src, s, dst, s.width, s.height, d.width, d.height);
}
using FrameFn = void (*)(const uint8_t *, uint8_t *, int32_t, int32_t, int32_t, int32_t);
template <FrameFn... kForms>
void run_frame(Way way, const uint8_t *src, uint8_t *dst, Size s, Size d, ResizeCanvas *) {
    constexpr FrameFn kByWay[] = {kForms...};
    kByWay[way](src, dst, s.width, s.height, d.width, d.height);
}
void run_rgba(Way way, const uint8_t *src, uint8_t *dst, Size s, Size d, ResizeCanvas *canvas) {
    constexpr decltype(&vorel_resize_rgba8888_keep_ratio) kInto[] = {
        vorel_resize_rgba8888_keep_ratio, vorel_resize_rgba8888_keep_ratio_sg, vorel_resize_rgba8888_keep_ratio_tps};
    if (canvas) return kInto[way](src, canvas, s.width, s.height);
    run_frame<vorel_resize_rgba8888, vorel_resize_rgba8888_sg, vorel_resize_rgba8888_tps>(way, src, dst, s, d, nullptr);
}

#define VOREL_PLANES(PAIRS, NAME)                                                                      \
    run_planes<PAIRS, vorel_resize_##NAME, vorel_resize_##NAME##_keep_ratio, vorel_resize_##NAME##_sg, \
               vorel_resize_##NAME##_tps>
#define VOREL_FRAMES(NAME) run_frame<vorel_resize_##NAME, vorel_resize_##NAME##_sg, vorel_resize_##NAME##_tps>
#define VOREL_FUSED(PAIRS, NAME) run_fused<PAIRS, vorel_resize_##NAME, vorel_resize_##NAME##_keep_ratio>
constexpr Family kFamilies[] = {
    {"y_u_v", COLOR_YUV420, VOREL_PLANES(false, y_u_v), true, nullptr},
    {"y_nv21", COLOR_NV21, VOREL_PLANES(true, y_nv21), true, nullptr},
    {"yuv420", COLOR_YUV420, VOREL_FRAMES(yuv420), false, nullptr},
    {"nv21", COLOR_NV21, VOREL_FRAMES(nv21), false, nullptr},
    {"rgba8888", COLOR_RGBA8888, run_rgba, true, nullptr},
    {"rgb888", COLOR_RGB888, run_frame<vorel_resize_rgb888, vorel_resize_rgb888, vorel_resize_rgb888>, false, nullptr},
    {"y_nv21_to_rgba", COLOR_NV21, VOREL_FUSED(true, y_nv21_to_rgba), true, nv21_to_rgba8888},
    {"y_nv12_to_rgba", COLOR_NV21, VOREL_FUSED(true, y_nv12_to_rgba), true, nv12_to_rgba8888},
    {"y_nv21_to_bgra", COLOR_NV21, VOREL_FUSED(true, y_nv21_to_bgra), true, nv21_to_bgra8888},
    {"y_nv12_to_bgra", COLOR_NV21, VOREL_FUSED(true, y_nv12_to_bgra), true, nv12_to_bgra8888},
    {"y_u_v_to_rgba", COLOR_YUV420, VOREL_FUSED(false, y_u_v_to_rgba), true, yuv420_to_rgba8888},
    {"y_u_v_to_bgra", COLOR_YUV420, VOREL_FUSED(false, y_u_v_to_bgra), true, yuv420_to_bgra8888}};
const std::span kResizers(kFamilies, 6);

Bytes converted(const Family &family, const Bytes &frame, Size size) {
    if (!family.convert) return frame;
    Bytes out(area(size.width, size.height) * 4);
    family.convert(size.width, size.height, frame.data(), out.data());
    return out;
}

std::string named(const Family &family, Size s, Size d) {
    return std::string(family.name) + " " + std::to_string(s.width) + "x" + std::to_string(s.height) + " to " +
           std::to_string(d.width) + "x" + std::to_string(d.height);
}

TEST(Resize, EveryFormEqualsTheClosedFormula) {
    constexpr Size kSizes[][2] = {{{1, 1}, {1, 1}},       {{1, 1}, {7, 5}},        {{8, 8}, {3, 3}},
                                  {{40, 30}, {20, 15}},   {{64, 64}, {32, 32}},    {{65, 33}, {5, 5}},
                                  {{33, 65}, {33, 65}},   {{17, 9}, {50, 41}},     {{200, 100}, {9, 64}},
                                  {{640, 3}, {10, 2}},    {{3, 640}, {2, 10}},     {{128, 96}, {64, 24}},
                                  {{100, 1040}, {48, 3}}, {{35, 1039}, {31, 700}}, {{12, 1024}, {12, 1024}},
                                  {{30, 1100}, {8, 1}},   {{131, 70}, {66, 35}},   {{16, 2000}, {12, 2600}}};
    for (const auto &pair : kSizes) {
        const Size from = pair[0], to = pair[1];
        for (const Family &family : kFamilies) {
            const Bytes noisy = noise(format_bytes(family.format, from.width, from.height), 3);
            GuardBuffer src(noisy);
            const Bytes expected =
                converted(family, model_resize(family.format, noisy, from.width, from.height, to.width, to.height), to);
            for (const Way way : {kChosen, kSingle, kThreaded}) {
                // A frame that does not fit the cache is asked for ahead.
                for (const size_t cache : {size_t{1}, size_t{1} << 30}) {
                    const SmallCache small(cache);
                    const Bytes out = whole_output(
                        expected.size(), [&](uint8_t *dst) { family.run(way, src.data(), dst, from, to, nullptr); });
                    ASSERT_TRUE(out == expected) << named(family, from, to) << " way " << way;
                }
            }
        }
    }
}

TEST(Resize, ThreadedEqualsSingleAtEveryHeightInAnyOrder) {
    const ShuffledTasks shuffled(9);
    const Bytes src = noise(area(29, 3000) * 4, 2);
    for (int height = 1; height <= 3000; height += kSlowBuild ? 89 : 1) {
        const Size from = {1 + height * 11 % 29, height};
        const int to_height = height % 3 == 0 ? height * 2 : height % 5 ? height / 2 : height / 17;
        const Size to = {1 + height * 5 % 23, 1 + to_height};
        for (const Family &family : kResizers) {
            Bytes single(format_bytes(family.format, to.width, to.height), 1), threaded(single.size(), 2);
            family.run(kSingle, src.data(), single.data(), from, to, nullptr);
            family.run(kThreaded, src.data(), threaded.data(), from, to, nullptr);
            ASSERT_TRUE(single == threaded) << named(family, from, to);
        }
    }
}

TEST(Resize, HighSourcesAreCutIntoTheSpecifiedBands) {
    WatchedTasks watched;
    // Source and destination height, bands; 0: the calling thread, by height or because one band is all.
    constexpr struct {
        int from, to, bands;
    } kRows[] = {{1023, 512, 0}, {1024, 1024, 32}, {1039, 1039, 32}, {1040, 1040, 33}, {1024, 3, 3}, {1024, 1, 0}};
    for (const auto &row : kRows) {
        const Bytes src = noise(area(4, row.from) * 4, 1);
        Bytes out(area(4, row.to) * 4);
        vorel_resize_rgba8888(src.data(), out.data(), 4, row.from, 4, row.to);
        EXPECT_EQ(watched.take_count(), row.bands) << row.from << " to " << row.to;
    }
}

// A record at its picture's start, as it stands before the first band.
ResizeBand band_of(const uint8_t *src, Size from, uint8_t *dst, Size to, int rows) {
    ResizeBand band = {};
    band.srcWidth = from.width;
    band.srcHeight = from.height;
    band.dstWidth = to.width;
    band.dstHeight = to.height;
    band.srcY = band.srcU = band.srcV = src;
    band.dst = dst;
    band.bandRows = rows;
    band.tapA = from.height >> 2;
    band.tapB = 3 * from.height >> 2;
    return band;
}

TEST(Resize, ATaskWithoutACanvasASourceOrScratchEnds) {
    uint8_t pixels[100] = {};
    const ResizeCanvas canvas = {pixels, 0, 4, 0, 0, 4};
    // The first has all but an empty canvas, the next lack a plane each, the last its scratch.
    for (int lack = 0; lack < 5; ++lack) {
        const int size = lack < 4 ? 4 : 5;
        ResizeBand band = band_of(pixels, {size, size}, pixels, {size, size}, 4);
        band.rowsThisBand = 4;
        band.chromaRowsThisBand = 2;
        if (lack == 0) band.canvas = &canvas;
        if (lack == 1) band.srcY = nullptr;
        if (lack == 2) band.srcU = nullptr;
        if (lack == 3) band.srcV = nullptr;
        lack ? vorel_resize_y_u_v_tp(&band) : vorel_resize_rgba8888_keep_ratio_tp(&band);
        EXPECT_EQ(band.finished, 1) << lack;
        EXPECT_EQ(band.rowsDone, 0) << lack;
        vorel_resize_y_u_v_get_pos(&band);
        EXPECT_EQ(band.rowsDone, 4) << lack;
    }
}

// A record stands where the walk over its rows led: each tap passes one output row for every `srcHeight` that the
// accumulator, which grows by `dstHeight` a row, is ahead of where the tap started.
void expect_moved_on(const ResizeBand &band, size_t dst_pitch) {
    const int64_t accumulator = int64_t{band.rowsDone} * band.dstHeight, height = band.srcHeight;
    EXPECT_EQ(band.accumulator, accumulator);
    EXPECT_EQ(band.srcOffset, static_cast<size_t>(band.rowsDone) * static_cast<size_t>(band.srcWidth) * 4);
    const auto expect_tap = [&](int64_t start, int64_t tap, size_t row) {
        const int64_t passed = accumulator > start ? (accumulator - start + height - 1) / height : 0;
        EXPECT_EQ(tap, start + passed * height);
        EXPECT_EQ(row, static_cast<size_t>(passed) * dst_pitch);
    };
    expect_tap(height >> 2, band.tapA, band.firstTapRow);
    expect_tap(3 * height >> 2, band.tapB, band.secondTapRow);
}

TEST(Resize, BandsOfAnyHeightMakeTheWholeResult) {
    for (const Size to : {Size{20, 12}, {8, 96}, {36, 60}}) {
        const Size from = {36, 61};
        for (const int band_rows : {1, 7, 32, 100}) {
            const Bytes src = noise(area(36, 61) * 4, 5);
            const Bytes expected = model_resize(COLOR_RGBA8888, src, 36, 61, to.width, to.height);
            const Bytes out = whole_output(expected.size(), [&](uint8_t *dst) {
                ResizeBand band = band_of(src.data(), from, dst, to, band_rows);
                std::vector<ResizeBand> bands;
                while (band.rowsDone < from.height) {
                    bands.push_back(band);
                    vorel_resize_rgba8888_get_pos(&band);
                    EXPECT_EQ(band.rowsThisBand, std::min(band_rows, from.height - bands.back().rowsDone));
                    expect_moved_on(band, to.width * size_t{4});
                    bands.back().rowsThisBand = band.rowsThisBand;
                }
                for (size_t i = bands.size(); i-- > 0;) {
                    vorel_resize_rgba8888_tp(&bands[i]);
                    EXPECT_EQ(bands[i].finished, 1);
                }
            });
            EXPECT_TRUE(out == expected) << to.height << " in bands of " << band_rows;
        }
    }
}

// ---- Canvases

// A plane laid into a plane filled with one value.
Bytes pasted(const uint8_t *src, Size from, Size to, int left, int top, int unit, uint8_t fill) {
    Bytes out(area(to.width, to.height) * static_cast<size_t>(unit), fill);
    for (int y = 0; y < from.height; ++y) {
        for (int x = 0; x < from.width; ++x) {
            const int to_x = x + left, to_y = y + top;
            if (to_x < 0 || to_y < 0 || to_x >= to.width || to_y >= to.height) continue;
            std::memcpy(&out[static_cast<size_t>((to_y * to.width + to_x) * unit)], src + (y * from.width + x) * unit,
                        static_cast<size_t>(unit));
        }
    }
    return out;
}
Bytes model_canvas(int32_t format, const Bytes &picture, Size size, Size canvas, int left, int top) {
    if (format == COLOR_RGBA8888) return pasted(picture.data(), size, canvas, left, top, 4, 0);
    const Size chroma = {half_up(size.width), half_up(size.height)};
    const Size canvas_chroma = {half_up(canvas.width), half_up(canvas.height)};
    Bytes out = pasted(picture.data(), size, canvas, left, top, 1, 0);
    const uint8_t *at = picture.data() + area(size.width, size.height);
    const int unit = format == COLOR_YUV420 ? 1 : 2;
    for (int i = 0; i < 3 - unit; ++i, at += area(chroma.width, chroma.height)) {
        const Bytes part = pasted(at, chroma, canvas_chroma, left / 2, top / 2, unit, 128);
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

struct CanvasCase {
    Size from, canvas;
    int left, top, target;
};
// Inside, flush with the edges, over the top, the left and the bottom, and wholly outside.
constexpr CanvasCase kCanvasCases[] = {
    {{40, 30}, {64, 48}, 8, 6, 32},    {{40, 30}, {64, 48}, 24, 18, 40},     {{33, 47}, {65, 71}, 5, 3, 41},
    {{40, 30}, {64, 48}, 8, 40, 32},   {{40, 30}, {64, 48}, -8, -6, 32},     {{40, 30}, {64, 48}, -100, 0, 60},
    {{20, 1100}, {31, 700}, 3, 9, 12}, {{20, 1100}, {31, 700}, -2, -50, 12}, {{40, 30}, {64, 48}, 4, 500, 32},
};

TEST(Resize, CanvasesTakeThePictureAndItsEdgesCutIt) {
    for (const CanvasCase &c : kCanvasCases) {
        const Size target = {c.target, c.from.height * c.target / c.from.width};
        for (const Family &family : kFamilies) {
            if (!family.has_canvas) continue;
            const Bytes src = noise(format_bytes(family.format, c.from.width, c.from.height), 6);
            const Bytes picture =
                model_resize(family.format, src, c.from.width, c.from.height, target.width, target.height);
            const Bytes expected =
                converted(family, model_canvas(family.format, picture, target, c.canvas, c.left, c.top), c.canvas);
            for (const Way way : {kChosen, kSingle, kThreaded}) {
                const Bytes out = whole_output(expected.size(), [&](uint8_t *pixels) {
                    ResizeCanvas canvas = {pixels, c.canvas.width, c.canvas.height, c.left, c.top, c.target};
                    family.run(way, src.data(), nullptr, c.from, {}, &canvas);
                    EXPECT_EQ(canvas.pixels, pixels);
                });
                ASSERT_TRUE(out == expected) << family.name << " at " << c.left << "," << c.top;
            }
        }
    }
}

TEST(Resize, CanvasesTooSmallStayUntouched) {
    const Bytes src = noise(100 * 100 * 4, 1);
    const ResizeCanvas kCanvases[] = {
        {nullptr, 64, 48, 33, 0, 32},        {nullptr, 64, 23, 0, 0, 32},    {nullptr, 64, 48, 0, 0, 0},
        {nullptr, 64, 48, 0, 0, -4},         {nullptr, 0, 48, -50, 0, 32},   {nullptr, 64, 0, 0, 0, 1},
        {nullptr, 64, 48, INT32_MAX, 0, 32}, {nullptr, 64, -48, 0, -99, 32},
    };
    for (ResizeCanvas canvas : kCanvases) {
        GuardBuffer pixels(64, 5);
        canvas.pixels = pixels.data();
        for (const Family &family : kFamilies)
            for (const Way way : {kChosen, kSingle, kThreaded})
                if (family.has_canvas) family.run(way, src.data(), nullptr, {40, 30}, {}, &canvas);
        EXPECT_EQ(pixels.bytes(), Bytes(64, 5));
    }
    ResizeCanvas flat = {nullptr, 64, 48, 0, 0, 32};  // 40 x 1 gives a height of 0
    GuardBuffer pixels(64, 5);
    flat.pixels = pixels.data();
    vorel_resize_rgba8888_keep_ratio(src.data(), &flat, 40, 1);
    // More bytes than there are addresses.
    flat = {pixels.data(), INT32_MAX, INT32_MAX, 0, 0, 32};
    vorel_resize_rgba8888_keep_ratio(src.data(), &flat, 40, 30);
    vorel_resize_rgba8888_keep_ratio(src.data(), nullptr, 40, 30);
    vorel_resize_y_u_v_keep_ratio(src.data(), src.data(), src.data(), nullptr, 40, 30);
    EXPECT_EQ(pixels.bytes(), Bytes(64, 5));
}

TEST(Resize, SizesThatMakeNoFrameTouchNothing) {
    // The first has more bytes than there are addresses, as RGBA.
    constexpr Size kBad[] = {{INT32_MAX, INT32_MAX}, {0, 4}, {4, 0}, {-4, 4}, {4, -4}, {INT32_MIN, INT32_MIN}};
    GuardBuffer nothing(96, 4);
    for (const Size bad : kBad) {
        for (const Family &family : kFamilies) {
            for (const Way way : {kChosen, kSingle, kThreaded}) {
                if (bad.width > 0 && bad.height > 0 && family.format != COLOR_RGBA8888) continue;
                family.run(way, nothing.data(), nothing.data(), bad, {4, 4}, nullptr);
                family.run(way, nothing.data(), nothing.data(), {4, 4}, bad, nullptr);
            }
        }
    }
    vorel_resize_rgba8888(nullptr, nothing.data(), 4, 4, 4, 4);
    vorel_resize_rgba8888(nothing.data(), nullptr, 4, 4, 4, 4);
    vorel_resize_y_u_v(nothing.data(), nullptr, nothing.data(), nothing.data(), 4, 4, 4, 4);
    vorel_resize_y_u_v(nothing.data(), nothing.data(), nullptr, nothing.data(), 4, 4, 4, 4);
    vorel_resize_y_nv21(nothing.data(), nullptr, nothing.data(), 4, 4, 4, 4);
    vorel_resize_yuv420(nullptr, nothing.data(), 4, 4, 4, 4);
    EXPECT_EQ(nothing.bytes(), Bytes(96, 4));
}

// Frames beyond 2^31 bytes: addresses that are memory only where they are written.
TEST(Resize, FramesBeyondTwoGigabytes) {
    if (sizeof(size_t) < 8) GTEST_SKIP() << "no such frames";
    constexpr int kWidth = 40000, kHeight = 60000;
    constexpr size_t kBytes = size_t{kWidth} * kHeight * 4;
    void *map = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED) GTEST_SKIP() << "no addresses for them";
    auto *frame = static_cast<uint8_t *>(map);
    // Of four rows the last one draws on these, and its last sample on these columns.
    const size_t last = size_t{kWidth} * (kHeight / 4 * 3 + kHeight / 16) + kWidth / 4 * 3 + kWidth / 16;
    std::memset(frame + last * 4, 200, 4);
    Bytes out(4 * 4 * 4, 9);
    vorel_resize_rgba8888(frame, out.data(), kWidth, kHeight, 4, 4);
    EXPECT_EQ(out[63], 50);
    EXPECT_EQ(out[0], 0);
    frame[last] = 100;
    vorel_resize_nv21(frame, out.data(), kWidth, kHeight, 4, 4);
    EXPECT_EQ(out[15], 25);
    munmap(map, kBytes);
}

// Without scratch nothing is written; any other memory only makes the work slower.
TEST(Resize, WithoutMemoryNothingOrTheWholeResultIsWritten) {
    const ShuffledTasks shuffled(7);
    for (const Family &family : kResizers) {
        for (const Size to : {Size{20, 600}, {21, 601}}) {
            const Bytes src = noise(format_bytes(family.format, 30, 1100), 7);
            const Bytes expected = model_resize(family.format, src, 30, 1100, to.width, to.height);
            const bool may_fail = to.width % 4 && family.format != COLOR_RGBA8888 && family.format != COLOR_RGB888;
            int failures = 0;
            with_each_allocation_failing([&](CountingAllocator &) {
                Bytes out(expected.size(), 3);
                family.run(kChosen, src.data(), out.data(), {30, 1100}, to, nullptr);
                if (out == expected) return;
                ++failures;
                EXPECT_TRUE(out == Bytes(expected.size(), 3)) << family.name;
            });
            EXPECT_EQ(failures, may_fail ? 1 : 0) << family.name;
        }
    }
}

}  // namespace
}  // namespace vorel::test
