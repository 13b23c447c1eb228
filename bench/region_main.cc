// vorel_region_bench [REGEX] [--results FILE]: rectangles out of the middle of a large photograph, and the pass that
// makes the map they need. The peer is libjpeg-turbo: a cropped decode that skips the rows above, and its full decode.
#include <stdio.h>

#include <jpeglib.h>

#include <vorel/vorel.h>

#include <csetjmp>
#include <stdexcept>

#include "machine.h"
#include "picture.h"
#include "turns.h"

namespace vorel_bench {
namespace {

constexpr int kSide = 512;  // of the rectangle behind its reduction

struct Rectangle {
    int sample, x, y;  // in pixels of the reduced picture
};

struct ErrorManager {
    jpeg_error_mgr base;
    jmp_buf jump;
};
void on_error(j_common_ptr jpeg) { longjmp(reinterpret_cast<ErrorManager *>(jpeg->err)->jump, 1); }

// Leaves by longjmp on failure: nothing here has a destructor.
bool crop_rows(jpeg_decompress_struct &jpeg, ErrorManager &errors, const Rectangle &at, uint8_t *out) {
    if (setjmp(errors.jump)) return false;
    jpeg_read_header(&jpeg, TRUE);
    jpeg.scale_num = 1;
    jpeg.scale_denom = static_cast<unsigned>(at.sample);
    jpeg.dct_method = JDCT_ISLOW;
    jpeg.do_fancy_upsampling = FALSE;
    jpeg.out_color_space = JCS_EXT_RGBA;
    jpeg_start_decompress(&jpeg);
    JDIMENSION left = static_cast<JDIMENSION>(at.x), width = kSide;
    // Begins at whole MCUs: the row may be wider than the rectangle.
    jpeg_crop_scanline(&jpeg, &left, &width);
    jpeg_skip_scanlines(&jpeg, static_cast<JDIMENSION>(at.y));
    for (int row = 0; row < kSide; ++row) {
        JSAMPROW to = out + static_cast<size_t>(row) * width * 4;
        jpeg_read_scanlines(&jpeg, &to, 1);
    }
    jpeg_abort_decompress(&jpeg);
    return true;
}

bool full_rows(jpeg_decompress_struct &jpeg, ErrorManager &errors, uint8_t *out) {
    if (setjmp(errors.jump)) return false;
    jpeg_read_header(&jpeg, TRUE);
    jpeg.dct_method = JDCT_ISLOW;
    jpeg.do_fancy_upsampling = FALSE;
    jpeg.out_color_space = JCS_EXT_RGBA;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW to = out + static_cast<size_t>(jpeg.output_scanline) * jpeg.output_width * 4;
        jpeg_read_scanlines(&jpeg, &to, 1);
    }
    jpeg_finish_decompress(&jpeg);
    return true;
}

template <typename Decode>
void with_peer(const Jpeg &picture, const Decode &decode) {
    jpeg_decompress_struct jpeg;
    ErrorManager errors;
    jpeg.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = on_error;
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, picture.bytes.data(), picture.bytes.size());
    const bool done = decode(jpeg, errors);
    jpeg_destroy_decompress(&jpeg);
    if (!done) throw std::runtime_error("libjpeg-turbo failed");
}

// A session over a picture in memory with its map.
class Mapped {
  public:
    explicit Mapped(const Jpeg &jpeg)
        : session_(VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.bytes.data()),
                                           static_cast<int32_t>(jpeg.bytes.size()), COLOR_RGBA8888,
                                           VOREL_OPTION_REGION)) {
        if (VORELBRIM_ScanHuffmanInfo(session_) != 1) throw std::runtime_error("no map");
    }
    ~Mapped() {
        VORELBRIM_DestroyJpegInfo(session_);
        VORELBRIM_DestroyDecInfo(session_);
    }
    Mapped(const Mapped &) = delete;
    Mapped &operator=(const Mapped &) = delete;
    DecInfo *session() const { return session_; }

  private:
    DecInfo *session_;
};

using Decoder = decltype(VORELBRIM_DecodeRegion);

void peer_rectangle(const Jpeg &jpeg, const Rectangle &at, Bytes &out) {
    with_peer(jpeg,
              [&](jpeg_decompress_struct &in, ErrorManager &errors) { return crop_rows(in, errors, at, out.data()); });
}

void our_rectangle(const Mapped &mapped, const Jpeg &jpeg, const Rectangle &at, Decoder *decode, Bytes &out) {
    if (decode(mapped.session(), out.data(), jpeg.width / at.sample, jpeg.height / at.sample, at.x, at.y, kSide, kSide,
               at.sample) != 1)
        throw std::runtime_error("no rectangle");
}

