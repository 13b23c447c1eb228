// The resizers' driver and the entries of their names.
#include "util/resize.h"

#include <algorithm>
#include <cstring>

#include "util/util.h"

namespace vorel {
namespace {

constexpr int32_t kThreadedHeight = 1024;
constexpr int32_t kLeastBandRows = 32;
constexpr uint8_t kMiddleChroma = 128;

bool frame_fits(ResizeLayout layout, int32_t width, int32_t height) {
    return has_chroma(layout) ? yuv420_frame_fits(width, height)
                              : packed_frame_fits(width, height, static_cast<uint32_t>(luma_unit(layout)));
}

// The size of the picture in its canvas; false for a canvas that does not take it.
bool fit_canvas(const ResizeCanvas &canvas, ResizeRequest *request) {
    const int64_t height = request->src_width < 1 || request->src_height < 1 || canvas.targetWidth < 1
                               ? 0
                               : int64_t{request->src_height} * canvas.targetWidth / request->src_width;
    if (canvas.canvasWidth < int64_t{canvas.targetWidth} + canvas.offsetX || canvas.canvasHeight < height ||
        height == 0)
        return false;
    request->dst = canvas.pixels;
    request->dst_width = canvas.targetWidth;
    request->dst_height = static_cast<int32_t>(height);
    return true;
}

bool is_valid(ResizeLayout layout, const ResizeRequest &request) {
    return request.y && request.dst && (!has_chroma(layout) || request.u) &&
           (layout != ResizeLayout::kPlanar || request.v) &&
           frame_fits(layout, request.src_width, request.src_height) &&
           frame_fits(layout, request.dst_width, request.dst_height) &&
           (!request.canvas || frame_fits(layout, request.canvas->canvasWidth, request.canvas->canvasHeight));
}

// Required: from the plain quotient, doubled up to 32 rows; only a quotient of 0 starts from 2.
int32_t band_rows(int32_t src_height, int32_t dst_height) {
    int32_t rows = src_height / dst_height;
    if (rows < 1) rows = 2;
    while (rows < kLeastBandRows) rows *= 2;
    return rows;
}

void run_whole(const ResizeFamily &family, ResizeBand *band) {
    band->rowsThisBand = band->srcHeight;
    band->chromaRowsThisBand = static_cast<int32_t>((int64_t{band->srcHeight} + 1) / 2);
    family.task(band);
}

// What a resize reads, of the whole frame's rows those with taps, and writes.
uint64_t moved_bytes(ResizeLayout layout, const ResizeBand &band) {
    const auto size = [&](int64_t width, int64_t height) {
        return has_chroma(layout) ? Yuv420(static_cast<int32_t>(width), static_cast<int32_t>(height)).bytes()
                                  : static_cast<uint64_t>(width * height * luma_unit(layout));
    };
    const int64_t rows = std::min<int64_t>(band.srcHeight, int64_t{2} * band.dstHeight);
    return size(band.srcWidth, rows) + size(band.dstWidth, band.dstHeight);
}

// Each band's count of rows is what its successor has moved on by; the last band takes what is left.
void run_bands(const ResizeFamily &family, ResizeBand *first) {
    const int64_t rows = band_rows(first->srcHeight, first->dstHeight);
    const int64_t count = (first->srcHeight + rows / 2) / rows;
    const bool pays = count > 1 && pays_for_threads(moved_bytes(family.layout, *first));
    OsBlock block(!pays ? nullptr : os_allocate_array<ResizeBand>(static_cast<uint64_t>(count)));
    if (!block) return run_whole(family, first);
    auto *bands = block.as<ResizeBand>();
    bands[0] = *first;
    bands[0].bandRows = static_cast<int32_t>(rows);
    for (int64_t i = 1; i < count; ++i) {
        bands[i] = bands[i - 1];
        family.get_pos(&bands[i]);
        bands[i - 1].rowsThisBand = bands[i].rowsThisBand;
        bands[i - 1].chromaRowsThisBand = bands[i].chromaRowsThisBand;
    }
    ResizeBand &last = bands[count - 1];
    last.rowsThisBand = last.srcHeight - last.rowsDone;
    last.chromaRowsThisBand = static_cast<int32_t>((int64_t{last.srcHeight} + 1) / 2) - last.chromaRowsDone;
    TaskGroup group(kFrameThreads);
    for (int64_t i = 0; i < count; ++i) group.add(family.task, &bands[i]);
    group.wait();
}

// Rows of one plane, of samples of `unit` bytes, laid into another at (left, top) as far as they lie inside it.
struct Paste {
    const uint8_t *src;
    ptrdiff_t src_pitch;
    int32_t width, height;
    uint8_t *dst;
    int32_t dst_width, dst_height;
    int64_t left, top;
    int32_t unit;
};
void paste(const Paste &plane) {
    const int64_t first = std::max<int64_t>(0, -plane.left);
    const int64_t end = std::min<int64_t>(plane.width, plane.dst_width - plane.left);
    if (first >= end) return;
    for (int64_t y = std::max<int64_t>(0, -plane.top);
         y < std::min<int64_t>(plane.height, plane.dst_height - plane.top); ++y) {
        std::memcpy(plane.dst + ((plane.top + y) * plane.dst_width + plane.left + first) * plane.unit,
                    plane.src + y * plane.src_pitch + first * plane.unit,
                    static_cast<size_t>((end - first) * plane.unit));
    }
}

// From scratch to a frame of width x height, at (left, top); chroma at half of that.
void paste_planes(ResizeLayout layout, const ResizeBand &band, uint8_t *dst, int32_t width, int32_t height,
                  int32_t left, int32_t top) {
    const ResizeResult result = result_of(layout, band);
    const Yuv420 from(band.dstWidth, band.dstHeight), to(width, height);
    paste({result.base, result.luma_pitch, band.dstWidth, band.dstHeight, dst, width, height, left, top, 1});
    const uint8_t *src = result.base + result.luma_bytes;
    dst += to.luma;
    for (int i = 0; i < (layout == ResizeLayout::kPlanar ? 2 : 1); ++i) {
        paste({src, result.chroma_pitch, from.chroma_width, from.chroma_height, dst, to.chroma_width, to.chroma_height,
               left / 2, top / 2, chroma_unit(layout)});
        src += result.chroma_bytes;
        dst += to.chroma_plane;
    }
}

void clear_canvas(ResizeLayout layout, const ResizeCanvas &canvas) {
    const size_t pixels = static_cast<size_t>(canvas.canvasWidth) * static_cast<size_t>(canvas.canvasHeight);
    std::memset(canvas.pixels, 0, pixels * static_cast<size_t>(luma_unit(layout)));
    if (!has_chroma(layout)) return;
    const Yuv420 frame(canvas.canvasWidth, canvas.canvasHeight);
    std::memset(canvas.pixels + frame.luma, kMiddleChroma, 2 * frame.chroma_plane);
}

}  // namespace

bool resize(const ResizeFamily &family, ResizeWay way, const ResizeRequest &asked) {
    ResizeRequest request = asked;
    if (request.canvas && !fit_canvas(*request.canvas, &request)) return false;
    if (!is_valid(family.layout, request)) return false;

    ResizeBand band = {};
    band.srcWidth = request.src_width;
    band.srcHeight = request.src_height;
    band.dstWidth = request.dst_width;
    band.dstHeight = request.dst_height;
    band.srcY = request.y;
    band.srcU = request.u;
    band.srcV = request.v;
    band.dst = request.dst;
    band.canvas = request.canvas;

    OsBlock scratch;
    if (needs_scratch(family.layout, band)) {
        size_t bytes;
        if (block_fits(2 * static_cast<uint64_t>(padded(band.dstWidth)), static_cast<uint64_t>(padded(band.dstHeight)),
                       &bytes))
            scratch.reset(os_allocate(bytes));
        if (!scratch) return false;
        band.scratch = scratch.as<uint8_t>();
    }
    start_band(family.layout, &band);
    ResizePlan plan;
    plan.build(family.layout, band);
    band.plan = &plan;
    if (request.canvas) clear_canvas(family.layout, *request.canvas);
    if (way == ResizeWay::kThreaded || (way == ResizeWay::kChosen && band.srcHeight >= kThreadedHeight)) {
        run_bands(family, &band);
    } else {
        run_whole(family, &band);
    }
    if (scratch && request.canvas) {
        paste_planes(family.layout, band, band.dst, request.canvas->canvasWidth, request.canvas->canvasHeight,
                     request.canvas->offsetX, request.canvas->offsetY);
    } else if (scratch) {
        paste_planes(family.layout, band, band.dst, band.dstWidth, band.dstHeight, 0, 0);
    }
    return true;
}

const ResizeFamily kPlanesFamily = {ResizeLayout::kPlanar, vorel_resize_y_u_v_tp, vorel_resize_y_u_v_get_pos};
const ResizeFamily kPairsFamily = {ResizeLayout::kPairs, vorel_resize_y_nv21_tp, vorel_resize_nv21_get_pos};

namespace {

constexpr ResizeFamily kFrameFamily = {ResizeLayout::kPlanar, vorel_resize_yuv420_tp, vorel_resize_yuv420_get_pos};
constexpr ResizeFamily kNv21Family = {ResizeLayout::kPairs, vorel_resize_nv21_tp, vorel_resize_nv21_get_pos};
constexpr ResizeFamily kRgbaFamily = {ResizeLayout::kRgba, vorel_resize_rgba8888_tp, vorel_resize_rgba8888_get_pos};
// Always in one piece: its task is run by no pool and has no exported name.
constexpr ResizeFamily kRgbFamily = {
    ResizeLayout::kRgb, [](void *band) { return run_band(ResizeLayout::kRgb, static_cast<ResizeBand *>(band)); },
    nullptr};
constexpr ResizeFamily kRgbaCanvasFamily = {ResizeLayout::kRgba, vorel_resize_rgba8888_keep_ratio_tp,
                                            vorel_resize_rgba8888_get_pos_keep_ratio};

// Planes that stand behind one another. Nothing is read of a frame that does not fit.
bool resize_frame(const ResizeFamily &family, ResizeWay way, const uint8_t *src, uint8_t *dst, int32_t src_width,
                  int32_t src_height, int32_t dst_width, int32_t dst_height) {
    if (!src || !yuv420_frame_fits(src_width, src_height)) return false;
    const Yuv420 layout(src_width, src_height);
    const uint8_t *chroma = src + layout.luma;
    return resize(
        family, way,
        {src, chroma, chroma + layout.chroma_plane, src_width, src_height, dst, dst_width, dst_height, nullptr});
}

void resize_packed(const ResizeFamily &family, ResizeWay way, const uint8_t *src, uint8_t *dst, int32_t src_width,
                   int32_t src_height, int32_t dst_width, int32_t dst_height) {
    resize(family, way, {src, nullptr, nullptr, src_width, src_height, dst, dst_width, dst_height, nullptr});
}

void resize_packed_into(ResizeWay way, const uint8_t *src, const ResizeCanvas *canvas, int32_t src_width,
                        int32_t src_height) {
    if (!canvas) return;
    resize(kRgbaCanvasFamily, way, {src, nullptr, nullptr, src_width, src_height, nullptr, 0, 0, canvas});
}

}  // namespace

bool resize_yuv420(bool pairs, const uint8_t *src, uint8_t *dst, int32_t src_width, int32_t src_height,
                   int32_t dst_width, int32_t dst_height) {
    return resize_frame(pairs ? kNv21Family : kFrameFamily, ResizeWay::kChosen, src, dst, src_width, src_height,
                        dst_width, dst_height);
}
}  // namespace vorel

