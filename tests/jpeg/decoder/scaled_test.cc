// Smaller outputs: the DCT scales against their kernels over an independent decoder's coefficients, the resampler
// against its rule, and the geometry between them.
#include <gtest/gtest.h>

#include <algorithm>

#include <cstring>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/kernels/kernels.h"

namespace vorel::test {
namespace {

struct Shape {
    IdctShape shape;
    int width, height;
};

Shape shape_of(int width, int height) {
    constexpr Shape kShapes[] = {{IdctShape::k8x8, 8, 8}, {IdctShape::k8x4, 8, 4}, {IdctShape::k4x8, 4, 8},
                                 {IdctShape::k4x4, 4, 4}, {IdctShape::k4x2, 4, 2}, {IdctShape::k2x4, 2, 4},
                                 {IdctShape::k2x2, 2, 2}, {IdctShape::k2x1, 2, 1}, {IdctShape::k1x2, 1, 2},
                                 {IdctShape::k1x1, 1, 1}};
    for (const Shape &s : kShapes) {
        if (s.width == width && s.height == height) return s;
    }
    return kShapes[0];
}

// What the MCU decoder of a scale leaves of a block: a symbol is kept when it begins below `keep`.
void drop_coefficients(int16_t *block, int keep) {
    int begin = 1;
    for (int k = 1; k < 64; ++k) {
        int16_t &value = block[BRIMJ_NATURAL_ORDER[k]];
        if (value == 0) continue;
        while (k - begin > 15) begin += 16;
        const bool kept = begin < keep;
        begin = k + 1;
        if (!kept) value = 0;
    }
}

// A component at a scale: every block through the scalar kernel of its shape.
Plane scaled_plane(const CodedBlocks &blocks, int width, int height) {
    const Shape shape = shape_of(width, height);
    const int side = std::max(width, height);
    const int keep = side == 8 ? 64 : side == 4 ? 19 : side == 2 ? 5 : 1;
    int32_t multipliers[64];
    make_multipliers(shape.shape, blocks.quant, multipliers);
    Plane out;
    out.width = blocks.across * width;
    out.height = blocks.down * height;
    out.samples.resize(static_cast<size_t>(out.width) * static_cast<size_t>(out.height));
    for (int b = 0; b < blocks.across * blocks.down; ++b) {
        alignas(64) int16_t block[64];
        std::memcpy(block, &blocks.coefficients[static_cast<size_t>(b) * 64], sizeof block);
        drop_coefficients(block, keep);
        const int16_t *pointer = block;
        const uint8_t last = 63;
        uint8_t *to =
            &out.samples[static_cast<size_t>(b / blocks.across * height * out.width + b % blocks.across * width)];
        scalar_kernels().idct[static_cast<int>(shape.shape)](
            {&pointer, &last, 1, multipliers, kRangeLimit + kRangeCentre, true, to, out.width});
    }
    return out;
}

// The scaled picture by its rules: at 1/2 and 1/4 chroma has kernels of the output's resolution, at 1/8 it is repeated.
Samples scaled_picture(const Bytes &jpeg, int scale, int width, int height) {
    const auto coded = turbo_planes(jpeg);
    const auto blocks = turbo_coefficients(jpeg);
    Samples out = {width, height, blocks.size() == 1 ? Colour::kGray : Colour::kYcc, {}};
    const bool joint = blocks.size() > 1 && scale < 8 && coded->max_h <= 2 && coded->max_v <= 2;
    for (size_t c = 0; c < blocks.size(); ++c) {
        const CodedPicture::Component &k = coded->components[c];
        const int grow_x = coded->max_h / k.h, grow_y = coded->max_v / k.v;
        const Plane plane = scaled_plane(blocks[c], 8 / scale * (joint ? grow_x : 1), 8 / scale * (joint ? grow_y : 1));
        Bytes samples;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                samples.push_back(plane.at(x / (joint ? 1 : grow_x), y / (joint ? 1 : grow_y)));
        }
        out.planes.push_back(std::move(samples));
    }
    return out;
}

TEST(JpegScaled, EveryScaleEqualsItsKernels) {
    constexpr struct {
        Colour colour;
        int h, v;
    } kRows[] = {{Colour::kGray, 1, 1}, {Colour::kYcc, 1, 1}, {Colour::kYcc, 2, 1},
                 {Colour::kYcc, 1, 2},  {Colour::kYcc, 2, 2}, {Colour::kYcc, 4, 1}};
    for (const auto &row : kRows) {
        for (const int quality : {40, 97}) {
            PictureSpec spec;
            spec.colour = row.colour;
            spec.h = row.h;
            spec.v = row.v;
            spec.width = 331;
            spec.height = 203;
            spec.quality = quality;
            spec.noise = 90;
            const Bytes jpeg = turbo_picture(spec);
            for (const int scale : {2, 4, 8}) {
                const int width = (spec.width + scale / 2) / scale, height = (spec.height + scale / 2) / scale;
                const Samples expected = scaled_picture(jpeg, scale, width, height);
                for (const int32_t format : {COLOR_YUV444, COLOR_RGBA8888, COLOR_YUV420}) {
                    const Decoded ours = decode(jpeg, {.format = format, .width = width, .height = height});
                    EXPECT_TRUE(ours.pixels == stored(expected, format, 0))
                        << "1/" << scale << " sampling " << row.h << "x" << row.v << " format " << format << " quality "
                        << quality << " colour " << static_cast<int>(row.colour);
                }
            }
        }
    }
}

TEST(JpegScaled, HalfSizeLumaIsTheMeanOfTheFullSize) {
    PictureSpec spec;
    spec.width = spec.height = 160;
    spec.noise = 0;
    spec.quality = 95;
    const Bytes jpeg = turbo_picture(spec);
    const Bytes full = decode(jpeg, {.format = COLOR_YUV420}).pixels;
    const Bytes half = decode(jpeg, {.format = COLOR_YUV420, .width = 80, .height = 80}).pixels;
    double error = 0;
    for (int y = 0; y < 80; ++y) {
        for (int x = 0; x < 80; ++x) {
            const auto at = [&](int dx, int dy) { return full[static_cast<size_t>((2 * y + dy) * 160 + 2 * x + dx)]; };
            const int mean = (at(0, 0) + at(1, 0) + at(0, 1) + at(1, 1) + 2) / 4;
            error += std::abs(mean - half[static_cast<size_t>(y * 80 + x)]);
        }
    }
    EXPECT_LT(error / 6400, 1.5);
}

// The DCT-scaled picture that an output is resampled from, by decoding at exactly its size.
Samples at_size(const Bytes &jpeg, int width, int height, Colour colour) {
    const int32_t format = colour == Colour::kGray ? COLOR_GRAY : COLOR_YUV444;
    const Bytes planes = decode(jpeg, {.format = format, .width = width, .height = height}).pixels;
    Samples out = {width, height, colour, {}};
    const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t at = 0; at < planes.size(); at += size) {
        out.planes.emplace_back(planes.begin() + static_cast<ptrdiff_t>(at),
                                planes.begin() + static_cast<ptrdiff_t>(at + size));
    }
    return out;
}

