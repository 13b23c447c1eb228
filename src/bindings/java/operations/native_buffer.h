// Blocks that Java keeps by their addresses.
#pragma once

#include <cstdint>

#include "core/core.h"

namespace vorel {

// Zeroed; null for a number below 1, for more than a block can be, and without memory. Freed by os_release.
inline void *create_native_buffer(int32_t width, int32_t height, int32_t bytes_per_pixel) {
    size_t row, bytes;
    if (width < 1 || height < 1 || bytes_per_pixel < 1) return nullptr;
    if (!checked_product(static_cast<uint64_t>(width), static_cast<uint64_t>(bytes_per_pixel), &row)) return nullptr;
    if (!checked_product(row, static_cast<uint64_t>(height), &bytes)) return nullptr;
    return os_allocate_zeroed(bytes);
}

}  // namespace vorel
