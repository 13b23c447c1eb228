// RGBA to YUV 4:2:0 in 16-bit fixed point: video range with chroma of one pixel in four, full range with mean chroma.
#ifndef VOREL_TO_YUV_SCALAR
#define VOREL_TO_YUV_SCALAR

#include "util/kernels/internal.h"
#include "util/kernels/prefetch.h"

namespace vorel {
namespace {

struct Weights {
    int32_t r, g, b;
};
constexpr int32_t kLumaRound = 32768, kChromaRound = 32767 + (128 << 16);
constexpr Weights kVideoY = {16828, 33038, 6416}, kVideoU = {-9713, -19070, 28784}, kVideoV = {28784, -24103, -4680};
constexpr Weights kFullY = {19595, 38470, 7471}, kFullU = {-11059, -21709, 32768}, kFullV = {32768, -27439, -5329};
constexpr int32_t kBlack = 16;  // what video range adds to Y

// Results need no clamp: they are convex, and the corners of the cube lie in 0..255.
int32_t weigh(const Weights &weights, const uint8_t *rgba, int32_t round) {
    return (weights.r * rgba[0] + weights.g * rgba[1] + weights.b * rgba[2] + round) >> 16;
}

[[maybe_unused]] RgbaRows rows_from(const RgbaRows &rows, int32_t x, bool planar) {
    RgbaRows rest = rows;
    for (int row = 0; row < 2; ++row) {
        rest.rgba[row] = rows.rgba[row] ? rows.rgba[row] + ptrdiff_t{x} * 4 : nullptr;
        rest.y[row] = rows.y[row] ? rows.y[row] + x : nullptr;
    }
    rest.first += planar ? x / 2 : x;
    if (planar) rest.second += x / 2;
    rest.width -= x;
    return rest;
}

template <Chroma kLayout>
void scalar_to_pairs(const RgbaRows &rows) {
    for (int32_t x = 0; x < rows.width; ++x) {
        const uint8_t *pixel = rows.rgba[0] + ptrdiff_t{x} * 4;
        for (int row = 0; row < 2 && rows.rgba[row]; ++row) {
            rows.y[row][x] =
                static_cast<uint8_t>(weigh(kVideoY, rows.rgba[row] + ptrdiff_t{x} * 4, kLumaRound) + kBlack);
        }
        if (x & 1) continue;
        rows.first[x + (kLayout == Chroma::kVu)] = static_cast<uint8_t>(weigh(kVideoU, pixel, kChromaRound));
        rows.first[x + (kLayout == Chroma::kUv)] = static_cast<uint8_t>(weigh(kVideoV, pixel, kChromaRound));
    }
}

int32_t mean(int32_t a, int32_t b) { return (a + b + 1) >> 1; }

// Of two neighbours in each row and of the rows, as far as there are two.
int32_t mean_chroma(const Weights &weights, const RgbaRows &rows, int32_t x) {
    const ptrdiff_t partner = x + 1 < rows.width ? 4 : 0;
    int32_t of_row[2] = {};
    for (int row = 0; row < 2; ++row) {
        const uint8_t *pixel = rows.rgba[rows.rgba[row] ? row : 0] + ptrdiff_t{x} * 4;
        of_row[row] = mean(weigh(weights, pixel, kChromaRound), weigh(weights, pixel + partner, kChromaRound));
    }
    return mean(of_row[0], of_row[1]);
}

void scalar_to_planes(const RgbaRows &rows) {
    for (int32_t x = 0; x < rows.width; ++x) {
        for (int row = 0; row < 2 && rows.rgba[row]; ++row) {
            rows.y[row][x] = static_cast<uint8_t>(weigh(kFullY, rows.rgba[row] + ptrdiff_t{x} * 4, kLumaRound));
        }
        if (x & 1) continue;
        rows.first[x / 2] = static_cast<uint8_t>(mean_chroma(kFullU, rows, x));
        rows.second[x / 2] = static_cast<uint8_t>(mean_chroma(kFullV, rows, x));
    }
}

}  // namespace

void add_scalar_to_yuv(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kUv)] = scalar_to_pairs<Chroma::kUv>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kVu)] = scalar_to_pairs<Chroma::kVu>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kPlanar)] = scalar_to_planes;
}

}  // namespace vorel

