// Bands of a resize.
#include "util/resize_bands.h"

#include <algorithm>

#include "util/atomics.h"
#include "util/kernels/prefetch.h"

namespace vorel {
namespace {

// The running state of one plane in a band's record. The targets and the accumulator count modulo 2^32: a target is
// never behind the accumulator, and less than both sizes in front of it.
struct RowState {
    int32_t *rows_done, *tap_a, *tap_b, *accumulator;
    size_t *first_row, *second_row;  // byte offsets in the result's plane
};
RowState luma_state(ResizeBand *band) {
    return {&band->rowsDone, &band->tapA, &band->tapB, &band->accumulator, &band->firstTapRow, &band->secondTapRow};
}
RowState chroma_state(ResizeBand *band) {
    return {&band->chromaRowsDone,    &band->chromaTapA,        &band->chromaTapB,
            &band->chromaAccumulator, &band->chromaFirstTapRow, &band->chromaSecondTapRow};
}

int32_t half_up(int32_t size) { return static_cast<int32_t>((int64_t{size} + 1) / 2); }
uint32_t word(int32_t value) { return static_cast<uint32_t>(value); }

void start_rows(const RowState &state, int32_t src_height, size_t first_row) {
    *state.rows_done = *state.accumulator = 0;
    *state.tap_a = src_height >> 2;
    *state.tap_b = static_cast<int32_t>((int64_t{3} * src_height) >> 2);
    *state.first_row = *state.second_row = first_row;
}

// Goes over `rows` source rows; emit(first, second) is given the two source rows of each destination row whose first
// tap is among them, before the state of the first taps moves on to the next destination row, `pitch` bytes further.
// The second taps have a state of their own, which is where they stand at the band's end; what a row's second tap is
// follows from its first one's target, half the source's height behind (and 1 where the quarters' rests make it so).
template <typename Emit>
void walk_rows(const RowState &state, int32_t rows, int32_t src_height, int32_t dst_height, ptrdiff_t pitch,
               const Emit &emit) {
    const uint32_t step = word(src_height), size = word(dst_height);
    const uint32_t apart = word(static_cast<int32_t>((int64_t{3} * src_height >> 2) - (src_height >> 2)));
    uint32_t tap_a = word(*state.tap_a), tap_b = word(*state.tap_b), accumulator = word(*state.accumulator);
    for (int32_t left = rows; left > 0; --left, ++*state.rows_done, accumulator += size) {
        for (; tap_a - accumulator < size; tap_a += step) {
            emit(*state.rows_done, *state.rows_done + static_cast<int64_t>((tap_a + apart - accumulator) / size));
            *state.first_row += static_cast<size_t>(pitch);
        }
        for (; tap_b - accumulator < size; tap_b += step) *state.second_row += static_cast<size_t>(pitch);
    }
    *state.tap_a = static_cast<int32_t>(tap_a);
    *state.tap_b = static_cast<int32_t>(tap_b);
    *state.accumulator = static_cast<int32_t>(accumulator);
}

// The planes of one kind in a band: one, or U and V, which share their state.
struct BandPlanes {
    const uint8_t *src[2];
    uint8_t *dst[2];
    int count;
    int32_t src_height, dst_height, rows;
    ptrdiff_t src_stride, pitch;
    int32_t first_row, end_row;  // wanted ones
    size_t start;                // offset of row 0
};

// One destination row: its source rows, and where it goes.
struct RowTaps {
    int64_t first, second;
    ptrdiff_t to;
};

// A row is made when the one behind it is known, whose source rows are asked for meanwhile.
void run_plane(const RowState &state, const BandPlanes &planes, int plane, const ColumnTaps &taps) {
    const auto resize_row = util_kernels().resize_row;
    const auto bytes = [&](int64_t rows) { return static_cast<ptrdiff_t>(rows) * planes.src_stride; };
    const bool large = static_cast<size_t>(bytes(planes.src_height)) > kPrefetchedBytes;
    const uint8_t *src = planes.src[plane];
    uint8_t *dst = planes.dst[plane] + ptrdiff_t{taps.first_column} * taps.unit;
    int64_t row = (static_cast<ptrdiff_t>(*state.first_row) - static_cast<ptrdiff_t>(planes.start)) / planes.pitch;
    RowTaps last = {};
    bool any = false;
    const auto make_last = [&](const RowTaps &next) {
        if (!any) return;
        resize_row(taps,
                   {src + bytes(last.first), large ? bytes(next.first - last.first) : 0, src + bytes(last.second),
                    large ? bytes(next.second - last.second) : 0},
                   dst + last.to);
    };
    walk_rows(state, planes.rows, planes.src_height, planes.dst_height, planes.pitch,
              [&](int64_t first, int64_t second) {
                  const bool wanted = row >= planes.first_row && row < planes.end_row && first < planes.src_height &&
                                      second < planes.src_height;
                  ++row;
                  if (!wanted) return;
                  const RowTaps next = {first, second, static_cast<ptrdiff_t>(*state.first_row)};
                  make_last(next);
                  last = next;
                  any = true;
              });
    make_last(last);
}

void run_planes(const RowState &state, const BandPlanes &planes, const ColumnTaps &taps) {
    // Plane by plane, as memory likes it: U walks a copy of the state that V moves on.
    if (planes.count == 2) {
        int32_t rows_done = *state.rows_done, tap_a = *state.tap_a, tap_b = *state.tap_b,
                accumulator = *state.accumulator;
        size_t first_row = *state.first_row, second_row = *state.second_row;
        run_plane({&rows_done, &tap_a, &tap_b, &accumulator, &first_row, &second_row}, planes, 0, taps);
    }
    run_plane(state, planes, planes.count - 1, taps);
}

size_t first_row_offset(ResizeLayout layout, const ResizeBand &band) {
    if (layout != ResizeLayout::kRgba || !band.canvas) return 0;
    // Negative where the picture begins outside the canvas; the sum comes out right modulo 2^64.
    const int64_t pixels = int64_t{band.canvas->offsetY} * band.canvas->canvasWidth + band.canvas->offsetX;
    return static_cast<size_t>(static_cast<uint64_t>(pixels) * 4);
}

ptrdiff_t luma_stride(ResizeLayout layout, const ResizeBand &band) {
    return ptrdiff_t{band.srcWidth} * luma_unit(layout);
}
ptrdiff_t chroma_stride(ResizeLayout layout, const ResizeBand &band) {
    return ptrdiff_t{half_up(band.srcWidth)} * chroma_unit(layout);
}

// Of `size` positions from `offset` on, those that lie inside a canvas.
void clip(int64_t offset, int32_t size, int32_t canvas, int32_t *first, int32_t *end) {
    *first = static_cast<int32_t>(std::clamp<int64_t>(-offset, 0, size));
    *end = static_cast<int32_t>(std::clamp<int64_t>(canvas - offset, *first, size));
}

}  // namespace

void PlaneColumns::build(int32_t src, int32_t dst, int32_t unit, int32_t first, int32_t count) {
    taps_ = {src, dst, unit, first, count, nullptr, nullptr};
    const int32_t blocks = tap_blocks(taps_);
    // Chunks hold their offsets in 32 bits.
    if (blocks == 0 || int64_t{src} * unit > INT32_MAX || step_without_chunks(taps_) > 0 ||
        util_kernels().resize_row == scalar_util_kernels().resize_row)
        return;
    chunk_ends_.reset(os_allocate_array<int32_t>(static_cast<uint64_t>(blocks)));
    if (!chunk_ends_) return;
    const int64_t chunks = make_tap_chunks(taps_, chunk_ends_.as<int32_t>(), nullptr);
    chunks_.reset(os_allocate_array<TapChunk>(static_cast<uint64_t>(chunks)));
    if (!chunks_) return;
    make_tap_chunks(taps_, chunk_ends_.as<int32_t>(), chunks_.as<TapChunk>());
    taps_.chunks = chunks_.as<TapChunk>();
    taps_.chunk_ends = chunk_ends_.as<int32_t>();
}

void ResizePlan::build(ResizeLayout layout, const ResizeBand &band) {
    end_row_ = band.dstHeight;
    int32_t first = 0, end = band.dstWidth;
    if (layout == ResizeLayout::kRgba && band.canvas) {
        clip(band.canvas->offsetX, band.dstWidth, band.canvas->canvasWidth, &first, &end);
        clip(band.canvas->offsetY, band.dstHeight, band.canvas->canvasHeight, &first_row_, &end_row_);
        if (first == end) end_row_ = first_row_;
    }
    luma_.build(band.srcWidth, band.dstWidth, luma_unit(layout), first, end - first);
    if (!has_chroma(layout)) return;
    const int32_t chroma_width = half_up(band.dstWidth);
    chroma_.build(half_up(band.srcWidth), chroma_width, chroma_unit(layout), 0, chroma_width);
}

bool needs_scratch(ResizeLayout layout, const ResizeBand &band) {
    return has_chroma(layout) && (band.canvas || band.dstWidth % 4 != 0 || band.dstHeight % 4 != 0);
}

ResizeResult result_of(ResizeLayout layout, const ResizeBand &band) {
    const bool scratch = needs_scratch(layout, band);
    const int64_t width = scratch ? padded(band.dstWidth) : band.dstWidth;
    const int64_t height = scratch ? padded(band.dstHeight) : band.dstHeight;
    const int64_t chroma_width = (width + 1) / 2 * chroma_unit(layout), chroma_height = (height + 1) / 2;
    const int64_t pitch = layout == ResizeLayout::kRgba && band.canvas ? int64_t{band.canvas->canvasWidth} * 4
                                                                       : width * luma_unit(layout);
    return {scratch ? band.scratch : band.dst, static_cast<ptrdiff_t>(pitch), static_cast<ptrdiff_t>(chroma_width),
            static_cast<size_t>(pitch * height), static_cast<size_t>(chroma_width * chroma_height)};
}

void start_band(ResizeLayout layout, ResizeBand *band) {
    start_rows(luma_state(band), band->srcHeight, first_row_offset(layout, *band));
    start_rows(chroma_state(band), half_up(band->srcHeight), 0);
    band->srcOffset = band->chromaSrcOffset = 0;
}

void skip_band(ResizeLayout layout, ResizeBand *band) {
    if (!band || band->dstWidth < 1 || band->dstHeight < 1) return;
    const ResizeResult result = result_of(layout, *band);
    const auto nothing = [](int64_t, int64_t) {};
    band->rowsThisBand = std::clamp(band->bandRows, 0, std::max(band->srcHeight - band->rowsDone, 0));
    walk_rows(luma_state(band), band->rowsThisBand, band->srcHeight, band->dstHeight, result.luma_pitch, nothing);
    band->srcOffset += static_cast<size_t>(band->rowsThisBand * luma_stride(layout, *band));
    if (!has_chroma(layout)) return;
    const int32_t chroma_height = half_up(band->srcHeight);
    band->chromaRowsThisBand = std::clamp(band->bandRows / 2, 0, std::max(chroma_height - band->chromaRowsDone, 0));
    walk_rows(chroma_state(band), band->chromaRowsThisBand, chroma_height, half_up(band->dstHeight),
              result.chroma_pitch, nothing);
    band->chromaSrcOffset += static_cast<size_t>(band->chromaRowsThisBand * chroma_stride(layout, *band));
}

void *run_band(ResizeLayout layout, ResizeBand *band) {
    if (!band) return nullptr;
    const ResizeResult result = result_of(layout, *band);
    const bool no_canvas = band->canvas && (band->canvas->canvasWidth < 1 || band->canvas->canvasHeight < 1);
    const bool no_source =
        !band->srcY || (has_chroma(layout) && !band->srcU) || (layout == ResizeLayout::kPlanar && !band->srcV);
    if (!result.base || no_source || no_canvas || band->srcWidth < 1 || band->srcHeight < 1 || band->dstWidth < 1 ||
        band->dstHeight < 1) {
        store_release<int32_t>(&band->finished, 1);
        return nullptr;
    }
    ResizePlan own;
    if (!band->plan) own.build(layout, *band);
    const ResizePlan &plan = band->plan ? *static_cast<const ResizePlan *>(band->plan) : own;
    run_planes(luma_state(band),
               {{band->srcY, nullptr},
                {result.base, nullptr},
                1,
                band->srcHeight,
                band->dstHeight,
                band->rowsThisBand,
                luma_stride(layout, *band),
                result.luma_pitch,
                plan.first_row(),
                plan.end_row(),
                first_row_offset(layout, *band)},
               plan.luma());
    if (has_chroma(layout)) {
        uint8_t *chroma = result.base + result.luma_bytes;
        const int32_t chroma_height = half_up(band->dstHeight);
        run_planes(chroma_state(band),
                   {{band->srcU, band->srcV},
                    {chroma, chroma + result.chroma_bytes},
                    layout == ResizeLayout::kPlanar ? 2 : 1,
                    half_up(band->srcHeight),
                    chroma_height,
                    band->chromaRowsThisBand,
                    chroma_stride(layout, *band),
                    result.chroma_pitch,
                    0,
                    chroma_height,
                    0},
                   plan.chroma());
    }
    store_release<int32_t>(&band->finished, 1);
    return nullptr;
}

}  // namespace vorel
