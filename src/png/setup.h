// Opening a PNG: the read object with its source, the chunks before the first IDAT, and the jump target for steps that
// libpng may leave by longjmp.
#pragma once

#include <csetjmp>

#include "png/source.h"

namespace vorel {

// What libpng does to rows: all that makes them R, G, B, A, or nothing.
enum class RowForm { kRgba, kRaw };

bool open_png(png_structp *png_out, png_infop *info_out, const void *source, vpng_read_callback read, int32_t length,
              RowForm form);

// The transformations of RowForm::kRgba, for an object that was opened without them. Jumps.
void set_rgba_transformations(png_structp png, png_infop info, int colour_type, int bit_depth);

// Runs step(run) under a jump target; false when libpng jumped. What the step made stands in *run, whose owner calls
// this: neither function holds anything that a jump would lose.
template <typename Run>
bool run_guarded(png_structp png, bool (*step)(Run *run), Run *run) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    return step(run);
}

constexpr bool is_rgba_format(int32_t colour_format) {
    return colour_format == COLOR_RGBA8888 || colour_format == COLOR_BGRA8888;
}

}  // namespace vorel
