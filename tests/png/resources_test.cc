// Descriptors, memory, allocation failures.
#include <gtest/gtest.h>

#include "png/run.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

TEST(PngResources, ThousandsOfDecodesByPathLeaveNothing) {
    QuietStderr quiet;
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

TEST(PngResources, EveryFailingAllocationIsAFailureThatLeavesNothing) {
    QuietStderr quiet;
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
        const size_t held = allocator.live_bytes();
        allocator.reset_peak();
        ASSERT_EQ(regions.decode({300, 1500, 256, 256, 1}).result, 1);
        EXPECT_LT(allocator.peak_bytes(), held + 4096);
        EXPECT_EQ(allocator.live_bytes(), held);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

}  // namespace
}  // namespace vorel::test
