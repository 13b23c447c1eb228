// Regions by the bands that earlier ones left give what regions without them give: over every kind of stream, over
// damage, within any limit of memory, without memory, of files that change.
#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "png/run.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// About that many bytes of a row are inflated by themselves.
constexpr int kSegment = 1536;

RegionRequest any_region(const PngSpec &spec, std::mt19937 &random) {
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    RegionRequest request = {below(spec.width), below(spec.height), 0, 0, random() % 3 ? 1 : 1 + below(300)};
    request.w = 1 + below(std::min(700, spec.width - request.x));
    request.h = 1 + below(std::min(400, spec.height - request.y));
    return request;
}

size_t memory_of(Regions &regions) { return vpng_get_region_memory(regions.handle()); }

struct Said {
    Decoded decoded;
    size_t lines;  // to the log
    bool operator==(const Said &) const = default;
};
Said decode(Regions *regions, const RegionRequest &request) {
    LogCapture log;
    Decoded decoded = regions->decode(request);
    return {decoded, log.take().size()};
}

// Regions one after another, twice each, of a handle that keeps bands and of one that does not. How many bytes are
// kept.
size_t expect_same(const std::string &name, const Bytes &file, const std::vector<RegionRequest> &requests,
                   size_t limit = size_t{32} << 20) {
    Regions kept(file), plain(file);
    EXPECT_EQ(bool(kept), bool(plain)) << name;
    if (!kept || !plain) return 0;
    EXPECT_EQ(vpng_set_region_memory(plain.handle(), 0), 1);
    EXPECT_EQ(vpng_set_region_memory(kept.handle(), limit), 1);
    for (const RegionRequest &request : requests) {
        const Said expected = decode(&plain, request);
        for (int round = 0; round < 2; ++round) {
            EXPECT_TRUE(decode(&kept, request) == expected)
                << name << " at " << request.x << "," << request.y << " of " << request.w << "x" << request.h
                << " sample " << request.sample_size << " round " << round;
            EXPECT_LE(memory_of(kept), limit) << name;
        }
        if (testing::Test::HasFailure()) break;
    }
    EXPECT_EQ(memory_of(plain), 0u);
    return memory_of(kept);
}

std::vector<RegionRequest> some_regions(const PngSpec &spec, int count, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::vector<RegionRequest> requests;
    for (int i = 0; i < count; ++i) requests.push_back(any_region(spec, random));
    return requests;
}

void expect_bands(const PngSpec &spec, const std::string &what, int regions = 12) {
    const Bytes file = make_png(spec);
    EXPECT_GT(expect_same(spec.name() + " " + what, file, some_regions(spec, regions)), 0u)
        << spec.name() << " " << what;
}

