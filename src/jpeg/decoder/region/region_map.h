// Positions all over a frame's entropy-coded data, from which parts of it are decoded later.
#pragma once

#include <vorel/jpeg_region.h>

#include <cstdint>

namespace vorel {

static_assert(sizeof(EntropyState) == 40);

constexpr int32_t kMostMapTables = 30;

// Bits of EntropyState.flags.
constexpr uint8_t kMapOutOfData = 1, kMapNoRestarts = 2, kMapValid = 4;

// Records of MCU rows. A row is made when its first position is noted.
struct MapTable {
    EntropyState **rows;
    uint32_t row_count, columns;
};

// A baseline frame has one table, of its first scan. In a progressive one an interleaved scan has a table, and that of
// a lone component one for each of its MCU rows in an iMCU row; their rows are iMCU rows.
struct RegionMap {
    uint32_t interval;  // MCU columns between two records
    MapTable tables[kMostMapTables];
    int32_t table_count;
    bool ended;  // an MCU failed near the bottom of the picture: nothing is noted behind it
};

}  // namespace vorel
