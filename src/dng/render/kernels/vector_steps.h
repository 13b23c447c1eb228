// The steps of a render for vectors of samples, as pixel_steps.h has them for one. Read once per target, after
// util/simd_targets.h with VOREL_SIMD_FILE and util/simd_ops.h.
#if VOREL_SIMD_VECTOR && defined(VOREL_VECTOR_STEPS_READ) == defined(HWY_TARGET_TOGGLE)
#ifdef VOREL_VECTOR_STEPS_READ
#undef VOREL_VECTOR_STEPS_READ
#else
#define VOREL_VECTOR_STEPS_READ
#endif

VOREL_SIMD_BEGIN

using DF = hn::ScalableTag<float>;
using DI = hn::ScalableTag<int32_t>;
using VF = hn::Vec<DF>;
using VI = hn::Vec<DI>;
constexpr size_t kLanes = hn::MaxLanes(DF());

// a < b ? a : b and a > b ? a : b, for all values.
HWY_INLINE VF lesser(VF a, VF b) {
#if HWY_ARCH_X86
    return hn::Min(a, b);  // the instruction does just that
#else
    return hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}
HWY_INLINE VF greater(VF a, VF b) {
#if HWY_ARCH_X86
    return hn::Max(a, b);
#else
    return hn::IfThenElse(hn::Gt(a, b), a, b);
#endif
}

// Entries index and index + 1 of a curve.
struct Entries {
    VF first, second;
};
#if HWY_ARCH_X86
// Gathers are slower than loads one by one where they exist. Two indices of a block come by a move of 64 bits, and both
// entries of an index by a load of 64: of four indices those of the first two, and those of the last two.
template <class V>
struct TwoPairs {
    V early, late;
};
HWY_INLINE hn::Vec128<float> two_pairs(const float *table, uint64_t indices) {
    const __m128i first = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(table + (indices & 0xFFFFFFFF)));
    const auto *second = reinterpret_cast<const __m64 *>(table + (indices >> 32));
    return hn::Vec128<float>{_mm_loadh_pi(_mm_castsi128_ps(first), second)};
}
template <class D32>
HWY_INLINE TwoPairs<hn::Vec<hn::RebindToFloat<D32>>> pairs_at(D32, const float *table, hn::Vec<D32> index) {
    if constexpr (hn::MaxLanes(D32()) == 4) {
        const auto wide = hn::BitCast(hn::Repartition<uint64_t, D32>(), index);
        return {two_pairs(table, hn::GetLane(wide)), two_pairs(table, hn::ExtractLane(wide, 1))};
    } else {
        const hn::Half<D32> half;
        const hn::RebindToFloat<D32> d;
        const auto low = pairs_at(half, table, hn::LowerHalf(half, index));
        const auto high = pairs_at(half, table, hn::UpperHalf(half, index));
        return {hn::Combine(d, high.early, low.early), hn::Combine(d, high.late, low.late)};
    }
}
HWY_INLINE Entries entries_at(const float *table, VI index) {
    const DF d;
    const DI di;
    const auto pairs = pairs_at(di, table, index);
    const VI early = hn::BitCast(di, pairs.early), late = hn::BitCast(di, pairs.late);
    return {hn::BitCast(d, every_other<0>(early, late)), hn::BitCast(d, every_other<1>(early, late))};
}

template <class D32>
HWY_INLINE hn::Vec<D32> int_entries_at(D32, const uint32_t *table, hn::Vec<D32> index) {
    if constexpr (hn::MaxLanes(D32()) == 4) {
        const auto wide = hn::BitCast(hn::Repartition<uint64_t, D32>(), index);
        const uint64_t early = hn::GetLane(wide), late = hn::ExtractLane(wide, 1);
        const auto at = [&](uint64_t i) { return static_cast<int>(table[i]); };
        __m128i v = _mm_cvtsi32_si128(at(early & 0xFFFFFFFF));
        v = _mm_insert_epi32(v, at(early >> 32), 1);
        v = _mm_insert_epi32(v, at(late & 0xFFFFFFFF), 2);
        return hn::Vec<D32>{_mm_insert_epi32(v, at(late >> 32), 3)};
    } else {
        const hn::Half<D32> half;
        return hn::Combine(D32(), int_entries_at(half, table, hn::UpperHalf(half, index)),
                           int_entries_at(half, table, hn::LowerHalf(half, index)));
    }
}
#else
HWY_INLINE Entries entries_at(const float *table, VI index) {
    const DF d;
    alignas(64) int32_t at[kLanes];
    alignas(64) float first[kLanes], second[kLanes];
    hn::Store(index, DI(), at);
    for (size_t i = 0; i < kLanes; ++i) {
        first[i] = table[at[i]];
        second[i] = table[at[i] + 1];
    }
    return {hn::Load(d, first), hn::Load(d, second)};
}

HWY_INLINE VI int_entries_at(DI di, const uint32_t *table, VI index) {
    alignas(64) int32_t at[kLanes];
    hn::Store(index, di, at);
    for (int32_t &v : at) v = static_cast<int32_t>(table[v]);
    return hn::Load(di, at);
}
#endif

HWY_INLINE VF curve(const float *table, VF x) {
    const DF d;
    const DI di;
    const VF position = hn::Mul(x, hn::Set(d, static_cast<float>(kRenderSteps)));
    const VI index = hn::ConvertTo(di, position);
    const VF fraction = hn::Sub(position, hn::ConvertTo(d, index));
    const Entries entries = entries_at(table, index);
    return hn::Add(hn::Mul(entries.first, hn::Sub(hn::Set(d, 1.0f), fraction)), hn::Mul(entries.second, fraction));
}

// Not a number: 0.
HWY_INLINE VF pinned(VF v) {
    const DF d;
    return lesser(greater(v, hn::Zero(d)), hn::Set(d, 1.0f));
}

// Replaces R, G and B of count pixels, whole vectors of them, by what a map makes of them.
void hue_sat_planes(const HueSatTable &table, size_t count, float *const *planes);

VOREL_SIMD_END

#endif
