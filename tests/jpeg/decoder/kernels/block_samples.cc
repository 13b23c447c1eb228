#include "jpeg/decoder/kernels/block_samples.h"

#include <cmath>

namespace vorel::test {

const uint8_t kZigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
                             41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
                             30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

namespace {

// The weight of coefficient u in sample x of a side, T.81 A.3.3: sides of 4 are means of two samples of the full size,
// a side of 3 comes from the middles of its shares, sides of 2 and 1 are sums and differences.
double weight(int side, int u, int x) {
    if (u >= side) return 0;
    if (side <= 2) return (u && x ? -1 : 1) / std::sqrt(8);
    const auto at = [u](int place) { return (u ? 0.5 : std::sqrt(0.125)) * std::cos((2 * place + 1) * u * M_PI / 16); };
    constexpr int kMiddles[3][2] = {{1, 1}, {3, 4}, {6, 6}};
    if (side == 3) return (at(kMiddles[x][0]) + at(kMiddles[x][1])) / 2;
    return side == 4 ? (at(2 * x) + at(2 * x + 1)) / 2 : at(x);
}

// All of them, by side, coefficient and sample.
struct Weights {
    double of[9][8][8] = {};
    Weights() {
        for (const int side : {1, 2, 3, 4, 8}) {
            for (int u = 0; u < 8; ++u)
                for (int x = 0; x < side; ++x) of[side][u][x] = weight(side, u, x);
        }
    }
};

}  // namespace

double exact_sample(const Block &block, const Quant &quant, int width, int height, int x, int y) {
    static const Weights weights;
    double sum = 128;
    for (int k = 0; k < 64; ++k) {
        if (block.c[k] == 0) continue;
        sum += weights.of[width][k % 8][x] * weights.of[height][k / 8][y] * block.c[k] * quant[static_cast<size_t>(k)];
    }
    return sum;
}

std::vector<uint8_t> transform(const KernelTable &table, const ShapeSize &size, const Block &block, const Quant &quant,
                               bool plain) {
    int32_t multipliers[64];
    make_multipliers(size.shape, quant.data(), multipliers);
    int last = 63;
    while (last > 0 && block.c[kZigzag[last]] == 0) --last;
    const uint8_t last_byte = static_cast<uint8_t>(last);
    const int16_t *const blocks[1] = {block.c};
    std::vector<uint8_t> out(static_cast<size_t>(size.width * size.height));
    const uint8_t *range = plain ? kRangeLimit + kRangeCentre : kCompressedRange + kCompressedCentre;
    table.idct[static_cast<int>(size.shape)](
        {blocks, &last_byte, 1, multipliers, range, plain, out.data(), size.width});
    return out;
}

Block natural_block(std::mt19937 &random, const Quant &quant, int columns, int rows, double contrast) {
    Block block;
    std::normal_distribution<double> height(0, contrast);
    for (int v = 0; v < rows; ++v) {
        for (int u = 0; u < columns; ++u) {
            const size_t k = static_cast<size_t>(8 * v + u);
            block.c[k] = static_cast<int16_t>(std::lround(8 * height(random) / (1 + u + v) / quant[k]));
        }
    }
    return block;
}

}  // namespace vorel::test
