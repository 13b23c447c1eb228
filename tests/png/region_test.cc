// Regions are cuts of the whole picture by their own rules for rows and columns, in any order, over checkpoints and
// IDAT borders, from several threads; and the corpus.
#include <gtest/gtest.h>

#include <png.h>

#include <algorithm>
#include <random>
#include <thread>

#include "png/run.h"
#include "png/source.h"
#include "support/corpus.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

std::string text_of(const RegionRequest &r) {
    return " at " + std::to_string(r.x) + "," + std::to_string(r.y) + " of " + std::to_string(r.w) + "x" +
           std::to_string(r.h) + " sample " + std::to_string(r.sample_size);
}

RegionRequest any_region(int width, int height, std::mt19937 &random) {
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    RegionRequest request;
    request.x = below(width);
    request.y = below(height);
    request.w = 1 + below(width - request.x);
    request.h = 1 + below(std::min(40, height - request.y));
    request.sample_size = 1 + below(9);
    return request;
}

// Regions of one handle, in this order and backwards.
void expect_cuts(const PngSpec &spec, bool by_path, std::vector<RegionRequest> requests, int format = 7) {
    const Bytes file = make_png(spec);
    const StraightPng image = straight_png(file);
    Regions regions(file, format, by_path);
    ASSERT_TRUE(regions) << spec.name();
    EXPECT_EQ(regions.handle()->width, spec.width);
    EXPECT_EQ(regions.handle()->height, spec.height);
    for (int round = 0; round < 2; ++round) {
        for (const RegionRequest &request : requests)
            ASSERT_TRUE(regions.decode(request) == model_region(image, request, format))
                << spec.name() << text_of(request);
        std::reverse(requests.begin(), requests.end());
    }
}

TEST(PngRegion, EveryFormIsACutOfTheWhole) {
    std::mt19937 random(7);
    for (const auto &[width, height] : {std::pair(37, 29), {5, 3}, {1, 1}, {3, 40}}) {
        for (PngSpec spec : all_forms(width, height)) {
            spec.idat_bytes = 50 + static_cast<int>(random() % 300);
            for (const int format : {7, 8}) {
                std::vector<RegionRequest> requests = {{0, 0, width, height, 1}};
                for (int i = 0; i < 25; ++i) requests.push_back(any_region(width, height, random));
                expect_cuts(spec, random() % 2, requests, format);
                if (HasFatalFailure()) return;
            }
        }
    }
}

// 600 rows have checkpoints at 0, 254 and 508; those of the passes of an interlaced picture are 508 rows apart and
// more. A position in the compressed stream may be right behind a chunk's data, before its check value.
TEST(PngRegion, CheckpointsAndIdatBorders) {
    for (const bool interlaced : {false, true}) {
        for (const int idat_bytes : {50, 1000, 8192, 1000000}) {
            const int height = interlaced ? 2200 : 600;
            std::vector<RegionRequest> requests;
            for (const int y : {0, 253, 254, 255, 507, 508, 509, 590, 2032, 2199}) {
                for (const int h : {1, 2, 10, 300})
                    if (y + h <= height) requests.push_back({3, y, 16, h, 1 + y % 3});
            }
            expect_cuts(
                {.width = 23, .height = height, .colour_type = 6, .interlaced = interlaced, .idat_bytes = idat_bytes},
                false, requests);
        }
    }
    for (int idat_bytes = 300; idat_bytes < 340; ++idat_bytes)
        expect_cuts({.width = 2, .height = 520, .colour_type = 0, .idat_bytes = idat_bytes}, true,
                    {{0, 508, 2, 12, 1}, {0, 254, 2, 3, 1}, {1, 500, 1, 20, 2}});
}

TEST(PngRegion, ThreadsOnOneHandleTakeTurns) {
    const Bytes file = make_png({.width = 60, .height = 700});
    const StraightPng image = straight_png(file);
    Regions regions(file);
    ASSERT_TRUE(regions);
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t);
            for (int i = 0; i < 200; ++i) {
                const RegionRequest request = any_region(60, 700, random);
                wrong[t] += !(regions.decode(request) == model_region(image, request, 7));
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4));
}

