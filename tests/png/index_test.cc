// An index by our own inflate has the records of one by zlib; of streams that it does not take it has nothing left.
#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "png/checkpoint.h"
#include "png/run.h"
#include "png/source.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

// A source that is no memory of the library's reads by zlib alone.
void read_as_a_caller(png_structp png, png_bytep dest, size_t count) { vpng_read_fn(png, dest, count); }

struct Built {
    explicit Built(const Bytes &file, vpng_read_callback read) : bytes(file) {
        LogCapture log;
        handle = onBuildTileIndexVPNG(bytes.data(), static_cast<int32_t>(bytes.size()), read, 7);
        lines = log.take().size();
    }
    ~Built() {
        if (handle) vpng_destroy_read_struct(&handle->png, &handle->info, nullptr);
        VORELBRIM_OsFree(handle);
    }
    PngSource *source() const { return source_of(handle->png); }

    const Bytes bytes;
    vpng_tile_index *handle;
    size_t lines;
};

void expect_same_checkpoint(const Built &own, const Built &zlib, const vpng_row_checkpoint &a,
                            const vpng_row_checkpoint &b, const std::string &name) {
    EXPECT_EQ(a.streamPosition, b.streamPosition) << name;
    EXPECT_EQ(a.bytesLeft, b.bytesLeft) << name;
    ASSERT_EQ(a.inflateState == nullptr, b.inflateState == nullptr) << name;
    if (!a.inflateState) return;
    // Of an interlaced picture zlib has read both.
    const size_t row = own.source()->header.interlaced ? 1 : own.source()->reader->row_bytes + 1;
    EXPECT_TRUE(std::equal(a.previousRow, a.previousRow + row, b.previousRow)) << name;
    const Checkpoint &own_place = *whole_of(&a), &zlib_place = *whole_of(&b);
    EXPECT_EQ(own_place.bits, zlib_place.bits) << name;
    EXPECT_EQ(own_place.code_bits, zlib_place.code_bits) << name;
    EXPECT_EQ(own_place.given, zlib_place.given) << name;
    EXPECT_EQ(own_place.in_middle, zlib_place.in_middle) << name;
    const BlockStart &own_block = own_place.block, &zlib_block = zlib_place.block;
    ASSERT_EQ(own_block.known, zlib_block.known) << name;
    EXPECT_EQ(own_block.bits, zlib_block.bits) << name;
    if (own_block.bits) {
        EXPECT_EQ(own_block.last_byte >> (8 - own_block.bits), zlib_block.last_byte >> (8 - zlib_block.bits)) << name;
    }
    EXPECT_EQ(own_block.chunk_offset, zlib_block.chunk_offset) << name;
    EXPECT_EQ(own_block.bytes_left, zlib_block.bytes_left) << name;
    EXPECT_EQ(own_block.total_in, zlib_block.total_in) << name;
    Bytes windows[2];
    for (const auto &[built, shown, window] : {std::tuple(&own, &a, &windows[0]), {&zlib, &b, &windows[1]}}) {
        uInt known = 0;
        window->resize(kWindowBytes);
        ASSERT_TRUE(restore_checkpoint(built->source()->reader, shown)) << name;
        ASSERT_EQ(inflateGetDictionary(&built->source()->reader->live, window->data(), &known), Z_OK) << name;
        window->resize(known);
    }
    EXPECT_TRUE(windows[0] == windows[1]) << name;
}

// Whether our own inflate has read it.
bool expect_same_index(const Bytes &file, const std::string &name) {
    Built own(file, vpng_read_fn), zlib(file, read_as_a_caller);
    EXPECT_EQ(own.handle == nullptr, zlib.handle == nullptr) << name;
    EXPECT_EQ(own.lines, zlib.lines) << name;
    if (!own.handle || !zlib.handle) return false;
    const vpng_row_index &a = *own.source()->index, &b = *zlib.source()->index;
    EXPECT_EQ(a.streamPosition, b.streamPosition) << name;
    EXPECT_EQ(own.source()->position, zlib.source()->position) << name;
    for (int pass = 0; pass < kAdam7Passes; ++pass) {
        EXPECT_EQ(a.step[pass], b.step[pass]) << name;
        EXPECT_EQ(a.size[pass], b.size[pass]) << name;
        for (uint32_t c = 0; c < std::min(a.size[pass], b.size[pass]); ++c) {
            expect_same_checkpoint(own, zlib, *a.checkpoints[pass][c], *b.checkpoints[pass][c],
                                   name + " checkpoint " + std::to_string(c));
            if (testing::Test::HasFailure()) return false;
        }
    }
    return own.source()->total_read < zlib.source()->total_read;
}

