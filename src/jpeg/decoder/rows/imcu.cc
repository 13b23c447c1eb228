// One iMCU row at a time: batches of MCUs from the entropy decoder, then the inverse DCTs of each component. Of each
// MCU row only the MCUs that the window shows are kept and transformed; those beside it move the entropy decoder alone.
#include "jpeg/decoder/rows/imcu.h"

#include <vorel/jpeg_threads.h>

#include "core/session.h"
#include "jpeg/decoder/iterative/midpoint.h"
#include "jpeg/decoder/output/output.h"
#include "jpeg/decoder/region/map.h"
#include "jpeg/decoder/region/stored_row.h"
#include "jpeg/decoder/rows/transform.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {

McuRange shown_mcus(const JpegInfo *info, const ScanReader *scan) {
    const SourceRange &columns = info->plan.columns;
    const int64_t across = info->plan.mcu_output_columns;
    // A lone component has hSampling MCUs where an interleaved scan has one.
    const int64_t per_mcu = scan->compsInScan == 1 ? scan->components[0].component->hSampling : 1;
    const int64_t most = scan->mcusPerRow;
    const int64_t first = columns.first * per_mcu / across, end = ceil_div(columns.end * per_mcu, across);
    return {static_cast<int32_t>(first < most ? first : most), static_cast<int32_t>(end < most ? end : most)};
}

