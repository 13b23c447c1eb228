// What the modules' kernels need in vector code beyond the Highway release we build with. Read once per target, after
// util/simd_targets.h with VOREL_SIMD_FILE.
#if VOREL_SIMD_VECTOR && defined(VOREL_SIMD_OPS_READ) == defined(HWY_TARGET_TOGGLE)
#ifdef VOREL_SIMD_OPS_READ
#undef VOREL_SIMD_OPS_READ
#else
#define VOREL_SIMD_OPS_READ
#endif

VOREL_SIMD_BEGIN

namespace hn = hwy::HWY_NAMESPACE;

// 32-bit values clamped to 16 bits, in each 128-bit block first those of `low`, then those of `high`.
template <class D16, class V32>
inline hn::Vec<D16> hold_words(D16 d, V32 low, V32 high) {
#if HWY_ARCH_ARM_V7
    // Of ReorderDemote2To the order is left open, and is another one here.
    const hn::Half<D16> half;
    return hn::Combine(d, hn::DemoteTo(half, high), hn::DemoteTo(half, low));
#else
    return hn::ReorderDemote2To(d, low, high);
#endif
}

// a / b, rounded as IEEE 754 says: 32-bit NEON has no division, and what is made of a reciprocal may be an ulp beside
// it.
template <class D, class V = hn::Vec<D>>
inline V exact_divide(D d, V a, V b) {
#if HWY_ARCH_ARM_V7
    constexpr size_t kLanes = hn::MaxLanes(D());
    alignas(16) hn::TFromD<D> dividend[kLanes], divisor[kLanes];
    hn::Store(a, d, dividend);
    hn::Store(b, d, divisor);
    for (size_t i = 0; i < kLanes; ++i) dividend[i] /= divisor[i];
    return hn::Load(d, dividend);
#else
    (void)d;
    return hn::Div(a, b);
#endif
}

// 16-bit values clamped to 0..255, in each 128-bit block first those of `low`, then those of `high`.
#if HWY_ARCH_X86
inline hn::Vec128<uint8_t> pack_bytes(hn::Vec128<int16_t> low, hn::Vec128<int16_t> high) {
    return hn::Vec128<uint8_t>{_mm_packus_epi16(low.raw, high.raw)};
}
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
inline hn::Vec256<uint8_t> pack_bytes(hn::Vec256<int16_t> low, hn::Vec256<int16_t> high) {
    return hn::Vec256<uint8_t>{_mm256_packus_epi16(low.raw, high.raw)};
}
#endif
#if HWY_TARGET == HWY_AVX3
inline hn::Vec512<uint8_t> pack_bytes(hn::Vec512<int16_t> low, hn::Vec512<int16_t> high) {
    return hn::Vec512<uint8_t>{_mm512_packus_epi16(low.raw, high.raw)};
}
#endif
#else
template <class V>
inline hn::Vec<hn::Repartition<uint8_t, hn::DFromV<V>>> pack_bytes(V low, V high) {
    const hn::Repartition<uint8_t, hn::DFromV<V>> d8;
    const hn::Half<decltype(d8)> half;
    return hn::Combine(d8, hn::DemoteTo(half, high), hn::DemoteTo(half, low));
}
#endif

// The same clamped to -128..127.
#if HWY_ARCH_X86
inline hn::Vec128<int8_t> pack_signed_bytes(hn::Vec128<int16_t> low, hn::Vec128<int16_t> high) {
    return hn::Vec128<int8_t>{_mm_packs_epi16(low.raw, high.raw)};
}
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
inline hn::Vec256<int8_t> pack_signed_bytes(hn::Vec256<int16_t> low, hn::Vec256<int16_t> high) {
    return hn::Vec256<int8_t>{_mm256_packs_epi16(low.raw, high.raw)};
}
#endif
#if HWY_TARGET == HWY_AVX3
inline hn::Vec512<int8_t> pack_signed_bytes(hn::Vec512<int16_t> low, hn::Vec512<int16_t> high) {
    return hn::Vec512<int8_t>{_mm512_packs_epi16(low.raw, high.raw)};
}
#endif
#else
template <class V>
inline hn::Vec<hn::Repartition<int8_t, hn::DFromV<V>>> pack_signed_bytes(V low, V high) {
    const hn::Repartition<int8_t, hn::DFromV<V>> d8;
    const hn::Half<decltype(d8)> half;
    return hn::Combine(d8, hn::DemoteTo(half, high), hn::DemoteTo(half, low));
}
#endif

