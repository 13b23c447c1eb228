#include "bindings/c/picture_bytes.h"

#include <algorithm>

#include "core/core.h"

namespace vorel {

size_t sample_bytes(int32_t format) {
    // Nothing is stored in formats 10 to 12, but strips carry rows of these sizes.
    return format >= 10 && format <= 12 ? static_cast<size_t>(format - 8) : pixel_layout(format).pixel_bytes;
}

bool picture_bytes(int32_t format, int32_t width, int32_t height, size_t *bytes) {
    if (width < 1 || height < 1) return false;
    const PixelLayout layout = pixel_layout(format);
    const uint64_t rows = static_cast<uint64_t>(height);
    uint64_t row = uint64_t{sample_bytes(format)} * static_cast<uint64_t>(width);
    if (format == COLOR_YUYV) row += row & 3;
    const uint64_t planes = layout.chroma == ChromaLayout::kPlanes ? 2 : layout.chroma == ChromaLayout::kPairs ? 1 : 0;
    const uint64_t chroma = planes * layout.chroma_row_bytes(static_cast<size_t>(width));
    // Rows of less than 2^33 bytes: the sum stays below 2^64.
    const uint64_t all = row * rows + chroma * layout.chroma_rows(static_cast<size_t>(height));
    if (all > static_cast<uint64_t>(PTRDIFF_MAX)) return false;
    *bytes = static_cast<size_t>(all);
    return true;
}

int32_t reduced_side(int32_t side, int32_t sample) {
    const int64_t divisor = std::max(sample, 1);
    return static_cast<int32_t>((int64_t{side} * 2 + divisor) / (2 * divisor));
}

}  // namespace vorel
