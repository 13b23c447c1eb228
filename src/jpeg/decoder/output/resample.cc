// From rows of the DCT-scaled picture to output rows: straight, as means of four samples, or as centre samples.
//
// A source of T rows becomes H rows. The mean takes the rows at a quarter and at three quarters of an output row's
// footprint, floor((T / 4 + k T) / H) and floor((3 T / 4 + k T) / H); the centre takes floor((T / 2 + k T) / H).
// Columns alike. These source rows rise with k, so rows are taken as they come, and the sums of one output row are open
// at a time.
#include "jpeg/decoder/output/output.h"

#include <algorithm>
#include <utility>

#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

int32_t window_end(const JpegInfo *info) { return info->plan.window.y + info->plan.window.height; }

// The output rows that may still be made before the counter reaches end_row.
bool may_emit(const JpegInfo *info, uint32_t end_row) {
    return info->out.next_row < window_end(info) && static_cast<uint32_t>(info->out.next_row) < end_row;
}

int32_t emit_straight(JpegInfo *info, ColorSpace color, const RowSet *rows, int32_t count, uint32_t end_row) {
    OutputState &out = info->out;
    const int32_t first = out.scaled_row;
    const uint32_t left = end_row > out.outputRow ? end_row - out.outputRow : 0;
    if (static_cast<uint32_t>(count) > left) count = static_cast<int32_t>(left);
    const OutputWindow &window = info->plan.window;
    int32_t from = window.y > first ? window.y - first : 0;
    int32_t to = window_end(info) - first;
    if (from > count) from = count;
    if (to > count) to = count;
    RowSet shown[kMaxEmitRows];
    for (int32_t i = from; i < to; ++i) shown[i - from] = rows[i].at(window.x);
    if (to > from) write_rows(info, color, shown, to - from, window.width);
    out.outputRow = static_cast<uint32_t>(first + count);
    return count;
}

constexpr uint32_t pack(uint32_t a, uint32_t b, uint32_t c) { return a << 20 | b << 10 | c; }

// Rows are summed as packed words, three components at a time: a second set holds the fourth.
int32_t packed_sets(const JpegInfo *info) { return info->frame->numComponents == 4 ? 2 : 1; }

// The component rows of a set at the scaled picture's width; shared chroma is doubled into the writers' scratch rows.
struct PackSources {
    const uint8_t *a, *b, *c;
};
PackSources sources_of(const JpegInfo *info, ColorSpace color, const RowSet &row, int32_t set) {
    if (set == 1) return {row.c[3], nullptr, nullptr};
    if (color == kColorGray) return {row.c[0], nullptr, nullptr};
    if (!row.shared) return {row.c[0], row.c[1], row.c[2]};
    const SourceRange &columns = info->plan.columns;
    uint8_t *const *scratch = info->out.scratch;
    for (int c = 1; c < 3; ++c) {
        info->plan.kernels->double_samples(row.c[c] + columns.first / 2, columns.end - columns.first,
                                           scratch[c] + columns.first);
    }
    return {row.c[0], scratch[1], scratch[2]};
}

void pack_row(const PackSources &from, const SourceRange &columns, uint32_t *__restrict words) {
    const uint8_t *a = from.a, *b = from.b, *c = from.c;
    if (b) {
        for (int32_t x = columns.first; x < columns.end; ++x) words[x] = pack(a[x], b[x], c[x]);
    } else {
        for (int32_t x = columns.first; x < columns.end; ++x) words[x] = pack(a[x], 0, 0);
    }
}

void sum_columns(const JpegInfo *info, const uint32_t *words, uint32_t *__restrict sums) {
    const uint16_t *a = info->out.column_a, *b = info->out.column_b;
    const int32_t width = info->plan.window.width;
    for (int32_t i = 0; i < width; ++i) sums[i] = words[a[i]] + words[b[i]];
}

// Component rows by taps: three of them at most, or four.
int32_t tap_components(const JpegInfo *info, ColorSpace color) {
    return color == kColorGray ? 1 : info->frame->numComponents == 4 ? 4 : 3;
}
ptrdiff_t tap_stride(const OutputState &out) { return ptrdiff_t{kTapGroup} * out.taps.groups; }

void sum_by_taps(JpegInfo *info, ColorSpace color, const RowSet &row) {
    const PackSources from = sources_of(info, color, row, 0);
    const uint8_t *const components[kMaxComponents] = {from.a, from.b, from.c, row.c[3]};
    uint16_t *sums = info->out.tap_sums_b;
    for (int32_t c = 0; c < tap_components(info, color); ++c, sums += tap_stride(info->out)) {
        info->plan.kernels->sum_taps(components[c], info->out.taps, sums);
    }
}

