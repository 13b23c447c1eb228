// Huffman tables from counts, and the counts of sessions that measure.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <queue>
#include <random>

#include "jpeg/encoder/encode_support.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

using Counts = std::vector<uint32_t>;  // 257

// The least sum of code lengths times counts, with a symbol of count 1 beside them, that no limit of length allows.
uint64_t least_bits(Counts counts) {
    std::priority_queue<uint64_t, std::vector<uint64_t>, std::greater<>> queue;
    for (const uint32_t count : counts)
        if (count) queue.push(count);
    queue.push(1);
    uint64_t bits = 0;
    while (queue.size() > 1) {
        const uint64_t a = queue.top();
        queue.pop();
        const uint64_t sum = a + queue.top();
        queue.pop();
        bits += sum;
        queue.push(sum);
    }
    return bits;
}

TEST(JpegOptimalTables, ShortestCodes) {
    std::mt19937 random(3);
    const auto draw = [&](uint32_t end) { return static_cast<uint32_t>(random() % end); };
    for (int round = 0; round < 60; ++round) {
        Counts counts(257);
        for (int i = 0; i < 256; ++i) {
            const uint32_t kinds[] = {draw(7), draw(4) ? 0 : draw(1000), 5, i == round ? 9u : 0u,
                                      draw(3) ? 0 : 0xFFFFFFFF - draw(9)};
            counts[static_cast<size_t>(i)] = kinds[round % 5];
        }
        // Counts of which each is the sum of those before it: codes get as long as there are symbols.
        const bool deep = round >= 55;
        if (deep) {
            counts.assign(257, 0);
            for (size_t i = 0; i < static_cast<size_t>(round - 20); ++i)
                counts[200 - i] = i < 2 ? 1 : std::min(counts[201 - i] + counts[202 - i], 900000000u);
        }
        RimEncHuffTable table = {};
        table.sent = 1;
        Counts used = counts;
        vjpeg_gen_optimal_table(nullptr, &table, used.data());
        HuffmanSlot slot = {};
        used = counts;
        brim_jpeg_gen_optimal_table(nullptr, &slot, used.data());
        ASSERT_TRUE(std::equal(table.counts, table.counts + 17, slot.counts));
        ASSERT_TRUE(std::equal(table.values, table.values + 256, slot.values));
        EXPECT_EQ(table.sent, 0);
        EXPECT_EQ(slot.mark, 1u);

        uint64_t space = 0, bits = 0;
        size_t symbol = 0;
        std::vector<bool> has(256);
        for (int length = 1; length <= 16; ++length) {
            space += uint64_t{table.counts[length]} << (16 - length);
            for (int i = 0; i < table.counts[length]; ++i) {
                const uint8_t value = table.values[symbol++];
                EXPECT_FALSE(has[value]);
                has[value] = true;
                bits += uint64_t{counts[value]} * static_cast<uint64_t>(length);
            }
        }
        EXPECT_LT(space, 65536u) << "all ones is a code";
        for (size_t i = 0; i < 256; ++i) EXPECT_EQ(has[i], counts[i] > 0) << i;
        // The reserved symbol's own length is in the model's sum, at most 256 bits.
        const uint64_t least = least_bits(counts);
        if (!deep && round % 5 != 4) {
            EXPECT_LE(bits, least);
            EXPECT_GE(bits + 16, least);
        }
    }
}

// Of equal counts the last symbol is joined first, so that the reserved one, which is behind all, gets the longest
// code.
TEST(JpegOptimalTables, EqualCounts) {
    Counts counts(257);
    counts[7] = 2;
    counts[8] = counts[9] = counts[10] = 1;
    RimEncHuffTable table = {};
    vjpeg_gen_optimal_table(nullptr, &table, counts.data());
    EXPECT_EQ(Bytes(table.counts, table.counts + 5), (Bytes{0, 1, 0, 3, 0}));
    EXPECT_EQ(Bytes(table.values, table.values + 4), (Bytes{7, 8, 9, 10}));
}

Bytes slots_of(const HuffmanSpec &spec) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(spec.dcSlots);
    return Bytes(bytes, bytes + sizeof(spec.dcSlots) + sizeof(spec.acSlots));
}

