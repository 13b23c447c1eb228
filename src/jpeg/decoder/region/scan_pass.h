// Completing a region map: the rows that no decode went through, what the map has to hold, and handing it to a session.
#pragma once

#include "jpeg/decoder/region/map.h"

namespace vorel {

// The next iMCU row for its positions alone: 100, 101 at the last row, 102 where an MCU failed.
int32_t walk_imcu(JpegInfo *info);

// Ends what start_map began: walks over the rows that are left, looks whether the map serves, and makes of the record
// one that regions borrow from. It then has no input and no rows any more and cannot decode. False, with the map gone,
// where it does not serve and without memory. Cancelled by the session's word.
bool finish_map(JpegInfo *info);

// The session has a map from now on, with the record that holds it. False without memory, with nothing changed.
bool publish_map(DecInfo *session, JpegInfo *info);

}  // namespace vorel
