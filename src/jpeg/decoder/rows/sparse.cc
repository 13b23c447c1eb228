// Reductions beyond 1/8: a sample is the DC of the block that covers its pixel, and MCUs without a sample are passed
// over whole.
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

// Block of a component that covers image pixel `at`.
int32_t block_at(int64_t at, uint32_t sampling, int32_t most) {
    return static_cast<int32_t>(at * sampling / most / kBlockSide);
}

// Scaled multipliers: this is quantiser x DC / 8, rounded down.
uint8_t sample_of(const JpegInfo *info, const JpegComponent *component, int16_t dc) {
    const int64_t value = (int64_t{info->plan.components[component->index].multipliers[0]} * dc) >> 15;
    const int64_t clamped = value < -512 ? -512 : value > 511 ? 511 : value;
    return range_of(info, component)[clamped & 0x3FF];
}

// One MCU row of a scan: its place in the iMCU row, and the rows of the scaled picture that the iMCU row gives.
struct SparseRow {
    JpegInfo *info;
    ScanReader *scan;
    uint8_t ***rows;
    int32_t mcu_row;
    int32_t first_y, end_y;

    int64_t image_at(int32_t scaled) const { return int64_t{scaled} << info->plan.scaleIndex; }

    int32_t mcu_of(int32_t x) const {
        const ScanComponent &at = scan->components[0];
        return block_at(image_at(x), at.component->hSampling, info->frame->maxH) / static_cast<int32_t>(at.mcuWidth);
    }

    // Samples of every component whose block lies in the MCU just decoded.
    void store(int32_t mcu, int32_t x) const {
        int32_t first_block = 0;
        for (int i = 0; i < scan->compsInScan; ++i) {
            const ScanComponent &at = scan->components[i];
            const JpegComponent *component = at.component;
            const int32_t width = static_cast<int32_t>(at.mcuWidth), height = static_cast<int32_t>(at.mcuHeight);
            const int32_t column = block_at(image_at(x), component->hSampling, info->frame->maxH) - mcu * width;
            const int32_t top = static_cast<int32_t>(info->pump.imcu_row * component->vSampling) + mcu_row;
            for (int32_t y = first_y; y < end_y; ++y) {
                const int32_t row = block_at(image_at(y), component->vSampling, info->frame->maxV) - top;
                if (row < 0 || row >= height || column < 0 || column >= width) continue;
                const int16_t dc = info->pump.batch->blocks[first_block + row * width + column][0];
                rows[component->index][y - first_y][x] = sample_of(info, component, dc);
            }
            first_block += static_cast<int32_t>(at.mcuBlocks);
        }
    }

    bool decode() const {
        const McuBatch *batch = info->pump.batch;
        const SourceRange &columns = info->plan.columns;
        int32_t next_mcu = 0;
        for (int32_t x = columns.first; x < columns.end && end_y > first_y;) {
            const int32_t mcu = mcu_of(x);
            if (!decode_tolerantly(info, scan, McuMode::kSkip, mcu - next_mcu, nullptr, nullptr)) return false;
            if (!decode_tolerantly(info, scan, McuMode::kDc, 1, batch->blocks, info->pump.batch->last)) return false;
            next_mcu = mcu + 1;
            for (; x < columns.end && mcu_of(x) == mcu; ++x) store(mcu, x);
        }
        const int32_t rest = static_cast<int32_t>(scan->mcusPerRow) - next_mcu;
        return decode_tolerantly(info, scan, McuMode::kSkip, rest, nullptr, nullptr);
    }
};

}  // namespace

int32_t decode_sparse_imcu(JpegInfo *info, uint8_t ***rows) {
    const OutputPlan &plan = info->plan;
    RowPump &pump = info->pump;
    if (!info->planned) return kStepBadMcu;
    // A record that is planned for whole blocks has no rows of this kind.
    if (plan.imcu_output_rows != 0) return decode_imcu(info, planned_mode(info), rows);
    const int64_t top = int64_t{pump.imcu_row} * info->frame->mcuHeight;
    const int64_t unit = int64_t{1} << plan.scaleIndex;
    const int32_t first_y = static_cast<int32_t>(ceil_div(top, unit));
    int32_t end_y = static_cast<int32_t>(ceil_div(top + info->frame->mcuHeight, unit));
    if (end_y > plan.scaledHeight) end_y = plan.scaledHeight;
    pump.skipped = false;
    pump.rows_ready = end_y > first_y ? end_y - first_y : 0;
    if (first_y >= plan.rows.end) {
        pump.rows_ready = 0;
        return kStepEnd;
    }
    const StepScope scope(JPEG_STAT_ENTROPY_SCALED);
    const bool done = for_scans(info, [&](ScanReader *scan) {
        const int32_t mcu_rows = mcu_rows_in_imcu(scan, info->frame, pump.imcu_row);
        for (int32_t mcu_row = 0; mcu_row < mcu_rows; ++mcu_row) {
            if (!SparseRow{info, scan, rows, mcu_row, first_y, end_y}.decode()) return false;
        }
        return true;
    });
    if (done) return finish_imcu(info);
    VOREL_LOG(kTagJpeg, "BRIMJ_DecodeSingleiMcu_resize : BRIMJ_DecodeMcu_Nto1 fail");
    return kStepBadMcu;
}

}  // namespace vorel
