// Whole decodes against the model: sources, formats, scales, taps, fits, turns, windows; and the corpus.
#include <gtest/gtest.h>

#include <random>

#include "jpeg/decoder/coded_stream.h"
#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "support/corpus.h"
#include "support/slow_build.h"

namespace vorel::test {
namespace {

constexpr uint8_t kFill = 0xA5;

std::string name_of(const DecodeSpec &spec) {
    const auto text = [](auto... values) { return ((std::to_string(values) + " ") + ...); };
    return text(spec.width, spec.height) + "format " + text(spec.format) + "options " + text(spec.options) + "window " +
           text(spec.window_x, spec.window_y, spec.window_width, spec.window_height, spec.window_in_place);
}

void expect_as_model(DecodeModel &model, const Bytes &jpeg, const DecodeSpec &spec, const std::string &what) {
    const Decoded ours = decode(jpeg, spec), expected = model(spec);
    ASSERT_EQ(ours.result, 1) << what << ": " << name_of(spec);
    ASSERT_TRUE(ours.pixels == expected.pixels) << what << ": " << name_of(spec);
    ASSERT_EQ(ours.out_width, expected.out_width) << what << ": " << name_of(spec);
    ASSERT_EQ(ours.out_height, expected.out_height) << what << ": " << name_of(spec);
}

TEST(JpegPicture, EverySourceInEveryFormatAtEveryScale) {
    for (const Colour colour : {Colour::kGray, Colour::kYcc, Colour::kRgb, Colour::kCmyk, Colour::kYcck}) {
        for (const int sampling : {1, 2, 3}) {
            if (sampling > 1 && (colour == Colour::kGray || colour == Colour::kRgb)) continue;
            for (const int width : {1, 2, 33, 150}) {
                PictureSpec source = sized(width, width == 2 ? 1 : 37, sampling == 1 ? 1 : 2, sampling == 3 ? 2 : 1);
                source.colour = colour;
                source.noise = 120;
                const Bytes jpeg = turbo_picture(source);
                DecodeModel model(jpeg);
                ASSERT_TRUE(model);
                for (const int32_t format : kAllFormats) {
                    const std::string what = "source " + std::to_string(static_cast<int>(colour));
                    expect_as_model(model, jpeg, {.format = format, .fill = kFill}, what);
                    for (const int share : {2, 3, 4, 8}) {
                        const DecodeSpec smaller{.format = format,
                                                 .width = std::max(1, width / share),
                                                 .height = std::max(1, 37 / share),
                                                 .options = VOREL_OPTION_FIT_STRETCH,
                                                 .fill = kFill};
                        if (width > 2) expect_as_model(model, jpeg, smaller, what);
                    }
                }
            }
        }
    }
}

// Rows of sizes, samplings, qualities, restarts and scans, each at its own size and at the scales.
TEST(JpegPicture, EverySizeSamplingAndRestart) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}, {1, 4}, {4, 2}};
    constexpr int kSizes[][2] = {{1, 1}, {1, 23}, {7, 9}, {16, 16}, {17, 33}, {131, 77}, {257, 129}, {640, 200}};
    unsigned seed = 1;
    for (const auto &sampling : kSamplings) {
        for (const auto &size : kSizes) {
            for (const unsigned restart : {0u, 1u, 5u}) {
                PictureSpec spec = sized(size[0], size[1], sampling.h, sampling.v);
                spec.quality = 30 + static_cast<int>(seed * 23 % 70);
                spec.restart_interval = restart;
                spec.scans = static_cast<Scans>(seed % 5 % 3);
                spec.optimize = seed % 2 != 0;
                spec.seed = seed;
                spec.noise = seed % 3 ? 40 : 0;
                const Bytes jpeg = turbo_picture(spec);
                DecodeModel model(jpeg);
                const std::string what = "sampling " + std::to_string(sampling.h * 10 + sampling.v);
                const int scale = 2 << seed++ % 3;
                expect_as_model(model, jpeg, {.width = size[0], .height = size[1]}, what);
                spec.progressive = true;
                const Bytes progressive = turbo_picture(spec);
                DecodeModel progressive_model(progressive);
                expect_as_model(progressive_model, progressive, {.width = size[0], .height = size[1]},
                                what + ", progressive");
                expect_as_model(model, jpeg,
                                {.format = seed % 2 ? COLOR_RGBA8888 : COLOR_YUV420,
                                 .width = (size[0] + scale / 2) / scale + (size[0] < scale),
                                 .height = (size[1] + scale / 2) / scale + (size[1] < scale),
                                 .options = VOREL_OPTION_FIT_STRETCH},
                                what);
            }
        }
    }
}

