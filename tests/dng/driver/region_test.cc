// A rectangle is the cut of the whole develop, from every entry and on every thread.
#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "dng/driver/files.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

struct Rectangle {
    int32_t top, bottom, left, right;
};

// What lies outside of the picture is 0, alpha too.
Bytes cut(const Bytes &whole, uint32_t width, uint32_t height, const Rectangle &r) {
    const size_t columns = static_cast<size_t>(r.right - r.left), rows = static_cast<size_t>(r.bottom - r.top);
    Bytes out(columns * rows * 4);
    for (int32_t y = std::max(r.top, 0); y < std::min<int64_t>(r.bottom, height); ++y) {
        for (int32_t x = std::max(r.left, 0); x < std::min<int64_t>(r.right, width); ++x) {
            const size_t from = (static_cast<size_t>(y) * width + static_cast<size_t>(x)) * 4;
            const size_t to = (static_cast<size_t>(y - r.top) * columns + static_cast<size_t>(x - r.left)) * 4;
            std::copy_n(&whole[from], 4, &out[to]);
        }
    }
    return out;
}

// Corners odd and even, near the edges, over each of them, around the picture and beside it.
std::vector<Rectangle> rectangles(int32_t width, int32_t height) {
    return {{0, 1, 0, 1},
            {3, 20, 5, 31},
            {4, 21, 8, 33},
            {5, 22, 7, 20},
            {7, 29, 3, 17},
            {6, 7, 9, 40},
            {height - 9, height, width - 11, width},
            {-7, 12, -3, 10},
            {height - 6, height + 5, 10, 25},
            {10, 30, width - 5, width + 9},
            {-2, height + 3, -4, width + 2},
            {height + 5, height + 9, 0, 6},
            {-9, -3, 3, 9},
            {0, height, 0, width}};
}

struct OpenFile {
    explicit OpenFile(const Bytes &file) : bytes(file) {
        EXPECT_EQ(parseDNGImageBuffer_for_RD(bytes.data(), static_cast<int32_t>(bytes.size()), &info), 0);
    }
    ~OpenFile() { finalizeHandle(&info); }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    Bytes rectangle(const Rectangle &r) const {
        decInfo record = {};
        record.handle = info.handle;
        record.regionTop = r.top, record.regionBottom = r.bottom;
        record.regionLeft = r.left, record.regionRight = r.right;
        record.width = static_cast<uint32_t>(r.right - r.left), record.height = static_cast<uint32_t>(r.bottom - r.top);
        Bytes out(size_t{record.width} * record.height * 4, 0xA5);
        EXPECT_EQ(decodeDNGImageBuffer_for_RD(bytes.data(), static_cast<int32_t>(bytes.size()), out.data(), &record),
                  0);
        return out;
    }

    const Bytes &bytes;
    decInfo info = {};
};

TEST(DngRegion, EqualsTheCutOfTheWhole) {
    for (const NamedDng &named : develop_files()) {
        uint32_t width, height;
        const Bytes whole = developed_whole(named.builder, &width, &height), file = named.builder.build();
        const OpenFile open(file);
        for (const Rectangle &r : rectangles(static_cast<int32_t>(width), static_cast<int32_t>(height))) {
            const std::string what = named.name + ", rows " + std::to_string(r.top) + " to " +
                                     std::to_string(r.bottom) + ", columns " + std::to_string(r.left) + " to " +
                                     std::to_string(r.right);
            const Bytes expected = cut(whole, width, height, r);
            EXPECT_TRUE(open.rectangle(r) == expected) << what;
            decInfo info = {};
            info.regionTop = r.top, info.regionBottom = r.bottom, info.regionLeft = r.left, info.regionRight = r.right;
            info.width = static_cast<uint32_t>(r.right - r.left), info.height = static_cast<uint32_t>(r.bottom - r.top);
            EXPECT_TRUE(developed(file, &info) == expected) << what << ", without a handle";
            EXPECT_EQ(info.width, static_cast<uint32_t>(r.right - r.left));
        }
    }
}

// Whole decodes change nothing that is kept, opcodes or not.
TEST(DngRegion, WholeDecodesThroughAHandle) {
    for (const NamedDng &named : develop_files()) {
        const Bytes file = named.builder.build();
        const OpenFile open(file);
        decInfo info = {};
        info.width = open.info.width, info.height = open.info.height;
        const Bytes whole = developed(file, &info);
        for (int i = 0; i < 2; ++i) {
            decInfo record = {};
            record.handle = open.info.handle, record.width = info.width, record.height = info.height;
            Bytes out(whole.size());
            decodeDNGImageBuffer_for_RD(file.data(), static_cast<int32_t>(file.size()), out.data(), &record);
            EXPECT_TRUE(out == whole) << named.name << " " << i;
        }
    }
}