namespace {

// Decode mode 1: coefficients lose the precision that the templates do not ask for.
void correct_block(const ComponentPlan &plan, int16_t *block) {
    for (int k = 1; k < kBlockCoefficients; ++k) {
        block[k] = static_cast<int16_t>((block[k] * int32_t{plan.correction[k]}) >> 13);
    }
}

// One row of blocks of a component in a batch, and where its samples go.
struct BlockRowTarget {
    const ScanComponent *at;
    int32_t first_block;  // of the row in its MCU
    uint8_t *const *rows;
    ptrdiff_t column;
};

// One row of a component's blocks out of a batch. What the loop goes by stands in locals: the stores of bytes might
// else change any of it.
void gather_blocks(const McuBatch *batch, int32_t blocks_in_mcu, int32_t first_block, int32_t width, int32_t mcus,
                   BlockRow *row) {
    int16_t *const *block = batch->blocks + first_block;
    const uint8_t *last = batch->last + first_block;
    const auto take = [&](int32_t h, int32_t count) {
        row->blocks[count] = block[h];
        row->last[count] = last[h];
    };
    for (int32_t m = 0; m < mcus; ++m, block += blocks_in_mcu, last += blocks_in_mcu) {
        if (width == 1) {
            take(0, m);
        } else {
            for (int32_t h = 0; h < width; ++h) take(h, m * width + h);
        }
    }
    row->count = mcus * width;
}

void transform_batch(JpegInfo *info, const ScanReader *scan, int32_t mcus, const BlockRowTarget &to) {
    const JpegComponent *component = to.at->component;
    BlockRow row;
    gather_blocks(info->pump.batch, scan->blocksInMcu, to.first_block, static_cast<int32_t>(to.at->mcuWidth), mcus,
                  &row);
    if (info->plan.highQualityClamp) {
        for (int32_t i = 0; i < row.count; ++i) {
            correct_block(info->plan.components[component->index], const_cast<int16_t *>(row.blocks[i]));
        }
    }
    transform_blocks(info, component, row, to.rows, to.column);
}

// DC values need no gathering: see McuBatch.
void transform_dc(JpegInfo *info, int32_t mcus, const BlockRowTarget &to) {
    const OutputPlan &plan = info->plan;
    const int16_t *dc = info->pump.batch->dc_blocks[to.first_block];
    const int32_t count = mcus * static_cast<int32_t>(to.at->mcuWidth);
    const uint8_t *range = range_of(info, to.at->component);
    plan.kernels->dc_samples(dc, count, plan.components[to.at->component->index].multipliers[0], range,
                             range == plan.sampleRangeLimit, to.rows[0] + to.column);
}

// Where each block of a batch of `step` MCUs puts its DC.
void lay_out_dc(McuBatch *batch, const ScanReader *scan, int32_t step) {
    int16_t *row = batch->dc;
    int32_t first_block = 0;
    for (int i = 0; i < scan->compsInScan; ++i) {
        const ScanComponent &at = scan->components[i];
        const int32_t width = static_cast<int32_t>(at.mcuWidth);
        for (uint32_t v = 0; v < at.mcuHeight; ++v) {
            for (int32_t block = 0; block < step * width; ++block) {
                batch->dc_blocks[block / width * scan->blocksInMcu + first_block + block % width] = row++;
            }
            first_block += width;
        }
    }
}

// Visits the rows of blocks of MCUs from column first_mcu on, for MCU row `mcu_row` of the iMCU row. Those below the
// picture are left out.
template <typename Visit>
void for_block_rows(JpegInfo *info, const ScanReader *scan, uint8_t ***rows, int32_t mcu_row, int32_t first_mcu,
                    const Visit &visit) {
    const bool last_imcu = info->pump.imcu_row + 1 == info->frame->imcu_rows;
    int32_t first_block = 0;
    for (int i = 0; i < scan->compsInScan; ++i) {
        const ScanComponent &at = scan->components[i];
        const ComponentPlan &plan = info->plan.components[at.component->index];
        const int32_t width = static_cast<int32_t>(at.mcuWidth);
        const uint32_t block_rows = scan->compsInScan > 1 && last_imcu ? at.lastRowHeight : at.mcuHeight;
        for (int32_t v = 0; v < static_cast<int32_t>(block_rows); ++v) {
            visit(BlockRowTarget{&at, first_block + v * width,
                                 rows[at.component->index] + (mcu_row + v) * plan.block_height,
                                 static_cast<ptrdiff_t>(first_mcu) * width * plan.block_width});
        }
        first_block += static_cast<int32_t>(at.mcuBlocks);
    }
}

constexpr int32_t entropy_step(McuMode mode) {
    if (mode == McuMode::kSkip) return JPEG_STAT_ENTROPY_SKIPPED;
    return mode == McuMode::kFull ? JPEG_STAT_ENTROPY_FULL : JPEG_STAT_ENTROPY_SCALED;
}

static_assert(JPEG_STAT_IDCT_3X3 - JPEG_STAT_IDCT_8X8 == static_cast<int>(IdctShape::k3x3));
int32_t idct_step(const JpegInfo *info, const BlockRowTarget &to) {
    return JPEG_STAT_IDCT_8X8 + static_cast<int>(info->plan.components[to.at->component->index].shape);
}

// Bytes that a reader goes through while a step lasts. Where another source reads in its place they are not known.
int32_t read_position(const CountedSteps &, const JpegInfo *info, ScanReader *scan) {
    return info->source ? 0 : tell(scan).next;
}
int32_t read_position(const UncountedSteps &, const JpegInfo *, ScanReader *) { return 0; }

void add_bytes(const CountedSteps &, int32_t step, int32_t bytes) { add_step_bytes(step, bytes); }
void add_bytes(const UncountedSteps &, int32_t, int32_t) {}

template <typename Steps>
bool pass_mcus(JpegInfo *info, ScanReader *scan, int32_t count, const Steps &steps) {
    if (count <= 0) return true;
    steps.enter(JPEG_STAT_ENTROPY_SKIPPED);
    const int32_t from = read_position(steps, info, scan);
    const bool passed = decode_tolerantly(info, scan, McuMode::kSkip, count, nullptr, nullptr);
    add_bytes(steps, JPEG_STAT_ENTROPY_SKIPPED, read_position(steps, info, scan) - from);
    return passed;
}

template <typename Steps>
bool decode_mcu_row(JpegInfo *info, ScanReader *scan, McuMode mode, uint8_t ***rows, int32_t mcu_row,
                    const Steps &steps) {
    McuBatch *batch = info->pump.batch;
    const int32_t across = static_cast<int32_t>(scan->mcusPerRow);
    // With a map rows begin by their positions, and what no window shows costs nothing.
    if (mode == McuMode::kSkip) return info->map || pass_mcus(info, scan, across, steps);
    const McuRange shown = shown_mcus(info, scan);
    if (info->map && shown.first == shown.end) return true;
    const int32_t step = kBatchBlocks / scan->blocksInMcu;
    const bool dc = mode == McuMode::kDc;
    if (dc) lay_out_dc(batch, scan, step);
    if (info->map) steps.enter(entropy_step(mode));
    const StoredRow stored(info, scan, mode, mcu_row, shown);
    int32_t reached = stored.ready() ? shown.first : 0;
    if (info->map && !stored.ready() && !enter_row(info, scan, mcu_row, shown.first, &reached)) return false;
    if (!pass_mcus(info, scan, shown.first - reached, steps)) return false;
    const bool fetches = mode == McuMode::kFull && !info->source && scan->compsInScan == info->frame->numComponents;
    const int32_t from = read_position(steps, info, scan) - stored.bytes_read();
    int16_t *const *blocks = dc ? batch->dc_blocks : batch->blocks;
    for (int32_t first = shown.first; first < shown.end; first += step) {
        const int32_t mcus = shown.end - first < step ? shown.end - first : step;
        // What works for another session ends inside a row, so that who waits for it does not wait long.
        if (is_cancelled(info->decInfo->parent)) return false;
        steps.enter(entropy_step(mode));
        if (fetches) fetch_while_decoding(scan, lines_to_write(info, first, info->pump.rows_ready));
        if (stored.ready()) {
            stored.blocks_of(first, mcus, blocks, batch->last);
        } else if (!decode_tolerantly(info, scan, mode, mcus, blocks, batch->last)) {
            return false;
        }
        for_block_rows(info, scan, rows, mcu_row, first, [&](const BlockRowTarget &to) {
            steps.enter(idct_step(info, to));
            dc ? transform_dc(info, mcus, to) : transform_batch(info, scan, mcus, to);
        });
    }
    if (fetches) fetch_while_decoding(scan, {});
    add_bytes(steps, entropy_step(mode), read_position(steps, info, scan) - from);
    return info->map || pass_mcus(info, scan, across - shown.end, steps);
}

template <typename Steps>
bool decode_mcu_rows(JpegInfo *info, McuMode mode, uint8_t ***rows, const Steps &steps) {
    return for_scans(info, [&](ScanReader *scan) {
        const int32_t mcu_rows = mcu_rows_in_imcu(scan, info->frame, info->pump.imcu_row);
        for (int32_t mcu_row = 0; mcu_row < mcu_rows; ++mcu_row) {
            if (!decode_mcu_row(info, scan, mode, rows, mcu_row, steps)) return false;
        }
        return true;
    });
}

int32_t offset_of(const ScanReader *scan, McuMode mode, int32_t mcus) {
    return mode == McuMode::kSkip ? 0 : mcus * scan->blocksInMcu;
}

}  // namespace

