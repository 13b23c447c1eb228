// The working record of a rectangle: frame, tables and map are those of the base session's record, and nothing of the
// stream is parsed again.
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

// The record that a session's rectangles borrow from; null where its map is not complete.
const JpegInfo *lender_of(const DecInfo *session) {
    const JpegInfo *base = session->retainedJpegInfo;
    return base && base->regionStage == 1 && !base->mapScanning && base->own_map.table_count > 0 ? base : nullptr;
}

// Required: progressive frames are not reduced by these.
bool refused_in_progressive(int32_t sample) { return sample == 3 || (sample >= 5 && sample <= 7); }

bool served(const JpegInfo *info) {
    if (is_baseline(info)) return !has_separate_scans(info);
    return !refused_in_progressive(info->decInfo->sampleSize);
}

// The row counters as they stand before the first iMCU row of the window; the rows above it cost nothing.
void pass_to_window(JpegInfo *info) {
    while (above_window(info) && info->pump.imcu_row + 1 < info->frame->imcu_rows) {
        pass_rows(info, rows_of_imcu(info));
        ++info->pump.imcu_row;
    }
}

bool set_up_region(JpegInfo *info, FrameRequest *request) {
    DecInfo *session = info->decInfo;
    if (!served(info) || !plan_reduced_geometry(info, session->sampleSize)) return false;
    place_output(info, request);
    session->outWidth = static_cast<uint32_t>(info->plan.cropWidth);
    session->outHeight = static_cast<uint32_t>(info->plan.cropHeight);
    if (BRIMJ_StartDecompression(info) != kStepOk || !prepare_resampler(info)) return false;
    if (!is_baseline(info) && share_further_scans(info) != kStepOk) return false;
    info->planned = true;
    pass_to_window(info);
    return true;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JpegInfo *BRIMJ_RegionPreInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    const JpegInfo *base = lender_of(session);
    JpegInfo *info = base ? new_record(session, streamBuffer) : nullptr;
    if (!info) return nullptr;
    // A cancel stays, anything else is from before.
    if (load_relaxed(&session->abortFlag) != kAbortCancelled) store_relaxed(&session->abortFlag, 0u);
    info->lender = base;
    info->map = &base->own_map;
    info->frame = base->frame;
    info->header = base->header;
    info->regionStage = is_baseline(base) ? 2 : 1;
    info->decMode = 0;
    frameRequest->imageWidth = session->imageWidth = info->frame->imageWidth;
    frameRequest->imageHeight = session->imageHeight = info->frame->imageHeight;
    return info;
}

JpegInfo *BRIMJ_RegionPostInitialize(DecInfo *, JpegInfo *info, FrameRequest *frameRequest) {
    if (set_up_region(info, frameRequest)) return info;
    VOREL_TRACE(kTagJpeg);
    delete_record(info);
    return nullptr;
}

JpegInfo *BRIMJ_RegionInitialize(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    JpegInfo *info = BRIMJ_RegionPreInitialize(session, streamBuffer, frameRequest);
    return info ? BRIMJ_RegionPostInitialize(session, info, frameRequest) : nullptr;
}

JpegInfo *BRIMJ_GetJpegRegionInfo(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *parameters) {
    return session && streamBuffer && parameters ? BRIMJ_RegionInitialize(session, streamBuffer, parameters) : nullptr;
}

void BRIMJ_RegionDeleteDecoderInfo(JpegInfo *info) { delete_record(info); }

}  // extern "C"
