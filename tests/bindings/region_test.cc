// Rectangles through the calls for any type: each is a cut of the whole picture, wherever it lies.
#include <gtest/gtest.h>
#include <vorel/jpeg_region.h>
#include <vorel/jpeg_statistics.h>
#include <vorel/util.h>

#include <atomic>
#include <thread>

#include "bindings/pictures.h"
#include "dng/support/dng_builder.h"
#include "png/images.h"
#include "support/counting_allocator.h"
#include "support/layouts.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 320, kHeight = 240;

struct Rectangle {
    int left, right, top, bottom;
    size_t bytes(int sample) const { return area((right - left) / sample, (bottom - top) / sample) * 4; }
};

struct Recycler {
    void operator()(RegionHandle *handle) const { recycle(handle); }
};
using Handle = std::unique_ptr<RegionHandle, Recycler>;

Handle open_bytes(const Bytes &file) {
    VrOptions options = options_for(1);
    return Handle(newInstanceByteArray(file.data(), length_of(file), &options));
}

Bytes region_of(RegionHandle *handle, const Rectangle &at, int sample) {
    VrOptions options = options_for(sample);
    return taken(decodeRegion(handle, at.left, at.right, at.top, at.bottom, &options), at.bytes(sample));
}

// Into new memory, and into such that was filled before.
void expect_region(const Bytes &expected, RegionHandle *handle, const Rectangle &at, int sample, uint8_t fill) {
    EXPECT_TRUE(region_of(handle, at, sample) == expected);
    VrOptions options = options_for(sample);
    GuardBuffer output(at.bytes(sample), fill);
    EXPECT_EQ(decodeRegion2(handle, output.data(), at.left, at.right, at.top, at.bottom, &options), 1);
    EXPECT_TRUE(output.bytes() == expected);
}

// The pixels of a rectangle of a reduced picture: 0 where it hangs over.
Bytes placed_cut(const Bytes &whole, int stride, const Size &size, const Rectangle &at, int sample) {
    Bytes pixels;
    for (int y = at.top / sample; y < at.top / sample + (at.bottom - at.top) / sample; ++y) {
        for (int x = at.left / sample; x < at.left / sample + (at.right - at.left) / sample; ++x) {
            const bool inside = x >= 0 && x < size.width && y >= 0 && y < size.height;
            const Bytes pixel = inside ? cut_of(whole, stride, x, y, 1, 1) : Bytes(4);
            pixels.insert(pixels.end(), pixel.begin(), pixel.end());
        }
    }
    return pixels;
}

Bytes resized(const Bytes &from, const Rectangle &at, int sample, int to_sample) {
    Bytes pixels(at.bytes(to_sample));
    vorel_resize_rgba8888(from.data(), pixels.data(), (at.right - at.left) / sample, (at.bottom - at.top) / sample,
                          (at.right - at.left) / to_sample, (at.bottom - at.top) / to_sample);
    return pixels;
}

struct Case {
    const char *name;
    Bytes file;
    int type;
};

std::vector<Case> cases() {
    return {{"JPEG", jpeg_of(kWidth, kHeight), VOREL_IMAGE_JPEG},
            {"PNG", make_png({kWidth, kHeight, 2, 8}), VOREL_IMAGE_PNG},
            {"raw", dng_of(kWidth, kHeight), VOREL_IMAGE_DNG}};
}

// Multiples of 16, so that every reduction has its pixels where the whole picture's reduction has them.
constexpr Rectangle kRectangles[] = {
    {0, kWidth, 0, kHeight}, {48, 208, 32, 160}, {-32, 96, -16, 64}, {256, 384, 160, 272}, {-64, kWidth + 64, 96, 128}};

