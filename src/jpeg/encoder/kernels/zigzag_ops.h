// Zigzag order in vector code. Read once per target, after util/simd_ops.h.
#ifndef VOREL_ZIGZAG_TABLES
#define VOREL_ZIGZAG_TABLES

#include <cstdint>
#include <cstring>

#include "jpeg/kernels/zigzag.h"

namespace vorel {

// For each eight coefficients in that order and each row of the block: the bytes that it gives them.
struct ZigzagBytes {
    alignas(16) uint8_t from[8][8][16];
    bool used[8][8];
};
constexpr ZigzagBytes kZigzagBytes = [] {
    constexpr uint8_t kNone = 0x80;
    ZigzagBytes table = {};
    for (auto &eight : table.from) {
        for (auto &row : eight) {
            for (uint8_t &byte : row) byte = kNone;
        }
    }
    for (int k = 0; k < 64; ++k) {
        const int row = kZigzag.natural[k] / 8, column = kZigzag.natural[k] % 8;
        table.used[k / 8][row] = true;
        for (int byte = 0; byte < 2; ++byte) {
            table.from[k / 8][row][2 * (k % 8) + byte] = static_cast<uint8_t>(2 * column + byte);
        }
    }
    return table;
}();

}  // namespace vorel

#endif  // VOREL_ZIGZAG_TABLES

#if VOREL_SIMD_VECTOR && defined(VOREL_ZIGZAG_OPS_READ) == defined(HWY_TARGET_TOGGLE)
#ifdef VOREL_ZIGZAG_OPS_READ
#undef VOREL_ZIGZAG_OPS_READ
#else
#define VOREL_ZIGZAG_OPS_READ
#endif

VOREL_SIMD_BEGIN

// Eight coefficients of a block, from its rows.
template <int kEight, int kRow = 0>
inline hn::Vec128<int16_t> zigzag_eight(const int16_t *natural) {
    const hn::Full128<int16_t> d;
    const hn::Full128<uint8_t> d8;
    if constexpr (kRow == 8) {
        return hn::Zero(d);
    } else if constexpr (kZigzagBytes.used[kEight][kRow]) {
        const auto row = hn::BitCast(d8, hn::LoadU(d, natural + 8 * kRow));
        const auto order = hn::Load(d8, kZigzagBytes.from[kEight][kRow]);
        return hn::Or(hn::BitCast(d, hn::TableLookupBytesOr0(row, order)), zigzag_eight<kEight, kRow + 1>(natural));
    } else {
        return zigzag_eight<kEight, kRow + 1>(natural);
    }
}

// Bit k: lane k is not zero.
template <class V>
inline uint64_t nonzero_bits(V v) {
    const hn::DFromV<V> d;
    uint8_t bits[8] = {};
    hn::StoreMaskBits(d, hn::Ne(v, hn::Zero(d)), bits);
    uint64_t all;
    std::memcpy(&all, bits, sizeof all);
    return all;
}

template <int kPair>
inline uint64_t zigzag_sixteen(const int16_t *natural, int16_t *zigzag) {
    const hn::Full128<int16_t> d;
    const auto low = zigzag_eight<2 * kPair>(natural), high = zigzag_eight<2 * kPair + 1>(natural);
    hn::Store(low, d, zigzag + 16 * kPair);
    hn::Store(high, d, zigzag + 16 * kPair + 8);
    return nonzero_bits(pack_signed_bytes(low, high)) << 16 * kPair;
}
inline uint64_t zigzag(const int16_t *natural, int16_t *zigzag) {
    return zigzag_sixteen<0>(natural, zigzag) | zigzag_sixteen<1>(natural, zigzag) |
           zigzag_sixteen<2>(natural, zigzag) | zigzag_sixteen<3>(natural, zigzag);
}

VOREL_SIMD_END

#endif
