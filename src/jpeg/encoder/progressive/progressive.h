// Progressive sessions (T.81 annex G), and the counting of symbols in sessions that measure Huffman tables.
#pragma once

#include <bit>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/session.h"

namespace vorel {

// The size categories that coefficients and differences of DC values have at most with 8-bit samples (T.81 tables F.1
// and F.2).
constexpr uint32_t kMostDcBits = 11, kMostAcBits = 10;
constexpr uint32_t bit_size(uint32_t magnitude) { return static_cast<uint32_t>(std::bit_width(magnitude)); }
constexpr uint32_t kSymbolCounts = 257;  // of a table; the last one is kept free for the reserved symbol of T.81 K.2

// The steps are called from outside too, for any session.
inline bool has_scans(const JEInfo *session) { return session->phuff != nullptr; }

// Block arrays of the whole picture, the script and its first scan, ready to gather that scan's statistics. All memory
// of the progressive path comes from here.
bool set_up_progressive(JEInfo *session);

// Everything between the first headers and EOI: reads the picture, then gathers and writes scan after scan.
bool encode_progressive(JEInfo *session);

// Counts the symbols of an MCU as the block coder would write them. False for a coefficient that has no code.
bool count_mcu(JEInfo *session, const CodingBlock *blocks);

}  // namespace vorel
