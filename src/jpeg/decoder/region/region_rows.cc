// The exported functions of map passes and regions below the driver: single MCUs that leave or take a position at the
// columns where the map has one, iMCU rows, and their pumps. Which MCU comes next is what the scan has counted.
#include "jpeg/decoder/entropy/progressive.h"
#include "jpeg/decoder/region/map.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

using McuFn = int32_t (*)(JpegInfo *info, int16_t **blocks);

// The map that a loop of a caller's own goes by: a region's, or the one that the record makes itself.
const RegionMap &map_of(const JpegInfo *info) { return info->map ? *info->map : info->own_map; }

// The scans are all there, and none of their MCUs is behind.
bool may_start_map(const JpegInfo *info) {
    return info->scan.mcus_done == 0 && (is_baseline(info) || info->progressive.memory);
}

// One MCU of a map pass. Loops of a caller's own get their map with their first MCU.
int32_t note_and_decode(JpegInfo *info, int16_t **blocks, McuFn decode) {
    if (info->mapScanning == 0 && may_start_map(info) && !start_map(info)) return 0;
    if (info->mapScanning == 0) return decode(info, blocks);
    int32_t mcus = 1;
    EntropyState *record = nullptr;
    if (!note_position(info, &info->scan, &mcus, &record)) {
        _deleteEntropyState(info);
        return 0;
    }
    const int32_t done = decode(info, blocks);
    if (done && record) record->flags |= kMapValid;
    return done;
}

// The first MCU of a region's row; one between two positions is decoded where the reader stands.
int32_t enter_and_decode(JpegInfo *info, int16_t **blocks, McuFn decode) {
    ScanReader *scan = &info->scan;
    const RegionMap &map = map_of(info);
    if (map.table_count == 0 || scan->mcusPerRow == 0) return 0;
    if (scan->mcus_done % scan->mcusPerRow % map.interval == 0) {
        close_window(scan);
        if (!enter_mcu(info, map, scan, scan->mcus_done)) return 0;
    }
    return decode(info, blocks);
}

// A progressive region's inverse DCT: nothing above the window, the end behind it.
int32_t transform_region(JpegInfo *info, uint8_t ***rows, bool more16) {
    const int32_t sample = info->decInfo->sampleSize;
    if (!more16 && (sample == 3 || (sample >= 5 && sample <= 7))) return kStepFailed;
    if (!info->planned || is_baseline(info)) return kStepFailed;
    if (below_window(info)) return kStepEnd;
    if (above_window(info)) return kStepMoreRows;
    return transform_progressive_imcu(info, rows);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_DecodeMcuScan(JpegInfo *info, int16_t **blocks) { return note_and_decode(info, blocks, BRIMJ_SkipMcu); }

#define VOREL_REGION_MCU(name, plain) \
    int32_t name(JpegInfo *info, int16_t **blocks) { return enter_and_decode(info, blocks, plain); }
VOREL_REGION_MCU(BRIMJ_DecodeMcuRegion, BRIMJ_DecodeMcu)
VOREL_REGION_MCU(BRIMJ_DecodeMcu_2to1Region, BRIMJ_DecodeMcu_2to1)
VOREL_REGION_MCU(BRIMJ_DecodeMcu_4to1Region, BRIMJ_DecodeMcu_4to1)
VOREL_REGION_MCU(BRIMJ_DecodeMcu_8to1Region, BRIMJ_DecodeMcu_8to1)
VOREL_REGION_MCU(BRIMJ_ProgDecodeMcu_DCRegion, BRIMJ_ProgDecodeMcu_DC)
VOREL_REGION_MCU(BRIMJ_ProgDecodeMcu_ACRegion, BRIMJ_ProgDecodeMcu_AC)
VOREL_REGION_MCU(BRIMJ_ProgDecodeMcuRefine_DCRegion, BRIMJ_ProgDecodeMcuRefine_DC)
VOREL_REGION_MCU(BRIMJ_ProgDecodeMcuRefine_ACRegion, BRIMJ_ProgDecodeMcuRefine_AC)
#undef VOREL_REGION_MCU

#define VOREL_SCAN_MCU(name, plain) \
    int32_t name(JpegInfo *info, int16_t **blocks) { return note_and_decode(info, blocks, plain); }
VOREL_SCAN_MCU(BRIMJ_ProgDecodeMcu_DCScan, BRIMJ_ProgDecodeMcu_DC)
VOREL_SCAN_MCU(BRIMJ_ProgDecodeMcu_ACScan, BRIMJ_ProgDecodeMcu_AC)
VOREL_SCAN_MCU(BRIMJ_ProgDecodeMcuRefine_DCScan, BRIMJ_ProgDecodeMcuRefine_DC)
VOREL_SCAN_MCU(BRIMJ_ProgDecodeMcuRefine_ACScan, BRIMJ_ProgDecodeMcuRefine_AC)
#undef VOREL_SCAN_MCU

int32_t BRIMJ_RegionDecodeSingleiMcu(JpegInfo *info, uint8_t ***sampleRows) {
    return decode_imcu(info, McuMode::kFull, sampleRows);
}
int32_t BRIMJ_RegionDecodeSingleiMcu_resize(JpegInfo *info, uint8_t ***sampleRows) {
    return decode_planned_imcu(info, sampleRows);
}

#define VOREL_REGION_IMCU(name, mode) \
    int32_t name(JpegInfo *info, uint8_t ***sampleRows) { return decode_imcu(info, mode, sampleRows); }
VOREL_REGION_IMCU(BRIMJ_RegionDecompressOnepass, planned_mode(info))
VOREL_REGION_IMCU(BRIMJ_RegionDecodeSingleiMcuResize2to1, McuMode::kScaled)
VOREL_REGION_IMCU(BRIMJ_RegionDecodeSingleiMcuResize4to1, McuMode::kScaled)
VOREL_REGION_IMCU(BRIMJ_RegionDecodeSingleiMcuResize8to1, McuMode::kDc)
VOREL_REGION_IMCU(BRIMJ_RegionDecodeSingleiMcuResizeMore16, McuMode::kDc)
#undef VOREL_REGION_IMCU

int32_t (*const pRegionDecodingResize[7])(JpegInfo *info, uint8_t ***sampleRows) = {
    BRIMJ_RegionDecodeSingleiMcuResize2to1,   BRIMJ_RegionDecodeSingleiMcuResize2to1,
    BRIMJ_RegionDecodeSingleiMcuResize4to1,   BRIMJ_RegionDecodeSingleiMcuResize8to1,
    BRIMJ_RegionDecodeSingleiMcuResizeMore16, BRIMJ_RegionDecodeSingleiMcuResizeMore16,
    BRIMJ_RegionDecodeSingleiMcuResizeMore16};

int32_t BRIMJ_ProcessDataRegion(JpegInfo *info, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows) {
    uint8_t ***rows = reinterpret_cast<uint8_t ***>(rowsBuffer);
    const bool full = info->plan.scaleIndex == 0;
    return (full ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize)(info, rows, rowsDone, maxRows);
}

int32_t BRIMJ_RegionProgIDct(JpegInfo *info, uint8_t ***outputRows) {
    return transform_region(info, outputRows, false);
}
int32_t BRIMJ_RegionProgIDctMore16(JpegInfo *info, uint8_t ***outputRows) {
    return transform_region(info, outputRows, true);
}

}  // extern "C"
