// Moving samples about: halving, doubling, interleaving, unpacking.
#ifndef VOREL_SAMPLE_ROWS_SCALAR
#define VOREL_SAMPLE_ROWS_SCALAR

#include "jpeg/decoder/kernels/internal.h"

namespace vorel {
namespace {

void scalar_even_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) dst[i] = src[2 * static_cast<ptrdiff_t>(i)];
}

void scalar_double_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) dst[i] = src[i >> 1];
}

void scalar_interleave(const uint8_t *a, const uint8_t *b, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) {
        *dst++ = a[i];
        *dst++ = b[i];
    }
}

void scalar_yuyv(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *dst) {
    for (int32_t i = 0; i < count; ++i) {
        *dst++ = *y++;
        *dst++ = cb[i];
        *dst++ = *y++;
        *dst++ = cr[i];
    }
}

void scalar_unpack_means(const uint32_t *words, int32_t count, uint8_t *a, uint8_t *b, uint8_t *c) {
    for (int32_t i = 0; i < count; ++i) {
        a[i] = static_cast<uint8_t>(words[i] >> 22);
        b[i] = static_cast<uint8_t>(words[i] >> 12);
        c[i] = static_cast<uint8_t>(words[i] >> 2);
    }
}

void scalar_sum_taps(const uint8_t *src, const SampleTaps &taps, uint16_t *sums) {
    const uint8_t *picks = taps.picks;
    for (int32_t g = 0; g < taps.groups; ++g) {
        const uint8_t *from = src + taps.starts[g];
        for (int32_t i = 0; i < kTapGroup; ++i, picks += 2) {
            *sums++ = static_cast<uint16_t>(from[picks[0]] + from[picks[1]]);
        }
    }
}

void scalar_means(const uint16_t *a, const uint16_t *b, int32_t count, uint8_t *out) {
    for (int32_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(static_cast<uint16_t>(a[i] + b[i]) >> 2);
}

}  // namespace

void add_scalar_samples(KernelTable *table) {
    table->even_samples = scalar_even_samples;
    table->double_samples = scalar_double_samples;
    table->interleave = scalar_interleave;
    table->yuyv = scalar_yuyv;
    table->unpack_means = scalar_unpack_means;
    table->sum_taps = scalar_sum_taps;
    table->means = scalar_means;
}

}  // namespace vorel

#endif  // VOREL_SAMPLE_ROWS_SCALAR

#define VOREL_SIMD_FILE "jpeg/decoder/kernels/sample_rows.cc"
#include "util/simd_targets.h"
//
#include "util/simd_ops.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR

constexpr ptrdiff_t wide(int32_t x, int factor) { return static_cast<ptrdiff_t>(x) * factor; }

struct EvenSamples {
    static constexpr int32_t kUnit = 1;
    const uint8_t *src;
    uint8_t *dst;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const auto low = hn::LoadU(d, src + wide(x, 2)), high = hn::LoadU(d, src + wide(x, 2) + hn::MaxLanes(d));
        hn::StoreU(hn::ConcatEven(d, high, low), d, dst + x);
    }
    void scalar(int32_t x, int32_t count) const { scalar_even_samples(src + wide(x, 2), count, dst + x); }
};
void even_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    if (count <= 0) return;
    // The sample behind the last one must not be read, so vectors stop before it.
    sweep(EvenSamples{src, dst}, count - 1);
    dst[count - 1] = src[wide(count - 1, 2)];
}

// A unit is a pair of samples of dst.
struct DoubleSamples {
    static constexpr int32_t kUnit = 1;
    const uint8_t *src;
    uint8_t *dst;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const auto v = hn::LoadU(d, src + x);
        hn::StoreInterleaved2(v, v, d, dst + wide(x, 2));
    }
    void scalar(int32_t x, int32_t count) const { scalar_double_samples(src + x, 2 * count, dst + wide(x, 2)); }
};
void double_samples(const uint8_t *src, int32_t count, uint8_t *dst) {
    sweep(DoubleSamples{src, dst}, count / 2);
    if (count & 1) dst[count - 1] = src[count / 2];
}

struct Interleave {
    static constexpr int32_t kUnit = 1;
    const uint8_t *a, *b;
    uint8_t *dst;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        hn::StoreInterleaved2(hn::LoadU(d, a + x), hn::LoadU(d, b + x), d, dst + wide(x, 2));
    }
    void scalar(int32_t x, int32_t count) const { scalar_interleave(a + x, b + x, count, dst + wide(x, 2)); }
};
void interleave(const uint8_t *a, const uint8_t *b, int32_t count, uint8_t *dst) {
    sweep(Interleave{a, b, dst}, count);
}

