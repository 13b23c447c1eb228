// The pass over the whole entropy-coded data that makes a region map: no inverse DCT, no output.
#include "jpeg/decoder/region/scan_pass.h"

#include "core/session.h"
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/region/coefficient_store.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

// Only the first iMCU row is looked at, and not its last MCU: what fails further down fails row by row.
bool serves(const JpegInfo *info) {
    if (!is_baseline(info)) return true;
    const ScanReader &scan = info->scan;
    const RegionMap &map = info->own_map;
    const MapTable &table = map.tables[0];
    const auto mcu_rows = static_cast<uint32_t>(mcu_rows_in_imcu(&scan, info->frame, 0));
    for (uint32_t row = 0; row < mcu_rows; ++row) {
        for (uint32_t column = 0; column + 1 < scan.mcusPerRow; ++column) {
            if (row >= table.row_count || !table.rows[row]) return false;
            if (!(table.rows[row][column / map.interval].flags & kMapValid)) return false;
        }
    }
    return true;
}

// What the pass needs of a record whose header is parsed: its scans. The picture counts as decoded at its own size.
bool prepare_pass(JpegInfo *info) {
    info->decMode = 0;
    if (!plan_reduced_geometry(info, 1)) return false;
    info->decInfo->outWidth = info->frame->imageWidth;
    info->decInfo->outHeight = info->frame->imageHeight;
    if (BRIMJ_SetupScan(info) != kStepOk) return false;
    return is_baseline(info) || open_further_scans(info) == kStepOk;
}

void release_work(JpegInfo *info) {
    release_coefficient_rows(info);
    release_scan_infos(info);
    release_output(info);
    release_sample_rows(info);
    info->planned = false;
}

// The input goes with whoever opened it.
void leave_input(JpegInfo *info) {
    close_further_inputs(info);
    info->scan.streamBuffer = nullptr;
    info->scan.io = nullptr;
    info->scan.readBuffer = nullptr;
}

bool complete_scans(JpegInfo *info) {
    return for_scans(info, [](ScanReader *scan) {
        if (!complete_tables(scan)) return false;
        drop_fast_path(scan);
        return true;
    });
}

// Of baseline maps whose tiles fit a batch. Rectangles do without where there is none.
void make_store(JpegInfo *info) {
    const ScanReader &scan = info->scan;
    const uint32_t interval = info->own_map.interval;
    if (!is_baseline(info) || interval * scan.blocksInMcu > kBatchBlocks || info->store) return;
    info->store = CoefficientStore::make(scan.mcuRows, (scan.mcusPerRow + interval - 1) / interval);
}

bool walk_rest(JpegInfo *info) {
    while (info->pump.imcu_row < info->frame->imcu_rows) {
        if (is_cancelled(info->decInfo)) return false;
        const int32_t step = walk_imcu(info);
        if (step != kStepMoreRows && step != kStepEnd) return false;
    }
    return true;
}

// The record of a session whose map did not come about.
void drop_retained(DecInfo *session) {
    delete_record(session->retainedJpegInfo);
    session->retainedJpegInfo = nullptr;
}

// One row of the pass behind the check function. 100, 101 or 201.
int32_t scan_rows(JpegInfo *info, uint32_t *rows_done, const char *name) {
    if (info->checkFn && !info->checkFn(info->decInfo, info->out.outputRow)) {
        VOREL_TRACE_AS(kTagJpeg, name);
        return kStepFailed;
    }
    const int32_t step = walk_imcu(info);
    *rows_done = info->out.outputRow;
    if (step != kStepBadMcu) return step;
    VOREL_TRACE_AS(kTagJpeg, name);
    return kStepFailed;
}

// Output rows that the walked iMCU rows would have given.
void count_rows(JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    if (plan.scaledHeight == 0) return;
    const int64_t scaled = int64_t{info->pump.imcu_row} * plan.imcu_output_rows;
    const int64_t rows = (scaled < plan.scaledHeight ? scaled : plan.scaledHeight) * plan.outHeight / plan.scaledHeight;
    if (rows > info->out.outputRow) info->out.outputRow = static_cast<uint32_t>(rows);
}

}  // namespace

int32_t walk_imcu(JpegInfo *info) {
    if (info->pump.imcu_row >= info->frame->imcu_rows) return kStepEnd;
    int32_t step;
    if (is_baseline(info)) {
        ScanReader *scan = &info->scan;
        step = kStepOk;
        const int32_t mcu_rows = mcu_rows_in_imcu(scan, info->frame, info->pump.imcu_row);
        const bool counts = counts_steps();
        const int32_t from = counts ? tell(scan).next : 0;
        for (int32_t row = 0; row < mcu_rows && !info->own_map.ended; ++row) {
            const auto across = static_cast<int32_t>(scan->mcusPerRow);
            if (!decode_tolerantly(info, scan, McuMode::kSkip, across, nullptr, nullptr)) return kStepBadMcu;
        }
        if (counts) add_step_bytes(JPEG_STAT_MAP_PASS, tell(scan).next - from);
        step = finish_imcu(info);
    } else {
        step = walk_progressive_imcu(info);
    }
    count_rows(info);
    return step;
}