#if HWY_ARCH_X86
// Unsigned bytes times signed ones, neighbours added.
inline hn::Vec128<int16_t> multiply_bytes(hn::Vec128<uint8_t> a, hn::Vec128<uint8_t> b) {
    return hn::Vec128<int16_t>{_mm_maddubs_epi16(a.raw, b.raw)};
}
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
inline hn::Vec256<int16_t> multiply_bytes(hn::Vec256<uint8_t> a, hn::Vec256<uint8_t> b) {
    return hn::Vec256<int16_t>{_mm256_maddubs_epi16(a.raw, b.raw)};
}
#endif
#if HWY_TARGET == HWY_AVX3
inline hn::Vec512<int16_t> multiply_bytes(hn::Vec512<uint8_t> a, hn::Vec512<uint8_t> b) {
    return hn::Vec512<int16_t>{_mm512_maddubs_epi16(a.raw, b.raw)};
}
#endif
#endif

// The 32-bit lanes of v in another order: lane i of the result is lane Order::from(i, blocks), which is i for one
// block.
template <class Order, class D8>
inline hn::Vec<D8> reorder_lanes(D8 d, hn::Vec<D8> v) {
    constexpr int kLanes = static_cast<int>(hn::MaxLanes(hn::Repartition<int32_t, D8>())), kBlocks = kLanes / 4;
    if constexpr (kBlocks == 1) {
        return v;
    } else {
        const hn::Repartition<int32_t, D8> d32;
        struct Table {
            alignas(64) int32_t index[kLanes];
        };
        static constexpr Table kTable = [] {
            Table table = {};
            for (int i = 0; i < kLanes; ++i) table.index[i] = Order::from(i, kBlocks);
            return table;
        }();
        return hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, kTable.index)));
    }
}

// Packing four vectors leaves, in each block, four bytes of each of them: this puts block after block of each.
struct BlockAfterBlock {
    static constexpr int32_t from(int lane, int blocks) { return 4 * (lane % blocks) + lane / blocks; }
};
template <class D8>
inline hn::Vec<D8> in_order(D8 d, hn::Vec<D8> packed) {
    return reorder_lanes<BlockAfterBlock>(d, packed);
}

// Interleaving four vectors inside blocks gives, in the first result, the first four of each block, and so on. This
// order of the sources makes the four results follow one another.
struct QuarterByQuarter {
    static constexpr int32_t from(int lane, int blocks) { return lane % 4 * blocks + lane / 4; }
};
template <class D8>
inline hn::Vec<D8> for_interleaving(D8 d, hn::Vec<D8> natural) {
    return reorder_lanes<QuarterByQuarter>(d, natural);
}
// a0 b0 c0 d0 a1 ... of vectors in that order.
template <class D8>
inline void store_interleaved(D8 d, hn::Vec<D8> a, hn::Vec<D8> b, hn::Vec<D8> c, hn::Vec<D8> e, uint8_t *out) {
    if constexpr (hn::MaxLanes(D8()) <= 16) {
        hn::StoreInterleaved4(a, b, c, e, d, out);
    } else {
        const hn::Repartition<uint16_t, D8> d16;
        constexpr size_t kBytes = hn::MaxLanes(D8());
        const auto ab_low = hn::BitCast(d16, hn::InterleaveLower(d, a, b));
        const auto ab_high = hn::BitCast(d16, hn::InterleaveUpper(d, a, b));
        const auto ce_low = hn::BitCast(d16, hn::InterleaveLower(d, c, e));
        const auto ce_high = hn::BitCast(d16, hn::InterleaveUpper(d, c, e));
        hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d16, ab_low, ce_low)), d, out);
        hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d16, ab_low, ce_low)), d, out + kBytes);
        hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d16, ab_high, ce_high)), d, out + 2 * kBytes);
        hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d16, ab_high, ce_high)), d, out + 3 * kBytes);
    }
}

