// Row writers: samples of one picture row to the caller's buffer, in every colour format, rotated if need be.
#include <cstring>

#include "jpeg/decoder/output/output.h"

namespace vorel {
namespace {

constexpr int32_t kTileColumns = 64;
constexpr int32_t kTileRows = 16;

uint8_t *output_row(const JpegInfo *info, uint32_t row) {
    return info->out.planes.outPlanes[0] + static_cast<ptrdiff_t>(row) * info->out.planes.rowStep;
}

bool pixel_format(int32_t format, PixelFormat *out) {
    switch (format) {
        case COLOR_RGB565:
            *out = PixelFormat::kRgb565;
            return true;
        case COLOR_RGBA8888:
            *out = PixelFormat::kRgba;
            return true;
        case COLOR_BGRA8888:
            *out = PixelFormat::kBgra;
            return true;
        default:
            return false;
    }
}

constexpr ptrdiff_t pixel_size(PixelFormat format) { return format == PixelFormat::kRgb565 ? 2 : 4; }

// CMYK and YCCK samples, which Adobe stores inverted, to R, G, B rows in the scratch rows.
void multiply_black(JpegInfo *info, ColorSpace color, const RowSet &row, int32_t width, RowSet *rgb) {
    const KernelTable *kernels = info->plan.kernels;
    const uint8_t *cmy[3] = {row.c[0], row.c[1], row.c[2]};
    if (color == kColorYcck) {
        kernels->ycc_to_inverted_rgb(row.c[0], row.c[1], row.c[2], width, info->out.scratch[0], info->out.scratch[1],
                                     info->out.scratch[2]);
        for (int i = 0; i < 3; ++i) cmy[i] = info->out.scratch[i];
    }
    for (int i = 0; i < 3; ++i) {
        kernels->multiply_black(cmy[i], row.c[3], width, info->out.scratch[i]);
        rgb->c[i] = info->out.scratch[i];
    }
    rgb->c[3] = nullptr;
    rgb->shared = false;
}

// One row of pixels into memory, whatever the colour space.
void convert_row(JpegInfo *info, ColorSpace color, PixelFormat format, const RowSet &row, int32_t width, uint8_t *out) {
    const KernelTable *kernels = info->plan.kernels;
    const int f = static_cast<int>(format);
    switch (color) {
        case kColorGray:
            kernels->gray_row[f](row.c[0], width, out);
            break;
        case kColorRgb: {
            // Rows that share chroma come here only by a function's name: there is no RGB with half a component's
            // width.
            const uint8_t *components[3] = {row.c[0], row.c[1], row.c[2]};
            for (int c = 1; row.shared && c < 3; ++c) {
                kernels->double_samples(row.c[c], width, info->out.scratch[c]);
                components[c] = info->out.scratch[c];
            }
            kernels->rgb_row[f](components[0], components[1], components[2], width, out);
            break;
        }
        case kColorYcc:
            (row.shared ? kernels->ycc_row_shared : kernels->ycc_row)[f](row.c[0], row.c[1], row.c[2], width, out);
            break;
        default: {
            RowSet rgb;
            multiply_black(info, color, row, width, &rgb);
            kernels->rgb_row[f](rgb.c[0], rgb.c[1], rgb.c[2], width, out);
        }
    }
}

template <typename Pixel>
void scatter_tile(const uint8_t *tile, int32_t rows, int32_t columns, uint8_t *out, ptrdiff_t row_bytes,
                  ptrdiff_t pixel_bytes) {
    for (int32_t x = 0; x < columns; ++x) {
        uint8_t *column = out + x * pixel_bytes;
        for (int32_t y = 0; y < rows; ++y) {
            std::memcpy(column + y * row_bytes, tile + (y * kTileColumns + x) * static_cast<int32_t>(sizeof(Pixel)),
                        sizeof(Pixel));
        }
    }
}

// Rotated output: tiles of pixels are made in the first-level cache, so that an output row gets several at a time.
void write_rotated(JpegInfo *info, ColorSpace color, PixelFormat format, const RowSet *rows, int32_t count,
                   int32_t width) {
    alignas(64) uint8_t tile[kTileRows * kTileColumns * 4];
    const ptrdiff_t size = pixel_size(format);
    const OutputPlanes &planes = info->out.planes;
    for (int32_t y = 0; y < count; y += kTileRows) {
        const int32_t tile_rows = count - y < kTileRows ? count - y : kTileRows;
        uint8_t *out = output_row(info, info->out.outputRowCounter + static_cast<uint32_t>(y));
        for (int32_t x = 0; x < width; x += kTileColumns) {
            const int32_t columns = width - x < kTileColumns ? width - x : kTileColumns;
            for (int32_t i = 0; i < tile_rows; ++i) {
                convert_row(info, color, format, rows[y + i].at(x), columns, tile + i * kTileColumns * size);
            }
            uint8_t *corner = out + x * planes.pixelStep;
            if (size == 2) {
                scatter_tile<uint16_t>(tile, tile_rows, columns, corner, planes.rowStep, planes.pixelStep);
            } else {
                scatter_tile<uint32_t>(tile, tile_rows, columns, corner, planes.rowStep, planes.pixelStep);
            }
        }
    }
}

void write_pixels(JpegInfo *info, ColorSpace color, PixelFormat format, const RowSet *rows, int32_t count,
                  int32_t width) {
    if (info->plan.rotation != 0) {
        write_rotated(info, color, format, rows, count, width);
        return;
    }
    const bool pairs = color == kColorYcc;
    for (int32_t i = 0; i < count; ++i) {
        uint8_t *out = output_row(info, info->out.outputRowCounter + static_cast<uint32_t>(i));
        // Two luma rows over one chroma row of half width share the chroma terms.
        if (pairs && rows[i].shared && i + 1 < count && rows[i].c[1] == rows[i + 1].c[1]) {
            info->plan.kernels->ycc_row_pair[static_cast<int>(format)](
                rows[i].c[0], rows[i + 1].c[0], rows[i].c[1], rows[i].c[2], width, out, out + info->out.planes.rowStep);
            ++i;
            continue;
        }
        convert_row(info, color, format, rows[i], width, out);
    }
}

// A chroma row at half width: every second sample, which of doubled samples are the samples themselves.
void half_chroma(const JpegInfo *info, const RowSet &row, int plane, int32_t width, uint8_t *out) {
    const int32_t count = (width + 1) / 2;
    if (row.shared) {
        std::memcpy(out, row.c[plane], static_cast<size_t>(count));
    } else {
        info->plan.kernels->even_samples(row.c[plane], count, out);
    }
}

// The same without a copy where the samples stand side by side already.
const uint8_t *half_chroma_view(JpegInfo *info, const RowSet &row, int plane, int32_t width) {
    if (row.shared) return row.c[plane];
    half_chroma(info, row, plane, width, info->out.scratch[plane]);
    return info->out.scratch[plane];
}

void full_chroma(const JpegInfo *info, const RowSet &row, int plane, int32_t width, uint8_t *out) {
    if (row.shared) {
        info->plan.kernels->double_samples(row.c[plane], width, out);
    } else {
        std::memcpy(out, row.c[plane], static_cast<size_t>(width));
    }
}

// Packed Y0 Cb Y1 Cr. With an odd width the last pair has no second pixel, and its place is left alone.
void write_yuyv(JpegInfo *info, const RowSet &row, int32_t width, uint8_t *out) {
    const uint8_t *cb = half_chroma_view(info, row, 1, width);
    const uint8_t *cr = half_chroma_view(info, row, 2, width);
    const int32_t pairs = width / 2;
    info->plan.kernels->yuyv(row.c[0], cb, cr, pairs, out);
    if (width & 1) {
        out[4 * pairs] = row.c[0][2 * pairs];
        out[4 * pairs + 1] = cb[pairs];
        out[4 * pairs + 3] = cr[pairs];
    }
}

// Gray sources leave chroma as the caller set it.
void write_yuv_row(JpegInfo *info, ColorSpace color, const RowSet &row, uint32_t index, int32_t width) {
    const int32_t format = info->plan.outColorFormat;
    const bool gray = color == kColorGray;
    uint8_t *out = output_row(info, index);
    if (format == COLOR_YUYV) {
        if (gray) {
            for (int32_t x = 0; x < width; ++x) out[2 * x] = row.c[0][x];
        } else {
            write_yuyv(info, row, width, out);
        }
        return;
    }
    std::memcpy(out, row.c[0], static_cast<size_t>(width));
    if (gray) return;
    const bool half_height = pixel_layout(format).half_height;
    if (half_height && (index & 1)) return;
    const ptrdiff_t offset = static_cast<ptrdiff_t>(half_height ? index / 2 : index) * info->out.planes.chroma_bytes;
    uint8_t *cb = info->out.planes.outPlanes[1] + offset;
    switch (format) {
        case COLOR_YUV420:
        case COLOR_YUV422:
            half_chroma(info, row, 1, width, cb);
            half_chroma(info, row, 2, width, info->out.planes.outPlanes[2] + offset);
            break;
        case COLOR_YUV440:
        case COLOR_YUV444:
            full_chroma(info, row, 1, width, cb);
            full_chroma(info, row, 2, width, info->out.planes.outPlanes[2] + offset);
            break;
        default: {
            const int first = format == COLOR_NV12 ? 1 : 2;
            const uint8_t *a = half_chroma_view(info, row, first, width);
            const uint8_t *b = half_chroma_view(info, row, 3 - first, width);
            info->plan.kernels->interleave(a, b, (width + 1) / 2, cb);
        }
    }
}

}  // namespace

void write_rows(JpegInfo *info, ColorSpace color, const RowSet *rows, int32_t count, int32_t width) {
    const bool gray = color == kColorGray;
    int32_t format = info->plan.outColorFormat;
    if (gray && format == COLOR_RGB565_ALT) format = COLOR_RGB565;
    PixelFormat pixels;
    if (width <= 0) {
        // An empty window stores nothing.
    } else if (pixel_format(format, &pixels)) {
        write_pixels(info, color, pixels, rows, count, width);
    } else if ((gray || color == kColorYcc) && pixel_layout(format).chroma != ChromaLayout::kNone) {
        for (int32_t i = 0; i < count; ++i) {
            write_yuv_row(info, color, rows[i], info->out.outputRowCounter + static_cast<uint32_t>(i), width);
        }
    } else if (gray && format == COLOR_GRAY) {
        for (int32_t i = 0; i < count; ++i) {
            std::memcpy(output_row(info, info->out.outputRowCounter + static_cast<uint32_t>(i)), rows[i].c[0],
                        static_cast<size_t>(width));
        }
    }
    // Required: the other formats store nothing, and the rows count.
    info->out.outputRowCounter += static_cast<uint32_t>(count);
}

bool prepare_writers(JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    const int32_t width = plan.outWidth > plan.scaledWidth ? plan.outWidth : plan.scaledWidth;
    BRIM_FakeFree(info->out.scratch_rows);
    info->out.scratch_rows = BRIMJ_AllocSampleArry(info, width, kScratchRows, nullptr);
    if (!info->out.scratch_rows) return false;
    for (int i = 0; i < kScratchRows; ++i) info->out.scratch[i] = info->out.scratch_rows[i];
    return true;
}

void write_sums(JpegInfo *info, ColorSpace color, const uint32_t *sums, int32_t width) {
    uint8_t **rows = info->out.scratch + kResampledRow;
    info->plan.kernels->unpack_means(sums, width, rows[0], rows[1], rows[2]);
    const RowSet row = {{rows[0], rows[1], rows[2], rows[3]}, false};
    write_rows(info, color, &row, 1, width);
}

namespace {

void write_one(JpegInfo *info, ColorSpace color, const RowSet &row, int32_t width) {
    write_rows(info, color, &row, 1, width);
}

// Component rows of one MCU row, at their own width, without upsampling. A negative format is the session's.
void write_direct(JpegInfo *info, uint8_t ***rows, int32_t width, bool half_width, bool half_height,
                  int32_t format = -1) {
    int32_t count = half_height ? 2 : 1;
    RowSet sets[2];
    for (int32_t i = 0; i < count; ++i) sets[i] = {{rows[0][i], rows[1][0], rows[2][0], nullptr}, half_width};
    const int32_t kept = info->plan.outColorFormat;
    if (format >= 0) info->plan.outColorFormat = format;
    // The last pair of rows of an odd height has only its first row.
    const int64_t left = static_cast<int64_t>(info->plan.window.height) - info->out.outputRowCounter;
    if (left < count) count = static_cast<int32_t>(left > 0 ? left : 0);
    write_rows(info, kColorYcc, sets, count, width);
    info->plan.outColorFormat = kept;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void BRIMJ_YcbcrWriteOutput(JpegInfo *info, const uint32_t *accumulators, int32_t width) {
    write_sums(info, kColorYcc, accumulators, width);
}
void BRIMJ_GrayWriteOutput(JpegInfo *info, const uint32_t *accumulators, int32_t width) {
    write_sums(info, kColorGray, accumulators, width);
}
void BRIMJ_RGBWriteOutput(JpegInfo *info, const uint32_t *accumulators, int32_t width) {
    write_sums(info, kColorRgb, accumulators, width);
}

void BRIMJ_YcbcrWriteOutput1to1(JpegInfo *info, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width) {
    write_one(info, kColorYcc, {{y, cb, cr, nullptr}, false}, width);
}
void BRIMJ_FastYcbcrWriteOutput(JpegInfo *info, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, int32_t width) {
    write_one(info, kColorYcc, {{y, cb, cr, nullptr}, false}, width);
}
void BRIMJ_FastYcbcrUpscaleWriteOutput(JpegInfo *info, const uint8_t *y, const uint8_t *cb, const uint8_t *cr,
                                       int32_t width) {
    write_one(info, kColorYcc, {{y, cb, cr, nullptr}, false}, width);
}
void BRIMJ_GrayWriteOutput1to1(JpegInfo *info, const uint8_t *y, int32_t width) {
    write_one(info, kColorGray, {{y, y, y, nullptr}, false}, width);
}
void BRIMJ_RGBWriteOutput1to1(JpegInfo *info, const uint8_t *r, const uint8_t *g, const uint8_t *b, int32_t width) {
    write_one(info, kColorRgb, {{r, g, b, nullptr}, false}, width);
}
void BRIMJ_CMYKWriteOutput1to1(JpegInfo *info, const uint8_t *c, const uint8_t *m, const uint8_t *y, const uint8_t *k,
                               int32_t width) {
    write_one(info, kColorCmyk, {{c, m, y, k}, false}, width);
}
void BRIMJ_YCCKWriteOutput1to1(JpegInfo *info, const uint8_t *y, const uint8_t *cb, const uint8_t *cr, const uint8_t *k,
                               int32_t width) {
    write_one(info, kColorYcck, {{y, cb, cr, k}, false}, width);
}

#define VOREL_DIRECT_WRITERS(sampling, half_width, half_height)                                               \
    void BRIMJ_YcbcrWriteOutput1to1_##sampling(JpegInfo *info, uint8_t ***rows, int32_t width) {              \
        write_direct(info, rows, width, half_width, half_height);                                             \
    }                                                                                                         \
    void BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGB565(JpegInfo *info, uint8_t ***rows, int32_t width) {   \
        write_direct(info, rows, width, half_width, half_height, COLOR_RGB565);                               \
    }                                                                                                         \
    void BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGBA8888(JpegInfo *info, uint8_t ***rows, int32_t width) { \
        write_direct(info, rows, width, half_width, half_height, COLOR_RGBA8888);                             \
    }                                                                                                         \
    void BRIMJ_YcbcrWriteOutput1to1_##sampling##_toBGRA8888(JpegInfo *info, uint8_t ***rows, int32_t width) { \
        write_direct(info, rows, width, half_width, half_height, COLOR_BGRA8888);                             \
    }
VOREL_DIRECT_WRITERS(YUV420, true, true)
VOREL_DIRECT_WRITERS(YUV422_H2V1, true, false)
VOREL_DIRECT_WRITERS(YUV422_H1V2, false, true)
VOREL_DIRECT_WRITERS(YUV444, false, false)
#undef VOREL_DIRECT_WRITERS

// One gray row to bytes R, G, B, A = table[Y], 255, for each of `count` rows from rowIndex on.
void ycc_rgb_convert_internal(int32_t width, const uint8_t *table, uint8_t ***rows, int32_t rowIndex,
                              uint8_t **outputRows, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t *in = rows[0][rowIndex + i];
        uint8_t *out = outputRows[i];
        for (int32_t x = 0; x < width; ++x) {
            const uint8_t value = table[in[x]];
            out[4 * x] = out[4 * x + 1] = out[4 * x + 2] = value;
            out[4 * x + 3] = 255;
        }
    }
}

}  // extern "C"
