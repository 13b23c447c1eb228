// Blocks of coefficients and the samples they stand for, by the definition.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "jpeg/decoder/kernels/kernels.h"
#include "support/twins.h"

namespace vorel::test {

extern const uint8_t kZigzag[64];  // position in a scan -> natural order

struct ShapeSize {
    IdctShape shape;
    const char *name;
    int width, height;
};
constexpr ShapeSize kShapeSizes[] = {
    {IdctShape::k8x8, "8x8", 8, 8}, {IdctShape::k8x4, "8x4", 8, 4}, {IdctShape::k4x8, "4x8", 4, 8},
    {IdctShape::k4x4, "4x4", 4, 4}, {IdctShape::k4x2, "4x2", 4, 2}, {IdctShape::k2x4, "2x4", 2, 4},
    {IdctShape::k2x2, "2x2", 2, 2}, {IdctShape::k2x1, "2x1", 2, 1}, {IdctShape::k1x2, "1x2", 1, 2},
    {IdctShape::k1x1, "1x1", 1, 1}, {IdctShape::k3x3, "3x3", 3, 3}};

struct alignas(32) Block {
    int16_t c[64] = {};
};
using Quant = std::array<uint16_t, 64>;

inline Quant ramp_quant() {
    Quant quant;
    for (size_t k = 0; k < 64; ++k) quant[k] = static_cast<uint16_t>(2 + k / 8 + k % 8);
    return quant;
}

// A sample of a width x height shape by its definition, in real numbers; not clamped, 128 added.
double exact_sample(const Block &block, const Quant &quant, int width, int height, int x, int y);

// Samples of one block, row by row, by the clamp or by the compressed range.
std::vector<uint8_t> transform(const KernelTable &table, const ShapeSize &size, const Block &block, const Quant &quant,
                               bool plain = true);

// A block as a forward transform of a picture gives it: coefficients that fall off, samples about in range.
Block natural_block(std::mt19937 &random, const Quant &quant, int columns, int rows, double contrast);

inline std::vector<const KernelTable *> all_tables() { return tables_of(runnable_kernels); }

}  // namespace vorel::test
