// Which rows and columns a smaller output keeps, in closed form.
#include "png/steppers.h"

#include <algorithm>
#include <cstring>

#include "png/png.h"
#include "png/source.h"

namespace vorel {
namespace {

constexpr int kPrefetchedSteps = 4;

uint32_t wrapped(int32_t value) { return static_cast<uint32_t>(value); }

}  // namespace

// Pixel i is kept when 0 <= a - i * out_width < out_width; a starts at width / 2 and grows by width with each kept one.
// Shrinking, that is the pixel at a / out_width. Enlarging, pixels are kept from the first one on, until a has fallen
// behind: j * (out_width - width) > width / 2.
ColumnSteps fitted_columns(int32_t width, int32_t out_width) {
    if (width < 1 || out_width < 1) return {0, 0, 1, 0, 0, 1};
    const int64_t middle = width >> 1;
    if (out_width > width) return {0, std::min<int64_t>(width, middle / (out_width - width) + 1), 1, 0, 0, 1};
    return {middle / out_width, out_width, width / out_width, middle % out_width, width % out_width, out_width};
}

ColumnSteps sampled_columns(int32_t width, int64_t start, int64_t end, int32_t step) {
    const int64_t first = start + (width <= step ? width >> 1 : step / 2);
    const int64_t count = first < end ? (end - first + step - 1) / step : 0;
    return {first, count, step, 0, 0, 1};
}

int64_t pick_columns(const ColumnSteps &columns, int64_t most, const uint8_t *row, uint8_t *out) {
    const int64_t count = std::min(columns.count, most);
    if (count <= 0) return 0;
    const uint8_t *in = row + columns.first * 4;
    if (columns.rest_step == 0) {
        if (columns.whole == 1) {
            std::memcpy(out, in, static_cast<size_t>(count) * 4);
            return count;
        }
        for (int64_t i = 0; i < count; ++i, in += columns.whole * 4, out += 4) {
            __builtin_prefetch(in + kPrefetchedSteps * 4 * columns.whole);
            std::memcpy(out, in, 4);
        }
        return count;
    }
    int64_t rest = columns.rest;
    for (int64_t i = 0; i < count; ++i, out += 4) {
        std::memcpy(out, in, 4);
        in += columns.whole * 4;
        rest += columns.rest_step;
        if (rest >= columns.divisor) {
            rest -= columns.divisor;
            in += 4;
        }
    }
    return count;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

// O moves by outHeight until Y - O is in [0, outHeight), for at most srcHeight rounds; from a difference below 0 or
// with an empty range it never is. Words wrap, as do the sums of enlargements.
int32_t skip_src_rows_count(png_structp png, png_infop, int32_t srcHeight, int32_t outHeight) {
    PngSource *source = source_of(png);
    if (!source || srcHeight < 1) return 0;
    const uint32_t y = wrapped(source->y_sample), o = wrapped(source->org_img_curr_y);
    const uint32_t src = wrapped(srcHeight), out = wrapped(outHeight);
    const int32_t difference = static_cast<int32_t>(y - o);
    const bool meets = difference >= 0 && outHeight > 0 && difference / outHeight <= srcHeight;
    const int32_t skipped = meets ? difference / outHeight : 0;
    // Required: the difference that is kept is the one before the last addition.
    const uint32_t last = meets ? (skipped > 0 ? wrapped(skipped) - 1 : 0) : src - 1;
    source->diff_cur_y = static_cast<int32_t>(wrapped(difference) - last * out);
    source->org_img_curr_y = static_cast<int32_t>(o + (meets ? (wrapped(skipped) + 1) * out : src * out));
    if (meets) source->y_sample = static_cast<int32_t>(y + src);
    return skipped;
}

}  // extern "C"
