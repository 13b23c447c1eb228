// RGBA to pairs of YUV 4:2:0: BT.601 video range, chroma of one pixel in four.
#ifndef VOREL_TO_PAIRS_SCALAR
#define VOREL_TO_PAIRS_SCALAR

#include "util/kernels/rgba_rows.h"

namespace vorel {
namespace {

constexpr Weights kVideoY = {16828, 33038, 6416}, kVideoU = {-9713, -19070, 28784}, kVideoV = {28784, -24103, -4680};
constexpr int32_t kBlack = 16;  // what video range adds to Y

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

// The weights in the two steps in which x86 multiplies, each of which adds neighbours: bytes by signed bytes to 16
// bits, those to 32. A pixel's bytes are R, G, G, B there:
//     outer[0] * (inner[0] * R + inner[1] * G) + outer[1] * (inner[2] * G + inner[3] * B)
struct Factors {
    int32_t inner[4], outer[2];

    constexpr bool make(const Weights &weights) const {
        return weights == Weights{outer[0] * inner[0], outer[0] * inner[1] + outer[1] * inner[2], outer[1] * inner[3]};
    }
    // Each in its signed range, twice `outer` too, and so are sums of two products with bytes.
    constexpr bool fit() const {
        for (int i = 0; i < 4; ++i) {
            const int32_t with_next = i % 2 ? 0 : inner[i] + inner[i + 1];
            if (inner[i] != static_cast<int8_t>(inner[i]) || !is_short(255 * inner[i]) || !is_short(255 * with_next))
                return false;
        }
        return is_short(2 * outer[0]) && is_short(2 * outer[1]);
    }
    static constexpr bool is_short(int32_t value) { return value == static_cast<int16_t>(value); }
};
constexpr Factors kYFactors = {{28, 89, -51, 16}, {601, 401}};
constexpr Factors kUFactors = {{-11, -28, 11, 56}, {883, 514}};
constexpr Factors kVFactors = {{112, -95, 8, -120}, {257, 39}};
static_assert(kYFactors.make(kVideoY) && kUFactors.make(kVideoU) && kVFactors.make(kVideoV));
static_assert(kYFactors.fit() && kUFactors.fit() && kVFactors.fit());

}  // namespace

void add_scalar_to_pairs(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kUv)] = scalar_to_pairs<Chroma::kUv>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kVu)] = scalar_to_pairs<Chroma::kVu>;
}

}  // namespace vorel

#endif  // VOREL_TO_PAIRS_SCALAR

#define VOREL_SIMD_FILE "util/kernels/to_pairs.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

#if HWY_ARCH_X86
// The pixels of a step, as many as D8 has lanes, each R, G, G, B.
template <class D8>
struct Pixels {
    using D32 = hn::Repartition<int32_t, D8>;
    using D16 = hn::Repartition<int16_t, D8>;
    hn::Vec<D8> a, b, c, d;  // no array: compilers keep those in memory

    Pixels(D8, const uint8_t *rgba) : a(load(rgba, 0)), b(load(rgba, 1)), c(load(rgba, 2)), d(load(rgba, 3)) {}
    static hn::Vec<D8> load(const uint8_t *rgba, size_t quarter) {
        alignas(16) static constexpr uint8_t kGreenTwice[16] = {0, 1, 1, 2, 4, 5, 5, 6, 8, 9, 9, 10, 12, 13, 13, 14};
        return hn::TableLookupBytes(hn::LoadU(D8(), rgba + quarter * hn::MaxLanes(D8())),
                                    hn::LoadDup128(D8(), kGreenTwice));
    }
    // The weighted sums, times kScale.
    template <int kScale>
    static hn::Vec<D32> weighed(hn::Vec<D8> pixels, const Factors &factors) {
        const auto &in = factors.inner;
        const int32_t low = (in[0] & 0xFF) | in[1] * 256, high = (in[2] & 0xFF) | in[3] * 256;
        const auto inner = hn::BitCast(D8(), hn::Set(D32(), (low & 0xFFFF) | high * 65536));
        const auto outer = hn::BitCast(D16(), hn::Set(D32(), kScale * (factors.outer[0] + factors.outer[1] * 65536)));
        auto unused = hn::Zero(D32());
        return hn::ReorderWidenMulAccumulate(D32(), multiply_bytes(pixels, inner), outer, hn::Zero(D32()), unused);
    }
    // Two vectors' luma in 16 bits, by turns. The upper half of twice the sum has one bit below the point, and a mean
    // rounds it: (x + 2 * kBlack + 1) >> 1.
    static hn::Vec<D16> luma_of(hn::Vec<D8> even, hn::Vec<D8> odd) {
        const hn::Repartition<uint16_t, D8> du16;
        const auto doubled = upper_halves(D16(), weighed<2>(even, kYFactors), weighed<2>(odd, kYFactors));
        return hn::BitCast(D16(), hn::AverageRound(hn::BitCast(du16, doubled), hn::Set(du16, 2 * kBlack)));
    }
    hn::Vec<D8> luma() const {
        // In each block four pixels of a by turns with four of b, then c and d.
        alignas(16) static constexpr uint8_t kFours[16] = {0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15};
        const auto packed = pack_bytes(luma_of(a, b), luma_of(c, d));
        return in_order(D8(), hn::TableLookupBytes(packed, hn::LoadDup128(D8(), kFours)));
    }
    // The chroma pairs of pixels, in 16 bits each.
    template <Chroma kLayout>
    static hn::Vec<D16> chroma_of(hn::Vec<D8> pixels) {
        const auto round = hn::Set(D32(), kChromaRound);
        const auto u = hn::Add(weighed<1>(pixels, kUFactors), round);
        const auto v = hn::Add(weighed<1>(pixels, kVFactors), round);
        return kLayout == Chroma::kUv ? upper_halves(D16(), u, v) : upper_halves(D16(), v, u);
    }
    // Of the even pixels.
    template <Chroma kLayout>
    hn::Vec<D8> pairs() const {
        const auto low = hn::BitCast(D8(), every_other<0>(hn::BitCast(D32(), a), hn::BitCast(D32(), b)));
        const auto high = hn::BitCast(D8(), every_other<0>(hn::BitCast(D32(), c), hn::BitCast(D32(), d)));
        return in_order(D8(), pack_bytes(chroma_of<kLayout>(low), chroma_of<kLayout>(high)));
    }
};
#else
// The pixels of a step, as many as D8 has lanes.
template <class D8>
struct Pixels {
    using D32 = hn::Repartition<int32_t, D8>;
    using D16 = hn::Repartition<int16_t, D8>;
    hn::Vec<D32> a, b, c, d;

