// Checkpoints of a baseline decode in front of an iMCU row.
#pragma once

#include <vorel/jpeg_iterative.h>

#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

constexpr int32_t kMaxMidpoints = 4;
constexpr int32_t kMidpointBytes = 68;

// Fills in a checkpoint in front of the next iMCU row. False where one record cannot hold the position: progressive
// frames, scans of single components, scales beyond 1/8.
bool save_midpoint(JpegInfo *info, Midpoint *out);

// The record is one of this picture, and a decoder can have stood there.
bool is_midpoint_of(const JpegInfo *info, const Midpoint &midpoint);

// Goes on from a checkpoint, at the scale and with the window of this record. False for one that is not of this
// picture, with nothing changed, and where the input cannot be read from there.
bool load_midpoint(JpegInfo *info, const Midpoint &midpoint);

// Takes the session's next checkpoint where one is due in front of the next iMCU row.
void take_due_midpoint(JpegInfo *info);

}  // namespace vorel
