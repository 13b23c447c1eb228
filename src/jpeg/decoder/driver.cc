// The row pump and the image driver: from a session and an output buffer to rows in it.
#include "jpeg/decoder/driver.h"

#include <vorel/jpeg_region.h>

#include "core/session.h"
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"
#include "jpeg/decoder/threads/speculation.h"

namespace vorel {
namespace {

using ImcuFn = int32_t (*)(JpegInfo *info, uint8_t ***rows);

// Rows of the stored part of the picture that are done, from 0 to its height: what progress is reckoned by.
uint32_t progress_rows(const JpegInfo *info) {
    const int64_t rows = int64_t{info->out.outputRow} - info->plan.decodeOffsetY;
    const int64_t height = info->plan.cropHeight;
    return static_cast<uint32_t>(rows < 0 ? 0 : rows > height ? height : rows);
}

// One iMCU row's work: fills the sample rows when they are used up, then upsamples and emits. 100, 101 or 201.
int32_t process_rows(JpegInfo *info, uint8_t ***rows, uint32_t *in_out_rows, uint32_t max_rows, ImcuFn decode,
                     const char *name) {
    RowPump &pump = info->pump;
    if (!pump.buffered) {
        if (info->checkFn && !info->checkFn(info->decInfo, progress_rows(info))) {
            VOREL_TRACE_AS(kTagJpeg, name);
            return kStepFailed;
        }
        pump.result = decode(info, rows);
        if (pump.result == kStepBadMcu) {
            VOREL_TRACE_AS(kTagJpeg, name);
            return kStepFailed;
        }
        pump.buffered = true;
        pump.rows_taken = 0;
    }
    if (pump.skipped) {
        BRIMJ_SkipRowUpsample(info, rows, in_out_rows, max_rows);
    } else {
        BRIMJ_SetupUpsample(info, rows, in_out_rows, max_rows);
    }
    if (pump.rows_taken < pump.rows_ready) return kStepMoreRows;
    pump.buffered = false;
    return pump.result;
}

int32_t skip_imcu(JpegInfo *info, uint8_t ***rows) {
    // Beyond an eighth the few samples cost nothing, and their count is what the rows move on by.
    const int32_t result = decode_imcu(info, McuMode::kSkip, rows);
    info->pump.skipped = true;
    return result;
}

// A record whose set-up failed goes, with the error told.
JpegInfo *checked_record(JpegInfo *info, bool good) {
    if (good) return info;
    delete_record(info);
    set_error(kErrorJpegDecoder);
    VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
    return nullptr;
}

}  // namespace

JpegInfo *open_decode(DecInfo *session, StreamBuffer *stream, FrameRequest *request) {
    const StepScope scope(JPEG_STAT_SET_UP);
    const bool region = (session->decOption & VOREL_OPTION_REGION) && session->retainedJpegInfo;
    JpegInfo *info = nullptr;
    if (request->outputBuffer) info = (region ? BRIMJ_GetJpegRegionInfo : BRIMJ_Initialize)(session, stream, request);
    return checked_record(info, info && (region || open_further_scans(info) == kStepOk));
}

JpegInfo *begin_decode(DecInfo *session, StreamBuffer *stream, FrameRequest *request) {
    const StepScope scope(JPEG_STAT_SET_UP);
    JpegInfo *info = BRIMJ_Initialize(session, stream, request);
    if (!info) return checked_record(nullptr, false);
    const bool later = !is_baseline(info) && info->plan.scaleIndex != 3;
    return checked_record(info, later ? begin_scan_search(info) : open_further_scans(info) == kStepOk);
}

int32_t step_decode(JpegInfo *info, uint32_t end_row) {
    if (is_cancelled(info->decInfo)) return kStepFailed;
    uint8_t **rows[kMaxComponents];
    for (int c = 0; c < kMaxComponents; ++c) rows[c] = info->pump.components[c].rows;
    uint32_t done = info->out.outputRow;
    const bool full = info->plan.scaleIndex == 0;
    int32_t step;
    if (is_baseline(info)) {
        step = (full ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize)(info, rows, &done, end_row);
    } else {
        uint8_t **buffer = reinterpret_cast<uint8_t **>(rows);
        step = (full ? BRIMJ_ProgProcessData : BRIMJ_ProgProcessData_resize)(info, buffer, &done, end_row);
    }
    return step == kStepMoreRows && done >= last_row(info) ? kStepEnd : step;
}

void aim_at_row(JpegInfo *info, uint32_t imcu_row) {
    const OutputWindow &window = info->plan.window;
    OutputState &out = info->out;
    out.outputRow = out.outputRowCounter = 0;
    out.scaled_row = 0;
    out.next_row = window.y;
    out.first_half_done = false;
    pass_rows(info, static_cast<int32_t>(imcu_row) * info->plan.imcu_output_rows);
    const int32_t next = info->plan.resample == Resample::kNone ? static_cast<int32_t>(out.outputRow) : out.next_row;
    if (next > window.y) out.outputRowCounter = static_cast<uint32_t>(next - window.y);
    info->pump.imcu_row = imcu_row;
    info->pump.buffered = false;
}

bool start_at_row(JpegInfo *info, uint32_t imcu_row, EntropyPosition position) {
    if (!is_baseline(info) || !info->planned || info->further_scan_count != 0) return false;
    if (imcu_row >= info->frame->imcu_rows || info->plan.imcu_output_rows == 0) return false;
    aim_at_row(info, imcu_row);
    position.mcus_done = mcus_above(&info->scan, imcu_row);
    return restore(&info->scan, position);
}

uint32_t last_row(const JpegInfo *info) {
    return static_cast<uint32_t>(info->plan.window.y + info->plan.window.height);
}

int32_t decode_all(JpegInfo *info) {
    int32_t step = begin_speculation(info) == Speculated::kFailed ? kStepFailed : kStepMoreRows;
    const uint32_t end = last_row(info);
    while (step == kStepMoreRows && info->out.outputRow < end) step = step_decode(info, end);
    end_speculation(info);
    return step;
}

void close_decode(JpegInfo *info) {
    const StepScope scope(JPEG_STAT_SET_UP);
    delete_record(info);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_ProcessData(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows) {
    return process_rows(info, rowArray, inOutRowCount, maxRows, BRIMJ_DecodeSingleiMcu, __func__);
}

int32_t BRIMJ_ProcessData_resize(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows) {
    return process_rows(info, rowArray, inOutRowCount, maxRows, BRIMJ_DecodeSingleiMcu_resize, __func__);
}

// The row arrays come under the type that callers know: one pointer less deep.
int32_t BRIMJ_ProgProcessData(JpegInfo *info, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows) {
    uint8_t ***rows = reinterpret_cast<uint8_t ***>(rowsBuffer);
    return process_rows(info, rows, rowsDone, maxRows, BRIMJ_ProgDecodeSingleiMcu, __func__);
}

int32_t BRIMJ_ProgProcessData_resize(JpegInfo *info, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows) {
    uint8_t ***rows = reinterpret_cast<uint8_t ***>(rowsBuffer);
    return process_rows(info, rows, rowsDone, maxRows, BRIMJ_ProgDecodeSingleiMcu, __func__);
}

// Reaches a band: the iMCU row is passed over at entropy speed.
int32_t BRIMJ_ProcessDataSkipRow(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows) {
    return process_rows(info, rowArray, inOutRowCount, maxRows, skip_imcu, __func__);
}

int32_t BRIMJ_DecodeImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    JpegInfo *info = open_decode(session, streamBuffer, frameRequest);
    if (!info) return kStepFailed;
    const int32_t step = decode_all(info);
    close_decode(info);
    return step == kStepFailed ? kStepFailed : kStepOk;
}

int32_t BRIMJ_DecodeFrame(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width, int32_t height) {
    FrameRequest request = {0, 0, output, width, height};
    if (BRIMJ_DecodeImage(session, streamBuffer, &request) == kStepOk) return 1;
    VOREL_TRACE(kTagJpeg);
    return 0;
}

}  // extern "C"