// accumulatorB: for every output column the two samples of this source row.
void sum_row(JpegInfo *info, ColorSpace color, const RowSet &row) {
    OutputState &out = info->out;
    if (out.taps.groups != 0) return sum_by_taps(info, color, row);
    for (int32_t set = 0; set < packed_sets(info); ++set) {
        pack_row(sources_of(info, color, row, set), info->plan.columns, out.packed_row);
        uint32_t *sums = out.accumulatorB + static_cast<ptrdiff_t>(set) * info->plan.outWidth;
        sum_columns(info, out.packed_row, sums);
    }
}

// Which of an output row's two source rows a row is.
enum class Half { kFirst, kSecond, kBoth };

// accumulatorA takes the row's sums. As the first half of an output row they stay what they are, and the two change
// places.
void add_half(JpegInfo *info, Half part) {
    OutputState &out = info->out;
    if (part == Half::kFirst) {
        std::swap(out.accumulatorA, out.accumulatorB);
        std::swap(out.tap_sums_a, out.tap_sums_b);
        return;
    }
    // Both halves of these are added as their means are taken.
    if (out.taps.groups != 0) return;
    const int32_t width = info->plan.window.width;
    for (int32_t set = 0; set < packed_sets(info); ++set) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(set) * info->plan.outWidth;
        uint32_t *__restrict to = out.accumulatorA + at;
        const uint32_t *__restrict from = out.accumulatorB + at;
        if (part == Half::kSecond) {
            for (int32_t i = 0; i < width; ++i) to[i] += from[i];
        } else {
            for (int32_t i = 0; i < width; ++i) to[i] = 2 * from[i];
        }
    }
}

void write_tap_means(JpegInfo *info, ColorSpace color, Half part) {
    const OutputState &out = info->out;
    const int32_t width = info->plan.window.width;
    uint8_t *const *rows = out.scratch + kResampledRow;
    const uint16_t *second = out.tap_sums_b, *first = part == Half::kBoth ? second : out.tap_sums_a;
    for (int32_t c = 0; c < tap_components(info, color); ++c, first += tap_stride(out), second += tap_stride(out)) {
        info->plan.kernels->means(first, second, width, rows[c]);
    }
    const RowSet row = {{rows[0], rows[1], rows[2], rows[3]}, false};
    write_rows(info, color, &row, 1, width);
}

void write_means(JpegInfo *info, ColorSpace color, Half part) {
    OutputState &out = info->out;
    const int32_t width = info->plan.window.width;
    if (out.taps.groups != 0) return write_tap_means(info, color, part);
    if (info->frame->numComponents == 4) {
        info->plan.kernels->unpack_means(out.accumulatorA + info->plan.outWidth, width, out.scratch[kResampledRow + 3],
                                         out.scratch[0], out.scratch[1]);
    }
    write_sums(info, color, out.accumulatorA, width);
}

// Rows above the window are produced too, though nothing of them is stored: how many the source rows so far make.
void count_rows_above(JpegInfo *info, uint32_t end_row) {
    OutputState &out = info->out;
    const int64_t source = info->plan.scaledHeight, height = info->plan.outHeight;
    const int64_t last = info->plan.resample == Resample::kMean ? third_quarter(source) : middle(source);
    while (out.outputRow < end_row && static_cast<int32_t>(out.outputRow) < info->plan.window.y &&
           tap(last, source, height, out.outputRow) < out.scaled_row) {
        ++out.outputRow;
    }
}

void finish_row(OutputState *out) { out->outputRow = static_cast<uint32_t>(++out->next_row); }

// True when the row has nothing more to give.
template <typename Steps>
bool emit_means(JpegInfo *info, ColorSpace color, const RowSet &row, uint32_t end_row, const Steps &steps) {
    OutputState &out = info->out;
    const int64_t source = info->plan.scaledHeight, height = info->plan.outHeight;
    bool summed = false;
    while (out.next_row < window_end(info)) {
        const bool a_here = tap(first_quarter(source), source, height, out.next_row) == out.scaled_row;
        const bool b_here = tap(third_quarter(source), source, height, out.next_row) == out.scaled_row;
        if (out.first_half_done ? !b_here : !a_here) return true;
        if (b_here && !may_emit(info, end_row)) return false;
        steps.enter(JPEG_STAT_RESAMPLING);
        if (!summed) sum_row(info, color, row);
        summed = true;
        const Half part = out.first_half_done ? Half::kSecond : b_here ? Half::kBoth : Half::kFirst;
        add_half(info, part);
        out.first_half_done = !b_here;
        if (!b_here) return true;
        steps.enter(JPEG_STAT_COLOUR);
        write_means(info, color, part);
        finish_row(&out);
    }
    return true;
}

