// From rows of the DCT-scaled picture to output rows: straight, as means of four samples, or as centre samples.
//
// A source of T rows becomes H rows. The mean takes the rows at a quarter and at three quarters of an output row's
// footprint, floor((T / 4 + k T) / H) and floor((3 T / 4 + k T) / H); the centre takes floor((T / 2 + k T) / H).
// Columns alike. These lines rise with k, so rows are taken as they come, and the sums of one output row are open at a
// time.
#include "jpeg/decoder/output/output.h"

namespace vorel {
namespace {

// Source line of output line k: start is the footprint's quarter, three quarters or half, in units of 1 / out.
int32_t source_line(int64_t start, int64_t source, int64_t out, int64_t k) {
    return static_cast<int32_t>((start + k * source) / out);
}
int64_t first_quarter(int64_t source) { return source >> 2; }
int64_t third_quarter(int64_t source) { return (source * 3) >> 2; }
int64_t half(int64_t source) { return source >> 1; }

int32_t window_end(const JpegInfo *info) { return info->window.y + info->window.height; }

void emit_straight(JpegInfo *info, const RowSet *rows, int32_t first, int32_t count) {
    int32_t from = info->window.y > first ? info->window.y - first : 0;
    int32_t to = window_end(info) - first;
    if (from > count) from = count;
    if (to > count) to = count;
    RowSet shown[kMaxEmitRows];
    for (int32_t i = from; i < to; ++i) shown[i - from] = rows[i].at(info->window.x);
    if (to > from) write_rows(info, shown, to - from, info->window.width);
    info->outputRow = static_cast<uint32_t>(first + count);
}

constexpr uint32_t pack(uint32_t a, uint32_t b, uint32_t c) { return a << 20 | b << 10 | c; }

// Rows are summed as packed words, three components at a time: a second set holds the fourth.
int32_t packed_sets(const JpegInfo *info) { return info->numComponents == 4 ? 2 : 1; }

// The component rows of a set at the scaled picture's width; shared chroma is doubled into the writers' scratch lines.
struct PackSources {
    const uint8_t *a, *b, *c;
};
PackSources sources_of(const JpegInfo *info, const RowSet &row, int32_t set) {
    if (set == 1) return {row.c[3], nullptr, nullptr};
    if (info->colorSpace == kColorGray) return {row.c[0], nullptr, nullptr};
    if (!row.shared) return {row.c[0], row.c[1], row.c[2]};
    info->kernels->double_samples(row.c[1], info->scaledWidth, info->line[1]);
    info->kernels->double_samples(row.c[2], info->scaledWidth, info->line[2]);
    return {row.c[0], info->line[1], info->line[2]};
}

void pack_row(const PackSources &from, int32_t width, uint32_t *__restrict words) {
    const uint8_t *a = from.a, *b = from.b, *c = from.c;
    if (b) {
        for (int32_t x = 0; x < width; ++x) words[x] = pack(a[x], b[x], c[x]);
    } else {
        for (int32_t x = 0; x < width; ++x) words[x] = pack(a[x], 0, 0);
    }
}

// Between two thirds and the whole of the source's width an output column's samples are neighbours or the same: then
// each source column's two possible sums are made once, side by side, and picked.
void sum_neighbours(const JpegInfo *info, const uint32_t *words, uint32_t *__restrict sums) {
    const int32_t last = info->scaledWidth - 1, width = info->window.width;
    uint32_t *__restrict pairs = info->column_pairs;
    for (int32_t x = 0; x < last; ++x) {
        pairs[2 * x] = 2 * words[x];
        pairs[2 * x + 1] = words[x] + words[x + 1];
    }
    pairs[2 * last] = 2 * words[last];
    const uint32_t *picks = info->column_picks;
    for (int32_t i = 0; i < width; ++i) sums[i] = pairs[picks[i]];
}

void sum_columns(const JpegInfo *info, const uint32_t *words, uint32_t *__restrict sums) {
    const uint16_t *a = info->column_a, *b = info->column_b;
    const int32_t width = info->window.width;
    for (int32_t i = 0; i < width; ++i) sums[i] = words[a[i]] + words[b[i]];
}

// accumulatorB: for every output column the two samples of this source row.
void sum_row(JpegInfo *info, const RowSet &row) {
    for (int32_t set = 0; set < packed_sets(info); ++set) {
        pack_row(sources_of(info, row, set), info->scaledWidth, info->packed_row);
        uint32_t *sums = info->accumulatorB + static_cast<ptrdiff_t>(set) * info->outWidth;
        info->column_pairs ? sum_neighbours(info, info->packed_row, sums) : sum_columns(info, info->packed_row, sums);
    }
}

// What becomes of a row's sums.
enum class Line { kFirst, kSecond, kBoth };

// accumulatorA takes the row's sums. As the first line of an output row they stay what they are, and the two change
// places.
void add_line(JpegInfo *info, Line line) {
    if (line == Line::kFirst) {
        uint32_t *sums = info->accumulatorB;
        info->accumulatorB = info->accumulatorA;
        info->accumulatorA = sums;
        return;
    }
    const int32_t width = info->window.width;
    for (int32_t set = 0; set < packed_sets(info); ++set) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(set) * info->outWidth;
        uint32_t *__restrict to = info->accumulatorA + at;
        const uint32_t *__restrict from = info->accumulatorB + at;
        if (line == Line::kSecond) {
            for (int32_t i = 0; i < width; ++i) to[i] += from[i];
        } else {
            for (int32_t i = 0; i < width; ++i) to[i] = 2 * from[i];
        }
    }
}

void write_means(JpegInfo *info) {
    const int32_t width = info->window.width;
    if (info->numComponents == 4) {
        info->kernels->unpack_means(info->accumulatorA + info->outWidth, width, info->line[kMeanLine + 3],
                                    info->line[0], info->line[1]);
    }
    write_sums(info, info->accumulatorA, width);
}

void finish_line(JpegInfo *info) { info->outputRow = static_cast<uint32_t>(++info->next_line); }

void emit_means(JpegInfo *info, const RowSet &row, int32_t r) {
    const int64_t source = info->scaledHeight, out = info->outHeight;
    bool summed = false;
    while (info->next_line < window_end(info)) {
        const bool a_here = source_line(first_quarter(source), source, out, info->next_line) == r;
        const bool b_here = source_line(third_quarter(source), source, out, info->next_line) == r;
        if (info->line_a_done ? !b_here : !a_here) return;
        if (!summed) sum_row(info, row);
        summed = true;
        add_line(info, info->line_a_done ? Line::kSecond : b_here ? Line::kBoth : Line::kFirst);
        info->line_a_done = !b_here;
        if (!b_here) return;
        write_means(info);
        finish_line(info);
    }
}

void pick_samples(const JpegInfo *info, const uint8_t *from, int shift, uint8_t *to) {
    for (int32_t i = 0; i < info->window.width; ++i) to[i] = from[info->column_a[i] >> shift];
}

void emit_centres(JpegInfo *info, const RowSet &row, int32_t r) {
    const int64_t source = info->scaledHeight, out = info->outHeight;
    bool picked = false;
    while (info->next_line < window_end(info) && source_line(half(source), source, out, info->next_line) == r) {
        uint8_t **line = info->line + kMeanLine;
        if (!picked) {
            for (int c = 0; c < info->numComponents; ++c) {
                pick_samples(info, row.c[c], row.shared && (c == 1 || c == 2) ? 1 : 0, line[c]);
            }
            picked = true;
        }
        const RowSet shown = {{line[0], line[1], line[2], line[3]}, false};
        write_rows(info, &shown, 1, info->window.width);
        finish_line(info);
    }
}

void fill_columns(const JpegInfo *info, int64_t start, uint16_t *columns) {
    for (int32_t i = 0; i < info->window.width; ++i) {
        columns[i] = static_cast<uint16_t>(source_line(start, info->scaledWidth, info->outWidth, info->window.x + i));
    }
}

}  // namespace

