// A rectangle is the cut of the whole develop, from every entry and on every thread.
#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "dng/driver/files.h"
#include "dng/support/pairs.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

struct Rectangle {
    int32_t top, bottom, left, right;
};

// What lies outside of the picture is 0, alpha too.
Bytes cut(const Picture &whole, const Rectangle &r) {
    const size_t columns = static_cast<size_t>(r.right - r.left), rows = static_cast<size_t>(r.bottom - r.top);
    Bytes out(columns * rows * 4);
    for (int32_t y = std::max(r.top, 0); y < std::min<int64_t>(r.bottom, whole.height); ++y) {
        for (int32_t x = std::max(r.left, 0); x < std::min<int64_t>(r.right, whole.width); ++x) {
            const size_t from = (static_cast<size_t>(y) * whole.width + static_cast<size_t>(x)) * 4;
            const size_t to = (static_cast<size_t>(y - r.top) * columns + static_cast<size_t>(x - r.left)) * 4;
            std::copy_n(&whole.rgba[from], 4, &out[to]);
        }
    }
    return out;
}

// Corners odd and even, near the edges, over each of them, around the picture and beside it.
std::vector<Rectangle> rectangles(int32_t w, int32_t h) {
    return {{0, 1, 0, 1},       {3, 20, 5, 31},       {4, 21, 8, 33},         {5, 22, 7, 20},
            {6, 7, 9, 40},      {-7, 12, -3, 10},     {h - 9, h, w - 11, w},  {h - 6, h + 5, 10, 25},
            {10, 30, w - 5, w}, {h + 5, h + 9, 0, 6}, {-2, h + 3, -4, w + 2}, {-9, -3, 3, 9}};
}

decInfo record_of(const Rectangle &r) {
    decInfo info = sized(static_cast<uint32_t>(r.right - r.left), static_cast<uint32_t>(r.bottom - r.top));
    info.regionTop = r.top, info.regionBottom = r.bottom, info.regionLeft = r.left, info.regionRight = r.right;
    return info;
}

struct OpenFile {
    explicit OpenFile(const Bytes &file) : bytes(file) {
        EXPECT_EQ(parseDNGImageBuffer_for_RD(bytes.data(), length_of(bytes), &info), 0);
    }
    ~OpenFile() { finalizeHandle(&info); }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    Bytes rectangle(const Rectangle &r) const {
        decInfo record = record_of(r);
        record.handle = info.handle;
        Bytes out(size_t{record.width} * record.height * 4, 0xA5);
        EXPECT_EQ(decodeDNGImageBuffer_for_RD(bytes.data(), length_of(bytes), out.data(), &record), 0);
        return out;
    }

    const Bytes &bytes;
    decInfo info = {};
};

TEST(DngRegion, EqualsTheCutOfTheWhole) {
    for (const NamedDng &named : develop_files()) {
        const Picture whole = developed_whole(named.builder);
        const Bytes file = named.builder.build();
        const OpenFile open(file);
        // Whole decodes between rectangles change nothing that is kept.
        decInfo record = sized(open.info.width, open.info.height);
        record.handle = open.info.handle;
        Bytes between(size_t{record.width} * record.height * 4);
        decodeDNGImageBuffer_for_RD(file.data(), length_of(file), between.data(), &record);
        EXPECT_TRUE(between == developed(file, open.info.width, open.info.height)) << named.name;
        for (const Rectangle &r : rectangles(static_cast<int32_t>(whole.width), static_cast<int32_t>(whole.height))) {
            SCOPED_TRACE(named.name + ", rows from " + std::to_string(r.top) + ", columns from " +
                         std::to_string(r.left));
            const Bytes expected = cut(whole, r);
            EXPECT_TRUE(open.rectangle(r) == expected);
            decInfo info = record_of(r);
            EXPECT_TRUE(developed(file, &info) == expected) << "without a handle";
            EXPECT_EQ(info.width, static_cast<uint32_t>(r.right - r.left));
        }
    }
}