#endif  // VOREL_TO_YUV_SCALAR

#define VOREL_SIMD_FILE "util/kernels/to_yuv.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// The sums kR * R + kG * G + kB * B + round of pixels in 32-bit lanes. x86 multiplies 16-bit neighbours and adds them:
// R with B, G with A, whose weight is 0. A weight of 32768 is -32768 and the sample 16 bits up; a larger one is halved
// and counts twice.
template <int kR, int kG, int kB, class D32>
inline hn::Vec<D32> weighted(D32 d, hn::Vec<D32> pixels, int32_t round) {
#if HWY_ARCH_X86
    const hn::Repartition<int16_t, D32> d16;
    const auto red_blue = hn::And(pixels, hn::Set(d, 0x00FF00FF));
    const auto green = hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(hn::Repartition<uint16_t, D32>(), pixels)));
    constexpr int kGreenOnce = kG > 32767 ? kG / 2 : kG;
    constexpr int kRed16 = kR == 32768 ? -32768 : kR, kBlue16 = kB == 32768 ? -32768 : kB;
    static_assert(kG <= 32767 || kG % 2 == 0);
    auto unused = hn::Zero(d);
    auto sum = hn::Set(d, round);
    if constexpr (kR == 32768) sum = hn::Add(sum, hn::ShiftLeft<16>(red_blue));
    if constexpr (kB == 32768) sum = hn::Add(sum, hn::And(red_blue, hn::Set(d, 0x00FF0000)));
    sum = hn::ReorderWidenMulAccumulate(d, hn::BitCast(d16, red_blue),
                                        hn::BitCast(d16, hn::Set(d, kBlue16 * 65536 + (kRed16 & 0xFFFF))), sum, unused);
    const auto green_weight = hn::BitCast(d16, hn::Set(d, kGreenOnce & 0xFFFF));
    const auto product = hn::ReorderWidenMulAccumulate(d, green, green_weight, hn::Zero(d), unused);
    sum = hn::Add(sum, product);
    if constexpr (kGreenOnce != kG) sum = hn::Add(sum, product);
    return sum;
#else
    const auto byte = hn::Set(d, 0xFF);
    const auto r = hn::And(pixels, byte), g = hn::And(hn::ShiftRight<8>(pixels), byte),
               b = hn::And(hn::ShiftRight<16>(pixels), byte);
    return hn::Add(hn::Add(hn::Mul(r, hn::Set(d, kR)), hn::Mul(g, hn::Set(d, kG))),
                   hn::Add(hn::Mul(b, hn::Set(d, kB)), hn::Set(d, round)));
#endif
}

// Lanes 0 and 2 of each block of a, then those of b.
#if HWY_ARCH_X86
inline hn::Vec128<int32_t> even_lanes(hn::Vec128<int32_t> a, hn::Vec128<int32_t> b) {
    return hn::Vec128<int32_t>{
        _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0x88))};
}
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
inline hn::Vec256<int32_t> even_lanes(hn::Vec256<int32_t> a, hn::Vec256<int32_t> b) {
    return hn::Vec256<int32_t>{
        _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), 0x88))};
}
#endif
#if HWY_TARGET == HWY_AVX3
inline hn::Vec512<int32_t> even_lanes(hn::Vec512<int32_t> a, hn::Vec512<int32_t> b) {
    return hn::Vec512<int32_t>{
        _mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(a.raw), _mm512_castsi512_ps(b.raw), 0x88))};
}
#endif
#else
template <class V>
inline V even_lanes(V a, V b) {
    return hn::ConcatEven(hn::DFromV<V>(), b, a);
}
#endif

