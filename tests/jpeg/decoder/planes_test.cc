// At full size the planes are those of an independent decoder, byte for byte.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/surgery.h"

namespace vorel::test {
namespace {

void expect_planes(const Bytes &jpeg, const CodedPicture &coded, const std::string &what) {
    const Colour colour = coded.components.size() == 1 ? Colour::kGray : Colour::kYcc;
    const Samples picture = upsampled(coded, colour);
    const int32_t format = colour == Colour::kGray ? COLOR_GRAY : COLOR_YUV444;
    const Decoded ours = decode(jpeg, {.format = format, .width = coded.width, .height = coded.height});
    ASSERT_EQ(ours.result, 1) << what;
    EXPECT_TRUE(ours.pixels == stored(picture, format, 0)) << what;
}

TEST(JpegPlanes, EqualTheOracleOverSizesSamplingsQualitiesAndRestarts) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}, {1, 4}, {4, 2}};
    constexpr int kSizes[][2] = {{1, 1}, {1, 23}, {7, 9}, {16, 16}, {17, 33}, {131, 77}, {257, 129}, {640, 200}};
    unsigned seed = 1;
    for (const auto &sampling : kSamplings) {
        for (const auto &size : kSizes) {
            for (const unsigned restart : {0u, 1u, 5u}) {
                PictureSpec spec;
                spec.width = size[0];
                spec.height = size[1];
                spec.h = sampling.h;
                spec.v = sampling.v;
                spec.restart_interval = restart;
                spec.quality = 30 + static_cast<int>(seed * 23 % 70);
                spec.noise = seed % 3 ? 40 : 0;
                spec.optimize = seed % 2;
                spec.seed = seed++;
                const Bytes jpeg = turbo_picture(spec);
                const auto coded = turbo_planes(jpeg);
                ASSERT_TRUE(coded);
                expect_planes(jpeg, *coded,
                              std::to_string(size[0]) + "x" + std::to_string(size[1]) + " " +
                                  std::to_string(sampling.h) + "x" + std::to_string(sampling.v) + " restart " +
                                  std::to_string(restart));
            }
        }
    }
}

// Chroma that the coded picture and the format sample alike comes out as it was coded.
TEST(JpegPlanes, SubsampledFormatsHoldTheCodedChroma) {
    constexpr struct {
        int h, v;
        int32_t format;
    } kRows[] = {{2, 2, COLOR_YUV420}, {2, 1, COLOR_YUV422}, {1, 2, COLOR_YUV440}, {1, 1, COLOR_YUV444}};
    for (const auto &row : kRows) {
        for (const int width : {64, 131}) {
            PictureSpec spec;
            spec.width = width;
            spec.height = 77;
            spec.h = row.h;
            spec.v = row.v;
            const Bytes jpeg = turbo_picture(spec);
            const auto coded = turbo_planes(jpeg);
            ASSERT_TRUE(coded);
            Bytes expected;
            for (const auto &component : coded->components) {
                expected.insert(expected.end(), component.plane.samples.begin(), component.plane.samples.end());
            }
            EXPECT_TRUE(decode(jpeg, {.format = row.format}).pixels == expected) << row.format << " " << width;
        }
    }
}

TEST(JpegPlanes, ComponentsInSeparateScansGiveTheSamePicture) {
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStdio}) {
        for (const Scans scans : {Scans::kOnePerComponent, Scans::kLumaThenChroma}) {
            for (const unsigned restart : {0u, 3u}) {
                for (const int sampling : {1, 2}) {
                    PictureSpec spec;
                    spec.width = 243;
                    spec.height = 117;
                    spec.h = spec.v = sampling;
                    spec.scans = scans;
                    spec.restart_interval = restart;
                    const Bytes jpeg = turbo_picture(spec);
                    spec.scans = Scans::kInterleaved;
                    const Bytes interleaved = turbo_picture(spec);
                    for (const int scale : {1, 2, 8}) {
                        const int width = (spec.width + scale / 2) / scale, height = (spec.height + scale / 2) / scale;
                        DecodeSpec wanted{.width = width, .height = height, .kind = kind};
                        const Decoded ours = decode(jpeg, wanted);
                        EXPECT_EQ(ours.result, 1);
                        // Chroma of interleaved pictures has kernels of its own at 1/2, so only luma is the same there.
                        const size_t compared = static_cast<size_t>(width) * static_cast<size_t>(height) *
                                                (scale == 2 && sampling == 2 ? 1 : 3);
                        const Bytes whole = decode(interleaved, wanted).pixels;
                        EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(compared),
                                               ours.pixels.begin()))
                            << scale << " " << sampling;
                    }
                }
            }
        }
    }
    PictureSpec spec;
    spec.scans = Scans::kOnePerComponent;
    EXPECT_EQ(decode(turbo_picture(spec), {.kind = Kind::kStream}).result, 0) << "a stream is read only once";
}

// Further scans are read through a second opening of the input. Whatever stands there by then, the frame is the one that
// was parsed: samples stay inside its rows (page ends and sanitizers watch).
TEST(JpegPlanes, AnInputThatChangedUnderTheDecoderStaysInsideItsRows) {
    for (const int sampling : {1, 2}) {
        PictureSpec spec;
        spec.width = spec.height = 64;
        spec.scans = Scans::kOnePerComponent;
        spec.h = spec.v = sampling;
        const TempFile file(turbo_picture(spec));
        spec.h = spec.v = 3 - sampling;
        const TempFile other(turbo_picture(spec));
        SessionGuard session(VORELBRIM_CreateDecInfo(0, const_cast<char *>(file.path()), 0, COLOR_YUV444, 0));
        ASSERT_TRUE(session);
        ASSERT_EQ(std::rename(other.path(), file.path()), 0);
        GuardBuffer out(64 * 64 * 3);
        VORELBRIM_DecodeJPEG(session.get(), out.data(), 64, 64);
    }
}

// A scan behind one that is passed over has to be a scan like any other.
TEST(JpegPlanes, ABrokenLaterScanFailsTheDecode) {
    PictureSpec spec;
    spec.width = spec.height = 64;
    spec.scans = Scans::kOnePerComponent;
    const Bytes jpeg = turbo_picture(spec);
    const size_t second = find_marker(jpeg, 0xDA, scan_data(jpeg));
    for (const uint8_t id : {uint8_t{9}, jpeg[find_marker(jpeg, 0xDA) + 5]}) {
        Bytes broken = jpeg;
        broken[second + 5] = id;
        EXPECT_EQ(decode(broken, {}).result, 0) << "component " << int{id};
    }
    EXPECT_EQ(decode(jpeg, {}).result, 1);
}

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
        if (!coded || !coded->baseline || coded->arithmetic || coded->warnings || coded->rgb) continue;
        if (coded->components.size() != 1 && coded->components.size() != 3) continue;
        expect_planes(jpeg, *coded, path.filename().string());
        if (static_cast<int64_t>(coded->width) * coded->height < 500000) {
            const Samples picture = upsampled(*coded, coded->components.size() == 1 ? Colour::kGray : Colour::kYcc);
            for (const int32_t format : {COLOR_RGBA8888, COLOR_BGRA8888, COLOR_RGB565, COLOR_NV21}) {
                const Decoded ours =
                    decode(jpeg, {.format = format, .width = coded->width, .height = coded->height, .fill = 9});
                EXPECT_TRUE(ours.pixels == stored(picture, format, 9)) << path.filename() << " format " << format;
            }
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