TEST(BindingsRegion, RectanglesAreCuts) {
    std::vector<Case> all = cases();
    all.push_back({"interlaced PNG", make_png({kWidth, kHeight, 2, 8, true}), VOREL_IMAGE_PNG});
    for (const Case &c : all) {
        const Handle handle = open_bytes(c.file);
        ASSERT_TRUE(handle) << c.name;
        for (const int sample : {1, 2, 3, 4, 6, 8}) {
            if (sample % 3 == 0 && c.type != VOREL_IMAGE_JPEG) continue;
            // The last row of a reduced rectangle is another one, but for interlaced pictures, which lack the last row
            // of all at full size.
            if (c.type == VOREL_IMAGE_PNG && (sample == 1) == (c.file == all.back().file)) continue;
            VrOptions options = options_for(sample);
            const Size size = rounded(kWidth, kHeight, sample);
            const Bytes whole =
                taken(decodeByteArray(c.file.data(), length_of(c.file), &options), area(size.width, size.height) * 4);
            for (const Rectangle &at : kRectangles) {
                SCOPED_TRACE(c.name + std::string(" ") + std::to_string(sample) + " " + std::to_string(at.left));
                // Reduced raw rectangles are resized ones, and what they hang over is resized with them.
                const Bytes expected =
                    c.type == VOREL_IMAGE_DNG && sample > 1
                        ? resized(region_of(handle.get(), at, 1), at, 1, sample)
                        : placed_cut(whole, size.width, {kWidth / sample, kHeight / sample}, at, sample);
                expect_region(expected, handle.get(), at, sample, 0);
            }
        }
    }
}

// What a decoder does not reduce to is made by resizing.
TEST(BindingsRegion, LargeReductionsAreResized) {
    const Rectangle at = {48, 48 + 176, 32, 32 + 160};
    for (const Case &c : cases()) {
        const Handle handle = open_bytes(c.file);
        for (const int sample : {9, 16, 40}) {
            const int by_decoder = c.type == VOREL_IMAGE_DNG ? 1 : 8;
            const Bytes expected = resized(region_of(handle.get(), at, by_decoder), at, by_decoder, sample);
            SCOPED_TRACE(c.name + std::to_string(sample));
            expect_region(expected, handle.get(), at, sample, 0x5A);
        }
    }
}

// Puts a picture into a larger one of the same format, its corner at (x, y). The planes whose samples that divides.
size_t put_planes(Bytes *into, const Size &size, const Bytes &from, const Size &part, int32_t format, int x, int y) {
    size_t to_at = 0, from_at = 0;
    const Layout layout = layout_of(format);
    const std::vector<PlaneSize> target = planes_of(format, size.width, size.height),
                                 source = planes_of(format, part.width, part.height);
    for (size_t p = 0; p < target.size(); ++p) {
        const int across = p ? layout.across : 1, down = p ? layout.down : 1, unit = target[p].unit;
        if (x % across || y % down || part.width % across || part.height % down) return to_at;
        for (int row = 0; row < source[p].height; ++row) {
            const int bytes = source[p].width * unit, at = ((y / down + row) * target[p].width + x / across) * unit;
            std::copy_n(from.begin() + static_cast<int>(from_at) + row * bytes, bytes,
                        into->begin() + static_cast<int>(to_at) + at);
        }
        to_at += area(target[p].width, target[p].height) * static_cast<size_t>(unit);
        from_at += area(source[p].width, source[p].height) * static_cast<size_t>(unit);
    }
    return to_at;
}

// Every selector's format, hanging over each edge by even and odd amounts: inside stands what the rectangle without the
// overhang gives, luma outside is 0 and chroma 128, and pixels outside stay as they were. Chroma that an edge runs
// through belongs to either side, and is not looked at.
TEST(BindingsRegion, FormatsThatHangOver) {
    const Bytes file = jpeg_of(kWidth, kHeight);
    const Handle handle = open_bytes(file);
    DecInfo *session = static_cast<DecInfo *>(handle->decoder);
    struct Overhang {
        int x, y, width, height;
    };
    for (const int32_t format : {COLOR_RGB565, COLOR_YUV420, COLOR_RGBA8888, COLOR_NV21, COLOR_NV12}) {
        for (const Overhang &at : {Overhang{-10, -6, 100, 50},
                                   {300, 220, 33, 35},
                                   {-7, 100, 60, 21},
                                   {20, -5, 31, 20},
                                   {-8, -8, kWidth + 16, kHeight + 16},
                                   {400, 10, 20, 20},
                                   {10, -30, 20, 20}}) {
            SCOPED_TRACE(std::to_string(format) + " " + std::to_string(at.x) + " " + std::to_string(at.y));
            const int left = std::max(at.x, 0), top = std::max(at.y, 0);
            const Size size = {at.width, at.height},
                       part = {std::min(at.x + at.width, kWidth) - left, std::min(at.y + at.height, kHeight) - top};
            const bool empty = part.width <= 0 || part.height <= 0, planes = layout_of(format).pixel_bytes == 0;
            Bytes expected(format_bytes(format, at.width, at.height), planes ? 128 : 0x5A);
            if (planes) std::fill_n(expected.begin(), at.width * at.height, 0);
            GuardBuffer output(expected.size(), 0x5A);
            EXPECT_EQ(VrDoDecodeRegionEx(session, output.data(), at.x, at.y, at.width, at.height, format, 1), !empty);
            size_t known = expected.size();
            if (!empty) {
                Bytes inside(format_bytes(format, part.width, part.height));
                ASSERT_EQ(VrDoDecodeRegionEx(session, inside.data(), left, top, part.width, part.height, format, 1), 1);
                known = put_planes(&expected, size, inside, part, format, left - at.x, top - at.y);
            }
            EXPECT_TRUE(head(output.bytes(), known) == head(expected, known));
        }
    }
    GuardBuffer output(400, 0x5A);
    EXPECT_EQ(VrDoDecodeRegionEx(session, output.data(), 0, 0, 10, 10, COLOR_RGBA8888, 0), 0);
    EXPECT_EQ(VrDoDecodeRegionEx(session, output.data(), INT32_MAX, INT32_MIN, 10, 10, COLOR_RGBA8888, 1), 0);
    EXPECT_EQ(output.bytes(), Bytes(400, 0x5A));
}

