// Set-up of the working record: geometry, tables, buffers.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Size of the output, DCT scale, crop, and which kernel each component gets. False for sizes that cannot be.
bool plan_geometry(JpegInfo *info, const FrameRequest *request);

// Where the output stands in the caller's buffer, and which part of it is stored.
void place_output(JpegInfo *info, const FrameRequest *request);

// Kernel shape, kept coefficients and box factors of every component for the planned scale.
void plan_components(JpegInfo *info);

// Opens a record for each further scan of a baseline frame whose components come in several scans. 200 or 201.
int32_t open_further_scans(JpegInfo *info);
void close_further_scans(JpegInfo *info);

// Allocates a zeroed record over a session and a stream buffer, and parses the header. Null on failure.
JpegInfo *open_record(DecInfo *session, StreamBuffer *stream, uint8_t *block, uint32_t scans_to_pass);
void delete_record(JpegInfo *info);

constexpr bool is_baseline(const JpegInfo *info) { return info->markerState->frameType != kProgressiveFrame; }

}  // namespace vorel
