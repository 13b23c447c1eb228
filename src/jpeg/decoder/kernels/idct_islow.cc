// The full-size inverse DCT: the accurate integer transform of Loeffler, Ligtenberg and Moschytz in 13-bit fixed point,
// columns then rows, as T.81's reference decoders have it.
#include <cstring>

#include "jpeg/decoder/kernels/room.h"

namespace vorel {
namespace {

// Dequantised coefficients and the first pass's results are held to 16 bits: no valid picture comes near, and the vector
// twin works on 16-bit lanes. So no sum of a pass exceeds 31 bits: the even part is at most (2 * 8192 + 10703 + 4433) *
// 2^15, the odd one (11363 + 9633 + 6437 + 2260) * 2^15, together below 2.01e9.
int32_t hold16(int64_t value) {
    return static_cast<int32_t>(value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value);
}

// Constants of the flow graph, round(8192 x), multiplied out to what each input adds to each output.
constexpr int32_t k0_298 = 2446, k0_390 = 3196, k0_541 = 4433, k0_765 = 6270, k0_899 = 7373, k1_175 = 9633,
                  k1_501 = 12299, k1_847 = 15137, k1_961 = 16069, k2_053 = 16819, k2_562 = 20995, k3_072 = 25172;
constexpr int32_t kEven2 = k0_541 + k0_765, kEven6 = k0_541 - k1_847;  // input 2 to 0, input 6 to 1
constexpr int32_t kOdd[4][4] = {
    // Output 0 and 7, 1 and 6, 2 and 5, 3 and 4 from inputs 1, 3, 5, 7.
    {k1_501 - k0_899 - k0_390 + k1_175, k1_175, k1_175 - k0_390, k1_175 - k0_899},
    {k1_175, k3_072 - k2_562 - k1_961 + k1_175, k1_175 - k2_562, k1_175 - k1_961},
    {k1_175 - k0_390, k1_175 - k2_562, k2_053 - k2_562 - k0_390 + k1_175, k1_175},
    {k1_175 - k0_899, k1_175 - k1_961, k1_175, k0_298 - k0_899 - k1_961 + k1_175}};

constexpr int kFirstShift = 11;   // 13 bits of the constants, 2 of them kept as fraction
constexpr int kSecondShift = 18;  // 13, the 2 kept, and 3 for the transform's factor 8

// Eight points, `out` still scaled by 8192.
void islow_points(const int32_t *in, int32_t *out) {
    const int32_t sum = (in[0] + in[4]) * 8192, difference = (in[0] - in[4]) * 8192;
    const int32_t outer = in[2] * kEven2 + in[6] * k0_541, inner = in[2] * k0_541 + in[6] * kEven6;
    const int32_t even[4] = {sum + outer, difference + inner, difference - inner, sum - outer};
    for (int i = 0; i < 4; ++i) {
        const int32_t odd = in[1] * kOdd[i][0] + in[3] * kOdd[i][1] + in[5] * kOdd[i][2] + in[7] * kOdd[i][3];
        out[i] = even[i] + odd;
        out[7 - i] = even[i] - odd;
    }
}

constexpr int32_t descale(int32_t value, int shift) { return (value + (1 << (shift - 1))) >> shift; }

void fill_block(uint8_t sample, BlockOut to) {
    for (int y = 0; y < 8; ++y) std::memset(to.out + y * to.stride_bytes, sample, 8);
}

// Both passes of a block that has nothing but its DC come down to one rounding shift.
uint8_t constant_sample(const uint8_t *range_limit, int32_t multiplier, int16_t dc) {
    return to_sample(range_limit, (hold16(int64_t{multiplier} * dc) + 4) >> 3);
}

void scalar_islow_run(const BlockRun &run) {
    for (int32_t i = 0; i < run.count; ++i) {
        const BlockOut to = {run.out + static_cast<ptrdiff_t>(i) * 8, run.stride_bytes};
        if (run.last[i] == 0) {
            fill_block(constant_sample(run.range_limit, run.multipliers[0], run.blocks[i][0]), to);
        } else {
            islow_block(run.range_limit, run.multipliers, run.blocks[i], to);
        }
    }
}

}  // namespace

void islow_block(const uint8_t *range_limit, const int32_t *multipliers, const int16_t *block, BlockOut to) {
    int32_t workspace[8][8], in[8], out[8];
    for (int x = 0; x < 8; ++x) {
        for (int v = 0; v < 8; ++v) in[v] = hold16(int64_t{multipliers[8 * v + x]} * block[8 * v + x]);
        islow_points(in, out);
        for (int y = 0; y < 8; ++y) workspace[y][x] = hold16(descale(out[y], kFirstShift));
    }
    for (int y = 0; y < 8; ++y) {
        islow_points(workspace[y], out);
        uint8_t *row = to.out + y * to.stride_bytes;
        for (int x = 0; x < 8; ++x) row[x] = to_sample(range_limit, descale(out[x], kSecondShift));
    }
}

void add_scalar_islow(KernelTable *table) { table->idct[static_cast<int>(IdctShape::k8x8)] = scalar_islow_run; }

}  // namespace vorel
