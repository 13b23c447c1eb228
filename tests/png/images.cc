#include "png/images.h"

#include <zlib.h>

#include <algorithm>
#include <random>

#include "support/samples.h"

namespace vorel::test {
namespace {

int channels(int colour_type) { return colour_type == 2 ? 3 : colour_type == 4 ? 2 : colour_type == 6 ? 4 : 1; }

// Samples of one row, each in its own word.
using Samples = std::vector<uint32_t>;

// The samples of the whole picture. Some pixels have the colour of the tRNS chunk, some differ from it in low bits
// only, and alpha is often 0 or full.
std::vector<Samples> make_samples(const PngSpec &spec) {
    std::mt19937 random(spec.seed);
    const int per_pixel = channels(spec.colour_type);
    const uint32_t most = (1u << spec.depth) - 1;
    std::vector<Samples> rows(static_cast<size_t>(spec.height));
    for (int y = 0; y < spec.height; ++y) {
        for (int x = 0; x < spec.width; ++x) {
            for (int c = 0; c < per_pixel; ++c) {
                const bool alpha = c == per_pixel - 1 && (spec.colour_type & 4);
                uint32_t value = random() & most;
                if (spec.smooth) value = static_cast<uint32_t>((x * 3 + y * 5 + c * 40) / 4) & most;
                if (alpha && random() % 3 == 0) value = random() % 2 ? most : 0;
                rows[static_cast<size_t>(y)].push_back(value);
            }
            uint32_t *pixel = &rows[static_cast<size_t>(y)][static_cast<size_t>(x * per_pixel)];
            if (spec.transparency && spec.colour_type != 3 && random() % 4 == 0) {
                for (int c = 0; c < per_pixel; ++c) pixel[c] = (0x1357u + static_cast<uint32_t>(c) * 0x2233u) & most;
                if (spec.depth == 16 && random() % 2 == 0) pixel[random() % static_cast<unsigned>(per_pixel)] ^= 1;
            }
        }
    }
    return rows;
}

Bytes pack(const Samples &samples, int depth) {
    Bytes bytes;
    uint32_t pending = 0;
    int bits = 0;
    for (const uint32_t sample : samples) {
        pending = pending << depth | sample;
        bits += depth;
        while (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<uint8_t>(pending >> bits));
        }
    }
    if (bits) bytes.push_back(static_cast<uint8_t>(pending << (8 - bits)));
    return bytes;
}

int paeth(int a, int b, int c) {
    const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

void put_filtered(const Bytes &row, const Bytes &above, int filter, size_t pixel, Bytes *out) {
    out->push_back(static_cast<uint8_t>(filter));
    for (size_t i = 0; i < row.size(); ++i) {
        const int a = i >= pixel ? row[i - pixel] : 0, b = above[i], c = i >= pixel ? above[i - pixel] : 0;
        const int predicted[] = {0, a, b, (a + b) / 2, paeth(a, b, c)};
        out->push_back(static_cast<uint8_t>(row[i] - predicted[filter]));
    }
}

Bytes scan_lines(const PngSpec &spec) {
    const std::vector<Samples> rows = make_samples(spec);
    const size_t per_pixel = static_cast<size_t>(channels(spec.colour_type));
    const size_t filter_pixel = std::max<size_t>(1, per_pixel * static_cast<size_t>(spec.depth) / 8);
    const int starts[7][2] = {{0, 0}, {4, 0}, {0, 4}, {2, 0}, {0, 2}, {1, 0}, {0, 1}};
    const int steps[7][2] = {{8, 8}, {8, 8}, {4, 8}, {4, 4}, {2, 4}, {2, 2}, {1, 2}};
    Bytes out;
    int counter = 0;
    for (int pass = 0; pass < (spec.interlaced ? 7 : 1); ++pass) {
        const int x0 = spec.interlaced ? starts[pass][0] : 0, y0 = spec.interlaced ? starts[pass][1] : 0;
        const int dx = spec.interlaced ? steps[pass][0] : 1, dy = spec.interlaced ? steps[pass][1] : 1;
        if (x0 >= spec.width) continue;
        Bytes above;
        for (int y = y0; y < spec.height; y += dy) {
            Samples picked;
            for (int x = x0; x < spec.width; x += dx) {
                const auto at = rows[static_cast<size_t>(y)].begin() + x * static_cast<int>(per_pixel);
                picked.insert(picked.end(), at, at + static_cast<int>(per_pixel));
            }
            const Bytes row = pack(picked, spec.depth);
            above.resize(row.size());
            put_filtered(row, above, spec.filter >= 0 ? spec.filter : counter++ % 5, filter_pixel, &out);
            above = row;
        }
    }
    return out;
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
    const auto byte = [](int value) { return static_cast<uint8_t>(value); };
    const uint32_t most = (1u << spec.depth) - 1;
    Bytes file = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};
    const auto put = [&](const Bytes &bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); };
    put(png_chunk("IHDR", cat({big_32(static_cast<uint32_t>(spec.width)),
                               big_32(static_cast<uint32_t>(spec.height)),
                               {byte(spec.depth), byte(spec.colour_type), 0, 0, byte(spec.interlaced)}})));
    if (spec.colour_type == 3) {
        // Some indices have no colour.
        const uint32_t colours = std::max(2u, most - most / 5);
        Bytes palette, alphas;
        for (uint32_t i = 0; i < colours; ++i) {
            for (const uint32_t c : {i * 7 + 3, i * 29 + 100, 255 - i}) palette.push_back(static_cast<uint8_t>(c));
            if (i < colours / 2 + 1) alphas.push_back(static_cast<uint8_t>(i % 3 == 0 ? 0 : i * 90));
        }
        put(png_chunk("PLTE", palette));
        if (spec.transparency) put(png_chunk("tRNS", alphas));
    } else if (spec.transparency) {
        Bytes key;
        for (int c = 0; c < channels(spec.colour_type); ++c) {
            const Bytes sample = big_16((0x1357u + static_cast<uint32_t>(c) * 0x2233u) & most);
            key.insert(key.end(), sample.begin(), sample.end());
        }
        put(png_chunk("tRNS", key));
    }
    put(spec.extra);
    const Bytes raw = scan_lines(spec);
    Bytes packed(compressBound(static_cast<uLong>(raw.size())));
    uLongf size = static_cast<uLongf>(packed.size());
    compress2(packed.data(), &size, raw.data(), static_cast<uLong>(raw.size()), 6);
    for (size_t at = 0; at < size; at += static_cast<size_t>(spec.idat_bytes)) {
        const size_t end = std::min<size_t>(size, at + static_cast<size_t>(spec.idat_bytes));
        put(png_chunk("IDAT", Bytes(packed.begin() + static_cast<long>(at), packed.begin() + static_cast<long>(end))));
    }
    put(png_chunk("IEND", {}));
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
                PngSpec spec;
                spec.width = width;
                spec.height = height;
                spec.colour_type = form[0];
                spec.depth = form[1];
                spec.interlaced = interlaced;
                spec.transparency = transparency;
                spec.seed = static_cast<unsigned>(specs.size() + 1);
                specs.push_back(spec);
            }
        }
    }
    return specs;
}

}  // namespace vorel::test
