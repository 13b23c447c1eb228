// The BMP decoder against a model that works out each pixel, odd headers, the session's side, the row writers.
#include <gtest/gtest.h>

#include <vorel/raster.h>

#include <climits>
#include <tuple>

#include "raster/bmp_model.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
constexpr int32_t kFormats[] = {COLOR_RGB565,  COLOR_RGB888,   COLOR_ARGB8888,
                                COLOR_BGR565A, COLOR_RGBA8888, COLOR_BGRA8888};
constexpr uint32_t kTurns[] = {0, VOREL_OPTION_ROTATE_90, VOREL_OPTION_ROTATE_180, VOREL_OPTION_ROTATE_270};
constexpr uint32_t kFits[] = {VOREL_OPTION_FIT_CENTER,
                              VOREL_OPTION_FIT_PACKED,
                              VOREL_OPTION_FIT_STRETCH,
                              VOREL_OPTION_FIT_TOP_LEFT,
                              VOREL_OPTION_FIT_COVER,
                              0x1000,
                              0x1700};

// Every member of the cross product of headers, fields and directions that a depth can have.
std::vector<BmpShape> shapes_of(int bits) {
    std::vector<BmpShape> shapes;
    for (const uint32_t header : {12u, 40u, 56u, 108u, 124u}) {
        for (const bool top_down : {false, true}) {
            for (const Fields16 fields : {Fields16::k555, Fields16::k565, Fields16::k444}) {
                if (header == 12 && (top_down || fields != Fields16::k555)) continue;
                if (bits != 16 && fields != Fields16::k555) continue;
                shapes.push_back({header, top_down, fields, bits == 16 && header == 108});
            }
        }
    }
    return shapes;
}

