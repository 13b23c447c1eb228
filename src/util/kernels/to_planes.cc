// RGBA to planes of YUV 4:2:0: full range with mean chroma.
#ifndef VOREL_TO_PLANES_SCALAR
#define VOREL_TO_PLANES_SCALAR

#include <type_traits>
#include <utility>

#include "util/kernels/rgba_rows.h"

namespace vorel {
namespace {

constexpr Weights kFullY = {19595, 38470, 7471}, kFullU = {-11059, -21709, 32768}, kFullV = {32768, -27439, -5329};

int32_t mean(int32_t a, int32_t b) { return (a + b + 1) >> 1; }

// How four pixels' chroma becomes one: the mean of two rounded means, or their sum plus 1 and 2 in turn, divided by 4.
enum class Reduction : uint8_t { kMeans, kSum };
// Which bytes red and blue are.
enum class Order : uint8_t { kRgba, kBgra };

constexpr Weights swapped(const Weights &weights) { return {weights.b, weights.g, weights.r}; }
template <Order kOrder>
constexpr Weights ordered(const Weights &weights) {
    return kOrder == Order::kRgba ? weights : swapped(weights);
}

// Of two neighbours in each row and of the rows, as far as there are two.
template <Reduction kReduction>
int32_t reduced_chroma(const Weights &weights, const RgbaRows &rows, int32_t x) {
    const ptrdiff_t partner = x + 1 < rows.width ? 4 : 0;
    int32_t mean_of[2] = {}, sum = 0;
    for (int row = 0; row < 2; ++row) {
        const uint8_t *pixel = rows.rgba[rows.rgba[row] ? row : 0] + ptrdiff_t{x} * 4;
        const int32_t a = weigh(weights, pixel, kChromaRound), b = weigh(weights, pixel + partner, kChromaRound);
        mean_of[row] = mean(a, b);
        sum += a + b;
    }
    return kReduction == Reduction::kMeans ? mean(mean_of[0], mean_of[1]) : (sum + 1 + x / 2 % 2) >> 2;
}

template <Reduction kReduction, Order kOrder>
void scalar_to_planes(const RgbaRows &rows) {
    constexpr Weights kY = ordered<kOrder>(kFullY), kU = ordered<kOrder>(kFullU), kV = ordered<kOrder>(kFullV);
    for (int32_t x = 0; x < rows.width; ++x) {
        for (int row = 0; row < 2 && rows.rgba[row]; ++row) {
            rows.y[row][x] = static_cast<uint8_t>(weigh(kY, rows.rgba[row] + ptrdiff_t{x} * 4, kLumaRound));
        }
        if (x & 1) continue;
        rows.first[x / 2] = static_cast<uint8_t>(reduced_chroma<kReduction>(kU, rows, x));
        rows.second[x / 2] = static_cast<uint8_t>(reduced_chroma<kReduction>(kV, rows, x));
    }
}

}  // namespace

void add_scalar_to_planes(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kPlanar)] = scalar_to_planes<Reduction::kMeans, Order::kRgba>;
    table->rgba_to_sampled = scalar_to_planes<Reduction::kSum, Order::kRgba>;
    table->bgra_to_sampled = scalar_to_planes<Reduction::kSum, Order::kBgra>;
}

}  // namespace vorel

#endif  // VOREL_TO_PLANES_SCALAR

#define VOREL_SIMD_FILE "util/kernels/to_planes.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// With c = R - G and a = B - G
//     Y = (G + G + t + 1) >> 1       t = (2 * (19595 c + 7471 a)) >> 16
//     U = (B + 255 - f + 1) >> 1     f = G + (22118 c >> 16)
//     V = (R + 255 - h + 1) >> 1     h = G + (10658 a >> 16)
// exactly: the weights of luma sum to 1 and those of a colour difference to 0, whose greatest is 1/2, which is the last
// shift, and rounding down twice is rounding down once. So the last step of each is a mean of bytes: f, h and G + t are
// rounded down from weights that are not negative and sum to 1.
static_assert(kFullY.r + kFullY.g + kFullY.b == 65536);
static_assert(kFullU.r + kFullU.g + kFullU.b == 0 && kFullV.r + kFullV.g + kFullV.b == 0);
static_assert(kFullU.b == 32768 && kFullV.r == 32768);
constexpr int16_t kRedInU = -2 * kFullU.r, kBlueInV = -2 * kFullV.b;

