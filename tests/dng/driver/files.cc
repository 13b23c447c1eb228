#include "dng/driver/files.h"

#include <algorithm>
#include <bit>
#include <random>

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

Bytes big_double(double value) {
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    return cat({big_32(static_cast<uint32_t>(bits >> 32)), big_32(static_cast<uint32_t>(bits))});
}

Bytes big_doubles(const std::vector<double> &values) {
    Bytes out;
    for (const double value : values) out = cat({out, big_double(value)});
    return out;
}

Bytes big_floats(const std::vector<float> &values) {
    Bytes out;
    for (const float value : values) out = cat({out, big_32(std::bit_cast<uint32_t>(value))});
    return out;
}
Bytes big_longs(const std::vector<uint32_t> &values) {
    Bytes out;
    for (const uint32_t value : values) out = cat({out, big_32(value)});
    return out;
}

Bytes opcode(uint32_t id, const Bytes &body, uint32_t flags, uint32_t version) {
    return cat({big_32(id), big_32(version), big_32(flags), big_32(static_cast<uint32_t>(body.size())), body});
}

DngTag opcode_list(uint32_t tag, const std::vector<Bytes> &opcodes) {
    Bytes list = big_32(static_cast<uint32_t>(opcodes.size()));
    for (const Bytes &one : opcodes) list.insert(list.end(), one.begin(), one.end());
    return dng_bytes(tag, kDngUndefined, list);
}

namespace {

Bytes area(uint32_t top, uint32_t left, uint32_t bottom, uint32_t right, uint32_t plane, uint32_t planes,
           uint32_t pitch) {
    return cat({big_32(top), big_32(left), big_32(bottom), big_32(right), big_32(plane), big_32(planes), big_32(pitch),
                big_32(pitch)});
}

NamedDng mosaic(const std::string &name, uint32_t width, uint32_t height, const std::string &pattern) {
    NamedDng file = {name, {}};
    file.builder.first = dng_mosaic(width, height, 12, pattern);
    file.builder.first.samples = picture_samples(width, height, 1, 4095, static_cast<unsigned>(name.size()));
    file.builder.tags = dng_color_tags();
    return file;
}

}  // namespace

std::vector<NamedDng> develop_files() {
    std::vector<NamedDng> files;
    for (const char *pattern : {"0112", "1021", "1201", "2110"}) {
        files.push_back(mosaic(std::string("pattern ") + pattern, 75, 62, pattern));
    }
    files.push_back(mosaic("borders, levels and deltas", 90, 71, "1021"));
    DngImage &bordered = files.back().builder.first;
    bordered.tags.insert(bordered.tags.end(), {{50829, kDngLong, {3, 5, 66, 84}},
                                               {50713, kDngShort, {2, 2}},
                                               {50714, kDngShort, {60, 64, 66, 70}},
                                               {50717, kDngShort, {4000}},
                                               dng_rationals(50719, {8.4, 6.5}),
                                               dng_rationals(50720, {60, 50})});
    std::vector<double> rows, columns;
    for (int i = 0; i < 63; ++i) rows.push_back(i % 5 - 2.0);
    for (int i = 0; i < 79; ++i) columns.push_back(i % 3 * 1.5);
    bordered.tags.push_back(dng_rationals(50716, rows, 1000, kDngSRational));
    bordered.tags.push_back(dng_rationals(50715, columns, 1000, kDngSRational));

    files.push_back(mosaic("6 x 6 cells", 80, 66, "0112"));
    DngImage &cells = files.back().builder.first;
    const std::string pattern = "110112112110201020112110110112020201";
    std::vector<double> colours;
    for (const char c : pattern) colours.push_back(c - '0');
    cells.tags.insert(cells.tags.end(), {{33421, kDngShort, {6, 6}}, {33422, kDngByte, colours}});

    files.push_back(mosaic("opcodes", 96, 84, "0112"));
    DngImage &corrected = files.back().builder.first;
    Bytes points;
    for (uint32_t i = 0; i < 30; ++i) points = cat({points, big_32(i * 37 % 84), big_32(i * 53 % 96)});
    corrected.tags.push_back(opcode_list(
        51008,
        {opcode(5, cat({big_32(0), big_32(30), big_32(1), points, big_32(40), big_32(20), big_32(41), big_32(60)})),
         opcode(4, cat({big_32(0), big_32(0)}))}));
    corrected.tags.push_back(opcode_list(
        51009,
        {opcode(9, cat({area(0, 0, 84, 96, 0, 1, 2), big_32(3), big_32(2), big_doubles({0.5, 1, 0, 0}), big_32(1),
                        big_floats({1, 1.2f, 1.1f, 0.9f, 0.8f, 1.3f})})),
         opcode(10, cat({area(2, 0, 50, 90, 0, 1, 1), big_32(48), big_floats(std::vector<float>(48, 0.01f))}))}));
    corrected.tags.push_back(opcode_list(
        51022, {opcode(3, big_doubles({0.2, -0.1, 0.05, 0, 0, 0.45, 0.55})),
                opcode(8, cat({area(10, 6, 70, 90, 1, 2, 1), big_32(2), big_doubles({0.02, 0.9, 0.05})}))}));

    NamedDng linear = {"linear raw", {}};
    linear.builder.littleEndian = false;
    linear.builder.first = dng_linear(70, 61, 16);
    linear.builder.first.samples = picture_samples(70, 61, 3, 65535, 4);
    linear.builder.first.photometric = 34892;
    linear.builder.tags = dng_color_tags();
    files.push_back(linear);
    linear.name = "linear longs, developed as floats";
    linear.builder.first = dng_linear(70, 61, 32);
    linear.builder.first.samples = picture_samples(70, 61, 3, 4000000000u, 5);
    files.push_back(linear);
    NamedDng grey = {"grey", {}};
    grey.builder.first = dng_linear(70, 61, 16);
    grey.builder.first.planes = 1;
    grey.builder.first.samples = picture_samples(70, 61, 1, 65535, 6);
    files.push_back(grey);
    return files;
}

Bytes developed(const Bytes &file, decInfo *info) {
    Bytes out(size_t{info->width} * info->height * 4, 0xA5);
    EXPECT_EQ(decodeDNGImageBuffer(file.data(), static_cast<int32_t>(file.size()), out.data(), info), 0);
    return out;
}

Bytes developed_whole(DngBuilder builder, uint32_t *width, uint32_t *height) {
    *width = builder.first.width, *height = builder.first.height;
    for (const DngTag &tag : builder.first.tags) {
        if (tag.code != 50829) continue;
        *height = static_cast<uint32_t>(tag.numbers[2] - tag.numbers[0]);
        *width = static_cast<uint32_t>(tag.numbers[3] - tag.numbers[1]);
    }
    builder.first.tags.push_back(dng_rationals(50719, {0, 0}));
    builder.first.tags.push_back(dng_rationals(50720, {static_cast<double>(*width), static_cast<double>(*height)}));
    decInfo info = {};
    info.width = *width, info.height = *height;
    return developed(builder.build(), &info);
}

}  // namespace vorel::test
