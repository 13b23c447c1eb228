// Decode sessions: what the rest of the engine needs beyond the exported operations of vorel/frame.h.
#pragma once

#include <vorel/frame.h>

#include "util/atomics.h"

namespace vorel {

constexpr int32_t kMaxChildren = 32;

// A zeroed session without input, as the creators and the handles start from; null without memory.
DecInfo *new_session();

// Puts child into the first free slot of parent and fills in its parent and childIndex. False when all slots are
// taken: the child is then not linked and has no parent.
bool adopt_child(DecInfo *parent, DecInfo *child);

// Writes the cancel word into the session and all its children, while none of them can be destroyed.
void cancel_with_children(DecInfo *session);

// The session's cancel word is set, or that of a session that it works for. Children end before their parents do, so
// the links stay while anybody asks.
inline bool is_cancelled(const DecInfo *session) {
    for (; session; session = session->parent) {
        if (load_relaxed(&session->abortFlag) != 0) return true;
    }
    return false;
}

// Behind a parse: the session's size goes into the record, and what the record says of a JPEG into the session.
void publish_image(DecInfo *session, ImageInfo *info);

}  // namespace vorel
