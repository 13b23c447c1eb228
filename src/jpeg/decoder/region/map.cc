#include "jpeg/decoder/region/map.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "jpeg/decoder/entropy/stored_position.h"
#include "jpeg/decoder/rows/imcu.h"

namespace vorel {
namespace {

// Frames with larger sampling factors have no map.
constexpr int32_t kMostMapSampling = 3;
constexpr uint32_t kUsualInterval = 16;
// Records of a map, 40 bytes each. Frames that would need more (2500 megapixels do) get them further apart.
constexpr uint64_t kMostRecords = uint64_t{3} << 19;

uint32_t columns_of(const ScanReader *scan, uint32_t interval) { return (interval + scan->mcusPerRow) / interval; }

uint32_t mcu_rows_per_imcu(const ScanReader *scan) {
    return scan->compsInScan > 1 ? 1 : scan->components[0].component->vSampling;
}

uint64_t records_of(JpegInfo *info, uint32_t interval) {
    uint64_t records = uint64_t{columns_of(&info->scan, interval)} * info->scan.mcuRows;
    for (int32_t i = 0; !is_baseline(info) && i < info->further_scan_count; ++i) {
        const ScanReader &scan = info->further_scans[i]->scan;
        records += uint64_t{columns_of(&scan, interval)} * scan.mcuRows;
    }
    return records;
}

bool add_table(RegionMap *map, uint64_t rows, uint32_t columns) {
    if (map->table_count == kMostMapTables) return false;
    EntropyState **pointers = os_allocate_array<EntropyState *>(rows);
    if (!pointers) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    map->tables[map->table_count++] = {pointers, static_cast<uint32_t>(rows), columns};
    return true;
}

// Tables for the snapshots of a scan of a progressive frame.
bool add_snapshots(RegionMap *map, const JpegInfo *info, ScanReader *scan) {
    scan->map_table = map->table_count + 1;
    for (uint32_t y = 0; y < mcu_rows_per_imcu(scan); ++y) {
        if (!add_table(map, info->frame->imcu_rows, columns_of(scan, map->interval))) return false;
    }
    return true;
}

bool add_tables(RegionMap *map, JpegInfo *info) {
    if (!is_baseline(info)) {
        for (int32_t i = 0; i <= info->further_scan_count; ++i) {
            if (!add_snapshots(map, info, progressive_scan(info, i))) return false;
        }
        return true;
    }
    ScanReader *scan = &info->scan;
    scan->map_table = 1;
    // Records of an interleaved scan stand in every vSampling-th row.
    return add_table(map, uint64_t{scan->mcuRows} * scan->components[0].component->vSampling,
                     columns_of(scan, map->interval));
}

// Where the record of an MCU stands. A null table where it has none.
struct Spot {
    const MapTable *table;
    uint32_t row, column;
};
Spot spot_of(const JpegInfo *info, const RegionMap &map, const ScanReader *scan, uint64_t mcu) {
    if (scan->map_table == 0 || scan->mcusPerRow == 0) return {nullptr, 0, 0};
    const auto mcu_row = static_cast<uint32_t>(mcu / scan->mcusPerRow);
    const uint32_t per_imcu = mcu_rows_per_imcu(scan);
    int32_t table = scan->map_table - 1;
    uint32_t row = mcu_row;
    if (!is_baseline(info)) {
        table += static_cast<int32_t>(mcu_row % per_imcu);
        row = mcu_row / per_imcu;
    } else if (scan->compsInScan > 1) {
        row *= scan->components[0].component->vSampling;
    }
    if (table >= map.table_count || row >= map.tables[table].row_count) return {nullptr, 0, 0};
    const uint32_t column = static_cast<uint32_t>(mcu % scan->mcusPerRow) / map.interval;
    return {&map.tables[table], row, column};
}

void store_record(ScanReader *scan, const DecInfo *session, EntropyState *record) {
    const EntropyPosition position = tell(scan);
    store_position(position, session, record);
    record->flags = static_cast<uint8_t>((position.out_of_data ? kMapOutOfData : 0) |
                                         (scan->restartInterval == 0 ? kMapNoRestarts : 0));
}

// The position before an MCU, where the map has a record of it that serves.
bool position_of(const JpegInfo *info, const RegionMap &map, const ScanReader *scan, uint64_t mcu,
                 EntropyPosition *position) {
    const Spot spot = spot_of(info, map, scan, mcu);
    if (!spot.table || !spot.table->rows[spot.row]) return false;
    const EntropyState &record = spot.table->rows[spot.row][spot.column];
    if (!(record.flags & kMapValid) || !load_position(record, record.flags & kMapOutOfData, position)) return false;
    position->mcus_done = mcu;
    return true;
}

// From here on the scan is one whose data has ended: MCUs are zero, or stay as other scans left them.
void end_data(ScanReader *scan) {
    discard(scan);
    scan->entropy.insufficientData = 1;
    scan->entropy.unreadMarker = kEoi;
}

}  // namespace

uint32_t map_interval(uint32_t restart_interval, uint32_t mcus_per_row) {
    if (restart_interval == 0 || restart_interval == mcus_per_row) return kUsualInterval;
    return restart_interval <= kUsualInterval ? restart_interval : std::gcd(restart_interval, kUsualInterval);
}

bool start_map(JpegInfo *info) {
    RegionMap *map = &info->own_map;
    release_map(map);
    if (info->frame->maxH > kMostMapSampling || info->frame->maxV > kMostMapSampling) return false;
    if (!is_baseline(info) && info->plan.scaleIndex != 0) return false;
    map->interval = map_interval(info->scan.restartInterval, info->scan.mcusPerRow);
    while (records_of(info, map->interval) > kMostRecords) map->interval *= 2;
    if (!add_tables(map, info)) {
        release_map(map);
        return false;
    }
    // Intervals that are passed over by their markers alone leave no positions.
    for_scans(info, [](ScanReader *scan) {
        scan->mcus_to_pass = 0;
        return true;
    });
    info->mapScanning = 1;
    return true;
}

void release_map(RegionMap *map) {
    for (int32_t i = 0; i < map->table_count; ++i) {
        MapTable *table = &map->tables[i];
        for (uint32_t row = 0; row < table->row_count; ++row) os_release(table->rows[row]);
        os_release(table->rows);
    }
    *map = {};
}

void take_rows(RegionMap *map, RegionMap *from) {
    for (int32_t i = 0; i < map->table_count && i < from->table_count; ++i) {
        const MapTable &to = map->tables[i], &with = from->tables[i];
        for (uint32_t row = 0; row < to.row_count && row < with.row_count && to.columns == with.columns; ++row) {
            if (!to.rows[row]) std::swap(to.rows[row], with.rows[row]);
        }
    }
    map->ended = map->ended || from->ended;
}

bool has_all_rows(const JpegInfo *info) {
    const ScanReader *scan = &info->scan;
    for (uint32_t row = 0; row < scan->mcuRows && !info->own_map.ended; ++row) {
        const Spot spot = spot_of(info, info->own_map, scan, uint64_t{row} * scan->mcusPerRow);
        if (!spot.table || !spot.table->rows[spot.row]) return false;
    }
    return true;
}

bool note_position(JpegInfo *info, ScanReader *scan, int32_t *mcus, EntropyState **record) {
    RegionMap *map = &info->own_map;
    *record = nullptr;
    if (map->ended || scan->map_table == 0) return true;
    const auto column = static_cast<uint32_t>(scan->mcus_done % scan->mcusPerRow);
    const uint32_t into = column % map->interval;
    const uint32_t row_left = scan->mcusPerRow - column, interval_left = map->interval - into;
    const auto left = static_cast<int32_t>(row_left < interval_left ? row_left : interval_left);
    if (left < *mcus) *mcus = left;
    // Without a restart that is due the MCU is going to fail.
    if (into != 0 || !begin_mcu(scan)) return true;
    const Spot spot = spot_of(info, *map, scan, scan->mcus_done);
    if (!spot.table) return true;
    EntropyState **row = &spot.table->rows[spot.row];
    if (!*row) *row = os_allocate_array<EntropyState>(spot.table->columns);
    if (!*row) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    *record = *row + spot.column;
    store_record(scan, info->decInfo, *record);
    return true;
}

bool enter_mcu(const JpegInfo *info, const RegionMap &map, ScanReader *scan, uint64_t mcu) {
    EntropyPosition position;
    return position_of(info, map, scan, mcu, &position) && restore(scan, position);
}

bool stands_at(const JpegInfo *info, const RegionMap &map, ScanReader *scan, uint64_t mcu) {
    EntropyPosition there;
    if (!position_of(info, map, scan, mcu, &there) || !begin_mcu(scan)) return false;
    const EntropyPosition here = tell(scan);
    return !here.out_of_data && !there.out_of_data && here.next == there.next && here.bits == there.bits &&
           here.bit_count == there.bit_count && here.next_restart == there.next_restart &&
           static_cast<uint16_t>(here.restarts_to_go) == there.restarts_to_go && here.mcus_done == mcu &&
           std::equal(here.last_dc, here.last_dc + scan->compsInScan, there.last_dc);
}

bool enter_row(JpegInfo *info, ScanReader *scan, int32_t mcu_row, int32_t column, int32_t *reached) {
    *reached = start_column(*info->map, column);
    const uint64_t row = uint64_t{info->pump.imcu_row} * mcu_rows_per_imcu(scan) + static_cast<uint32_t>(mcu_row);
    if (enter_mcu(info, *info->map, scan, row * scan->mcusPerRow + static_cast<uint32_t>(*reached))) return true;
    if (too_early_to_fail(info)) return false;
    end_data(scan);
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

EntropyState **_createEntropyState(JpegInfo *info, uint32_t rows, uint32_t columns) {
    if (!info || rows == 0 || columns == 0) return nullptr;
    _deleteEntropyState(info);
    RegionMap *map = &info->own_map;
    if (!add_table(map, rows, columns)) return nullptr;
    for (uint32_t row = 0; row < rows; ++row) {
        EntropyState *&made = map->tables[0].rows[row];
        made = uint64_t{rows} * columns > kMostRecords ? nullptr : os_allocate_array<EntropyState>(columns);
        if (made) continue;
        set_error(kErrorOutOfMemory);
        release_map(map);
        return nullptr;
    }
    return map->tables[0].rows;
}

// All tables hang on the record alike.
void _deleteEntropyState(JpegInfo *info) {
    if (!info) return;
    info->mapScanning = 0;
    release_map(&info->own_map);
}
void _deleteEntropyStateForProg(JpegInfo *info) { _deleteEntropyState(info); }

}  // extern "C"