bool above_window(const JpegInfo *info) {
    return (int64_t{info->pump.imcu_row} + 1) * info->plan.imcu_output_rows <= info->plan.rows.first;
}

bool below_window(const JpegInfo *info) {
    return int64_t{info->pump.imcu_row} * info->plan.imcu_output_rows >= info->plan.rows.end;
}

// Scaled rows that the iMCU row gives.
int32_t rows_of_imcu(const JpegInfo *info) {
    const int64_t whole = info->plan.imcu_output_rows;
    const int64_t left = info->plan.scaledHeight - info->pump.imcu_row * whole;
    return static_cast<int32_t>(left < whole ? (left > 0 ? left : 0) : whole);
}

bool too_early_to_fail(const JpegInfo *info) {
    return int64_t{info->plan.outHeight} - info->out.outputRow > kTolerantRows;
}

bool decode_tolerantly(JpegInfo *info, ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks,
                       uint8_t *last) {
    int32_t done = 0;
    while (done < count) {
        int32_t offset = offset_of(scan, mode, done), mcus = count - done;
        EntropyState *record = nullptr;
        if (info->mapScanning && !note_position(info, scan, &mcus, &record)) return false;
        const int32_t decoded = info->source ? info->source->decode(scan, mode, mcus, blocks + offset, last + offset)
                                             : decode_mcus(scan, mode, mcus, blocks + offset, last + offset);
        if (record && decoded > 0) record->flags |= kMapValid;
        done += decoded;
        if (decoded == mcus) continue;
        if (too_early_to_fail(info)) return false;
        end_notes(info);
        offset = offset_of(scan, mode, done);
        clear_mcu(scan, mode, blocks + offset, last + offset);
        ++done;
    }
    return true;
}

