#include "raster/bmp_scaled.h"

#include "raster/bmp_pixels.h"

namespace vorel {
namespace {

// No lane of a word overflows into the next: four samples of 8 bits take 10.
template <typename LanesAt>
void add_lanes(const BmpInfo *info, const SamplePair *columns, const LanesAt &lanes_at) {
    uint32_t *const sums = info->scratch;
    const int32_t width = info->outWidth;
    for (int32_t x = 0; x < width; ++x) sums[x] += lanes_at(columns[x].first) + lanes_at(columns[x].second);
}

template <int kBits>
void add_indexed(const BmpInfo *info, const uint8_t *row, const SamplePair *columns) {
    const uint32_t *const colours = info->colours;
    add_lanes(info, columns, [=](int32_t x) { return colours[index_at<kBits>(row, x)]; });
}

void add_16(const BmpInfo *info, const uint8_t *row, const SamplePair *columns) {
    add_lanes(info, columns, [=](int32_t x) {
        const Colour colour = colour_of_16(info, row + ptrdiff_t{x} * 2);
        return packed_lanes(colour.red, colour.green, colour.blue);
    });
}

template <int kBytes>
void add_bgr(const BmpInfo *info, const uint8_t *row, const SamplePair *columns) {
    add_lanes(info, columns, [=](int32_t x) {
        const uint8_t *bytes = row + ptrdiff_t{x} * kBytes;
        return packed_lanes(bytes[2], bytes[1], bytes[0]);
    });
}

void add_32(const BmpInfo *info, const uint8_t *row, const SamplePair *columns) {
    add_bgr<4>(info, row, columns);
    uint32_t *const sums = info->alphaScratch;
    const int32_t width = info->outWidth;
    for (int32_t x = 0; x < width; ++x) {
        sums[x] += uint32_t{row[ptrdiff_t{columns[x].first} * 4 + 3]} + row[ptrdiff_t{columns[x].second} * 4 + 3];
    }
}

}  // namespace

SamplePair *make_sample_columns(const BmpInfo *info) {
    auto *columns = os_allocate_array<SamplePair>(static_cast<uint64_t>(info->outWidth));
    if (!columns) return nullptr;
    for (int32_t x = 0; x < info->outWidth; ++x) columns[x] = sample_pair(x, info->width, info->outWidth);
    return columns;
}

AddSamplesFn add_samples_of(int32_t bit_count) {
    switch (bit_count) {
        case 1:
            return add_indexed<1>;
        case 4:
            return add_indexed<4>;
        case 8:
            return add_indexed<8>;
        case 16:
            return add_16;
        case 24:
            return add_bgr<3>;
        default:
            return add_32;
    }
}

void add_packed_samples(const BmpInfo *info, const uint32_t *row, const SamplePair *columns) {
    add_lanes(info, columns, [=](int32_t x) { return row[x]; });
}

}  // namespace vorel
