// Every WBMP of the corpus: detection, both kinds of input, and the model.
#include <gtest/gtest.h>

#include <vorel/raster.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "raster/wbmp_model.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

Bytes read_file(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

Bytes decode(Kind kind, const Bytes &file, const WbmpTarget &target, int32_t *result) {
    Input input(kind, file, target.format, target.stretch ? uint32_t{VOREL_OPTION_FIT_STRETCH} : 0u);
    Bytes out(static_cast<size_t>(target.width * target.height * wbmp_pixel_bytes(target.format)), 9);
    *result = VORELBRIMI_DecodeWBMP(input.session(), out.data(), target.width, target.height);
    return out;
}

TEST(WbmpCorpus, DecodesAsTheModel) {
    const std::filesystem::path folder = std::filesystem::path(VOREL_CORPUS) / "wbmp";
    if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "no corpus at " << folder;
    int decoded = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        const Bytes file = read_file(entry.path());
        Input input(Kind::kMemory, file);
        ImageInfo info;
        const int32_t type = VORELBRIM_Parser(input.session(), &info);
        const bool corrupt = name.rfind("corrupt-", 0) == 0;
        if (!corrupt) EXPECT_EQ(type, VOREL_IMAGE_WBMP) << name;
        const auto width = static_cast<int32_t>(info.width), height = static_cast<int32_t>(info.height);
        const WbmpTarget targets[] = {{width, height, COLOR_RGB565, false},
                                      {width / 3 + 1, height / 2 + 3, COLOR_RGBA8888, false}};
        for (const WbmpTarget &target : targets) {
            int32_t by_memory = 0, by_path = 0, out_width, out_height;
            if (type == 0) continue;
            const Bytes pixels = decode(Kind::kMemory, file, target, &by_memory);
            EXPECT_EQ(decode(Kind::kPath, file, target, &by_path), pixels) << name;
            EXPECT_EQ(by_memory, by_path) << name;
            if (!corrupt) EXPECT_EQ(by_memory, 1) << name;
            if (!by_memory) continue;
            // The rows stand at the end, but for files with bytes behind them.
            const size_t row_bytes = static_cast<size_t>((width + 7) / 8 * height);
            size_t start = 2;
            for (int integer = 0; integer < 2; ++integer)
                while (file[start++] & 0x80) {
                }
            const WbmpPicture picture = {width, height, tail(head(file, start + row_bytes), row_bytes)};
            EXPECT_EQ(model_wbmp(picture, target, Bytes(pixels.size(), 9), &out_width, &out_height), pixels) << name;
            ++decoded;
        }
    }
    EXPECT_GT(decoded, 0);
}

}  // namespace
}  // namespace vorel::test
