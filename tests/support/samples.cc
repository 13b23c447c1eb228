#include "support/samples.h"

#include <algorithm>
#include <random>

namespace vorel::test {

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes head(const Bytes &bytes, size_t count) { return Bytes(bytes.data(), bytes.data() + count); }
Bytes tail(const Bytes &bytes, size_t count) {
    return Bytes(bytes.data() + bytes.size() - count, bytes.data() + bytes.size());
}
Bytes changed(Bytes bytes, size_t at, const Bytes &values) {
    std::copy(values.begin(), values.end(), bytes.begin() + static_cast<ptrdiff_t>(at));
    return bytes;
}
Bytes noise(size_t size, unsigned seed) {
    std::minstd_rand random(seed + 1);
    Bytes bytes(size);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random() >> 8);
    return bytes;
}

Bytes little_16(uint32_t value) { return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)}; }
Bytes little_32(uint32_t value) { return cat({little_16(value & 0xFFFF), little_16(value >> 16)}); }
Bytes big_16(uint32_t value) { return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)}; }
Bytes big_32(uint32_t value) { return cat({big_16(value >> 16), big_16(value & 0xFFFF)}); }
Bytes text(const char *characters) {
    return Bytes(characters, characters + std::char_traits<char>::length(characters));
}

Bytes wbmp_integer(uint32_t value, int groups) {
    Bytes out = {static_cast<uint8_t>(value & 0x7F)};
    while ((value >>= 7) != 0) out.insert(out.begin(), static_cast<uint8_t>(0x80 | (value & 0x7F)));
    while (static_cast<int>(out.size()) < groups) out.insert(out.begin(), 0x80);
    return out;
}

Bytes wbmp(uint32_t width, uint32_t height, const Bytes &bits) {
    return cat({{0, 0}, wbmp_integer(width), wbmp_integer(height), bits});
}

Bytes bmp_header(uint32_t header_size, uint32_t width, uint32_t height) {
    const bool core = (header_size & 0xFF) == 12;
    return cat({text("BM"), little_32(0), little_32(0), little_32(54), little_32(header_size),
                core ? little_16(width) : little_32(width), core ? little_16(height) : little_32(height),
                core ? little_32(0) : Bytes{}});
}

Bytes png_header(uint32_t width, uint32_t height, uint8_t interlace) {
    return cat({{0x89},
                text("PNG"),
                {13, 10, 26, 10},
                big_32(13),
                text("IHDR"),
                big_32(width),
                big_32(height),
                {8, 2, 0, 0, interlace},
                big_32(0)});
}

Bytes jpeg_header(uint32_t width, uint32_t height, uint8_t sof) {
    return cat({{0xFF, 0xD8, 0xFF, sof},
                big_16(11),
                {8},
                big_16(height),
                big_16(width),
                {1, 1, 0x11, 0},
                {0xFF, 0xDA},
                big_16(8),
                {1, 1, 0, 0, 63, 0},
                {0xFF, 0xD9}});
}

namespace {

uint8_t table_flags(int bits) { return bits < 0 ? uint8_t{0} : static_cast<uint8_t>(0x80 | bits); }
Bytes table(int bits) { return bits < 0 ? Bytes{} : Bytes(static_cast<size_t>(3) << (bits + 1), 0x2C); }

}  // namespace

Bytes gif_screen(uint32_t width, uint32_t height, int table_bits) {
    return cat(
        {text("GIF89a"), little_16(width), little_16(height), {table_flags(table_bits), 0, 0}, table(table_bits)});
}

Bytes gif_image(int table_bits, const Bytes &sub_blocks) {
    return cat({{0x2C, 0, 0, 0, 0, 1, 0, 1, 0, table_flags(table_bits)}, table(table_bits), {2}, sub_blocks});
}

Bytes gif_delay(uint32_t hundredths) { return cat({{0x21, 0xF9, 4, 0}, little_16(hundredths), {0, 0}}); }

Bytes gif_still() { return cat({gif_screen(3, 2, 0), gif_image(), {0x3B}}); }

Bytes gif_animation() {
    return cat({gif_screen(3, 2),
                {0x21, 0xFE, 3, 'a', 'b', 'c', 0},
                gif_delay(5),
                gif_image(0),
                gif_delay(7),
                gif_image(),
                {0x3B}});
}

std::vector<Sample> all_samples() {
    return {
        {"wbmp", wbmp(130, 3, Bytes(17 * 3, 0xA5)), VOREL_IMAGE_WBMP},
        {"bmp", cat({bmp_header(40, 5, 7), Bytes(28, 0)}), VOREL_IMAGE_BMP},
        {"bmp core", bmp_header(12, 5, 7), VOREL_IMAGE_BMP},
        {"png", png_header(6, 4, 1), VOREL_IMAGE_PNG},
        {"jpeg", jpeg_header(8, 16), VOREL_IMAGE_JPEG},
        {"gif", gif_still(), VOREL_IMAGE_GIF},
        {"animated gif", gif_animation(), VOREL_IMAGE_ANIMATED_GIF},
    };
}

}  // namespace vorel::test
