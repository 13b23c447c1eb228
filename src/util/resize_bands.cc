// Bands of a resize.
#include "util/resize_bands.h"

#include <algorithm>

#include "util/atomics.h"
#include "util/caches.h"
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

// Quotients that grow by a constant step: value / divisor, then (value + step) / divisor, ... without a division each.
class RowWalk {
  public:
    RowWalk(uint64_t value, uint32_t step, uint32_t divisor)
        : at_(static_cast<int64_t>(value / divisor)),
          rest_(static_cast<uint32_t>(value % divisor)),
          step_(step / divisor),
          step_rest_(step % divisor),
          divisor_(divisor) {}
    int64_t at() const { return at_; }
    void next() {
        at_ += step_;
        rest_ += step_rest_;
        if (rest_ < divisor_) return;
        rest_ -= divisor_;
        ++at_;
    }

  private:
    int64_t at_;
    uint32_t rest_, step_, step_rest_, divisor_;  // below 2^31, so no sum wraps
};

// How many of the values ahead, ahead + step, ... lie below the end.
int64_t count_below(uint32_t ahead, uint32_t step, uint64_t end) {
    return ahead < end ? static_cast<int64_t>((end - ahead + step - 1) / step) : 0;
}

// The destination rows whose first tap is among the next `rows` source rows: the source rows of each, and where the
// first of them goes. What a row's second tap is follows from its first one's target, half the source's height behind
// (and 1 where the quarters' rests make it so).
struct RowRange {
    int64_t count;
    RowWalk first, second;
    size_t to;
};

// Moves the state on by that many source rows. In 64 bits nothing wraps: a target lies less than 2^32 in front of the
// accumulator. The second taps have a state of their own, which is where they stand at the band's end.
RowRange take_rows(const RowState &state, int32_t rows, int32_t src_height, int32_t dst_height, ptrdiff_t pitch) {
    const uint32_t step = word(src_height), size = word(dst_height);
    const uint32_t apart = word(static_cast<int32_t>((int64_t{3} * src_height >> 2) - (src_height >> 2)));
    const uint32_t ahead_a = word(*state.tap_a) - word(*state.accumulator),
                   ahead_b = word(*state.tap_b) - word(*state.accumulator);
    const uint64_t end = static_cast<uint64_t>(std::max(rows, 0)) * size;
    const RowRange range = {count_below(ahead_a, step, end),
                            {ahead_a, step, size},
                            {uint64_t{ahead_a} + apart, step, size},
                            *state.first_row};
    const int64_t second_taps = count_below(ahead_b, step, end);
    const auto moved = [](int32_t from, uint64_t by) {
        return static_cast<int32_t>(word(from) + static_cast<uint32_t>(by));
    };
    *state.tap_a = moved(*state.tap_a, static_cast<uint64_t>(range.count) * step);
    *state.tap_b = moved(*state.tap_b, static_cast<uint64_t>(second_taps) * step);
    *state.accumulator = moved(*state.accumulator, end);
    *state.first_row += static_cast<size_t>(range.count) * static_cast<size_t>(pitch);
    *state.second_row += static_cast<size_t>(second_taps) * static_cast<size_t>(pitch);
    *state.rows_done = moved(*state.rows_done, static_cast<uint64_t>(std::max(rows, 0)));
    return range;
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
    bool prefetched;
};

// One destination row: its source rows, and where it goes.
struct RowTaps {
    int64_t first, second;
    ptrdiff_t to;
};

// A row is made when the one behind it is known, whose source rows are asked for meanwhile: whole ones, or, where the
// frame lies in a cache, what the processor does not foresee of them.
void run_plane(const BandPlanes &planes, int plane, const ColumnTaps &taps, int64_t rows_done, RowRange range) {
    const auto resize_row = util_kernels().resize_row;
    const auto bytes = [&](int64_t rows) { return static_cast<ptrdiff_t>(rows) * planes.src_stride; };
    const uint8_t *src = planes.src[plane];
    uint8_t *dst = planes.dst[plane] + ptrdiff_t{taps.first_column} * taps.unit;
    const int64_t row = (static_cast<ptrdiff_t>(range.to) - static_cast<ptrdiff_t>(planes.start)) / planes.pitch;
    RowTaps last = {};
    bool any = false;
    const auto make_last = [&](const RowTaps &next) {
        if (!any) return;
        if (!planes.prefetched) {
            prefetch_starts(src + bytes(next.first), planes.src_stride);
            prefetch_starts(src + bytes(next.second), planes.src_stride);
        }
        resize_row(taps,
                   {src + bytes(last.first), planes.prefetched ? bytes(next.first - last.first) : 0,
                    src + bytes(last.second), planes.prefetched ? bytes(next.second - last.second) : 0},
                   dst + last.to);
    };
    for (int64_t i = 0; i < range.count; ++i, range.first.next(), range.second.next()) {
        const int64_t first = rows_done + range.first.at(), second = rows_done + range.second.at();
        if (row + i < planes.first_row || row + i >= planes.end_row || first >= planes.src_height ||
            second >= planes.src_height)
            continue;
        const RowTaps next = {first, second, static_cast<ptrdiff_t>(range.to) + i * planes.pitch};
        make_last(next);
        last = next;
        any = true;
    }
    make_last(last);
}

void run_planes(const RowState &state, const BandPlanes &planes, const ColumnTaps &taps) {
    const int64_t rows_done = *state.rows_done;
    const RowRange range = take_rows(state, planes.rows, planes.src_height, planes.dst_height, planes.pitch);
    // Plane by plane, as memory likes it.
    for (int plane = 0; plane < planes.count; ++plane) run_plane(planes, plane, taps, rows_done, range);
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
    band->rowsThisBand = std::clamp(band->bandRows, 0, std::max(band->srcHeight - band->rowsDone, 0));
    take_rows(luma_state(band), band->rowsThisBand, band->srcHeight, band->dstHeight, result.luma_pitch);
    band->srcOffset += static_cast<size_t>(band->rowsThisBand * luma_stride(layout, *band));
    if (!has_chroma(layout)) return;
    const int32_t chroma_height = half_up(band->srcHeight);
    band->chromaRowsThisBand = std::clamp(band->bandRows / 2, 0, std::max(chroma_height - band->chromaRowsDone, 0));
    take_rows(chroma_state(band), band->chromaRowsThisBand, chroma_height, half_up(band->dstHeight),
              result.chroma_pitch);
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
    const uint64_t pixels = static_cast<uint64_t>(band->srcWidth) * static_cast<uint64_t>(band->srcHeight);
    const uint64_t bytes = pixels * static_cast<uint64_t>(luma_unit(layout)) + (has_chroma(layout) ? pixels / 2 : 0);
    // Smaller frames mostly stay in the last-level cache, where asking ahead costs more than it saves.
    const bool prefetched = bytes > last_level_cache_bytes() / 8 * 3;
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
                first_row_offset(layout, *band),
                prefetched},
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
                    0,
                    prefetched},
                   plan.chroma());
    }
    store_release<int32_t>(&band->finished, 1);
    return nullptr;
}

}  // namespace vorel
