// Every PNG of the corpus: whole, sampled, fitted and by regions against libpng and the model; damaged ones return.
#include <gtest/gtest.h>

#include <random>

#include "png/run.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

// Larger ones teach nothing new and cost seconds.
constexpr uint64_t kMostPixels = 500'000;

void check_picture(const std::string &name, const Bytes &file, const StraightPng &image, std::mt19937 &random) {
    const int width = image.width, height = image.height;
    for (const WholeRequest &request : {WholeRequest{width, height, 1, 7},
                                        {std::max(1, width / 3), std::max(1, height / 3), 3, 8},
                                        {std::max(1, width * 2 / 5), std::max(1, height / 2), 0, 7}}) {
        EXPECT_TRUE(decode_whole(file, request) == model_whole(image, request, kFill))
            << name << " to " << request.out_width << "x" << request.out_height;
    }
    Regions regions(file);
    ASSERT_TRUE(regions) << name;
    for (int i = 0; i < 4; ++i) {
        const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
        RegionRequest request = {below(width), below(height), 1, 1, 1 + i};
        request.w += below(std::min(256, width - request.x));
        request.h += below(std::min(256, height - request.y));
        EXPECT_TRUE(regions.decode(request) == model_region(image, request, 7)) << name << " row " << request.y;
    }
}

TEST(PngCorpus, DecodesAsLibpngAndTheRule) {
    std::mt19937 random(3);
    int good = 0;
    const auto check = [&](const std::string &name, const Bytes &file) {
        ImageInfo info = {};
        Input input(Kind::kMemory, file);
        if (!input.session()) return;
        VORELBRIM_Parser(input.session(), &info);
        if (uint64_t{info.width} * info.height > kMostPixels) return;
        const StraightPng image = straight_png(file);
        if (image.good) {
            ++good;
            return check_picture(name, file, image, random);
        }
        const int width = static_cast<int>(info.width), height = static_cast<int>(info.height);
        EXPECT_EQ(decode_whole(file, {width, height, 1, 7}).result, 0);
        decode_whole(file, {width / 2 + 1, height / 2 + 1, 2, 7});
        Regions regions(file);
        if (regions && regions.handle()->width == width && regions.handle()->height == height) {
            regions.decode({0, 0, width, height, 1});
        }
    };
    if (!for_each_of_corpus("png", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(good, 100);
    for_each_of_corpus("png-corrupt", check);
}

}  // namespace
}  // namespace vorel::test