TEST(PngRegion, RefusedRectangles) {
    Regions regions(make_png({})), other(make_png({}), 3);
    ASSERT_TRUE(regions && other);
    for (const RegionRequest &request : {RegionRequest{-1, 0, 5, 5, 1},
                                         {0, -1, 5, 5, 1},
                                         {0, 0, 0, 5, 1},
                                         {0, 0, 5, 0, 1},
                                         {0, 0, 38, 5, 1},
                                         {30, 0, 8, 5, 1},
                                         {0, 25, 5, 5, 1},
                                         {37, 0, 1, 1, 1},
                                         {0, 0, 5, 5, 0},
                                         {0, 0, 5, 5, -2},
                                         {0, 0, 5, -3, 1}}) {
        EXPECT_EQ(regions.decode(request).result, 0) << text_of(request);
    }
    uint8_t pixel[4];
    EXPECT_EQ(onDecodeVPNGSubset(regions.handle(), nullptr, 0, 0, 1, 1, 1), 0);
    EXPECT_EQ(onDecodeVPNGSubset(nullptr, pixel, 0, 0, 1, 1, 1), 0);
    EXPECT_EQ(other.decode({0, 0, 1, 1, 1}).result, 0);
    // Rectangles smaller than the step are empty.
    EXPECT_EQ(regions.decode({0, 0, 3, 3, 4}).result, 1);
    EXPECT_EQ(onBuildTileIndexVPNG("/nonexistent/x.png", 0, nullptr, 7), nullptr);
}

// A file that is damaged for a while; stdio keeps nothing of it.
TEST(PngRegion, AFileMayChangeAndChangeBack) {
    const Bytes file = make_png({.width = 4, .height = 4});
    Regions regions(file, 7, true);
    ASSERT_TRUE(regions);
    for (const bool damaged : {false, true, false, true, false}) {
        FILE *stream = std::fopen(regions.path(), "r+b");
        std::fwrite(damaged ? Bytes(file.size(), 0xFF).data() : file.data(), 1, file.size(), stream);
        std::fclose(stream);
        EXPECT_EQ(regions.decode({0, 0, 4, 4, 1}).result, !damaged);
    }
}

// The row of the checkpoint; -1 when libpng jumped.
int resumed_row(png_structp png, int32_t row, int pass) {
    return unless_jumped(png, [&] { return vpng_configure_decoder(png, &row, pass), row; });
}

// The steps by themselves: which checkpoint serves a row, and the row that it gives.
TEST(PngRegion, StepsOfTheIndex) {
    const Bytes file = make_png({.height = 600});
    Regions regions(file);
    ASSERT_TRUE(regions);
    png_structp png = regions.handle()->png;
    for (const auto &[wanted, given] : {std::pair(0, 0), {253, 0}, {254, 254}, {507, 254}, {508, 508}, {599, 508}}) {
        EXPECT_EQ(resumed_row(png, wanted, 0), given) << wanted;
    }
    EXPECT_EQ(resumed_row(png, -1, 0), -1);
    EXPECT_EQ(resumed_row(png, 762, 0), -1);
    EXPECT_EQ(resumed_row(png, 0, 1), -1);
    EXPECT_TRUE(regions.decode({0, 300, 9, 9, 1}) == model_region(straight_png(file), {0, 300, 9, 9, 1}, 7));
}

bool index_is_built(png_structp png) {
    return unless_jumped(png, [&] { return vpng_build_index(png), 1; }) == 1;
}

int finish_crc(png_structp png, uint32_t skip) {
    return unless_jumped(png, [&] { return png_opt_crc_finish(png, skip); });
}

TEST(PngRegion, CheckValuesAndPositionsOfChunks) {
    const Bytes file = make_png({.height = 600, .idat_bytes = 5000});
    const std::vector<ChunkAt> chunks = chunks_of(file);
    Opened open(file);
    EXPECT_EQ(finish_crc(open.png, 0), -1) << "there is no index";
    Opened indexed(file);
    ASSERT_TRUE(index_is_built(indexed.png));
    const vpng_row_index *index = source_of(indexed.png)->index;
    EXPECT_EQ(index->streamPosition, chunks.back().offset) << "behind the image data";
    const ChunkAt &first = chunks[1], &second = chunks[2];
    const uint32_t at = static_cast<uint32_t>(first.offset), length = static_cast<uint32_t>(first.length);
    vpng_set_read_offset(indexed.png, at, length);
    EXPECT_EQ(index->streamPosition, at);
    EXPECT_EQ(finish_crc(indexed.png, length), 0);
    EXPECT_EQ(index->streamPosition, second.offset);
    vpng_set_read_offset(indexed.png, at, length - 3);
    EXPECT_EQ(finish_crc(indexed.png, length - 3), 1) << "entered in the middle";
    EXPECT_EQ(index->streamPosition, second.offset);
}

TEST(PngRegion, AFailedBuildLeavesNoIndex) {
    for (const bool interlaced : {false, true}) {
        const Bytes file = make_png({.height = 600, .interlaced = interlaced});
        Opened open(head(file, file.size() / 2));
        ASSERT_TRUE(open.png && open.info);
        EXPECT_FALSE(index_is_built(open.png));
        for (const int pass : {0, 1, 6}) EXPECT_EQ(resumed_row(open.png, 0, pass), -1);
    }
}

// ---- Every PNG of the corpus: whole, sampled, fitted and by regions; damaged ones return

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
        const RegionRequest request = any_region(width, height, random);
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