// Whether a step of a row begins the next one. The widest vectors gain nothing by it.
template <class D8>
constexpr bool kBeginsAhead = HWY_ARCH_X86 &&hn::MaxLanes(D8()) < 64;

#if HWY_ARCH_X86
// Compilers would rather load again, as an instruction's operand, than keep a vector; loads across cache lines cost
// two.
template <class V>
inline void loaded_once(V &v) {
    auto raw = v.raw;
    asm("" : "+v"(raw));
    v.raw = raw;
}
// The lower bytes of 16-bit lanes, those of `even` in the even bytes.
template <class D8, class V>
inline hn::Vec<D8> lower_bytes(D8 d, V even, V odd) {
#if HWY_TARGET == HWY_AVX3
    if constexpr (hn::MaxLanes(D8()) == 64) {
        alignas(16) static constexpr uint8_t kUp[16] = {0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14};
        return hn::Vec<D8>{_mm512_mask_shuffle_epi8(even.raw, 0xAAAAAAAAAAAAAAAA, odd.raw, hn::LoadDup128(d, kUp).raw)};
    }
#endif
    return hn::OddEven(hn::BitCast(d, hn::ShiftLeft<8>(odd)), hn::BitCast(d, even));
}
// `to` plus `even` in the even bytes and plus `odd` in the odd ones, where no sum leaves a byte.
template <class D8, class V>
inline hn::Vec<D8> plus_bytes(D8 d, hn::Vec<D8> to, V even, V odd) {
    if constexpr (hn::MaxLanes(D8()) == 64) {
        return hn::Add(to, lower_bytes(d, even, odd));
    } else {
        const hn::Repartition<int16_t, D8> d16;
        return hn::BitCast(d, hn::Add(hn::Add(hn::BitCast(d16, to), even), hn::ShiftLeft<8>(odd)));
    }
}
// `from` less the same, where no difference leaves a byte.
template <class D8, class V>
inline hn::Vec<D8> less_bytes(D8 d, hn::Vec<D8> from, V even, V odd) {
    if constexpr (hn::MaxLanes(D8()) == 64) {
        return hn::Sub(from, lower_bytes(d, even, odd));
    } else {
        const hn::Repartition<int16_t, D8> d16;
        return hn::BitCast(d, hn::Sub(hn::Sub(hn::BitCast(d16, from), even), hn::ShiftLeft<8>(odd)));
    }
}
// The even bytes of `even` and the odd ones of `odd`. `signs` is negative in the odd bytes only: a constant that is
// there anyway, where a mask would take another register.
template <class D8>
inline hn::Vec<D8> alternate(D8, hn::Vec<D8> even, hn::Vec<D8> odd, [[maybe_unused]] hn::Vec<D8> signs) {
#if HWY_TARGET == HWY_AVX3
    return hn::OddEven(odd, even);
#else
    return hn::IfThenElse(hn::MaskFromVec(signs), odd, even);
#endif
}
// The blocks' 16-bit units, the first of all, then the second, ...: those of their lower halves to `low`, the others to
// `high`.
template <class D8>
inline void store_unit_by_unit(D8 d, hn::Vec<D8> v, uint8_t *low, uint8_t *high) {
    constexpr size_t kBlocks = hn::MaxLanes(D8()) / 16;
    const hn::Half<D8> half;
    const auto first = hn::LowerHalf(half, v), second = hn::UpperHalf(half, v);
    if constexpr (kBlocks == 1) {
        hn::StoreU(first, half, low);
        hn::StoreU(second, half, high);
    } else if constexpr (kBlocks == 2) {
        const hn::Repartition<uint16_t, hn::Half<D8>> d16;
        const auto a = hn::BitCast(d16, first), b = hn::BitCast(d16, second);
        hn::StoreU(hn::BitCast(half, hn::InterleaveLower(d16, a, b)), half, low);
        hn::StoreU(hn::BitCast(half, hn::InterleaveUpper(d16, a, b)), half, high);
    } else {
#if HWY_TARGET == HWY_AVX3
        struct Table {
            alignas(64) uint16_t index[32];
        };
        static constexpr Table kTable = [] {
            Table table = {};
            for (int i = 0; i < 32; ++i) table.index[i] = static_cast<uint16_t>(i % 4 * 8 + i / 4);
            return table;
        }();
        const hn::Repartition<uint16_t, D8> d16;
        const hn::Vec<D8> units{_mm512_permutexvar_epi16(hn::Load(d16, kTable.index).raw, v.raw)};
        hn::StoreU(hn::LowerHalf(half, units), half, low);
        hn::StoreU(hn::UpperHalf(half, units), half, high);
#endif
    }
}

