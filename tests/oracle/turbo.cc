// libjpeg-turbo behind plain functions.
#include "oracle/turbo.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include <jpeglib.h>

namespace vorel::test {
namespace {

struct ErrorExit {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
};

[[noreturn]] void leave(j_common_ptr info) { std::longjmp(reinterpret_cast<ErrorExit *>(info->err)->jump, 1); }
void stay_silent(j_common_ptr) {}

void read_planes(jpeg_decompress_struct *info, CodedPicture *out) {
    const auto count = static_cast<size_t>(info->num_components);
    const auto high = static_cast<unsigned>(info->max_v_samp_factor * DCTSIZE);
    std::vector<Bytes> padded(count);
    out->components.resize(count);
    while (info->output_scanline < info->output_height) {
        std::vector<std::vector<JSAMPROW>> rows(count);
        std::vector<JSAMPARRAY> arrays;
        for (size_t c = 0; c < count; ++c) {
            const jpeg_component_info &k = info->comp_info[c];
            const size_t stride = (k.width_in_blocks + 4) * DCTSIZE, deep = static_cast<size_t>(k.v_samp_factor) * 8;
            padded[c].resize(stride * deep);
            for (size_t y = 0; y < deep; ++y) rows[c].push_back(&padded[c][y * stride]);
            arrays.push_back(rows[c].data());
        }
        jpeg_read_raw_data(info, arrays.data(), high);
        for (size_t c = 0; c < count; ++c) {
            const jpeg_component_info &k = info->comp_info[c];
            Plane &plane = out->components[c].plane;
            plane.width = static_cast<int>(k.downsampled_width);
            for (size_t y = 0; y < rows[c].size() && plane.height < static_cast<int>(k.downsampled_height); ++y) {
                plane.samples.insert(plane.samples.end(), rows[c][y], rows[c][y] + plane.width);
                ++plane.height;
            }
            out->components[c].h = k.h_samp_factor;
            out->components[c].v = k.v_samp_factor;
        }
    }
}

// Reads a header and then what `read` wants of the picture; false when the oracle refuses the stream.
template <typename Read>
bool with_turbo(const Bytes &jpeg, const Read &read) {
    jpeg_decompress_struct info;
    ErrorExit error;
    info.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = leave;
    error.manager.output_message = stay_silent;
    if (setjmp(error.jump)) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, jpeg.data(), jpeg.size());
    jpeg_read_header(&info, TRUE);
    read(&info);
    jpeg_destroy_decompress(&info);
    return true;
}

Colour colour_of(J_COLOR_SPACE space) {
    return space == JCS_GRAYSCALE ? Colour::kGray
           : space == JCS_RGB     ? Colour::kRgb
           : space == JCS_CMYK    ? Colour::kCmyk
           : space == JCS_YCCK    ? Colour::kYcck
                                  : Colour::kYcc;
}

void set_scans(jpeg_compress_struct *info, Scans scans, std::vector<jpeg_scan_info> *list) {
    if (scans == Scans::kInterleaved) return;
    const auto add = [list](std::vector<int> components) {
        jpeg_scan_info scan = {};
        scan.comps_in_scan = static_cast<int>(components.size());
        for (size_t i = 0; i < components.size(); ++i) scan.component_index[i] = components[i];
        scan.Se = 63;
        list->push_back(scan);
    };
    if (scans == Scans::kLumaThenChroma) {
        add({0});
        add({1, 2});
    } else {
        for (int c = 0; c < info->num_components; ++c) add({c});
    }
    info->scan_info = list->data();
    info->num_scans = static_cast<int>(list->size());
}

// The script of a progression with its first scan, of all components' DC, in several.
void separate_dc(jpeg_compress_struct *info, Scans scans, std::vector<jpeg_scan_info> *list) {
    if (scans == Scans::kInterleaved || info->num_components == 1) return;
    *list = {info->scan_info, info->scan_info + info->num_scans};
    const jpeg_scan_info whole = list->front();
    list->erase(list->begin());
    jpeg_scan_info rest = whole;
    rest.comps_in_scan = 0;
    for (int c = info->num_components; c-- > 0;) {
        jpeg_scan_info one = whole;
        one.comps_in_scan = 1;
        one.component_index[0] = c;
        if (c == 0 || scans == Scans::kOnePerComponent)
            list->insert(list->begin(), one);
        else
            rest.component_index[rest.comps_in_scan++] = c;
    }
    std::reverse(rest.component_index, rest.component_index + rest.comps_in_scan);
    if (rest.comps_in_scan > 0) list->insert(list->begin() + 1, rest);
    info->scan_info = list->data();
    info->num_scans = static_cast<int>(list->size());
}

void set_colour(jpeg_compress_struct *info, Colour colour) {
    const bool ink = colour == Colour::kCmyk || colour == Colour::kYcck, gray = colour == Colour::kGray;
    info->input_components = ink ? 4 : gray ? 1 : 3;
    info->in_color_space = ink ? JCS_CMYK : gray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(info);
    if (colour == Colour::kRgb) jpeg_set_colorspace(info, JCS_RGB);
    if (colour == Colour::kYcck) jpeg_set_colorspace(info, JCS_YCCK);
}

}  // namespace