TEST(JpegOptimalTables, FourThreadsMeasureWhatOneDoes) {
    for (const int32_t format : kReadFormats) {
        const bool nv = format == COLOR_NV21 || format == COLOR_NV12;
        for (const int32_t height : {511, 512, 600, 705}) {
            const RawPicture picture = raw_picture(format, 75, height);
            RawInfo raw = picture.record();
            HuffmanSpec one = {}, four = {};
            ASSERT_EQ(rim_get_scanning_huffman(&raw, 80, &one), 1);
            const int32_t result = rim_multi_scanning_huffman(&raw, 80, &four);
            // Required: strips of NV21 and NV12 are not measured.
            EXPECT_EQ(result, !nv || height < 512);
            EXPECT_EQ(slots_of(one) == slots_of(four), result == 1) << format << " " << height;
        }
    }
}

TEST(JpegOptimalTables, FailingAllocations) {
    const RawPicture picture = raw_picture(COLOR_YUV420, 20, 520);
    RawInfo raw = picture.record();
    for (const auto measure : {rim_get_scanning_huffman, rim_multi_scanning_huffman}) {
        HuffmanSpec whole = {};
        ASSERT_EQ(measure(&raw, 80, &whole), 1);
        with_each_allocation_failing([&](const CountingAllocator &allocator) {
            HuffmanSpec spec = {};
            // Required: without memory for the strips' jobs there are empty tables, and 1.
            const int32_t result = measure(&raw, 80, &spec);
            EXPECT_TRUE(allocator.failed() || result == 1);
            EXPECT_TRUE(slots_of(spec) == slots_of(result == 1 && spec.dcSlots[0].mark ? whole : HuffmanSpec{}));
        });
    }
}

TEST(JpegOptimalTables, WordsOutOfRange) {
    const RawPicture picture = raw_picture(COLOR_GRAY, 40, 40);
    RawInfo raw = picture.record();
    raw.optimizeHuffman = 1;
    HuffmanSpec spec = {};
    spec.quality = 0xFFFFFFFF;  // 100, as everything above it
    EXPECT_EQ(rim_enc_jpeg_to_file_ex(&raw, "/dev/null", &spec), 1);
    raw.stripMode = 1, raw.stripStartRow = 65500;  // no picture has these rows
    Counts counts(257);
    EXPECT_EQ(rim_get_scanning_huffman_with_ptr(&raw, 80, &counts[0], nullptr, &counts[0], nullptr, nullptr), 0);
}

// Sizes of coefficients beyond those that a table has.
TEST(JpegOptimalTables, CoefficientsWithoutACode) {
    const struct {
        int position, value, result;
    } rows[] = {{0, 2047, 1}, {0, 2048, 0}, {0, -2047, 1}, {5, 1023, 1}, {5, 1024, 0}, {63, -1023, 1}, {63, -1024, 0}};
    const RawPicture picture = raw_picture(COLOR_GRAY, 16, 16);
    RawInfo raw = picture.record();
    for (const auto &row : rows) {
        RimEncSink sink = {};
        HuffmanSpec spec = {};
        JEInfo *session = __rim_jpeg_enc_initiaize(&raw, &sink, &spec, nullptr);
        Counts dc(257), ac(257);
        session->gathering = 1;
        session->dcCounts[0] = dc.data();
        session->acCounts[0] = ac.data();
        int16_t block[64] = {}, *blocks[] = {block};
        block[row.position] = static_cast<int16_t>(row.value);
        EXPECT_EQ(encode_mcu_gather(session, blocks), row.result) << row.position << " " << row.value;
        if (row.result) {
            EXPECT_EQ(std::accumulate(dc.begin(), dc.end(), 0u), 1u);
            // Natural position 5 is zigzag position 15.
            EXPECT_EQ(ac[row.position == 63 ? 0xEA : row.position ? 0xEA : 0], 1u);
            EXPECT_EQ(ac[0], row.position != 63);
            EXPECT_EQ(ac[0xF0], row.position == 63 ? 3u : 0u);
        }
        __rim_jpeg_enc_release_mem(session);
        VORELBRIM_OsFree(session);
    }
}

}  // namespace
}  // namespace vorel::test
