// Stored samples come back: every size, order, layout, compression and predictor.
#include <algorithm>
#include <array>
#include <bit>
#include <random>

#include <gtest/gtest.h>
#include <vorel/dng_samples.h>
#include <vorel/jpeg_decoder.h>

#include "dng/image/read_image.h"
#include "dng/parse/dng_file.h"
#include "dng/support/dng_builder.h"
#include "dng/support/lossless_jpeg.h"
#include "dng/support/plain_context.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

std::vector<uint32_t> random_samples(const DngImage &image, uint32_t bits) {
    std::mt19937 random(image.width * 31 + bits);
    std::vector<uint32_t> samples(size_t{image.width} * image.height * image.planes);
    for (uint32_t &sample : samples) sample = random() & (bits == 32 ? 0xFFFFFFFF : (1u << bits) - 1);
    return samples;
}

// The samples of the main image as they are read, all or a part; floats by their bits.
std::vector<uint32_t> samples_of(const Bytes &file, bool lossless = false, DngRect bounds = {}) {
    DngFile parsed(file.data(), static_cast<uint32_t>(file.size()));
    if (!parsed.parse()) return {};
    parsed.postParse();
    VorelDngIFD *main = parsed.mainIFD();
    if (!main || !main->hasImage()) return {};
    if (bounds.empty()) bounds = {0, 0, static_cast<int32_t>(main->height), static_cast<int32_t>(main->width)};
    VorelDngImage image(bounds, main->samplesPerPixel, main->pixelType());
    VorelDngReadImage reader;
    reader.acceptLossless(lossless);
    if (!reader.read(*main, parsed.stream, image)) return {};
    std::vector<uint32_t> samples;
    each_sample(image, [&](int32_t row, int32_t column, uint32_t plane) {
        const uint32_t size = image.buffer().pixelSize;
        samples.push_back(size == 1   ? *image.at<uint8_t>(row, column, plane)
                          : size == 2 ? *image.at<uint16_t>(row, column, plane)
                                      : *image.at<uint32_t>(row, column, plane));
    });
    return samples;
}

DngBuilder file_of(const DngImage &image, bool little_endian = true) {
    DngBuilder builder;
    builder.littleEndian = little_endian, builder.first = image;
    return builder;
}

// Whole, and a part that begins and ends inside tiles.
void expect_read(const DngImage &image, bool little_endian, const std::string &what, bool lossless = false) {
    const Bytes file = file_of(image, little_endian).build();
    EXPECT_EQ(samples_of(file, lossless), image.samples) << what;
    std::vector<uint32_t> part;
    for (size_t row = 5; row < 22; ++row) {
        const auto from = image.samples.begin() + static_cast<ptrdiff_t>((row * image.width + 7) * image.planes);
        part.insert(part.end(), from, from + 23 * image.planes);
    }
    EXPECT_EQ(samples_of(file, lossless, {5, 7, 22, 30}), part) << what;
}

TEST(DngRead, UncompressedOfEverySize) {
    for (uint32_t i = 0; i < 4 * 32; ++i) {
        const bool little_endian = i & 1;
        const uint32_t planes = i & 2 ? 3 : 1, bits = i / 4 + 1;
        DngImage image = planes == 1 ? dng_mosaic(37, 29, bits) : dng_linear(37, 29, bits);
        image.samples = random_samples(image, bits);
        const std::string what = std::to_string(bits) + " bits, " + std::to_string(planes) + " planes";
        expect_read(image, little_endian, what);
        image.rowsPerStrip = 6;
        expect_read(image, little_endian, what + ", strips");
        image.rowsPerStrip = 0, image.tileWidth = 16, image.tileLength = 10;
        expect_read(image, little_endian, what + ", tiles");
        image.planarConfiguration = 2;
        if (planes == 3) expect_read(image, little_endian, what + ", separate planes");
    }
}

// What lies behind the end of the file is 0; the rest is as it is.
TEST(DngRead, TruncatedStrips) {
    DngImage image = dng_mosaic(32, 20, 16);
    image.samples = random_samples(image, 16);
    DngBuilder builder = file_of(image);
    // The strip at the end of the file, so that a cut takes samples and no directory.
    const Bytes strip = image.tileData(0, true);
    builder.first.tags.push_back({273, kDngLong, {static_cast<double>(builder.build().size())}});
    const Bytes file = cat({builder.build(), strip});
    for (const size_t cut : {size_t{1}, size_t{2}, size_t{65}, strip.size() - 1, strip.size()}) {
        std::vector<uint32_t> expected = image.samples;
        std::fill(expected.end() - static_cast<ptrdiff_t>((cut + 1) / 2), expected.end(), 0u);
        EXPECT_EQ(samples_of(head(file, file.size() - cut)), expected) << cut;
    }
}

#ifdef HAS_ZLIB

