// Inverse DCTs to fewer samples than coefficients. Shapes with a side of 3, 4 or 8 run the scaled flow graph of Arai,
// Agui and Nakajima in 8-bit fixed point on multipliers that carry its scales; those of at most 2 x 2 work on the plain
// quantisers.
#include "jpeg/decoder/kernels/room.h"

namespace vorel {
namespace {

// Room enough for any multiplier and coefficient: a product has 47 bits, both passes add less than 18.
using Wide = int64_t;

Wide dequantise(int32_t multiplier, int16_t coefficient) { return (Wide{multiplier} * coefficient) >> 10; }
Wide times_256ths(Wide value, int32_t factor) { return (value * factor) >> 8; }

constexpr int32_t kRoot2 = 362, k1_848 = 473, k1_082 = 277, k2_613 = 669;  // in 256ths

void points(const Wide (&in)[8], Wide (&out)[8]) {
    const Wide sum04 = in[0] + in[4], difference04 = in[0] - in[4], sum26 = in[2] + in[6];
    const Wide inner = times_256ths(in[2] - in[6], kRoot2) - sum26;
    const Wide even[4] = {sum04 + sum26, difference04 + inner, difference04 - inner, sum04 - sum26};

    const Wide sum53 = in[5] + in[3], difference53 = in[5] - in[3], sum17 = in[1] + in[7], difference17 = in[1] - in[7];
    const Wide turn = times_256ths(difference53 + difference17, k1_848);
    const Wide odd0 = sum17 + sum53;
    const Wide odd1 = times_256ths(difference53, -k2_613) + turn - odd0;
    const Wide odd2 = times_256ths(sum17 - sum53, kRoot2) - odd1;
    const Wide odd3 = times_256ths(difference17, k1_082) - turn + odd2;

    out[0] = even[0] + odd0;
    out[7] = even[0] - odd0;
    out[1] = even[1] + odd1;
    out[6] = even[1] - odd1;
    out[2] = even[2] + odd2;
    out[5] = even[2] - odd2;
    out[4] = even[3] + odd3;
    out[3] = even[3] - odd3;
}

// The mean of neighbouring pairs of the 8 points: sqrt2 - 1 turns the odd terms.
void points(const Wide (&in)[4], Wide (&out)[4]) {
    const Wide even0 = in[0] + in[2], even1 = in[0] - in[2];
    const Wide odd0 = in[1] + times_256ths(in[3], kRoot2) - in[3];
    const Wide odd1 = times_256ths(in[1], kRoot2) - in[1] - in[3];
    out[0] = even0 + odd0;
    out[1] = even1 + odd1;
    out[2] = even1 - odd1;
    out[3] = even0 - odd0;
}

void points(const Wide (&in)[2], Wide (&out)[2]) {
    out[0] = in[0] + in[1];
    out[1] = in[0] - in[1];
}

// Of the 8 points of inputs 0..3 those at 1 and 6, and between them the mean of 3 and 4.
void points(const Wide (&in)[3 + 1], Wide (&out)[3]) {
    const Wide eight[8] = {in[0], in[1], in[2], in[3], 0, 0, 0, 0};
    Wide samples[8];
    points(eight, samples);
    out[0] = samples[1];
    out[1] = (samples[3] + samples[4]) >> 1;
    out[2] = samples[6];
}

// kWidth x kHeight samples from the columns x rows lowest of kInWidth x kInHeight coefficients.
template <int kWidth, int kHeight, int kInWidth = kWidth, int kInHeight = kHeight>
void scaled_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, int columns, int rows,
                  BlockOut to) {
    Wide workspace[kHeight][kInWidth] = {}, out_column[kHeight], out_row[kWidth];
    for (int u = 0; u < columns; ++u) {
        Wide in[kInHeight] = {};
        for (int v = 0; v < rows; ++v) in[v] = dequantise(multipliers[8 * v + u], block[8 * v + u]);
        points(in, out_column);
        for (int y = 0; y < kHeight; ++y) workspace[y][u] = out_column[y];
    }
    for (int y = 0; y < kHeight; ++y) {
        points(workspace[y], out_row);
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < kWidth; ++x) row[x] = to_sample(range_limit, out_row[x] >> 5);
    }
}

constexpr int kColumns3 = 3, kRows3 = 4;  // what the 3 x 3 shape reads

// At most 2 x 2 samples, as sums and differences of the lowest coefficients.
template <int kWidth, int kHeight>
void plain_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    const auto value = [&](int k) { return Wide{multipliers[k]} * block[k]; };
    const Wide down = kHeight == 2 ? value(8) : 0;
    for (int y = 0; y < kHeight; ++y) {
        const Wide left = value(0) + 4 + (y ? -down : down);
        const Wide diagonal = kWidth == 2 && kHeight == 2 ? value(9) : 0;
        const Wide right = kWidth == 2 ? value(1) + (y ? -diagonal : diagonal) : 0;
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < kWidth; ++x) row[x] = to_sample(range_limit, (left + (x ? -right : right)) >> 3);
    }
}

