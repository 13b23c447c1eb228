// Descriptors, memory, allocation failures.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

#include "png/run.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

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

    const Bytes whole = make_png({.width = 20, .height = 20, .colour_type = 6});
    const Bytes file = cat({head(whole, chunks_of(whole)[1].offset), {0x7F, 0xFF, 0xFF, 0xFF}, text("IDAT"), data});
    // Each takes seconds; without a bound, more than an hour.
    EXPECT_EQ(decode_whole(file, {20, 20, 1, 7}).result, 0);
    // All rows are there, so there is an index.
    Regions regions(file);
    ASSERT_TRUE(regions);
    EXPECT_TRUE(regions.decode({0, 0, 20, 20, 1}) == (Decoded{1, Bytes(20 * 20 * 4)}));
}

TEST(PngResources, AnObjectWithoutAHeaderHasNone) {
    const Opened open(changed(make_png({}), 16, Bytes(13)));
    EXPECT_FALSE(open.good());
    ASSERT_TRUE(open.png && open.info);
    png_uint_32 width = 1, height = 1;
    EXPECT_EQ(vpng_get_IHDR(open.png, open.info, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(vpng_get_IHDR(nullptr, nullptr, &width, &height, nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
}

TEST(PngResources, EveryFailingAllocationIsAFailureThatLeavesNothing) {
    for (PngSpec spec : all_forms(40, 300)) {
        if (!(spec.colour_type == 6 && spec.depth == 8) && !(spec.colour_type == 3 && spec.depth == 4)) continue;
        spec.extra = png_chunk("tEXt", {'k', 0, 'v'});
        for (const WholeRequest &request : {WholeRequest{40, 300, 1, 7}, {20, 150, 2, 7}}) {
            expect_failing_allocations_conform(png_subject(spec, request, {5, 250, 30, 50, 1}));
        }
    }
    expect_repeats_conform(png_subject({.width = 6, .height = 6, .colour_type = 6}, {6, 6, 1, 7}, {1, 1, 3, 3, 1}));
}

// An index costs what its checkpoints do, a decode some rows, and neither grows with the file.
TEST(PngResources, MemoryFollowsRowsAndCheckpoints) {
    const Bytes file = make_png({.width = 700, .height = 3000, .colour_type = 6, .smooth = true});
    CountingAllocator allocator;
    const size_t row = 700 * 4;
    ASSERT_EQ(decode_whole(file, {700, 3000, 1, 7}).result, 1);
    EXPECT_LT(allocator.peak_bytes(), 100'000 + 16 * row);
    allocator.reset_peak();
    {
        Regions regions(file);
        ASSERT_TRUE(regions);
        vpng_set_region_memory(regions.handle(), 0);
        EXPECT_LT(allocator.peak_bytes(), 250'000 + 12 * row + 12 * (41'000 + row));
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
    const Bytes file =
        make_png({.width = 1, .height = 1'000'000, .colour_type = 0, .interlaced = true, .smooth = true});
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
