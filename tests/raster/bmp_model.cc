#include "raster/bmp_model.h"

#include <gtest/gtest.h>

#include <random>

namespace vorel::test {
namespace {

constexpr uint32_t kMasks[3][3] = {{0x7C00, 0x3E0, 0x1F}, {0xF800, 0x7E0, 0x1F}, {0xF00, 0xF0, 0xF}};
constexpr int kFieldBits[3][3] = {{5, 5, 5}, {5, 6, 5}, {4, 4, 4}};

Rgba colour_of(const BmpPicture &picture, const BmpShape &shape, int32_t x, int32_t y) {
    const uint32_t sample = picture.at(x, y);
    if (picture.bits == 16) {
        const int *bits = kFieldBits[static_cast<int>(shape.fields)];
        const uint32_t b = sample & ((1u << bits[2]) - 1), g = sample >> bits[2] & ((1u << bits[1]) - 1);
        const uint32_t r = sample >> (bits[2] + bits[1]) & ((1u << bits[0]) - 1);
        return {r << (8 - bits[0]), g << (8 - bits[1]), b << (8 - bits[2]), 255};
    }
    const bool listed = sample < picture.palette.size();
    const uint32_t rgb = picture.bits > 8 ? sample : listed ? picture.palette[sample] : 0;
    return {rgb >> 16 & 255, rgb >> 8 & 255, rgb & 255, picture.bits == 32 ? sample >> 24 : 255};
}

size_t palette_bytes(const BmpPicture &picture, const BmpShape &shape) {
    return picture.palette.size() * (shape.header == 12 ? 3 : 4);
}
bool names_fields(const BmpPicture &picture, const BmpShape &shape) {
    return picture.bits == 16 && (shape.named_fields || shape.fields != Fields16::k555);
}

Bytes header_of(const BmpPicture &picture, const BmpShape &shape, uint32_t compression, size_t data_bytes) {
    const size_t offset = bmp_data_offset(picture, shape);
    const auto width = static_cast<uint32_t>(picture.width), height = static_cast<uint32_t>(picture.height);
    const auto bits = static_cast<uint32_t>(picture.bits);
    Bytes out = cat({text("BM"), little_32(static_cast<uint32_t>(offset + data_bytes)), little_32(0),
                     little_32(static_cast<uint32_t>(offset)), little_32(shape.header)});
    if (shape.header == 12) {
        out = cat({out, little_16(width), little_16(height), little_16(1), little_16(bits)});
    } else {
        out = cat({out, little_32(width), little_32(shape.top_down ? 0 - height : height), little_16(1),
                   little_16(bits), little_32(compression), Bytes(20)});
        if (names_fields(picture, shape)) {
            for (const uint32_t mask : kMasks[static_cast<int>(shape.fields)]) out = cat({out, little_32(mask)});
        }
        if (out.size() < 14 + shape.header) out.resize(14 + shape.header);
    }
    for (const uint32_t rgb : picture.palette) {
        const Bytes entry = little_32(rgb);
        out.insert(out.end(), entry.begin(), entry.end() - (shape.header == 12 ? 1 : 0));
    }
    return out;
}

}  // namespace

BmpPicture random_bmp(uint32_t seed, int bits, int32_t width, int32_t height) {
    std::mt19937 random(seed);
    BmpPicture picture = {bits, width, height, {}, {}};
    if (bits <= 8) {
        for (int i = 0; i < 1 << bits; ++i) picture.palette.push_back(random() & 0xFFFFFF);
    }
    const uint32_t mask = bits == 32 ? ~0u : (1u << bits) - 1;
    for (int32_t i = 0; i < width * height; ++i) picture.samples.push_back(static_cast<uint32_t>(random()) & mask);
    return picture;
}

size_t bmp_data_offset(const BmpPicture &picture, const BmpShape &shape) {
    const bool masks_behind = names_fields(picture, shape) && shape.header == 40;
    return 14 + shape.header + (masks_behind ? 12 : 0) + palette_bytes(picture, shape);
}

Bytes bmp_file(const BmpPicture &picture, const BmpShape &shape) {
    Bytes rows;
    for (int32_t i = 0; i < picture.height; ++i) {
        const int32_t y = shape.top_down ? i : picture.height - 1 - i;
        Bytes row((static_cast<size_t>(picture.width * picture.bits) + 31) / 32 * 4);
        for (int32_t x = 0; x < picture.width; ++x) {
            const uint32_t sample = picture.at(x, y);
            if (picture.bits < 8) {
                const int per_byte = 8 / picture.bits;
                row[static_cast<size_t>(x / per_byte)] |=
                    static_cast<uint8_t>(sample << (8 - picture.bits - x % per_byte * picture.bits));
            } else {
                for (int byte = 0; byte < picture.bits / 8; ++byte) {
                    row[static_cast<size_t>(x * picture.bits / 8 + byte)] = static_cast<uint8_t>(sample >> (8 * byte));
                }
            }
        }
        rows.insert(rows.end(), row.begin(), row.end());
    }
    const uint32_t compression = names_fields(picture, shape) ? 3 : 0;
    return cat({header_of(picture, shape, compression, rows.size()), rows});
}

Bytes rle8_of_codes(int32_t width, int32_t height, const Bytes &codes) {
    BmpPicture picture = {8, width, height, {}, {}};
    for (uint32_t gray = 0; gray < 256; ++gray) picture.palette.push_back(gray * 0x010101);
    return cat({header_of(picture, {}, 1, codes.size()), codes});
}

Bytes rle8_file(const BmpPicture &picture, int left_out) {
    Bytes codes;
    const auto put = [&](std::initializer_list<int32_t> bytes) {
        for (const int32_t byte : bytes) codes.push_back(static_cast<uint8_t>(byte));
    };
    for (int32_t y = picture.height - 1; y >= 0; --y) {
        for (int32_t x = 0; x < picture.width;) {
            const auto value = static_cast<int>(picture.at(x, y));
            int32_t same = 1;
            while (x + same < picture.width && same < 255 && static_cast<int>(picture.at(x + same, y)) == value) ++same;
            const int32_t absolute = std::min(picture.width - x, 3 + (x + y) % 5);
            if (value == left_out) {
                put({0, 2, same, 0});
            } else if (same > 1 || absolute < 3 || (x ^ y) & 1 || left_out >= 0) {
                put({same, value});
            } else {
                put({0, absolute});
                for (same = 0; same < absolute; ++same) put({static_cast<int32_t>(picture.at(x + same, y))});
                if (absolute & 1) put({0xEE});
            }
            x += same;
        }
        put({0, y == 0 ? 1 : 0});
    }
    return cat({header_of(picture, {}, 1, codes.size()), codes});
}

RasterPicture model_bmp(const BmpPicture &picture, const BmpShape &shape, const RasterTarget &target, int left_out) {
    const RasterSize own = {picture.width, picture.height}, out = fitted(own, target);
    const auto is_left_out = [&](int32_t x, int32_t y) {
        return picture.bits == 8 && static_cast<int>(picture.at(x, y)) == left_out;
    };
    return laid_out(target, out, target_bytes(target), [&](int32_t x, int32_t y, uint8_t *at) {
        Rgba colour = {0, 0, 0, 255};
        if (out == own) {
            if (is_left_out(x, y)) return;
            colour = colour_of(picture, shape, x, y);
            colour.a = 255;
        } else {
            // Sample rows are counted in the file's order.
            auto [upper, lower] = quarter_taps(shape.top_down ? y : out.height - 1 - y, own.height, out.height);
            if (!shape.top_down) upper = own.height - 1 - upper, lower = own.height - 1 - lower;
            const auto [left, right] = quarter_taps(x, own.width, out.width);
            Rgba sum;
            for (const auto &[column, row] : {std::pair(left, upper), {right, upper}, {left, lower}, {right, lower}}) {
                const Rgba sample =
                    is_left_out(column, row) ? Rgba{0, 0, 0, 255} : colour_of(picture, shape, column, row);
                sum = {sum.r + sample.r, sum.g + sample.g, sum.b + sample.b, sum.a + sample.a};
            }
            colour = {sum.r / 4, sum.g / 4, sum.b / 4, sum.a / 4};
        }
        const Bytes pixel = pixel_of(colour, target.format);
        std::copy(pixel.begin(), pixel.end(), at);
    });
}

void expect_bmp_as_model(const BmpPicture &picture, const BmpShape &shape, const RasterTarget &target) {
    SCOPED_TRACE(std::to_string(picture.bits) + " bits, header " + std::to_string(shape.header) +
                 (shape.top_down ? ", top down, " : ", ") + std::to_string(picture.width) + " x " +
                 std::to_string(picture.height) + text_of(target));
    const Bytes file = bmp_file(picture, shape);
    const RasterPicture expected = model_bmp(picture, shape, target);
    for (const Kind kind : kAllKinds) {
        const RasterPicture got = decode_bmp(kind, file, target);
        ASSERT_EQ(got.pixels, expected.pixels);
        ASSERT_TRUE(got == expected) << got.result << ": " << got.width << " x " << got.height;
    }
}

}  // namespace vorel::test