std::optional<CodedPicture> turbo_planes(const Bytes &jpeg) {
    CodedPicture out;
    const bool read = with_turbo(jpeg, [&out](jpeg_decompress_struct *info) {
        out.width = static_cast<int>(info->image_width);
        out.height = static_cast<int>(info->image_height);
        out.baseline = !info->progressive_mode;
        out.arithmetic = info->arith_code;
        out.colour = colour_of(info->jpeg_color_space);
        info->raw_data_out = TRUE;
        info->do_block_smoothing = FALSE;
        info->dct_method = JDCT_ISLOW;
        info->out_color_space = info->jpeg_color_space;
        jpeg_start_decompress(info);
        out.max_h = info->max_h_samp_factor;
        out.max_v = info->max_v_samp_factor;
        read_planes(info, &out);
        out.warnings = static_cast<int>(info->err->num_warnings);
    });
    return read ? std::optional(std::move(out)) : std::nullopt;
}

std::vector<CodedBlocks> turbo_coefficients(const Bytes &jpeg) {
    std::vector<CodedBlocks> out;
    with_turbo(jpeg, [&out](jpeg_decompress_struct *info) {
        jvirt_barray_ptr *arrays = jpeg_read_coefficients(info);
        for (int c = 0; c < info->num_components; ++c) {
            const jpeg_component_info &k = info->comp_info[c];
            CodedBlocks blocks;
            blocks.across = static_cast<int>(k.width_in_blocks);
            blocks.down = static_cast<int>(k.height_in_blocks);
            for (int i = 0; i < 64; ++i) blocks.quant[i] = k.quant_table->quantval[i];
            for (unsigned y = 0; y < k.height_in_blocks; ++y) {
                JBLOCKARRAY row =
                    info->mem->access_virt_barray(reinterpret_cast<j_common_ptr>(info), arrays[c], y, 1, FALSE);
                const JCOEF *first = row[0][0];
                blocks.coefficients.insert(blocks.coefficients.end(), first, first + 64 * k.width_in_blocks);
            }
            out.push_back(std::move(blocks));
        }
    });
    return out;
}

namespace {

// A compressor on memory: set up by one function, fed by the other.
template <typename SetUp, typename Feed>
Bytes compressed(int width, int height, Colour colour, int quality, const SetUp &set_up, const Feed &feed) {
    jpeg_compress_struct info;
    jpeg_error_mgr error;
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    unsigned char *memory = nullptr;
    unsigned long bytes = 0;
    jpeg_mem_dest(&info, &memory, &bytes);
    info.image_width = static_cast<unsigned>(width);
    info.image_height = static_cast<unsigned>(height);
    set_colour(&info, colour);
    jpeg_set_quality(&info, quality, TRUE);
    info.dct_method = JDCT_ISLOW;
    set_up(&info);
    jpeg_start_compress(&info, TRUE);
    feed(&info);
    jpeg_finish_compress(&info);
    Bytes out(memory, memory + bytes);
    std::free(memory);
    jpeg_destroy_compress(&info);
    return out;
}

}  // namespace

