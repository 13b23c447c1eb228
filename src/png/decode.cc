// Whole pictures, at full size or scaled while their rows come in, with one row of working memory; interlaced ones need
// a staging image of as many rows as the output has.
//
// Rows that are not interlaced leave libpng as they are in the file and become pixels here, in one pass and only where
// they are kept. Our own inflate gives them as long as the image data are sound, else libpng; interlaced ones go
// through libpng's transformations, pass by pass. The pixels are the same.
#include <algorithm>

#include "core/core.h"
#include "png/own_rows.h"
#include "png/pixel_form.h"
#include "png/setup.h"
#include "png/steppers.h"
#include "png/transparency.h"

namespace vorel {
namespace {

struct DecodeRun {
    png_structp png;
    png_infop info;
    uint8_t *out;
    int32_t out_width, out_height, sample_size, colour_format;
    // Released by the owner of the run.
    uint8_t *raw_row;
    uint8_t *row;
    uint8_t *staging;
    OwnRows *own;  // null: libpng gives the rows; these never jump
    // Set up once the header is read.
    PngHeader header;
    int32_t width, height;
    PixelForm form;
    TransparencyRule whole, picked;
    ColumnSteps columns;
    int32_t row_step;     // 0: fitted
    int32_t rows_read;    // in this pass
    uint8_t *unfinished;  // output of the row that libpng is at

