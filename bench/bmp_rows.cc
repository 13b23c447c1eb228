#include "bmp_rows.h"

#include <vorel/raster.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

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

struct Files {
    std::vector<uint8_t> bits8 = noise_file(8), bits24 = noise_file(24), bits32 = noise_file(32), runs = runs_file();
};

struct Row {
    const char *name;
    std::vector<uint8_t> Files::*file;
    int32_t format, divisor;
    uint32_t options;
};
constexpr Row kRows[] = {
    {"bmp/24/rgba", &Files::bits24, COLOR_RGBA8888, 1, 0},
    {"bmp/24/rgb", &Files::bits24, COLOR_RGB888, 1, 0},
    {"bmp/24/rgb565", &Files::bits24, COLOR_RGB565, 1, 0},
    {"bmp/24/rgba/turned", &Files::bits24, COLOR_RGBA8888, 1, VOREL_OPTION_ROTATE_90},
    {"bmp/24/rgba/half", &Files::bits24, COLOR_RGBA8888, 2, 0},
    {"bmp/32/rgba", &Files::bits32, COLOR_RGBA8888, 1, 0},
    {"bmp/32/rgba/half", &Files::bits32, COLOR_RGBA8888, 2, 0},
    {"bmp/8/rgba", &Files::bits8, COLOR_RGBA8888, 1, 0},
    {"bmp/8/rgba/half", &Files::bits8, COLOR_RGBA8888, 2, 0},
    {"bmp/rle8/rgba", &Files::runs, COLOR_RGBA8888, 1, 0},
    {"bmp/rle8/rgba/half", &Files::runs, COLOR_RGBA8888, 2, 0},
};

void decode(const std::vector<uint8_t> &file, const Row &row, uint8_t *out) {
    DecInfo *session = VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(file.data()), static_cast<int32_t>(file.size()),
                                               row.format, row.options);
    int32_t width = kWidth / row.divisor, height = kHeight / row.divisor;
    if (row.options & VOREL_OPTION_ROTATE_90) std::swap(width, height);
    if (!session || VORELBRIMI_DecodeBMP(session, out, width, height) != 1) {
        std::fprintf(stderr, "a BMP was not decoded\n");
        std::abort();
    }
    VORELBRIM_DestroyDecInfo(session);
}

}  // namespace

void bmp_rows(const Filter &filter, Table &table) {
    table.emit(
        "BMP of 4000 x 3000 pixels from memory\n"
        "memcpy a copy that reads and writes as many bytes as file and output have; ratio: its time by ours\n\n");
    const Files files;
    std::vector<uint8_t> out(static_cast<size_t>(kWidth) * kHeight * 4), copy(out.size());
    for (const Row &row : kRows) {
        if (!filter.wants(row.name)) continue;
        const std::vector<uint8_t> &file = files.*row.file;
        const size_t pixel = row.format == COLOR_RGB565 ? 2 : row.format == COLOR_RGB888 ? 3 : 4;
        const size_t written =
            static_cast<size_t>(kWidth / row.divisor) * static_cast<size_t>(kHeight / row.divisor) * pixel;
        const size_t copied = std::min((file.size() + written) / 2, copy.size());
        Turns turns = measure_in_turns([&] { decode(file, row, out.data()); },
                                       [&] { std::memcpy(copy.data(), out.data(), copied); }, {}, false);
        const double mine = turns.ours.median(), memory = turns.peer.median();
        char text[160];
        std::snprintf(text, sizeof text, "%-20s  ours %7.2f ms  memcpy %6.2f ms  ratio %5.2f  spread %5.1f %%\n",
                      row.name, mine * 1e3, memory * 1e3, turns.ratios.median(), 100 * turns.ours.spread());
        table.emit(text);
    }
    table.emit("\n");
}

}  // namespace vorel_bench
