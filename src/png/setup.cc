// Opening a PNG: read object, source, header chunks, transformations.
#include "png/setup.h"

#include "core/core.h"
#include "png/index.h"

namespace vorel {
namespace {

// Any libpng from 1.6.0 on takes it.
constexpr char kLibpngVersion[] = "1.6.10";
constexpr int kKeepAllChunks = 3;
constexpr int kOpaque = 255;

constexpr char kTagPng[] = "VPNG";

void log_warning(png_structp, png_const_charp message) { VOREL_LOG(kTagPng, "%s", message); }

// An index that could not be finished is none.
[[noreturn]] void jump_out(png_structp png, png_const_charp message) {
    VOREL_LOG(kTagPng, "%s", message);
    PngSource *source = source_of(png);
    if (source && source->index && !source->index_built) delete_row_index(source);
    png_longjmp(png, 1);
}

void read_for_libpng(png_structp png, png_bytep dest, size_t count) { vpng_read_data(png, dest, count); }

struct OpenRun {
    png_structp png;
    png_infop info;
    RowForm form;
};

bool read_header(OpenRun *run) {
    png_set_keep_unknown_chunks(run->png, kKeepAllChunks, nullptr, 0);
    png_read_info(run->png, run->info);
    png_uint_32 width, height;
    int bit_depth, colour_type, interlace;
    if (!png_get_IHDR(run->png, run->info, &width, &height, &bit_depth, &colour_type, &interlace, nullptr, nullptr)) {
        return false;
    }
    source_of(run->png)->header = {width, height, static_cast<uint8_t>(bit_depth), static_cast<uint8_t>(colour_type),
                                   interlace != PNG_INTERLACE_NONE};
    if (run->form == RowForm::kRgba) set_rgba_transformations(run->png, run->info, colour_type, bit_depth);
    return true;
}

}  // namespace

// Required: the sequence, repeats and all. png_read_update_info is not called, so the info object goes on reporting the
// header's colour type, depth and channels, which the rule of transparency depends on.
void set_rgba_transformations(png_structp png, png_infop info, int colour_type, int bit_depth) {
    const bool gray = colour_type == PNG_COLOR_TYPE_GRAY || colour_type == PNG_COLOR_TYPE_GRAY_ALPHA;
    if (bit_depth == 16) png_set_strip_16(png);
    if (bit_depth < 8) png_set_packing(png);
    if (gray) png_set_gray_to_rgb(png);
    if (colour_type == PNG_COLOR_TYPE_GRAY || colour_type == PNG_COLOR_TYPE_RGB) {
        png_set_filler(png, kOpaque, PNG_FILLER_AFTER);
    }
    if (colour_type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colour_type == PNG_COLOR_TYPE_GRAY && bit_depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    if (bit_depth == 16) png_set_strip_16(png);
    if (!(colour_type & PNG_COLOR_MASK_ALPHA)) png_set_add_alpha(png, kOpaque, PNG_FILLER_AFTER);
    if (gray) png_set_gray_to_rgb(png);
}

bool open_png(png_structp *png_out, png_infop *info_out, const void *source, vpng_read_callback read, int32_t length,
              RowForm form) {
    *png_out = nullptr;
    *info_out = nullptr;
    PngSource *record = open_png_source(source, read, length);
    if (!record) return false;
    png_structp png = png_create_read_struct_2(kLibpngVersion, nullptr, jump_out, log_warning, record,
                                               allocate_for_libpng, release_for_libpng);
    if (!png) {
        close_png_source(record);
        return false;
    }
    record->png = png;
    png_set_read_fn(png, record, read_for_libpng);
    *png_out = png;
    png_infop info = png_create_info_struct(png);
    if (!info) return false;
    *info_out = info;
    OpenRun run = {png, info, form};
    return run_guarded(png, read_header, &run);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t onDecodeVPNGInit(png_structp *pngOut, png_infop *infoOut, const void *source, vpng_read_callback readFn,
                         int32_t length) {
    if (!pngOut || !infoOut) return 0;
    return open_png(pngOut, infoOut, source, readFn, length, RowForm::kRgba);
}

void vpng_destroy_read_struct(png_structpp png, png_infopp info, png_infopp endInfo) {
    png_destroy_read_struct(png, info, endInfo);
}

png_uint_32 vpng_get_IHDR(png_structp png, png_infop info, png_uint_32 *width, png_uint_32 *height, int *bitDepth,
                          int *colourType, int *interlace, int *compression, int *filter) {
    // Of an object without a header libpng jumps, to where nobody waits any more.
    if (!png || !info || png_get_image_width(png, info) == 0) return 0;
    return png_get_IHDR(png, info, width, height, bitDepth, colourType, interlace, compression, filter);
}

int32_t getSubImageBufferForVPNG(void) { return 1; }

}  // extern "C"
