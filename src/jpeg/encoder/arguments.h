// What the public entries ask of their arguments.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

// A record with pixels, or with all the planes of its format. False, with debug_BrimCodecError 15 and a line in the log
// that speaks of the entry.
bool is_complete(const RawInfo *raw, const char *entry);
// The same refusal for anything else.
bool refuse(const char *entry);

}  // namespace vorel