// Of each block of a two 32-bit lanes, then those of b: 0 and 2 for kOdd 0, 1 and 3 for kOdd 1.
#if HWY_ARCH_X86
constexpr int kEvenFloats = 0x88, kOddFloats = 0xDD;
template <int kOdd>
inline hn::Vec128<int32_t> every_other(hn::Vec128<int32_t> a, hn::Vec128<int32_t> b) {
    return hn::Vec128<int32_t>{_mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), kOdd ? kOddFloats : kEvenFloats))};
}
#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
template <int kOdd>
inline hn::Vec256<int32_t> every_other(hn::Vec256<int32_t> a, hn::Vec256<int32_t> b) {
    return hn::Vec256<int32_t>{_mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), kOdd ? kOddFloats : kEvenFloats))};
}
#endif
#if HWY_TARGET == HWY_AVX3
template <int kOdd>
inline hn::Vec512<int32_t> every_other(hn::Vec512<int32_t> a, hn::Vec512<int32_t> b) {
    return hn::Vec512<int32_t>{_mm512_castps_si512(
        _mm512_shuffle_ps(_mm512_castsi512_ps(a.raw), _mm512_castsi512_ps(b.raw), kOdd ? kOddFloats : kEvenFloats))};
}
#endif
#else
template <int kOdd, class V>
inline V every_other(V a, V b) {
    return kOdd ? hn::ConcatOdd(hn::DFromV<V>(), b, a) : hn::ConcatEven(hn::DFromV<V>(), b, a);
}
#endif

#if HWY_ARCH_X86
// The upper halves of 32-bit lanes, those of `even` in the even 16-bit lanes.
template <class D16, class V>
inline hn::Vec<D16> upper_halves(D16 d, V even, V odd) {
#if HWY_TARGET == HWY_AVX3
    if constexpr (hn::MaxLanes(D16()) == 32) {
        struct Table {
            alignas(64) int16_t index[32];
        };
        static constexpr Table kTable = [] {
            Table table = {};
            for (int i = 0; i < 32; ++i) table.index[i] = static_cast<int16_t>((i | 1) + (i % 2 ? 32 : 0));
            return table;
        }();
        return hn::Vec<D16>{_mm512_permutex2var_epi16(even.raw, hn::Load(d, kTable.index).raw, odd.raw)};
    }
#endif
    return hn::OddEven(hn::BitCast(d, odd), hn::BitCast(d, hn::ShiftRight<16>(even)));
}
#endif

// 32-bit values of the lower and the upper half of each block's eight 16-bit lanes.
template <class D16>
struct WidePair {
    hn::Vec<hn::RepartitionToWide<D16>> low, high;
};
template <class D16>
inline WidePair<D16> operator+(WidePair<D16> a, WidePair<D16> b) {
    return {hn::Add(a.low, b.low), hn::Add(a.high, b.high)};
}
template <class D16>
inline WidePair<D16> operator-(WidePair<D16> a, WidePair<D16> b) {
    return {hn::Sub(a.low, b.low), hn::Sub(a.high, b.high)};
}
template <class D16>
inline WidePair<D16> set_wide(D16, int32_t value) {
    const auto v = hn::Set(hn::RepartitionToWide<D16>(), value);
    return {v, v};
}
template <int kShift, class D16>
inline hn::Vec<D16> shift_and_hold(D16 d, WidePair<D16> sum) {
    return hold_words(d, hn::ShiftRight<kShift>(sum.low), hn::ShiftRight<kShift>(sum.high));
}

