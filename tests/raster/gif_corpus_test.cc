// Every GIF of the corpus, and files made here: frames as giflib reads them, composed by the model; damaged ones
// return.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "oracle/giflib.h"
#include "raster/gif_decode.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

Bytes read_file(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

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
        const GifSize screen = {file.width, file.height};
        const GifPicture got = decode_gif(Kind::kMemory, bytes, screen, {file.width, file.height, 13});
        ASSERT_EQ(got.result, 1) << i;
        ASSERT_TRUE(got.pixels == read->frames[0].indices) << i;
        ASSERT_TRUE(got.pixels == frame.indices) << i;
    }
}

void expect_as_giflib(const std::string &name, const Bytes &bytes, const GifFile &file) {
    const GifSize screen = {file.width, file.height};
    for (const GifTarget &target : {GifTarget{file.width, file.height, 7},
                                    {file.width / 2 + 1, file.height / 3 + 1, 8},
                                    {file.width + 5, file.height + 4, 13}}) {
        if (target.format == 13 || target.format == 8) {
            const GifPicture got = decode_gif(Kind::kPath, bytes, screen, target);
            ASSERT_EQ(got.result, 1) << name;
            ASSERT_TRUE(got.pixels == model_gif_still(file, target, Bytes(got.pixels.size(), 0x5B))) << name;
        }
        if (target.format == 13) continue;
        const auto got = decode_animation(Kind::kMemory, bytes, screen, target);
        ASSERT_EQ(got.size(), file.frames.size()) << name;
        GifAnimationModel model(file, target);
        for (size_t k = 0; k < got.size(); ++k) {
            ASSERT_EQ(got[k].result, k + 1 == got.size() ? 3 : 1) << name;
            ASSERT_TRUE(got[k].pixels == model.next(Bytes(got[k].pixels.size(), 0x5B))) << name << " frame " << k;
        }
    }
}

TEST(GifCorpus, FramesAreThoseOfGiflibAndDamagedFilesReturn) {
    const std::filesystem::path folder = std::filesystem::path(VOREL_CORPUS) / "gif";
    if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "no corpus at " << folder;
    int compared = 0, damaged = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        SCOPED_TRACE(name);
        const Bytes bytes = read_file(entry.path());
        Input input(Kind::kMemory, bytes, COLOR_RGBA8888);
        if (!input.session()) continue;
        ImageInfo info;
        const int32_t type = VORELBRIM_Parser(input.session(), &info);
        const bool corrupt = name.rfind("corrupt-", 0) == 0;
        const std::optional<GifFile> file = corrupt ? std::nullopt : read_with_giflib(bytes);
        const auto side = [&](size_t offset) { return bytes.size() < 10 ? 0 : bytes[offset] | bytes[offset + 1] << 8; };
        const bool too_large = side(6) > 15000 || side(8) > 15000;
        if (!corrupt) EXPECT_EQ(type != 0, !too_large);
        if (file && file->frames.size() == info.frameCount && info.frameCount > 0) {
            expect_as_giflib(name, bytes, *file);
            ++compared;
            continue;
        }
        if (type == 0) continue;
        CountingAllocator allocator;
        Bytes memory, path;
        const GifSize screen = {static_cast<int>(info.width), static_cast<int>(info.height)};
        for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
            Bytes &out = kind == Kind::kMemory ? memory : path;
            for (const GifPicture &picture : decode_animation(kind, bytes, screen, {40, 40, 7}))
                out.insert(out.end(), picture.pixels.begin(), picture.pixels.end());
            out.push_back(static_cast<uint8_t>(decode_gif(kind, bytes, screen, {40, 40, 7}).result));
        }
        EXPECT_TRUE(memory == path);
        EXPECT_EQ(allocator.live_blocks(), 0u);
        EXPECT_LT(allocator.peak_bytes(), size_t{1} << 20);
        ++damaged;
    }
    std::printf("%d compared, %d damaged\n", compared, damaged);
    EXPECT_GT(compared, 65);
}

}  // namespace
}  // namespace vorel::test
