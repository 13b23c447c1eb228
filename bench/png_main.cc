// vorel_png_bench [REGEX] [--results FILE]: PNG against libpng: whole decodes to R, G, B, A with colours times alpha,
// and regions of large pictures against decoding down to them; prints the table, and keeps it in FILE.
#include <png.h>

#include <vorel/png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "machine.h"
#include "turns.h"

namespace vorel_bench {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr size_t kRegionMemory = size_t{32} << 20;  // the default

struct Picture {
    std::string name;
    int width, height, colour_type, depth;
    bool interlaced;
    Bytes file;
    bool photograph = false;
};

int channels_of(int colour_type) {
    return colour_type == PNG_COLOR_TYPE_RGB_ALPHA ? 4 : colour_type == PNG_COLOR_TYPE_RGB ? 3 : 1;
}

void append(png_structp png, png_bytep bytes, size_t count) {
    auto *file = static_cast<Bytes *>(png_get_io_ptr(png));
    file->insert(file->end(), bytes, bytes + count);
}

// Soft shading, finer waves and a grain of some levels, as of a photograph.
int photograph(int x, int y, int c, uint32_t noise) {
    const float slow = 60 * std::sin(static_cast<float>(x) * 0.003f + static_cast<float>(y) * 0.002f);
    const float fine = 30 * std::sin(static_cast<float>(x) * 0.05f + static_cast<float>(y) * 0.03f);
    const uint32_t grain = (noise >> 28) + (noise >> 20 & 15) + (noise >> 12 & 15);
    return 120 + 7 * c + static_cast<int>(slow + fine) + static_cast<int>(grain / 4);
}

// Waves, some edges and the noise of a sensor; alpha falls off towards the sides. Written as libpng writes it at
// level 6.
void write_picture(Picture *picture) {
    const int width = picture->width, height = picture->height;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) std::abort();
    png_set_write_fn(png, &picture->file, append, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), picture->depth,
                 picture->colour_type, picture->interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    if (picture->colour_type == PNG_COLOR_TYPE_PALETTE) {
        png_color palette[256];
        for (int i = 0; i < 256; ++i) {
            palette[i] = {static_cast<png_byte>(i), static_cast<png_byte>(i * 3), static_cast<png_byte>(255 - i)};
        }
        png_set_PLTE(png, info, palette, 256);
    }
    png_write_info(png, info);
    const int passes = png_set_interlace_handling(png);
    const int channels = channels_of(picture->colour_type);
    Bytes row(static_cast<size_t>(width) * static_cast<size_t>(channels) * static_cast<size_t>(picture->depth / 8));
    for (int pass = 0; pass < passes; ++pass) {
        uint32_t noise = 1;
        for (int y = 0; y < height; ++y) {
            uint8_t *out = row.data();
            for (int x = 0; x < width; ++x) {
                const int wave = ((x * (y & 4095)) >> 13) + ((x >> 3) ^ (y >> 4)) / 3;
                for (int c = 0; c < channels; ++c) {
                    noise = noise * 1664525u + 1013904223u;
                    int value = picture->photograph ? photograph(x, y, c, noise)
                                                    : 60 + wave % 120 + 15 * c + static_cast<int>(noise >> 29);
                    if (channels == 4 && c == 3) value = x % 1024 < 600 ? 255 : 255 - (x % 1024 - 600) / 2;
                    *out++ = static_cast<uint8_t>(value);
                    if (picture->depth == 16) *out++ = static_cast<uint8_t>(noise >> 8);
                }
            }
            png_write_row(png, row.data());
        }
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
}

struct Cursor {
    const uint8_t *at, *end;
};
void take(png_structp png, png_bytep to, size_t count) {
    auto *cursor = static_cast<Cursor *>(png_get_io_ptr(png));
    if (count > static_cast<size_t>(cursor->end - cursor->at)) png_error(png, "short");
    std::memcpy(to, cursor->at, count);
    cursor->at += count;
}

void premultiply(uint8_t *pixels, int count) {
    for (int i = 0; i < count; ++i, pixels += 4) {
        const uint32_t alpha = pixels[3];
        for (int c = 0; c < 3; ++c) {
            const uint32_t t = pixels[c] * alpha + 128;
            pixels[c] = static_cast<uint8_t>((t + (t >> 8)) >> 8);
        }
    }
}

// libpng over a picture: told what rows to give by one function, read by the other.
template <typename SetUp, typename Read>
void by_peer(const Picture &picture, const SetUp &set_up, const Read &read) {
    Cursor cursor = {picture.file.data(), picture.file.data() + picture.file.size()};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) std::abort();
    png_set_read_fn(png, &cursor, take);
    png_read_info(png, info);
    set_up(png);
    png_read_update_info(png, info);
    read(png);
    png_destroy_read_struct(&png, &info, nullptr);
}