void add_rectangle(const std::string &name, const Row &row, int sample, Decoder *decode, bool kept, Table &table) {
    const bool threads = decode != VORELBRIM_DecodeRegion;
    const Jpeg &jpeg = jpeg_for(row);
    const Mapped mapped(jpeg);
    if (!kept) vorel_jpeg_set_region_memory(mapped.session(), 0);
    // Right of a column where no position stands.
    const Rectangle at = {sample, jpeg.width / sample / 2 - kSide / 2 + 5, jpeg.height / sample / 2 - kSide / 2 + 3};
    Bytes ours(static_cast<size_t>(kSide) * kSide * 4), peer(static_cast<size_t>(kSide) * (kSide + 64) * 4);
    // What is kept is there from the third time on.
    for (int i = 0; kept && i < 2; ++i) our_rectangle(mapped, jpeg, at, decode, ours);
    Turns turns = measure_in_turns([&] { our_rectangle(mapped, jpeg, at, decode, ours); },
                                   [&] { peer_rectangle(jpeg, at, peer); }, {}, threads, {4, 9, 41});
    table.emit(line_of(name, &turns, 0));
}

// 200 rectangles, each 24 columns right of the one before and 12 rows below it: the mean of ours, all of them in turn,
// against that of every tenth of the peer's.
void add_pan(const std::string &name, const Row &row, Table &table) {
    const Jpeg &jpeg = jpeg_for(row);
    const Mapped mapped(jpeg);
    Bytes ours(static_cast<size_t>(kSide) * kSide * 4), peer(static_cast<size_t>(kSide) * (kSide + 64) * 4);
    constexpr int kSteps = 200, kPeerSteps = 10;
    double our_seconds = 0, peer_seconds = 0;
    for (int i = 0; i < kSteps; ++i) {
        const Rectangle at = {1, 1000 + 24 * i, 1000 + 12 * i};
        our_seconds +=
            seconds_of([&] { our_rectangle(mapped, jpeg, at, VORELBRIM_DecodeRegion, ours); }, false) / kSteps;
        if (i % kPeerSteps == 0)
            peer_seconds += seconds_of([&] { peer_rectangle(jpeg, at, peer); }, false) * kPeerSteps / kSteps;
    }
    Turns turns;
    turns.ours.seconds = {our_seconds};
    turns.peer.seconds = {peer_seconds};
    turns.ratios.seconds = {peer_seconds / our_seconds};
    table.emit(line_of(name, &turns, 0));
}

void add_map(const std::string &name, const Row &row, Table &table) {
    const Jpeg &jpeg = jpeg_for(row);
    Bytes pixels(static_cast<size_t>(jpeg.width) * static_cast<size_t>(jpeg.height) * 4);
    Turns turns = measure_in_turns([&] { Mapped mapped(jpeg); },
                                   [&] {
                                       with_peer(jpeg, [&](jpeg_decompress_struct &in, ErrorManager &errors) {
                                           return full_rows(in, errors, pixels.data());
                                       });
                                   },
                                   {}, false, {4, 7, 21});
    table.emit(line_of(name, &turns, 0));
}

void run(const Filter &filter, Table &table) {
    table.emit(
        "Rectangles of 512 x 512 out of the middle, 40 megapixels 4:2:0, from memory\n" + machine_line() +
        "\nregion: a rectangle, map ready, that was shown twice before; peer: libjpeg-turbo, cropped and skipped at "
        "the\n"
        "same reduction; first: nothing kept of what was shown; halves: by two threads, nothing kept\n"
        "pan: the mean of 200 rectangles, each 24 columns and 12 rows from the one before, nothing kept at first\n"
        "map: the pass that makes it; peer: libjpeg-turbo's full decode\n\n");
    for (const bool progressive : {false, true}) {
        const Row row{.megapixels = 40, .progressive = progressive};
        const std::string suffix = progressive ? "/progressive" : "";
        for (const int sample : {1, 4, 8}) {
            const std::string name = "region/420/40MP/1-" + std::to_string(sample) + suffix;
            if (filter.wants(name)) add_rectangle(name, row, sample, VORELBRIM_DecodeRegion, true, table);
            const std::string first = name + "/first";
            if (!progressive && filter.wants(first))
                add_rectangle(first, row, sample, VORELBRIM_DecodeRegion, false, table);
            const std::string pair = name + "/halves";
            if (!progressive && filter.wants(pair))
                add_rectangle(pair, row, sample, VORELBRIM_PDecodeRegion, false, table);
        }
        const std::string pan = "pan/420/40MP/1-1";
        if (!progressive && filter.wants(pan)) add_pan(pan, row, table);
        const std::string name = "map/420/40MP" + suffix;
        if (filter.wants(name)) add_map(name, row, table);
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_region_bench", vorel_bench::run); }