// Lanes 1 and 3 of each block of a, then those of b.
template <class V>
inline V odd_lanes(V a, V b) {
#if HWY_ARCH_X86
    return even_lanes(hn::Shuffle2301(a), hn::Shuffle2301(b));
#else
    return hn::ConcatOdd(hn::DFromV<V>(), b, a);
#endif
}

// Packing four vectors leaves, in each block, four bytes of each of them: this puts block after block of each.
struct BlockAfterBlock {
    static constexpr int32_t from(int lane, int blocks) { return 4 * (lane % blocks) + lane / blocks; }
};
template <class D8>
inline hn::Vec<D8> in_order(D8 d, hn::Vec<D8> packed) {
    return reorder_lanes<BlockAfterBlock>(d, packed);
}

// The pixels of a step, as many as D8 has lanes.
template <class D8>
struct Pixels {
    using D32 = hn::Repartition<int32_t, D8>;
    using D16 = hn::Repartition<int16_t, D8>;
    hn::Vec<D32> a, b, c, d;  // no array: compilers keep those in memory

    Pixels(D8, const uint8_t *rgba) : a(load(rgba, 0)), b(load(rgba, 1)), c(load(rgba, 2)), d(load(rgba, 3)) {}
    static hn::Vec<D32> load(const uint8_t *rgba, size_t quarter) {
        return hn::BitCast(D32(), hn::LoadU(D8(), rgba + quarter * hn::MaxLanes(D8())));
    }
    template <int kR, int kG, int kB>
    static hn::Vec<D32> shifted(hn::Vec<D32> pixels, int32_t round) {
        return hn::ShiftRight<16>(weighted<kR, kG, kB>(D32(), pixels, round));
    }
    // Weighed, in 16 bits and the order of packing.
    template <int kR, int kG, int kB>
    void weigh(int32_t round, hn::Vec<D16> *low, hn::Vec<D16> *high) const {
        *low = hold_words(D16(), shifted<kR, kG, kB>(a, round), shifted<kR, kG, kB>(b, round));
        *high = hold_words(D16(), shifted<kR, kG, kB>(c, round), shifted<kR, kG, kB>(d, round));
    }
    template <int kR, int kG, int kB>
    hn::Vec<D8> bytes(int32_t round) const {
        hn::Vec<D16> low, high;
        weigh<kR, kG, kB>(round, &low, &high);
        return in_order(D8(), pack_bytes(low, high));
    }
    // The weights of one chroma sample for the even pixels.
    template <int kR, int kG, int kB>
    hn::Vec<D16> weigh_even() const {
        return hold_words(D16(), shifted<kR, kG, kB>(even_lanes(a, b), kChromaRound),
                          shifted<kR, kG, kB>(even_lanes(c, d), kChromaRound));
    }
    template <Chroma kLayout>
    hn::Vec<D8> pairs() const {
        const auto u = weigh_even<kVideoU.r, kVideoU.g, kVideoU.b>();
        const auto v = weigh_even<kVideoV.r, kVideoV.g, kVideoV.b>();
        const auto words = kLayout == Chroma::kUv ? hn::Or(u, hn::ShiftLeft<8>(v)) : hn::Or(v, hn::ShiftLeft<8>(u));
        return in_order(D8(), hn::BitCast(D8(), words));
    }
};

// What both rows hold a few steps further on; behind their end that is the next rows' beginning.
template <class D8>
inline void prefetch_rows(D8, const RgbaRows &rows, int32_t x) {
    constexpr ptrdiff_t kAhead = 1024;
    prefetch_ahead<3>(rows.rgba[0] + ptrdiff_t{x} * 4, kAhead, 4 * hn::MaxLanes(D8()));
    if (rows.rgba[1]) prefetch_ahead<3>(rows.rgba[1] + ptrdiff_t{x} * 4, kAhead, 4 * hn::MaxLanes(D8()));
}

