// Where a session's pixels begin: planes behind one another or apart, of the whole picture or of a strip.
#include "jpeg/encoder/strip_layout.h"

namespace vorel {
namespace {

// Chroma planes of a format: width and rows in bytes, and how many rows of the picture share one of theirs.
struct ChromaPlane {
    uint64_t width, height;
    uint32_t rows;
};
ChromaPlane chroma_plane(uint32_t format, uint64_t width, uint64_t height) {
    const uint64_t half_width = (width + 1) / 2, half_height = (height + 1) / 2;
    switch (format) {
        case COLOR_YUV420:
            return {half_width, half_height, 2};
        case COLOR_YUV422:
            return {half_width, height, 1};
        case COLOR_YUV440:
            return {width, half_height, 2};
        case COLOR_YUV444:
            return {width, height, 1};
        default:
            return {2 * half_width, half_height, 2};  // pairs
    }
}

constexpr uint32_t kMostFrameHeight = 65535;  // that a frame header can say

// Strips of these formats find their place in the picture by themselves; of others the pixels begin at the strip.
bool is_inside(const RawInfo &raw, uint32_t format) {
    const bool finds_place = strip_pixel_bytes(format) == 0 || (format == COLOR_GRAY && !raw.pixels);
    return !raw.stripMode || !finds_place ||
           (raw.fullHeight <= kMostFrameHeight &&
            uint64_t{raw.stripStartRow} + static_cast<uint32_t>(raw.height) <= raw.fullHeight);
}

}  // namespace

bool place_input(JEInfo *session, const RawInfo *raw) {
    const uint64_t width = raw->width, top = raw->stripMode ? raw->stripStartRow : 0;
    const uint64_t height = raw->stripMode ? raw->fullHeight : static_cast<uint32_t>(raw->height);
    uint8_t **cursor = session->planeCursor, *pixels = raw->pixels;
    session->inputBase = pixels;
    const uint32_t format = session->inputFormat;
    if (!is_inside(*raw, format)) return false;
    switch (format) {
        case COLOR_GRAY:
            cursor[0] = pixels ? pixels : raw->planeY ? raw->planeY + width * top : nullptr;
            return true;
        case COLOR_YUYV:
            if (!pixels) return true;
            cursor[0] = pixels + top * (2 * width + (2 * width & 3));
            cursor[1] = cursor[0] + 1;
            cursor[2] = cursor[0] + 3;
            return true;
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_YUV440:
        case COLOR_YUV444:
        case COLOR_NV21:
        case COLOR_NV12:
            break;
        default:
            return true;  // interleaved pixels are read from inputBase
    }
    const ChromaPlane chroma = chroma_plane(format, width, height);
    const uint64_t plane = chroma.width * chroma.height,
                   skipped = chroma.width * ((top + chroma.rows - 1) / chroma.rows);
    uint8_t *y = pixels ? pixels : raw->planeY;
    uint8_t *u = pixels ? pixels + width * height : raw->planeU;
    if (!y || !u) return true;
    const bool pairs = format == COLOR_NV21 || format == COLOR_NV12;
    for (uint32_t i = 1; i < session->componentCount; ++i) {
        const JEComponent &component = session->components[i];
        const uint64_t samples = uint64_t{component.sampledWidth} * component.sampledHeight;
        if (skipped + samples * (pairs ? 2 : 1) > plane) return false;
    }
    cursor[0] = y + width * top;
    if (pairs) {
        session->work->pairsEnd = u + plane;
        cursor[1] = u + skipped + (format == COLOR_NV21 ? 1 : 0);
        cursor[2] = u + skipped + (format == COLOR_NV21 ? 0 : 1);
        return true;
    }
    uint8_t *v = pixels ? u + plane : raw->planeV;
    cursor[1] = u + skipped;
    cursor[2] = v ? v + skipped : nullptr;
    return true;
}

}  // namespace vorel