// Makes the picks of sum_neighbours where the columns allow them. False when out of memory.
bool prepare_neighbours(JpegInfo *info) {
    const int32_t width = info->window.width;
    for (int32_t i = 0; i < width; ++i) {
        if (info->column_b[i] - info->column_a[i] > 1) return true;
    }
    info->column_picks = os_allocate_array<uint32_t>(static_cast<uint64_t>(width));
    info->column_pairs = os_allocate_array<uint32_t>(2 * uint64_t{info->scaledWidth});
    if (!info->column_picks || !info->column_pairs) return false;
    for (int32_t i = 0; i < width; ++i) {
        info->column_picks[i] = static_cast<uint32_t>(info->column_a[i] + info->column_b[i]);
    }
    return true;
}

void find_source_rows(const JpegInfo *info, int32_t *first, int32_t *end) {
    const int64_t source = info->scaledHeight, out = info->outHeight;
    const int32_t top = info->window.y, bottom = window_end(info) - 1;
    switch (info->resample) {
        case Resample::kNone:
            *first = top;
            *end = bottom + 1;
            break;
        case Resample::kMean:
            *first = source_line(first_quarter(source), source, out, top);
            *end = source_line(third_quarter(source), source, out, bottom) + 1;
            break;
        case Resample::kCentre:
            *first = source_line(half(source), source, out, top);
            *end = source_line(half(source), source, out, bottom) + 1;
            break;
    }
}

