// The encoder's transform in single steps, for callers that drive it themselves: samples, DCT, division.
#include <bit>

#include "jpeg/encoder/kernels/internal.h"
#include "jpeg/encoder/session.h"

using namespace vorel;

namespace {

// Eight values `stride` apart, in place; 16 bits are kept of each result.
template <typename Points>
void transform(int16_t *data, int stride, const Points &points) {
    int64_t in[8], out[8];
    for (int i = 0; i < 8; ++i) in[i] = data[i * stride];
    points(in, out);
    for (int i = 0; i < 8; ++i) data[i * stride] = static_cast<int16_t>(out[i]);
}
template <typename First, typename Second>
void transform_block(int16_t *data, const First &rows, const Second &columns) {
    for (int y = 0; y < 8; ++y) transform(data + 8 * y, 1, rows);
    for (int x = 0; x < 8; ++x) transform(data + x, 8, columns);
}

// The scaled transform of Arai, Agui and Nakajima in 8-bit fixed point, truncated: coefficients carry factors that a
// divisor table for it has to take off.
constexpr int64_t k0_382 = 98, k0_541_short = 139, k0_707 = 181, k1_306 = 334;
void scaled_points(const int64_t *in, int64_t *out) {
    const auto times = [](int64_t value, int64_t factor) { return value * factor >> 8; };
    int64_t sum[4], difference[4];
    for (int i = 0; i < 4; ++i) sum[i] = in[i] + in[7 - i], difference[i] = in[i] - in[7 - i];

    const int64_t outer = sum[0] + sum[3], inner = sum[1] + sum[2];
    out[0] = outer + inner;
    out[4] = outer - inner;
    const int64_t rest = sum[0] - sum[3], turned = times(sum[1] - sum[2] + rest, k0_707);
    out[2] = rest + turned;
    out[6] = rest - turned;

    const int64_t last = difference[3] + difference[2], middle = difference[2] + difference[1],
                  first = difference[1] + difference[0];
    const int64_t shared = times(last - first, k0_382);
    const int64_t low = times(last, k0_541_short) + shared, high = times(first, k1_306) + shared;
    const int64_t centre = times(middle, k0_707);
    const int64_t plus = difference[0] + centre, minus = difference[0] - centre;
    out[5] = minus + low;
    out[3] = minus - low;
    out[1] = plus + high;
    out[7] = plus - high;
}

}  // namespace

extern "C" {

int32_t flss(uint16_t value) { return std::bit_width(value); }

int32_t compute_reciprocal(uint16_t divisor, uint16_t *entry) {
    if (divisor == 0) return 0;
    int32_t shift = flss(divisor) + 15;
    const uint32_t power = uint32_t{1} << shift, rest = power % divisor;
    uint32_t reciprocal = power / divisor, correction = divisor / 2u;
    if (rest == 0) {
        reciprocal /= 2;
        --shift;
    } else if (rest <= correction) {
        ++correction;
    } else {
        ++reciprocal;
    }
    entry[0] = static_cast<uint16_t>(reciprocal);
    entry[64] = static_cast<uint16_t>(correction);
    entry[128] = static_cast<uint16_t>(uint64_t{1} << (32 - shift));
    entry[192] = static_cast<uint16_t>(shift - 16);
    return 1;
}

void convsamp(uint8_t **sampleRows, uint32_t startColumn, int16_t *workspace) {
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) *workspace++ = static_cast<int16_t>(sampleRows[y][startColumn + x] - 128);
    }
}

void vjpeg_fdct_islow(int16_t *data) {
    transform_block(data, forward_points<kForwardFirst, int64_t>, forward_points<kForwardSecond, int64_t>);
}

void vjpeg_fdct_ifast(int16_t *data) { transform_block(data, scaled_points, scaled_points); }

void quantize(int16_t *coefBlock, const uint16_t *divisorTable, const int16_t *workspace) {
    for (int k = 0; k < 64; ++k) coefBlock[k] = quantise(workspace[k], divisorTable + k);
}

}  // extern "C"
