// Rectangles of a PNG: by the bands that earlier ones have left, or from the checkpoint at or above the first row on,
// by rows that are inflated whole. Only the columns of the rectangle become pixels.
#include <algorithm>
#include <climits>
#include <cstring>

#include "core/core.h"
#include "png/bands/rows.h"
#include "png/idat_reader.h"
#include "png/pixel_form.h"
#include "png/setup.h"
#include "png/steppers.h"
#include "png/transparency.h"

namespace vorel {
namespace {

struct RegionRun {
    png_structp png;
    png_infop info;
    PngSource *source;
    uint8_t *out;
    int32_t x, y, w, h, sample_size;
    bool swapped;
    uint8_t *pixels;   // w of them; released by the owner of the run, as the next
    uint8_t *staging;  // rows of w pixels
    PixelForm form;
    TransparencyRule rule;
    ColumnSteps columns;  // from x on
    int32_t out_width;

    size_t stride() const { return static_cast<size_t>(w) * 4; }
};

void set_up(RegionRun *run) {
    const PngHeader &header = run->source->header;
    const int32_t width = static_cast<int32_t>(header.width);
    run->form = pixel_form(run->png, run->info, header, run->swapped);
    run->rule = transparency_rule(run->png, run->info, RowUse::kPicked);
    if (run->rule.kind == TransparencyRule::kPremultiply && !(header.colour_type & PNG_COLOR_MASK_ALPHA)) {
        run->rule.kind = TransparencyRule::kNothing;  // all opaque
    }
    run->out_width = run->w / run->sample_size;
    run->columns = sampled_columns(width, 0, run->w, std::min(width, run->sample_size));
}

// Columns beyond the output's would land in the next row, or behind the buffer.
void convert_row(const RegionRun &run, const uint8_t *pixels, uint8_t *out) {
    apply_rule(run.rule, out, pick_columns(run.columns, run.out_width, pixels, out));
}

void skip_rows(RegionRun *run, int32_t count) { skip_src_rows(run->png, run->pixels, count); }

// Resumes the pass and reads up to row y. Rows from `end` on are not needed, nor are columns right of the rectangle.
void go_to_first_row(RegionRun *run, int pass, int32_t end, uint64_t pass_columns) {
    int32_t row = run->y;
    vpng_configure_decoder(run->png, &row, pass);
    IdatReader *reader = run->source->reader;
    reader->ahead = end;
    reader->used_bytes = std::min(reader->row_bytes, bytes_of_pixels(run->source->header, pass_columns));
    skip_rows(run, run->y - row);
}

void put_row(const RegionRun &run, const uint8_t *row, uint8_t *out) {
    if (run.columns.whole == 1) {
        expand_pixels(run.form, row, run.x, run.out_width, out);
        apply_rule(run.rule, out, run.out_width);
    } else {
        expand_pixels(run.form, row, run.x, run.w, run.pixels);
        convert_row(run, run.pixels, out);
    }
}

// By the bands that the region touches; false where they do not give all of it, whatever was stored by then.
bool decode_from_bands(RegionRun *run, int32_t rows, int32_t step) {
    const PngHeader &header = run->source->header;
    const uint64_t x = static_cast<uint64_t>(run->x), end = x + static_cast<uint64_t>(run->w);
    BandRows bands;
    const size_t from = static_cast<size_t>(x * static_cast<uint64_t>(bits_per_pixel(header)) / 8);
    if (rows == 0 || !open_band_rows(run->source, run->y, from, bytes_of_pixels(header, end), &bands)) return false;
    const auto row_number = [&](int32_t k) { return run->y + k * step + (k < rows - 1 ? step - 1 : 0); };
    for (int32_t k = 0; k < rows; ++k) {
        if (is_refused(bands, row_number(k))) return false;
    }
    uint8_t *out = run->out;
    for (int32_t k = 0; k < rows; ++k, out += static_cast<size_t>(run->out_width) * 4) {
        const uint8_t *row = band_row(&bands, row_number(k));
        if (!row) return false;
        put_row(*run, row, out);
    }
    close_band_rows(&bands);
    return true;
}

bool decode_rows(RegionRun *run) {
    const int32_t rows = run->h / run->sample_size;
    const int32_t step = std::min(static_cast<int32_t>(run->source->header.height), run->sample_size);
    if (decode_from_bands(run, rows, step)) return true;
    go_to_first_row(run, 0, run->y + run->h, static_cast<uint64_t>(run->x) + static_cast<uint64_t>(run->w));
    uint8_t *out = run->out;
    for (int32_t k = 0; k < rows; ++k, out += static_cast<size_t>(run->out_width) * 4) {
        // Required: no rows are skipped in front of the last one.
        if (k < rows - 1) skip_rows(run, step - 1);
        const uint8_t *row = next_row(run->source);
        put_row(*run, row, out);
    }
    return true;
}

// The columns of a pass that lie in the rectangle.
struct PassColumns {
    int32_t first, end;  // as pixels of the pass
    int32_t left, step;  // of the first of them in the rectangle, and to the next one
};

PassColumns pass_columns(const RegionRun &run, int pass) {
    const int32_t start = kAdam7[pass].first_column, step = kAdam7[pass].column_step;
    const auto before = [&](int32_t column) { return column <= start ? 0 : (column - start + step - 1) / step; };
    const int32_t first = before(run.x);
    return {first, before(run.x + run.w), start + first * step - run.x, step};
}

// Puts the pixels of one row of a pass into their places.
void scatter_row(RegionRun *run, const PassColumns &columns, const uint8_t *row, uint8_t *out) {
    const int32_t count = columns.end - columns.first;
    expand_pixels(run->form, row, columns.first, count, run->pixels);
    out += columns.left * 4;
    for (int32_t i = 0; i < count; ++i, out += columns.step * 4) std::memcpy(out, run->pixels + 4 * i, 4);
}

bool decode_passes(RegionRun *run) {
    const int32_t height = static_cast<int32_t>(run->source->header.height);
    const int32_t step = std::min(height, run->sample_size);
    int32_t rows = run->h / run->sample_size;
    // Required: one row less than the picture has.
    if (height <= rows) rows = height - 1;
    run->staging = os_allocate_array<uint8_t>(run->stride() * static_cast<uint64_t>(rows));
    if (!run->staging) return false;
    for (int pass = 0; pass < kAdam7Passes; ++pass) {
        const PassColumns columns = pass_columns(*run, pass);
        go_to_first_row(run, pass, run->y + rows * step, static_cast<uint64_t>(columns.end));
        for (int32_t k = 0; k < rows; ++k) {
            if (k < height - 1) skip_rows(run, step - 1);
            const uint8_t *row = next_row(run->source);
            if (row && columns.first < columns.end) {
                scatter_row(run, columns, row, run->staging + static_cast<size_t>(k) * run->stride());
            }
        }
    }
    for (int32_t k = 0; k < rows; ++k) {
        convert_row(*run, run->staging + static_cast<size_t>(k) * run->stride(),
                    run->out + static_cast<size_t>(k) * static_cast<size_t>(run->out_width) * 4);
    }
    return true;
}

bool decode_region(RegionRun *run) {
    set_up(run);
    run->pixels = os_allocate_array<uint8_t>(run->stride());
    if (!run->pixels) return false;
    return run->source->header.interlaced ? decode_passes(run) : decode_rows(run);
}

bool lies_inside(const vpng_tile_index &handle, const RegionRun &run) {
    return run.x >= 0 && run.y >= 0 && run.w > 0 && run.h > 0 && run.x < handle.width && run.y < handle.height &&
           run.w <= handle.width - run.x && run.h <= handle.height - run.y;
}

struct BuildRun {
    png_structp png;
};

bool build_index(BuildRun *run) {
    vpng_build_index(run->png);
    return true;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

vpng_tile_index *onBuildTileIndexVPNG(const void *source, int32_t length, vpng_read_callback readFn,
                                      int32_t colourFormat) {
    png_structp png = nullptr;
    png_infop info = nullptr;
    vpng_tile_index *handle = nullptr;
    if (onDecodeVPNGInit(&png, &info, source, readFn, length)) {
        handle = os_allocate_array<vpng_tile_index>(1);
        BuildRun run = {png};
        if (handle && run_guarded(png, build_index, &run)) {
            const PngHeader &header = source_of(png)->header;
            *handle = {png,
                       info,
                       colourFormat,
                       static_cast<int32_t>(header.width),
                       static_cast<int32_t>(header.height),
                       readFn ? const_cast<void *>(source) : nullptr};
            return handle;
        }
    }
    os_release(handle);
    vpng_destroy_read_struct(&png, &info, nullptr);
    return nullptr;
}

int32_t onDecodeVPNGSubset(vpng_tile_index *handle, void *out, int32_t x, int32_t y, int32_t w, int32_t h,
                           int32_t sampleSize) {
    if (!handle || !out || !handle->png || sampleSize < 1 || !is_rgba_format(handle->colourFormat)) return 0;
    RegionRun run = {};
    run.png = handle->png;
    run.info = handle->info;
    run.source = source_of(handle->png);
    run.out = static_cast<uint8_t *>(out);
    run.x = x;
    run.y = y;
    run.w = w;
    run.h = h;
    run.sample_size = sampleSize;
    run.swapped = handle->colourFormat == COLOR_BGRA8888;
    if (!run.source || !run.source->reader || !lies_inside(*handle, run)) return 0;
    pthread_mutex_lock(&run.source->lock);
    const bool done = run_guarded(run.png, decode_region, &run);
    pthread_mutex_unlock(&run.source->lock);
    os_release(run.pixels);
    os_release(run.staging);
    return done;
}

int32_t vpng_set_region_memory(vpng_tile_index *handle, size_t bytes) {
    PngSource *source = handle ? source_of(handle->png) : nullptr;
    if (!source) return 0;
    pthread_mutex_lock(&source->lock);
    set_band_memory(source, bytes);
    pthread_mutex_unlock(&source->lock);
    return 1;
}

size_t vpng_get_region_memory(vpng_tile_index *handle) {
    PngSource *source = handle ? source_of(handle->png) : nullptr;
    if (!source) return 0;
    pthread_mutex_lock(&source->lock);
    const size_t bytes = source->bands ? source->bands->bytes : 0;
    pthread_mutex_unlock(&source->lock);
    return bytes;
}

}  // extern "C"