    size_t out_stride() const { return static_cast<size_t>(out_width) * 4; }
    uint8_t *out_row(int32_t k) const { return out + static_cast<size_t>(k) * out_stride(); }
    uint8_t *staging_row(int32_t k) const { return staging + static_cast<size_t>(k) * header.width * 4; }
    bool scaled() const { return width != out_width || height != out_height; }
};

// Opaque pictures come out of the rule as they went in.
TransparencyRule useful_rule(const DecodeRun &run, RowUse use) {
    TransparencyRule rule = transparency_rule(run.png, run.info, use);
    if (rule.kind == TransparencyRule::kPremultiply && !(run.header.colour_type & PNG_COLOR_MASK_ALPHA)) {
        rule.kind = TransparencyRule::kNothing;
    }
    return rule;
}

bool set_up(DecodeRun *run) {
    run->header = source_of(run->png)->header;
    run->width = static_cast<int32_t>(run->header.width);
    run->height = static_cast<int32_t>(run->header.height);
    const uint64_t pre_buffer = uint64_t{3} * static_cast<uint64_t>(run->out_width) * 4;
    if (pre_buffer > INT32_MAX || !preBufferIterAlloc(run->png, static_cast<uint32_t>(pre_buffer))) return false;
    run->row = os_allocate_array<uint8_t>(uint64_t{run->header.width} * 4);
    run->raw_row = os_allocate_array<uint8_t>(bytes_of_pixels(run->header, run->header.width));
    if (!run->row || !run->raw_row || !is_rgba_format(run->colour_format)) return false;
    run->form = pixel_form(run->png, run->info, run->header, run->colour_format == COLOR_BGRA8888);
    run->whole = useful_rule(*run, RowUse::kWholeInPlace);
    run->picked = useful_rule(*run, RowUse::kPicked);
    run->row_step = std::min(run->height, run->sample_size);
    const int32_t column_step = std::min(run->width, run->sample_size);
    run->columns = column_step ? sampled_columns(run->width, 0, run->width, column_step)
                               : fitted_columns(run->width, run->out_width);
    return true;
}

void start_rows(DecodeRun *run) {
    run->rows_read = 0;
    vpng_set_diff_cur_y(run->png, run->height >> 1);
    vpng_set_y_sample(run->png, run->height);
    vpng_set_org_img_curr_y(run->png, run->out_height);
}

// Columns beyond the output's would land in the next row, or behind the buffer.
void convert_row(const DecodeRun &run, const uint8_t *pixels, uint8_t *out) {
    apply_rule(run.picked, out, pick_columns(run.columns, run.out_width, pixels, out));
}

// Into `row`, or where our own rows stand; null where these come to an end.
const uint8_t *read_row(DecodeRun *run, uint8_t *row) {
    if (run->own) return next_own_row(run->own);
    if (run->rows_read == run->height) png_error(run->png, "More rows are asked for than there are");
    png_read_row(run->png, row, nullptr);
    ++run->rows_read;
    return row;
}

bool skip_rows(DecodeRun *run, uint8_t *scratch, int32_t count) {
    bool came = true;
    for (int32_t i = 0; came && i < count; ++i) came = read_row(run, scratch) != nullptr;
    return came;
}

int32_t rows_to_skip(DecodeRun *run) {
    if (run->row_step) return run->row_step - 1;
    return skip_src_rows_count(run->png, run->info, run->height, run->out_height);
}

// ---- the four ways ------------------------------------------------------------------------------------------------

bool decode_straight(DecodeRun *run) {
    const bool identity = is_identity(run->form);
    for (int32_t k = 0; k < run->height; ++k) {
        uint8_t *out = run->out_row(k);
        run->unfinished = identity ? nullptr : out;
        const uint8_t *row = read_row(run, identity ? out : run->raw_row);
        if (!row) return false;
        if (row != out) expand_pixels(run->form, row, 0, run->width, out);
        apply_rule(run->whole, out, run->width);
    }
    return true;
}

bool decode_scaled(DecodeRun *run) {
    for (int32_t k = 0; k < run->out_height; ++k) {
        const int32_t skipped = rows_to_skip(run);
        // Required: no rows are skipped in front of the last one.
        if (k < run->out_height - 1 && !skip_rows(run, run->raw_row, skipped)) return false;
        const uint8_t *row = read_row(run, run->raw_row);
        if (!row) return false;
        expand_pixels(run->form, row, 0, run->width, run->row);
        convert_row(*run, run->row, run->out_row(k));
    }
    return true;
}

bool decode_interlaced(DecodeRun *run, int passes) {
    for (int pass = 0; pass < passes; ++pass) {
        run->rows_read = 0;
        for (int32_t k = 0; k < run->height; ++k) read_row(run, run->out_row(k));
    }
    for (int32_t k = 0; k < run->height; ++k) apply_rule(run->whole, run->out_row(k), run->width);
    return true;
}

// The stepper runs on from pass to pass; each pass is stepped to its end, and a skip stops at its last row.
bool decode_interlaced_scaled(DecodeRun *run, int passes) {
    run->staging = os_allocate_array<uint8_t>(uint64_t{run->header.width} * 4 * static_cast<uint64_t>(run->out_height));
    if (!run->staging) return false;
    // Required: one row less where the picture is not higher than the output, whose last row stays as it was.
    const int32_t rows = run->height > run->out_height ? run->out_height : run->height - 1;
    for (int pass = 0; pass < passes; ++pass) {
        run->rows_read = 0;
        for (int32_t k = 0; k < rows; ++k) {
            const int32_t skipped = std::min(rows_to_skip(run), std::max(0, run->height - 1 - run->rows_read));
            if (k < run->height - 1) skip_rows(run, run->row, skipped);
            read_row(run, run->staging_row(k));
        }
        skip_rows(run, run->row, run->height - run->rows_read);
    }
    for (int32_t k = 0; k < rows; ++k) convert_row(*run, run->staging_row(k), run->out_row(k));
    return true;
}

bool decode_by_rows(DecodeRun *run) { return run->scaled() ? decode_scaled(run) : decode_straight(run); }

bool decode_by_own_rows(DecodeRun *run) {
    // More rows than there are end in a failure.
    if (run->out_height > run->height) return false;
    run->own = open_own_rows(source_of(run->png));
    if (!run->own) return false;
    const bool done = decode_by_rows(run);
    close_own_rows(run->own);
    run->own = nullptr;
    if (!done) start_rows(run);
    return done;
}

bool decode(DecodeRun *run) {
    if (!set_up(run)) return false;
    start_rows(run);
    if (!run->header.interlaced) return decode_by_own_rows(run) || decode_by_rows(run);
    set_rgba_transformations(run->png, run->info, run->header.colour_type, run->header.bit_depth);
    const int passes = png_set_interlace_handling(run->png);
    if (run->colour_format == COLOR_BGRA8888) png_set_bgr(run->png);
    return run->scaled() ? decode_interlaced_scaled(run, passes) : decode_interlaced(run, passes);
}

// A failure behind the picture's last row comes while libpng hands that row over: it stays as it came, without the
// rule.
void finish_last_row(const DecodeRun &run) {
    if (!run.unfinished || run.rows_read != run.height - 1) return;
    if (png_get_current_row_number(run.png) != run.header.height) return;
    expand_pixels(run.form, run.raw_row, 0, run.width, run.unfinished);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" int32_t decodeVPNG(const void *source, int32_t length, vpng_read_callback readFn, void *out,
                              int32_t outWidth, int32_t outHeight, int32_t sampleSize, int32_t colourFormat) {
    if (!out || outWidth < 0 || outHeight < 0 || sampleSize < 0) return 0;
    DecodeRun run = {};
    run.out = static_cast<uint8_t *>(out);
    run.out_width = outWidth;
    run.out_height = outHeight;
    run.sample_size = sampleSize;
    run.colour_format = colourFormat;
    bool done = false;
    if (open_png(&run.png, &run.info, source, readFn, length, RowForm::kRaw)) {
        done = run_guarded(run.png, decode, &run);
        if (!done) finish_last_row(run);
    }
    png_destroy_read_struct(&run.png, &run.info, nullptr);
    os_release(run.raw_row);
    os_release(run.row);
    os_release(run.staging);
    return done;
}
