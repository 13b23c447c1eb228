// The vector twins of the PNG kernels give the bytes of the scalar ones, at every width and beside no buffer.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "png/kernels/kernels.h"
#include "support/inputs.h"

namespace vorel::test {
namespace {

constexpr int kWidest = 160;  // past two of the widest vectors

std::vector<const PngKernels *> vector_tables() {
    const PngKernels *tables[kMaxKernelTables];
    const int count = runnable_png_kernels(tables);
    return {tables + 1, tables + count};
}

// Noise, extremes, and alphas that are often 0 or 255.
Bytes samples(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(random());
        if (seed % 4 == 1) bytes[i] = random() % 2 ? 255 : 0;
        if (i % 4 == 3 && random() % 3 == 0) bytes[i] = random() % 2 ? 255 : 0;
        if (seed % 4 == 2 && i % 4 == 3) bytes[i] = 255;
    }
    return bytes;
}

// Runs both tables over copies of the same bytes, and shows what differs.
void expect_twins(const PngKernels &table, const Bytes &bytes, const char *what, size_t size,
                  const std::function<void(const PngKernels &, uint8_t *)> &run) {
    GuardBuffer ours(bytes), reference(bytes);
    run(table, ours.data());
    run(scalar_png_kernels(), reference.data());
    ASSERT_TRUE(ours.bytes() == reference.bytes()) << table.name << " " << what << " size " << size;
}

TEST(PngKernels, FilterTwinsAgree) {
    for (const PngKernels *table : vector_tables()) {
        for (const int pixel : {1, 2, 3, 4, 6, 8}) {
            for (size_t count = 0; count <= kWidest; ++count) {
                const size_t bytes = count * static_cast<size_t>(pixel) / (pixel > 2 ? 2 : 1);
                GuardBuffer above(samples(bytes, static_cast<unsigned>(count) + 100));
                const Bytes row = samples(bytes, static_cast<unsigned>(count));
                const auto twins = [&](const char *what, const auto &run) {
                    expect_twins(*table, row, what, bytes, run);
                };
                twins("sub", [&](const PngKernels &k, uint8_t *at) { k.sub(at, bytes, pixel); });
                twins("up", [&](const PngKernels &k, uint8_t *at) { k.up(at, above.data(), bytes); });
                twins("average", [&](const PngKernels &k, uint8_t *at) { k.average(at, above.data(), bytes, pixel); });
                twins("paeth", [&](const PngKernels &k, uint8_t *at) { k.paeth(at, above.data(), bytes, pixel); });
            }
        }
    }
}

TEST(PngKernels, PixelTwinsAgree) {
    for (const PngKernels *table : vector_tables()) {
        for (int64_t count = 0; count <= kWidest; ++count) {
            const size_t bytes = static_cast<size_t>(count) * 4;
            const unsigned seed = static_cast<unsigned>(count);
            const Bytes pixels = samples(bytes, seed);
            GuardBuffer three(samples(static_cast<size_t>(count) * 3, seed));
            const auto twins = [&](const char *what, const auto &run) {
                expect_twins(*table, pixels, what, bytes, run);
            };
            twins("premultiply", [&](const PngKernels &k, uint8_t *at) { k.premultiply(at, count); });
            twins("swap", [&](const PngKernels &k, uint8_t *at) { k.swap_red_blue(at, count, at); });
            for (const bool swapped : {false, true}) {
                twins("rgb",
                      [&](const PngKernels &k, uint8_t *at) { k.rgb_to_rgba(three.data(), count, swapped, at); });
            }
            for (const uint32_t mask : {0u, 0xFFu, 0xFFFFFFu}) {
                for (const uint32_t key : {1u, 0u, 0xFFu, 0xFFFFFFu}) {
                    twins("clear", [&](const PngKernels &k, uint8_t *at) { k.clear(at, count, key, mask); });
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