TEST(BindingsRegion, PngRectanglesThatHangOver) {
    const Bytes file = make_png({kWidth, kHeight, 6, 8});
    const Handle handle = open_bytes(file);
    vpng_tile_index *index = static_cast<vpng_tile_index *>(handle->decoder);
    for (const int sample : {1, 3, 8}) {
        // 36 columns and 24 rows of the rectangle are outside.
        GuardBuffer output(area(120 / sample, 96 / sample) * 4, 0x5A), inside(area(84 / sample, 72 / sample) * 4);
        ASSERT_EQ(onDecodeVPNGSubset(index, inside.data(), 0, 0, 84, 72, sample), 1);
        ASSERT_EQ(VrDoDecodeRegionPNGEx(index, output.data(), -36, -24, 120, 96, COLOR_RGBA8888, sample), 1);
        const int x = 36 / sample, y = 24 / sample;
        EXPECT_TRUE(cut_of(output.bytes(), 120 / sample, x, y, 84 / sample, 72 / sample) == inside.bytes()) << sample;
        EXPECT_EQ(cut_of(output.bytes(), 120 / sample, 0, 0, 120 / sample, y), Bytes(area(120 / sample, y) * 4, 0x5A));
        EXPECT_EQ(cut_of(output.bytes(), 120 / sample, 0, 0, x, 96 / sample), Bytes(area(x, 96 / sample) * 4, 0x5A));
    }
    GuardBuffer output(4 * 100, 0x5A);
    EXPECT_EQ(VrDoDecodeRegionPNGEx(index, output.data(), kWidth, 0, 10, 10, COLOR_RGBA8888, 1), 0);
    EXPECT_EQ(VrDoDecodeRegionPNGEx(index, output.data(), 0, 0, 10, 10, COLOR_RGBA8888, 0), 0);
    EXPECT_EQ(VrDoDecodeRegionPNGEx(index, output.data(), 0, 0, 10, 10, COLOR_RGB565, 1), 0);
    EXPECT_EQ(output.bytes(), Bytes(400, 0x5A));
}