TEST(JpegResampled, OtherSizesAreMeansOrCentres) {
    // Source 400 x 300. Each row: target, the DCT-scaled size it comes from, and how.
    constexpr struct {
        int width, height, from_width, from_height;
        bool centre;
    } kRows[] = {{390, 297, 400, 300, false}, {251, 190, 400, 300, false}, {198, 148, 200, 150, false},
                 {130, 110, 200, 150, false}, {101, 80, 200, 150, false},  {97, 73, 100, 75, true},
                 {60, 50, 100, 75, true},     {41, 41, 100, 75, true},     {500, 400, 400, 300, true},
                 {777, 301, 400, 300, true},  {200, 300, 400, 300, false}, {800, 100, 400, 300, true}};
    for (const Colour colour : {Colour::kYcc, Colour::kGray}) {
        for (const int sampling : {1, 2}) {
            PictureSpec spec;
            spec.colour = colour;
            spec.width = 400;
            spec.height = 300;
            spec.h = spec.v = colour == Colour::kGray ? 1 : sampling;
            const Bytes jpeg = turbo_picture(spec);
            for (const auto &row : kRows) {
                const Samples source = at_size(jpeg, row.from_width, row.from_height, colour);
                const bool centre = row.centre && !(colour == Colour::kGray && row.width < 100);
                const Samples expected =
                    centre ? centre_sample(source, row.width, row.height) : mean_of_four(source, row.width, row.height);
                for (const int32_t format : {COLOR_RGBA8888, COLOR_YUV420, COLOR_RGB565}) {
                    const Decoded ours = decode(jpeg, {.format = format,
                                                       .width = row.width,
                                                       .height = row.height,
                                                       .options = VOREL_OPTION_FIT_STRETCH});
                    EXPECT_TRUE(ours.pixels == stored(expected, format, 0))
                        << row.width << "x" << row.height << " format " << format << " sampling " << sampling
                        << " colour " << static_cast<int>(colour);
                }
            }
        }
    }
}