bool prepare_resampler(JpegInfo *info) {
    info->next_line = info->window.y;
    info->line_a_done = false;
    if (info->resample == Resample::kNone) return true;
    const uint64_t width = static_cast<uint64_t>(info->outWidth);
    const uint64_t sets = static_cast<uint64_t>(packed_sets(info));
    info->accumulatorA = os_allocate_array<uint32_t>(sets * width);
    info->accumulatorB = os_allocate_array<uint32_t>(sets * width);
    info->packed_row = os_allocate_array<uint32_t>(info->scaledWidth);
    info->column_a = os_allocate_array<uint16_t>(width);
    info->column_b = os_allocate_array<uint16_t>(width);
    const bool all = info->accumulatorA && info->accumulatorB && info->packed_row && info->column_a && info->column_b;
    if (!all) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    const int64_t source = info->scaledWidth;
    fill_columns(info, info->resample == Resample::kMean ? first_quarter(source) : half(source), info->column_a);
    fill_columns(info, third_quarter(source), info->column_b);
    if (info->resample == Resample::kMean && !prepare_neighbours(info)) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    return true;
}

void release_output(JpegInfo *info) {
    os_release(info->accumulatorA);
    os_release(info->accumulatorB);
    os_release(info->packed_row);
    os_release(info->column_picks);
    os_release(info->column_pairs);
    os_release(info->column_a);
    os_release(info->column_b);
    BRIM_FakeFree(info->scratch_rows);
    info->accumulatorA = info->accumulatorB = nullptr;
    info->packed_row = info->column_picks = info->column_pairs = nullptr;
    info->column_a = info->column_b = nullptr;
    info->scratch_rows = nullptr;
}

void emit_rows(JpegInfo *info, const RowSet *rows, int32_t count) {
    const int32_t first = info->scaled_row;
    info->scaled_row += count;
    switch (info->resample) {
        case Resample::kNone:
            emit_straight(info, rows, first, count);
            break;
        case Resample::kMean:
            for (int32_t i = 0; i < count; ++i) emit_means(info, rows[i], first + i);
            break;
        case Resample::kCentre:
            for (int32_t i = 0; i < count; ++i) emit_centres(info, rows[i], first + i);
            break;
    }
}

