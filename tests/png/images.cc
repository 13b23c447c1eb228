#include "png/images.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <random>

#include "support/samples.h"

namespace vorel::test {
namespace {

int channels(int colour_type) { return colour_type == 2 ? 3 : colour_type == 4 ? 2 : colour_type == 6 ? 4 : 1; }

// Sample c of the colour of the tRNS chunk.
uint32_t key_sample(const PngSpec &spec, int c) {
    return (0x1357u + static_cast<uint32_t>(c) * 0x2233u) & ((1u << spec.depth) - 1);
}

// The samples of row y, of one byte each or two. Some pixels have the colour of the tRNS chunk, some differ from it in
// low bits only, and alpha is often 0 or full.
Bytes make_row(const PngSpec &spec, int y, std::mt19937 &random) {
    const int per_pixel = channels(spec.colour_type);
    const uint32_t most = (1u << spec.depth) - 1;
    Bytes row;
    for (int x = 0; x < spec.width; ++x) {
        const bool keyed = spec.transparency && spec.colour_type != 3 && random() % 4 == 0;
        const uint32_t other = keyed && spec.depth == 16 && random() % 2 == 0;
        for (int c = 0; c < per_pixel; ++c) {
            const bool alpha = c == per_pixel - 1 && (spec.colour_type & 4);
            uint32_t value = random() & most;
            if (spec.smooth) {
                value =
                    (static_cast<uint32_t>((x * 3 + y * 5 + c * 40) / 4) + (value & ((1u << spec.noise) - 1))) & most;
            }
            if (alpha && random() % 3 == 0) value = random() % 2 ? most : 0;
            if (keyed) value = key_sample(spec, c) ^ (c == x % per_pixel ? other : 0);
            const Bytes sample = big_16(value);
            row.insert(row.end(), sample.begin() + (spec.depth == 16 ? 0 : 1), sample.end());
        }
    }
    return row;
}

void set_colours(png_structp png, png_infop info, const PngSpec &spec) {
    if (spec.colour_type == 3) {
        // Some indices have no colour.
        const int most = (1 << spec.depth) - 1, colours = std::max(2, most - most / 5);
        const auto byte = [](int value) { return static_cast<png_byte>(value); };
        std::vector<png_color> palette;
        Bytes alphas;
        for (int i = 0; i < colours; ++i) {
            palette.push_back({byte(i * 7 + 3), byte(i * 29 + 100), byte(255 - i)});
            if (i < colours / 2 + 1) alphas.push_back(byte(i % 3 == 0 ? 0 : i * 90));
        }
        png_set_PLTE(png, info, palette.data(), colours);
        if (spec.transparency) png_set_tRNS(png, info, alphas.data(), static_cast<int>(alphas.size()), nullptr);
    } else if (spec.transparency) {
        const auto key = [&](int c) { return static_cast<png_uint_16>(key_sample(spec, c)); };
        const png_color_16 colour = {0, key(0), key(1), key(2), key(0)};
        png_set_tRNS(png, info, nullptr, 0, &colour);
    }
}

void append(png_structp png, png_bytep data, size_t count) {
    auto *file = static_cast<Bytes *>(png_get_io_ptr(png));
    file->insert(file->end(), data, data + count);
}

}  // namespace

std::string PngSpec::name() const {
    return "type " + std::to_string(colour_type) + " depth " + std::to_string(depth) +
           (interlaced ? " interlaced" : "") + (transparency ? " tRNS " : " ") + std::to_string(width) + "x" +
           std::to_string(height) + " IDAT " + std::to_string(idat_bytes);
}

Bytes png_chunk(const char *name, const Bytes &data) {
    const Bytes body = cat({text(name), data});
    const auto crc = crc32(0, body.data(), static_cast<uInt>(body.size()));
    return cat({big_32(static_cast<uint32_t>(data.size())), body, big_32(static_cast<uint32_t>(crc))});
}

Bytes make_png(const PngSpec &spec) {
    Bytes file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, [](png_structp) {});
    png_set_IHDR(png, info, static_cast<png_uint_32>(spec.width), static_cast<png_uint_32>(spec.height), spec.depth,
                 spec.colour_type, spec.interlaced, 0, 0);
    png_set_compression_buffer_size(png, static_cast<size_t>(spec.idat_bytes));
    png_set_check_for_invalid_index(png, 0);
    png_set_compression_level(png, spec.level);
    png_set_compression_strategy(png, spec.strategy);
    png_set_compression_mem_level(png, spec.memory_level);
    png_set_compression_window_bits(png, spec.window_bits);
    set_colours(png, info, spec);
    png_write_info(png, info);
    file.insert(file.end(), spec.extra.begin(), spec.extra.end());
    std::mt19937 random(spec.seed);
    std::vector<Bytes> rows;
    for (int y = 0; y < spec.height; ++y) rows.push_back(make_row(spec, y, random));
    png_set_packing(png);
    png_set_filter(png, 0, PNG_ALL_FILTERS);
    const int passes = png_set_interlace_handling(png);
    for (int i = 0; i < passes * spec.height; ++i) {
        if (i) png_set_filter(png, 0, PNG_FILTER_NONE << i % 5);
        png_write_row(png, rows[static_cast<size_t>(i % spec.height)].data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

std::vector<ChunkAt> chunks_of(const Bytes &png) {
    std::vector<ChunkAt> chunks;
    for (size_t at = 8; at + 12 <= png.size();) {
        const size_t length =
            size_t{png[at]} << 24 | size_t{png[at + 1]} << 16 | size_t{png[at + 2]} << 8 | png[at + 3];
        if (length > png.size() - at - 12) break;
        chunks.push_back({at,
                          std::string(png.begin() + static_cast<long>(at) + 4, png.begin() + static_cast<long>(at) + 8),
                          length});
        at += 12 + length;
    }
    return chunks;
}

std::vector<PngSpec> all_forms(int width, int height) {
    constexpr int kForms[][2] = {{0, 1}, {0, 2}, {0, 4}, {0, 8}, {0, 16}, {2, 8}, {2, 16}, {3, 1},
                                 {3, 2}, {3, 4}, {3, 8}, {4, 8}, {4, 16}, {6, 8}, {6, 16}};
    std::vector<PngSpec> specs;
    for (const auto &form : kForms) {
        for (const bool interlaced : {false, true}) {
            for (const bool transparency : {false, true}) {
                if (transparency && (form[0] & 4)) continue;
                specs.push_back({.width = width,
                                 .height = height,
                                 .colour_type = form[0],
                                 .depth = form[1],
                                 .interlaced = interlaced,
                                 .transparency = transparency,
                                 .seed = static_cast<unsigned>(specs.size() + 1)});
            }
        }
    }
    return specs;
}

}  // namespace vorel::test