using namespace vorel;

void vorel_resize_y_u_v(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst, int32_t srcWidth,
                        int32_t srcHeight, int32_t dstWidth, int32_t dstHeight) {
    resize(kPlanesFamily, ResizeWay::kChosen, {y, u, v, srcWidth, srcHeight, dst, dstWidth, dstHeight, nullptr});
}
void vorel_resize_y_u_v_keep_ratio(const uint8_t *y, const uint8_t *u, const uint8_t *v, ResizeCanvas *canvas,
                                   int32_t srcWidth, int32_t srcHeight) {
    if (!canvas) return;
    resize(kPlanesFamily, ResizeWay::kChosen, {y, u, v, srcWidth, srcHeight, nullptr, 0, 0, canvas});
}
void vorel_resize_y_u_v_sg(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst, int32_t srcWidth,
                           int32_t srcHeight, int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas) {
    resize(kPlanesFamily, ResizeWay::kSingle, {y, u, v, srcWidth, srcHeight, dst, dstWidth, dstHeight, canvas});
}
void vorel_resize_y_u_v_tps(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *dst, int32_t srcWidth,
                            int32_t srcHeight, int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas) {
    resize(kPlanesFamily, ResizeWay::kThreaded, {y, u, v, srcWidth, srcHeight, dst, dstWidth, dstHeight, canvas});
}