// Two vectors of pixels as far as the first products: in each 32 bits a pixel of each, first and second.
template <class D8>
struct FullRangeStart {
    using D16 = hn::Repartition<int16_t, D8>;
    hn::Vec<D16> first, second;  // 2 a, 2 c
    hn::Vec<D8> green;           // G of the first and of the second, twice
    hn::Vec<D8> rrbb;            // R, R, B, B

    FullRangeStart(D8 d, const uint8_t *rgba) {
        alignas(16) static constexpr uint8_t kGreenFirst[16] = {1, 2, 1, 0, 5, 6, 5, 4, 9, 10, 9, 8, 13, 14, 13, 12};
        alignas(16) static constexpr uint8_t kGreenLast[16] = {3, 2, 1, 2, 7, 6, 5, 6, 11, 10, 9, 10, 15, 14, 13, 14};
        const D16 d16;
        // The second pixels a byte further on, so that R and B of both are a blend.
        auto pixels = hn::LoadU(d, rgba), next = hn::LoadU(d, rgba + hn::MaxLanes(D8()) - 1);
        loaded_once(pixels), loaded_once(next);
        const auto gbgr = hn::TableLookupBytes(pixels, hn::LoadDup128(d, kGreenFirst));
        const auto bgrg = hn::TableLookupBytes(next, hn::LoadDup128(d, kGreenLast));
        const auto plus_minus = hn::BitCast(d, hn::Set(d16, -2 * 256 + 2));
        first = multiply_bytes(gbgr, hn::BitCast(d, hn::Set(d16, 2 * 256 + 254)));
        second = multiply_bytes(bgrg, plus_minus);
        green = alternate(d, gbgr, bgrg, plus_minus);
        rrbb = alternate(d, pixels, next, plus_minus);
    }
};
// The other products. Of BGRA, blue stands for red, and U for V.
template <Order kOrder, class D8>
struct FullRangePair {
    using D16 = hn::Repartition<int16_t, D8>;
    using D32 = hn::Repartition<int32_t, D8>;
    hn::Vec<D32> first, second;                // t of luma, in the upper halves
    hn::Vec<D16> first_chroma, second_chroma;  // what is added to G for f and h
    hn::Vec<D8> green, rrbb;

    static hn::Vec<D16> words(int32_t low, int32_t high) {
        return hn::BitCast(D16(), hn::Set(D32(), high * 65536 + (low & 0xFFFF)));
    }
    explicit FullRangePair(const FullRangeStart<D8> &start) : green(start.green), rrbb(start.rrbb) {
        constexpr bool kRgb = kOrder == Order::kRgba;
        const auto weights = kRgb ? words(kBlueInV / 2, kRedInU / 2) : words(kRedInU / 2, kBlueInV / 2);
        first_chroma = hn::MulHigh(start.first, weights);
        second_chroma = hn::MulHigh(start.second, weights);
        const auto luma = kRgb ? words(kFullY.b, kFullY.r) : words(kFullY.r, kFullY.b);
        auto unused = hn::Zero(D32());
        first = hn::ReorderWidenMulAccumulate(D32(), start.first, luma, hn::Zero(D32()), unused);
        second = hn::ReorderWidenMulAccumulate(D32(), start.second, luma, hn::Zero(D32()), unused);
    }
    // V, V, U, U.
    hn::Vec<D32> vu(D8 d) const {
        const auto less = less_bytes(d, hn::Xor(green, hn::Set(d, 255)), first_chroma, second_chroma);
        return hn::BitCast(D32(), hn::AverageRound(rrbb, less));
    }
};

// A step of one row. Luma is stored; what stays is chroma, each sample the mean of two neighbours, rounded up, and
// whether it was. `start` is the row's, and after it that of `next`, the other row or the next step: products are begun
// before the last ones are used, for they are what a step waits for.
template <bool kStreamed, Reduction kReduction, Order kOrder, class D8>
struct FullRangeRow {
    hn::Vec<D8> vu;       // in each block two 32-bit lanes of the first pair, two of the second
    hn::Vec<D8> unequal;  // bit 0