struct Yuyv {
    static constexpr int32_t kUnit = 1;
    const uint8_t *y, *cb, *cr;
    uint8_t *dst;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const auto low = hn::LoadU(d, y + wide(x, 2)), high = hn::LoadU(d, y + wide(x, 2) + hn::MaxLanes(d));
        hn::StoreInterleaved4(hn::ConcatEven(d, high, low), hn::LoadU(d, cb + x), hn::ConcatOdd(d, high, low),
                              hn::LoadU(d, cr + x), d, dst + wide(x, 4));
    }
    void scalar(int32_t x, int32_t count) const {
        scalar_yuyv(y + wide(x, 2), cb + x, cr + x, count, dst + wide(x, 4));
    }
};
void yuyv(const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t count, uint8_t *dst) {
    sweep(Yuyv{y, cb, cr, dst}, count);
}

// Steps of as many words as a vector of bytes has quarters, so several vectors of words in each.
struct UnpackMeans {
    static constexpr int32_t kUnit = 1;
    const uint32_t *words;
    uint8_t *a, *b, *c;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const hn::Repartition<uint32_t, D8> d32;
        const hn::Rebind<uint8_t, decltype(d32)> bytes;
        constexpr int32_t kWords = static_cast<int32_t>(hn::MaxLanes(hn::Repartition<uint32_t, D8>()));
        (void)d;
        for (int32_t i = x; i < x + 4 * kWords; i += kWords) {
            const auto sums = hn::LoadU(d32, words + i);
            hn::StoreU(hn::TruncateTo(bytes, hn::ShiftRight<22>(sums)), bytes, a + i);
            hn::StoreU(hn::TruncateTo(bytes, hn::ShiftRight<12>(sums)), bytes, b + i);
            hn::StoreU(hn::TruncateTo(bytes, hn::ShiftRight<2>(sums)), bytes, c + i);
        }
    }
    void scalar(int32_t x, int32_t count) const { scalar_unpack_means(words + x, count, a + x, b + x, c + x); }
};
void unpack_means(const uint32_t *words, int32_t count, uint8_t *a, uint8_t *b, uint8_t *c) {
    sweep(UnpackMeans{words, a, b, c}, count);
}

void sum_taps(const uint8_t *src, const SampleTaps &taps, uint16_t *sums) {
    const hn::FixedTag<uint8_t, kTapReach> d8;
    const hn::Repartition<uint16_t, decltype(d8)> d16;
    for (ptrdiff_t g = 0; g < taps.groups; ++g) {
        const auto pairs = hn::BitCast(
            d16, hn::TableLookupBytes(hn::LoadU(d8, src + taps.starts[g]), hn::LoadU(d8, taps.picks + kTapReach * g)));
        // The halves of a pair, whichever byte is the lower one.
        const auto sum = hn::Add(hn::And(pairs, hn::Set(d16, 0xFF)), hn::ShiftRight<8>(pairs));
        hn::StoreU(sum, d16, sums + kTapGroup * g);
    }
}

struct Means {
    static constexpr int32_t kUnit = 1;
    const uint16_t *a, *b;
    uint8_t *out;
    template <class D8>
    void vector(D8 d, int32_t x) const {
        const hn::Repartition<uint16_t, D8> d16;
        constexpr int32_t kLanes = static_cast<int32_t>(hn::MaxLanes(hn::Repartition<uint16_t, D8>()));
        const hn::Rebind<uint8_t, decltype(d16)> bytes;
        (void)d;
        for (int32_t i = x; i < x + 2 * kLanes; i += kLanes) {
            const auto mean = hn::ShiftRight<2>(hn::Add(hn::LoadU(d16, a + i), hn::LoadU(d16, b + i)));
            // Sums that are none have means beyond a byte.
            const hn::RebindToSigned<decltype(d16)> s16;
            hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(s16, hn::And(mean, hn::Set(d16, 0xFF)))), bytes, out + i);
        }
    }
    void scalar(int32_t x, int32_t count) const { scalar_means(a + x, b + x, count, out + x); }
};
void means(const uint16_t *a, const uint16_t *b, int32_t count, uint8_t *out) { sweep(Means{a, b, out}, count); }

void add_samples(KernelTable *table) {
    table->even_samples = even_samples;
    table->double_samples = double_samples;
    table->interleave = interleave;
    table->yuyv = yuyv;
    table->unpack_means = unpack_means;
    table->sum_taps = sum_taps;
    table->means = means;
}

#endif  // VOREL_SIMD_VECTOR
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {

void add_vector_samples(SimdTarget target, [[maybe_unused]] KernelTable *table) {
    VOREL_SIMD_CALL(target, add_samples(table));
}

}  // namespace vorel
#endif