TEST(PngBands, EveryKindOfStream) {
    const PngSpec rgb = {.width = 1300, .height = 300, .smooth = true, .noise = 2};
    for (const int idat_bytes : {7, 1000, 8192, 100'000}) {
        PngSpec spec = rgb;
        spec.idat_bytes = idat_bytes;
        expect_bands(spec, "chunks");
    }
    struct Stream {
        const char *name;
        int level, strategy, memory_level;
        uint32_t noise;
    };
    for (const Stream &stream : {Stream{"stored", 0, Z_DEFAULT_STRATEGY, 8, 2},
                                 {"incompressible", -1, Z_DEFAULT_STRATEGY, 8, 8},
                                 {"fixed codes", -1, Z_FIXED, 8, 2},
                                 {"fixed codes in blocks of 128", -1, Z_FIXED, 1, 2},
                                 {"literals only", -1, Z_HUFFMAN_ONLY, 8, 2},
                                 {"runs", -1, Z_RLE, 8, 0},
                                 {"long matches", 9, Z_DEFAULT_STRATEGY, 9, 0},
                                 {"many blocks in a segment", -1, Z_DEFAULT_STRATEGY, 1, 2},
                                 {"many blocks of long matches", 9, Z_DEFAULT_STRATEGY, 1, 0}}) {
        PngSpec spec = rgb;
        spec.level = stream.level;
        spec.strategy = stream.strategy;
        spec.memory_level = stream.memory_level;
        spec.noise = stream.noise;
        expect_bands(spec, stream.name);
    }
}

TEST(PngBands, EveryFormAndWidthsAroundASegment) {
    for (PngSpec spec : all_forms(1, 270)) {
        if (spec.interlaced) continue;
        // Rows of somewhat more than a segment.
        const int channels = spec.colour_type == 2 ? 3 : spec.colour_type == 4 ? 2 : spec.colour_type == 6 ? 4 : 1;
        spec.width = 13'600 / (spec.depth * channels);
        spec.smooth = true;
        spec.noise = static_cast<uint32_t>(spec.depth) / 4;
        expect_bands(spec, "form", 12);
    }
    for (const int pixel : {1, 3, 4}) {
        for (const int more : {-1, 0, 1}) {
            const int colour_type = pixel == 1 ? 0 : pixel == 3 ? 2 : 6;
            expect_bands(
                {.width = 2 * kSegment / pixel + more, .height = 300, .colour_type = colour_type, .smooth = true},
                "width", 12);
        }
    }
    for (const auto &[width, height] : {std::pair(5000, 1), {900, 255}, {513, 1000}}) {
        expect_bands({.width = width, .height = height, .smooth = true, .noise = 3}, "size", 15);
    }
}

TEST(PngBands, InterlacedAndNarrowPicturesAndSmallWindowsGoTheOtherWay) {
    PngSpec spec = {.width = 600, .height = 300, .interlaced = true, .smooth = true};
    EXPECT_EQ(expect_same("interlaced", make_png(spec), some_regions(spec, 10)), 0u);
    spec = {.width = kSegment / 3, .height = 300, .smooth = true};
    EXPECT_EQ(expect_same("narrow", make_png(spec), some_regions(spec, 10)), 0u);
    // zlib reaches further back than the header says, as long as the bytes are at hand.
    spec = {.width = 900, .height = 300, .smooth = true, .noise = 1, .window_bits = 9};
    expect_same("window", make_png(spec), some_regions(spec, 20));
    Bytes file = make_png({.width = 900, .height = 300, .idat_bytes = 1 << 20, .smooth = true, .noise = 1});
    const ChunkAt idat = chunks_of(file)[1];
    Bytes data(file.begin() + static_cast<long>(idat.offset) + 8,
               file.begin() + static_cast<long>(idat.offset + 8 + idat.length));
    data[0] = 0x08, data[1] = 0x1D;
    file = cat({head(file, idat.offset), png_chunk("IDAT", data), png_chunk("IEND", {})});
    expect_same("smaller window than is used", file, some_regions(spec, 20));
}

// Pictures of several segments and of two bands.
TEST(PngBands, DamageIsFoundAsWithoutBands) {
    for (PngSpec spec : {PngSpec{.width = 1700, .height = 9, .colour_type = 0, .smooth = true},
                         {.width = 13'000, .height = 258, .colour_type = 0, .depth = 1, .smooth = true}}) {
        spec.idat_bytes = 400;
        const Bytes file = make_png(spec);
        const std::vector<RegionRequest> requests = {{0, 0, spec.width, spec.height, 1},
                                                     {spec.width / 2, spec.height / 2, 1, spec.height / 2, 1},
                                                     {spec.width - 1, 0, 1, spec.height, 2}};
        const size_t step = spec.depth == 1 ? 37 : 1;
        for (size_t size = 0; size < file.size(); size += 3 * step) expect_same("prefix", head(file, size), requests);
        for (size_t at = 8; at < file.size(); at += step) {
            for (const uint8_t value : {0x00, 0x7F, 0x80, 0xFF}) {
                if (file[at] == value || (value != 0x80 && at % 4)) continue;
                expect_same("byte " + std::to_string(at), changed(file, at, {value}), requests);
                if (HasFailure()) return;
            }
        }
    }
}

TEST(PngBands, OldestGiveWay) {
    const PngSpec spec = {.width = 900, .height = 1500, .smooth = true, .noise = 3};
    const Bytes file = make_png(spec);
    for (const size_t limit : {size_t{0}, size_t{1}, size_t{100} << 10, size_t{700} << 10, size_t{2} << 20}) {
        expect_same("limit " + std::to_string(limit), file, some_regions(spec, 10, 2), limit);
    }
    Regions regions(file);
    ASSERT_TRUE(regions);
    for (const int y : {0, 600, 1300}) regions.decode({0, y, 100, 100, 1});
    const size_t all = memory_of(regions);
    vpng_set_region_memory(regions.handle(), all - 1);
    const size_t fewer = memory_of(regions);
    EXPECT_LT(fewer, all);
    EXPECT_GT(fewer, all / 3);
    // The newest is there still, the oldest is not.
    regions.decode({0, 1300, 100, 100, 1});
    EXPECT_EQ(memory_of(regions), fewer);
    vpng_set_region_memory(regions.handle(), 0);
    EXPECT_EQ(memory_of(regions), 0u);
    EXPECT_EQ(vpng_set_region_memory(nullptr, 1), 0);
    EXPECT_EQ(vpng_get_region_memory(nullptr), 0u);
}

TEST(PngBands, WithoutMemoryRegionsComeTheOtherWay) {
    const PngSpec spec = {.width = 600, .height = 300, .smooth = true, .noise = 1};
    const Bytes file = make_png(spec);
    const StraightPng image = straight_png(file);
    const RegionRequest request = {200, 240, 90, 40, 1};
    const Decoded expected = model_region(image, request, 7);
    CountingAllocator allocator;
    int index = 2;  // the first allocation is the region's own
    for (bool failed = true; failed; index += index < 40 ? 1 : 7) {
        Regions regions(file);
        ASSERT_TRUE(regions);
        allocator.fail_at(static_cast<size_t>(index));
        EXPECT_TRUE(regions.decode(request) == expected) << index;
        failed = allocator.failed();
        allocator.fail_at(0);
        EXPECT_TRUE(regions.decode(request) == expected) << index;
        EXPECT_GT(memory_of(regions), 0u);
    }
    EXPECT_GT(index, 50);
}

// A file's clock ticks slowly: of one that was just written nothing is kept.
TEST(PngBands, AFileThatChangesIsReadAnew) {
    const PngSpec spec = {.width = 700, .height = 300, .smooth = true, .noise = 3};
    const Bytes file = make_png(spec);
    const Decoded expected = model_region(straight_png(file), {400, 250, 200, 40, 1}, 7);
    Regions regions(file, 7, true);
    ASSERT_TRUE(regions);
    for (const bool damaged : {false, true, false}) {
        FILE *stream = std::fopen(regions.path(), "r+b");
        std::fwrite(damaged ? Bytes(file.size(), 0xFF).data() : file.data(), 1, file.size(), stream);
        std::fclose(stream);
        for (const int wait : {0, 150, 0}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
            const Decoded decoded = regions.decode({400, 250, 200, 40, 1});
            EXPECT_EQ(decoded.result, !damaged);
            EXPECT_TRUE(damaged || decoded == expected);
        }
        EXPECT_EQ(memory_of(regions) > size_t{100} << 10, !damaged) << memory_of(regions);
    }
}

// A segment that takes more input than one may have.
Bytes with_empty_blocks(const PngSpec &spec, int row) {
    const Bytes file = make_png(spec);
    const ChunkAt idat = chunks_of(file)[1];
    const size_t row_bytes = static_cast<size_t>(spec.width) * 3 + 1;
    Bytes rows(row_bytes * static_cast<size_t>(spec.height));
    uLongf bytes = rows.size();
    EXPECT_EQ(uncompress(rows.data(), &bytes, &file[idat.offset + 8], idat.length), Z_OK);
    EXPECT_EQ(bytes, rows.size());
    Bytes data(2 * rows.size());
    z_stream stream = {};
    deflateInit(&stream, 6);
    stream.next_in = rows.data();
    stream.avail_in = static_cast<uInt>(row_bytes * static_cast<size_t>(row) + row_bytes / 3);
    stream.next_out = data.data();
    stream.avail_out = static_cast<uInt>(data.size());
    EXPECT_EQ(deflate(&stream, Z_SYNC_FLUSH), Z_OK);
    for (int block = 0; block < 2000; ++block) {
        for (const uint8_t byte : {0x00, 0x00, 0x00, 0xFF, 0xFF}) *stream.next_out++ = byte, --stream.avail_out;
    }
    stream.avail_in = static_cast<uInt>(rows.data() + rows.size() - stream.next_in);
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    data.resize(data.size() - stream.avail_out);
    deflateEnd(&stream);
    return cat({head(file, idat.offset), png_chunk("IDAT", data), png_chunk("IEND", {})});
}

TEST(PngBands, ARegionThatNeedsARefusedBandBuildsNoOther) {
    const PngSpec spec = {.width = 900, .height = 700, .idat_bytes = 1 << 22, .smooth = true, .noise = 2};
    const Bytes file = with_empty_blocks(spec, 300);
    const StraightPng image = straight_png(file);
    ASSERT_TRUE(image.good);
    // Rows 254 to 507 are refused.
    const RegionRequest inside = {100, 310, 90, 40, 1}, across = {100, 200, 90, 120, 1}, below = {100, 500, 90, 40, 1},
                        over = {100, 100, 90, 300, 290};
    Regions regions(file);
    ASSERT_TRUE(regions);
    const auto expect_rows = [&](const RegionRequest &request) {
        EXPECT_TRUE(regions.decode(request) == model_region(image, request, 7)) << request.y;
    };
    expect_rows(inside);
    const size_t none = memory_of(regions);
    for (const RegionRequest &request : {across, below, inside}) {
        expect_rows(request);
        EXPECT_EQ(memory_of(regions), none) << request.y;
    }
    // Its rows are passed over.
    expect_rows(over);
    EXPECT_GT(memory_of(regions), none + (size_t{10} << 10));
    expect_same("empty blocks", file, {across, over, below, inside, across});
}

// Behind the index. What is gone is found as without bands, also by those that were there.
TEST(PngBands, AFileThatIsCutShortIsReadAsWithoutBands) {
    const PngSpec spec = {.width = 700, .height = 600, .idat_bytes = 5000, .smooth = true, .noise = 3};
    const Bytes file = make_png(spec);
    const std::vector<RegionRequest> requests = {
        {400, 10, 200, 40, 1}, {400, 240, 200, 40, 1}, {0, 520, 700, 80, 1}, {10, 5, 600, 590, 3}};
    Regions kept(file, 7, true), plain(file, 7, true);
    ASSERT_TRUE(kept && plain);
    vpng_set_region_memory(plain.handle(), 0);
    const auto settle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(150)); };
    settle();
    for (const RegionRequest &request : requests) kept.decode(request);
    EXPECT_GT(memory_of(kept), size_t{100} << 10);
    size_t served = 0, refused = 0;
    for (const size_t size :
         {file.size() - 13, file.size() * 9 / 10, file.size() / 2, file.size() / 4, size_t{60}, size_t{0}}) {
        for (Regions *regions : {&kept, &plain}) std::filesystem::resize_file(regions->path(), size);
        for (const bool settled : {false, true}) {
            if (settled) settle();
            for (const RegionRequest &request : requests) {
                const Said expected = decode(&plain, request);
                (expected.decoded.result ? served : refused) += settled;
                for (int round = 0; round < 2; ++round) {
                    EXPECT_TRUE(decode(&kept, request) == expected)
                        << size << " of " << file.size() << " at " << request.y << " settled " << settled;
                }
            }
        }
    }
    EXPECT_GT(served, 4u);
    EXPECT_GT(refused, 8u);
}

}  // namespace
}  // namespace vorel::test
