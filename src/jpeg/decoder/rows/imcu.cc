// One iMCU row at a time: batches of MCUs from the entropy decoder, then the inverse DCTs of each component.
#include "jpeg/decoder/rows/imcu.h"

#include <cstring>

#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

bool above_window(const JpegInfo *info) {
    return (static_cast<int64_t>(info->imcu_row) + 1) * info->imcu_output_rows <= info->first_source_row;
}

bool below_window(const JpegInfo *info) {
    return static_cast<int64_t>(info->imcu_row) * info->imcu_output_rows >= info->end_source_row;
}

// MCU rows of the scan that lie in iMCU rows above the window, in MCUs.
uint64_t mcus_above_window(const JpegInfo *info) {
    if (info->imcu_output_rows == 0) return 0;
    const uint64_t imcus = static_cast<uint64_t>(info->first_source_row / info->imcu_output_rows);
    const uint64_t per_imcu = info->compsInScan == 1 ? info->curComponents[0]->vSampling : 1;
    return imcus * per_imcu * info->mcusPerRow;
}

int32_t offset_of(const JpegInfo *info, McuMode mode, int32_t mcus) {
    return mode == McuMode::kSkip ? 0 : mcus * info->blocksInMcu;
}

// `count` MCUs; near the bottom of the picture one that fails is left gray and the next is tried. False: 102.
bool decode_batch(JpegInfo *info, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) {
    int32_t done = 0;
    while (done < count) {
        const int32_t offset = offset_of(info, mode, done);
        done += decode_mcus(info, mode, count - done, blocks + offset, last + offset);
        if (done == count) break;
        if (too_early_to_fail(info)) return false;
        clear_mcu(info, mode, blocks + offset_of(info, mode, done), last + offset_of(info, mode, done));
        ++done;
    }
    return true;
}

// Decode mode 1: coefficients lose the precision that the templates do not ask for.
void correct_block(const JpegComponent *component, int16_t *block) {
    for (int k = 1; k < kBlockCoefficients; ++k) {
        block[k] = static_cast<int16_t>((block[k] * int32_t{component->correction[k]}) >> 13);
    }
}

const uint8_t *range_of(const JpegInfo *info, const JpegComponent *component) {
    return component->index < 3 ? info->sampleRangeLimit2 : info->sampleRangeLimit;
}

// The blocks of one component that form one row of blocks over `count` MCUs.
struct BlockRow {
    const int16_t *blocks[kBatchBlocks];
    uint8_t last[kBatchBlocks];
    int32_t count;
};

void gather_blocks(const JpegInfo *info, const JpegComponent *component, int32_t first_block, int32_t mcus,
                   BlockRow *row) {
    const McuBatch *batch = info->batch;
    const int32_t width = static_cast<int32_t>(component->mcuWidth);
    row->count = 0;
    for (int32_t m = 0; m < mcus; ++m) {
        const int32_t at = m * info->blocksInMcu + first_block;
        for (int32_t h = 0; h < width; ++h) {
            if (info->highQualityClamp) correct_block(component, batch->blocks[at + h]);
            row->blocks[row->count] = batch->blocks[at + h];
            row->last[row->count++] = batch->last[at + h];
        }
    }
}

// One row of blocks of a component, on its way from a batch to sample rows.
struct BlockRowTarget {
    const JpegComponent *component;
    int32_t first_block;  // of the row in its MCU
    uint8_t *out;
};

// Visits the rows of blocks of `mcus` MCUs from column first_mcu on, for MCU row `mcu_row` of the iMCU row. Those below
// the picture are left out.
template <typename Visit>
void for_block_rows(JpegInfo *info, uint8_t ***rows, int32_t mcu_row, int32_t first_mcu, const Visit &visit) {
    const bool last_imcu = info->imcu_row + 1 == info->imcu_rows;
    int32_t first_block = 0;
    for (int i = 0; i < info->compsInScan; ++i) {
        const JpegComponent *component = info->curComponents[i];
        const int32_t width = static_cast<int32_t>(component->mcuWidth);
        const int32_t block_rows = info->compsInScan > 1 && last_imcu ? static_cast<int32_t>(component->lastRowHeight)
                                                                      : static_cast<int32_t>(component->mcuHeight);
        for (int32_t v = 0; v < block_rows; ++v) {
            uint8_t *out = rows[component->index][(mcu_row + v) * component->block_height] +
                           static_cast<ptrdiff_t>(first_mcu) * width * component->block_width;
            visit(BlockRowTarget{component, first_block + v * width, out});
        }
        first_block += static_cast<int32_t>(component->mcuBlocks);
    }
}