TEST(JpegResampled, InksAreResampledBeforeTheirProduct) {
    for (const Colour colour : {Colour::kCmyk, Colour::kYcck, Colour::kRgb}) {
        PictureSpec spec;
        spec.colour = colour;
        spec.width = 120;
        spec.height = 80;
        spec.h = spec.v = 1;
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        const Samples expected = mean_of_four(upsampled(*coded, colour), 110, 75);
        const Decoded ours =
            decode(jpeg, {.format = COLOR_RGBA8888, .width = 110, .height = 75, .options = VOREL_OPTION_FIT_STRETCH});
        EXPECT_TRUE(ours.pixels == stored(expected, COLOR_RGBA8888, 0)) << static_cast<int>(colour);
    }
}

TEST(JpegCover, StoresTheMiddleOfTheCoveringPicture) {
    PictureSpec spec;
    spec.width = 400;
    spec.height = 300;
    const Bytes jpeg = turbo_picture(spec);
    // 50 x 50 is covered by 67 x 50, of which columns 8 to 57 are kept; 67 x 50 comes from 100 x 75.
    const Samples whole = centre_sample(at_size(jpeg, 100, 75, Colour::kYcc), 67, 50);
    const Samples wide = mean_of_four(at_size(jpeg, 200, 150, Colour::kYcc), 160, 120);
    for (const uint32_t turn : {0u, 4u, 12u}) {
        const int degrees = static_cast<int>(turn / 4 * 90);
        const Decoded small = decode(
            jpeg, {.format = COLOR_RGBA8888, .width = 50, .height = 50, .options = VOREL_OPTION_FIT_COVER | turn});
        EXPECT_TRUE(small.pixels == stored(turned(cut(whole, 8, 0, 50, 50), degrees), COLOR_RGBA8888, 0)) << degrees;
        EXPECT_EQ(small.out_width, 50u);
    }
    const Decoded large =
        decode(jpeg, {.format = COLOR_YUV444, .width = 120, .height = 120, .options = VOREL_OPTION_FIT_COVER});
    EXPECT_TRUE(large.pixels == stored(cut(wide, 20, 0, 120, 120), COLOR_YUV444, 0));
}

// Decode modes reach a decode only through BRIMJ_DecodeFrame.
TEST(JpegModes, SmallerScalesGiveTheOutputSizeAndPlainDecodesIgnoreThem) {
    PictureSpec spec;
    spec.width = 320;
    spec.height = 256;
    spec.noise = 0;
    const Bytes jpeg = turbo_picture(spec);
    const DecodeSpec half{.format = COLOR_YUV444, .width = 160, .height = 128};
    const Bytes plain = decode(jpeg, half).pixels;
    for (const int mode : {0, 1, 2, 3, 4}) {
        const Decoded ours = decode_with_mode(jpeg, half, mode);
        EXPECT_EQ(ours.result, 1);
        EXPECT_EQ(ours.pixels == plain, mode < 2) << mode;
        // Cruder, but the same picture.
        double error = 0;
        for (size_t i = 0; i < plain.size(); ++i) error += std::abs(plain[i] - ours.pixels[i]);
        EXPECT_LT(error / static_cast<double>(plain.size()), 16) << mode;
    }
    // Beyond 1/8 a sample is the DC of the block at its pixel.
    const DecodeSpec eighth{.format = COLOR_YUV444, .width = 40, .height = 32};
    const Samples dc = at_size(jpeg, 40, 32, Colour::kYcc);
    const Bytes sparse = decode_with_mode(jpeg, eighth, 3).pixels;
    const auto blocks = turbo_coefficients(jpeg);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 40; ++x) {
            // 20 x 16 samples, enlarged by centres.
            const int block = (y / 2 * 2) * blocks[0].across + x / 2 * 2;
            const int value = (blocks[0].quant[0] * blocks[0].coefficients[static_cast<size_t>(block) * 64]) >> 3;
            EXPECT_EQ(sparse[static_cast<size_t>(y * 40 + x)], std::clamp(value + 128, 0, 255));
        }
    }
    (void)dc;
}

}  // namespace
}  // namespace vorel::test
