// One iMCU row of a progressive frame: the coefficients of that row alone are in memory, and every scan adds its share
// to them before they are transformed.
#include <cstring>

#include "jpeg/decoder/entropy/progressive.h"
#include "jpeg/decoder/region/map.h"
#include "jpeg/decoder/rows/imcu.h"
#include "jpeg/decoder/rows/transform.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

constexpr size_t kBlockRowAlignment = 64;

size_t blocks_of(const CoefficientRows &rows) { return size_t{rows.across} * rows.down; }

// The scan's blocks of MCU row `mcu_row` of the iMCU row, from column 0 on.
PassTarget target_of(const JpegInfo *info, const ScanReader *scan, int32_t mcu_row) {
    PassTarget to = {};
    int32_t block = 0;
    for (int i = 0; i < scan->compsInScan; ++i) {
        const ScanComponent &at = scan->components[i];
        const CoefficientRows &rows = info->progressive.rows[at.component->index];
        for (uint32_t v = 0; v < at.mcuHeight; ++v) {
            for (uint32_t h = 0; h < at.mcuWidth; ++h, ++block) {
                const size_t first = (static_cast<size_t>(mcu_row) + v) * rows.across + h;
                to.block[block] = rows.blocks + first * kBlockCoefficients;
                to.step[block] = at.mcuWidth * kBlockCoefficients;
            }
        }
        if (scan->sos.Ss != 0) to.nonzero = rows.nonzero + static_cast<size_t>(mcu_row) * rows.across;
    }
    return to;
}

// The blocks of the MCU row are all there: a scan of a caller's own may be of another frame.
bool fits(const JpegInfo *info, const ScanReader *scan, int32_t mcu_row) {
    for (int i = 0; i < scan->compsInScan; ++i) {
        const ScanComponent &at = scan->components[i];
        const CoefficientRows &rows = info->progressive.rows[at.component->index];
        if (uint64_t{at.mcuWidth} * scan->mcusPerRow > rows.across) return false;
        if (uint64_t{at.mcuHeight} + static_cast<uint32_t>(mcu_row) > rows.down) return false;
    }
    return true;
}

bool decode_mcu_row(JpegInfo *info, ScanReader *scan, int32_t mcu_row) {
    if (!fits(info, scan, mcu_row)) return false;
    PassTarget to = target_of(info, scan, mcu_row);
    int32_t done = 0, end = static_cast<int32_t>(scan->mcusPerRow);
    if (info->map) {
        // The scans of a component begin at the same block, since each needs what those before it gave.
        const McuRange shown = shown_mcus(info, scan);
        if (shown.first == shown.end) return true;
        if (!enter_row(info, scan, mcu_row, shown.first, &done)) return false;
        to.advance(scan, done);
        end = shown.end;
    }
    const bool counts = counts_steps();
    const int32_t from = counts ? tell(scan).next : 0;
    while (done < end) {
        int32_t mcus = end - done;
        EntropyState *record = nullptr;
        if (info->mapScanning && !note_position(info, scan, &mcus, &record)) return false;
        const int32_t decoded = decode_pass(scan, &to, mcus);
        if (record && decoded > 0) record->flags |= kMapValid;
        done += decoded;
        if (decoded == mcus) continue;
        if (too_early_to_fail(info)) return false;
        end_notes(info);
        clear_pass_mcu(scan, to);
        to.advance(scan, 1);
        ++done;
    }
    if (counts) add_step_bytes(info->mapScanning ? JPEG_STAT_MAP_PASS : JPEG_STAT_PROGRESSIVE, tell(scan).next - from);
    return true;
}

bool decode_scans(JpegInfo *info) {
    for (int32_t i = 0; i < info->progressive.scans; ++i) {
        ScanReader *scan = progressive_scan(info, i);
        const int32_t mcu_rows = mcu_rows_in_imcu(scan, info->frame, info->pump.imcu_row);
        for (int32_t mcu_row = 0; mcu_row < mcu_rows; ++mcu_row) {
            if (!decode_mcu_row(info, scan, mcu_row)) return false;
        }
    }
    return true;
}

