// Every GIF of the corpus, and files made here: frames as giflib reads them, composed by the model; damaged ones
// return.
#include <gtest/gtest.h>

#include "oracle/giflib.h"
#include "raster/gif_model.h"
#include "support/corpus.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

// Indices of files of all code sizes, with a clear code in time and without.
TEST(GifAgainstGiflib, IndicesOfAllCodeSizes) {
    std::mt19937 random(5);
    for (int i = 0; i < 150; ++i) {
        const int bits = 2 + i % 7;
        GifFile file = random_gif(random, i % 10 == 0 ? 300 : 60, 1 << bits, 1);
        GifFrame &frame = file.frames[0];
        frame.left = frame.top = 0;
        frame.width = file.width;
        frame.height = file.height;
        frame.indices = gif_picture(random, file.width, file.height, 1 << bits);
        const Bytes bytes = gif_file(file, {bits, i % 2 != 0, 1 + random() % 255});
        const std::optional<GifFile> read = read_with_giflib(bytes);
        ASSERT_TRUE(read && read->frames[0].indices == frame.indices) << i;
        expect_gif_as_model(bytes, *read, {file.width, file.height, VOREL_GIF_INDICES});
    }
}

TEST(GifCorpus, FramesAreThoseOfGiflibAndDamagedFilesReturn) {
    int compared = 0;
    const auto check = [&](const std::string &name, const Bytes &bytes) {
        Input input(Kind::kMemory, bytes, COLOR_RGBA8888);
        if (!input.session()) return;
        ImageInfo info;
        const int32_t type = VORELBRIM_Parser(input.session(), &info);
        const bool corrupt = name.rfind("corrupt-", 0) == 0;
        const std::optional<GifFile> file = corrupt ? std::nullopt : read_with_giflib(bytes);
        const auto side = [&](size_t offset) { return bytes.size() < 10 ? 0 : bytes[offset] | bytes[offset + 1] << 8; };
        if (!corrupt) EXPECT_EQ(type != 0, side(6) <= 15000 && side(8) <= 15000);
        if (file && file->frames.size() == info.frameCount && info.frameCount > 0) {
            const int width = file->width, height = file->height;
            for (const RasterTarget &target : {RasterTarget{width, height, 7},
                                               {width / 2 + 1, height / 3 + 1, 8},
                                               {width + 5, height + 4, VOREL_GIF_INDICES}}) {
                expect_gif_as_model(bytes, *file, target);
            }
            ++compared;
        } else if (type != 0) {
            CountingAllocator allocator;
            const RasterTarget target = {40, 40, 7};
            EXPECT_TRUE(decode_animation(Kind::kMemory, bytes, target) == decode_animation(Kind::kPath, bytes, target));
            EXPECT_TRUE(decode_gif(Kind::kMemory, bytes, target) == decode_gif(Kind::kPath, bytes, target));
            EXPECT_EQ(allocator.live_blocks(), 0u);
            EXPECT_LT(allocator.peak_bytes(), size_t{1} << 20);
        }
    };
    if (!for_each_of_corpus("gif", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 65);
}

}  // namespace
}  // namespace vorel::test