void vorel_resize_y_nv21(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                         int32_t dstWidth, int32_t dstHeight) {
    resize(kPairsFamily, ResizeWay::kChosen, {y, uv, nullptr, srcWidth, srcHeight, dst, dstWidth, dstHeight, nullptr});
}
void vorel_resize_y_nv21_keep_ratio(const uint8_t *y, const uint8_t *uv, ResizeCanvas *canvas, int32_t srcWidth,
                                    int32_t srcHeight) {
    if (!canvas) return;
    resize(kPairsFamily, ResizeWay::kChosen, {y, uv, nullptr, srcWidth, srcHeight, nullptr, 0, 0, canvas});
}
void vorel_resize_y_nv21_sg(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                            int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas) {
    resize(kPairsFamily, ResizeWay::kSingle, {y, uv, nullptr, srcWidth, srcHeight, dst, dstWidth, dstHeight, canvas});
}
void vorel_resize_y_nv21_tps(const uint8_t *y, const uint8_t *uv, uint8_t *dst, int32_t srcWidth, int32_t srcHeight,
                             int32_t dstWidth, int32_t dstHeight, ResizeCanvas *canvas) {
    resize(kPairsFamily, ResizeWay::kThreaded, {y, uv, nullptr, srcWidth, srcHeight, dst, dstWidth, dstHeight, canvas});
}