// The blocks [first, end) of a row of blocks into the component's sample rows.
void transform_row(const JpegInfo *info, const JpegComponent *component, uint32_t block_row, uint32_t first,
                   uint32_t end, uint8_t *const *rows) {
    const ComponentPlan &plan = info->plan.components[component->index];
    const CoefficientRows &from = info->progressive.rows[component->index];
    const size_t start = size_t{block_row} * from.across;
    const StepScope scope(JPEG_STAT_IDCT_8X8 + static_cast<int>(plan.shape));
    BlockRow row;
    for (uint32_t at = first; at < end; at += static_cast<uint32_t>(row.count)) {
        row.count = static_cast<int32_t>(end - at < kBatchBlocks ? end - at : kBatchBlocks);
        for (int32_t i = 0; i < row.count; ++i) {
            const size_t block = start + at + static_cast<uint32_t>(i);
            row.blocks[i] = from.blocks + block * kBlockCoefficients;
            // The last bit, or 0 where there is no AC.
            row.last[i] = static_cast<uint8_t>(63 - __builtin_clzll(from.nonzero[block] | 1));
        }
        transform_blocks(info, component, row, rows + block_row * plan.block_height,
                         static_cast<ptrdiff_t>(at) * plan.block_width);
    }
}

// What the window shows of the row.
void transform_imcu(JpegInfo *info, uint8_t ***rows) {
    const SourceRange &columns = info->plan.columns;
    const int32_t across = info->plan.mcu_output_columns;
    const uint32_t first_mcu = static_cast<uint32_t>(columns.first / across);
    const uint32_t end_mcu = static_cast<uint32_t>(ceil_div(columns.end, across));
    for (int32_t c = 0; c < info->progressive.shown_components; ++c) {
        const JpegComponent *component = &info->frame->components[c];
        const uint32_t end = end_mcu * component->hSampling, most = component->widthInBlocks;
        // Blocks below the picture have no samples to give.
        const uint32_t left = component->heightInBlocks - info->pump.imcu_row * component->vSampling;
        const uint32_t down = left < component->vSampling ? left : component->vSampling;
        for (uint32_t v = 0; v < down; ++v) {
            transform_row(info, component, v, first_mcu * component->hSampling, end < most ? end : most, rows[c]);
        }
    }
}

// Its scans are found, and it has whole blocks to give.
bool is_ready(const JpegInfo *info) {
    if (is_baseline(info) || !info->progressive.memory || info->plan.imcu_output_rows == 0) return false;
    // A header that was parsed since may be of another frame.
    const uint32_t mcus = static_cast<uint32_t>(ceil_div(info->frame->imageWidth, info->frame->mcuWidth));
    for (int c = 0; c < info->frame->numComponents; ++c) {
        const JpegComponent &component = info->frame->components[c];
        const CoefficientRows &rows = info->progressive.rows[c];
        if (rows.across != mcus * component.hSampling || rows.down != component.vSampling) return false;
    }
    return true;
}

// Loops of a caller's own do not look for the scans, and a search in pieces may not be over.
bool has_its_scans(JpegInfo *info) {
    if (info->progressive.scans_found) return true;
    if (is_baseline(info) || info->pump.imcu_row != 0) return false;
    return (info->progressive.memory ? search_scans(info, INT32_MAX) : open_further_scans(info)) == kStepOk;
}

void clear_blocks(const CoefficientRows &rows, size_t first, size_t count) {
    std::memset(rows.blocks + first * kBlockCoefficients, 0, count * kBlockCoefficients * sizeof(int16_t));
    std::memset(rows.nonzero + first, 0, count * sizeof(uint64_t));
}

