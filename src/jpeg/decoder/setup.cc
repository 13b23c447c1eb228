// Set-up of a decode: the record, its header, its plan, its first scan; and taking it all down again.
#include "jpeg/decoder/setup.h"

#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/region/coefficient_store.h"
#include "jpeg/decoder/region/map.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {

JpegInfo *new_record(DecInfo *session, StreamBuffer *stream) {
    // Multipliers in it are read by aligned vector loads, and malloc may give less.
    static_assert(alignof(JpegInfo) <= 16);
    JpegInfo *info = static_cast<JpegInfo *>(BRIM_FakeMalloc(session, sizeof(JpegInfo)));
    if (!info) {
        set_error(kErrorOutOfMemory);
        return nullptr;
    }
    *info = {};
    info->frame = &info->own_frame;
    info->scan.streamBuffer = stream;
    info->scan.io = stream ? stream->io : session->ioInfo;
    info->scan.readBuffer = stream ? stream->buffer : nullptr;
    info->decInfo = session;
    info->checkFn = session->checkFn;
    info->isRegion = session->decOption & VOREL_OPTION_REGION;
    info->decMode = session->decMode;
    info->plan.outColorFormat = session->outColorFormat;
    info->plan.kernels = &kernels();
    return info;
}

namespace {

bool walks_over_coefficients(const JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    const bool whole_rows = plan.columns.first == 0 && plan.columns.end >= plan.scaledWidth;
    const bool whole = whole_rows && plan.rows.first == 0;
    return plan.scaleIndex != 0 || !whole || info->isRegion || info->decInfo->partialDecode ||
           (info->decInfo->decOption & VOREL_OPTION_SKIP_TABLES);
}

// MCUs of a scan that lie in iMCU rows above the window. Whole restart intervals among them are passed over by their
// markers, where a session asks for a window.
uint64_t mcus_above_window(const JpegInfo *info, const ScanReader *scan) {
    if (!info->decInfo->partialDecode || info->plan.imcu_output_rows == 0) return 0;
    // What refines a row needs the row, and the intervals of two scans do not end together.
    if (!is_baseline(info)) return 0;
    return mcus_above(scan, static_cast<uint32_t>(info->plan.rows.first / info->plan.imcu_output_rows));
}

}  // namespace

bool set_up_scan(JpegInfo *info, ScanReader *scan) {
    for (int i = 0; i < info->header.scan.compsInScan; ++i) {
        if (!plan_multipliers(info, &info->frame->components[info->header.scan.component[i]])) return false;
    }
    // The tables behind the last header serve a progressive frame, whichever components that one is for; which have
    // none yet get theirs with their scan.
    for (int c = 0; !is_baseline(info) && c < info->frame->numComponents; ++c) {
        plan_multipliers(info, &info->frame->components[c]);
    }
    if (info->lender) {
        if (!share_scan(scan, info->lender->scan)) return false;
    } else {
        if (!start_scan(scan, info->frame, &info->header, walks_over_coefficients(info))) return false;
        scan->mcus_to_pass = mcus_above_window(info, scan);
    }
    keep_for_kernels(info, scan);
    return true;
}

void keep_for_kernels(const JpegInfo *info, ScanReader *scan) {
    uint8_t keep[kMaxBlocksInMcu];
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        keep[b] = info->plan.components[scan->components[scan->mcuMembership[b]].component->index].keep;
    }
    set_block_keep(scan, keep);
}

void delete_record(JpegInfo *info) {
    if (!info) return;
    close_further_scans(info);
    release_scan(&info->scan);
    release_coefficient_rows(info);
    release_scan_infos(info);
    release_output(info);
    release_sample_rows(info);
    release_map(&info->own_map);
    CoefficientStore::release(info->store);
    // A region's are its lender's.
    if (!info->lender) release_header(&info->header);
    release_iteration(info->iteration);
    BRIM_FakeFree(info);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

JpegInfo *BRIMJ_PreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    JpegInfo *info = new_record(session, streamBuffer);
    if (!info) return nullptr;
    {
        const StepScope scope(JPEG_STAT_HEADERS);
        if (BRIMJ_ParseHeader(info, nullptr) != kStepOk) {
            delete_record(info);
            return nullptr;
        }
    }
    frameRequest->imageWidth = info->frame->imageWidth;
    frameRequest->imageHeight = info->frame->imageHeight;
    session->imageWidth = info->frame->imageWidth;
    session->imageHeight = info->frame->imageHeight;
    return info;
}

JpegInfo *BRIMJ_PostInitialize(DecInfo *session, StreamBuffer *, FrameRequest *frameRequest, JpegInfo *info) {
    if (!plan_geometry(info, frameRequest)) {
        VOREL_TRACE(kTagJpeg);
        delete_record(info);
        return nullptr;
    }
    place_output(info, frameRequest);
    session->outWidth = static_cast<uint32_t>(info->plan.cropWidth);
    session->outHeight = static_cast<uint32_t>(info->plan.cropHeight);
    if (BRIMJ_StartDecompression(info) != kStepOk || !prepare_resampler(info)) {
        VOREL_TRACE(kTagJpeg);
        delete_record(info);
        return nullptr;
    }
    info->planned = true;
    return info;
}

JpegInfo *BRIMJ_Initialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    session->outWidth = static_cast<uint32_t>(frameRequest->targetWidth);
    JpegInfo *info = BRIMJ_PreInitialize(session, streamBuffer, frameRequest);
    if (!info) return nullptr;
    return BRIMJ_PostInitialize(session, streamBuffer, frameRequest, info);
}

int32_t BRIMJ_StartDecompression(JpegInfo *info) {
    if (!plan_row_output(info)) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    find_source_ranges(&info->plan);
    DecInfo *session = info->decInfo;
    if (!session->partialDecode) {
        session->partialWidth = session->outWidth;
        session->partialHeight = session->outHeight;
    }
    if (BRIMJ_InitUpsampler(info) != kStepOk || BRIMJ_InitDecBeforeScan(info) != kStepOk) return kStepFailed;
    if (!prepare_writers(info)) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    return kStepOk;
}

int32_t BRIMJ_InitDecBeforeScan(JpegInfo *info) {
    OutputPlan &plan = info->plan;
    plan.sampleRangeLimit = kRangeLimit + kRangeCentre;
    const bool compressed = info->decInfo->decOption & VOREL_OPTION_COMPRESS_RANGE;
    plan.sampleRangeLimit2 = compressed ? kCompressedRange + kCompressedCentre : plan.sampleRangeLimit;
    if (!allocate_sample_rows(info)) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    choose_clamp(info);
    return BRIMJ_SetupScan(info);
}

int32_t BRIMJ_SetupScan(JpegInfo *info) {
    if (!set_up_scan(info, &info->scan)) {
        VOREL_TRACE(kTagJpeg);
        return kStepFailed;
    }
    info->pump.imcu_row = 0;
    return kStepOk;
}

void BRIMJ_DeleteDecoderInfo(JpegInfo *info) { delete_record(info); }

int32_t BRIMJ_DestroyJpegInfo(DecInfo *session) {
    if (!session) return 0;
    // What a child has belongs to its base.
    const bool own = session->retainedJpegInfo && session->retainedJpegInfo->decInfo == session;
    if (own) {
        // One that came of a decode in pieces stands in two places.
        if (session->codecState == session->retainedJpegInfo) session->codecState = nullptr;
        delete_record(session->retainedJpegInfo);
    }
    session->retainedJpegInfo = nullptr;
    return 1;
}

}  // extern "C"