// Rows of big-endian samples as a writer stores them: each less the one at that distance to the left (0: as it is), in
// the file's order; or, of floats, in planes of bytes that are differenced.
Bytes differenced(const Bytes &data, size_t row_samples, size_t size, size_t distance, bool floats, bool reversed) {
    const auto value = [&](size_t i) {
        uint32_t v = 0;
        for (size_t b = 0; b < size; ++b) v = v << 8 | data[i * size + b];
        return v;
    };
    Bytes out(data.size());
    for (size_t i = 0; i < data.size() / size; ++i) {
        const size_t column = i % row_samples;
        const uint32_t v = value(i) - (!floats && distance && column >= distance ? value(i - distance) : 0);
        for (size_t b = 0; b < size; ++b) {
            const size_t place = floats     ? (i - column) * size + b * row_samples + column
                                 : reversed ? i * size + size - 1 - b
                                            : i * size + b;
            out[place] = static_cast<uint8_t>(v >> 8 * (size - 1 - b));
        }
    }
    for (size_t i = out.size(); floats && i-- > 0;) {
        if (i % (row_samples * size) >= distance) out[i] = static_cast<uint8_t>(out[i] - out[i - distance]);
    }
    return out;
}

// Required: integers and floats of 24 bits without a predictor stand most significant byte first in either order.
TEST(DngRead, DeflatedWithEveryPredictor) {
    const std::pair<uint32_t, uint32_t> factors[] = {{1, 0},     {2, 1},     {3, 1},    {34892, 2},
                                                     {34893, 4}, {34894, 2}, {34895, 4}};
    for (const auto &[predictor, factor] : factors) {
        for (uint32_t i = 0; i < 32; ++i) {
            const bool little_endian = i & 1, floats = i & 4, of_bytes = predictor == 3 || predictor > 34893;
            const uint32_t planes = i & 2 ? 3 : 1, bits = 8 + i / 8 * 8;
            if (floats ? bits == 8 || (factor && !of_bytes) : of_bytes || (bits == 24 && factor)) continue;
            DngImage image = planes == 1 ? dng_mosaic(37, 29, bits) : dng_linear(37, 29, bits);
            image.samples = random_samples(image, bits);
            image.compression = 8, image.predictor = predictor, image.sampleFormat = floats ? 3 : 1;
            image.tileWidth = 16, image.tileLength = 10;
            for (uint32_t tile = 0; tile < image.tileCount(); ++tile) {
                image.tiles.push_back(deflated(differenced(image.tileData(tile, false), 16 * planes, bits / 8,
                                                           factor * planes, of_bytes, little_endian && bits != 24)));
            }
            for (uint32_t &sample : image.samples) {
                if (!floats || bits == 32) break;
                const Bytes bytes = big_32(sample << 8);
                sample = std::bit_cast<uint32_t>(bits == 16 ? DNG_HalfToFloat(static_cast<uint16_t>(sample))
                                                            : DNG_FP24ToFloat(bytes.data()));
            }
            expect_read(image, little_endian, "predictor " + std::to_string(predictor) + ", " + std::to_string(i));
        }
    }
}

// A tile that is cut off, one that is damaged, one that inflates to more than there is room for, and one beyond the
// file: rows in front of the damage and other tiles are as they were.
TEST(DngRead, DamagedTiles) {
    DngImage image = dng_mosaic(32, 40, 16);
    image.samples = random_samples(image, 16);
    image.compression = 8, image.tileWidth = 32, image.tileLength = 10;
    Bytes more = image.tileData(3, true);
    more.resize(more.size() + 100000);
    const Bytes first = deflated(image.tileData(0, true));
    image.tiles = {head(first, first.size() * 6 / 10), Bytes(50, 0xA5), deflated(image.tileData(2, true)),
                   deflated(more)};
    const std::vector<uint32_t> read = samples_of(file_of(image).build());
    ASSERT_EQ(read.size(), image.samples.size());
    size_t good = 0;
    while (good < read.size() && read[good] == image.samples[good]) ++good;
    EXPECT_TRUE(good >= 32 * 4 && good < 32 * 8);
    EXPECT_TRUE(std::all_of(read.begin() + static_cast<ptrdiff_t>(good), read.begin() + 640,
                            [](uint32_t v) { return v == 0; }));
    EXPECT_TRUE(std::equal(read.begin() + 640, read.end(), image.samples.begin() + 640));
}

#endif

// ---- Lossless JPEG -------------------------------------------------------------------------------------------------

// The rows that are delivered.
std::vector<uint16_t> decode_lossless(const Bytes &stream, int32_t *rows) {
    struct Receiver {
        std::vector<uint16_t> out;
        VorelLosslessFrame frame;
    } receiver = {};
    GuardBuffer in(stream);
    const int32_t length = static_cast<int32_t>(stream.size());
    if (!vorel_jpeg_lossless_frame(in.data(), length, &receiver.frame)) return {};
    const auto receive = [](void *user, int32_t, const uint16_t *samples) {
        Receiver &to = *static_cast<Receiver *>(user);
        to.out.insert(to.out.end(), samples, samples + to.frame.width * to.frame.components);
        return 0;
    };
    *rows = vorel_jpeg_decode_lossless(in.data(), length, receive, &receiver);
    return receiver.out;
}