    FullRangeRow(D8 d, FullRangeStart<D8> &start, const uint8_t *rgba, const uint8_t *next, uint8_t *y) {
        const hn::Repartition<int16_t, D8> d16;
        if constexpr (!kBeginsAhead<D8>) start = FullRangeStart<D8>(d, rgba);
        const FullRangePair<kOrder, D8> a(start);
        start = FullRangeStart<D8>(d, rgba + 2 * hn::MaxLanes(D8()));
        const auto left = a.vu(d);
        const FullRangePair<kOrder, D8> b(start);
        const auto right = b.vu(d);
        const auto even = upper_halves(d16, a.first, b.first), odd = upper_halves(d16, a.second, b.second);
        const auto green = hn::BitCast(d, hn::OddEven(hn::BitCast(d16, b.green), hn::BitCast(d16, a.green)));
        if constexpr (kBeginsAhead<D8>) start = FullRangeStart<D8>(d, next);
        const auto luma = hn::AverageRound(green, plus_bytes(d, green, even, odd));
        alignas(16) static constexpr uint8_t kFours[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
        const auto bytes = in_order(d, hn::TableLookupBytes(luma, hn::LoadDup128(d, kFours)));
        if constexpr (kStreamed) {
            stream_blocks(d, bytes, y);
        } else {
            hn::StoreU(bytes, d, y);
        }
        const auto evens = hn::BitCast(d, every_other<0>(left, right)),
                   odds = hn::BitCast(d, every_other<1>(left, right));
        vu = hn::AverageRound(evens, odds);
        unequal = hn::Xor(evens, odds);
    }
    // With the other row.
    void reduce(D8 d, const FullRangeRow &other) {
        const auto mean = hn::AverageRound(vu, other.vu);
        if constexpr (kReduction == Reduction::kSum) {
            // What the three roundings made too much: by one where the last one rounded and, for the bias of 1, which
            // even samples have, where both others did; for that of 2 only if one of them did.
            const hn::Repartition<uint32_t, D8> d32;
            const auto last = hn::Xor(vu, other.vu);
            const auto even = hn::BitCast(d32, hn::Or(last, hn::And(unequal, other.unequal)));
            const auto odd = hn::BitCast(d32, hn::And(last, hn::Or(unequal, other.unequal)));
            vu = hn::Sub(mean, hn::And(hn::BitCast(d, hn::OddEven(odd, even)), hn::Set(d, 1)));
        } else {
            vu = mean;
        }
    }
    void store(D8 d, uint8_t *u, uint8_t *v) const {
        // Each block's V, then its U: of four vectors of pixels two each. Then the first vector's of all blocks, ...
        alignas(16) static constexpr uint8_t kApart[16] = {0, 4, 1, 5, 8, 12, 9, 13, 2, 6, 3, 7, 10, 14, 11, 15};
        constexpr bool kRgb = kOrder == Order::kRgba;
        store_unit_by_unit(d, hn::TableLookupBytes(vu, hn::LoadDup128(d, kApart)), kRgb ? v : u, kRgb ? u : v);
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

// What x86 begins ahead.
template <class D8>
struct FullRangeStart {
    FullRangeStart(D8, const uint8_t *) {}
};

// A step of one row. Luma is stored; what stays is chroma, each sample the mean or the sum of two neighbours.
template <bool kStreamed, Reduction kReduction, Order kOrder, class D8>
struct FullRangeRow {
    static constexpr bool kSum = kReduction == Reduction::kSum;
    std::conditional_t<kSum, uint16x8_t, uint8x8_t> u, v;

    FullRangeRow(D8 d, const FullRangeStart<D8> &, const uint8_t *rgba, const uint8_t *, uint8_t *y) {
        hn::Vec<D8> r, g, b, alpha;
        hn::LoadInterleaved4(d, rgba, r, g, b, alpha);
        if constexpr (kOrder == Order::kBgra) std::swap(r, b);
        const FullRangeEight low(vget_low_u8(r.raw), vget_low_u8(g.raw), vget_low_u8(b.raw));
        const FullRangeEight high(vget_high_u8(r.raw), vget_high_u8(g.raw), vget_high_u8(b.raw));
        vst1q_u8(y, vcombine_u8(low.y, high.y));
        u = neighbours(low.u, high.u);
        v = neighbours(low.v, high.v);
    }
    static auto neighbours(int8x8_t low, int8x8_t high) {
        const uint16x8_t sums = vpaddlq_u8(veorq_u8(vreinterpretq_u8_s8(vcombine_s8(low, high)), vdupq_n_u8(128)));
        if constexpr (kSum) {
            return sums;
        } else {
            return vrshrn_n_u16(sums, 1);
        }
    }
    void reduce(D8, const FullRangeRow &other) {
        if constexpr (kSum) {
            const uint16x8_t bias = vreinterpretq_u16_u32(vdupq_n_u32(2 << 16 | 1));
            u = vaddq_u16(vaddq_u16(u, other.u), bias);
            v = vaddq_u16(vaddq_u16(v, other.v), bias);
        } else {
            u = vrhadd_u8(u, other.u);
            v = vrhadd_u8(v, other.v);
        }
    }
    void store(D8, uint8_t *u_out, uint8_t *v_out) const {
        if constexpr (kSum) {
            vst1_u8(u_out, vshrn_n_u16(u, 2));
            vst1_u8(v_out, vshrn_n_u16(v, 2));
        } else {
            vst1_u8(u_out, u);
            vst1_u8(v_out, v);
        }
    }
};
#endif

template <bool kStreamed, Reduction kReduction, Order kOrder>
struct ToPlanes {
    static constexpr int32_t kUnit = kReduction == Reduction::kSum ? 4 : 2;  // biases come in pairs
    const RgbaRows rows;  // not a reference: bytes are stored, and those could be its own

    template <class D8>
    void vector(D8 d, int32_t x) const {
        FullRangeStart<D8> start(d, rows.rgba[0] + ptrdiff_t{x} * 4);
        step(d, x, x, start);
    }
    template <class D8>
    void step(D8 d, int32_t x, int32_t next, FullRangeStart<D8> &start) const {
        prefetch_rows(rows, x, hn::MaxLanes(d));
        const uint8_t *top = rows.rgba[0] + ptrdiff_t{x} * 4, *bottom = rows.rgba[1] + ptrdiff_t{x} * 4;
        FullRangeRow<kStreamed, kReduction, kOrder, D8> chroma(d, start, top, bottom, rows.y[0] + x);
        chroma.reduce(d, {d, start, bottom, rows.rgba[0] + ptrdiff_t{next} * 4, rows.y[1] + x});
        chroma.store(d, rows.first + x / 2, rows.second + x / 2);
    }
    void scalar(int32_t x, int32_t count) const {
        RgbaRows part = rows_from(rows, x, true);
        part.width = count;
        scalar_to_planes<kReduction, kOrder>(part);
    }
};

// As sweep(), but each step begins the next one.
template <class Row>
void sweep_ahead(const Row &row) {
    using D8 = hn::ScalableTag<uint8_t>;
    constexpr int32_t kStep = static_cast<int32_t>(hn::MaxLanes(D8()));
    const int32_t width = row.rows.width, rest = width % row.kUnit, last = width - rest - kStep;
    if (!kBeginsAhead<D8> || last < 0) return sweep(row, width);
    FullRangeStart<D8> start(D8(), row.rows.rgba[0]);
    for (int32_t x = 0, next;; x = next) {
        next = x + kStep < last ? x + kStep : last;
        row.step(D8(), x, next, start);
        if (x == last) break;
    }
    if (rest) row.scalar(width - rest, rest);
}
template <Reduction kReduction, Order kOrder>
void to_planes(const RgbaRows &rows) {
    const RgbaRows both = with_second_row(rows);
    rows.streamed ? sweep_ahead(ToPlanes<true, kReduction, kOrder>{both})
                  : sweep_ahead(ToPlanes<false, kReduction, kOrder>{both});
}

void add_to_planes(UtilKernels *table) {
    table->rgba_to_yuv[static_cast<int>(Chroma::kPlanar)] = to_planes<Reduction::kMeans, Order::kRgba>;
    table->rgba_to_sampled = to_planes<Reduction::kSum, Order::kRgba>;
    table->bgra_to_sampled = to_planes<Reduction::kSum, Order::kBgra>;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_to_planes(SimdTarget target, [[maybe_unused]] UtilKernels *table) {
    VOREL_SIMD_CALL(target, add_to_planes(table));
}

}  // namespace vorel
#endif
