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

namespace vorel::test {
namespace {

constexpr int kWidth = 320, kHeight = 240;

VrOptions options_for(int32_t sample) {
    VrOptions options = {};
    options.sampleSize = sample;
    options.colorFormat = COLOR_RGBA8888;
    return options;
}

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

// Into memory that was filled before.
Bytes region_into(RegionHandle *handle, const Rectangle &at, int sample, uint8_t fill) {
    VrOptions options = options_for(sample);
    GuardBuffer output(at.bytes(sample), fill);
    EXPECT_EQ(decodeRegion2(handle, output.data(), at.left, at.right, at.top, at.bottom, &options), 1);
    return output.bytes();
}

// The pixels of a rectangle that hangs over: those of the picture, and 0 elsewhere. All in pixels of the reduced one.
Bytes placed_cut(const Bytes &whole, int stride, int width, int height, const Rectangle &at) {
    Bytes pixels;
    for (int y = at.top; y < at.bottom; ++y) {
        for (int x = at.left; x < at.right; ++x) {
            const bool inside = x >= 0 && x < width && y >= 0 && y < height;
            for (int c = 0; c < 4; ++c)
                pixels.push_back(inside ? whole[static_cast<size_t>((y * stride + x) * 4 + c)] : 0);
        }
    }
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
                const bool resized = c.type == VOREL_IMAGE_DNG && sample > 1;
                Bytes expected;
                if (resized) {
                    const Bytes full = region_of(handle.get(), at, 1);
                    expected.resize(at.bytes(sample));
                    vorel_resize_rgba8888(full.data(), expected.data(), at.right - at.left, at.bottom - at.top,
                                          (at.right - at.left) / sample, (at.bottom - at.top) / sample);
                } else {
                    const int x = at.left / sample, y = at.top / sample;
                    expected = placed_cut(whole, size.width, kWidth / sample, kHeight / sample,
                                          {x, x + (at.right - at.left) / sample, y, y + (at.bottom - at.top) / sample});
                }
                EXPECT_TRUE(region_of(handle.get(), at, sample) == expected);
                EXPECT_TRUE(region_into(handle.get(), at, sample, 0) == expected);
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
            const Bytes decoded = region_of(handle.get(), at, by_decoder);
            Bytes expected(at.bytes(sample));
            vorel_resize_rgba8888(decoded.data(), expected.data(), 176 / by_decoder, 160 / by_decoder, 176 / sample,
                                  160 / sample);
            EXPECT_TRUE(region_of(handle.get(), at, sample) == expected) << c.name << sample;
            EXPECT_TRUE(region_into(handle.get(), at, sample, 0x5A) == expected) << c.name << sample;
        }
    }
}

// A sample of a plane, or the pixel's bytes, of a picture in any format.
struct PlanePlace {
    size_t at;
    int unit;
};
std::vector<PlanePlace> places_of(int32_t format, int width, int height, int x, int y) {
    std::vector<PlanePlace> places;
    size_t start = 0;
    const Layout layout = layout_of(format);
    for (const PlaneSize &plane : planes_of(format, width, height)) {
        const bool chroma = start != 0;
        const int px = chroma ? x / layout.across : x, py = chroma ? y / layout.down : y;
        places.push_back(
            {start + (area(plane.width, py) + static_cast<size_t>(px)) * static_cast<size_t>(plane.unit), plane.unit});
        start += area(plane.width, plane.height) * static_cast<size_t>(plane.unit);
    }
    return places;
}

// Every selector's format, hanging over each edge by even and odd amounts: inside stands what the rectangle without the
// overhang gives, luma outside is 0 and chroma 128, and pixels outside stay as they were.
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
            const int width = std::min(at.x + at.width, kWidth) - left,
                      height = std::min(at.y + at.height, kHeight) - top;
            const bool empty = width <= 0 || height <= 0;
            const std::vector<PlanePlace> last = places_of(format, at.width, at.height, at.width - 1, at.height - 1);
            GuardBuffer output(last.back().at + static_cast<size_t>(last.back().unit), 0x5A);
            Bytes inside(area(kWidth, kHeight) * 4, 0);
            if (!empty) ASSERT_EQ(VrDoDecodeRegionEx(session, inside.data(), left, top, width, height, format, 1), 1);
            EXPECT_EQ(VrDoDecodeRegionEx(session, output.data(), at.x, at.y, at.width, at.height, format, 1), !empty);
            const bool planes = last.size() > 1;
            int wrong = 0;
            for (int y = 0; y < at.height; ++y) {
                for (int x = 0; x < at.width; ++x) {
                    const int from_x = x + at.x - left, from_y = y + at.y - top;
                    const bool in = !empty && from_x >= 0 && from_x < width && from_y >= 0 && from_y < height;
                    const std::vector<PlanePlace> to = places_of(format, at.width, at.height, x, y);
                    const std::vector<PlanePlace> from =
                        in ? places_of(format, width, height, from_x, from_y) : std::vector<PlanePlace>();
                    for (size_t p = 0; p < to.size(); ++p) {
                        // Chroma that an edge runs through belongs to either side.
                        const bool odd = (at.x - left) % 2 != 0 || (at.y - top) % 2 != 0;
                        const bool border = p > 0 && (odd || width % 2 != 0 || height % 2 != 0);
                        if (border && (in || (from_x >= -1 && from_x <= width && from_y >= -1 && from_y <= height)))
                            continue;
                        for (int b = 0; b < to[p].unit; ++b) {
                            const int is = output.data()[to[p].at + static_cast<size_t>(b)];
                            const int wanted = in        ? inside[from[p].at + static_cast<size_t>(b)]
                                               : !planes ? 0x5A
                                               : p == 0  ? 0
                                                         : 128;
                            wrong += is != wanted;
                        }
                    }
                }
            }
            EXPECT_EQ(wrong, 0);
        }
    }
    GuardBuffer output(400, 0x5A);
    for (const int sample : {0, -1}) {
        EXPECT_EQ(VrDoDecodeRegionEx(session, output.data(), 0, 0, 10, 10, COLOR_RGBA8888, sample), 0);
    }
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
            EXPECT_TRUE(region_of(handle.get(), {0, 16, 0, 16}, 0 + 1) != Bytes());
            options.sampleSize = 0;
            EXPECT_EQ(decodeRegion(handle.get(), 0, 16, 0, 16, &options), nullptr);
            options.sampleSize = 1;
            EXPECT_EQ(decodeRegion(handle.get(), 16, 16, 0, 16, &options), nullptr);
            EXPECT_EQ(decodeRegion(handle.get(), 0, 16, 20, 4, &options), nullptr);
            EXPECT_EQ(decodeRegion(handle.get(), INT32_MIN, INT32_MAX, 0, 16, &options), nullptr);
            options.sampleSize = 32;
            EXPECT_EQ(decodeRegion(handle.get(), 0, 16, 0, 16, &options), nullptr);
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
    const Handle handle = open_bytes(jpeg_of(kWidth, kHeight));
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
