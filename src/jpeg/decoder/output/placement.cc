// Where the picture, or the window of it, stands in the caller's buffer.
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

// Planes of a rectangle of width x height pixels, and the pixel (x, y) in each of them. pair_x is where the pairs of
// pixels begin that share chroma bytes: x, or the even column of the picture before it.
void place_planes(OutputPlanes *planes, int32_t format, uint8_t *base, ptrdiff_t width, ptrdiff_t height, ptrdiff_t x,
                  ptrdiff_t pair_x, ptrdiff_t y) {
    const PixelLayout layout = pixel_layout(format);
    planes->rowStep = width;
    planes->pixelStep = 1;
    planes->outPlanes[0] = base + x + width * y;
    if (layout.chroma == ChromaLayout::kPacked) {
        planes->rowStep = 2 * width + (2 * width & 3);
        planes->outPlanes[0] = base + 2 * pair_x + (2 * pair_x & 3) + planes->rowStep * y;
    }
    if (layout.chroma != ChromaLayout::kPlanes && layout.chroma != ChromaLayout::kPairs) return;
    planes->chroma_bytes = static_cast<ptrdiff_t>(layout.chroma_row_bytes(static_cast<size_t>(width)));
    const auto chroma_rows = static_cast<ptrdiff_t>(layout.chroma_rows(static_cast<size_t>(height)));
    // Required: an odd x moves pairs by one byte.
    const ptrdiff_t column = layout.chroma == ChromaLayout::kPairs ? pair_x : layout.half_width ? x / 2 : x;
    const ptrdiff_t row = layout.half_height ? y / 2 : y;
    planes->outPlanes[1] = base + width * height + column + planes->chroma_bytes * row;
    if (layout.chroma == ChromaLayout::kPlanes)
        planes->outPlanes[2] = planes->outPlanes[1] + planes->chroma_bytes * chroma_rows;
}

// A picture of width x height pixels, turned, whose rectangle begins at (x, y) of rows of `stride` pixels.
void place_pixels(OutputPlanes *planes, uint32_t rotation, ptrdiff_t size, uint8_t *base, ptrdiff_t stride, ptrdiff_t x,
                  ptrdiff_t y, ptrdiff_t width, ptrdiff_t height) {
    const TurnedRows rows = turned_rows(rotation, stride, x, y, width, height);
    planes->pixelStep = static_cast<ptrdiff_t>(rows.pixel_step) * size;
    planes->rowStep = static_cast<ptrdiff_t>(rows.row_step) * size;
    planes->outPlanes[0] = base + static_cast<ptrdiff_t>(rows.origin) * size;
}

int32_t clip(int64_t value, int64_t low, int64_t high) {
    return static_cast<int32_t>(value < low ? low : value > high ? high : value);
}

// The window in output coordinates: the crop, or what the session asks for of it.
void find_window(JpegInfo *info) {
    const DecInfo *session = info->decInfo;
    const int32_t left = info->plan.decodeOffsetX, top = info->plan.decodeOffsetY;
    const int32_t right = left + info->plan.cropWidth, bottom = top + info->plan.cropHeight;
    info->plan.window = {left, top, info->plan.cropWidth, info->plan.cropHeight};
    if (!session->partialDecode) return;
    const int32_t x = clip(static_cast<int32_t>(session->partialX), left, right);
    const int32_t y = clip(static_cast<int32_t>(session->partialY), top, bottom);
    info->plan.window = {
        x, y,
        clip(int64_t{static_cast<int32_t>(session->partialX)} + static_cast<int32_t>(session->partialWidth), x, right) -
            x,
        clip(int64_t{static_cast<int32_t>(session->partialY)} + static_cast<int32_t>(session->partialHeight), y,
             bottom) -
            y};
}

}  // namespace

void place_output(JpegInfo *info, const FrameRequest *request) {
    const DecInfo *session = info->decInfo;
    uint8_t *base = static_cast<uint8_t *>(request->outputBuffer);
    const bool turned = info->plan.rotation & 4;
    find_window(info);
    // A record may be set up for its plan alone.
    if (!base) return;

    // The rectangle that rows belong to, and where the picture (or its window) stands in it.
    int32_t stride = info->plan.targetWidth, rows = info->plan.targetHeight;
    int32_t shown_w = info->plan.cropWidth, shown_h = info->plan.cropHeight;
    const bool compact_window = session->partialDecode && !session->partialToBuffer;
    const bool placed_window = session->partialDecode && session->partialToBuffer;
    if (compact_window) {
        shown_w = static_cast<int32_t>(session->partialWidth);
        shown_h = static_cast<int32_t>(session->partialHeight);
    }
    const int32_t turned_w = turned ? shown_h : shown_w, turned_h = turned ? shown_w : shown_h;
    int32_t x = (stride - turned_w) / 2, y = (rows - turned_h) / 2;
    const uint32_t fit = session->decOption & kFitMask;
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED) {
        stride = turned_w;
        rows = turned_h;
    }
    if (compact_window || fit == VOREL_OPTION_FIT_PACKED || fit == VOREL_OPTION_FIT_TOP_LEFT) x = y = 0;

    if (is_pixel_format(info->plan.outColorFormat)) {
        // A window that goes to the whole target's rows is handed in at its own first pixel.
        const int32_t w = placed_window ? info->plan.window.width : shown_w;
        const int32_t h = placed_window ? info->plan.window.height : shown_h;
        place_pixels(&info->out.planes, info->plan.rotation, pixel_layout(info->plan.outColorFormat).pixel_bytes, base,
                     stride, x, y, w, h);
    } else {
        // Planes are found from the whole target's rectangle. A window's own pairs go to whole pairs of the picture.
        int32_t pair_x = x;
        if (placed_window) {
            const int32_t across = info->plan.window.x - info->plan.decodeOffsetX;
            x += across;
            pair_x += across & ~1;
            y += info->plan.window.y - info->plan.decodeOffsetY;
        }
        place_planes(&info->out.planes, info->plan.outColorFormat, base, stride, rows, x, pair_x, y);
    }
}

FetchAhead lines_to_write(const JpegInfo *info, int32_t first_mcu, int32_t rows) {
    const OutputPlan &plan = info->plan;
    if (plan.resample != Resample::kNone || plan.rotation != 0) return {};
    const int32_t bytes = static_cast<int32_t>(pixel_layout(plan.outColorFormat).pixel_bytes);
    const int64_t column = int64_t{first_mcu} * plan.mcu_output_columns - plan.window.x;
    const int64_t row = info->out.outputRowCounter, left = plan.window.height - row;
    // As a number: it may lie beside the picture.
    const uintptr_t base = reinterpret_cast<uintptr_t>(info->out.planes.outPlanes[0]);
    return {base + static_cast<uintptr_t>(row * info->out.planes.rowStep + (column < 0 ? 0 : column) * bytes),
            info->out.planes.rowStep, static_cast<int32_t>(left < rows ? left : rows), plan.mcu_output_columns * bytes,
            0};
}

}  // namespace vorel