// The peer's way to the same pixels: libpng's transformations, its row reading, and a loop over each row that has
// alpha. The first `rows` rows.
void peer_decode(const Picture &picture, uint8_t *out, int rows) {
    int passes = 1;
    const auto set_up = [&](png_structp png) {
        png_set_expand(png);
        png_set_strip_16(png);
        png_set_gray_to_rgb(png);
        png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
        passes = png_set_interlace_handling(png);
    };
    const size_t stride = static_cast<size_t>(picture.width) * 4;
    const bool alpha = (picture.colour_type & PNG_COLOR_MASK_ALPHA) != 0;
    by_peer(picture, set_up, [&](png_structp png) {
        for (int pass = 0; pass < passes; ++pass) {
            for (int y = 0; y < rows; ++y) {
                uint8_t *row = out + static_cast<size_t>(y) * stride;
                png_read_row(png, row, nullptr);
                if (alpha && passes == 1) premultiply(row, picture.width);
            }
        }
    });
    for (int y = 0; y < rows && alpha && passes > 1; ++y) {
        premultiply(out + static_cast<size_t>(y) * stride, picture.width);
    }
}

// The same down to a region's last row, of which the peer needs one row at a time.
void peer_rows(const Picture &picture, Bytes *row, int rows) {
    by_peer(
        picture, [](png_structp png) { png_set_add_alpha(png, 255, PNG_FILLER_AFTER); },
        [&](png_structp png) {
            for (int y = 0; y < rows; ++y) png_read_row(png, row->data(), nullptr);
        });
}

int32_t length_of(const Picture &picture) { return static_cast<int32_t>(picture.file.size()); }

void our_decode(const Picture &picture, uint8_t *out) {
    if (!decodeVPNG(picture.file.data(), length_of(picture), vpng_read_fn, out, picture.width, picture.height, 1, 7)) {
        throw std::runtime_error("our decode failed");
    }
}

vpng_tile_index *our_index(const Picture &picture) {
    vpng_tile_index *handle = onBuildTileIndexVPNG(picture.file.data(), length_of(picture), vpng_read_fn, 7);
    if (!handle) throw std::runtime_error("our index failed");
    return handle;
}

void drop(vpng_tile_index *handle) {
    vpng_destroy_read_struct(&handle->png, &handle->info, nullptr);
    VORELBRIM_OsFree(handle);
}

class Bench {
  public:
    Bench(const Filter &filter, Table &table) : filter_(filter), table_(table) {}

    // equal() says after both sides have run whether their pixels are the same; null where they do not give the same.
    // peer_share: the peer does that part of the work. False where the row was not asked for.
    bool row(const std::string &name, const std::function<void()> &ours, const std::function<void()> &peer,
             const std::function<bool()> &equal, int peer_share = 1) {
        if (!filter_.wants(name)) return false;
        Turns turns = measure_in_turns(ours, peer, nullptr, false, {1.5, 5, 25});
        const double mine = turns.ours.median(), other = turns.peer.median() * peer_share;
        char text[256];
        std::snprintf(text, sizeof text,
                      "%-34s  ours %8.2f ms  peer %8.2f ms  ratio %6.2f  spread %5.1f %5.1f %%  %s\n", name.c_str(),
                      mine * 1e3, other * 1e3, turns.ratios.median() * peer_share, 100 * turns.ours.spread(),
                      100 * turns.peer.spread(),
                      !equal    ? "-"
                      : equal() ? "equal"
                                : "DIFFERENT");
        table_.emit(text);
        return true;
    }

