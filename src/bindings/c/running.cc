#include "bindings/c/running.h"

#include "bindings/c/binding_log.h"
#include "core/session.h"

namespace vorel {
namespace {

// Of all options: locked for a few words only.
pthread_mutex_t g_running = PTHREAD_MUTEX_INITIALIZER;

}  // namespace

void show_running(VrOptions *options, void *handle, int32_t type) {
    const MutexLock lock(&g_running);
    // The address in front of what a 32-bit machine leaves of the eight bytes.
    options->handle64 = 0;
    options->handle = handle;
    options->fileType = type;
}

RunningCall::RunningCall(VrOptions *options, void *handle, int32_t type) : options_(options) {
    if (options) show_running(options, handle, type);
}

RunningCall::~RunningCall() {
    if (!options_) return;
    const MutexLock lock(&g_running);
    options_->handle64 = 0;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VrDecodeCancel(DecInfo *session) {
    if (!session) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    cancel_with_children(session);
    return 1;
}

int32_t decodeCancel(VrOptions *options) {
    if (!options) {
        VOREL_ERROR_TRACE(kTagFactory);
        return 0;
    }
    const MutexLock lock(&g_running);
    if (!options->handle) return 0;
    switch (options->fileType) {
        case VOREL_IMAGE_JPEG:
            return VrDecodeCancel(static_cast<DecInfo *>(options->handle));
        case VOREL_IMAGE_NONE:
            return VDngCancelDecoding(static_cast<decInfo *>(options->handle));
        case VOREL_IMAGE_DNG:
            // An open file's: its rectangles.
            CancleDngDecode(options->handle);
            return 1;
        default:
            return 0;
    }
}

}  // extern "C"
