// What rectangles have decoded of a picture, packed, in rows of MCUs: rectangles that come back to it need not go
// through its entropy-coded data again. Belongs to a map's record; its memory has a limit, beyond which the rows that
// were not asked for longest go. Children of several threads share it.
#pragma once

#include <pthread.h>

#include "jpeg/decoder/region/packed_mcus.h"

namespace vorel {

constexpr size_t kUsualStoreBytes = size_t{32} << 20;

// An MCU row in one mode, in tiles: the MCUs between two positions of the map. Of each: packed, and whether a rectangle
// has shown some of it. What is packed stays until the row goes.
struct StoredMcus {
    StoredMcus *newer, *older;
    StoredMcus **slot;
    uint32_t users, tile_count;
    uint8_t keep[kMaxBlocksInMcu];  // what kScaled has kept of each block
    PackedMcus **tiles;
    uint8_t *seen;
};

class CoefficientStore {
  public:
    // Null without memory.
    static CoefficientStore *make(uint32_t mcu_rows, uint32_t tiles_per_row);
    static void release(CoefficientStore *store);

    void set_limit(size_t bytes);
    // Bytes that the rows take.
    size_t bytes();
    // That a rectangle may take of it, so that it does not push out what it is about to need.
    size_t share();

    // A row to look at and to add to; null where the store has no memory for it. It stays until it is left.
    StoredMcus *enter(McuMode mode, uint32_t mcu_row, const uint8_t *keep);
    void leave(StoredMcus *row);
    static const PackedMcus *tile(const StoredMcus *row, uint32_t number);
    // Takes the packed MCUs. False where there is no memory for them.
    bool add(StoredMcus *row, uint32_t number, PackedMcus *packed);

  private:
    static constexpr int kModes = 3;
    size_t row_bytes() const;
    void link(StoredMcus *row);
    void unlink(StoredMcus *row);
    void drop(StoredMcus *row);
    bool make_way(size_t bytes);

    pthread_mutex_t mutex_;
    size_t limit_, used_;
    uint32_t mcu_rows_, tiles_per_row_;
    StoredMcus **rows_[kModes];  // by McuMode
    StoredMcus *newest_, *oldest_;
};

}  // namespace vorel
