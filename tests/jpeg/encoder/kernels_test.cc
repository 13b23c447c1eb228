// The vector twins of the encoder's kernels give the bytes of the scalar ones, and touch nothing beside their buffers.
#include <vorel/vorel.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "jpeg/encoder/kernels/kernels.h"
#include "jpeg/encoder/kernels/scan_masks.h"
#include "support/samples.h"
#include "support/twins.h"

namespace vorel::test {
namespace {

// Eight rows of blocks, each ending at a page that cannot be touched.
struct BlockRows {
    std::vector<std::unique_ptr<GuardBuffer>> buffers;
    const uint8_t *rows[8];

    template <typename Sample>
    BlockRows(size_t width, const Sample &sample) {
        for (size_t y = 0; y < 8; ++y) {
            Bytes bytes(width);
            for (size_t x = 0; x < width; ++x) bytes[x] = sample(x, y);
            buffers.push_back(std::make_unique<GuardBuffer>(bytes));
            rows[y] = buffers.back()->data();
        }
    }
};

void expect_forward_twins(const BlockRows &samples, uint32_t column, int32_t count, const uint16_t *divisors) {
    const size_t blocks = static_cast<size_t>(count);
    expect_twins(runnable_encoder_kernels, std::to_string(count) + " blocks", [&](const EncoderKernels &kernels) {
        return whole_outputs({128 * blocks, 8 * blocks}, [&](uint8_t *const *out) {
            kernels.forward({samples.rows, column, count, divisors, reinterpret_cast<int16_t *>(out[0]),
                             reinterpret_cast<uint64_t *>(out[1])});
        });
    });
}

TEST(EncoderKernels, ForwardTwinsAgree) {
    std::minstd_rand random(1);
    uint16_t divisors[256];
    for (unsigned i = 0; i < 240; ++i) {
        // All divisors that a table can have, one after another, and those of the best quality.
        for (unsigned k = 0; k < 64; ++k) {
            const unsigned step = i % 4 ? (64 * i + k) % 255 + 1 : 1;
            ASSERT_EQ(compute_reciprocal(static_cast<uint16_t>(8 * step), divisors + k), 1);
        }
        const int32_t count = static_cast<int32_t>(1 + i % 40);
        const uint32_t column = i % 3 * 5;
        const size_t width = column + 8 * static_cast<size_t>(count);
        std::vector<Bytes> rows;
        for (unsigned y = 0; y < 8; ++y) rows.push_back(kernel_row(width, 8 * i + y));
        expect_forward_twins(BlockRows(width, [&](size_t x, size_t y) { return rows[y][x]; }), column, count, divisors);
    }
    // The blocks in which each coefficient is as large as it gets, of both signs, undivided as far as that goes.
    for (unsigned k = 0; k < 64; ++k) compute_reciprocal(8, divisors + k);
    const auto wave = [](size_t x, size_t u) { return std::cos(static_cast<double>((2 * x + 1) * u) * M_PI / 16); };
    const BlockRows extremes(8 * 128, [&](size_t x, size_t y) {
        const bool above = wave(x % 8, x / 8 % 8) * wave(y, x / 64 % 8) > 0;
        return static_cast<uint8_t>(above == (x < 512) ? 255 : 0);
    });
    expect_forward_twins(extremes, 0, 128, divisors);
}

TEST(EncoderKernels, ZigzagAndInputTwinsAgree) {
    for (int32_t count = 1; count <= 200; ++count) {
        const size_t n = static_cast<size_t>(count), even = n & ~size_t{1};
        const unsigned seed = static_cast<unsigned>(count);
        GuardBuffer block(kernel_row(128, seed)), a(kernel_row(4 * n, seed)), triples(kernel_row(3 * n, seed));
        GuardBuffer pairs(kernel_row(2 * n, seed + 1)), top(kernel_row(2 * even, seed)), bottom(noise(2 * even, seed));
        expect_twins(runnable_encoder_kernels, "count " + std::to_string(count), [&](const EncoderKernels &kernels) {
            const std::vector<size_t> sizes = {128, 8,         n,         n,    2 * n, n,        n,       n,
                                               n,   n - n / 2, n - n / 2, even, even,  even / 2, even / 2};
            return whole_outputs(sizes, [&](uint8_t *const *out) {
                const uint64_t bits = kernels.zigzag(reinterpret_cast<const int16_t *>(block.data()),
                                                     reinterpret_cast<int16_t *>(out[0]));
                std::memcpy(out[1], &bits, sizeof bits);
                kernels.split_pairs(pairs.data(), count, out[2], out[3]);
                kernels.split_yuyv(a.data(), count, out[4], out[5], out[6]);
                kernels.rgb888_row(triples.data(), count, out[7], nullptr, nullptr);
                kernels.rgb888_row(triples.data(), count, out[8], out[9], out[10]);
                kernels.rgb565_rows(
                    {{top.data(), bottom.data()}, static_cast<int32_t>(even), {out[11], out[12]}, out[13], out[14]});
            });
        });
    }
}

// One step after another, the exported transform gives what the kernel does, and its division is exact.
TEST(EncoderKernels, StepsMakeTheKernel) {
    EXPECT_EQ(flss(0), 0);
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(flss(static_cast<uint16_t>(256 * i + 1)), i ? static_cast<int>(std::log2(i)) + 9 : 1);
        const BlockRows samples(8,
                                [&](size_t x, size_t y) { return kernel_row(8, 8 * i + static_cast<unsigned>(y))[x]; });
        int16_t values[64], scaled[64], quotients[64];
        convsamp(const_cast<uint8_t **>(samples.rows), 0, values);
        std::memcpy(scaled, values, sizeof scaled);
        vjpeg_fdct_islow(values);
        vjpeg_fdct_ifast(scaled);
        uint16_t divisors[256];
        for (unsigned k = 0; k < 64; ++k) {
            compute_reciprocal(static_cast<uint16_t>(8 * (1 + (i + k) % 255)), divisors + k);
            // The coarser transform, by the factors that it leaves in.
            const auto factor = [](unsigned u) { return u ? std::cos(u * M_PI / 16) * std::sqrt(2) : 1.0; };
            ASSERT_NEAR(scaled[k] / factor(k / 8) / factor(k % 8), values[k], 90) << k;
        }
        quantize(quotients, divisors, values);
        for (int k = 0; k < 64; ++k) {
            const int divisor = 8 * (1 + (static_cast<int>(i) + k) % 255);
            ASSERT_EQ(std::abs(quotients[k]), (std::abs(values[k]) + divisor / 2) / divisor) << values[k];
        }
        alignas(64) int16_t expected[64], zigzag[64];
        uint64_t bits;
        scalar_encoder_kernels().zigzag(quotients, expected);
        scalar_encoder_kernels().forward({samples.rows, 0, 1, divisors, zigzag, &bits});
        ASSERT_TRUE(std::equal(expected, expected + 64, zigzag));
    }
}

// Coefficients about the point where a scan begins to see them, and the ends of their range.
TEST(EncoderKernels, ScanMaskTwinsAgree) {
    std::minstd_rand random(7);
    std::vector<int16_t> blocks(64 * 40);
    for (auto &value : blocks) value = static_cast<int16_t>(random() % 5 ? random() % 9 - 4 : random());
    const int16_t ends[] = {-32768, 32767, -1, 1, -2, 2, -256, 255, 0};
    std::copy(std::begin(ends), std::end(ends), blocks.begin());
    for (const uint32_t al : {0u, 1u, 2u, 13u}) {
        expect_twins<ScanKernels>(runnable_scan_kernels, std::to_string(al), [&](const ScanKernels &kernels) {
            std::vector<uint64_t> masks(40 * 5);
            kernels.first(blocks.data(), 40, 63, al, masks.data());
            kernels.first(blocks.data(), 40, 5, al, masks.data() + 40);
            kernels.refine(blocks.data(), 40, al, reinterpret_cast<RefineMasks *>(masks.data() + 80));
            const auto *bytes = reinterpret_cast<const uint8_t *>(masks.data());
            return Bytes(bytes, bytes + 8 * masks.size());
        });
    }
}

}  // namespace
}  // namespace vorel::test
