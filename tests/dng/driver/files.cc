#include "dng/driver/files.h"

#include <algorithm>
#include <bit>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/samples.h"

namespace vorel::test {

// In whole numbers, so that they are the same on every machine.
std::vector<uint32_t> picture_samples(uint32_t width, uint32_t height, uint32_t planes, uint32_t most, unsigned seed) {
    std::mt19937 random(seed);
    const auto wave = [](uint32_t at) { return at % 64 < 32 ? at % 32 : 32 - at % 32; };
    std::vector<uint32_t> samples;
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            for (uint32_t plane = 0; plane < planes; ++plane) {
                const int64_t smooth = wave(x * 3 + plane * 11) * wave(y * 2 + seed);  // up to 1024
                const int64_t noise = (static_cast<int64_t>(random() % 1000) - 500) / (x > width / 2 ? 2 : 40);
                samples.push_back(
                    static_cast<uint32_t>(std::clamp<int64_t>(smooth + 40 + noise, 0, 1100) * most / 1100));
            }
        }
    }
    return samples;
}

Bytes big_longs(const std::vector<uint32_t> &values) {
    Bytes out;
    for (const uint32_t value : values) out = cat({out, big_32(value)});
    return out;
}
Bytes big_floats(const std::vector<float> &values) {
    Bytes out;
    for (const float value : values) out = cat({out, big_32(std::bit_cast<uint32_t>(value))});
    return out;
}
Bytes big_doubles(const std::vector<double> &values) {
    Bytes out;
    for (const double value : values) {
        const uint64_t bits = std::bit_cast<uint64_t>(value);
        out = cat({out, big_longs({static_cast<uint32_t>(bits >> 32), static_cast<uint32_t>(bits)})});
    }
    return out;
}

Bytes opcode(uint32_t id, const Bytes &body, uint32_t flags, uint32_t version) {
    return cat({big_32(id), big_32(version), big_32(flags), big_32(static_cast<uint32_t>(body.size())), body});
}

DngTag opcode_list(uint32_t tag, const std::vector<Bytes> &opcodes) {
    Bytes list = big_32(static_cast<uint32_t>(opcodes.size()));
    for (const Bytes &one : opcodes) list = cat({list, one});
    return dng_bytes(tag, kDngUndefined, list);
}

namespace {

NamedDng file_of(const std::string &name, DngImage image, unsigned seed, const std::vector<DngTag> &tags = {}) {
    const uint32_t most = image.bits == 12 ? 4095 : image.bits == 16 ? 65535 : 4000000000u;
    image.samples = picture_samples(image.width, image.height, image.planes, most, seed);
    add_tags(image.tags, tags);
    NamedDng file = {name, {}};
    file.builder.first = image, file.builder.tags = dng_color_tags();
    return file;
}

}  // namespace

std::vector<NamedDng> develop_files() {
    std::vector<NamedDng> files;
    for (const std::string pattern : {"0112", "1021", "1201", "2110"})
        files.push_back(file_of("pattern " + pattern, dng_mosaic(75, 62, 12, pattern), 12));

    std::vector<double> rows, columns, colours;
    for (int i = 0; i < 63; ++i) rows.push_back(i % 5 - 2.0);
    for (int i = 0; i < 79; ++i) columns.push_back(i % 3 * 1.5);
    files.push_back(
        file_of("borders, levels and deltas", dng_mosaic(90, 71, 12, "1021"), 26,
                {dng_longs(50829, {3, 5, 66, 84}), dng_shorts(50713, {2, 2}), dng_shorts(50714, {60, 64, 66, 70}),
                 dng_shorts(50717, {4000}), dng_rationals(50719, {8.4, 6.5}), dng_rationals(50720, {60, 50}),
                 dng_rationals(50716, rows, 1000, kDngSRational), dng_rationals(50715, columns, 1000, kDngSRational)}));

    for (const char c : std::string("110112112110201020112110110112020201")) colours.push_back(c - '0');
    files.push_back(file_of("6 x 6 cells", dng_mosaic(80, 66, 12), 11,
                            {dng_shorts(33421, {6, 6}), DngTag{33422, kDngByte, colours}}));

    Bytes points;
    for (uint32_t i = 0; i < 30; ++i) points = cat({points, big_longs({i * 37 % 84, i * 53 % 96})});
    const Bytes defects = cat({big_longs({0, 30, 1}), points, big_longs({40, 20, 41, 60})}),
                gains = cat({big_longs({0, 0, 84, 96, 0, 1, 2, 2, 3, 2}), big_doubles({0.5, 1, 0, 0}), big_longs({1}),
                             big_floats({1, 1.2f, 1.1f, 0.9f, 0.8f, 1.3f})}),
                deltas = cat({big_longs({2, 0, 50, 90, 0, 1, 1, 1, 48}), big_floats(std::vector<float>(48, 0.01f))}),
                polynomial = cat({big_longs({10, 6, 70, 90, 1, 2, 1, 1, 2}), big_doubles({0.02, 0.9, 0.05})});
    files.push_back(file_of(
        "opcodes", dng_mosaic(96, 84, 12), 7,
        {opcode_list(51008, {opcode(5, defects), opcode(4, big_longs({0, 0}))}),
         opcode_list(51009, {opcode(9, gains), opcode(10, deltas)}),
         opcode_list(51022, {opcode(3, big_doubles({0.2, -0.1, 0.05, 0, 0, 0.45, 0.55})), opcode(8, polynomial)})}));

    DngImage grey = dng_linear(70, 61, 16);
    grey.planes = 1;
    files.push_back(file_of("linear raw", dng_linear(70, 61, 16), 4));
    files.push_back(file_of("linear longs, developed as floats", dng_linear(70, 61, 32), 5));
    files.push_back(file_of("grey", grey, 6));
    // Big-endian ones among them.
    files[7].builder.littleEndian = files[8].builder.littleEndian = false;
    return files;
}

NamedDng develop_file(const std::string &name) {
    for (const NamedDng &file : develop_files())
        if (file.name == name) return file;
    throw std::runtime_error(name);
}

Bytes developed(const Bytes &file, decInfo *info) {
    Bytes out(size_t{info->width} * info->height * 4, 0xA5);
    EXPECT_EQ(decodeDNGImageBuffer(file.data(), length_of(file), out.data(), info), 0);
    return out;
}

Bytes developed(const Bytes &file, uint32_t width, uint32_t height) {
    decInfo info = sized(width, height);
    return developed(file, &info);
}

Picture developed_whole(DngBuilder builder) {
    DngImage &image = builder.first;
    Picture whole = {image.width, image.height, {}};
    for (const DngTag &tag : image.tags) {
        if (tag.code != 50829) continue;
        whole.height = static_cast<uint32_t>(tag.numbers[2] - tag.numbers[0]);
        whole.width = static_cast<uint32_t>(tag.numbers[3] - tag.numbers[1]);
    }
    image.tags.push_back(dng_rationals(50719, {0, 0}));
    image.tags.push_back(dng_rationals(50720, {1.0 * whole.width, 1.0 * whole.height}));
    whole.rgba = developed(builder.build(), whole.width, whole.height);
    return whole;
}

}  // namespace vorel::test
