// Progressive sessions (T.81 annex G), and the counting of symbols in sessions that measure Huffman tables.
#pragma once

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/session.h"

namespace vorel {

// Block arrays of the whole picture, the script and its first scan, ready to gather that scan's statistics. All memory
// of the progressive path comes from here.
bool set_up_progressive(JEInfo *session);

// Everything between the first headers and EOI: reads the picture, then gathers and writes scan after scan.
bool encode_progressive(JEInfo *session);

// Counts the symbols of an MCU as the block coder would write them. False for a coefficient that has no code.
bool count_mcu(JEInfo *session, const CodingBlock *blocks);

}  // namespace vorel
