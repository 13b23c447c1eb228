// vorel_encode_bench [REGEX] [--results FILE]: encodes of a photograph, in one session against libjpeg-turbo with its
// accurate transform, and in strips on all processors against our one session.
#include <stdio.h>

#include <jpeglib.h>
#include <libyuv.h>

#include <vorel/vorel.h>

#include <algorithm>
#include <stdexcept>

#include "heap.h"
#include "machine.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

struct Kind {
    const char *name;
    int32_t format;
    int quality = 90;
    bool progressive = false, optimize = false;
};

// A picture as a caller has it.
struct Pixels {
    int width, height;
    Bytes bytes;
};

uint8_t to_byte(double value) { return static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0)); }

Pixels pixels_for(int megapixels, int32_t format) {
    const Samples samples = samples_for(megapixels);
    const size_t width = static_cast<size_t>(samples.width), height = static_cast<size_t>(samples.height);
    Pixels out{samples.width, samples.height, {}};
    if (format == COLOR_RGBA8888) {
        out.bytes.reserve(4 * width * height);
        for (size_t i = 0; i < 3 * width * height; i += 3) {
            const double y = samples.bytes[i], cb = samples.bytes[i + 1] - 128.0, cr = samples.bytes[i + 2] - 128.0;
            const uint8_t pixel[4] = {to_byte(y + 1.402 * cr), to_byte(y - 0.344136 * cb - 0.714136 * cr),
                                      to_byte(y + 1.772 * cb), 255};
            out.bytes.insert(out.bytes.end(), pixel, pixel + 4);
        }
        return out;
    }
    for (size_t i = 0; i < width * height; ++i) out.bytes.push_back(samples.bytes[3 * i]);
    for (size_t y = 0; y < height; y += 2) {
        for (size_t x = 0; x < width; x += 2) {
            const uint8_t *pair = &samples.bytes[3 * (y * width + x)];
            out.bytes.push_back(pair[2]);
            out.bytes.push_back(pair[1]);
        }
    }
    return out;
}

// 4:2:0 from NV21: planes are what the peer wants, 16 rows at a time.
void write_nv21(jpeg_compress_struct &jpeg, const Pixels &pixels) {
    const size_t width = static_cast<size_t>(pixels.width), half = width / 2;
    const uint8_t *luma = pixels.bytes.data(), *pairs = luma + width * static_cast<size_t>(pixels.height);
    Bytes cb(8 * half), cr(8 * half);
    JSAMPROW y_rows[16], cb_rows[8], cr_rows[8];
    for (int top = 0; top < pixels.height; top += 16) {
        for (int i = 0; i < 16; ++i) {
            y_rows[i] = const_cast<JSAMPROW>(luma + static_cast<size_t>(std::min(top + i, pixels.height - 1)) * width);
        }
        for (int i = 0; i < 8; ++i) {
            const int row = std::min(top / 2 + i, pixels.height / 2 - 1);
            const uint8_t *in = pairs + static_cast<size_t>(row) * width;
            cb_rows[i] = cb.data() + static_cast<size_t>(i) * half;
            cr_rows[i] = cr.data() + static_cast<size_t>(i) * half;
            libyuv::SplitUVPlane(in, pixels.width, cr_rows[i], 0, cb_rows[i], 0, pixels.width / 2, 1);
        }
        JSAMPARRAY planes[3] = {y_rows, cb_rows, cr_rows};
        jpeg_write_raw_data(&jpeg, planes, 16);
    }
}

