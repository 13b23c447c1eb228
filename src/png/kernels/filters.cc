// PNG clause 9.2: rows get their samples back from differences to the left, to the row above and to both.
#ifndef VOREL_FILTERS_SCALAR
#define VOREL_FILTERS_SCALAR

#include <cstring>

#include "png/kernels/internal.h"

namespace vorel {
namespace {

// Clause 9.4: of left, above and above left the one nearest to left + above - above left, ties in this order.
inline uint8_t paeth_predictor(int a, int b, int c) {
    const auto size_of = [](int difference) { return difference < 0 ? -difference : difference; };
    const int pa = size_of(b - c), pb = size_of(a - c), pc = size_of(a + b - 2 * c);
    return static_cast<uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Each filter as what is added to a byte, from its neighbours.
struct SubRule {
    static uint8_t of(uint8_t left, uint8_t, uint8_t) { return left; }
};
struct AverageRule {
    static uint8_t of(uint8_t left, uint8_t above, uint8_t) { return static_cast<uint8_t>((left + above) >> 1); }
};
struct PaethRule {
    static uint8_t of(uint8_t left, uint8_t above, uint8_t corner) { return paeth_predictor(left, above, corner); }
};

// From byte `from` on, a whole number of pixels; `above` may be null for rules that do not look at it.
template <class Rule, int kPixel>
void scalar_filter(uint8_t *row, const uint8_t *above, size_t from, size_t bytes) {
    uint8_t left[kPixel] = {}, corner[kPixel] = {};
    if (from) {
        std::memcpy(left, row + from - kPixel, kPixel);
        if (above) std::memcpy(corner, above + from - kPixel, kPixel);
    }
    for (size_t at = from; at < bytes; at += kPixel) {
        for (size_t i = 0; i < kPixel && at + i < bytes; ++i) {
            const uint8_t up = above ? above[at + i] : 0;
            left[i] = row[at + i] = static_cast<uint8_t>(row[at + i] + Rule::of(left[i], up, corner[i]));
            corner[i] = up;
        }
    }
}

template <class Rule>
void scalar_filter_of(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    switch (pixel) {
        case 1:
            return scalar_filter<Rule, 1>(row, above, 0, bytes);
        case 2:
            return scalar_filter<Rule, 2>(row, above, 0, bytes);
        case 3:
            return scalar_filter<Rule, 3>(row, above, 0, bytes);
        case 4:
            return scalar_filter<Rule, 4>(row, above, 0, bytes);
        case 6:
            return scalar_filter<Rule, 6>(row, above, 0, bytes);
        default:
            return scalar_filter<Rule, 8>(row, above, 0, bytes);
    }
}

void scalar_sub(uint8_t *row, size_t bytes, int pixel) { scalar_filter_of<SubRule>(row, nullptr, bytes, pixel); }
void scalar_up(uint8_t *row, const uint8_t *above, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>(row[i] + above[i]);
}
void scalar_average(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    scalar_filter_of<AverageRule>(row, above, bytes, pixel);
}
void scalar_paeth(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    scalar_filter_of<PaethRule>(row, above, bytes, pixel);
}

}  // namespace

void add_scalar_filters(PngKernels *table) {
    table->sub = scalar_sub;
    table->up = scalar_up;
    table->average = scalar_average;
    table->paeth = scalar_paeth;
}

}  // namespace vorel

#endif  // VOREL_FILTERS_SCALAR

#define VOREL_SIMD_FILE "png/kernels/filters.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

// A pixel of 3 to 8 bytes in the lanes of a small vector. Loads take all lanes, so that the last pixel of a row is left
// to the scalar twin where lanes would stand behind it; stores take the pixel's bytes.
template <int kPixel>
struct Lanes {
    static constexpr size_t kLanes = kPixel <= 4 ? 4 : 8;
    using D8 = hn::FixedTag<uint8_t, kLanes>;
    using D16 = hn::FixedTag<int16_t, kLanes>;
    using Word = std::conditional_t<kLanes == 4, uint32_t, uint64_t>;
    using V8 = hn::Vec<D8>;
    using V16 = hn::Vec<D16>;