template <Chroma kLayout>
struct ToPairs {
    static constexpr int32_t kUnit = 2;
    const RgbaRows &rows;

    template <class D8>
    void vector(D8 d, int32_t x) const {
        constexpr int32_t kRound = kLumaRound + (kBlack << 16);
        prefetch_rows(d, rows, x);
        const Pixels<D8> top(d, rows.rgba[0] + ptrdiff_t{x} * 4);
        hn::StoreU(top.template bytes<kVideoY.r, kVideoY.g, kVideoY.b>(kRound), d, rows.y[0] + x);
        hn::StoreU(top.template pairs<kLayout>(), d, rows.first + x);
        if (!rows.rgba[1]) return;
        const Pixels<D8> bottom(d, rows.rgba[1] + ptrdiff_t{x} * 4);
        hn::StoreU(bottom.template bytes<kVideoY.r, kVideoY.g, kVideoY.b>(kRound), d, rows.y[1] + x);
    }
    void scalar(int32_t x, int32_t count) const {
        RgbaRows part = rows_from(rows, x, false);
        part.width = count;
        scalar_to_pairs<kLayout>(part);
    }
};

// Full range in 16 bits. With c = R - G and a = B - G
//     Y = G + ((19595 c + 7471 a + 32768) >> 16)
//     U = 128 + ((a - (22118 c >> 16)) >> 1)        V = 128 + ((c - (10658 a >> 16)) >> 1)
// exactly: the weights of a colour difference sum to 0, its greatest one is 1/2, which is the last shift, and rounding
// down twice is rounding down once.
static_assert(kFullY.r + kFullY.g + kFullY.b == 65536);
static_assert(kFullU.r + kFullU.g + kFullU.b == 0 && kFullV.r + kFullV.g + kFullV.b == 0);
static_assert(kFullU.b == 32768 && kFullV.r == 32768);
constexpr int16_t kRedInU = -2 * kFullU.r, kBlueInV = -2 * kFullV.b;

#if HWY_ARCH_X86
// The pixels of a vector, one in each 32 bits. What 16-bit sums carry beyond a byte is left in them: less has to be
// cleared in the end.
template <class D8>
struct FullRange {
    using D16 = hn::Repartition<int16_t, D8>;
    using D32 = hn::Repartition<int32_t, D8>;
    hn::Vec<D16> y;   // in the lower byte of the upper half
    hn::Vec<D16> vu;  // in the lower byte of each half 128 - V and 128 - U

    static hn::Vec<D16> words(int32_t low, int32_t high) {
        return hn::BitCast(D16(), hn::Set(D32(), high * 65536 + (low & 0xFFFF)));
    }
    explicit FullRange(hn::Vec<D8> pixels) {
        alignas(16) static constexpr uint8_t kGreenFirst[16] = {1, 0, 1, 2, 5, 4, 5, 6, 9, 8, 9, 10, 13, 12, 13, 14};
        alignas(16) static constexpr uint8_t kOtherHalf[16] = {2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13};
        const D8 d;
        const D16 d16;
        const hn::Repartition<uint16_t, D8> d16u;
        const auto grgb = hn::TableLookupBytes(pixels, hn::LoadDup128(d, kGreenFirst));
        // -c and -a.
        const auto negative = multiply_bytes(grgb, hn::BitCast(d, hn::Set(d16, -256 + 1)));
        // -(x >> 1) is (1 - x) >> 1.
        const auto others = hn::TableLookupBytes(hn::MulHigh(negative, words(-kRedInU, -kBlueInV)),
                                                 hn::BitCast(d16, hn::LoadDup128(d, kOtherHalf)));
        vu = hn::BitCast(d16, hn::AverageRound(hn::BitCast(d16u, negative), hn::BitCast(d16u, others)));
        auto unused = hn::Zero(D32());
        const auto weighed = hn::ReorderWidenMulAccumulate(D32(), negative, words(-kFullY.r, -kFullY.b),
                                                           hn::Set(D32(), kLumaRound), unused);
        y = hn::Add(hn::BitCast(d16, weighed), hn::BitCast(d16, grgb));
    }
};

