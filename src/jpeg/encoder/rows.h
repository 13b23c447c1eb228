// MCU rows of a session: from sample rows to the entropy coder.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

// A stretch is as many MCUs as are transformed at once: enough for the widest vectors, few enough to stay in the
// first-level cache.
constexpr uint32_t kStretchMcus = 16;

// Memory for a stretch; false without.
bool allocate_stretch(JEInfo *session);

}  // namespace vorel
