#include "bindings/c/region_overhang.h"

#include <vorel/bindings.h>
#include <vorel/jpeg_region.h>

#include <algorithm>
#include <cstring>

#include "bindings/c/picture_bytes.h"
#include "core/core.h"

namespace vorel {
namespace {

constexpr int kBlackLuma = 0, kBlackChroma = 128;

bool has_chroma_planes(const PixelLayout &layout) {
    return layout.chroma == ChromaLayout::kPlanes || layout.chroma == ChromaLayout::kPairs;
}

// Corner and size in pixels.
struct PixelRectangle {
    int32_t x, y, width, height;
};

// The columns or rows of a span that lie in 0 to limit.
struct Span {
    int32_t start, count;
};
Span clipped(int32_t start, int32_t count, uint32_t limit) {
    const int64_t first = std::max<int64_t>(start, 0), end = std::min<int64_t>(int64_t{start} + count, limit);
    if (end <= first) return {0, 0};
    return {static_cast<int32_t>(first), static_cast<int32_t>(end - first)};
}
PixelRectangle clipped(const PixelRectangle &rectangle, uint32_t width, uint32_t height) {
    const Span columns = clipped(rectangle.x, rectangle.width, width);
    const Span rows = clipped(rectangle.y, rectangle.height, height);
    return {columns.start, rows.start, columns.count, rows.count};
}
bool is_same(const PixelRectangle &a, const PixelRectangle &b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
bool is_empty(const PixelRectangle &rectangle) { return rectangle.width <= 0 || rectangle.height <= 0; }

void *allocate_picture(int32_t format, int32_t width, int32_t height) {
    size_t bytes;
    return picture_bytes(format, width, height, &bytes) ? os_allocate_zeroed(bytes) : nullptr;
}

void clear_to_black(int32_t format, uint8_t *pixels, int32_t width, int32_t height) {
    size_t bytes;
    if (!picture_bytes(format, width, height, &bytes)) return;
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::memset(pixels, kBlackLuma, luma);
    std::memset(pixels + luma, kBlackChroma, bytes - luma);
}

struct Plane {
    uint8_t *bytes;
    size_t row_bytes;
};
void copy_rows(const Plane &from, const Plane &to, size_t rows) {
    for (size_t row = 0; row < rows; ++row)
        std::memcpy(to.bytes + row * to.row_bytes, from.bytes + row * from.row_bytes, from.row_bytes);
}

// Puts a picture into a larger one at (x, y). Chroma goes to half of that, rounded down: a sample of two columns goes
// where that of their first one is.
void place(int32_t format, uint8_t *part, int32_t part_width, int32_t part_height, uint8_t *whole, int32_t whole_width,
           int32_t whole_height, int32_t x, int32_t y) {
    const PixelLayout layout = pixel_layout(format);
    const size_t w = static_cast<size_t>(part_width), h = static_cast<size_t>(part_height);
    const size_t row = static_cast<size_t>(whole_width), column = static_cast<size_t>(x);
    const size_t top = static_cast<size_t>(y), bytes = layout.pixel_bytes;
    copy_rows({part, w * bytes}, {whole + (top * row + column) * bytes, row * bytes}, h);
    if (!has_chroma_planes(layout)) return;
    part += w * h * bytes;
    whole += row * static_cast<size_t>(whole_height) * bytes;
    const bool pairs = layout.chroma == ChromaLayout::kPairs;
    const size_t part_row = layout.chroma_row_bytes(w), whole_row = layout.chroma_row_bytes(row);
    const size_t into = top / 2 * whole_row + (pairs ? column / 2 * 2 : column / 2);
    for (int plane = 0; plane < (pairs ? 1 : 2); ++plane) {
        copy_rows({part, part_row}, {whole + into, whole_row}, layout.chroma_rows(h));
        part += part_row * layout.chroma_rows(h);
        whole += whole_row * layout.chroma_rows(static_cast<size_t>(whole_height));
    }
}

}  // namespace

int32_t selected_format(int32_t selector) {
    switch (selector) {
        case 0:
            return COLOR_RGBA8888;
        case 1:
            return COLOR_RGB565;
        case 2:
            return COLOR_YUV420;
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
        case COLOR_NV21:
        case COLOR_NV12:
            return selector;
        default:
            return -1;
    }
}

int32_t region_inside(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample) {
    if (!session || !output || sample < 1) return 0;
    DecInfo *child = BRIMJ_CreateTemporaryDecInfo(session, x, y, width, height, sample);
    if (!child) return 0;
    child->outColorFormat = format;
    const uint32_t divisor = static_cast<uint32_t>(sample);
    const int32_t result =
        VORELBRIM_DecodeRegionBase(child, output, static_cast<int32_t>(session->imageWidth / divisor),
                                   static_cast<int32_t>(session->imageHeight / divisor));
    VORELBRIM_DestroyDecInfo(child);
    return result == 1;
}

int32_t region_ex(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height, int32_t selector,
                  int32_t sample) {
    const PixelRectangle wanted = {x, y, width, height};
    const int32_t format = selected_format(selector);
    if (!session || !output || is_empty(wanted) || sample < 1 || format < 0) return 0;
    const uint32_t divisor = static_cast<uint32_t>(sample);
    const PixelRectangle inside = clipped(wanted, session->imageWidth / divisor, session->imageHeight / divisor);
    if (is_same(inside, wanted)) return region_inside(session, output, x, y, width, height, format, sample);
    const bool planar = has_chroma_planes(pixel_layout(format));
    auto *pixels = static_cast<uint8_t *>(output);
    // Required: also where the decode fails or nothing lies inside.
    if (planar) clear_to_black(format, pixels, width, height);
    if (is_empty(inside)) return 0;
    const OsBlock part(allocate_picture(format, inside.width, inside.height));
    if (!part) return 0;
    // A gray JPEG leaves chroma alone.
    if (planar) clear_to_black(format, part.as<uint8_t>(), inside.width, inside.height);
    if (!region_inside(session, part.as<void>(), inside.x, inside.y, inside.width, inside.height, format, sample))
        return 0;
    place(format, part.as<uint8_t>(), inside.width, inside.height, pixels, width, height, inside.x - x, inside.y - y);
    return 1;
}

int32_t region_png_ex(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t selector, int32_t sample) {
    const PixelRectangle wanted = {x, y, width, height};
    if (!index || !output || is_empty(wanted) || sample < 1) return 0;
    if (selected_format(selector) != COLOR_RGBA8888) return 0;
    const PixelRectangle inside =
        clipped(wanted, static_cast<uint32_t>(index->width), static_cast<uint32_t>(index->height));
    if (is_empty(inside)) return 0;
    const auto decode = [&](void *out) {
        return onDecodeVPNGSubset(index, out, inside.x, inside.y, inside.width, inside.height, sample);
    };
    if (is_same(inside, wanted)) return decode(output);
    const int32_t columns = inside.width / sample, rows = inside.height / sample;
    const OsBlock part(allocate_picture(COLOR_RGBA8888, columns, rows));
    if (!part || !decode(part.as<void>())) return 0;
    place(COLOR_RGBA8888, part.as<uint8_t>(), columns, rows, static_cast<uint8_t *>(output), width / sample,
          height / sample, (inside.x - x) / sample, (inside.y - y) / sample);
    return 1;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrDoDecodeRegionEx(DecInfo *handle, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                           int32_t format, int32_t sampleSize) {
    return region_ex(handle, output, x, y, width, height, format, sampleSize);
}

int32_t VrDoDecodeRegionPNGEx(vpng_tile_index *handle, void *output, int32_t x, int32_t y, int32_t width,
                              int32_t height, int32_t format, int32_t sampleSize) {
    return region_png_ex(handle, output, x, y, width, height, format, sampleSize);
}

}  // extern "C"