TEST(PngIndex, OwnInflateLeavesTheRecordsOfZlib) {
    std::mt19937 random(5);
    int by_own = 0, all = 0;
    for (const int width : {3, 40, 700}) {
        for (const int level : {0, 1, 6}) {
            for (const int strategy : {Z_DEFAULT_STRATEGY, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED}) {
                PngSpec spec = {.width = width, .height = 1100, .colour_type = 2};
                spec.smooth = random() % 2;
                spec.noise = 1 + random() % 4;
                spec.level = level;
                spec.strategy = strategy;
                spec.memory_level = random() % 2 ? 1 : 8;
                constexpr int kChunks[] = {50, 700, 8192, 20000, 1000000};
                spec.idat_bytes = kChunks[random() % 5];
                spec.seed = random();
                by_own += expect_same_index(make_png(spec), spec.name() + " level " + std::to_string(level) +
                                                                " strategy " + std::to_string(strategy));
                ++all;
                if (HasFailure()) return;
            }
        }
    }
    // The others have blocks that zlib has to read whole, or windows of less than 32 KiB.
    EXPECT_GT(by_own, all / 2);
}

// Of a block that many checkpoints lie in zlib reads each byte once, not from its start for each of them.
TEST(PngIndex, LongBlocksAreReadOnce) {
    const Bytes file = make_png({.width = 90, .height = 30000, .colour_type = 0, .smooth = true, .level = 9});
    const Built own(file, vpng_read_fn);
    ASSERT_TRUE(own.handle);
    EXPECT_EQ(own.source()->index->size[0], 119u);
    // As many pieces as checkpoints would be 119 * 8192 bytes.
    EXPECT_LT(own.source()->total_read, file.size() * 5 / 4);
}

// The end of the stream may stand in another chunk than the last row's.
TEST(PngIndex, EndsWhereZlibEnds) {
    int by_own = 0;
    for (int height = 250; height < 290; ++height) {
        const Bytes file = make_png({.width = 9, .height = height, .colour_type = 6, .idat_bytes = 6});
        by_own += expect_same_index(file, "height " + std::to_string(height));
    }
    EXPECT_GT(by_own, 0);
    // Nothing is left to read before a row is chosen.
    const Bytes file = make_png({.width = 40, .height = 600, .colour_type = 6, .idat_bytes = 1000000});
    for (const vpng_read_callback read : {vpng_read_fn, read_as_a_caller}) {
        const Built built(file, read);
        ASSERT_TRUE(built.handle);
        const png_structp png = built.handle->png;
        uint8_t row[40 * 4];
        const auto skip = [&] {
            png_set_interlaced_pass(png, 0);
            skip_src_rows(png, row, 1);
            return 1;
        };
        EXPECT_EQ(unless_jumped(png, skip), -1);
    }
}

// What our own inflate refuses in the middle is built again, and said once.
TEST(PngIndex, DamageIsToldAsByZlib) {
    PngSpec spec = {.width = 60, .height = 800, .colour_type = 2, .idat_bytes = 9000, .smooth = true, .noise = 2};
    const Bytes file = make_png(spec);
    std::mt19937 random(9);
    for (int i = 0; i < 300; ++i) {
        Bytes damaged = file;
        damaged[40 + random() % (file.size() - 40)] ^= static_cast<uint8_t>(1 + random() % 255);
        expect_same_index(damaged, "damage " + std::to_string(i));
        if (i % 3 == 0) {
            damaged.resize(40 + random() % (file.size() - 40));
            expect_same_index(damaged, "damage, cut " + std::to_string(i));
        }
        if (HasFailure()) return;
    }
    spec.window_bits = 12;
    EXPECT_FALSE(expect_same_index(make_png(spec), "small window"));
    spec.interlaced = true;
    EXPECT_FALSE(expect_same_index(make_png(spec), "interlaced"));
}

// Streams whose matches may not reach as far; those of few bytes have small windows of themselves.
TEST(PngIndex, RegionsOfStreamsWithSmallWindowsAreTheCut) {
    std::mt19937 random(3);
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    for (const int width : {9, 130, 700}) {
        for (int window_bits = 9; window_bits <= 15; ++window_bits) {
            PngSpec spec = {.width = width, .height = 560, .smooth = true, .noise = 1, .window_bits = window_bits};
            spec.colour_type = width == 9 ? 0 : 2;
            spec.level = window_bits % 2 ? 9 : -1;
            spec.idat_bytes = 300 << window_bits % 5;
            const Bytes file = make_png(spec);
            const ChunkAt idat = chunks_of(file)[1];
            EXPECT_EQ(file[idat.offset + 8] >> 4, std::min(window_bits, width == 9 ? 13 : 15) - 8);
            const StraightPng image = straight_png(file);
            ASSERT_TRUE(image.good);
            for (const bool by_path : {false, true}) {
                Regions regions(file, 7, by_path);
                ASSERT_TRUE(regions);
                for (int i = 0; i < 12; ++i) {
                    RegionRequest request = {below(width), below(spec.height), 0, 0, i % 3 ? 1 : 1 + below(300)};
                    request.w = 1 + below(width - request.x);
                    request.h = 1 + below(spec.height - request.y);
                    EXPECT_TRUE(regions.decode(request) == model_region(image, request, 7))
                        << spec.name() << " window " << window_bits << " at " << request.x << "," << request.y << " of "
                        << request.w << "x" << request.h << " sample " << request.sample_size << " path " << by_path;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
