// The vector twins of the PNG kernels give the bytes of the scalar ones, at every width and beside no buffer.
#include "png/kernels/kernels.h"

#include "support/twins.h"

namespace vorel::test {
namespace {

constexpr int kWidest = 160;  // past two of the widest vectors

// Over copies of the same bytes.
void expect_in_place(const Bytes &bytes, const std::string &what,
                     const std::function<void(const PngKernels &, uint8_t *)> &run) {
    expect_twins(runnable_png_kernels, what + " size " + std::to_string(bytes.size()), [&](const PngKernels &kernels) {
        GuardBuffer ours(bytes);
        run(kernels, ours.data());
        return ours.bytes();
    });
}

TEST(PngKernels, FilterTwinsAgree) {
    for (const int pixel : {1, 2, 3, 4, 6, 8}) {
        for (size_t count = 0; count <= kWidest; ++count) {
            const size_t bytes = count * static_cast<size_t>(pixel) / (pixel > 2 ? 2 : 1);
            for (unsigned seed = 0; seed < 4; ++seed) {
                const Bytes row = kernel_row(bytes, static_cast<unsigned>(count));
                GuardBuffer above(kernel_row(bytes, static_cast<unsigned>(count) + seed));
                expect_in_place(row, "sub", [&](auto &k, uint8_t *at) { k.sub(at, bytes, pixel); });
                expect_in_place(row, "up", [&](auto &k, uint8_t *at) { k.up(at, above.data(), bytes); });
                expect_in_place(row, "average",
                                [&](auto &k, uint8_t *at) { k.average(at, above.data(), bytes, pixel); });
                expect_in_place(row, "paeth", [&](auto &k, uint8_t *at) { k.paeth(at, above.data(), bytes, pixel); });
            }
        }
    }
}

TEST(PngKernels, PixelTwinsAgree) {
    for (int64_t count = 0; count <= kWidest; ++count) {
        for (unsigned seed = 0; seed < 4; ++seed) {
            const Bytes pixels = kernel_row(static_cast<size_t>(count) * 4, static_cast<unsigned>(count) + seed);
            GuardBuffer three(kernel_row(static_cast<size_t>(count) * 3, static_cast<unsigned>(count)));
            expect_in_place(pixels, "premultiply", [&](auto &k, uint8_t *at) { k.premultiply(at, count); });
            expect_in_place(pixels, "swap", [&](auto &k, uint8_t *at) { k.swap_red_blue(at, count, at); });
            for (const bool swapped : {false, true})
                expect_in_place(pixels, "rgb",
                                [&](auto &k, uint8_t *at) { k.rgb_to_rgba(three.data(), count, swapped, at); });
            for (const uint32_t mask : {0u, 0xFFu, 0xFFFFFFu})
                for (const uint32_t key : {1u, 0u, 0xFFu, 0xFFFFFFu})
                    expect_in_place(pixels, "clear", [&](auto &k, uint8_t *at) { k.clear(at, count, key, mask); });
        }
    }
}

// RFC 1950, clause 8.2, byte by byte.
uint32_t plain_adler32(uint32_t adler, const uint8_t *bytes, size_t count) {
    uint32_t sum = adler & 0xFFFF, sums = adler >> 16;
    for (size_t i = 0; i < count; ++i) {
        sum = (sum + bytes[i]) % 65521;
        sums = (sums + sum) % 65521;
    }
    return sums << 16 | sum;
}

TEST(PngKernels, CheckValuesAreThoseOfRfc1950) {
    const PngKernels *tables[kMaxKernelTables];
    const int count = runnable_png_kernels(tables);
    for (const size_t bytes : {0, 1, 15, 16, 17, 63, 64, 65, 200, 5551, 5552, 5553, 30'000}) {
        for (const bool most : {false, true}) {
            GuardBuffer row(most ? Bytes(bytes, 0xFF) : kernel_row(bytes, 3));
            for (const uint32_t start : {1u, 0xFFF0FFF0u}) {
                const uint32_t expected = plain_adler32(start, row.data(), bytes);
                for (int i = 0; i < count; ++i) {
                    EXPECT_EQ(tables[i]->adler32(start, row.data(), bytes), expected)
                        << tables[i]->name << " " << bytes;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