int32_t finish_imcu(JpegInfo *info) {
    return ++info->pump.imcu_row >= info->frame->imcu_rows ? kStepEnd : kStepMoreRows;
}

const uint8_t *range_of(const JpegInfo *info, const JpegComponent *component) {
    return component->index < 3 ? info->plan.sampleRangeLimit2 : info->plan.sampleRangeLimit;
}

int32_t decode_imcu(JpegInfo *info, McuMode mode, uint8_t ***rows) {
    RowPump &pump = info->pump;
    if (!info->planned) return kStepBadMcu;
    if (info->plan.imcu_output_rows == 0) return decode_sparse_imcu(info, rows);
    if (below_window(info)) {
        pump.rows_ready = 0;
        return kStepEnd;
    }
    pump.skipped = mode == McuMode::kSkip || above_window(info);
    pump.rows_ready = rows_of_imcu(info);
    if (pump.skipped) mode = McuMode::kSkip;
    const bool done = counts_steps() ? decode_mcu_rows(info, mode, rows, CountedSteps())
                                     : decode_mcu_rows(info, mode, rows, UncountedSteps());
    if (done) return finish_imcu(info);
    VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeSingleiMcu");
    return kStepBadMcu;
}

McuMode planned_mode(const JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    if (plan.scaleIndex == 0) return McuMode::kFull;
    return plan.scaleIndex == 3 && plan.scaleMultiplier == 1 && !plan.jointChroma ? McuMode::kDc : McuMode::kScaled;
}

int32_t decode_planned_imcu(JpegInfo *info, uint8_t ***rows) {
    return info->plan.scaleIndex > 3 ? decode_sparse_imcu(info, rows) : decode_imcu(info, planned_mode(info), rows);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

// The rows of a scan in an iMCU row follow from its number alone, so there is nothing to keep between calls.
void BRIMJ_SetupiMcu(JpegInfo *) {}

int32_t BRIMJ_DecodeSingleiMcu(JpegInfo *info, uint8_t ***sampleRows) {
    if (info->decInfo->threadBandStart) processMidPoint(info);
    take_due_midpoint(info);
    return decode_imcu(info, McuMode::kFull, sampleRows);
}
int32_t BRIMJ_DecodeSingleiMcu_resize(JpegInfo *info, uint8_t ***sampleRows) {
    if (info->decInfo->threadBandStart) processMidPoint(info);
    take_due_midpoint(info);
    return decode_planned_imcu(info, sampleRows);
}
int32_t BRIMJ_DecompressOnepass(JpegInfo *info, uint8_t ***sampleRows) {
    return decode_imcu(info, planned_mode(info), sampleRows);
}

#define VOREL_SCALED_IMCU(name, mode) \
    int32_t name(JpegInfo *info, uint8_t ***sampleRows) { return decode_imcu(info, mode, sampleRows); }
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResizeNto1, planned_mode(info))
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize2to1, McuMode::kScaled)
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize4to1, McuMode::kScaled)
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize8to1, McuMode::kDc)
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize8to1_YUV420, McuMode::kDc)
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize8to1_YUV422H2V1, McuMode::kDc)
VOREL_SCALED_IMCU(BRIMJ_DecodeSingleiMcuResize8to1_YUV444, McuMode::kDc)
#undef VOREL_SCALED_IMCU

#define VOREL_SPARSE_IMCU(name) \
    int32_t name(JpegInfo *info, uint8_t ***sampleRows) { return decode_sparse_imcu(info, sampleRows); }
VOREL_SPARSE_IMCU(BRIMJ_DecodeSingleiMcuResizeMore16)
VOREL_SPARSE_IMCU(BRIMJ_DecodeSingleiMcuResize16_YUV420)
VOREL_SPARSE_IMCU(BRIMJ_DecodeSingleiMcuResize16_YUV422H2V1)
VOREL_SPARSE_IMCU(BRIMJ_DecodeSingleiMcuResize16_YUV444)
#undef VOREL_SPARSE_IMCU

}  // extern "C"