bool finish_map(JpegInfo *info) {
    const bool whole = walk_rest(info) && serves(info) && complete_scans(info);
    info->mapScanning = 0;
    if (whole) {
        info->regionStage = 1;
        make_store(info);
    } else {
        release_map(&info->own_map);
    }
    release_work(info);
    leave_input(info);
    return whole;
}

bool publish_map(DecInfo *session, JpegInfo *info) {
    if (!session->regionMap) session->regionMap = os_allocate_array<uint32_t>(1);
    if (!session->regionMap) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    *session->regionMap = 1;
    info->decInfo = session;
    session->retainedJpegInfo = info;
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_ProcessDataScan(JpegInfo *info, uint8_t **, uint32_t *rowsDone, uint32_t, uint32_t) {
    return scan_rows(info, rowsDone, __func__);
}

int32_t BRIMJ_ProgProcessDataScan(JpegInfo *info, uint8_t **, uint32_t *rowsDone, uint32_t) {
    return scan_rows(info, rowsDone, __func__);
}

int32_t BRIMJ_RegionDecodeSingleiMcuScan(JpegInfo *info, uint8_t ***, uint32_t) { return walk_imcu(info); }
int32_t BRIMJ_ProgDecodeSingleiMcuScan(JpegInfo *info, uint8_t ***) { return walk_imcu(info); }

int32_t BRIMJ_ScanImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    const StepScope scope(JPEG_STAT_MAP_PASS);
    JpegInfo *info = BRIMJ_PreInitialize(session, streamBuffer, frameRequest);
    if (info && !prepare_pass(info)) {
        delete_record(info);
        info = nullptr;
    }
    if (!info) {
        set_error(kErrorJpegDecoder);
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    BRIMJ_DestroyJpegInfo(session);
    session->retainedJpegInfo = info;
    int32_t step = start_map(info) ? kStepMoreRows : kStepFailed;
    while (step == kStepMoreRows) {
        if (is_cancelled(session)) {
            // Required: a cancelled pass leaves its record to whoever destroys the session's.
            leave_input(info);
            return kStepFailed;
        }
        uint32_t rows = 0;
        step = is_baseline(info) ? BRIMJ_ProcessDataScan(info, nullptr, &rows, 0, 0)
                                 : BRIMJ_ProgProcessDataScan(info, nullptr, &rows, 0);
    }
    if (step == kStepEnd && finish_map(info)) return kStepOk;
    drop_retained(session);
    return kStepFailed;
}

int32_t BRIMJ_ScanJPEG4Region(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!session || !session->ioInfo) return 0;
    StreamCursor cursor(session->ioInfo);
    if (!cursor.ready()) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    if (cursor.start_at(static_cast<int32_t>(session->streamOffset)) < 0) {
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    FrameRequest request = {0, 0, output, width, height};
    if (BRIMJ_ScanImage(session, cursor.stream(), &request) == kStepOk) return 1;
    VOREL_TRACE(kTagJpeg);
    return 0;
}

int32_t BRIMJ_CreateRegionMap(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!session) return 0;
    if (!session->regionMap) session->regionMap = os_allocate_array<uint32_t>(1);
    if (!session->regionMap) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return 0;
    }
    // Children hang on a map that is there.
    if (*session->regionMap != 0 && session->retainedJpegInfo) return 1;
    *session->regionMap = 0;
    session->partialDecode = 0;
    if (BRIMJ_ScanJPEG4Region(session, output, width, height) != 1) return 0;
    session->partialDecode = 1;
    return publish_map(session, session->retainedJpegInfo);
}

int32_t vorel_jpeg_set_region_memory(DecInfo *session, size_t bytes) {
    const JpegInfo *info = session ? session->retainedJpegInfo : nullptr;
    if (!info || !info->store) return 0;
    info->store->set_limit(bytes);
    return 1;
}

int32_t VORELBRIM_ScanHuffmanInfo(DecInfo *session) {
    if (!session || !session->ioInfo || !(session->decOption & VOREL_OPTION_REGION) || session->regionMap) return 0;
    return BRIMJ_CreateRegionMap(session, nullptr, 0, 0);
}

}  // extern "C"