template <int kWidth, int kHeight>
void scaled_shape(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    scaled_block<kWidth, kHeight>(range_limit, multipliers, block, kWidth, kHeight, to);
}
void shape_3x3(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    scaled_block<3, 3, kRows3, kRows3>(range_limit, multipliers, block, kColumns3, kRows3, to);
}

using ShapeFn = void (*)(const uint8_t *, const int32_t *, const int16_t *, BlockOut);
struct Shape {
    ShapeFn block;
    int width, height;
};
// In the order of IdctShape.
constexpr Shape kShapes[kIdctShapes] = {
    {islow_block, 8, 8},        {scaled_shape<8, 4>, 8, 4}, {scaled_shape<4, 8>, 4, 8}, {scaled_shape<4, 4>, 4, 4},
    {scaled_shape<4, 2>, 4, 2}, {scaled_shape<2, 4>, 2, 4}, {plain_block<2, 2>, 2, 2},  {plain_block<2, 1>, 2, 1},
    {plain_block<1, 2>, 1, 2},  {plain_block<1, 1>, 1, 1},  {shape_3x3, 3, 3}};

template <IdctShape kShape>
void scalar_run(const BlockRun &run) {
    constexpr Shape shape = kShapes[static_cast<int>(kShape)];
    for (int32_t i = 0; i < run.count; ++i) {
        shape.block(run.range_limit, run.multipliers, run.blocks[i],
                    {run.out + static_cast<ptrdiff_t>(i) * shape.width, run.stride_bytes});
    }
}

// A block on its way to rows that need not be evenly spaced.
struct Tile {
    uint8_t samples[64];
    operator BlockOut() { return {samples, 8}; }
    void copy_to(uint8_t **rows, int32_t column, int width, int height) const {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) rows[y][column + x] = samples[8 * y + x];
        }
    }
};

}  // namespace

void idct_block(IdctShape shape, const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block,
                uint8_t **rows, int32_t column) {
    const Shape &kernel = kShapes[static_cast<int>(shape)];
    Tile tile;
    kernel.block(range_limit, multipliers, block, tile);
    tile.copy_to(rows, column, kernel.width, kernel.height);
}

void idct_scaled_corner(int size, int columns, int rows, const uint8_t *range_limit, const int32_t *multipliers,
                        const int16_t *block, uint8_t **out_rows, int32_t column) {
    Tile tile;
    if (size == 8) {
        scaled_block<8, 8>(range_limit, multipliers, block, columns, rows, tile);
    } else if (size == 4) {
        scaled_block<4, 4>(range_limit, multipliers, block, columns, rows, tile);
    } else {
        tile.samples[0] = to_sample(range_limit, dequantise(multipliers[0], block[0]) >> 5);
    }
    tile.copy_to(out_rows, column, size, size);
}

void idct_halved_3x3(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, uint8_t **rows,
                     int32_t column) {
    Tile tile;
    shape_3x3(range_limit, multipliers, block, tile);
    const auto across = [&](int y, int x) { return (tile.samples[8 * y + x] + tile.samples[8 * y + x + 1]) >> 1; };
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) rows[y][column + x] = static_cast<uint8_t>((across(y, x) + across(y + 1, x)) >> 1);
    }
}

void add_scalar_scaled(KernelTable *table) {
    BlockRunFn *idct = table->idct;
    idct[static_cast<int>(IdctShape::k8x4)] = scalar_run<IdctShape::k8x4>;
    idct[static_cast<int>(IdctShape::k4x8)] = scalar_run<IdctShape::k4x8>;
    idct[static_cast<int>(IdctShape::k4x4)] = scalar_run<IdctShape::k4x4>;
    idct[static_cast<int>(IdctShape::k4x2)] = scalar_run<IdctShape::k4x2>;
    idct[static_cast<int>(IdctShape::k2x4)] = scalar_run<IdctShape::k2x4>;
    idct[static_cast<int>(IdctShape::k2x2)] = scalar_run<IdctShape::k2x2>;
    idct[static_cast<int>(IdctShape::k2x1)] = scalar_run<IdctShape::k2x1>;
    idct[static_cast<int>(IdctShape::k1x2)] = scalar_run<IdctShape::k1x2>;
    idct[static_cast<int>(IdctShape::k1x1)] = scalar_run<IdctShape::k1x1>;
    idct[static_cast<int>(IdctShape::k3x3)] = scalar_run<IdctShape::k3x3>;
}

}  // namespace vorel