void transform_batch(JpegInfo *info, int32_t mcus, const BlockRowTarget &to) {
    BlockRow row;
    gather_blocks(info, to.component, to.first_block, mcus, &row);
    const uint8_t *range = range_of(info, to.component);
    info->kernels->idct[static_cast<int>(to.component->shape)](
        {row.blocks, row.last, row.count, to.component->multipliers, range, range == info->sampleRangeLimit, to.out,
         to.component->row_stride});
}

// DC values need no gathering: see McuBatch.
void transform_dc(JpegInfo *info, int32_t mcus, const BlockRowTarget &to) {
    const int16_t *dc = info->batch->dc_blocks[to.first_block];
    const int32_t count = mcus * static_cast<int32_t>(to.component->mcuWidth);
    const uint8_t *range = range_of(info, to.component);
    info->kernels->dc_samples(dc, count, to.component->multipliers[0], range, range == info->sampleRangeLimit, to.out);
}

// Where each block of a batch of `step` MCUs puts its DC.
void lay_out_dc(const JpegInfo *info, int32_t step) {
    McuBatch *batch = info->batch;
    int16_t *row = batch->dc;
    int32_t first_block = 0;
    for (int i = 0; i < info->compsInScan; ++i) {
        const JpegComponent *component = info->curComponents[i];
        const int32_t width = static_cast<int32_t>(component->mcuWidth);
        for (uint32_t v = 0; v < component->mcuHeight; ++v) {
            for (int32_t at = 0; at < step * width; ++at) {
                batch->dc_blocks[at / width * info->blocksInMcu + first_block + at % width] = row++;
            }
            first_block += width;
        }
    }
}

bool decode_mcu_row(JpegInfo *info, McuMode mode, uint8_t ***rows, int32_t mcu_row) {
    McuBatch *batch = info->batch;
    const int32_t across = static_cast<int32_t>(info->mcusPerRow);
    if (mode == McuMode::kSkip) return decode_batch(info, mode, across, nullptr, nullptr);
    const int32_t step = kBatchBlocks / info->blocksInMcu;
    const bool dc = mode == McuMode::kDc;
    if (dc) lay_out_dc(info, step);
    for (int32_t first = 0; first < across; first += step) {
        const int32_t mcus = across - first < step ? across - first : step;
        if (!decode_batch(info, mode, mcus, dc ? batch->dc_blocks : batch->blocks, batch->last)) return false;
        for_block_rows(info, rows, mcu_row, first, [&](const BlockRowTarget &to) {
            dc ? transform_dc(info, mcus, to) : transform_batch(info, mcus, to);
        });
    }
    return true;
}

int32_t finish_imcu(JpegInfo *info) {
    if (++info->imcu_row >= info->imcu_rows) return kStepEnd;
    BRIMJ_SetupiMcu(info);
    return kStepMoreRows;
}

int32_t scaled_rows_of(const JpegInfo *info) {
    const int64_t left = int64_t{info->scaledHeight} - static_cast<int64_t>(info->imcu_row) * info->imcu_output_rows;
    return static_cast<int32_t>(left < info->imcu_output_rows ? (left > 0 ? left : 0) : info->imcu_output_rows);
}

}  // namespace

bool too_early_to_fail(const JpegInfo *info) {
    return static_cast<int64_t>(info->outHeight) - info->outputRow > kTolerantRows;
}

int32_t decode_imcu(JpegInfo *info, McuMode mode, uint8_t ***rows) {
    if (below_window(info)) {
        info->rows_ready = 0;
        return kStepEnd;
    }
    info->imcu_skipped = above_window(info);
    info->rows_ready = scaled_rows_of(info);
    if (info->imcu_skipped) mode = McuMode::kSkip;
    info->mcus_above_window = mcus_above_window(info);
    for (int32_t mcu_row = 0; mcu_row < info->mcu_rows_in_imcu; ++mcu_row) {
        if (!decode_mcu_row(info, mode, rows, mcu_row)) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_DecodeSingleiMcu");
            return kStepBadMcu;
        }
    }
    return finish_imcu(info);
}

