// The region map of a record: noting positions while its scans are decoded or walked over, and going back to them.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// MCU columns between two records, by the restart interval of the first scan.
uint32_t map_interval(uint32_t restart_interval, uint32_t mcus_per_row);

// Begins a map on a record whose scans stand before their first MCU: from here to finish_map each MCU row that is
// decoded or walked over leaves its positions in it. The further scans of a progressive frame have to be open, all of
// them, so its decode has to be one at full size. False without memory, for sampling factors above 3, for more tables
// than a map has.
bool start_map(JpegInfo *info);
void release_map(RegionMap *map);
// Moves the rows that a map of another decode of the same frame has, and this one has not.
void take_rows(RegionMap *map, RegionMap *from);
// Every row of a baseline frame's map has its records.
bool has_all_rows(const JpegInfo *info);

// Called before MCUs of a scan are decoded while info->mapScanning: notes the position before the first of them where
// the map wants one, and lowers *mcus to those before the next place where it does. *record is what was noted, null for
// none; it is to be marked when its MCU was decoded. False without memory.
bool note_position(JpegInfo *info, ScanReader *scan, int32_t *mcus, EntropyState **record);
// An MCU failed near the bottom of the picture: the map ends before it.
inline void end_notes(JpegInfo *info) { info->own_map.ended = true; }

// Takes a scan of a record with a borrowed map to the record at or before MCU `column` of MCU row `mcu_row` of the next
// iMCU row; *reached is that record's column. A row without one fails like an MCU: near the bottom of the picture the
// scan then counts as ended, so that the row stays gray, and it is true.
bool enter_row(JpegInfo *info, ScanReader *scan, int32_t mcu_row, int32_t column, int32_t *reached);
// The same for MCU number `mcu` of the scan, which has to be one that the map has a record of. False without.
bool enter_mcu(const JpegInfo *info, const RegionMap &map, ScanReader *scan, uint64_t mcu);
// The scan stands before MCU number `mcu` as the map's record of it says, with data left. Takes a restart that is due.
bool stands_at(const JpegInfo *info, const RegionMap &map, ScanReader *scan, uint64_t mcu);

// The first MCU column of a row that is decoded for one that begins at `column`.
inline int32_t start_column(const RegionMap &map, int32_t column) {
    return column - column % static_cast<int32_t>(map.interval);
}

}  // namespace vorel