// Two vectors a and b in the form from which the CPU best makes ca * a + cb * b in 32 bits: x86 multiplies neighbouring
// lanes and adds them, others widen and accumulate.
template <class D16>
struct Operands {
    hn::Vec<D16> first, second;
};
template <class D16>
inline Operands<D16> operands(D16 d, hn::Vec<D16> a, hn::Vec<D16> b) {
#if HWY_ARCH_X86
    return {hn::InterleaveLower(d, a, b), hn::InterleaveUpper(d, a, b)};
#else
    (void)d;
    return {a, b};
#endif
}
template <int kA, int kB, class D16>
inline WidePair<D16> multiply_add(D16 d, Operands<D16> ab, WidePair<D16> sum) {
    const hn::RepartitionToWide<D16> wide;
#if HWY_ARCH_X86
    const auto factors = hn::BitCast(d, hn::Set(wide, kB * 65536 + (kA & 0xFFFF)));
    auto unused = hn::Zero(wide);
    return {hn::ReorderWidenMulAccumulate(wide, ab.first, factors, sum.low, unused),
            hn::ReorderWidenMulAccumulate(wide, ab.second, factors, sum.high, unused)};
#else
    sum.low = hn::ReorderWidenMulAccumulate(wide, ab.first, hn::Set(d, kA), sum.low, sum.high);
    sum.low = hn::ReorderWidenMulAccumulate(wide, ab.second, hn::Set(d, kB), sum.low, sum.high);
    return sum;
#endif
}

// Past the caches, to a multiple of 16 bytes.
template <class D8>
inline void stream_blocks(D8 d, hn::Vec<D8> v, uint8_t *to) {
    if constexpr (hn::MaxLanes(D8()) > 16) {
        const hn::Half<D8> half;
        stream_blocks(half, hn::LowerHalf(half, v), to);
        stream_blocks(half, hn::UpperHalf(half, v), to + hn::MaxLanes(half));
    } else {
        hn::Stream(v, d, to);
    }
}

// Sweeps over rows of bytes. A row is a record with kUnit, how many elements belong together (1, 2 or 4), and
//     vector(d, x)       does as many elements from x on as d has lanes
//     scalar(x, count)   does count elements by the scalar twin
// The last vector overlaps the one before it. Rows shorter than a vector take a smaller one, and the shortest the
// scalar twin. Count is the type that they count in.
template <class D8, class Row, class Count>
inline void sweep_whole_units(D8 d, const Row &row, Count count) {
    constexpr Count kStep = static_cast<Count>(hn::MaxLanes(D8()));
    if (count < kStep) {
        if constexpr (kStep > 16) {
            sweep_whole_units(hn::Half<D8>(), row, count);
        } else {
            row.scalar(0, count);
        }
        return;
    }
    Count x = 0;
    for (; count - x >= kStep; x += kStep) row.vector(d, x);
    if (x < count) row.vector(d, count - kStep);
}
template <class Row, class Count>
inline void sweep(const Row &row, Count count) {
    const Count whole = count - count % Row::kUnit;
    sweep_whole_units(hn::ScalableTag<uint8_t>(), row, whole);
    if (whole < count) row.scalar(whole, count - whole);
}

// The same where outputs may be inputs: vector(d, x) gives its result, which store(d, result, x) puts in its place. The
// last result is made before its inputs are overwritten.
template <class D8, class Row>
inline void sweep_in_place(D8 d, const Row &row, int32_t count) {
    constexpr int32_t kStep = static_cast<int32_t>(hn::MaxLanes(D8()));
    if (count < kStep) {
        if constexpr (kStep > 16) {
            sweep_in_place(hn::Half<D8>(), row, count);
        } else {
            row.scalar(0, count);
        }
        return;
    }
    const auto last = row.vector(d, count - kStep);
    for (int32_t x = 0; x < count - kStep; x += kStep) row.store(d, row.vector(d, x), x);
    row.store(d, last, count - kStep);
}
template <class Row>
inline void sweep_in_place(const Row &row, int32_t count) {
    sweep_in_place(hn::ScalableTag<uint8_t>(), row, count);
}

VOREL_SIMD_END

#endif