// The lower bytes of 16-bit lanes, those of `even` in the even bytes.
template <class D8, class V>
inline hn::Vec<D8> lower_bytes(D8 d, V even, V odd) {
    return hn::OddEven(hn::BitCast(d, hn::ShiftLeft<8>(odd)), hn::BitCast(d, even));
}

// Two vectors of pixels that lie two vectors apart: in each 32 bits a pixel of each.
template <class D8>
struct FullRangePair {
    hn::Vec<hn::Repartition<int16_t, D8>> y;  // in the lower byte of each half
    hn::Vec<D8> vu;                           // V, V, U, U

    FullRangePair(D8 d, const uint8_t *rgba) {
        using D16 = hn::Repartition<int16_t, D8>;
        using D32 = hn::Repartition<uint32_t, D8>;
        const FullRange<D8> first(hn::LoadU(d, rgba)), second(hn::LoadU(d, rgba + 2 * hn::MaxLanes(D8())));
        y = hn::OddEven(second.y, hn::BitCast(D16(), hn::ShiftRight<16>(hn::BitCast(D32(), first.y))));
        vu = hn::Sub(hn::Set(d, 128), lower_bytes(d, first.vu, second.vu));
    }
};

// A step of one row. Luma is stored; what stays is chroma, each sample the mean of two neighbours.
template <class D8>
struct FullRangeRow {
    hn::Vec<D8> vu;  // the first pair's and the second's in turns

    FullRangeRow(D8 d, const uint8_t *rgba, uint8_t *y) {
        using D32 = hn::Repartition<int32_t, D8>;
        using D64 = hn::Repartition<uint64_t, D8>;
        const FullRangePair<D8> first(d, rgba);
        const auto even = hn::AverageRound(first.vu, hn::BitCast(d, hn::ShiftRight<32>(hn::BitCast(D64(), first.vu))));
        const FullRangePair<D8> second(d, rgba + hn::MaxLanes(D8()));
        const auto odd = hn::AverageRound(second.vu, hn::BitCast(d, hn::ShiftLeft<32>(hn::BitCast(D64(), second.vu))));
        vu = hn::BitCast(d, hn::OddEven(hn::BitCast(D32(), odd), hn::BitCast(D32(), even)));
        alignas(16) static constexpr uint8_t kFours[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
        const auto luma = hn::TableLookupBytes(lower_bytes(d, first.y, second.y), hn::LoadDup128(d, kFours));
        hn::StoreU(in_order(d, luma), d, y);
    }
    void average(const FullRangeRow &other) { vu = hn::AverageRound(vu, other.vu); }
    void store(D8 d, uint8_t *u, uint8_t *v) const {
        // Each block's V, then its U: of a, b, c and d two each. Then all blocks' V of a and b, ...
        alignas(16) static constexpr uint8_t kApart[16] = {0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15};
        auto planes = in_order(d, hn::TableLookupBytes(vu, hn::LoadDup128(d, kApart)));
        alignas(16) static constexpr uint8_t kTwoBlocks[16] = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};
        alignas(16) static constexpr uint8_t kFourBlocks[16] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
        constexpr size_t kBlocks = hn::MaxLanes(D8()) / 16;
        if (kBlocks > 1)
            planes = hn::TableLookupBytes(planes, hn::LoadDup128(d, kBlocks == 2 ? kTwoBlocks : kFourBlocks));
        const hn::Half<D8> half;
        hn::StoreU(hn::LowerHalf(half, planes), half, v);
        hn::StoreU(hn::UpperHalf(half, planes), half, u);
    }
};
#else
// Eight pixels. The doubling product's upper half is that of twice the weight; the subtraction that halves is the last
// shift.
struct FullRangeEight {
    uint8x8_t y;
    int8x8_t u, v;  // less 128

