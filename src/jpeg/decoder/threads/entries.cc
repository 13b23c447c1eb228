// Entries for threads and row loops of one's own.
#include <vorel/jpeg_region.h>
#include <vorel/jpeg_threads.h>

#include <algorithm>

#include "core/session.h"
#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/iterative/midpoint.h"
#include "jpeg/decoder/threads/speculation.h"
#include "jpeg/decoder/threads/threads.h"

namespace vorel {
namespace {

// The session has a partner only while both decode halves of one picture, which nothing here does.
constexpr int32_t kNoOtherThread = 302;

// Runs a body over a block that has all it needs.
template <typename Body>
void *run_body(void *argument, const char *name, const Body &body) {
    const auto *block = static_cast<const DecodeJobParam *>(argument);
    const bool whole = block && block->session && block->output && block->x >= 0 && block->y >= 0 && block->width > 0 &&
                       block->height > 0;
    if (!whole || !body(*block)) VOREL_LOG(kTagJpegStat, "[%s:%d]\n", name, __LINE__);
    return nullptr;
}

int32_t decode_block(const DecodeJobParam &block) {
    return VORELBRIM_DecodeJPEG(block.session, block.output, block.width, block.height);
}

using RowsFn = int32_t (*)(JpegInfo *info, uint8_t ***rows, uint32_t *done, uint32_t end);

int32_t run_rows(JpegInfo *info, uint8_t **rows_of_caller, RowsFn step) {
    if (!info) return kStepFailed;
    uint8_t **own[kMaxComponents];
    for (int c = 0; c < kMaxComponents; ++c) own[c] = info->pump.components[c].rows;
    uint8_t ***rows = rows_of_caller ? reinterpret_cast<uint8_t ***>(rows_of_caller) : own;
    const uint32_t end = last_row(info);
    uint32_t done = info->out.outputRow;
    int32_t result = kStepMoreRows;
    while (result == kStepMoreRows && done < end)
        result = is_cancelled(info->decInfo) ? kStepFailed : step(info, rows, &done, end);
    return result == kStepFailed ? kStepFailed : kStepOk;
}

RowsFn step_of(uint32_t scale) { return scale == 0 ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize; }

// ---- Bands that a walking decode hands out

void free_task(BandTask *task) {
    os_release(task->midpoint);
    os_release(task);
}

// The rectangle of a band, from its checkpoint on where there is one, to its place in the whole output.
int32_t decode_row_band(const BandTask &task, const BandRow &row, Midpoint **midpoint) {
    DecInfo *session = task.session;
    DecInfo *child = BRIMJ_CreateTemporaryDecInfo(session, row.x, row.y, row.width, row.height, session->sampleSize);
    if (!child) return 0;
    // As it stood when the band was handed out: the session's own word comes back when its decode is over.
    child->decOption = task.options & ~uint32_t{VOREL_OPTION_EXIF_ORIENTATION};
    child->partialToBuffer = 1;
    child->noMidpointTaking = 1;
    child->checkFn = nullptr;
    std::swap(child->midpointState, *midpoint);
    child->threadBandStart = child->midpointState != nullptr;
    const int32_t result = VORELBRIM_DecodeJPEG(child, row.output, task.width, task.height);
    VORELBRIM_DestroyDecInfo(child);
    return result;
}

int32_t height_of(const DecInfo *session) {
    return static_cast<int32_t>(session->dualTargetHeight ? session->dualTargetHeight : session->outHeight);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void *decode_jpeg(void *decodeJobParam) {
    return run_body(decodeJobParam, __func__, [](const DecodeJobParam &block) {
        decode_block(block);
        return true;
    });
}
void *decode_jpeg2(void *decodeJobParam) {
    return run_body(decodeJobParam, __func__, [](const DecodeJobParam &block) { return decode_block(block) == 1; });
}
void *dualdecode_jpeg(void *task) { return decode_jpeg(task); }
void *scan_jpeg_mid_point(void *task) { return decode_jpeg(task); }
void *scan_jpeg(void *task) {
    return run_body(task, __func__,
                    [](const DecodeJobParam &block) { return VORELBRIM_ScanHuffmanInfo(block.session) == 1; });
}

int32_t partialDecodeOnThread(DecInfo *session, int32_t width, int32_t bandIndex) {
    if (!session || !session->bandTable || bandIndex < 0 || static_cast<uint32_t>(bandIndex) >= session->bandCount)
        return 0;
    auto *task = os_allocate_array<BandTask>(1);
    if (!task) return 0;
    *task = {session, width, height_of(session), bandIndex, session->decOption, nullptr};
    if (bandIndex > 0) std::swap(task->midpoint, session->midpointState);
    if (vorel_threadpool_add_task(session->threadPool, decodeSubTP, task, 0) == 1) return 1;
    free_task(task);
    return 0;
}

void *decodeSubTP(void *bandTask) {
    auto *task = static_cast<BandTask *>(bandTask);
    if (!task) return nullptr;
    DecInfo *session = task->session;
    const bool in_table = session && session->bandTable && task->bandIndex >= 0 &&
                          static_cast<uint32_t>(task->bandIndex) < session->bandCount;
    if (in_table && !is_cancelled(session)) {
        const BandRow &row = session->bandTable[task->bandIndex];
        if (!decode_row_band(*task, row, &task->midpoint)) VOREL_TRACE(kTagJpegStat);
    }
    free_task(task);
    return nullptr;
}

// Bands bandIndex, bandIndex + bandThreads and so on. Those from 1 to 4 wait for the session's checkpoints, which
// another thread takes meanwhile; the others walk.
void *decodeSub(void *bandTask) {
    const auto *task = static_cast<const BandTask *>(bandTask);
    DecInfo *session = task ? task->session : nullptr;
    if (!session || !session->bandTable || task->bandIndex < 0) return nullptr;
    const uint32_t step = std::max(session->bandThreads, 1u);
    for (auto i = static_cast<uint32_t>(task->bandIndex); i < session->bandCount; i += step) {
        Midpoint *midpoint = nullptr;
        if (i >= 1 && i <= static_cast<uint32_t>(kMaxMidpoints)) {
            Midpoint *const *slot = &session->midpoints[i - 1];
            while (!load_acquire(slot)) {
                // The walk has ended without it.
                if (is_cancelled(session) || load_relaxed(&session->decodeResult) != -1) return nullptr;
                VORELBRIM_OsSleep(1000);
            }
            midpoint = os_allocate_array<Midpoint>(1);
            if (midpoint) *midpoint = *load_acquire(slot);
        }
        const int32_t done = is_cancelled(session) ? 0 : decode_row_band(*task, session->bandTable[i], &midpoint);
        os_release(midpoint);
        if (!done) return nullptr;
    }
    return nullptr;
}

void processMidPoint(JpegInfo *info) {
    DecInfo *session = info->decInfo;
    if (!session->threadBandStart) return;
    if (session->midpointState && session->noMidpointTaking) {
        LOAD_MID_POINT(info);
        session->threadBandStart = 0;
        return;
    }
    // A band may begin inside an iMCU row: then it starts with that row.
    const int64_t sample = std::max(session->sampleSize, 1);
    const int64_t below = (int64_t{info->pump.imcu_row} + 1) * info->frame->mcuHeight;
    while (session->bandTable && session->bandIndex < session->bandCount &&
           sample * session->bandTable[session->bandIndex].y < below) {
        if (session->bandIndex > 0) SAVE_MID_POINT(info);
        const uint32_t width = session->dualTargetWidth ? session->dualTargetWidth : session->outWidth;
        partialDecodeOnThread(session, static_cast<int32_t>(width), static_cast<int32_t>(session->bandIndex));
        ++session->bandIndex;
    }
    if (session->bandIndex >= session->bandCount) session->threadBandStart = 0;
}

int32_t BRIMJ_Decode_Dualcore_8to1_NoWait(DecInfo *, FrameRequest *, JpegInfo *decoder, uint8_t **rows) {
    if (!decoder || begin_speculation(decoder) == Speculated::kFailed) return kStepFailed;
    const int32_t result = run_rows(decoder, rows, BRIMJ_ProcessData_resize);
    end_speculation(decoder);
    return result;
}

int32_t BRIMJ_Decode_Dualcore_8to1(DecInfo *session, FrameRequest *params, JpegInfo *decoder, uint8_t **rows) {
    return BRIMJ_Decode_Dualcore_8to1_NoWait(session, params, decoder, rows);
}

int32_t BRIMJ_Decode_Dualcore_1to1(DecInfo *, FrameRequest *, JpegInfo *decoder, uint8_t **rows) {
    return run_rows(decoder, rows, step_of(0));
}

int32_t BRIMJ_Decode_Dualcore_Nto1(DecInfo *, FrameRequest *, JpegInfo *decoder, uint8_t **rows, uint32_t scale) {
    return run_rows(decoder, rows, step_of(scale));
}

int32_t BRIMJ_Decode_Dualcore_Nowait(DecInfo *, FrameRequest *, JpegInfo *decoder, uint8_t **rows, uint32_t scale) {
    return run_rows(decoder, rows, step_of(scale));
}

int32_t BRIMJ_LookUpOtherThread(JpegInfo *) { return kNoOtherThread; }

}  // extern "C"
