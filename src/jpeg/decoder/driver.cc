// The row pump and the image driver: from a session and an output buffer to rows in it.
#include "jpeg/decoder/driver.h"

#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

using ImcuFn = int32_t (*)(JpegInfo *info, uint8_t ***rows);

// The iMCU row of every record of the frame. The first record's result counts, unless a further scan failed.
int32_t decode_imcu_of_all_scans(JpegInfo *info, ImcuFn decode, uint8_t ***rows) {
    // Each scan works on the row that the others are at, and the row counts belong to the frame's record.
    for (int32_t i = 0; i < info->further_scan_count; ++i) {
        JpegInfo *further = info->further_scans[i];
        further->outHeight = info->outHeight;
        further->outputRow = info->outputRow;
        further->first_source_row = info->first_source_row;
        further->end_source_row = info->end_source_row;
        if (decode(further, rows) == kStepBadMcu) return kStepBadMcu;
    }
    return decode(info, rows);
}

// One iMCU row's work: fills the sample rows when they are used up, then upsamples and emits. 100, 101 or 201.
int32_t process_rows(JpegInfo *info, uint8_t ***rows, uint32_t *in_out_rows, uint32_t max_rows, ImcuFn decode,
                     const char *name) {
    if (!info->imcu_buffered) {
        if (info->checkFn && !info->checkFn(info->decInfo, info->outputRow)) {
            VOREL_TRACE_AS(kTagJpeg, name);
            return kStepFailed;
        }
        info->imcu_result = decode_imcu_of_all_scans(info, decode, rows);
        if (info->imcu_result == kStepBadMcu) {
            VOREL_TRACE_AS(kTagJpeg, name);
            return kStepFailed;
        }
        info->imcu_buffered = true;
        info->rows_taken = 0;
    }
    if (info->imcu_skipped) {
        BRIMJ_SkipRowUpsample(info, rows, in_out_rows, max_rows);
    } else {
        BRIMJ_SetupUpsample(info, rows, in_out_rows, max_rows);
    }
    if (info->rows_taken < info->rows_ready) return kStepMoreRows;
    info->imcu_buffered = false;
    return info->imcu_result;
}

int32_t skip_imcu(JpegInfo *info, uint8_t ***rows) {
    // Beyond an eighth the few samples cost nothing, and their count is what the rows move on by.
    const int32_t result =
        info->scaleIndex > 3 ? decode_sparse_imcu(info, rows) : decode_imcu(info, McuMode::kSkip, rows);
    info->imcu_skipped = true;
    return result;
}

// Rows of a baseline frame until the window is full. 200 or 201.
int32_t pump_rows(JpegInfo *info) {
    const DecInfo *session = info->decInfo;
    uint8_t **rows[kMaxComponents];
    for (int c = 0; c < kMaxComponents; ++c) rows[c] = info->sample_rows[c];
    const uint32_t end = static_cast<uint32_t>(info->window.y + info->window.height);
    const auto process = info->scaleIndex == 0 ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize;
    uint32_t done = info->outputRow;
    while (done < end) {
        if (load_relaxed(&session->abortFlag) != 0) return kStepFailed;
        const int32_t step = process(info, rows, &done, end);
        if (step == kStepFailed) return kStepFailed;
        if (step == kStepEnd) break;
    }
    return kStepOk;
}

}  // namespace

int32_t decode_frame(DecInfo *session, StreamBuffer *stream, FrameRequest *request) {
    JpegInfo *info = request->outputBuffer ? BRIMJ_Initialize(session, stream, request) : nullptr;
    if (!info) {
        set_error(kErrorJpegDecoder);
        VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
        return kStepFailed;
    }
    int32_t result = kStepOk;
    if (info->outWidth == 0 || info->outHeight == 0) {
        // Nothing to write.
    } else if (!is_baseline(info)) {
        // Progressive frames are not decoded yet.
        set_error(kErrorJpegDecoder);
        VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeImage");
        result = kStepFailed;
    } else {
        result = open_further_scans(info);
        if (result != kStepOk) set_error(kErrorJpegDecoder);
        if (result == kStepOk) result = pump_rows(info);
    }
    delete_record(info);
    return result;
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

// Reaches a band: the iMCU row is passed over at entropy speed.
int32_t BRIMJ_ProcessDataSkipRow(JpegInfo *info, uint8_t ***rowArray, uint32_t *inOutRowCount, uint32_t maxRows) {
    return process_rows(info, rowArray, inOutRowCount, maxRows, skip_imcu, __func__);
}

int32_t BRIMJ_DecodeImage(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    return decode_frame(session, streamBuffer, frameRequest);
}

int32_t BRIMJ_DecodeFrame(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width, int32_t height) {
    FrameRequest request = {0, 0, output, width, height};
    if (BRIMJ_DecodeImage(session, streamBuffer, &request) == kStepOk) return 1;
    VOREL_TRACE(kTagJpeg);
    return 0;
}

}  // extern "C"