  private:
    const Filter &filter_;
    Table &table_;
};

void whole_rows(Bench &bench, const Picture &picture) {
    const size_t bytes = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 4;
    Bytes ours(bytes), peer(bytes, 1);
    bench.row(
        "decode/" + picture.name, [&] { our_decode(picture, ours.data()); },
        [&] { peer_decode(picture, peer.data(), picture.height); }, [&] { return ours == peer; });
}

void index_row(Bench &bench, const Picture &picture) {
    Bytes peer(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 4);
    bench.row(
        "index/" + picture.name, [&] { drop(our_index(picture)); },
        [&] { peer_decode(picture, peer.data(), picture.height); }, nullptr);
}

void index_against_decode_row(Bench &bench, const Picture &picture) {
    Bytes whole(static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) * 4);
    bench.row(
        "index-decode/" + picture.name, [&] { drop(our_index(picture)); }, [&] { our_decode(picture, whole.data()); },
        nullptr);
}

constexpr int kSide = 512;

void our_region(vpng_tile_index *handle, uint8_t *out, int x, int y) {
    if (!onDecodeVPNGSubset(handle, out, x, y, kSide, kSide, 1)) throw std::runtime_error("our region failed");
}

// From where nothing is kept, against the same without anything being kept.
void first_touch_row(Bench &bench, const Picture &picture) {
    const int x = (picture.width - kSide) / 2, y = (picture.height - kSide) / 2;
    Bytes first(kSide * kSide * 4), without(first.size(), 1);
    vpng_tile_index *handle = our_index(picture), *plain = our_index(picture);
    vpng_set_region_memory(plain, 0);
    bench.row(
        "region-first/" + picture.name,
        [&] {
            vpng_set_region_memory(handle, 0);
            vpng_set_region_memory(handle, kRegionMemory);
            our_region(handle, first.data(), x, y);
        },
        [&] { our_region(plain, without.data(), x, y); }, [&] { return first == without; });
    drop(handle);
    drop(plain);
}

// A pan over the whole picture by regions that overlap; the peer decodes down to each of them. It takes minutes, so
// that the peer's are a twentieth, spread over the picture.
void pan_row(Bench &bench, Table &table, const Picture &picture) {
    constexpr int kRegions = 200, kPeerEvery = 20;
    Bytes out(kSide * kSide * 4), row(static_cast<size_t>(picture.width) * 4);
    const auto x_of = [&](int i) { return (picture.width - kSide) * i / (kRegions - 1); };
    const auto y_of = [&](int i) { return (picture.height - kSide) * i / (kRegions - 1); };
    vpng_tile_index *handle = our_index(picture);
    size_t most = 0;
    const bool ran = bench.row(
        "pan/" + picture.name,
        [&] {
            vpng_set_region_memory(handle, 0);
            vpng_set_region_memory(handle, kRegionMemory);
            for (int i = 0; i < kRegions; ++i) {
                our_region(handle, out.data(), x_of(i), y_of(i));
                most = std::max(most, vpng_get_region_memory(handle));
            }
        },
        [&] {
            for (int i = kPeerEvery / 2; i < kRegions; i += kPeerEvery) peer_rows(picture, &row, y_of(i) + kSide);
        },
        nullptr, kPeerEvery);
    char text[96];
    std::snprintf(text, sizeof text, "%-34s  %.1f of %zu MiB are kept at most\n", "",
                  static_cast<double>(most) / (1 << 20), kRegionMemory >> 20);
    if (ran) table.emit(text);
    drop(handle);
}

