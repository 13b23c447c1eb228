#include "png/model.h"

#include <png.h>

#include <algorithm>
#include <cstring>

namespace vorel::test {
namespace {

void stay_silent(png_structp, png_const_charp) {}

void read_straight(png_structp png, png_infop info, StraightPng *image, std::vector<png_bytep> *rows) {
    if (setjmp(png_jmpbuf(png))) return;
    png_read_info(png, info);
    image->width = static_cast<int>(png_get_image_width(png, info));
    image->height = static_cast<int>(png_get_image_height(png, info));
    image->colour_type = png_get_color_type(png, info);
    image->depth = png_get_bit_depth(png, info);
    image->interlaced = png_get_interlace_type(png, info) != 0;
    png_bytep alphas = nullptr;
    png_color_16p colour = nullptr;
    if (png_get_tRNS(png, info, &alphas, &image->transparent_entries, &colour)) {
        const int shift = image->depth == 16 ? 8 : 0;
        if (image->colour_type == PNG_COLOR_TYPE_RGB) {
            const int words[] = {colour->red, colour->green, colour->blue};
            for (int c = 0; c < 3; ++c) image->key[c] = words[c] >> shift & 255;
        } else if (image->colour_type == PNG_COLOR_TYPE_GRAY) {
            image->key[0] = colour->gray >> shift & 255;
        }
    }
    png_set_expand(png);
    png_set_strip_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    image->rgba.assign(static_cast<size_t>(image->width) * static_cast<size_t>(image->height) * 4, 0);
    rows->resize(static_cast<size_t>(image->height));
    for (size_t y = 0; y < rows->size(); ++y) (*rows)[y] = &image->rgba[y * static_cast<size_t>(image->width) * 4];
    png_read_image(png, rows->data());
    image->good = true;
}

void put_pixel(const StraightPng &image, bool whole_row, int format, const uint8_t *straight, uint8_t *out) {
    std::copy(straight, straight + 4, out);
    if (format == 8) std::swap(out[0], out[2]);
    model_pixel(image, whole_row, out);
}

std::vector<int> sampled_columns(int width, int start, int end, int step) {
    std::vector<int> columns;
    for (int x = start + (width <= step ? width / 2 : step / 2); x < end; x += step) columns.push_back(x);
    return columns;
}

void put_row(const StraightPng &image, int format, const std::vector<int> &columns, int most, int y, uint8_t *out) {
    for (int i = 0; i < most && i < static_cast<int>(columns.size()); ++i) {
        put_pixel(image, false, format, image.pixel(columns[static_cast<size_t>(i)], y), out + 4 * i);
    }
}

}  // namespace

StraightPng straight_png(const Bytes &bytes) {
    StraightPng image;
    std::vector<png_bytep> rows;
    FILE *file = fmemopen(const_cast<uint8_t *>(bytes.data()), bytes.size(), "rb");
    if (!file) return image;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, stay_silent);
    png_infop info = png_create_info_struct(png);
    png_set_error_fn(
        png, nullptr, [](png_structp p, png_const_charp) { png_longjmp(p, 1); }, stay_silent);
    png_init_io(png, file);
    read_straight(png, info, &image, &rows);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return image;
}

void model_pixel(const StraightPng &image, bool whole_row, uint8_t *p) {
    if (image.transparent_entries == 0) {
        for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>((p[c] * p[3] * 2 + 255) / 510);
        return;
    }
    bool zero = p[3] == 0;
    if (image.colour_type == 3 && whole_row) return;
    const bool gray = image.colour_type == 0, first_only = gray && (whole_row || image.depth == 8);
    if (image.colour_type != 3) {
        bool equal = p[0] == image.key[0];
        for (int c = 1; c < 3 && !first_only; ++c) equal = equal && p[c] == image.key[gray ? 0 : c];
        zero = zero || equal;
    }
    if (zero) std::memset(p, 0, 4);
}

