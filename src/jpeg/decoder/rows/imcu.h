// Decoding one iMCU row: entropy decoder and kernels together.
#pragma once

#include "jpeg/decoder/jpeg_info.h"

namespace vorel {

// Decodes the next iMCU row of all the frame's scans into rows[component][row]. An iMCU row that the window does not
// need is passed over. 100, 101 at the last row, or 102.
int32_t decode_imcu(JpegInfo *info, McuMode mode, uint8_t ***rows);

// The same for reductions beyond 1/8, where a sample is the DC of the block that covers its pixel.
int32_t decode_sparse_imcu(JpegInfo *info, uint8_t ***rows);

// The same for progressive frames, at all their scales.
int32_t decode_progressive_imcu(JpegInfo *info, uint8_t ***rows);
// The next iMCU row of all scans without its transforms, for its positions. 100, 101 or 102.
int32_t walk_progressive_imcu(JpegInfo *info);
// Its second half: what the row of coefficients gives goes to the sample rows, and the next row is the one after it.
int32_t transform_progressive_imcu(JpegInfo *info, uint8_t ***rows);

// Where the next iMCU row lies to what the window needs, and how many scaled rows it gives.
bool above_window(const JpegInfo *info);
bool below_window(const JpegInfo *info);
int32_t rows_of_imcu(const JpegInfo *info);

// The MCUs of a row of the scan that hold what the window needs: [first, end).
struct McuRange {
    int32_t first, end;
};
McuRange shown_mcus(const JpegInfo *info, const ScanReader *scan);

// An MCU that fails here ends the decode.
bool too_early_to_fail(const JpegInfo *info);

// The mode and the function for the planned scale.
McuMode planned_mode(const JpegInfo *info);
int32_t decode_planned_imcu(JpegInfo *info, uint8_t ***rows);

// `count` MCUs; near the bottom of the picture one that fails is left gray and the next is tried. False: 102.
bool decode_tolerantly(JpegInfo *info, ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks,
                       uint8_t *last);

// Moves on to the next iMCU row: 100, or 101 behind the last one.
int32_t finish_imcu(JpegInfo *info);

const uint8_t *range_of(const JpegInfo *info, const JpegComponent *component);

// Calls visit(scan) for every scan of the frame, until one call gives false. The first scan comes last.
template <typename Visit>
bool for_scans(JpegInfo *info, const Visit &visit) {
    for (int32_t i = 0; i < info->further_scan_count; ++i) {
        if (!visit(&info->further_scans[i]->scan)) return false;
    }
    return visit(&info->scan);
}

}  // namespace vorel