void pick_samples(const JpegInfo *info, const uint8_t *from, int shift, uint8_t *to) {
    const uint16_t *centres = info->out.centres;
    for (int32_t i = 0; i < info->plan.window.width; ++i) to[i] = from[centres[i] >> shift];
}

template <typename Steps>
bool emit_centres(JpegInfo *info, ColorSpace color, const RowSet &row, uint32_t end_row, const Steps &steps) {
    OutputState &out = info->out;
    const int64_t source = info->plan.scaledHeight, height = info->plan.outHeight;
    uint8_t **picked = nullptr;
    while (out.next_row < window_end(info) && tap(middle(source), source, height, out.next_row) == out.scaled_row) {
        if (!may_emit(info, end_row)) return false;
        if (!picked) {
            steps.enter(JPEG_STAT_RESAMPLING);
            picked = out.scratch + kResampledRow;
            for (int c = 0; c < info->frame->numComponents; ++c) {
                pick_samples(info, row.c[c], row.shared && (c == 1 || c == 2) ? 1 : 0, picked[c]);
            }
        }
        steps.enter(JPEG_STAT_COLOUR);
        const RowSet shown = {{picked[0], picked[1], picked[2], picked[3]}, false};
        write_rows(info, color, &shown, 1, info->plan.window.width);
        finish_row(&out);
    }
    return true;
}

void fill_columns(const JpegInfo *info, int64_t start, uint16_t *columns) {
    const OutputPlan &plan = info->plan;
    for (int32_t i = 0; i < plan.window.width; ++i) {
        columns[i] = static_cast<uint16_t>(tap(start, plan.scaledWidth, plan.outWidth, plan.window.x + i));
    }
}

// Makes the taps where the columns allow them. False when out of memory.
bool prepare_taps(JpegInfo *info) {
    OutputState &out = info->out;
    const SourceRange &columns = info->plan.columns;
    const int32_t width = info->plan.window.width, groups = (width + kTapGroup - 1) / kTapGroup;
    const auto last_of = [width](int32_t first) {
        return first + kTapGroup < width ? first + kTapGroup - 1 : width - 1;
    };
    if (columns.end - columns.first < kTapReach) return true;
    for (int32_t i = 0; i < width; i += kTapGroup) {
        // Columns of means lie further out than those of centres, which the plan may be for.
        const int32_t last = out.column_b[last_of(i)];
        if (last - out.column_a[i] >= kTapReach || last >= columns.end) return true;
    }
    // Starts, then picks.
    auto *starts = os_allocate_array<int32_t>(static_cast<uint64_t>(groups) * (1 + kTapReach / sizeof(int32_t)));
    const uint64_t sums = static_cast<uint64_t>(groups) * kTapGroup *
                          static_cast<uint64_t>(std::max<int32_t>(info->frame->numComponents, 3));
    out.tap_sums_a = os_allocate_array<uint16_t>(sums);
    out.tap_sums_b = os_allocate_array<uint16_t>(sums);
    out.taps.starts = starts;
    if (!starts || !out.tap_sums_a || !out.tap_sums_b) return false;
    auto *picks = reinterpret_cast<uint8_t *>(starts + groups);
    out.taps = {starts, picks, groups};
    for (int32_t g = 0; g < groups; ++g) {
        const int32_t first = out.column_a[kTapGroup * g], most = columns.end - kTapReach;
        starts[g] = first < most ? first : most;
        for (int32_t i = kTapGroup * g; i < kTapGroup * (g + 1); ++i) {
            const int32_t column = i < width ? i : width - 1;
            *picks++ = static_cast<uint8_t>(out.column_a[column] - starts[g]);
            *picks++ = static_cast<uint8_t>(out.column_b[column] - starts[g]);
        }
    }
    return true;
}

// Rows of packed words, for wider steps than taps reach.
bool prepare_words(JpegInfo *info) {
    OutputState &out = info->out;
    const uint64_t sums = static_cast<uint64_t>(packed_sets(info)) * static_cast<uint64_t>(info->plan.outWidth);
    out.accumulatorA = os_allocate_array<uint32_t>(sums);
    out.accumulatorB = os_allocate_array<uint32_t>(sums);
    out.packed_row = os_allocate_array<uint32_t>(info->plan.scaledWidth);
    return out.accumulatorA && out.accumulatorB && out.packed_row;
}

SourceRange needed_range(Resample resample, int64_t source, int64_t out, int32_t first, int32_t count) {
    if (count <= 0) return {first, first};
    const int32_t last = first + count - 1;
    switch (resample) {
        case Resample::kMean:
            return {tap(first_quarter(source), source, out, first), tap(third_quarter(source), source, out, last) + 1};
        case Resample::kCentre:
            return {tap(middle(source), source, out, first), tap(middle(source), source, out, last) + 1};
        default:
            return {first, last + 1};
    }
}

}  // namespace