LosslessStream random_stream(int width, int height, int components, int precision, unsigned seed) {
    LosslessStream stream;
    stream.width = width, stream.height = height, stream.components = components, stream.precision = precision;
    std::mt19937 random(seed);
    // Mostly neighbours that are near each other, and sometimes any code, or half the range away.
    uint32_t value = 0;
    for (int i = 0; i < width * height * components; ++i) {
        const uint32_t kind = random() % 14;
        value = kind == 0 ? random() : kind < 3 ? random() % 2 << (precision - 1) : value + random() % 64 - 31;
        stream.samples.push_back(static_cast<uint16_t>(value & ((1u << precision) - 1)));
    }
    return stream;
}

// Those of 16 bits have differences of 32768, and more data than a window holds.
TEST(LosslessJpeg, EveryPredictorPrecisionAndLayout) {
    for (int i = 0; i < 15 * 7; ++i) {
        const int precision = 2 + i / 7, predictor = 1 + i % 7;
        const int width = precision == 16 ? 611 : 61, height = precision == 16 ? 97 : 23;
        LosslessStream stream =
            random_stream(width, height, 1 + (precision + predictor) % 4, precision, static_cast<unsigned>(i));
        stream.predictor = predictor;
        stream.interval_rows = predictor % 3 == 0 ? 1 + precision % 9 : 0;
        stream.long_codes = precision % 2;
        stream.transform = precision > 4 ? predictor % 3 : 0;
        for (uint16_t &sample : stream.samples)
            sample = static_cast<uint16_t>(sample >> stream.transform << stream.transform);
        int32_t rows = 0;
        EXPECT_EQ(decode_lossless(stream.encode(), &rows), stream.samples) << precision << " " << predictor;
        EXPECT_EQ(rows, height);
    }
}

// Rows in front of the damage are delivered, and no others.
TEST(LosslessJpeg, PrefixesAndOtherFrames) {
    LosslessStream stream = random_stream(61, 23, 2, 14, 9);
    stream.interval_rows = 5;
    const Bytes whole = stream.encode();
    for (size_t length = 0; length < whole.size(); ++length) {
        int32_t rows = 0;
        const std::vector<uint16_t> read = decode_lossless(head(whole, length), &rows);
        ASSERT_EQ(read.size(), static_cast<size_t>(rows) * 122);
        ASSERT_TRUE(std::equal(read.begin(), read.end(), stream.samples.begin())) << length;
    }
    for (size_t i = 0; i < 60 * 4; ++i) {
        int32_t rows = 0;
        decode_lossless(changed(whole, i / 4, {std::array<uint8_t, 4>{0x00, 0x7F, 0x80, 0xFF}[i % 4]}), &rows);
    }
    const Bytes baseline = changed(whole, 3, {0xC0});
    VorelLosslessFrame frame;
    EXPECT_EQ(vorel_jpeg_lossless_frame(baseline.data(), static_cast<int32_t>(baseline.size()), &frame), 0);
}

// The ways in which writers put a tile into a frame: as it is, a row in two components, two rows in one.
TEST(DngRead, LosslessTiles) {
    const struct { int components, width, height; } layouts[] = {{1, 32, 20}, {2, 16, 20}, {1, 64, 10}, {2, 32, 10}};
    for (const auto &layout : layouts) {
        DngImage image = dng_mosaic(50, 36, 14);
        image.samples = random_samples(image, 14);
        image.compression = 7, image.tileWidth = 32, image.tileLength = 20;
        for (uint32_t tile = 0; tile < image.tileCount(); ++tile) {
            LosslessStream stream;
            stream.width = layout.width, stream.height = layout.height, stream.components = layout.components;
            stream.precision = 14, stream.predictor = 1 + static_cast<int>(tile);
            for (uint32_t i = 0; i < 20 * 32; ++i) {
                const uint32_t y = std::min(tile / 2 * 20 + i / 32, 35u), x = std::min(tile % 2 * 32 + i % 32, 49u);
                stream.samples.push_back(static_cast<uint16_t>(image.samples[y * 50 + x]));
            }
            image.tiles.push_back(stream.encode());
        }
        expect_read(image, true, "lossless", true);
        // Required: refused where the caller has not asked for it.
        EXPECT_EQ(samples_of(file_of(image).build()), std::vector<uint32_t>(50 * 36));
    }
}

// Tiles that share their bytes are read as long as that is a few times the file.
TEST(DngRead, SharedLosslessTiles) {
    LosslessStream stream;
    stream.width = stream.height = 1, stream.samples = {7};
    DngImage image = dng_mosaic(20, 20, 14);
    image.compression = 7, image.tileWidth = image.tileLength = 1, image.tiles.assign(400, {});
    DngBuilder builder = file_of(image);
    const double place = static_cast<double>(builder.build().size());
    builder.first.tags.push_back({324, kDngLong, std::vector<double>(400, place)});
    builder.first.tags.push_back({325, kDngLong, std::vector<double>(400, 9e4)});
    Bytes file = cat({builder.build(), stream.encode()});
    file.resize(file.size() + 90000);
    const std::vector<uint32_t> read = samples_of(file, true);
    EXPECT_TRUE(read[0] == 7 && read[3] == 7 && read[6] == 0 && read[399] == 0);
}

}  // namespace
}  // namespace vorel::test