namespace {

// All row-output functions: set-up has chosen the resampling, the window and the writer's view of chroma.
void output_rows(JpegInfo *info, uint8_t ***rows, int32_t count) {
    RowSet sets[kMaxEmitRows];
    for (int32_t from = 0; from < count; from += kMaxEmitRows) {
        const int32_t here = count - from < kMaxEmitRows ? count - from : kMaxEmitRows;
        for (int32_t i = 0; i < here; ++i) {
            // A gray row stands in for the chroma that it does not have.
            sets[i].shared = info->chroma_shared;
            for (int c = 0; c < 3; ++c) sets[i].c[c] = rows[c < info->numComponents ? c : 0][from + i];
            sets[i].c[3] = info->numComponents == 4 ? rows[3][from + i] : nullptr;
        }
        emit_rows(info, sets, here);
    }
}

// How rows become output rows when the sizes differ.
Resample choose_resample(const JpegInfo *info) {
    if (info->isOneToOne) return Resample::kNone;
    const int64_t out_w = info->outWidth, out_h = info->outHeight;
    if (out_w > info->scaledWidth || out_h > info->scaledHeight) return Resample::kCentre;
    if (info->colorSpace != kColorYcc) return Resample::kMean;
    if (out_w <= 99 && out_h <= 99) return Resample::kCentre;
    const bool mild = info->scaledWidth * int64_t{7} <= out_w * 12 && info->scaledHeight * int64_t{7} <= out_h * 12;
    return (mild && info->decMode == 1) || info->decMode >= 2 ? Resample::kCentre : Resample::kMean;
}

}  // namespace

RowOutputFn choose_row_output(JpegInfo *info) {
    info->resample = choose_resample(info);
    const bool partial = info->decInfo->partialDecode;
    const bool enlarged = info->outWidth > info->scaledWidth || info->outHeight > info->scaledHeight;
    const bool fast = info->resample == Resample::kCentre;
    switch (info->colorSpace) {
        case kColorGray:
            return enlarged ? BRIMJ_DoGrayUpscaleConvert : partial ? BRIMJ_DoGrayConvert_Partial : BRIMJ_DoGrayConvert;
        case kColorRgb:
            return enlarged ? BRIMJ_DoRgbUpscaleConvert : partial ? BRIMJ_DoRgbConvert_Partial : BRIMJ_DoRgbConvert;
        case kColorYcc:
            if (enlarged) return info->decMode < 2 ? BRIMJ_DoYcbcrToUpscaleRgb : BRIMJ_DoFastYcbcrToUpscaleRgb;
            if (fast) return partial ? BRIMJ_DoFastYcbcrToRgb_Partial : BRIMJ_DoFastYcbcrToRgb;
            return partial ? BRIMJ_DoYcbcrToRgb_Partial : BRIMJ_DoYcbcrToRgb;
        case kColorCmyk:
            return partial ? BRIMJ_DoCMYKToRgb_Partial : BRIMJ_DoCMYKToRgb;
        case kColorYcck:
            return partial ? BRIMJ_DoYCCKToRgb_Partial : BRIMJ_DoYCCKToRgb;
        default:
            return nullptr;
    }
}

}  // namespace vorel

using namespace vorel;

extern "C" {

#define VOREL_ROW_OUTPUT(name) \
    void name(JpegInfo *info, uint8_t ***rows, int32_t count) { output_rows(info, rows, count); }
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToRgb_Partial)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToRgb_Partial)
VOREL_ROW_OUTPUT(BRIMJ_DoYcbcrToUpscaleRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoFastYcbcrToUpscaleRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayConvert)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayConvert_Partial)
VOREL_ROW_OUTPUT(BRIMJ_DoGrayUpscaleConvert)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbConvert)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbConvert_Partial)
VOREL_ROW_OUTPUT(BRIMJ_DoRgbUpscaleConvert)
VOREL_ROW_OUTPUT(BRIMJ_DoCMYKToRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoCMYKToRgb_Partial)
VOREL_ROW_OUTPUT(BRIMJ_DoYCCKToRgb)
VOREL_ROW_OUTPUT(BRIMJ_DoYCCKToRgb_Partial)
#undef VOREL_ROW_OUTPUT

}  // extern "C"
