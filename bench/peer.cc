// libjpeg-turbo's side of a row, with the settings that give the same picture fastest: the exact integer transform,
// plain (merged) upsampling, scaling inside the transform. It cannot decode to any size, so it fits a screen with the
// smallest scale in eighths that is not below the wanted size.
#include <stdio.h>

#include <jpeglib.h>
#include <turbojpeg.h>

#include <algorithm>
#include <csetjmp>
#include <cstddef>

#include "decoders.h"

namespace vorel_bench {
namespace {

// As many eighths as the row's size wants.
int eighths(const Row &row, const Jpeg &jpeg) {
    if (row.scale != Scale::kFit) return 8 / denominator(row.scale);
    const auto enough = [](int screen, int side) { return (8 * screen + side - 1) / side; };
    const int wanted = std::min(enough(kScreenWidth, jpeg.width), enough(kScreenHeight, jpeg.height));
    return std::min(wanted, 8);
}

int scaled(int side, int eighths) { return (side * eighths + 7) / 8; }

struct ErrorManager {
    jpeg_error_mgr base;
    jmp_buf jump;
};
void on_error(j_common_ptr jpeg) { longjmp(reinterpret_cast<ErrorManager *>(jpeg->err)->jump, 1); }

// The stream's counterpart: 16 KiB at a time out of memory.
struct BlockSource {
    jpeg_source_mgr base;
    const Bytes *bytes;
    size_t at;
    JOCTET block[16384];
};
void init_source(j_decompress_ptr) {}
boolean fill_block(j_decompress_ptr jpeg) {
    auto *source = reinterpret_cast<BlockSource *>(jpeg->src);
    const size_t count = std::min(sizeof source->block, source->bytes->size() - source->at);
    if (count == 0) jpeg->err->error_exit(reinterpret_cast<j_common_ptr>(jpeg));
    std::copy_n(source->bytes->data() + source->at, count, source->block);
    source->at += count;
    source->base.next_input_byte = source->block;
    source->base.bytes_in_buffer = count;
    return TRUE;
}
void skip_data(j_decompress_ptr jpeg, long count) {
    for (; count > static_cast<long>(jpeg->src->bytes_in_buffer); fill_block(jpeg))
        count -= static_cast<long>(jpeg->src->bytes_in_buffer);
    jpeg->src->next_input_byte += count;
    jpeg->src->bytes_in_buffer -= static_cast<size_t>(count);
}
void term_source(j_decompress_ptr) {}

void set_block_source(BlockSource &source, const Bytes &bytes) {
    source.base.next_input_byte = nullptr;
    source.base.bytes_in_buffer = 0;
    source.base.init_source = init_source;
    source.base.fill_input_buffer = fill_block;
    source.base.skip_input_data = skip_data;
    source.base.resync_to_restart = jpeg_resync_to_restart;
    source.base.term_source = term_source;
    source.bytes = &bytes;
    source.at = 0;
}

// Leaves by longjmp on failure: nothing here has a destructor.
bool decode_rows(jpeg_decompress_struct &jpeg, ErrorManager &errors, const Row &row, int scale_eighths, uint8_t *out,
                 size_t row_bytes) {
    if (setjmp(errors.jump)) return false;
    jpeg_read_header(&jpeg, TRUE);
    jpeg.scale_num = static_cast<unsigned>(scale_eighths);
    jpeg.scale_denom = 8;
    jpeg.dct_method = JDCT_ISLOW;
    jpeg.do_fancy_upsampling = FALSE;
    jpeg.dither_mode = JDITHER_NONE;
    jpeg.out_color_space = row.format == Format::kRgb565 ? JCS_RGB565 : JCS_EXT_RGBA;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW rows[4];
        for (size_t i = 0; i < 4; ++i) rows[i] = out + (jpeg.output_scanline + i) * row_bytes;
        jpeg_read_scanlines(&jpeg, rows, std::min(4u, jpeg.output_height - jpeg.output_scanline));
    }
    jpeg_finish_decompress(&jpeg);
    return true;
}

bool decode_pixels(const Row &row, const Jpeg &picture, Output *output) {
    jpeg_decompress_struct jpeg;
    ErrorManager errors;
    jpeg.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = on_error;
    jpeg_create_decompress(&jpeg);
    FILE *file = nullptr;
    BlockSource blocks;
    if (row.source == Source::kFile) {
        file = fopen(picture.path.c_str(), "rb");
        if (file) jpeg_stdio_src(&jpeg, file);
    } else if (row.source == Source::kStream) {
        set_block_source(blocks, picture.bytes);
        jpeg.src = &blocks.base;
    } else {
        jpeg_mem_src(&jpeg, picture.bytes.data(), picture.bytes.size());
    }
    const size_t row_bytes = buffer_bytes(row.format, output->width, 1);
    const bool decoded = (row.source != Source::kFile || file) &&
                         decode_rows(jpeg, errors, row, eighths(row, picture), output->bytes.data(), row_bytes);
    jpeg_destroy_decompress(&jpeg);
    if (file) fclose(file);
    return decoded;
}

// Planes come from the TurboJPEG interface, which scales chroma along with luma.
bool decode_planes(const Jpeg &picture, Output *output) {
    tjhandle handle = tjInitDecompress();
    if (!handle) return false;
    const size_t luma = static_cast<size_t>(output->width) * static_cast<size_t>(output->height);
    const int chroma_width = (output->width + 1) / 2, chroma_height = (output->height + 1) / 2;
    uint8_t *cb = output->bytes.data() + luma;
    unsigned char *planes[3] = {output->bytes.data(), cb, cb + static_cast<ptrdiff_t>(chroma_width) * chroma_height};
    int strides[3] = {output->width, chroma_width, chroma_width};
    const int status = tjDecompressToYUVPlanes(handle, picture.bytes.data(), picture.bytes.size(), planes,
                                               output->width, strides, output->height, TJFLAG_ACCURATEDCT);
    tjDestroy(handle);
    return status == 0;
}

}  // namespace

void prepare_peer(const Row &row, const Jpeg &jpeg, Output *output) {
    const int n = eighths(row, jpeg);
    output->width = scaled(jpeg.width, n);
    output->height = scaled(jpeg.height, n);
    output->bytes.assign(buffer_bytes(row.format, output->width, output->height), 128);
}

bool decode_peer(const Row &row, const Jpeg &jpeg, Output *output) {
    return row.format == Format::kYuv420 ? decode_planes(jpeg, output) : decode_pixels(row, jpeg, output);
}

}  // namespace vorel_bench
