// Files of a corpus against an independent decoder.
#include "support/corpus.h"

#include "jpeg/decoder/colour_model.h"

namespace vorel::test {
namespace {

// Every baseline file without damage: YUV planes, and colours by the rule from them.
TEST(JpegCorpus, BaselineFilesEqualTheOracle) {
    int compared = 0;
    const auto check = [&compared](const std::string &, const Bytes &jpeg) {
        const auto coded = turbo_planes(jpeg);
        if (!coded || !coded->baseline || coded->arithmetic || coded->warnings || coded->rgb()) return;
        if (coded->components.size() != 1 && coded->components.size() != 3) return;
        const Samples picture = upsampled(*coded, coded->colour);
        const bool small = static_cast<int64_t>(coded->width) * coded->height < 500000;
        for (const int32_t format :
             {coded->colour == Colour::kGray ? COLOR_GRAY : COLOR_YUV444, COLOR_RGBA8888, COLOR_RGB565, COLOR_NV21}) {
            const Decoded ours =
                decode(jpeg, {.format = format, .width = coded->width, .height = coded->height, .fill = 9});
            EXPECT_EQ(ours.result, 1);
            EXPECT_TRUE(ours.pixels == stored(picture, format, 9)) << "format " << format;
            if (!small) break;
        }
        ++compared;
    };
    if (!for_each_of_corpus("jpeg", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 0);
    RecordProperty("compared", compared);
}

// Damaged files come back, whatever is asked of them.
TEST(JpegCorpus, DamagedFilesReturn) {
    const auto check = [](const std::string &, const Bytes &jpeg) {
        if (jpeg.empty()) return;
        for (const uint32_t options : {0u, 0x30Cu}) {
            for (const int32_t format : {COLOR_RGBA8888, COLOR_YUV420}) {
                for (const Kind kind : {Kind::kMemory, Kind::kStream})
                    decode(jpeg, {.format = format, .width = 90, .height = 70, .options = options, .kind = kind});
            }
        }
    };
    if (!for_each_of_corpus("jpeg-corrupt", check)) GTEST_SKIP() << "no corpus";
}

}  // namespace
}  // namespace vorel::test
