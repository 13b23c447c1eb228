// Sessions that the bindings open: the block that was read for one, a decode that was not brought to its end and a map
// go with it.
#pragma once

#include <vorel/jpeg_iterative.h>

#include <memory>

#include "core/core.h"

namespace vorel {

// Null is allowed. Keeps the error word: the reason of a failure outlives its session.
inline void close_session(DecInfo *session) {
    if (!session) return;
    const uint32_t error = last_error();
    VORELBRIM_AbortJPEGIter(session);
    VORELBRIM_DestroyJpegInfo(session);
    os_release(session->fileBuffer);
    os_release(session->extraBuffer);
    VORELBRIM_DestroyDecInfo(session);
    set_error(error);
}

struct SessionCloser {
    void operator()(DecInfo *session) const { close_session(session); }
};
using OwnedSession = std::unique_ptr<DecInfo, SessionCloser>;

}  // namespace vorel