    FullRangeEight(uint8x8_t r, uint8x8_t g, uint8x8_t b) {
        const int16x8_t c = vreinterpretq_s16_u16(vsubl_u8(r, g)), a = vreinterpretq_s16_u16(vsubl_u8(b, g));
        const int16x8_t weighed =
            vcombine_s16(weigh(vget_low_s16(c), vget_low_s16(a)), weigh(vget_high_s16(c), vget_high_s16(a)));
        y = vmovn_u16(vaddw_u8(vreinterpretq_u16_s16(weighed), g));
        u = vmovn_s16(vhsubq_s16(a, vqdmulhq_n_s16(c, kRedInU / 2)));
        v = vmovn_s16(vhsubq_s16(c, vqdmulhq_n_s16(a, kBlueInV / 2)));
    }
    static int16x4_t weigh(int16x4_t c, int16x4_t a) {
        return vrshrn_n_s32(vmlal_n_s16(vmull_n_s16(c, kFullY.r), a, kFullY.b), 16);
    }
};

// A step of one row. Luma is stored; what stays is chroma, each sample the mean of two neighbours.
template <class D8>
struct FullRangeRow {
    uint8x8_t u, v;

    FullRangeRow(D8 d, const uint8_t *rgba, uint8_t *y) {
        hn::Vec<D8> r, g, b, alpha;
        hn::LoadInterleaved4(d, rgba, r, g, b, alpha);
        const FullRangeEight low(vget_low_u8(r.raw), vget_low_u8(g.raw), vget_low_u8(b.raw));
        const FullRangeEight high(vget_high_u8(r.raw), vget_high_u8(g.raw), vget_high_u8(b.raw));
        vst1q_u8(y, vcombine_u8(low.y, high.y));
        u = neighbours(low.u, high.u);
        v = neighbours(low.v, high.v);
    }
    static uint8x8_t neighbours(int8x8_t low, int8x8_t high) {
        const uint8x16_t bytes = veorq_u8(vreinterpretq_u8_s8(vcombine_s8(low, high)), vdupq_n_u8(128));
        return vrshrn_n_u16(vpaddlq_u8(bytes), 1);
    }
    void average(const FullRangeRow &other) {
        u = vrhadd_u8(u, other.u);
        v = vrhadd_u8(v, other.v);
    }
    void store(D8, uint8_t *u_out, uint8_t *v_out) const {
        vst1_u8(u_out, u);
        vst1_u8(v_out, v);
    }
};
#endif

struct ToPlanes {
    static constexpr int32_t kUnit = 2;
    const RgbaRows rows;  // not a reference: bytes are stored, and those could be its own

    template <class D8>
    void vector(D8 d, int32_t x) const {
        prefetch_rows(d, rows, x);
        FullRangeRow<D8> chroma(d, rows.rgba[0] + ptrdiff_t{x} * 4, rows.y[0] + x);
        if (rows.rgba[1]) chroma.average({d, rows.rgba[1] + ptrdiff_t{x} * 4, rows.y[1] + x});
        chroma.store(d, rows.first + x / 2, rows.second + x / 2);
    }
    void scalar(int32_t x, int32_t count) const {
        RgbaRows part = rows_from(rows, x, true);
        part.width = count;
        scalar_to_planes(part);
    }
};

template <Chroma kLayout>
void to_pairs(const RgbaRows &rows) {
    sweep(ToPairs<kLayout>{rows}, rows.width);
}
void to_planes(const RgbaRows &rows) { sweep(ToPlanes{rows}, rows.width); }

void add_to_yuv(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kUv)] = to_pairs<Chroma::kUv>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kVu)] = to_pairs<Chroma::kVu>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kPlanar)] = to_planes;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_to_yuv(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_to_yuv(table));
}

}  // namespace vorel
#endif