void find_source_ranges(OutputPlan *plan) {
    const OutputWindow &window = plan->window;
    plan->rows = needed_range(plan->resample, plan->scaledHeight, plan->outHeight, window.y, window.height);
    plan->columns = needed_range(plan->resample, plan->scaledWidth, plan->outWidth, window.x, window.width);
    const int32_t step = plan->mcu_output_columns;
    if (step == 0) return;
    plan->columns.first = plan->columns.first / step * step;
    plan->columns.end = static_cast<int32_t>(ceil_div(plan->columns.end, step) * step);
    if (plan->columns.end > plan->scaledWidth) plan->columns.end = plan->scaledWidth;
    if (plan->columns.first > plan->columns.end) plan->columns.first = plan->columns.end;
}

namespace {

void release_resampler(OutputState *out) {
    os_release(const_cast<int32_t *>(out->taps.starts));
    os_release(out->tap_sums_a);
    os_release(out->tap_sums_b);
    out->taps = {};
    out->tap_sums_a = out->tap_sums_b = nullptr;
    os_release(out->accumulatorA);
    os_release(out->accumulatorB);
    os_release(out->packed_row);
    os_release(out->column_a);
    os_release(out->column_b);
    os_release(out->centres);
    out->accumulatorA = out->accumulatorB = out->packed_row = nullptr;
    out->column_a = out->column_b = out->centres = nullptr;
}

}  // namespace

bool prepare_resampler(JpegInfo *info) {
    OutputState &out = info->out;
    release_resampler(&out);
    out.next_row = info->plan.window.y;
    out.first_half_done = false;
    if (info->plan.resample == Resample::kNone) return true;
    const uint64_t width = static_cast<uint64_t>(info->plan.outWidth);
    out.column_a = os_allocate_array<uint16_t>(width);
    out.column_b = os_allocate_array<uint16_t>(width);
    out.centres = os_allocate_array<uint16_t>(width);
    bool good = out.column_a && out.column_b && out.centres;
    if (good) {
        const int64_t source = info->plan.scaledWidth;
        fill_columns(info, first_quarter(source), out.column_a);
        fill_columns(info, third_quarter(source), out.column_b);
        fill_columns(info, middle(source), out.centres);
        good = prepare_taps(info);
    }
    if (good && out.taps.groups == 0) good = prepare_words(info);
    if (!good) set_error(kErrorOutOfMemory);
    return good;
}

void release_output(JpegInfo *info) {
    release_resampler(&info->out);
    BRIM_FakeFree(info->out.scratch_rows);
    info->out.scratch_rows = nullptr;
}

namespace {

template <typename Steps>
int32_t emit_resampled(JpegInfo *info, ColorSpace color, Resample resample, const RowSet *rows, int32_t count,
                       uint32_t end_row, const Steps &steps) {
    const auto emit = resample == Resample::kMean ? emit_means<Steps> : emit_centres<Steps>;
    for (int32_t i = 0; i < count; ++i) {
        if (!emit(info, color, rows[i], end_row, steps)) return i;
        ++info->out.scaled_row;
        count_rows_above(info, end_row);
    }
    return count;
}

}  // namespace

int32_t emit_rows(JpegInfo *info, ColorSpace color, Resample resample, const RowSet *rows, int32_t count,
                  uint32_t end_row) {
    OutputState &out = info->out;
    if (resample == Resample::kNone) {
        const int32_t used = emit_straight(info, color, rows, count, end_row);
        out.scaled_row += used;
        return used;
    }
    return counts_steps() ? emit_resampled(info, color, resample, rows, count, end_row, CountedSteps())
                          : emit_resampled(info, color, resample, rows, count, end_row, UncountedSteps());
}

void pass_rows(JpegInfo *info, int32_t count) {
    OutputState &out = info->out;
    const OutputPlan &plan = info->plan;
    out.scaled_row += count;
    if (plan.resample == Resample::kNone) {
        out.outputRow = static_cast<uint32_t>(out.scaled_row);
        return;
    }
    const int64_t start =
        plan.resample == Resample::kMean ? first_quarter(plan.scaledHeight) : middle(plan.scaledHeight);
    while (out.next_row < window_end(info) &&
           tap(start, plan.scaledHeight, plan.outHeight, out.next_row) < out.scaled_row) {
        finish_row(&out);
        out.first_half_done = false;
    }
    count_rows_above(info, UINT32_MAX);
}

}  // namespace vorel
