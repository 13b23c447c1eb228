// The bands of a picture, those that were touched last, within a limit of memory.
#pragma once

#include <cstring>

#include "png/bands/band.h"

namespace vorel {

constexpr size_t kDefaultBandMemory = size_t{32} << 20;

// What decoding segments needs besides a band.
struct SegmentScratch {
    InflateTables tables;
    const Band *tables_band;  // null: none
    uint32_t tables_block;
    uint8_t *rows[2];  // the row and the one above
    uint8_t input[kMostSegmentInput + 2 * kFastInput];
};

// By which a change of a file is seen. Times in nanoseconds.
struct FileStamp {
    bool known;
    int64_t size, modified, changed;
};

struct BandStore {
    size_t limit, bytes;  // bytes: of all that hangs on the store, itself as well
    uint64_t clock;
    Segments segments;
    uint32_t band_count;
    Band **bands;
    uint8_t *refused;  // bands that cannot be built
    SegmentScratch *scratch;
    FileStamp stamp;
    bool starved;  // an allocation failed
};

// Memory of a band, counted; other bands give way. Null without memory or where the limit does not allow it.
void *allocate_for_band(BandStore *store, Band *band, size_t bytes);
void release_of_band(BandStore *store, void *block, size_t bytes);
// A block of count records that becomes one of twice as many.
template <typename Record>
bool grow_for_band(BandStore *store, Band *band, Record **records, uint32_t count, uint32_t *capacity) {
    if (count < *capacity) return true;
    const uint32_t more = *capacity ? 2 * *capacity : 16;
    auto *larger = static_cast<Record *>(allocate_for_band(store, band, more * sizeof(Record)));
    if (!larger) return false;
    if (count) std::memcpy(larger, *records, count * sizeof(Record));
    release_of_band(store, *records, *capacity * sizeof(Record));
    *records = larger;
    *capacity = more;
    return true;
}

// The store of a source that can have one now, made where there is none; null: regions go without.
BandStore *band_store(PngSource *source);
// The band of a row with at least the rows up to it built; null where it cannot be.
Band *touch_band(PngSource *source, int32_t row);
// After touch_band has built rows: frees what a whole band does not need any more, the last row among it.
void finish_band(BandStore *store, Band *band);
// Gives a band up; with `refuse`, for good.
void drop_band(BandStore *store, uint32_t number, bool refuse);

void delete_band_store(PngSource *source);
void set_band_memory(PngSource *source, size_t bytes);

}  // namespace vorel