TEST(BindingsRegion, OpenPictures) {
    LogCapture log;
    for (const Case &c : cases()) {
        SCOPED_TRACE(c.name);
        const TempFile on_disk(c.file);
        for (const bool by_path : {true, false}) {
            VrOptions options = options_for(1);
            const Handle handle(by_path ? newInstanceFile(on_disk.path(), &options)
                                        : newInstanceByteArray(c.file.data(), length_of(c.file), &options));
            ASSERT_TRUE(handle);
            EXPECT_TRUE(options.width == kWidth && options.height == kHeight && options.fileType == c.type);
            EXPECT_EQ(options.handle, handle->decoder);
            log.take();
            EXPECT_EQ(getWidth(handle.get()), kWidth);
            const std::vector<LogLine> lines = log.take();
            ASSERT_EQ(lines.size(), 2u);
            EXPECT_EQ(lines[0].text, "rd->file_type : " + std::to_string(c.type));
            EXPECT_EQ(lines[1].text, "pDecInfo->imageWidth : " + std::to_string(kWidth));
            EXPECT_EQ(getHeight(handle.get()), kHeight);
            const bool raw = c.type == VOREL_IMAGE_DNG;
            EXPECT_EQ(getCropSizeWidth(handle.get()), raw ? kWidth : 0);
            EXPECT_EQ(getCropSizeHeight(handle.get()), raw ? kHeight : 0);
            EXPECT_EQ(getCropOriginX(handle.get()) + getCropOriginY(handle.get()), 0);
            EXPECT_STREQ(getExifMake(handle.get()), raw ? "Maker" : nullptr);
            EXPECT_TRUE(log.take().empty());
            // Nothing comes of these.
            for (const auto &[sample, at] : {std::pair{0, Rectangle{0, 16, 0, 16}},
                                             {1, {16, 16, 0, 16}},
                                             {1, {0, 16, 20, 4}},
                                             {1, {INT32_MIN, INT32_MAX, 0, 16}},
                                             {32, {0, 16, 0, 16}}}) {
                options.sampleSize = sample;
                EXPECT_EQ(decodeRegion(handle.get(), at.left, at.right, at.top, at.bottom, &options), nullptr);
            }
        }
        // Damaged in its header.
        Bytes broken(c.file.begin(), c.file.begin() + 40);
        EXPECT_FALSE(open_bytes(broken));
    }
    // A type that is none of the two asks for no work.
    VrOptions options = options_for(1);
    options.fileType = VOREL_IMAGE_GIF;
    EXPECT_EQ(VrNewInstance("x", 0, &options), 1);
}

TEST(BindingsRegion, ThreadsOnOneHandle) {
    for (const Case &c : cases()) {
        const Handle handle = open_bytes(c.file);
        std::vector<Bytes> expected;
        for (const Rectangle &at : kRectangles) expected.push_back(region_of(handle.get(), at, 2));
        std::atomic<int> wrong = 0;
        std::vector<std::thread> threads;
        for (size_t t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                for (size_t i = 0; i < 10; ++i) {
                    const size_t which = (t + i) % std::size(kRectangles);
                    if (region_of(handle.get(), kRectangles[which], 2) != expected[which]) ++wrong;
                }
            });
        }
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(wrong, 0) << c.name;
    }
}

// A cancel of an open picture stays: the next rectangles are not decoded. PNG has none.
TEST(BindingsRegion, Cancel) {
    const LogCapture log;
    for (const Case &c : cases()) {
        const Handle handle = open_bytes(c.file);
        EXPECT_EQ(decodeRegionCancel(handle.get()), c.type == VOREL_IMAGE_JPEG) << c.name;
        EXPECT_EQ(region_of(handle.get(), kRectangles[1], 1).empty(), c.type != VOREL_IMAGE_PNG) << c.name;
    }
    // The pass that makes the map can be stopped while it runs.
    const Bytes large = jpeg_of(4000, 3000);
    VrOptions options = options_for(1);
    std::atomic<bool> over = false;
    std::thread canceller([&] {
        while (!over) decodeCancel(&options), std::this_thread::yield();
    });
    const RegionHandle *opened = newInstanceByteArray(large.data(), length_of(large), &options);
    over = true;
    canceller.join();
    EXPECT_EQ(opened, nullptr);
    EXPECT_EQ(options.handle, nullptr);
}

TEST(BindingsRegion, IsAStepOfTheStatistics) {
    const Bytes jpeg = jpeg_of(kWidth, kHeight);
    const Handle handle = open_bytes(jpeg);
    vorel_jpeg_stat_reset();
    jsInfo.enabled = 1;
    region_of(handle.get(), {16, 80, 16, 80}, 1);
    jsInfo.enabled = 0;
    vorel_jpeg_stat_collect();
    EXPECT_GT(jsInfo.steps[JPEG_STAT_REGION].calls, 0u);
}

TEST(BindingsRegion, FailingAllocations) {
    const LogCapture log;
    for (const Case &c : cases()) {
        if (c.type == VOREL_IMAGE_DNG) continue;
        const Bytes expected = region_of(open_bytes(c.file).get(), kRectangles[2], 2);
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            {
                const Handle handle = open_bytes(c.file);
                const Bytes region = handle ? region_of(handle.get(), kRectangles[2], 2) : Bytes();
                EXPECT_TRUE(region == expected || (region.empty() && allocator.failed())) << c.name;
            }
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
        EXPECT_GT(allocations, 8u);
    }
}

}  // namespace
}  // namespace vorel::test
