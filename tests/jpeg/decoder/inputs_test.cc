// How the bytes arrive makes no difference.
#include <gtest/gtest.h>

#include "jpeg/decoder/colour_model.h"

namespace vorel::test {
namespace {

TEST(JpegInputs, EveryKindGivesTheSamePicture) {
    for (const unsigned restart : {0u, 3u}) {
        PictureSpec spec;
        spec.width = 900;
        spec.height = 700;
        spec.quality = 97;
        spec.noise = 120;
        spec.restart_interval = restart;
        const Bytes jpeg = turbo_picture(spec);
        ASSERT_GT(jpeg.size(), size_t{200000}) << "many blocks of input";
        for (const int scale : {1, 2, 4, 8}) {
            DecodeSpec wanted{.format = COLOR_YUV420, .width = 900 / scale, .height = 700 / scale};
            const Decoded memory = decode(jpeg, wanted);
            EXPECT_EQ(memory.result, 1);
            for (const Kind kind : kAllKinds) {
                wanted.kind = kind;
                EXPECT_TRUE(decode(jpeg, wanted).pixels == memory.pixels) << static_cast<int>(kind) << " 1/" << scale;
            }
        }
    }
}

// A stream that delivers whatever it likes: short reads end a block early, never the picture.
TEST(JpegInputs, StreamsOfEverySplitGiveTheSamePicture) {
    PictureSpec spec;
    spec.width = 300;
    spec.height = 200;
    spec.quality = 95;
    spec.noise = 100;
    const Bytes jpeg = turbo_picture(spec);
    const Bytes expected = decode(jpeg, {}).pixels;
    for (const int32_t chunk : {8192, 5000, 4097, 16384}) {
        StreamSource source(jpeg, chunk);
        const SessionGuard session(source.open(COLOR_YUV444));
        ASSERT_TRUE(session);
        GuardBuffer out(expected.size());
        EXPECT_EQ(VORELBRIM_DecodeJPEG(session.get(), out.data(), 300, 200), 1) << chunk;
        EXPECT_TRUE(out.bytes() == expected) << chunk;
    }
}

// A picture inside another file.
TEST(JpegInputs, StreamOffsetStartsInTheMiddle) {
    PictureSpec spec;
    spec.width = 640;
    spec.height = 480;
    spec.noise = 100;
    const Bytes jpeg = turbo_picture(spec);
    const Bytes expected = decode(jpeg, {}).pixels;
    Bytes wrapped(20000, 0x5A);
    wrapped.insert(wrapped.end(), jpeg.begin(), jpeg.end());
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStdio, Kind::kStream}) {
        Input input(kind, wrapped, COLOR_YUV444);
        input.session()->streamOffset = 20000;
        GuardBuffer out(expected.size());
        EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 640, 480), 1);
        EXPECT_TRUE(out.bytes() == expected) << static_cast<int>(kind);
    }
}

TEST(JpegInputs, ASessionDecodesAgain) {
    PictureSpec spec;
    const Bytes jpeg = turbo_picture(spec);
    Input input(Kind::kPath, jpeg, COLOR_RGBA8888, VOREL_OPTION_EXIF_ORIENTATION);
    Bytes first(64 * 48 * 4), second(64 * 48 * 4);
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), first.data(), 64, 48), 1);
    EXPECT_EQ(VORELBRIM_PDecodeJPEG(input.session(), second.data(), 64, 48, 1), 1);
    EXPECT_TRUE(first == second);
    EXPECT_EQ(input.session()->decOption, uint32_t{VOREL_OPTION_EXIF_ORIENTATION});
}

}  // namespace
}  // namespace vorel::test
