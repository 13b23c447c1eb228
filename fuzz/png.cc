// PNG by all its ways: whole, sampled, fitted, by regions of an index. Nothing outside the buffers, the same from
// memory and from files, and regions are cuts of the whole picture where that decodes.
#include <vorel/png.h>

#include <cstring>
#include <ctime>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

// A decode of more pixels teaches nothing new and costs runs.
constexpr uint64_t kMostPixels = 512 * 512;

struct Header {
    int32_t width = 0, height = 0;
    bool interlaced = false, transparency = false;
};

int32_t length_of(const Bytes &picture) { return static_cast<int32_t>(picture.size()); }

// By the bytes of IHDR; tRNS is looked for as text, so that a file with those letters elsewhere counts as having it.
bool measure(const Bytes &picture, Header *header) {
    if (picture.size() < 33) return false;
    const auto word = [&](size_t at) {
        return uint32_t{picture[at]} << 24 | uint32_t{picture[at + 1]} << 16 | uint32_t{picture[at + 2]} << 8 |
               picture[at + 3];
    };
    const uint64_t width = word(16), height = word(20);
    if (width == 0 || height == 0 || width * height > kMostPixels) return false;
    header->width = static_cast<int32_t>(width);
    header->height = static_cast<int32_t>(height);
    header->interlaced = picture[28] != 0;
    for (size_t at = 33; at + 4 <= picture.size(); ++at) {
        header->transparency |= std::memcmp(&picture[at], "tRNS", 4) == 0;
    }
    return true;
}

struct Request {
    int32_t width, height, sample, format;
};

Bytes decode(const void *source, int32_t length, const Request &request, uint8_t fill, int32_t *result) {
    Bytes out(format_bytes(request.format, request.width, request.height), fill);
    *result = decodeVPNG(source, length, length ? vpng_read_fn : nullptr, out.data(), request.width, request.height,
                         request.sample, request.format);
    return out;
}

// Every pixel of the region from the whole picture. Full-size rows of palette pictures with tRNS keep what regions
// clear, so these are left out.
void require_cut(const Bytes &whole, const Header &header, const Bytes &region, int32_t x, int32_t y, int32_t w,
                 int32_t h, int32_t sample) {
    const int32_t columns = w / sample, rows = h / sample;
    if (header.interlaced && header.height <= rows) return;
    for (int32_t k = 0; k < rows; ++k) {
        const bool last = !header.interlaced && k == rows - 1;
        const int32_t from_y = y + (last ? k * sample : (k + 1) * sample - 1);
        for (int32_t j = 0; j < columns; ++j) {
            const int32_t middle = header.width <= sample ? header.width / 2 : sample / 2;
            const int32_t from_x = x + middle + j * sample;
            const auto from = static_cast<size_t>((from_y * header.width + from_x) * 4);
            const auto at = static_cast<size_t>((k * columns + j) * 4);
            require(std::memcmp(&whole[from], &region[at], 4) == 0, "a region is a cut of the whole");
        }
    }
}

// Memory that the library does not know for memory: rows come through zlib, not our own inflate.
void read_by_zlib(png_structp png, png_bytep to, size_t count) { vpng_read_fn(png, to, count); }

void decode_regions(const Bytes &picture, const Header &header, int32_t format, const Bytes *whole, Case *input) {
    const auto build = [&](vpng_read_callback read) {
        return onBuildTileIndexVPNG(picture.data(), length_of(picture), read, format);
    };
    vpng_tile_index *handle = build(vpng_read_fn);
    require(handle || !whole, "what decodes can be indexed");
    // One by zlib, which keeps nothing, to compare with.
    vpng_tile_index *plain = build(read_by_zlib);
    require(!plain == !handle, "an index is built by zlib as by our own inflate");
    if (!handle) return;
    vpng_set_region_memory(plain, 0);
    if (const uint32_t limit = input->option()) vpng_set_region_memory(handle, limit << 12);
    for (int i = 0; i < 3; ++i) {
        const int32_t x = input->below(header.width), y = input->below(header.height);
        const int32_t w = 1 + input->below(header.width - x), h = 1 + input->below(header.height - y),
                      sample = 1 + input->below(9);
        Bytes out(format_bytes(format, w / sample, h / sample), kFill), again = out;
        uint8_t none;
        uint8_t *at = out.empty() ? &none : out.data();
        const auto run = [&](uint8_t *to) { return onDecodeVPNGSubset(handle, to, x, y, w, h, sample); };
        const int32_t result = run(at);
        Bytes expected(out.size(), kFill);
        require(onDecodeVPNGSubset(plain, expected.empty() ? &none : expected.data(), x, y, w, h, sample) == result,
                "a region succeeds with what is kept as it does without");
        require(expected == out, "a region is the same with what is kept as without");
        require(result || !whole, "regions of what decodes decode");
        if (whole && !header.transparency) require_cut(*whole, header, out, x, y, w, h, sample);
        require(run(again.empty() ? &none : again.data()) == result && again == out,
                "a region comes out the same again");
    }
    for (vpng_tile_index *built : {handle, plain}) {
        vpng_destroy_read_struct(&built->png, &built->info, nullptr);
        VORELBRIM_OsFree(built);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Case input(data, size, 21);
    const Bytes &picture = input.picture();
    Header header;
    if (picture.empty() || !measure(picture, &header)) return 0;
    const int32_t format = input.option() % 2 ? 7 : 8;
    int32_t result, second;
    const auto in_memory = [&](const Request &request, uint8_t fill, int32_t *done) {
        return decode(picture.data(), length_of(picture), request, fill, done);
    };
    const Request full = {header.width, header.height, 1, format};
    const std::clock_t start = std::clock();
    const Bytes whole = in_memory(full, kFill, &result);
    // Chunks that claim gigabytes behind the end cost seconds for their check value, and show nothing new.
    if (std::clock() - start > CLOCKS_PER_SEC / 4) return 0;
    require(in_memory(full, kFill, &second) == whole && result == second, "a decode comes out the same again");
    if (result) {
        require(in_memory(full, kOtherFill, &second) == whole, "every pixel is written");
        // A truncated file in memory reads on with old bytes, one on disk fails; whole ones are the same.
        const vorel::test::TempFile file(picture);
        const Bytes by_path = decode(file.path(), 0, full, kFill, &second);
        require(!second || by_path == whole, "a file decodes as memory does");
    }
    const int32_t sample = input.below(10);
    const Request scaled = {1 + input.below(64), 1 + input.below(64), sample, format};
    in_memory(scaled, kFill, &second);
    decode_regions(picture, header, format, result ? &whole : nullptr, &input);
    return 0;
}