// The entries from one buffer to another: FUNCTION with these arguments in front.
#define VOREL_RESIZE_ENTRY(NAME, FUNCTION, ...)                                                        \
    void NAME(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, \
              int32_t dstHeight) {                                                                     \
        FUNCTION(__VA_ARGS__, src, dst, srcWidth, srcHeight, dstWidth, dstHeight);                     \
    }
VOREL_RESIZE_ENTRY(vorel_resize_yuv420, resize_frame, kFrameFamily, ResizeWay::kChosen)
VOREL_RESIZE_ENTRY(vorel_resize_yuv420_sg, resize_frame, kFrameFamily, ResizeWay::kSingle)
VOREL_RESIZE_ENTRY(vorel_resize_yuv420_tps, resize_frame, kFrameFamily, ResizeWay::kThreaded)
VOREL_RESIZE_ENTRY(vorel_resize_nv21, resize_frame, kNv21Family, ResizeWay::kChosen)
VOREL_RESIZE_ENTRY(vorel_resize_nv21_sg, resize_frame, kNv21Family, ResizeWay::kSingle)
VOREL_RESIZE_ENTRY(vorel_resize_nv21_tps, resize_frame, kNv21Family, ResizeWay::kThreaded)
VOREL_RESIZE_ENTRY(vorel_resize_rgba8888, resize_packed, kRgbaFamily, ResizeWay::kChosen)
VOREL_RESIZE_ENTRY(vorel_resize_rgba8888_sg, resize_packed, kRgbaFamily, ResizeWay::kSingle)
VOREL_RESIZE_ENTRY(vorel_resize_rgba8888_tps, resize_packed, kRgbaFamily, ResizeWay::kThreaded)
VOREL_RESIZE_ENTRY(vorel_resize_rgb888, resize_packed, kRgbFamily, ResizeWay::kSingle)

#define VOREL_RESIZE_CANVAS_ENTRY(NAME, WAY)                                                   \
    void NAME(const uint8_t *src, ResizeCanvas *canvas, int32_t srcWidth, int32_t srcHeight) { \
        resize_packed_into(WAY, src, canvas, srcWidth, srcHeight);                             \
    }
VOREL_RESIZE_CANVAS_ENTRY(vorel_resize_rgba8888_keep_ratio, ResizeWay::kChosen)
VOREL_RESIZE_CANVAS_ENTRY(vorel_resize_rgba8888_keep_ratio_sg, ResizeWay::kSingle)
VOREL_RESIZE_CANVAS_ENTRY(vorel_resize_rgba8888_keep_ratio_tps, ResizeWay::kThreaded)

#define VOREL_RESIZE_TASK(NAME, LAYOUT) \
    void *NAME(void *resizeBand) { return run_band(LAYOUT, static_cast<ResizeBand *>(resizeBand)); }
VOREL_RESIZE_TASK(vorel_resize_y_u_v_tp, ResizeLayout::kPlanar)
VOREL_RESIZE_TASK(vorel_resize_yuv420_tp, ResizeLayout::kPlanar)
VOREL_RESIZE_TASK(vorel_resize_nv21_tp, ResizeLayout::kPairs)
VOREL_RESIZE_TASK(vorel_resize_y_nv21_tp, ResizeLayout::kPairs)
VOREL_RESIZE_TASK(vorel_resize_rgba8888_tp, ResizeLayout::kRgba)
VOREL_RESIZE_TASK(vorel_resize_rgba8888_keep_ratio_tp, ResizeLayout::kRgba)

void vorel_resize_y_u_v_get_pos(ResizeBand *band) { skip_band(ResizeLayout::kPlanar, band); }
void vorel_resize_yuv420_get_pos(ResizeBand *band) { skip_band(ResizeLayout::kPlanar, band); }
void vorel_resize_nv21_get_pos(ResizeBand *band) { skip_band(ResizeLayout::kPairs, band); }
void vorel_resize_rgba8888_get_pos(ResizeBand *band) { skip_band(ResizeLayout::kRgba, band); }
void vorel_resize_rgba8888_get_pos_keep_ratio(ResizeBand *band) { skip_band(ResizeLayout::kRgba, band); }