// What the scans decode of the row: all of it, or from where the map's records begin.
void clear_rows(JpegInfo *info) {
    const int32_t step = info->plan.mcu_output_columns;
    const auto first = static_cast<uint32_t>(info->map ? start_column(*info->map, info->plan.columns.first / step) : 0);
    const auto end = static_cast<uint32_t>(ceil_div(info->plan.columns.end, step));
    for (int32_t c = 0; c < info->frame->numComponents; ++c) {
        const CoefficientRows &rows = info->progressive.rows[c];
        if (!rows.blocks) continue;
        if (!info->map) {
            clear_blocks(rows, 0, blocks_of(rows));
            continue;
        }
        const uint32_t h = info->frame->components[c].hSampling;
        const uint32_t from = first * h, to = end * h < rows.across ? end * h : rows.across;
        for (uint32_t v = 0; v < rows.down && from < to; ++v) {
            clear_blocks(rows, size_t{v} * rows.across + from, to - from);
        }
    }
}

}  // namespace

bool allocate_coefficient_rows(JpegInfo *info) {
    ProgressiveState &state = info->progressive;
    const FrameLayout &frame = *info->frame;
    const uint32_t mcus = static_cast<uint32_t>(ceil_div(frame.imageWidth, frame.mcuWidth));
    size_t blocks = 0;
    for (int c = 0; c < frame.numComponents; ++c) {
        state.rows[c] = {nullptr, nullptr, mcus * frame.components[c].hSampling, frame.components[c].vSampling};
        blocks += blocks_of(state.rows[c]);
    }
    constexpr size_t kBytesOfBlock = kBlockCoefficients * sizeof(int16_t) + sizeof(uint64_t);
    os_release(state.memory);
    state.memory = os_allocate_array<uint8_t>(blocks * kBytesOfBlock + kBlockRowAlignment);
    if (!state.memory) {
        for (CoefficientRows &rows : state.rows) rows = {};
        set_error(kErrorOutOfMemory);
        return false;
    }
    const uintptr_t address = reinterpret_cast<uintptr_t>(state.memory) + kBlockRowAlignment - 1;
    int16_t *coefficients = reinterpret_cast<int16_t *>(address & ~(kBlockRowAlignment - 1));
    uint64_t *nonzero = reinterpret_cast<uint64_t *>(coefficients + blocks * kBlockCoefficients);
    for (int c = 0; c < frame.numComponents; ++c) {
        state.rows[c].blocks = coefficients;
        state.rows[c].nonzero = nonzero;
        coefficients += blocks_of(state.rows[c]) * kBlockCoefficients;
        nonzero += blocks_of(state.rows[c]);
    }
    return true;
}

void release_coefficient_rows(JpegInfo *info) {
    os_release(info->progressive.memory);
    info->progressive = {};
}

int32_t decode_progressive_imcu(JpegInfo *info, uint8_t ***rows) {
    RowPump &pump = info->pump;
    if (!info->planned) return kStepBadMcu;
    if (!has_its_scans(info) || !is_ready(info)) return kStepBadMcu;
    if (below_window(info)) {
        pump.rows_ready = 0;
        return kStepEnd;
    }
    pump.skipped = above_window(info);
    pump.rows_ready = rows_of_imcu(info);
    {
        const StepScope scope(JPEG_STAT_PROGRESSIVE);
        clear_rows(info);
        if (!decode_scans(info)) {
            VOREL_TRACE_AS(kTagJpeg, "BRIMJ_ProgDecodeSingleiMcu");
            return kStepBadMcu;
        }
    }
    return transform_progressive_imcu(info, rows);
}

int32_t walk_progressive_imcu(JpegInfo *info) {
    if (!is_ready(info) || info->pump.imcu_row >= info->frame->imcu_rows) return kStepBadMcu;
    clear_rows(info);
    return decode_scans(info) ? finish_imcu(info) : kStepBadMcu;
}

int32_t transform_progressive_imcu(JpegInfo *info, uint8_t ***rows) {
    if (!info->planned || !is_ready(info) || info->pump.imcu_row >= info->frame->imcu_rows) return kStepFailed;
    if (!above_window(info)) transform_imcu(info, rows);
    return finish_imcu(info);
}

}  // namespace vorel
