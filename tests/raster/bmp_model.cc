#include "raster/bmp_model.h"

#include <random>

#include "support/samples.h"

namespace vorel::test {
namespace {

struct Rgba {
    uint32_t r = 0, g = 0, b = 0, a = 0;
};

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

Bytes pixel_of(const Rgba &c, int32_t format) {
    const auto byte = [](uint32_t value) { return static_cast<uint8_t>(value); };
    switch (format) {
        case COLOR_RGB565:
            return little_16(c.r / 8 * 2048 + c.g / 4 * 32 + c.b / 8);
        case COLOR_RGB888:
            return {byte(c.r), byte(c.g), byte(c.b)};
        case COLOR_ARGB8888:
            return {byte(c.a), byte(c.r), byte(c.g), byte(c.b)};
        case COLOR_BGR565A:
            return cat({little_16(c.b / 8 * 2048 + c.g / 4 * 32 + c.r / 8), {byte(c.a)}});
        case COLOR_RGBA8888:
            return {byte(c.r), byte(c.g), byte(c.b), byte(c.a)};
        case COLOR_BGRA8888:
            return {byte(c.b), byte(c.g), byte(c.r), byte(c.a)};
        default:
            return {};
    }
}

struct Size {
    int32_t width, height;
};

Size size_of(const BmpPicture &picture, int32_t a, int32_t b, bool stretch) {
    const int32_t width = picture.width, height = picture.height;
    if (stretch) return {a, b};
    if (a >= width && b >= height) return {width, height};
    const int32_t h = height * a / width, w = width * b / height;
    if (a <= width && b <= height && h == b && w == a) return {a, b};
    if (a < width) return b < h ? Size{w, b} : Size{a, h};
    return {w, b};
}

// The source line in which the sample at `position` lies, lines being `target` long.
int32_t line_at(int64_t position, int32_t target) {
    int32_t line = 0;
    while (int64_t{line + 1} * target <= position) ++line;
    return line;
}

// The two sample lines of an output line.
std::vector<int32_t> lines_of(int32_t index, int32_t source, int32_t target) {
    return {line_at(source / 4 + int64_t{index} * source, target),
            line_at(source * 3 / 4 + int64_t{index} * source, target)};
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

int32_t bmp_test_pixel_bytes(int32_t format) { return static_cast<int32_t>(pixel_of({}, format).size()); }

BmpExpected model_bmp(const BmpPicture &picture, const BmpShape &shape, const BmpTarget &target, Bytes before,
                      int left_out) {
    const uint32_t turn = target.option >> 2 & 3, fit = target.option & 0x700;
    const bool sideways = turn % 2 == 1;
    const Size out = size_of(picture, sideways ? target.height : target.width, sideways ? target.width : target.height,
                             fit == 0x700);
    const bool one_to_one = out.width == picture.width && out.height == picture.height;
    BmpExpected expected = {std::move(before), sideways ? out.height : out.width, sideways ? out.width : out.height};
    if (out.width <= 0 || out.height <= 0) return {expected.pixels, 0, 0};
    const int32_t stride = fit == 0x100 ? expected.width : target.width;
    const int32_t left = fit == 0x100 ? 0 : (target.width - expected.width) / 2;
    const int32_t top = fit == 0x100 ? 0 : (target.height - expected.height) / 2;
    for (int32_t y = 0; y < out.height; ++y) {
        // Sample rows are counted in the file's order.
        std::vector<int32_t> rows = lines_of(shape.top_down ? y : out.height - 1 - y, picture.height, out.height);
        for (int32_t &row : rows) row = shape.top_down ? row : picture.height - 1 - row;
        for (int32_t x = 0; x < out.width; ++x) {
            Rgba colour;
            if (one_to_one) {
                if (static_cast<int>(picture.at(x, y)) == left_out) continue;
                colour = colour_of(picture, shape, x, y);
                colour.a = 255;
            } else {
                for (const int32_t row : rows) {
                    for (const int32_t column : lines_of(x, picture.width, out.width)) {
                        Rgba sample = colour_of(picture, shape, column, row);
                        if (static_cast<int>(picture.at(column, row)) == left_out) sample = {0, 0, 0, 255};
                        colour.r += sample.r;
                        colour.g += sample.g;
                        colour.b += sample.b;
                        colour.a += sample.a;
                    }
                }
                colour = {colour.r / 4, colour.g / 4, colour.b / 4, colour.a / 4};
            }
            // Where (x, y) goes when the picture is turned clockwise.
            const int32_t across[] = {x, out.height - 1 - y, out.width - 1 - x, y};
            const int32_t down[] = {y, x, out.height - 1 - y, out.width - 1 - x};
            const Bytes pixel = pixel_of(colour, target.format);
            const auto at = static_cast<size_t>((top + down[turn]) * stride + left + across[turn]) * pixel.size();
            std::copy(pixel.begin(), pixel.end(), expected.pixels.begin() + static_cast<ptrdiff_t>(at));
        }
    }
    return expected;
}

std::string describe(const BmpPicture &picture, const BmpShape &shape, const BmpTarget &target) {
    const auto number = [](int64_t value) { return std::to_string(value); };
    return number(picture.bits) + " bits, header " + number(shape.header) + (shape.top_down ? ", top down, " : ", ") +
           number(picture.width) + " x " + number(picture.height) + " to " + number(target.width) + " x " +
           number(target.height) + " format " + number(target.format) + " option " + number(target.option);
}

}  // namespace vorel::test
