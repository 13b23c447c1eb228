// Decode sessions: making and destroying them, the links between a session and its children, options, progress.
#include "core/session.h"

#include <pthread.h>

#include "core/core.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VOREL_LEAK_CHECKED 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define VOREL_LEAK_CHECKED 1
#endif
#ifdef VOREL_LEAK_CHECKED
extern "C" void __lsan_ignore_object(const void *object);
#endif

namespace vorel {
namespace {

constexpr int32_t kMaxDecMode = 4;

// Guards the links between sessions: a canceller walks children[] while workers take their sessions down.
pthread_mutex_t g_links = PTHREAD_MUTEX_INITIALIZER;

// Progress checks of all sessions together. The callback is due when it stands at kChecksPerCall.
uint32_t g_checks = 0;
constexpr uint32_t kChecksPerCall = 3;

DecInfo *start_session(IoInfo *io, int32_t color_format, uint32_t options) {
    if (!io) return nullptr;
    DecInfo *session = new_session();
    if (!session) {
        set_error(kErrorOutOfMemory);
        VORELBRIM_Close_IO(io);
        return nullptr;
    }
    session->ioInfo = io;
    session->outColorFormat = color_format;
    session->decOption = options;
    return session;
}

// A record that stays behind on purpose is no find of the leak checker.
void leave_behind(const void *record) {
#ifdef VOREL_LEAK_CHECKED
    __lsan_ignore_object(record);
#else
    static_cast<void>(record);
#endif
}

// Required: the record of an input whose memory the session owns is not freed together with the memory, only when a
// region map hangs on the session.
void close_input(DecInfo *session) {
    IoInfo *io = session->ioInfo;
    if (!io) return;
    if (io->kind == kIoOwnedMemory) {
        os_release(io->source);
        io->source = nullptr;
        if (!session->regionMap) {
            leave_behind(io);
            return;
        }
    }
    VORELBRIM_Close_IO(io);
}

// Required: the parent's childCount is not lowered.
void unlink_session(DecInfo *session) {
    const MutexLock lock(&g_links);
    for (DecInfo *&child : session->children) {
        if (child && child->parent == session) child->parent = nullptr;
        child = nullptr;
    }
    session->childCount = 0;
    DecInfo *parent = session->parent;
    if (!parent) return;
    const uint32_t slot = session->childIndex;
    if (slot < kMaxChildren && parent->children[slot] == session) parent->children[slot] = nullptr;
    session->childIndex = 0;
    session->parent = nullptr;
}

// 0 to 100 for rows within the picture.
int32_t percent_done(const DecInfo *session, uint32_t row) {
    if (session->outHeight == 0) return 0;
    return static_cast<int32_t>(uint64_t{row} * 100 / session->outHeight);
}

}  // namespace

DecInfo *new_session() {
    DecInfo *session = os_allocate_array<DecInfo>(1);
    if (!session) return nullptr;
    session->checkFn = VORELBRIM_CheckFn;
    session->decodeResult = -1;
    pthread_mutex_init(&session->jobMutex, nullptr);
    return session;
}

bool adopt_child(DecInfo *parent, DecInfo *child) {
    const MutexLock lock(&g_links);
    for (int32_t slot = 0; slot < kMaxChildren; ++slot) {
        if (parent->children[slot]) continue;
        parent->children[slot] = child;
        if (parent->childCount < kMaxChildren) ++parent->childCount;
        child->parent = parent;
        child->childIndex = static_cast<uint32_t>(slot);
        return true;
    }
    return false;
}

void cancel_with_children(DecInfo *session) {
    const MutexLock lock(&g_links);
    store_relaxed(&session->abortFlag, kAbortCancelled);
    for (DecInfo *child : session->children) {
        if (child) store_relaxed(&child->abortFlag, kAbortCancelled);
    }
}

void publish_image(DecInfo *session, ImageInfo *info) {
    info->width = session->imageWidth;
    info->height = session->imageHeight;
    info->fileSize = session->ioInfo ? static_cast<uint32_t>(session->ioInfo->size) : 0u;
    session->jpegProgressive = info->progressive;
    session->jpegRestartInterval = info->restartInterval;
    session->jpegMaxV = info->maxVSampling;
    session->jpegMaxH = info->maxHSampling;
    session->jpegComponents = info->numComponents;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

DecInfo *VORELBRIM_CreateDecInfo(uint32_t ioKind, void *pathOrBuffer, int32_t size, int32_t colorFormat,
                                 uint32_t options) {
    set_error(kErrorNone);
    return start_session(VORELBRIM_Open_IO(ioKind, pathOrBuffer, size), colorFormat, options);
}

DecInfo *VORELBRIM_CreateDecInfoWithStream(void *context, int32_t size, VorelReadFn readFn, VorelSkipFn skipFn,
                                           VorelRewindFn rewindFn, int32_t colorFormat, uint32_t options) {
    set_error(kErrorNone);
    return start_session(VORELBRIM_Open_Stream(context, readFn, skipFn, rewindFn, size), colorFormat, options);
}

int32_t VORELBRIM_DestroyDecInfo(DecInfo *session) {
    if (!session) {
        set_error(kErrorNullSession);
        return 0;
    }
    set_error(kErrorNone);
    os_release(session->progress);
    close_input(session);
    os_release(session->regionMap);
    unlink_session(session);
    // All of them, whatever the count says now.
    for (Midpoint *midpoint : session->midpoints) os_release(midpoint);
    os_release(session->midpointState);
    os_release(session->regionJobs);
    pthread_mutex_destroy(&session->jobMutex);
    for (void *line : session->gifLineBuffers) os_release(line);
    os_release(session);
    return 1;
}

int32_t VORELBRIM_DestroyInputBuffer(DecInfo *session) {
    if (!session || !session->ioInfo || session->ioInfo->kind != kIoMemory) return 0;
    void *&source = session->ioInfo->source;
    // The block may be noted down twice: as the input and as what the caller frees after the decode.
    if (session->fileBuffer == source) session->fileBuffer = nullptr;
    os_release(source);
    source = nullptr;
    return 1;
}

int32_t VORELBRIM_SetDecOption(DecInfo *session, uint32_t options) {
    if (!session) return 0;
    session->decOption = options;
    return 1;
}

int32_t VORELBRIM_SetDecMode(DecInfo *session, int32_t mode) {
    if (!session) return 0;
    session->decMode = mode < 0 ? 0 : mode > kMaxDecMode ? kMaxDecMode : mode;
    return 1;
}

// Required: the counter is the process's, not the session's, so the callback comes on the fourth check of whichever
// session and on every third from there. A callback that stops leaves the counter where it is, so the next check asks
// again.
int32_t VORELBRIM_CheckFn(DecInfo *session, uint32_t currentRow) {
    int32_t status;
    VORELBRIM_CheckExStatus(&status);
    if (status < 0) return 0;
    if (status > 0) VORELBRIM_OsSleep(static_cast<uint32_t>(status));
    if (!session || !session->progress) return 1;
    const uint32_t checks = load_relaxed(&g_checks);
    if (checks != kChecksPerCall) {
        store_relaxed(&g_checks, checks + 1);
        return 1;
    }
    const ProgressRecord *progress = session->progress;
    if (progress->callback && progress->callback(progress->userValue, percent_done(session, currentRow)) == 0) return 0;
    store_relaxed(&g_checks, 1u);
    return 1;
}

int32_t VORELBRIM_ZoomCheckFn(DecInfo *, uint32_t) { return 1; }

// Required: coarser than the formats themselves; display buffers are sized by it.
int32_t getBytePerPixel(const DecInfo *session) {
    if (!session) return 0;
    switch (session->outColorFormat) {
        case COLOR_RGB565:
        case COLOR_YUV420:
        case COLOR_NV21:
        case COLOR_NV12:
            return 2;
        default:
            return 4;
    }
}

}  // extern "C"