int model_step(RowStep *at, int src_height, int out_height) {
    for (int skipped = 0; src_height > 0 && skipped <= src_height; ++skipped) {
        at->difference = at->y - at->o;
        if (skipped) at->o += out_height;
        if (at->y < at->o || at->y - at->o >= out_height) continue;
        at->y += src_height;
        at->o += out_height;
        return skipped;
    }
    return 0;
}

std::vector<int> model_rows(int height, int out_height, int sample_size) {
    std::vector<int> rows;
    RowStep at = {0, height, out_height};
    const int step = std::min(height, sample_size);
    int next = 0;
    for (int k = 0; k < out_height; ++k) {
        const int skipped = step ? step - 1 : model_step(&at, height, out_height);
        if (k < out_height - 1) next += skipped;
        if (next >= height) break;
        rows.push_back(next++);
    }
    return rows;
}

std::vector<int> model_fitted_columns(int width, int out_width) {
    std::vector<int> columns;
    long a = width / 2, b = 0;
    for (int i = 0; i < width; ++i, b += out_width) {
        if (0 <= a - b && a - b < out_width) {
            columns.push_back(i);
            a += width;
        }
    }
    return columns;
}

Decoded model_whole(const StraightPng &image, const WholeRequest &request, uint8_t fill) {
    Decoded out;
    out.pixels.assign(static_cast<size_t>(request.out_width) * static_cast<size_t>(request.out_height) * 4, fill);
    if ((request.format != 7 && request.format != 8) || request.sample_size < 0) return out;
    const auto row_at = [&](int k) {
        return out.pixels.data() + static_cast<size_t>(k) * static_cast<size_t>(request.out_width) * 4;
    };
    out.result = 1;
    if (request.out_width == image.width && request.out_height == image.height) {
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x)
                put_pixel(image, true, request.format, image.pixel(x, y), row_at(y) + 4 * x);
        return out;
    }
    std::vector<int> rows;
    if (!image.interlaced) {
        rows = model_rows(image.height, request.out_height, request.sample_size);
        out.result = static_cast<int>(rows.size()) == request.out_height;
    } else {
        const int count = image.height > request.out_height ? request.out_height : image.height - 1;
        const int step = std::min(image.height, request.sample_size);
        for (int k = 0; k < count && step; ++k) {
            // A skip stops at the last row, which is given once.
            const int row = std::min((k + 1) * step - 1, image.height - 1);
            if (!rows.empty() && rows.back() == row) out.result = 0;
            rows.push_back(row);
        }
        if (!step && image.height > request.out_height) {
            for (int k = 0; k < count; ++k) rows.push_back((k + 1) * image.height / request.out_height - 1);
        } else if (!step) {
            for (int k = 0; k < count; ++k) rows.push_back(k);
        }
        if (!out.result) rows.clear();
    }
    const int column_step = std::min(image.width, request.sample_size);
    const std::vector<int> columns = column_step ? sampled_columns(image.width, 0, image.width, column_step)
                                                 : model_fitted_columns(image.width, request.out_width);
    for (size_t k = 0; k < rows.size(); ++k) {
        put_row(image, request.format, columns, request.out_width, rows[k], row_at(static_cast<int>(k)));
    }
    return out;
}

Decoded model_region(const StraightPng &image, const RegionRequest &request, int format) {
    Decoded out;
    const int s = request.sample_size, width = request.w / s;
    int rows = request.h / s;
    out.result = 1;
    out.pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(rows) * 4, 0x5A);
    const std::vector<int> columns = sampled_columns(image.width, request.x, image.width, std::min(image.width, s));
    if (image.interlaced && image.height <= rows) rows = image.height - 1;
    for (int k = 0; k < rows; ++k) {
        int y = request.y + (k + 1) * s - 1;
        if (!image.interlaced && k == rows - 1) y = request.y + k * s;
        put_row(image, format, columns, width, y,
                out.pixels.data() + static_cast<size_t>(k) * static_cast<size_t>(width) * 4);
    }
    return out;
}

}  // namespace vorel::test
