#include "png/bands/store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "core/core.h"
#include "png/kernels/kernels.h"
#include "png/pixel_form.h"

namespace vorel {
namespace {

constexpr int64_t kSecond = 1'000'000'000;
// A file that changed so short a time ago may change again within the same tick of the file system's clock.
constexpr int64_t kFreshFile = kSecond / 10;

bool stamp_of(FILE *file, FileStamp *stamp) {
    struct stat found;
    if (fstat(fileno(file), &found) != 0) return false;
    *stamp = {true, int64_t{found.st_size}, int64_t{found.st_mtim.tv_sec} * kSecond + found.st_mtim.tv_nsec,
              int64_t{found.st_ctim.tv_sec} * kSecond + found.st_ctim.tv_nsec};
    return true;
}

// False for a file whose changes could not be seen. What was kept of one that has changed is given up.
bool file_is_settled(PngSource *source, BandStore *store) {
    FileStamp now;
    if (!stamp_of(source->file, &now)) return false;
    const bool same = store->stamp.known && now.size == store->stamp.size && now.modified == store->stamp.modified &&
                      now.changed == store->stamp.changed;
    if (!same) {
        for (uint32_t i = 0; i < store->band_count; ++i) drop_band(store, i, false);
        std::memset(store->refused, 0, store->band_count);
        store->stamp = now;
    }
    timespec clock;
    if (clock_gettime(CLOCK_REALTIME, &clock) != 0) return false;
    const int64_t age = int64_t{clock.tv_sec} * kSecond + clock.tv_nsec - std::max(now.changed, now.modified);
    return age > kFreshFile;
}

uint32_t oldest_band(const BandStore &store, const Band *spared) {
    uint32_t oldest = store.band_count;
    for (uint32_t i = 0; i < store.band_count; ++i) {
        const Band *band = store.bands[i];
        if (!band || band == spared) continue;
        if (oldest == store.band_count || band->used < store.bands[oldest]->used) oldest = i;
    }
    return oldest;
}

// Until so many more bytes are within the limit.
bool make_way(BandStore *store, const Band *spared, size_t bytes) {
    while (store->limit < bytes || store->bytes > store->limit - bytes) {
        const uint32_t oldest = oldest_band(*store, spared);
        if (oldest == store->band_count) return false;
        drop_band(store, oldest, false);
    }
    return true;
}

void release_builder(BandStore *store, Band *band) {
    BandBuilder *builder = band->builder;
    if (!builder) return;
    const Segments &segments = store->segments;
    for (uint8_t *row : {builder->row, builder->above, builder->references}) {
        release_of_band(store, row, segments.row_bytes + kInflateSlack);
    }
    release_of_band(store, builder->starts, segments.count * sizeof(SegmentStart));
    release_of_band(store, builder, sizeof *builder);
    band->builder = nullptr;
}

Band *make_band(PngSource *source, BandStore *store, uint32_t number) {
    const size_t bytes = sizeof(Band);
    if (!make_way(store, nullptr, bytes)) return nullptr;
    auto *band = static_cast<Band *>(os_allocate_zeroed(bytes));
    if (!band) return nullptr;
    store->bytes += bytes;
    store->bands[number] = band;
    const int32_t step = static_cast<int32_t>(source->index->step[0]);
    band->first_row = static_cast<int32_t>(number) * step;
    band->row_count = std::min(step, static_cast<int32_t>(source->header.height) - band->first_row);
    band->used = ++store->clock;
    const size_t rows = static_cast<size_t>(band->row_count) * sizeof(BandRow *);
    band->rows = static_cast<BandRow **>(allocate_for_band(store, band, rows));
    if (!band->rows) return nullptr;
    std::memset(band->rows, 0, rows);
    return band;
}

size_t scratch_bytes(const Segments &segments) {
    return sizeof(SegmentScratch) + 2 * (segments.row_bytes + kInflateSlack);
}

BandStore *make_store(PngSource *source) {
    const Segments segments = segments_of(source->header);
    const uint32_t count = source->index->size[0];
    const size_t lists = count * (sizeof(Band *) + 1), scratch = scratch_bytes(segments);
    // Rows of one segment would be inflated whole again.
    if (segments.count < 2 || segments.row_bytes > kMostBandRowBytes ||
        source->band_memory < sizeof(BandStore) + lists + scratch) {
        return nullptr;
    }
    auto *store = os_allocate_array<BandStore>(1);
    if (!store) return nullptr;
    source->bands = store;
    store->segments = segments;
    store->limit = source->band_memory;
    store->bytes = sizeof(BandStore) + lists + scratch;
    store->bands = os_allocate_array<Band *>(count);
    store->refused = os_allocate_array<uint8_t>(count);
    store->scratch = static_cast<SegmentScratch *>(os_allocate_zeroed(scratch));
    if (store->bands && store->refused && store->scratch) {
        store->band_count = count;
        auto *rows = reinterpret_cast<uint8_t *>(store->scratch + 1);
        store->scratch->rows[0] = rows;
        store->scratch->rows[1] = rows + segments.row_bytes + kInflateSlack;
        return store;
    }
    delete_band_store(source);
    return nullptr;
}

}  // namespace

Segments segments_of(const PngHeader &header) {
    const size_t row = bytes_of_pixels(header, header.width), pixel = static_cast<size_t>(filter_pixel_bytes(header));
    const size_t bytes = kSegmentBytes / pixel * pixel;
    return {row, bytes, pixel, static_cast<uint32_t>((row + bytes - 1) / bytes)};
}

void *allocate_for_band(BandStore *store, Band *band, size_t bytes) {
    if (!make_way(store, band, bytes)) return nullptr;
    void *block = os_allocate(bytes ? bytes : 1);
    if (!block) {
        store->starved = true;
        return nullptr;
    }
    store->bytes += bytes;
    return block;
}

void release_of_band(BandStore *store, void *block, size_t bytes) {
    if (!block) return;
    os_release(block);
    store->bytes -= bytes;
}

void drop_band(BandStore *store, uint32_t number, bool refuse) {
    Band *band = store->bands[number];
    if (refuse) store->refused[number] = 1;
    if (!band) return;
    release_builder(store, band);
    const Segments &segments = store->segments;
    for (int32_t r = 0; band->rows && r < band->row_count; ++r) {
        if (BandRow *row = band->rows[r]) release_of_band(store, row, segments.row_size(row->reference_bytes));
    }
    for (uint8_t *anchor : band->anchors) release_of_band(store, anchor, segments.row_bytes);
    release_of_band(store, band->rows, static_cast<size_t>(band->row_count) * sizeof(BandRow *));
    release_of_band(store, band->blocks, band->block_capacity * sizeof(BandBlock));
    release_of_band(store, band->pieces, band->piece_capacity * sizeof(BandPiece));
    if (store->scratch->tables_band == band) store->scratch->tables_band = nullptr;
    os_release(band);
    store->bytes -= sizeof(Band);
    store->bands[number] = nullptr;
}

BandStore *band_store(PngSource *source) {
    if (source->header.interlaced || !source->index_built || source->reader->odd_chunks || source->band_memory == 0) {
        return nullptr;
    }
    if (!source->read && !source->file) return nullptr;
    BandStore *store = source->bands ? source->bands : make_store(source);
    if (!store || (source->file && !file_is_settled(source, store))) return nullptr;
    return store;
}

Band *touch_band(PngSource *source, int32_t row) {
    BandStore *store = source->bands;
    const uint32_t number = static_cast<uint32_t>(row) / source->index->step[0];
    if (store->refused[number]) return nullptr;
    Band *band = store->bands[number];
    if (band && band->busy) {  // a jump left it unfinished
        drop_band(store, number, false);
        band = nullptr;
    }
    const bool fresh = !band;
    if (!band) band = make_band(source, store, number);
    if (band) band->used = ++store->clock;
    const int32_t last = row - static_cast<int32_t>(number * source->index->step[0]);
    if (band && band->built > last) return band;
    bool built = false;
    store->starved = !band;
    if (band) {
        band->busy = true;
        built = (!fresh || start_band(source, store, band)) && build_band(source, store, band, last);
        band->busy = false;
    }
    // Without memory it is only put off.
    if (!built) drop_band(store, number, !store->starved);
    return built ? band : nullptr;
}

void finish_band(BandStore *store, Band *band) {
    if (band->built == band->row_count) release_builder(store, band);
}

void delete_band_store(PngSource *source) {
    BandStore *store = source->bands;
    if (!store) return;
    for (uint32_t i = 0; i < store->band_count; ++i) drop_band(store, i, false);
    os_release(store->bands);
    os_release(store->refused);
    os_release(store->scratch);
    os_release(store);
    source->bands = nullptr;
}

// What was refused for lack of memory may be built with more of it.
void set_band_memory(PngSource *source, size_t bytes) {
    source->band_memory = bytes;
    BandStore *store = source->bands;
    if (!store) return;
    store->limit = bytes;
    std::memset(store->refused, 0, store->band_count);
    if (!make_way(store, nullptr, 0)) delete_band_store(source);
}

}  // namespace vorel
