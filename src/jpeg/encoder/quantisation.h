// Quality.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

// 1 to 100. Entries clamp what is signed; the session's own word is not.
int32_t clamp_quality(int32_t quality);

}  // namespace vorel
