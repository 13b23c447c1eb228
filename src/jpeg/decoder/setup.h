// Set-up of the working record, step by step.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// True where the first scan leaves components to further ones, as far as a baseline frame goes.
constexpr bool has_separate_scans(const JpegInfo *info) {
    return is_baseline(info) && info->header.scan.compsInScan < info->frame->numComponents;
}

// A record of a session over a stream buffer, of which nothing is known yet; null without memory.
JpegInfo *new_record(DecInfo *session, StreamBuffer *stream);

// Size of the output, DCT scale, crop, and which kernel each component gets. False for sizes that cannot be.
bool plan_geometry(JpegInfo *info, const FrameRequest *request);

// The same for the whole picture reduced by `sample`, each side rounded.
bool plan_reduced_geometry(JpegInfo *info, int32_t sample);

// Kernel shape, kept coefficients and box factors of every component for the planned scale.
void plan_components(JpegInfo *info);

// Where the output stands in the caller's buffer, and which part of it is stored.
void place_output(JpegInfo *info, const FrameRequest *request);

// Decode mode 1 holds coefficients to templates where the first component's table is finer than its own.
void choose_clamp(JpegInfo *info);

// Multipliers of a component from the tables as they stand now. False where it has no table.
bool plan_multipliers(JpegInfo *info, const JpegComponent *component);

// Rows of one iMCU row for every component, and the batch of coefficients; false when out of memory.
bool allocate_sample_rows(JpegInfo *info);
void release_sample_rows(JpegInfo *info);

// Opens a reader for each further scan: of a baseline frame those that components are missing for, of a progressive one
// those that its scale looks at, with the memory for a row of coefficients. 200 or 201.
int32_t open_further_scans(JpegInfo *info);
// The same for progressive frames bit by bit: memory first, then scans until `until` of them are found in all: 100 when
// there may be more, 200 or 201 at the end.
bool begin_scan_search(JpegInfo *info);
int32_t search_scans(JpegInfo *info, int32_t until);
void close_further_scans(JpegInfo *info);
// The same for a region of a progressive frame, whose scans are those of its lender. 200 or 201.
int32_t share_further_scans(JpegInfo *info);
// Closes the inputs of the further scans; what they are of stays.
void close_further_inputs(JpegInfo *info);

// Memory for the coefficients of one iMCU row of a progressive frame; false when out of it.
bool allocate_coefficient_rows(JpegInfo *info);
void release_coefficient_rows(JpegInfo *info);

// Frees what BRIMJ_SetupScanInfo made.
void release_scan_infos(JpegInfo *info);

// Frees the state of a decode in pieces, with the input that belongs to it; null is allowed.
void release_iteration(Iteration *iteration);

// Sets up a reader for the scan that the header was parsed to, with its components' multipliers. 200 or 201.
bool set_up_scan(JpegInfo *info, ScanReader *scan);
// Tells the reader how many coefficients the planned kernels look at.
void keep_for_kernels(const JpegInfo *info, ScanReader *scan);

void delete_record(JpegInfo *info);

}  // namespace vorel
