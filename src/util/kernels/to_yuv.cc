// RGBA to YUV 4:2:0 in 16-bit fixed point: video range with chroma of one pixel in four, full range with mean chroma.
#ifndef VOREL_TO_YUV_SCALAR
#define VOREL_TO_YUV_SCALAR

#include "util/kernels/room.h"

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

RgbaRows rows_from(const RgbaRows &rows, int32_t x, bool planar) {
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
        *low = hn::ReorderDemote2To(D16(), shifted<kR, kG, kB>(a, round), shifted<kR, kG, kB>(b, round));
        *high = hn::ReorderDemote2To(D16(), shifted<kR, kG, kB>(c, round), shifted<kR, kG, kB>(d, round));
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
        return hn::ReorderDemote2To(D16(), shifted<kR, kG, kB>(even_lanes(a, b), kChromaRound),
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

template <Chroma kLayout>
struct ToPairs {
    static constexpr int32_t kUnit = 2;
    const RgbaRows &rows;

    template <class D8>
    void vector(D8 d, int32_t x) const {
        constexpr int32_t kRound = kLumaRound + (kBlack << 16);
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

// A pixel's three full-range sums. x86 multiplies and adds 16-bit neighbours: red and blue, and green with what is left
// of a weight that 16 bits do not hold.
template <class D32>
struct FullRange {
    using V = hn::Vec<D32>;
    V y, u, v;

#if HWY_ARCH_X86
    template <int kFirst, int kSecond>
    static V add_products(V pairs, V sum) {
        const D32 d;
        const hn::Repartition<int16_t, D32> d16;
        auto unused = hn::Zero(d);
        return hn::ReorderWidenMulAccumulate(
            d, hn::BitCast(d16, pairs), hn::BitCast(d16, hn::Set(d, kSecond * 65536 + (kFirst & 0xFFFF))), sum, unused);
    }
    // Green in the lower half of each lane, byte `kByte` of the pixel in the upper one.
    template <int kByte>
    static V green_and(V pixels) {
        constexpr uint8_t kNone = 0x80;
        alignas(16) static constexpr uint8_t kTable[16] = {1, kNone, kByte,     kNone, 5,  kNone, kByte + 4,  kNone,
                                                           9, kNone, kByte + 8, kNone, 13, kNone, kByte + 12, kNone};
        return hn::TableLookupBytes(pixels,
                                    hn::BitCast(D32(), hn::LoadDup128(hn::Repartition<uint8_t, D32>(), kTable)));
    }
    explicit FullRange(V pixels) {
        const D32 d;
        const auto red_blue = hn::And(pixels, hn::Set(d, 0x00FF00FF));
        static_assert(kFullY.g % 2 == 0 && kFullU.b == 32768 && kFullV.r == 32768);
        y = add_products<kFullY.r, kFullY.b>(red_blue, hn::Set(d, kLumaRound));
        y = add_products<kFullY.g / 2, kFullY.g / 2>(green_and<1>(pixels), y);
        u = add_products<kFullU.r, 32767>(red_blue, hn::Set(d, kChromaRound));
        u = add_products<kFullU.g, 1>(green_and<2>(pixels), u);
        v = add_products<32767, kFullV.b>(red_blue, hn::Set(d, kChromaRound));
        v = add_products<kFullV.g, 1>(green_and<0>(pixels), v);
    }
#else
    explicit FullRange(V pixels)
        : y(weighted<kFullY.r, kFullY.g, kFullY.b>(D32(), pixels, kLumaRound)),
          u(weighted<kFullU.r, kFullU.g, kFullU.b>(D32(), pixels, kChromaRound)),
          v(weighted<kFullV.r, kFullV.g, kFullV.b>(D32(), pixels, kChromaRound)) {}
#endif
};

// Two vectors of pixels: luma in 16 bits, and the mean chroma of each two neighbours in 32.
template <class D32>
struct FullRangePairs {
    hn::Vec<hn::Repartition<int16_t, D32>> y;
    hn::Vec<hn::Repartition<uint16_t, D32>> u, v;

    FullRangePairs(hn::Vec<D32> a, hn::Vec<D32> b) {
        const hn::Repartition<int16_t, D32> d16;
        const hn::Repartition<uint16_t, D32> d16u;
        const FullRange<D32> even(even_lanes(a, b)), odd(odd_lanes(a, b));
        y = hn::OddEven(hn::BitCast(d16, odd.y), hn::BitCast(d16, hn::ShiftRight<16>(even.y)));
        u = hn::AverageRound(hn::BitCast(d16u, hn::ShiftRight<16>(even.u)),
                             hn::BitCast(d16u, hn::ShiftRight<16>(odd.u)));
        v = hn::AverageRound(hn::BitCast(d16u, hn::ShiftRight<16>(even.v)),
                             hn::BitCast(d16u, hn::ShiftRight<16>(odd.v)));
    }
};

struct ToPlanes {
    static constexpr int32_t kUnit = 2;
    const RgbaRows rows;  // not a reference: bytes are stored, and those could be its own

    template <class D8, class V>
    static void store_means(D8 d, V low, V high, uint8_t *out) {
        const hn::Half<D8> half;
        const hn::Repartition<int16_t, D8> d16;
        const hn::Repartition<int32_t, D8> d32;
        const auto means = hn::ReorderDemote2To(d16, hn::BitCast(d32, low), hn::BitCast(d32, high));
        hn::StoreU(hn::DemoteTo(half, hn::BitCast(d16, in_order(d, hn::BitCast(d, means)))), half, out);
    }
    template <class D8>
    void vector(D8 d, int32_t x) const {
        using Pairs = FullRangePairs<hn::Repartition<int32_t, D8>>;
        const Pixels<D8> top(d, rows.rgba[0] + ptrdiff_t{x} * 4);
        Pairs low(top.a, top.b), high(top.c, top.d);
        hn::StoreU(in_order(d, pack_bytes(low.y, high.y)), d, rows.y[0] + x);
        if (rows.rgba[1]) {
            const Pixels<D8> bottom(d, rows.rgba[1] + ptrdiff_t{x} * 4);
            const Pairs low2(bottom.a, bottom.b), high2(bottom.c, bottom.d);
            hn::StoreU(in_order(d, pack_bytes(low2.y, high2.y)), d, rows.y[1] + x);
            low.u = hn::AverageRound(low.u, low2.u);
            low.v = hn::AverageRound(low.v, low2.v);
            high.u = hn::AverageRound(high.u, high2.u);
            high.v = hn::AverageRound(high.v, high2.v);
        }
        store_means(d, low.u, high.u, rows.first + x / 2);
        store_means(d, low.v, high.v, rows.second + x / 2);
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

void add_vector_to_yuv(SimdTarget target, UtilKernels *table) { VOREL_SIMD_CALL(target, add_to_yuv(table)); }

}  // namespace vorel
#endif