    Pixels(D8, const uint8_t *rgba) : a(load(rgba, 0)), b(load(rgba, 1)), c(load(rgba, 2)), d(load(rgba, 3)) {}
    static hn::Vec<D32> load(const uint8_t *rgba, size_t quarter) {
        return hn::BitCast(D32(), hn::LoadU(D8(), rgba + quarter * hn::MaxLanes(D8())));
    }
    static hn::Vec<D32> weighed(hn::Vec<D32> pixels, const Weights &weights, int32_t round) {
        const D32 d32;
        const auto byte = hn::Set(d32, 0xFF);
        const auto red = hn::And(pixels, byte), green = hn::And(hn::ShiftRight<8>(pixels), byte),
                   blue = hn::And(hn::ShiftRight<16>(pixels), byte);
        const auto sum =
            hn::Add(hn::Add(hn::Mul(red, hn::Set(d32, weights.r)), hn::Mul(green, hn::Set(d32, weights.g))),
                    hn::Add(hn::Mul(blue, hn::Set(d32, weights.b)), hn::Set(d32, round)));
        return hn::ShiftRight<16>(sum);
    }
    static hn::Vec<D16> words(hn::Vec<D32> low, hn::Vec<D32> high, const Weights &weights, int32_t round) {
        return hold_words(D16(), weighed(low, weights, round), weighed(high, weights, round));
    }
    hn::Vec<D8> luma() const {
        constexpr int32_t kRound = kLumaRound + (kBlack << 16);
        return in_order(D8(), pack_bytes(words(a, b, kVideoY, kRound), words(c, d, kVideoY, kRound)));
    }
    // Of the even pixels.
    template <Chroma kLayout>
    hn::Vec<D8> pairs() const {
        const auto low = every_other<0>(a, b), high = every_other<0>(c, d);
        const auto u = words(low, high, kVideoU, kChromaRound), v = words(low, high, kVideoV, kChromaRound);
        const auto both = kLayout == Chroma::kUv ? hn::Or(u, hn::ShiftLeft<8>(v)) : hn::Or(v, hn::ShiftLeft<8>(u));
        return in_order(D8(), hn::BitCast(D8(), both));
    }
};
#endif

template <Chroma kLayout, bool kStreamed>
struct ToPairs {
    static constexpr int32_t kUnit = 2;
    const RgbaRows rows;  // not a reference: bytes are stored, and those could be its own

    template <class D8>
    void vector(D8 d, int32_t x) const {
        prefetch_rows(rows, x, hn::MaxLanes(d));
        const Pixels<D8> top(d, rows.rgba[0] + ptrdiff_t{x} * 4);
        store_luma(d, top.luma(), rows.y[0] + x);
        hn::StoreU(top.template pairs<kLayout>(), d, rows.first + x);
        const Pixels<D8> bottom(d, rows.rgba[1] + ptrdiff_t{x} * 4);
        store_luma(d, bottom.luma(), rows.y[1] + x);
    }
    template <class D8>
    static void store_luma(D8 d, hn::Vec<D8> luma, uint8_t *y) {
        if constexpr (kStreamed) {
            stream_blocks(d, luma, y);
        } else {
            hn::StoreU(luma, d, y);
        }
    }
    void scalar(int32_t x, int32_t count) const {
        RgbaRows part = rows_from(rows, x, false);
        part.width = count;
        scalar_to_pairs<kLayout>(part);
    }
};

template <Chroma kLayout>
void to_pairs(const RgbaRows &rows) {
    const RgbaRows both = with_second_row(rows);
    rows.streamed ? sweep(ToPairs<kLayout, true>{both}, rows.width) : sweep(ToPairs<kLayout, false>{both}, rows.width);
}

void add_to_pairs(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kUv)] = to_pairs<Chroma::kUv>;
    table->rgba_to_yuv[static_cast<int>(Chroma::kVu)] = to_pairs<Chroma::kVu>;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_to_pairs(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_to_pairs(table));
}

}  // namespace vorel
#endif