namespace {

// One row of samples beyond 1/8: which block row it comes from, and where it goes.
struct SparseRow {
    int32_t block_row;  // of the MCU row
    int32_t out_row;
};

// Block of a component that covers image pixel `at`.
int32_t block_at(int64_t at, uint32_t sampling, int32_t most) {
    return static_cast<int32_t>(at * sampling / most / kBlockSide);
}

uint8_t sparse_sample(const JpegInfo *info, const JpegComponent *component, int16_t dc) {
    // Scaled multipliers: this is quantiser x DC / 8, rounded down.
    const int64_t value = (int64_t{component->multipliers[0]} * dc) >> 15;
    const int64_t clamped = value < -512 ? -512 : value > 511 ? 511 : value;
    return range_of(info, component)[clamped & 0x3FF];
}

// Samples of every component whose block lies in the MCU just decoded.
void store_sparse(const JpegInfo *info, uint8_t ***rows, int32_t mcu_row, int32_t mcu, int32_t x, int32_t first_y,
                  int32_t end_y) {
    int32_t first_block = 0;
    for (int i = 0; i < info->compsInScan; ++i) {
        const JpegComponent *component = info->curComponents[i];
        const int32_t width = static_cast<int32_t>(component->mcuWidth);
        const int32_t height = static_cast<int32_t>(component->mcuHeight);
        const int32_t column = block_at(int64_t{x} << info->scaleIndex, component->hSampling, info->maxH) - mcu * width;
        const int32_t top = static_cast<int32_t>(info->imcu_row * component->vSampling) + mcu_row;
        for (int32_t y = first_y; y < end_y; ++y) {
            const int32_t row = block_at(int64_t{y} << info->scaleIndex, component->vSampling, info->maxV) - top;
            if (row < 0 || row >= height || column < 0 || column >= width) continue;
            const int16_t dc = info->batch->blocks[first_block + row * width + column][0];
            rows[component->index][y - first_y][x] = sparse_sample(info, component, dc);
        }
        first_block += static_cast<int32_t>(component->mcuBlocks);
    }
}

int32_t sparse_mcu_of(const JpegInfo *info, int32_t x) {
    const JpegComponent *component = info->curComponents[0];
    return block_at(int64_t{x} << info->scaleIndex, component->hSampling, info->maxH) /
           static_cast<int32_t>(component->mcuWidth);
}

// MCUs without a sample are passed over whole.
bool decode_sparse_row(JpegInfo *info, uint8_t ***rows, int32_t mcu_row, int32_t first_y, int32_t end_y) {
    int32_t next_mcu = 0;
    for (int32_t x = 0; x < info->scaledWidth && end_y > first_y;) {
        const int32_t mcu = sparse_mcu_of(info, x);
        if (!decode_batch(info, McuMode::kSkip, mcu - next_mcu, nullptr, nullptr)) return false;
        if (!decode_batch(info, McuMode::kDc, 1, info->batch->blocks, info->batch->last)) return false;
        next_mcu = mcu + 1;
        for (; x < info->scaledWidth && sparse_mcu_of(info, x) == mcu; ++x) {
            store_sparse(info, rows, mcu_row, mcu, x, first_y, end_y);
        }
    }
    return decode_batch(info, McuMode::kSkip, static_cast<int32_t>(info->mcusPerRow) - next_mcu, nullptr, nullptr);
}

}  // namespace

int32_t decode_sparse_imcu(JpegInfo *info, uint8_t ***rows) {
    const int64_t top = static_cast<int64_t>(info->imcu_row) * info->mcuHeight;
    const int64_t unit = int64_t{1} << info->scaleIndex;
    const int32_t first_y = static_cast<int32_t>(ceil_div(top, unit));
    int32_t end_y = static_cast<int32_t>(ceil_div(top + info->mcuHeight, unit));
    if (end_y > info->scaledHeight) end_y = info->scaledHeight;
    info->imcu_skipped = false;
    info->mcus_above_window = 0;
    info->rows_ready = end_y > first_y ? end_y - first_y : 0;
    if (first_y >= info->end_source_row) {
        info->rows_ready = 0;
        return kStepEnd;
    }
    for (int32_t mcu_row = 0; mcu_row < info->mcu_rows_in_imcu; ++mcu_row) {
        if (!decode_sparse_row(info, rows, mcu_row, first_y, end_y)) {
            VOREL_LOG(kTagJpeg, "BRIMJ_DecodeSingleiMcu_resize : BRIMJ_DecodeMcu_Nto1 fail");
            return kStepBadMcu;
        }
    }
    return finish_imcu(info);
}

McuMode planned_mode(const JpegInfo *info) {
    if (info->scaleIndex == 0) return McuMode::kFull;
    const bool dc_only = info->scaleIndex == 3 && info->scaleMultiplier == 1 && !info->jointChroma;
    return dc_only ? McuMode::kDc : McuMode::kScaled;
}

int32_t decode_planned_imcu(JpegInfo *info, uint8_t ***rows) {
    return info->scaleIndex > 3 ? decode_sparse_imcu(info, rows) : decode_imcu(info, planned_mode(info), rows);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_DecodeSingleiMcu(JpegInfo *info, uint8_t ***sampleRows) {
    return decode_imcu(info, McuMode::kFull, sampleRows);
}
int32_t BRIMJ_DecodeSingleiMcu_resize(JpegInfo *info, uint8_t ***sampleRows) {
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