// The crop that the file states is what the caller sees, and no more than the picture has is written.
TEST(DngRegion, CropsAndBuffersOfOtherSizes) {
    const DngBuilder bordered = develop_file("borders, levels and deltas").builder;
    const Bytes file = bordered.build();
    const OpenFile open(file);
    // Halves away from 0.
    expect_pairs(open.info.cropOriginX, 8, open.info.cropOriginY, 7, open.info.cropWidth, 60, open.info.cropHeight, 50);
    const Picture whole = developed_whole(bordered);
    for (const int32_t side : {1, 33, 200}) {
        const uint32_t size = static_cast<uint32_t>(side);
        EXPECT_TRUE(developed(file, size, size) == cut(whole, {7, 7 + side, 8, 8 + side})) << side;
    }
}

TEST(DngRegion, ManyThreadsOnOneHandle) {
    const DngBuilder with_opcodes = develop_file("opcodes").builder;
    const Picture whole = developed_whole(with_opcodes);
    const Bytes file = with_opcodes.build();
    const OpenFile open(file);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 8; ++i) {
                const Rectangle r = {t * 5 + i, t * 5 + i + 30, i * 4 - 3, i * 4 + 28};
                EXPECT_TRUE(open.rectangle(r) == cut(whole, r)) << t << " " << i;
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
}

TEST(DngRegion, CancelledHandlesStayClosed) {
    Bytes file = develop_files()[0].builder.build();
    VDngRegionInstance *instance = nullptr;
    ASSERT_NE(DngNewInstanceBuffer(file.data(), length_of(file), &instance), 0);
    ASSERT_NE(instance, nullptr);
    void *handle = instance->decoder;
    Bytes out(64);
    const auto made = [&](const Rectangle &r) {
        uint8_t *pixels = DngDecodeRegion(r.top, r.bottom, r.left, r.right, nullptr, handle, instance);
        std::free(pixels);
        return pixels != nullptr;
    };
    const auto filled = [&](const Rectangle &r, void *of) {
        return DngDecodeRegion2Buf(r.top, r.bottom, r.left, r.right, nullptr, of, instance, out.data());
    };
    // Required: four zeros are no failure.
    expect_pairs(instance->ownsBuffer, 0, getDngWidth(instance), 75, getDngHeight(instance), 62, made({3, 9, 4, 8}),
                 true, made({0, 0, 0, 0}), true, made({INT32_MIN, INT32_MAX, 0, 1}), false,
                 filled({3, 5, 4, 8}, handle), 1, filled({3, 3, 4, 8}, handle), -1, filled({3, 5, 9, 8}, handle), -1,
                 filled({3, 5, 4, 8}, nullptr), -1);
    EXPECT_EQ(CancleDngDecode(handle), 0);
    EXPECT_TRUE(!made({3, 9, 4, 8}) && filled({3, 5, 4, 8}, handle) == -1);
    EXPECT_EQ(DngRdDestroy(handle, instance), 0);
}

// Lossless JPEG, where it is asked for: the same picture as from the same samples without compression, whole and in
// parts; refused otherwise.
TEST(DngRegion, LosslessTwinOfTheCorpus) {
    if (!std::filesystem::exists(VOREL_CORPUS "/dng")) GTEST_SKIP() << "no corpus";
    const Bytes lossless = read_file(VOREL_CORPUS "/dng/tm_bmpcc_lossless.dng");
    const Bytes plain = read_file(VOREL_CORPUS "/dng/gen_bmpcc_frame_cfa12_uncompressed.dng");
    for (const Rectangle &r : {Rectangle{0, 0, 0, 0}, {301, 420, 907, 1033}}) {
        decInfo info = record_of(r);
        if (!r.right) info.width = 1920, info.height = 1080;
        decInfo of_lossless = info, refused = info;
        of_lossless.acceptLossless = 1;
        EXPECT_TRUE(developed(lossless, &of_lossless) == developed(plain, &info));
        const Bytes black = developed(lossless, &refused);
        EXPECT_TRUE(refused.cancelFlag == 1 && of_lossless.cancelFlag == 0 && black == Bytes(black.size()));
    }
    for (const int32_t accept : {0, 1}) {
        decInfo handle = {};
        handle.acceptLossless = accept;
        EXPECT_EQ(parseDNGImageBuffer_for_RD(lossless.data(), length_of(lossless), &handle), accept - 1);
        finalizeHandle(&handle);
    }
}

}  // namespace
}  // namespace vorel::test