size_t encode_peer(const Pixels &pixels, const Kind &kind, unsigned char **stream, unsigned long *capacity) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_mem_dest(&jpeg, stream, capacity);
    jpeg.image_width = static_cast<JDIMENSION>(pixels.width);
    jpeg.image_height = static_cast<JDIMENSION>(pixels.height);
    const bool rgba = kind.format == COLOR_RGBA8888;
    jpeg.input_components = rgba ? 4 : 3;
    jpeg.in_color_space = rgba ? JCS_EXT_RGBA : JCS_YCbCr;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, kind.quality, TRUE);
    jpeg.dct_method = JDCT_ISLOW;
    jpeg.raw_data_in = !rgba;
    if (kind.optimize) jpeg.optimize_coding = TRUE;
    if (kind.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    if (rgba) {
        while (jpeg.next_scanline < jpeg.image_height) {
            const size_t at = static_cast<size_t>(jpeg.next_scanline) * static_cast<size_t>(pixels.width) * 4;
            JSAMPROW row = const_cast<JSAMPROW>(pixels.bytes.data() + at);
            jpeg_write_scanlines(&jpeg, &row, 1);
        }
    } else {
        write_nv21(jpeg, pixels);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    return *capacity;
}

// A buffer that is large enough from the first run on.
struct Output {
    uint8_t *buffer = nullptr;
    int32_t capacity = 0;
    explicit Output(size_t bytes)
        : buffer(static_cast<uint8_t *>(VORELBRIM_OsMalloc(static_cast<int32_t>(bytes)))),
          capacity(static_cast<int32_t>(bytes)) {}
    ~Output() { VORELBRIM_OsFree(buffer); }
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
};

size_t encode_ours(const Pixels &pixels, const Kind &kind, bool strips, Output *out) {
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(pixels.width);
    raw.height = pixels.height;
    raw.pixels = const_cast<uint8_t *>(pixels.bytes.data());
    raw.format = static_cast<uint32_t>(kind.format);
    raw.progressive = kind.progressive;
    raw.optimizeHuffman = kind.optimize;
    int32_t size = out->capacity;
    const auto encode = strips ? VORELBRIM_PEncodeJpegToBuffer : VORELBRIM_EncodeJpegToBuffer;
    if (encode(&raw, &out->buffer, &size, kind.quality) != 1) throw std::runtime_error("an encode failed");
    return static_cast<size_t>(size);
}

// Beside the stream itself, which begins in a small buffer and grows.
int64_t heap_beside_output(const Pixels &pixels, const Kind &kind) {
    start_heap_count();
    size_t bytes;
    {
        Output out(4096);
        bytes = encode_ours(pixels, kind, false, &out);
    }
    return stop_heap_count() - static_cast<int64_t>(bytes);
}

void run(const Filter &filter, Table &table) {
    table.emit("Encodes of a synthetic photograph, 4:2:0, to memory\n" + machine_line() +
               "\nencode: one session; peer: libjpeg-turbo, JDCT_ISLOW, its own Huffman tables or measured ones\n"
               "strips: VORELBRIM_PEncodeJpegToBuffer, by the clock; peer: our one session\n" +
               kTurnColumns);
    const Kind kinds[] = {{"rgba", COLOR_RGBA8888},
                          {"rgba/q75", COLOR_RGBA8888, 75},
                          {"nv21", COLOR_NV21},
                          {"rgba/optimised", COLOR_RGBA8888, 90, false, true},
                          {"rgba/progressive", COLOR_RGBA8888, 90, true}};
    for (const int megapixels : {1, 12}) {
        for (const Kind &kind : kinds) {
            const std::string end = std::string(kind.name) + "/" + std::to_string(megapixels) + "MP";
            const std::string name = "encode/" + end, strips = "strips/" + end;
            const bool one = filter.wants(name);
            const bool many = !kind.progressive && filter.wants(strips);
            if (!one && !many) continue;
            const Pixels pixels = pixels_for(megapixels, kind.format);
            Output ours(pixels.bytes.size()), whole(pixels.bytes.size());
            size_t bytes = 0, peer_bytes = 0;
            if (one) {
                unsigned long capacity = pixels.bytes.size();
                Bytes memory(capacity);
                Turns turns = measure_in_turns([&] { bytes = encode_ours(pixels, kind, false, &ours); },
                                               [&] {
                                                   unsigned char *stream = memory.data();
                                                   unsigned long size = capacity;
                                                   peer_bytes = encode_peer(pixels, kind, &stream, &size);
                                               },
                                               {}, false, {3, 9, 41});
                table.emit(line_of(name, &turns, 0));
                char note[120];
                snprintf(note, sizeof note, "    stream %zu KiB, the peer's %zu; heap beside it %lld KiB\n",
                         bytes / 1024, peer_bytes / 1024,
                         static_cast<long long>(heap_beside_output(pixels, kind) / 1024));
                table.emit(note);
            }
            if (many) {
                Turns turns = measure_in_turns([&] { encode_ours(pixels, kind, true, &ours); },
                                               [&] { encode_ours(pixels, kind, false, &whole); }, {}, true, {3, 9, 41});
                table.emit(line_of(strips, &turns, 0));
            }
        }
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_encode_bench", vorel_bench::run); }
