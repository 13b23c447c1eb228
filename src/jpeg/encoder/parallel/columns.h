// The column encoder's streams.
#pragma once

#include "jpeg/encoder/session.h"

namespace vorel {

// Frees what is left of them, and gives the session its own sink back.
void release_columns(JEInfo *session);

}  // namespace vorel