// 512 x 512 pixels from the middle, the index being there, and what a region of the same rows has left; the peer reads
// row after row down to their last one.
void region_row(Bench &bench, const Picture &picture) {
    const int x = (picture.width - kSide) / 2, y = (picture.height - kSide) / 2;
    const size_t stride = static_cast<size_t>(picture.width) * 4;
    Bytes ours(kSide * kSide * 4), peer(stride * static_cast<size_t>(y + kSide));
    vpng_tile_index *handle = our_index(picture);
    bench.row(
        "region/" + picture.name, [&] { our_region(handle, ours.data(), x, y); },
        [&] { peer_decode(picture, peer.data(), y + kSide); },
        [&] {
            for (int k = 0; k < kSide; ++k) {
                if (std::memcmp(&ours[static_cast<size_t>(k) * kSide * 4],
                                &peer[static_cast<size_t>(y + k) * stride + static_cast<size_t>(x) * 4], kSide * 4))
                    return false;
            }
            return true;
        });
    drop(handle);
}

void run(const Filter &filter, Table &table) {
    table.emit(
        std::string("PNG, libvorel against libpng ") + png_get_libpng_ver(nullptr) + "\n" + machine_line() +
        "\n\n"
        "decode  whole picture from memory to R, G, B, A with colours times alpha; the peer: libpng's expansions\n"
        "        and a loop over the rows that have alpha\n"
        "index   our index for regions against the peer's whole decode\n"
        "index-decode  the same against our whole decode\n"
        "region  512 x 512 from the middle, after the first of its rows; the peer decodes down to its last row\n"
        "region-first  the first one of its rows, against the same when nothing is kept for those after it\n"
        "pan     200 such regions from corner to corner, of which the peer does ten\n"
        "ratio   the peer's time by ours, the median over turns of one run each: above 1 ours is faster\n"
        "times   of the processor\n"
        "spread  middle half of the times by their median, ours and the peer's\n\n");
    Bench bench(filter, table);
    for (Picture picture : {Picture{"rgb/12MP", 4000, 3000, PNG_COLOR_TYPE_RGB, 8, false, {}},
                            {"rgba/12MP", 4000, 3000, PNG_COLOR_TYPE_RGB_ALPHA, 8, false, {}},
                            {"gray/12MP", 4000, 3000, PNG_COLOR_TYPE_GRAY, 8, false, {}},
                            {"palette/12MP", 4000, 3000, PNG_COLOR_TYPE_PALETTE, 8, false, {}},
                            {"rgb16/12MP", 4000, 3000, PNG_COLOR_TYPE_RGB, 16, false, {}},
                            {"rgba/1MP", 1152, 896, PNG_COLOR_TYPE_RGB_ALPHA, 8, false, {}},
                            {"rgb-interlaced/3MP", 2000, 1500, PNG_COLOR_TYPE_RGB, 8, true, {}}}) {
        write_picture(&picture);
        whole_rows(bench, picture);
        if (!picture.interlaced && picture.colour_type != PNG_COLOR_TYPE_PALETTE) index_row(bench, picture);
    }
    for (Picture picture : {Picture{"rgb/40MP/7304x5477", 7304, 5477, PNG_COLOR_TYPE_RGB, 8, false, {}},
                            {"rgb/40MP/2000x20000", 2000, 20000, PNG_COLOR_TYPE_RGB, 8, false, {}},
                            {"rgb/40MP/1080x37037", 1080, 37037, PNG_COLOR_TYPE_RGB, 8, false, {}},
                            {"photograph/40MP/8000x5000", 8000, 5000, PNG_COLOR_TYPE_RGB, 8, false, {}, true}}) {
        write_picture(&picture);
        index_row(bench, picture);
        index_against_decode_row(bench, picture);
        region_row(bench, picture);
        first_touch_row(bench, picture);
        if (picture.width > kSide * 8) pan_row(bench, table, picture);
    }
}

}  // namespace
}  // namespace vorel_bench

int main(int argc, char **argv) { return vorel_bench::table_main(argc, argv, "vorel_png_bench", vorel_bench::run); }
