// Pixels of 24 and 32 bits, stored B first, into other byte orders.
#ifndef VOREL_BMP_SWIZZLE_SCALAR
#define VOREL_BMP_SWIZZLE_SCALAR

#include <cstring>

#include "raster/kernels/bmp_kernels.h"
#include "util/kernel_registry.h"

namespace vorel {
namespace {

constexpr int out_bytes(ByteOrder order) { return order == ByteOrder::kRgb ? 3 : 4; }

// Which byte of a source pixel an output byte is; -1 for alpha.
constexpr int source_byte(ByteOrder order, int byte) {
    switch (order) {
        case ByteOrder::kRgba:
            return byte == 3 ? -1 : 2 - byte;
        case ByteOrder::kBgra:
            return byte == 3 ? -1 : byte;
        case ByteOrder::kArgb:
            return byte == 0 ? -1 : 3 - byte;
        default:
            return 2 - byte;
    }
}

template <int kSourceBytes, ByteOrder kOrder>
void scalar_swizzle(const uint8_t *src, int32_t count, uint8_t *dst) {
    for (; count > 0; --count, src += kSourceBytes, dst += out_bytes(kOrder)) {
        for (int i = 0; i < out_bytes(kOrder); ++i) {
            constexpr auto byte = source_byte;
            dst[i] = byte(kOrder, i) < 0 ? 255 : src[byte(kOrder, i)];
        }
    }
}

}  // namespace
}  // namespace vorel

#endif  // VOREL_BMP_SWIZZLE_SCALAR

#define VOREL_SIMD_FILE "raster/kernels/bmp_swizzle.cc"
#include "util/simd_targets.h"

VOREL_SIMD_BEGIN
#if VOREL_SIMD_VECTOR
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// 16 source bytes become one store of 16 bytes, of which the first ones are pixels.
template <int kSourceBytes, ByteOrder kOrder>
struct Shuffle {
    static constexpr int kOut = out_bytes(kOrder);
    static constexpr int kPixels = 16 / (kSourceBytes > kOut ? kSourceBytes : kOut);

    alignas(16) uint8_t index[16], alpha[16];
    constexpr Shuffle() : index(), alpha() {
        for (int i = 0; i < 16; ++i) {
            const int pixel = i / kOut, byte = source_byte(kOrder, i % kOut);
            const bool inside = pixel < kPixels;
            index[i] = static_cast<uint8_t>(inside && byte >= 0 ? pixel * kSourceBytes + byte : 0x80);
            alpha[i] = inside && byte < 0 ? 255 : 0;
        }
    }
};

// Stores overlap the pixels that follow, so the last ones go to the scalar twin.
template <int kSourceBytes, ByteOrder kOrder>
void swizzle(const uint8_t *src, int32_t count, uint8_t *dst) {
    static constexpr Shuffle<kSourceBytes, kOrder> kShuffle;
    constexpr int32_t kPixels = kShuffle.kPixels, kOut = kShuffle.kOut, kUnroll = 4;
    // The last of the unrolled loads and stores covers 16 bytes, which are more pixels than it moves.
    constexpr int32_t kCovered =
        (15 + (kSourceBytes < kOut ? kSourceBytes : kOut)) / (kSourceBytes < kOut ? kSourceBytes : kOut);
    constexpr int32_t kNeeded = kPixels * (kUnroll - 1) + kCovered;
    const hn::FixedTag<uint8_t, 16> d;
    const auto index = hn::Load(d, kShuffle.index), alpha = hn::Load(d, kShuffle.alpha);
    for (; count >= kNeeded; count -= kUnroll * kPixels) {
        for (int i = 0; i < kUnroll; ++i) {
            const auto pixels = hn::LoadU(d, src + i * kPixels * kSourceBytes);
            hn::StoreU(hn::Or(hn::TableLookupBytesOr0(pixels, index), alpha), d, dst + i * kPixels * kOut);
        }
        src += kUnroll * kPixels * kSourceBytes;
        dst += kUnroll * kPixels * kOut;
    }
    scalar_swizzle<kSourceBytes, kOrder>(src, count, dst);
}

void add_swizzles(BmpKernels *table) {
    BmpSwizzle *const bgr = table->from_bgr, *const bgrx = table->from_bgrx;
    bgr[0] = swizzle<3, ByteOrder::kRgba>;
    bgr[1] = swizzle<3, ByteOrder::kBgra>;
    bgr[2] = swizzle<3, ByteOrder::kArgb>;
    bgr[3] = swizzle<3, ByteOrder::kRgb>;
    bgrx[0] = swizzle<4, ByteOrder::kRgba>;
    bgrx[1] = swizzle<4, ByteOrder::kBgra>;
    bgrx[2] = swizzle<4, ByteOrder::kArgb>;
    bgrx[3] = swizzle<4, ByteOrder::kRgb>;
}

}  // namespace
#endif
VOREL_SIMD_END

#if VOREL_SIMD_ONCE
namespace vorel {
namespace {

void fill(SimdTarget target, BmpKernels *table) {
    BmpSwizzle *const bgr = table->from_bgr, *const bgrx = table->from_bgrx;
    bgr[0] = scalar_swizzle<3, ByteOrder::kRgba>;
    bgr[1] = scalar_swizzle<3, ByteOrder::kBgra>;
    bgr[2] = scalar_swizzle<3, ByteOrder::kArgb>;
    bgr[3] = scalar_swizzle<3, ByteOrder::kRgb>;
    bgrx[0] = scalar_swizzle<4, ByteOrder::kRgba>;
    bgrx[1] = scalar_swizzle<4, ByteOrder::kBgra>;
    bgrx[2] = scalar_swizzle<4, ByteOrder::kArgb>;
    bgrx[3] = scalar_swizzle<4, ByteOrder::kRgb>;
    VOREL_SIMD_CALL(target, add_swizzles(table));
}

using Registry = KernelRegistry<BmpKernels, fill>;

}  // namespace

const BmpKernels &scalar_bmp_kernels() { return Registry::scalar(); }
const BmpKernels &bmp_kernels() { return Registry::best(); }
int runnable_bmp_kernels(const BmpKernels **out) { return Registry::runnable(out); }

}  // namespace vorel
#endif
