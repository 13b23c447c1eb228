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
        ASSERT_TRUE(read) << i;
        const RasterPicture got = decode_gif(Kind::kMemory, bytes, {file.width, file.height, 13});
        ASSERT_EQ(got.result, 1) << i;
        ASSERT_TRUE(got.pixels == read->frames[0].indices) << i;
        ASSERT_TRUE(got.pixels == frame.indices) << i;
    }
}

void expect_as_giflib(const Bytes &bytes, const GifFile &file) {
    for (const RasterTarget &target : {RasterTarget{file.width, file.height, 7},
                                       {file.width / 2 + 1, file.height / 3 + 1, 8},
                                       {file.width + 5, file.height + 4, 13}}) {
        const RasterPicture still = decode_gif(Kind::kPath, bytes, target);
        ASSERT_EQ(still.result, 1);
        ASSERT_TRUE(still.pixels == model_gif_still(file, target)) << text_of(target);
        if (target.format == 13) continue;
        const auto got = decode_animation(Kind::kMemory, bytes, target);
        ASSERT_EQ(got.size(), file.frames.size());
        GifAnimationModel model(file, target);
        for (size_t k = 0; k < got.size(); ++k) {
            ASSERT_EQ(got[k].result, k + 1 == got.size() ? 3 : 1);
            ASSERT_TRUE(got[k].pixels == model.next()) << "frame " << k;
        }
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
            expect_as_giflib(bytes, *file);
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