TEST(DngRegion, ManyThreadsOnOneHandle) {
    const std::vector<NamedDng> files = develop_files();
    const auto with_opcodes =
        std::find_if(files.begin(), files.end(), [](auto &file) { return file.name == "opcodes"; });
    uint32_t width, height;
    const Bytes whole = developed_whole(with_opcodes->builder, &width, &height), file = with_opcodes->builder.build();
    const OpenFile open(file);
    std::vector<std::thread> threads;
    bool same[4] = {};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            bool all = true;
            for (int i = 0; i < 8; ++i) {
                const Rectangle r = {t * 5 + i, t * 5 + i + 30, i * 4 - 3, i * 4 + 28};
                all = all && open.rectangle(r) == cut(whole, width, height, r);
            }
            same[t] = all;
        });
    }
    for (std::thread &thread : threads) thread.join();
    for (const bool one : same) EXPECT_TRUE(one);
}

TEST(DngRegion, CancelledHandlesStayClosed) {
    const Bytes file = develop_files()[0].builder.build();
    uint8_t *copy = static_cast<uint8_t *>(std::malloc(file.size()));
    std::copy(file.begin(), file.end(), copy);
    VDngRegionInstance *instance = nullptr;
    ASSERT_NE(DngNewInstanceBuffer(copy, static_cast<int32_t>(file.size()), &instance), 0);
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(instance->ownsBuffer, 0);
    EXPECT_EQ(getDngWidth(instance), 75);
    EXPECT_EQ(getDngHeight(instance), 62);
    void *handle = instance->decoder;
    uint8_t *pixels = DngDecodeRegion(3, 9, 4, 8, nullptr, handle, instance);
    EXPECT_NE(pixels, nullptr);
    std::free(pixels);
    pixels = DngDecodeRegion(0, 0, 0, 0, nullptr, handle, instance);  // Required: no failure
    EXPECT_NE(pixels, nullptr);
    std::free(pixels);
    Bytes out(64);
    EXPECT_EQ(DngDecodeRegion2Buf(3, 3, 4, 8, nullptr, handle, instance, out.data()), -1);
    EXPECT_EQ(DngDecodeRegion2Buf(3, 5, 9, 8, nullptr, handle, instance, out.data()), -1);
    EXPECT_EQ(DngDecodeRegion2Buf(3, 5, 4, 8, nullptr, nullptr, instance, out.data()), -1);
    EXPECT_EQ(DngDecodeRegion(INT32_MIN, INT32_MAX, 0, 1, nullptr, handle, instance), nullptr);
    EXPECT_EQ(CancleDngDecode(handle), 0);
    EXPECT_EQ(DngDecodeRegion(3, 9, 4, 8, nullptr, handle, instance), nullptr);
    EXPECT_EQ(DngDecodeRegion2Buf(3, 5, 4, 8, nullptr, handle, instance, out.data()), -1);
    EXPECT_EQ(DngRdDestroy(handle, instance), 0);
    std::free(copy);
}

// Lossless JPEG, where it is asked for: the same picture as from the same samples without compression, whole and in
// parts; refused otherwise.
TEST(DngRegion, LosslessTwinOfTheCorpus) {
    const std::filesystem::path folder = std::filesystem::path(VOREL_CORPUS) / "dng";
    if (!std::filesystem::exists(folder / "tm_bmpcc_lossless.dng")) GTEST_SKIP() << "no corpus";
    const Bytes lossless = read_file(folder / "tm_bmpcc_lossless.dng");
    const Bytes plain = read_file(folder / "gen_bmpcc_frame_cfa12_uncompressed.dng");
    const Rectangle rectangles[] = {{0, 0, 0, 0}, {301, 420, 907, 1033}};
    for (const Rectangle &r : rectangles) {
        decInfo info = {};
        info.width = r.right ? 126 : 1920, info.height = r.right ? 119 : 1080;
        info.regionTop = r.top, info.regionBottom = r.bottom, info.regionLeft = r.left, info.regionRight = r.right;
        decInfo of_lossless = info, refused = info;
        of_lossless.acceptLossless = 1;
        const Bytes expected = developed(plain, &info);
        EXPECT_TRUE(developed(lossless, &of_lossless) == expected);
        EXPECT_EQ(of_lossless.cancelFlag, 0);
        const Bytes black = developed(lossless, &refused);
        EXPECT_EQ(refused.cancelFlag, 1);
        EXPECT_TRUE(std::all_of(black.begin(), black.end(), [](uint8_t byte) { return byte == 0; }));
    }
    decInfo handle = {};
    EXPECT_EQ(parseDNGImageBuffer_for_RD(lossless.data(), static_cast<int32_t>(lossless.size()), &handle), -1);
    handle = {};
    handle.acceptLossless = 1;
    EXPECT_EQ(parseDNGImageBuffer_for_RD(lossless.data(), static_cast<int32_t>(lossless.size()), &handle), 0);
    finalizeHandle(&handle);
}

}  // namespace
}  // namespace vorel::test
