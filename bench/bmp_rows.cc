#include "bmp_rows.h"

#include <vorel/raster.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorel_bench {
namespace {

constexpr int32_t kWidth = 4000, kHeight = 3000;

void append_word(std::vector<uint8_t> *file, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// Up to the pixels: a header of 40 bytes, and 256 colours for 8 bits.
std::vector<uint8_t> header_of(int bits, uint32_t compression) {
    std::vector<uint8_t> file = {'B', 'M'};
    const uint32_t colours = bits == 8 ? 256 : 0;
    append_word(&file, 0, 4);
    append_word(&file, 0, 4);
    append_word(&file, 54 + 4 * colours, 4);
    append_word(&file, 40, 4);
    append_word(&file, kWidth, 4);
    append_word(&file, kHeight, 4);
    append_word(&file, 1, 2);
    append_word(&file, static_cast<uint32_t>(bits), 2);
    append_word(&file, compression, 4);
    file.resize(54);
    for (uint32_t i = 0; i < colours; ++i) append_word(&file, i * 0x01030507u & 0xFFFFFF, 4);
    return file;
}

std::vector<uint8_t> noise_file(int bits) {
    std::vector<uint8_t> file = header_of(bits, 0);
    const size_t pixels = static_cast<size_t>(kWidth) * kHeight * static_cast<size_t>(bits) / 8;
    uint32_t state = 1;
    file.reserve(file.size() + pixels);
    for (size_t i = 0; i < pixels; ++i)
        file.push_back(static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24));
    return file;
}

// Runs of 1 to 16 pixels.
std::vector<uint8_t> runs_file() {
    std::vector<uint8_t> file = header_of(8, 1);
    uint32_t state = 1;
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth;) {
            state = state * 1664525 + 1013904223;
            const auto count = static_cast<int32_t>(1 + (state >> 28));
            append_word(&file, static_cast<uint32_t>(count) | (state >> 8 & 0xFF00), 2);
            x += count;
        }
        append_word(&file, 0, 2);
    }
    append_word(&file, 0x100, 2);
    return file;
}

}  // namespace

BmpFiles::BmpFiles()
    : plain_{noise_file(8), noise_file(24), noise_file(32)},
      runs_(runs_file()),
      out_(static_cast<size_t>(kWidth) * kHeight * 4 + 64),
      copy_(out_.size()) {}

TimedRow BmpFiles::row(const char *name, std::vector<uint8_t> &file, int32_t format, int32_t divisor,
                       uint32_t options) {
    const size_t pixel = format == COLOR_RGB565 ? 2 : format == COLOR_RGB888 ? 3 : 4;
    const size_t written = static_cast<size_t>(kWidth / divisor) * static_cast<size_t>(kHeight / divisor) * pixel;
    const size_t bytes = file.size() + written;
    const auto ours = [this, &file, format, divisor, options] {
        DecInfo *session = VORELBRIM_CreateDecInfo(1, file.data(), static_cast<int32_t>(file.size()), format, options);
        const bool turned = (options & VOREL_OPTION_ROTATE_90) != 0;
        const int32_t width = kWidth / divisor, height = kHeight / divisor;
        if (!session ||
            VORELBRIMI_DecodeBMP(session, out_.data(), turned ? height : width, turned ? width : height) != 1) {
            std::fprintf(stderr, "a BMP was not decoded\n");
            std::abort();
        }
        VORELBRIM_DestroyDecInfo(session);
    };
    const auto copied = [this, bytes] { std::memcpy(copy_.data(), out_.data(), std::min(bytes / 2, copy_.size())); };
    return {name, ours, copied, bytes, false};
}

std::vector<TimedRow> BmpFiles::rows() {
    std::vector<TimedRow> rows;
    const struct {
        const char *name;
        std::vector<uint8_t> &file;
        int32_t format, divisor;
        uint32_t options;
    } cases[] = {
        {"bmp/24/rgba", plain_[1], COLOR_RGBA8888, 1, 0},
        {"bmp/24/rgb", plain_[1], COLOR_RGB888, 1, 0},
        {"bmp/24/rgb565", plain_[1], COLOR_RGB565, 1, 0},
        {"bmp/24/rgba/turned", plain_[1], COLOR_RGBA8888, 1, VOREL_OPTION_ROTATE_90},
        {"bmp/24/rgba/half", plain_[1], COLOR_RGBA8888, 2, 0},
        {"bmp/32/rgba", plain_[2], COLOR_RGBA8888, 1, 0},
        {"bmp/32/rgba/half", plain_[2], COLOR_RGBA8888, 2, 0},
        {"bmp/8/rgba", plain_[0], COLOR_RGBA8888, 1, 0},
        {"bmp/8/rgba/half", plain_[0], COLOR_RGBA8888, 2, 0},
        {"bmp/rle8/rgba", runs_, COLOR_RGBA8888, 1, 0},
        {"bmp/rle8/rgba/half", runs_, COLOR_RGBA8888, 2, 0},
    };
    for (const auto &c : cases) rows.push_back(row(c.name, c.file, c.format, c.divisor, c.options));
    return rows;
}

}  // namespace vorel_bench