    static V8 load(const uint8_t *from) { return hn::LoadU(D8(), from); }
    static void store(V8 pixel, uint8_t *to) {
        const Word word = hn::GetLane(hn::BitCast(hn::FixedTag<Word, 1>(), pixel));
        std::memcpy(to, &word, kPixel);
    }
    // Bytes up to which whole pixels can be loaded with all lanes.
    static size_t end(size_t bytes) {
        const size_t whole = bytes - bytes % kPixel;
        return whole < kLanes ? 0 : kPixel == kLanes ? whole : whole - kPixel;
    }
};

// Constructors are written out: GCC compiles those of its own for the base instruction set, where the vectors' cannot
// be inlined.
template <int kPixel>
struct VectorSub {
    using L = Lanes<kPixel>;
    typename L::V8 left;
    using Rule = SubRule;
    VectorSub() : left(hn::Zero(typename L::D8())) {}
    typename L::V8 next(const uint8_t *row, const uint8_t *) { return left = hn::Add(left, L::load(row)); }
};

template <int kPixel>
struct VectorAverage {
    using L = Lanes<kPixel>;
    typename L::V8 left;
    using Rule = AverageRule;
    VectorAverage() : left(hn::Zero(typename L::D8())) {}
    typename L::V8 next(const uint8_t *row, const uint8_t *above) {
        const auto up = L::load(above);
        // Rounded up, less one where the sum is odd.
        const auto odd = hn::And(hn::Xor(left, up), hn::Set(typename L::D8(), 1));
        left = hn::Add(L::load(row), hn::Sub(hn::AverageRound(left, up), odd));
        return left;
    }
};

template <int kPixel>
struct VectorPaeth {
    using L = Lanes<kPixel>;
    typename L::V16 left, corner;
    using Rule = PaethRule;
    VectorPaeth() : left(hn::Zero(typename L::D16())), corner(left) {}
    typename L::V8 next(const uint8_t *row, const uint8_t *above) {
        const typename L::D16 d;
        const auto up = hn::PromoteTo(d, L::load(above)), raw = hn::PromoteTo(d, L::load(row));
        const auto from_up = hn::Sub(up, corner), from_left = hn::Sub(left, corner);
        const auto pa = hn::Abs(from_up), pb = hn::Abs(from_left), pc = hn::Abs(hn::Add(from_up, from_left));
        const auto least = hn::Min(pc, hn::Min(pa, pb));
        const auto nearest = hn::IfThenElse(hn::Eq(least, pa), left, hn::IfThenElse(hn::Eq(least, pb), up, corner));
        left = hn::And(hn::Add(raw, nearest), hn::Set(d, 255));
        corner = up;
        return hn::DemoteTo(typename L::D8(), left);
    }
};

template <template <int> class Filter, int kPixel>
void filter_pixels(uint8_t *row, const uint8_t *above, size_t bytes) {
    using L = Lanes<kPixel>;
    const size_t end = L::end(bytes);
    Filter<kPixel> filter;
    for (size_t at = 0; at < end; at += kPixel) L::store(filter.next(row + at, above ? above + at : row), row + at);
    if (end < bytes) scalar_filter<typename Filter<kPixel>::Rule, kPixel>(row, above, end, bytes);
}

template <template <int> class Filter>
void filter_of(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    switch (pixel) {
        case 3:
            return filter_pixels<Filter, 3>(row, above, bytes);
        case 4:
            return filter_pixels<Filter, 4>(row, above, bytes);
        case 6:
            return filter_pixels<Filter, 6>(row, above, bytes);
        case 8:
            return filter_pixels<Filter, 8>(row, above, bytes);
        default:
            return scalar_filter_of<typename Filter<4>::Rule>(row, above, bytes, pixel);
    }
}

void sub(uint8_t *row, size_t bytes, int pixel) { filter_of<VectorSub>(row, nullptr, bytes, pixel); }
void average(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    filter_of<VectorAverage>(row, above, bytes, pixel);
}
void paeth(uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    filter_of<VectorPaeth>(row, above, bytes, pixel);
}
void up(uint8_t *row, const uint8_t *above, size_t bytes) {
    const hn::ScalableTag<uint8_t> d;
    constexpr size_t kStep = hn::MaxLanes(hn::ScalableTag<uint8_t>());
    size_t i = 0;
    for (; bytes - i >= kStep; i += kStep)
        hn::StoreU(hn::Add(hn::LoadU(d, row + i), hn::LoadU(d, above + i)), d, row + i);
    scalar_up(row + i, above + i, bytes - i);
}

void add_filters(PngKernels *table) {
    table->sub = sub;
    table->up = up;
    table->average = average;
    table->paeth = paeth;
}

}  // namespace
#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_filters(SimdTarget target, [[maybe_unused]] PngKernels *table) {
    VOREL_SIMD_CALL(target, add_filters(table));
}

}  // namespace vorel
#endif
