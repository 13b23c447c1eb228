#include "bindings/c/region_overhang.h"

#include <algorithm>
#include <cstring>

#include "bindings/c/picture_bytes.h"
#include "core/core.h"
#include "jpeg/decoder/decoder.h"

namespace vorel {
namespace {

struct Extent {
    int32_t x, y, width, height;
    bool empty() const { return width < 1 || height < 1; }
};

// What of the rectangle lies within width x height.
Extent clip(const Extent &wanted, int32_t width, int32_t height) {
    const int64_t right = std::min(int64_t{wanted.x} + wanted.width, int64_t{width});
    const int64_t bottom = std::min(int64_t{wanted.y} + wanted.height, int64_t{height});
    const int32_t x = std::max(wanted.x, 0), y = std::max(wanted.y, 0);
    if (right <= x || bottom <= y) return {x, y, 0, 0};
    return {x, y, static_cast<int32_t>(right - x), static_cast<int32_t>(bottom - y)};
}

// One plane of a picture.
struct Plane {
    uint8_t *data;
    size_t row_bytes, rows;
    uint8_t black;
    uint8_t *row(size_t index) const { return data + index * row_bytes; }
};

// The planes of a picture, and how a place in it is found in them.
struct Planes {
    Plane plane[3];
    int count;
    size_t unit[3];  // bytes of a sample, or of a pair
    size_t across[3], down[3];

    Planes(void *data, int32_t format, int32_t width, int32_t height) {
        const PixelLayout layout = pixel_layout(format);
        const size_t columns = static_cast<size_t>(width), rows = static_cast<size_t>(height);
        size_t row_bytes = columns * layout.pixel_bytes;
        if (format == COLOR_YUYV) row_bytes += row_bytes & 3;
        uint8_t *at = static_cast<uint8_t *>(data);
        plane[0] = {at, row_bytes, rows, 0};
        unit[0] = layout.pixel_bytes;
        across[0] = down[0] = 1;
        const bool pairs = layout.chroma == ChromaLayout::kPairs;
        count = layout.chroma == ChromaLayout::kPlanes ? 3 : pairs ? 2 : 1;
        at += row_bytes * rows;
        for (int i = 1; i < count; ++i) {
            plane[i] = {at, layout.chroma_row_bytes(columns), layout.chroma_rows(rows), 128};
            unit[i] = pairs ? 2 : 1;
            across[i] = layout.half_width ? 2 : 1;
            down[i] = layout.half_height ? 2 : 1;
            at += plane[i].row_bytes * plane[i].rows;
        }
    }
};

// Puts a smaller picture into a larger one, its corner at (x, y). A chroma row goes with the even one of its luma rows.
void place(const Planes &from, const Planes &to, size_t x, size_t y) {
    for (int i = 0; i < to.count; ++i) {
        const Plane &source = from.plane[i], &target = to.plane[i];
        const size_t left = x / to.across[i] * to.unit[i];
        const size_t bytes = std::min(source.row_bytes, target.row_bytes - left);
        // With an odd y the first row of the smaller picture has no chroma row of its own above it.
        const size_t first = (y + to.down[i] - 1) / to.down[i];
        for (size_t row = first; row < target.rows; ++row) {
            const size_t luma_row = row * to.down[i] - y;
            if (luma_row >= from.plane[0].rows) break;
            std::memcpy(target.row(row) + left, source.row(luma_row / to.down[i]), bytes);
        }
    }
}

void clear_to_black(const Planes &planes) {
    if (planes.count == 1) return;
    for (int i = 0; i < planes.count; ++i) {
        const Plane &plane = planes.plane[i];
        std::memset(plane.data, plane.black, plane.row_bytes * plane.rows);
    }
}

// Decodes what is inside, by decode(output), into memory of its own, and places it.
template <typename Decode>
int32_t decode_clipped(void *output, int32_t format, const Extent &whole, const Extent &inside, int64_t x, int64_t y,
                       const Decode &decode) {
    const Planes target(output, format, whole.width, whole.height);
    clear_to_black(target);
    size_t bytes;
    if (inside.empty() || !picture_bytes(format, inside.width, inside.height, &bytes)) return 0;
    // Rows that a broken stream does not have are no memory of others.
    const OsBlock part(os_allocate_zeroed(bytes));
    if (!part) return 0;
    const Planes planes(part.as<void>(), format, inside.width, inside.height);
    // Nor does a gray JPEG have chroma.
    clear_to_black(planes);
    if (decode(part.as<void>()) != 1) return 0;
    place(planes, target, static_cast<size_t>(x), static_cast<size_t>(y));
    return 1;
}

}  // namespace

int32_t region_inside(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample) {
    if (!session || !output || sample < 1) return 0;
    return decode_region_as(session, format, output, static_cast<int32_t>(session->imageWidth) / sample,
                            static_cast<int32_t>(session->imageHeight) / sample, x, y, width, height, sample);
}

int32_t region_ex(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height, int32_t format,
                  int32_t sample) {
    size_t bytes;
    if (!session || !output || sample < 1 || !picture_bytes(format, width, height, &bytes)) return 0;
    const Extent wanted = {x, y, width, height};
    const Extent inside = clip(wanted, static_cast<int32_t>(session->imageWidth) / sample,
                               static_cast<int32_t>(session->imageHeight) / sample);
    if (inside.width == width && inside.height == height) {
        return region_inside(session, output, x, y, width, height, format, sample);
    }
    return decode_clipped(
        output, format, wanted, inside, int64_t{inside.x} - x, int64_t{inside.y} - y, [&](void *part) {
            return region_inside(session, part, inside.x, inside.y, inside.width, inside.height, format, sample);
        });
}

int32_t region_png_ex(vpng_tile_index *index, void *output, int32_t x, int32_t y, int32_t width, int32_t height,
                      int32_t format, int32_t sample) {
    if (!index || !output || sample < 1 || width < sample || height < sample) return 0;
    if (format != COLOR_RGBA8888 && format != COLOR_BGRA8888) return 0;
    const Extent inside = clip({x, y, width, height}, index->width, index->height);
    if (inside.width == width && inside.height == height) {
        return onDecodeVPNGSubset(index, output, x, y, width, height, sample);
    }
    const Extent reduced = {0, 0, width / sample, height / sample};
    const Extent part_size = {0, 0, inside.width / sample, inside.height / sample};
    return decode_clipped(output, format, reduced, part_size, (int64_t{inside.x} - x) / sample,
                          (int64_t{inside.y} - y) / sample, [&](void *part) {
                              return onDecodeVPNGSubset(index, part, inside.x, inside.y, inside.width, inside.height,
                                                        sample);
                          });
}

}  // namespace vorel
