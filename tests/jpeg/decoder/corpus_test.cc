// Files of a corpus against an independent decoder.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "jpeg/decoder/colour_model.h"

namespace vorel::test {
namespace {

Bytes read_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::vector<std::filesystem::path> corpus(const char *folder) {
    std::vector<std::filesystem::path> out;
    std::error_code failed;
    for (const auto &entry :
         std::filesystem::directory_iterator(std::filesystem::path(VOREL_CORPUS) / folder, failed)) {
        out.push_back(entry.path());
    }
    return out;
}

// Every baseline file without damage: YUV planes, and colours by the rule from them.
TEST(JpegCorpus, BaselineFilesEqualTheOracle) {
    const auto files = corpus("jpeg");
    if (files.empty()) GTEST_SKIP() << "no corpus in " << VOREL_CORPUS;
    int compared = 0;
    for (const auto &path : files) {
        const Bytes jpeg = read_file(path);
        const auto coded = turbo_planes(jpeg);
        if (!coded || !coded->baseline || coded->arithmetic || coded->warnings || coded->rgb()) continue;
        if (coded->components.size() != 1 && coded->components.size() != 3) continue;
        const Samples picture = upsampled(*coded, coded->colour);
        const bool small = static_cast<int64_t>(coded->width) * coded->height < 500000;
        for (const int32_t format :
             {coded->colour == Colour::kGray ? COLOR_GRAY : COLOR_YUV444, COLOR_RGBA8888, COLOR_RGB565, COLOR_NV21}) {
            const Decoded ours =
                decode(jpeg, {.format = format, .width = coded->width, .height = coded->height, .fill = 9});
            ASSERT_EQ(ours.result, 1) << path.filename();
            EXPECT_TRUE(ours.pixels == stored(picture, format, 9)) << path.filename() << " format " << format;
            if (!small) break;
        }
        ++compared;
    }
    std::printf("%d baseline files compared\n", compared);
    EXPECT_GT(compared, 0);
}

// Damaged files come back, whatever is asked of them.
TEST(JpegCorpus, DamagedFilesReturn) {
    const auto files = corpus("jpeg-corrupt");
    if (files.empty()) GTEST_SKIP() << "no corpus in " << VOREL_CORPUS;
    int shown = 0;
    for (const auto &path : files) {
        const Bytes jpeg = read_file(path);
        if (jpeg.empty()) continue;
        for (const uint32_t options : {0u, 0x30Cu}) {
            for (const int32_t format : {COLOR_RGBA8888, COLOR_YUV420}) {
                for (const Kind kind : {Kind::kMemory, Kind::kStream}) {
                    const Decoded small =
                        decode(jpeg, {.format = format, .width = 90, .height = 70, .options = options, .kind = kind});
                    shown += small.result;
                }
            }
        }
    }
    std::printf("%d decodes of damaged files gave a picture\n", shown);
}

}  // namespace
}  // namespace vorel::test