Bytes turbo_encode(const CodedPicture &picture, int quality) {
    const auto set_up = [&](jpeg_compress_struct *info) {
        info->raw_data_in = TRUE;
        for (size_t c = 0; c < picture.components.size(); ++c) {
            info->comp_info[c].h_samp_factor = picture.components[c].h;
            info->comp_info[c].v_samp_factor = picture.components[c].v;
        }
    };
    const auto feed = [&](jpeg_compress_struct *info) {
        const size_t width = static_cast<size_t>(picture.width) + 32;
        for (int mcu_row = 0; info->next_scanline < info->image_height; ++mcu_row) {
            Bytes samples(3 * 16 * width);
            JSAMPROW rows[3][16];
            JSAMPARRAY arrays[3] = {rows[0], rows[1], rows[2]};
            for (size_t i = 0; i < samples.size(); ++i) {
                const size_t c = i / width / 16, y = i / width % 16, x = i % width;
                if (c >= picture.components.size()) break;
                const CodedPicture::Component &component = picture.components[c];
                const int row = 8 * component.v * mcu_row + static_cast<int>(y);
                samples[i] = component.plane.at(static_cast<int>(x), row);
                if (x == 0) rows[c][y] = &samples[i];
            }
            jpeg_write_raw_data(info, arrays, static_cast<unsigned>(8 * picture.max_v));
        }
    };
    return compressed(picture.width, picture.height, picture.colour, quality, set_up, feed);
}

Bytes turbo_picture(const PictureSpec &spec) {
    std::vector<jpeg_scan_info> scans;
    const auto set_up = [&](jpeg_compress_struct *info) {
        info->optimize_coding = spec.optimize;
        info->restart_interval = spec.restart_interval;
        for (int c = 0; c < info->num_components; ++c) {
            const bool first = c == 0 || c == 3;
            info->comp_info[c].h_samp_factor = first ? spec.h : 1;
            info->comp_info[c].v_samp_factor = first ? spec.v : 1;
        }
        set_scans(info, spec.scans, &scans);
        if (spec.progressive) {
            jpeg_simple_progression(info);
            separate_dc(info, spec.scans, &scans);
        }
    };
    const auto feed = [&](jpeg_compress_struct *info) {
        std::mt19937 random(spec.seed);
        const int components = info->input_components;
        Bytes row(static_cast<size_t>(spec.width) * static_cast<size_t>(components));
        for (int y = 0; y < spec.height; ++y) {
            for (int x = 0; x < spec.width; ++x) {
                for (int c = 0; c < components; ++c) {
                    int value = 40 + (x * (3 + c) + y * (5 - c)) / 4 % 160;
                    if (x * 3 > spec.width * 2 && y * 2 > spec.height) value = 250 - 60 * c;
                    if (spec.smooth) {
                        const int ramps[] = {x * 170 / spec.width, y * 170 / spec.height,
                                             160 - 120 * (x + y) / (spec.width + spec.height), 0};
                        value = 40 + ramps[c];
                    } else if (spec.noise)
                        value += static_cast<int>(random() % static_cast<unsigned>(spec.noise)) - spec.noise / 2;
                    row[static_cast<size_t>(x * components + c)] = static_cast<uint8_t>(value < 0     ? 0
                                                                                        : value > 255 ? 255
                                                                                                      : value);
                }
            }
            JSAMPROW pointer = row.data();
            jpeg_write_scanlines(info, &pointer, 1);
        }
    };
    return compressed(spec.width, spec.height, spec.colour, spec.quality, set_up, feed);
}

}  // namespace vorel::test