TEST(BmpAgainstModel, EveryDepthHeaderFormatAndTurn) {
    uint32_t seed = 0;
    for (const int bits : kDepths) {
        for (const BmpShape &shape : shapes_of(bits)) {
            for (const int32_t format : kFormats) {
                for (const uint32_t turn : kTurns) {
                    BmpPicture picture = random_bmp(++seed, bits, 37, 11);
                    // What follows a header of 12 bytes counts as its compression.
                    if (shape.header == 12 && bits <= 8) picture.palette[0] = 0x123456;
                    if (shape.header == 12 && bits > 8) picture.samples[37 * 10] = bits == 16 ? 0 : 0x123456;
                    const uint32_t fit = kFits[seed % 7];
                    expect_bmp_as_model(picture, shape, {40, 41, format, turn | ((fit & 0x700) == 0x700 ? 0 : fit)});
                    expect_bmp_as_model(picture, shape, {13, 9, format, turn | fit});
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// The larger ones are wide enough for several blocks of input and for vector code, with rows passed over.
TEST(BmpAgainstModel, AllSmallSizesAndSomeLargeOnes) {
    for (uint32_t i = 0; i < 7 * 7 * 9 * 9 && !HasFatalFailure(); ++i) {
        const auto side = [=](uint32_t step, uint32_t most) { return static_cast<int32_t>(1 + i / step % most); };
        const BmpPicture picture = random_bmp(i, kDepths[i % 6], side(1, 7), side(7, 7));
        expect_bmp_as_model(picture, {40, i % 2 != 0, Fields16::k565, false},
                            {side(49, 9), side(441, 9), kFormats[i / 6 % 6], kTurns[i / 4 % 4] | kFits[i / 3 % 7]});
    }
    const std::tuple<int32_t, int32_t, int32_t, int32_t> cases[] = {
        {401, 67, 401, 67}, {1023, 20, 511, 10}, {300, 200, 150, 100}, {300, 200, 40, 400},
        {64, 500, 64, 3},   {129, 3, 1000, 1},   {1000, 1, 10, 10},    {5, 300, 50, 1}};
    uint32_t seed = 100;
    for (const auto &[width, height, across, down] : cases) {
        for (const int bits : kDepths) {
            const BmpPicture picture = random_bmp(++seed, bits, width, height);
            const uint32_t turn = width == 401 ? kTurns[seed % 4] : 0u;
            for (const uint32_t fit : {0x000u, 0x700u})
                expect_bmp_as_model(picture, {}, {across, down, kFormats[seed % 6], fit | turn});
            if (HasFatalFailure()) return;
        }
    }
}

// ---- headers --------------------------------------------------------------------------------------------------------

// docs/tolerance.md names these rows.
TEST(BmpTolerance, HeadersThatAreRefused) {
    const Bytes true_colour = bmp_file(random_bmp(1, 24, 8, 4)), words = bmp_file(random_bmp(2, 16, 8, 4)),
                core = bmp_file(random_bmp(3, 24, 8, 4), {12});
    const auto masked = [&](uint32_t red, uint32_t green, uint32_t blue) {
        return changed(cat({changed(words, 30, {3}), Bytes(99)}), 54,
                       cat({little_32(red), little_32(green), little_32(blue)}));
    };
    constexpr char kNoRow[] = "VJPEG|BRIMI_BMP_Initialize : lineBytes is zero";
    constexpr char kSilent[] = "0 lines";
    const struct {
        const char *what;
        Bytes bytes;
        const char *log;
    } cases[] = {
        {"first byte", changed(true_colour, 0, {'X'}), kSilent},
        {"second byte", changed(true_colour, 1, {'m'}), kSilent},
        {"header of 39 bytes", changed(true_colour, 14, {39}), kSilent},
        {"header of 16 bytes", changed(true_colour, 14, {16}), kSilent},
        {"width 0", changed(true_colour, 18, {0, 0}), kNoRow},
        {"width 65536", changed(true_colour, 18, {0, 0, 1}), kNoRow},
        {"no bits", changed(true_colour, 28, {0, 0}), kNoRow},
        {"RLE4", changed(true_colour, 30, {2}), kSilent},
        {"JPEG inside", changed(true_colour, 30, {4}), kSilent},
        {"PNG inside", changed(true_colour, 30, {5}), kSilent},
        {"what stands for compression in a small header", changed(core, 26, {2, 0}), kSilent},
        {"masks of another set", masked(0xF800, 0x7C0, 0x3E), kSilent},
        {"sets that are mixed", masked(0xF800, 0x3E0, 0x1F), kSilent},
        {"masks of 16 bits with a bit above", masked(0x1F800, 0x7E0, 0x1F), kSilent},
        {"masks cut off", head(changed(words, 30, {3}), 65), kSilent},
        {"53 bytes", head(true_colour, 53), kSilent},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        for (const Kind kind : kAllKinds) {
            LogCapture log;
            expect_untouched(VORELBRIMI_DecodeBMP, {kind}, c.bytes, {8, 8, COLOR_RGB888}, 0);
            EXPECT_EQ(log.only(), c.log);
        }
    }
}

TEST(BmpTolerance, OtherDepthsSucceedWithNothingWritten) {
    const Bytes good = bmp_file(random_bmp(1, 24, 8, 4));
    for (const uint32_t bits : {2u, 3u, 5u, 12u, 31u, 33u, 64u, 65535u}) {
        const Bytes other = changed(good, 28, little_16(bits));
        expect_untouched(VORELBRIMI_DecodeBMP, {Kind::kMemory}, other, {8, 4, COLOR_RGB888}, 1);
    }
}

TEST(BmpTolerance, SidesAreReadAs16Bits) {
    const Bytes good = bmp_file(random_bmp(1, 24, 8, 4));
    const RasterTarget target = {8, 4, COLOR_RGB888};
    const auto pixels = [&](const Bytes &file) { return decode_bmp(Kind::kMemory, file, target).pixels; };
    const Bytes upright = pixels(good), flipped = pixels(changed(good, 22, little_32(0u - 4u)));
    const struct {
        const char *what;
        size_t at;
        Bytes values, expected;
    } cases[] = {
        {"width above 65535", 20, {7, 0}, upright},
        {"height above 32767", 24, {7, 0}, upright},
        {"65532 is -4", 22, {0xFC, 0xFF, 0, 0}, flipped},
        {"height 0", 22, {0, 0}, target_bytes(target)},
    };
    for (const auto &c : cases) EXPECT_EQ(pixels(changed(good, c.at, c.values)), c.expected) << c.what;
    // -32768 has no positive counterpart in 16 bits.
    EXPECT_EQ(decode_bmp(Kind::kMemory, changed(good, 22, {0, 0x80}), target).result, 1);
}

TEST(BmpTolerance, SmallPalettes) {
    // 4-bit files whose palette is counted in bytes and would reach beyond the end.
    for (const int32_t side : {1, 8, 16}) {
        expect_bmp_as_model(random_bmp(9, 4, side, side), {}, {side, side, COLOR_RGBA8888});
    }
    // Fewer colours than the bits could name: the others are what stands behind, or black at the end.
    BmpPicture picture = {8, 4, 1, {0, 1, 200, 255}, {0x112233, 0x445566}};
    const Bytes file = bmp_file(picture);
    const RasterTarget target = {4, 1, COLOR_RGB888};
    for (const Kind kind : kAllKinds) {
        EXPECT_EQ(decode_bmp(kind, file, target).pixels, (Bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0, 0, 0, 0, 0, 0}));
    }
    // A distance between header and pixels that is negative in 16 bits leaves no palette.
    const Bytes far = cat({changed(file, 10, little_32(54 + 40000)), Bytes(40000), {0, 1, 0, 1}});
    EXPECT_EQ(decode_bmp(Kind::kPath, far, target).pixels, Bytes(12, 0));
}

TEST(BmpTolerance, TargetsThatHoldNothing) {
    // Nothing is left of the height.
    const Bytes flat = bmp_file(random_bmp(1, 24, 1000, 1)), small = bmp_file(random_bmp(1, 24, 8, 4));
    expect_untouched(VORELBRIMI_DecodeBMP, {Kind::kMemory}, flat, {10, 10, COLOR_RGB888}, 1);
    // Rows that 31 bits cannot step over.
    EXPECT_EQ(decode_bmp(Kind::kMemory, small, {INT_MAX, 0, COLOR_RGBA8888}).result, 1);
    Input input(Kind::kMemory, small, COLOR_RGBA8888, 0x700);
    uint8_t pixel[4];
    EXPECT_EQ(VORELBRIMI_DecodeBMP(input.session(), pixel, INT_MAX, INT_MAX), 0);
}

// ---- the session's side ---------------------------------------------------------------------------------------------

TEST(BmpSession, AWindowIsRowsOfTheWholeInStoredOrder) {
    for (const bool top_down : {false, true}) {
        for (const int32_t height : {20, 7}) {
            const Bytes file = bmp_file(random_bmp(3, 8, 10, 20), {40, top_down});
            const RasterTarget target = {10, height, COLOR_RGB888, 0x700};
            const size_t row = 30;
            const Bytes whole = decode_bmp(Kind::kMemory, file, target).pixels;
            for (const auto &[first, count] : {std::pair(0u, 20u), {2u, 3u}, {6u, 9u}, {19u, 1u}, {50u, 2u}}) {
                Input input(Kind::kPath, file, target.format, target.options);
                set_window(input.session(), 0, first, 0, count);
                Bytes out = target_bytes(target), expected = out;
                EXPECT_EQ(VORELBRIMI_DecodeBMP(input.session(), out.data(), 10, height), 1);
                const auto rows = static_cast<uint32_t>(height);
                const uint32_t from = std::min(first, rows), end = std::min(first + count, rows);
                const auto start = static_cast<ptrdiff_t>((top_down ? from : rows - end) * row);
                std::copy_n(whole.begin() + start, (end - from) * row, expected.begin());
                EXPECT_EQ(out, expected) << first << " + " << count << " of " << height;
            }
        }
    }
}

TEST(BmpSession, TheRecordAndItsMembers) {
    const BmpPicture picture = random_bmp(4, 16, 4, 2);
    Input input(Kind::kStream, bmp_file(picture, {40, true, Fields16::k444}), COLOR_RGB565, VOREL_OPTION_ROTATE_90);
    uint8_t out[16];
    BmpInfo *info = BRIMI_BMP_Initialize(input.session(), 2, 4, out);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(input.session()->decoderReady, 1u);
    EXPECT_EQ((std::vector<int64_t>{info->width, info->height, info->bitCount, info->dataOffset, info->headerSize,
                                    info->outWidth, info->outHeight, info->oneToOne != 0, info->requestedWidth,
                                    info->rotation, info->rowStep, info->pixelStep, info->topDown}),
              (std::vector<int64_t>{4, 2, 16, 66, 40, 4, 2, 1, 2, 90, -2, 4, 1}));
    EXPECT_EQ((std::vector<uint32_t>{info->redMask, info->redShift, info->greenMask, info->greenShift, info->blueMask,
                                     info->blueShift}),
              (std::vector<uint32_t>{0xF00, 4, 0xF0, 3, 0xF, 1}));
    EXPECT_EQ(info->output, out + 2);
    EXPECT_EQ(BRIMI_BMP_Decode24bitBMP(info, info->output, 2), 0) << "another depth";
    EXPECT_EQ(BRIMI_BMP_Decode16bitBMP(info, info->output, 100), 1) << "no more rows than there are";
    BRIMI_BMP_DeleteDecInfo(info);
    BRIMI_BMP_DeleteDecInfo(nullptr);
    EXPECT_EQ(Bytes(out, out + 16), model_bmp(picture, {40, true, Fields16::k444}, {2, 4, COLOR_RGB565, 4}).pixels);
    EXPECT_EQ(BRIMI_BMP_Decode16bitBMP(nullptr, out, 1), 0);
}

// Over more than a block, so that going back is more than a step in it.
TEST(BmpSession, AMemberRunsAgain) {
    const Bytes file = bmp_file(random_bmp(4, 24, 200, 60));
    for (const Kind kind : kAllKinds) {
        Input input(kind, file, COLOR_RGB888);
        Bytes first(200 * 60 * 3), second(first.size());
        BmpInfo *info = BRIMI_BMP_Initialize(input.session(), 200, 60, first.data());
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(BRIMI_BMP_Decode24bitBMP(info, first.data(), 60), 1);
        EXPECT_EQ(BRIMI_BMP_Decode24bitBMP(info, second.data(), 60), 1);
        BRIMI_BMP_DeleteDecInfo(info);
        EXPECT_EQ(first, second);
    }
}

// ---- writers --------------------------------------------------------------------------------------------------------

constexpr struct {
    int bits;
    decltype(&BRIMI_BMP_Write1bitOutput) write;
} kWriters[] = {{1, BRIMI_BMP_Write1bitOutput},   {4, BRIMI_BMP_Write4bitOutput},   {8, BRIMI_BMP_Write8bitOutput},
                {16, BRIMI_BMP_Write16bitOutput}, {24, BRIMI_BMP_Write24bitOutput}, {32, BRIMI_BMP_Write32bitOutput}};

TEST(BmpWriters, AnyStepAndNothingBeyondTheRow) {
    for (const auto &[bits, write] : kWriters) {
        for (int32_t count = 1; count <= 40; count += 1 + count / 9) {
            const BmpPicture picture = random_bmp(static_cast<uint32_t>(count), bits, count, 8);
            const Bytes file = bmp_file(picture, {40, true});
            Input input(Kind::kMemory, file, COLOR_RGBA8888);
            uint8_t unused;
            BmpInfo *info = BRIMI_BMP_Initialize(input.session(), count, 8, &unused);
            ASSERT_NE(info, nullptr);
            const auto stored = tail(file, file.size() - bmp_data_offset(picture, {}));
            GuardBuffer source(head(stored, static_cast<size_t>((count * bits + 7) / 8)));
            for (const int32_t format : kFormats) {
                const int32_t pixel = raster_pixel_bytes(format);
                const Bytes row = model_bmp(picture, {}, {count, 8, format}).pixels;
                for (const int32_t step : {pixel, -pixel, 7, -11}) {
                    GuardBuffer out(static_cast<size_t>((count - 1) * std::abs(step) + pixel), kUntouched);
                    const auto place = [&](int32_t x) { return step > 0 ? x * step : (count - 1 - x) * -step; };
                    Bytes expected(out.size(), kUntouched);
                    for (int32_t x = 0; x < count; ++x)
                        std::copy_n(row.begin() + x * pixel, pixel, expected.begin() + place(x));
                    write(info, source.data(), out.data() + place(0), count, step, format);
                    ASSERT_EQ(out.bytes(), expected) << bits << " bits, " << count << ", " << format << ", " << step;
                }
            }
            BRIMI_BMP_DeleteDecInfo(info);
        }
    }
}

TEST(BmpWriters, PaletteColoursOneByOne) {
    const uint8_t palette[8] = {1, 2, 3, 0, 0x30, 0x20, 0x10, 9};
    for (const int32_t format : {0, 1, 5, 6, 7, 8, 9, 18}) {
        Bytes image(16, kUntouched), expected = image;
        putPixel(image.data(), palette, 2, 1, format);
        if (format != 6 && format < 9) {
            const Bytes pixel = pixel_of({0x10, 0x20, 0x30, 255}, format);
            std::copy(pixel.begin(), pixel.end(), expected.begin() + static_cast<ptrdiff_t>(2 * pixel.size()));
        }
        EXPECT_EQ(image, expected) << format;
    }
}

}  // namespace
}  // namespace vorel::test