// A target of any size, any fit and turn, and a window anywhere in it.
DecodeSpec random_spec(std::mt19937 &random, const PictureSpec &picture) {
    const auto below = [&random](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGBA8888, COLOR_BGRA8888, COLOR_YUV420, COLOR_YUV422,
                                    COLOR_YUV440, COLOR_YUV444,   COLOR_YUYV,     COLOR_NV21,   COLOR_NV12};
    constexpr uint32_t kFits[] = {0, 0x100, 0x200, 0x300, 0x700};
    DecodeSpec spec{.format = kFormats[random() % 10], .fill = kFill};
    const int share = 1 << below(4);
    spec.width = below(3) ? picture.width / share : 1 + below(picture.width * 3 / 2);
    spec.height = below(3) ? picture.height / share : 1 + below(picture.height * 3 / 2);
    const uint32_t turn = random() % 4 * 4;
    spec.options = kFits[random() % 5] | (below(2) ? turn : 0);
    if (pixel_bytes(spec.format) && spec.options & 4 && below(2)) std::swap(spec.width, spec.height);
    return spec;
}

TEST(JpegPicture, FitsTurnsAndPlacesAtAnySize) {
    std::mt19937 random(7);
    for (const Colour colour : {Colour::kYcc, Colour::kYcc, Colour::kGray, Colour::kYcck}) {
        for (const int sampling : {1, 2}) {
            const int factor = colour == Colour::kGray ? 1 : sampling;
            PictureSpec picture = sized(403, 301, factor, factor);
            picture.colour = colour;
            const Bytes jpeg = turbo_picture(picture);
            DecodeModel model(jpeg);
            for (int i = 0; i < (kSlowBuild ? 50 : 150); ++i) {
                expect_as_model(model, jpeg, random_spec(random, picture), "colour " + std::to_string(i));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// A window of the output is the cut of the whole, alone or in its place.
TEST(JpegPicture, WindowsOfAnyPictureAnywhere) {
    std::mt19937 random(5);
    const auto below = [&random](uint32_t most) { return static_cast<uint32_t>(random() % most); };
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}};
    for (const auto &sampling : kSamplings) {
        for (const unsigned restart : {0u, 1u, 7u, 200u}) {
            for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent}) {
                PictureSpec picture = sized(403, 301, sampling.h, sampling.v);
                picture.restart_interval = restart;
                picture.scans = scans;
                const Bytes jpeg = turbo_picture(picture);
                DecodeModel model(jpeg);
                for (int i = 0; i < (kSlowBuild ? 12 : 40); ++i) {
                    DecodeSpec spec = random_spec(random, picture);
                    const Decoded whole = model(spec);
                    const bool quarter = pixel_bytes(spec.format) && spec.options & 4;
                    const uint32_t width = quarter ? whole.out_height : whole.out_width;
                    const uint32_t height = quarter ? whole.out_width : whole.out_height;
                    // What a covering crop leaves out is no place for a window.
                    if ((spec.options & 0x700) == VOREL_OPTION_FIT_COVER)
                        spec.options &= ~0x700u;
                    else if (width != 0) {
                        spec.window_x = below(width);
                        spec.window_y = below(height);
                        spec.window_width = 1 + below(width - spec.window_x);
                        spec.window_height = 1 + below(height - spec.window_y);
                        spec.window_in_place = !pixel_bytes(spec.format) && below(2);
                    }
                    expect_as_model(model, jpeg, spec, "restart " + std::to_string(restart));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// A smaller picture is made of the scans up to those that reach what its transform looks at; a window of an eighth of
// all scans.
TEST(JpegPicture, ProgressiveScales) {
    std::mt19937 random(3);
    for (const Scans scans : {Scans::kInterleaved, Scans::kLumaThenChroma}) {
        for (const bool gray : {false, true}) {
            PictureSpec picture = sized(403, 301, gray ? 1 : 2, gray ? 1 : 2);
            picture.colour = gray ? Colour::kGray : Colour::kYcc;
            picture.scans = scans;
            picture.progressive = true;
            const Bytes jpeg = turbo_picture(picture);
            const int apart = scans == Scans::kLumaThenChroma && !gray;
            const int counts[] = {99, (gray ? 3 : 5) + apart, (gray ? 2 : 4) + apart, 1 + apart};
            for (int i = 0; i < 120; ++i) {
                const int step = i % 4;
                const bool window = i % 3 == 0;
                DecodeSpec spec = random_spec(random, picture);
                spec.options = (spec.options & 4 ? 4u : 0) | VOREL_OPTION_FIT_STRETCH;
                spec.width = (403 + (1 << step) / 2) >> step;
                spec.height = (301 + (1 << step) / 2) >> step;
                if (pixel_bytes(spec.format) && spec.options & 4) std::swap(spec.width, spec.height);
                if (window) {
                    spec.window_x = 5, spec.window_y = 7;
                    spec.window_width = 20, spec.window_height = 11;
                }
                const bool all = step == 0 || (step == 3 && window);
                Bytes seen(jpeg.begin(),
                           jpeg.begin() + static_cast<ptrdiff_t>(nth_scan(jpeg, all ? 99 : counts[step])));
                seen.insert(seen.end(), {0xFF, 0xD9});
                DecodeModel model(seen);
                const Decoded ours = decode(jpeg, spec), expected = model(spec);
                ASSERT_EQ(ours.result, 1) << name_of(spec);
                ASSERT_TRUE(ours.pixels == expected.pixels) << step << ": " << name_of(spec);
            }
        }
    }
}

// Streams that no encoder writes: codes of 16 bits, blocks without an end, other symbols that end them, tables that
// change between scans. Both paths, all scales, and windows that pass over most of it.
TEST(JpegPicture, StreamsOfOddCodes) {
    std::mt19937 random(17);
    unsigned seed = 1;
    for (const int sampling : {1, 2}) {
        for (const bool separate : {false, true}) {
            for (const unsigned restart : {0u, 1u, 6u}) {
                const PictureSpec picture{.width = 250, .height = 190, .h = sampling, .v = sampling};
                const Bytes jpeg = coded_stream({250, 190, sampling, separate, restart, seed++});
                DecodeModel model(jpeg);
                ASSERT_TRUE(model);
                ASSERT_EQ(model.coded().warnings, 0);
                for (int i = 0; i < 24; ++i) {
                    const int scale = 1 << i % 4;
                    DecodeSpec spec{.width = (picture.width + scale / 2) / scale,
                                    .height = (picture.height + scale / 2) / scale};
                    if (i >= 4) {
                        spec.window_x = static_cast<uint32_t>(random()) % static_cast<uint32_t>(spec.width);
                        spec.window_y = static_cast<uint32_t>(random()) % static_cast<uint32_t>(spec.height);
                        spec.window_width = std::min(9u, static_cast<uint32_t>(spec.width) - spec.window_x);
                        spec.window_height = std::min(9u, static_cast<uint32_t>(spec.height) - spec.window_y);
                    }
                    const std::string what = "seed " + std::to_string(seed);
                    spec.options = i % 8 < 4 ? 0 : VOREL_OPTION_SKIP_TABLES;
                    expect_as_model(model, jpeg, spec, what);
                    const PlainPathOnly plain_only;
                    expect_as_model(model, jpeg, spec, what + ", plain path");
                }
            }
        }
    }
}

TEST(JpegPicture, CompressedRangeKeepsGrayAndMovesTheEnds) {
    const Bytes jpeg = turbo_picture({.width = 40, .height = 40, .h = 1, .v = 1, .noise = 0});
    const Bytes plain = decode(jpeg, {}).pixels;
    const Bytes squeezed = decode(jpeg, {.options = VOREL_OPTION_COMPRESS_RANGE}).pixels;
    for (size_t i = 0; i < plain.size(); ++i) {
        if (plain[i] < 128) continue;
        EXPECT_EQ(squeezed[i], 128 + ((120 * (plain[i] - 128)) >> 7));
    }
    EXPECT_EQ(decode(jpeg, {.options = VOREL_OPTION_EXACT_KERNEL}).pixels, plain);
}

// Decode modes reach a decode only through BRIMJ_DecodeFrame: cruder, but the same picture.
TEST(JpegPicture, DecodeModesGiveTheOutputSize) {
    const Bytes jpeg = turbo_picture({.width = 320, .height = 256, .noise = 0});
    DecodeSpec half{.format = COLOR_YUV444, .width = 160, .height = 128};
    const Bytes plain = decode(jpeg, half).pixels;
    for (const int mode : {0, 1, 2, 3, 4}) {
        half.mode = mode;
        const Decoded ours = decode(jpeg, half);
        EXPECT_EQ(ours.result, 1);
        EXPECT_EQ(ours.pixels == plain, mode < 2) << mode;
        double error = 0;
        for (size_t i = 0; i < plain.size(); ++i) error += std::abs(plain[i] - ours.pixels[i]);
        EXPECT_LT(error / static_cast<double>(plain.size()), 16) << mode;
    }
    // Beyond 1/8 a sample is the DC of the block at its pixel: 20 x 16 samples, enlarged by centres.
    const Bytes sparse = decode(jpeg, {.width = 40, .height = 32, .mode = 3}).pixels;
    const CodedBlocks luma = turbo_coefficients(jpeg)[0];
    for (int at = 0; at < 40 * 32; ++at) {
        const int block = at / 40 / 2 * 2 * luma.across + at % 40 / 2 * 2;
        const int value = (luma.quant[0] * luma.coefficients[static_cast<size_t>(block) * 64]) >> 3;
        EXPECT_EQ(sparse[static_cast<size_t>(at)], std::clamp(value + 128, 0, 255)) << at;
    }
}

// ---- Files of a corpus against an independent decoder

// Every baseline and progressive file without damage: YUV planes, and colours by the rule from them.
TEST(JpegCorpus, FilesEqualTheOracle) {
    int compared = 0, progressive = 0;
    const auto check = [&](const std::string &, const Bytes &jpeg) {
        const auto coded = turbo_planes(jpeg);
        if (!coded || coded->arithmetic || coded->warnings || coded->rgb()) return;
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
        progressive += !coded->baseline;
    };
    if (!for_each_of_corpus("jpeg", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 0);
    EXPECT_GT(progressive, 0);
    RecordProperty("compared", compared);
    RecordProperty("progressive", progressive);
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
