// Loops over rows of BMP pixels. Every member of a table gives the same bytes in every table, for all inputs; no byte
// outside the `count` pixels is read or written, and dst does not overlap src.
#pragma once

#include <cstdint>

#include "util/simd_targets.h"

namespace vorel {
using BmpSwizzle = void (*)(const uint8_t *src, int32_t count, uint8_t *dst);
constexpr int kByteOrders = 4;
}  // namespace vorel

struct BmpKernels {
    const char *name;                                 // "scalar", "SSE4", "AVX2", ...
    vorel::BmpSwizzle from_bgr[vorel::kByteOrders];   // bytes B, G, R
    vorel::BmpSwizzle from_bgrx[vorel::kByteOrders];  // bytes B, G, R and one that is dropped
};

namespace vorel {

// Byte orders of the output; A is 255.
enum class ByteOrder : uint8_t { kRgba, kBgra, kArgb, kRgb, kCount };
static_assert(static_cast<int>(ByteOrder::kCount) == kByteOrders);

// The plainest code that states the rules, and the best table that this CPU runs.
const BmpKernels &scalar_bmp_kernels();
const BmpKernels &bmp_kernels();
// All tables that run, scalar first; returns how many, at most kMaxKernelTables.
int runnable_bmp_kernels(const BmpKernels **out);

}  // namespace vorel
