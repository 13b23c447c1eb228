// Row steps of a decode with a window: iMCU rows above it are walked over by the steps themselves.
#include <vorel/jpeg_iterative.h>

#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/rows/imcu.h"

using namespace vorel;

extern "C" {

int32_t BRIMJ_ProcessDataPartial(JpegInfo *info, uint8_t **rowsBuffer, uint32_t *rowsDone, uint32_t maxRows) {
    uint8_t ***rows = reinterpret_cast<uint8_t ***>(rowsBuffer);
    const auto step = info->plan.scaleIndex == 0 ? BRIMJ_ProcessData : BRIMJ_ProcessData_resize;
    const int32_t result = step(info, rows, rowsDone, maxRows);
    return result == kStepMoreRows && *rowsDone >= last_row(info) ? kStepEnd : result;
}

#define VOREL_PARTIAL_IMCU(name, mode) \
    int32_t name(JpegInfo *info, uint8_t ***sampleRows) { return decode_imcu(info, mode, sampleRows); }
VOREL_PARTIAL_IMCU(BRIMJ_PartialDecompressOnepass, planned_mode(info))
VOREL_PARTIAL_IMCU(BRIMJ_PartialDecodeSingleiMcu, McuMode::kFull)
VOREL_PARTIAL_IMCU(BRIMJ_PartialDecodeSingleiMcuResize2to1, McuMode::kScaled)
VOREL_PARTIAL_IMCU(BRIMJ_PartialDecodeSingleiMcuResize4to1, McuMode::kScaled)
VOREL_PARTIAL_IMCU(BRIMJ_PartialDecodeSingleiMcuResize8to1, McuMode::kDc)
#undef VOREL_PARTIAL_IMCU

int32_t BRIMJ_PartialDecodeSingleiMcuResizeMore16(JpegInfo *info, uint8_t ***sampleRows) {
    return decode_sparse_imcu(info, sampleRows);
}

}  // extern "C"
