// Descriptors, memory, allocation failures.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

#include "png/run.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(PngResources, ThousandsOfDecodesByPathLeaveNothing) {
    PngSpec spec;
    spec.width = 6;
    spec.height = 5;
    spec.colour_type = 6;
    const Bytes good = make_png(spec);
    const TempFile file(good), cut(head(good, good.size() / 2)), text_file(text("no picture"));
    CountingAllocator allocator;
    const int before = open_descriptors();
    uint8_t out[6 * 5 * 4];
    for (int i = 0; i < 1100; ++i) {
        ASSERT_EQ(decodeVPNG(file.path(), 0, nullptr, out, 6, 5, 1, 7), 1);
        ASSERT_EQ(decodeVPNG(cut.path(), 0, nullptr, out, 6, 5, 1, 7), 0);
        ASSERT_EQ(decodeVPNG(text_file.path(), 0, nullptr, out, 6, 5, 1, 7), 0);
        if (i % 10) continue;
        vpng_tile_index *handle = onBuildTileIndexVPNG(file.path(), 0, nullptr, 7);
        ASSERT_NE(handle, nullptr);
        ASSERT_EQ(onBuildTileIndexVPNG(cut.path(), 0, nullptr, 7), nullptr);
        ASSERT_EQ(onDecodeVPNGSubset(handle, out, 1, 1, 3, 3, 1), 1);
        vpng_destroy_read_struct(&handle->png, &handle->info, nullptr);
        VORELBRIM_OsFree(handle);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// The last piece of image data that came is all matches, so that it can be inflated again and again; the chunk claims
// 2^31 bytes of them.
TEST(PngResources, AnOldPieceOfImageDataIsNotInflatedForever) {
    constexpr size_t kPiece = 8192;
    const Bytes zeros(size_t{80} << 20);
    Bytes packed(zeros.size() / 100);
    z_stream stream = {};
    ASSERT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15, 9, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = const_cast<uint8_t *>(zeros.data());
    stream.avail_in = static_cast<uInt>(zeros.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    ASSERT_EQ(deflate(&stream, Z_NO_FLUSH), Z_OK);
    deflateEnd(&stream);
    const Bytes matches(kPiece, 0);
    const auto at = std::search(packed.begin(), packed.end(), matches.begin(), matches.end());
    ASSERT_NE(at, packed.end()) << "long runs of zeros are coded in zeros";
    Bytes data(packed.begin(), at);
    data.resize((data.size() + kPiece - 1) / kPiece * kPiece + kPiece, 0);

    PngSpec spec;
    spec.width = spec.height = 20;
    spec.depth = 8;
    spec.colour_type = 6;
    const Bytes whole = make_png(spec);
    const Bytes name = text("IDAT");
    const auto idat = std::search(whole.begin(), whole.end(), name.begin(), name.end());
    Bytes file(whole.begin(), idat - 4);
    const Bytes header = cat({{0x7F, 0xFF, 0xFF, 0xFF}, name});
    file.insert(file.end(), header.begin(), header.end());
    file.insert(file.end(), data.begin(), data.end());
    Bytes out(20 * 20 * 4);
    // Each takes seconds; without a bound, more than an hour.
    EXPECT_EQ(decodeVPNG(file.data(), static_cast<int32_t>(file.size()), vpng_read_fn, out.data(), 20, 20, 1, 7), 0);
    // All rows are there, so there is an index.
    vpng_tile_index *handle =
        onBuildTileIndexVPNG(file.data(), static_cast<int32_t>(file.size()), vpng_read_fn, COLOR_RGBA8888);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(onDecodeVPNGSubset(handle, out.data(), 0, 0, 20, 20, 1), 1);
    EXPECT_EQ(out, Bytes(out.size(), 0));
    vpng_destroy_read_struct(&handle->png, &handle->info, nullptr);
    VORELBRIM_OsFree(handle);
}

TEST(PngResources, AnObjectWithoutAHeaderHasNone) {
    Bytes file = make_png({});
    std::fill(file.begin() + 16, file.begin() + 29, uint8_t{0});
    png_structp png = nullptr;
    png_infop info = nullptr;
    EXPECT_EQ(onDecodeVPNGInit(&png, &info, file.data(), vpng_read_fn, static_cast<int32_t>(file.size())), 0);
    ASSERT_TRUE(png && info);
    png_uint_32 width = 1, height = 1;
    EXPECT_EQ(vpng_get_IHDR(png, info, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(vpng_get_IHDR(nullptr, nullptr, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
    vpng_destroy_read_struct(&png, &info, nullptr);
}

TEST(PngResources, EveryFailingAllocationIsAFailureThatLeavesNothing) {
    for (PngSpec spec : all_forms(40, 300)) {
        if (!(spec.colour_type == 6 && spec.depth == 8) && !(spec.colour_type == 3 && spec.depth == 4)) continue;
        spec.extra = png_chunk("tEXt", {'k', 0, 'v'});
        const Bytes file = make_png(spec);
        for (const WholeRequest &request : {WholeRequest{40, 300, 1, 7}, {20, 150, 2, 7}}) {
            const Decoded whole = decode_whole(file, request);
            const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
                const Decoded ours = decode_whole(file, request);
                // Without memory for a chunk beside the picture libpng goes on.
                if (ours.result) EXPECT_TRUE(ours == whole);
                if (!allocator.failed()) EXPECT_EQ(ours.result, 1);
                EXPECT_EQ(allocator.live_blocks(), 0u);
            });
            EXPECT_GT(allocations, 5u);
        }
        const Decoded cut = Regions(file).decode({5, 250, 30, 50, 1});
        ASSERT_EQ(cut.result, 1);
        with_each_allocation_failing([&](CountingAllocator &allocator) {
            {
                Regions regions(file);
                if (!allocator.failed()) EXPECT_TRUE(regions);
                // A failed region leaves the handle good.
                const Decoded first = regions ? regions.decode({5, 250, 30, 50, 1}) : cut;
                if (first.result) EXPECT_TRUE(first == cut);
                if (regions && allocator.failed()) EXPECT_TRUE(regions.decode({5, 250, 30, 50, 1}) == cut);
            }
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
    }
}

// An index costs what its checkpoints do, a decode some rows, and neither grows with the file.
TEST(PngResources, MemoryFollowsRowsAndCheckpoints) {
    PngSpec spec;
    spec.width = 700;
    spec.height = 3000;
    spec.colour_type = 6;
    spec.smooth = true;
    const Bytes file = make_png(spec);
    Bytes out(static_cast<size_t>(spec.width) * static_cast<size_t>(spec.height) * 4);
    CountingAllocator allocator;
    const size_t row = static_cast<size_t>(spec.width) * 4;
    ASSERT_EQ(decodeVPNG(file.data(), static_cast<int32_t>(file.size()), vpng_read_fn, out.data(), 700, 3000, 1, 7), 1);
    EXPECT_LT(allocator.peak_bytes(), 100'000 + 16 * row);
    allocator.reset_peak();
    {
        Regions regions(file);
        ASSERT_TRUE(regions);
        EXPECT_LT(allocator.peak_bytes(), 200'000 + 12 * row + 12 * (41'000 + row));
        const size_t before = allocator.live_bytes();
        allocator.reset_peak();
        ASSERT_EQ(regions.decode({300, 1500, 256, 256, 1}).result, 1);
        EXPECT_LT(allocator.peak_bytes(), before + 4096);
        EXPECT_EQ(allocator.live_bytes(), before);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// A window is kept as far as it differs from the one before, and passes without pixels keep nothing.
TEST(PngResources, AnIndexOfManyShortRowsIsSmall) {
    PngSpec spec;
    spec.width = 1;
    spec.height = 1'000'000;
    spec.colour_type = 0;
    spec.interlaced = spec.smooth = true;
    const Bytes file = make_png(spec);
    CountingAllocator allocator;
    {
        Regions regions(file);
        ASSERT_TRUE(regions);
        EXPECT_LT(allocator.peak_bytes(), size_t{36} << 20);
        const StraightPng image = straight_png(file);
        for (const int y : {0, 7, 499'993, 999'000}) {
            const RegionRequest request = {0, y, 1, 9, 1};
            EXPECT_TRUE(regions.decode(request) == model_region(image, request, 7)) << y;
        }
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

}  // namespace
}  // namespace vorel::test
