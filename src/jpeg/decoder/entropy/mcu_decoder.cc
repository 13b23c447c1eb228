// MCU decoding: the plain path, the hand-over between it and the fast path, and the exported functions.
#include <vorel/jpeg_threads.h>

#include <cstring>

#include "jpeg/decoder/entropy/bit_reader.h"
#include "jpeg/decoder/entropy/entropy_window.h"
#include "jpeg/decoder/jpeg_info.h"
#include "util/simd_targets.h"

namespace vorel {

void clear_mcu(const ScanReader *scan, McuMode mode, int16_t *const *blocks, uint8_t *last) {
    if (mode == McuMode::kSkip) return;
    const size_t coefficients = mode == McuMode::kDc ? 1 : kBlockCoefficients;
    for (int b = 0; b < scan->blocksInMcu; ++b) std::memset(blocks[b], 0, coefficients * sizeof(int16_t));
    std::memset(last, 0, scan->blocksInMcu);
}

namespace {

// ---- The plain path -------------------------------------------------------------------------------------------------

Fill read_value(BitReader &reader, int32_t size, int32_t *value) {
    *value = 0;
    if (size == 0) return Fill::kOk;
    int32_t raw;
    const Fill result = reader.bits(size, &raw);
    if (result == Fill::kOk) *value = extend(raw, size);
    return result;
}

// The AC coefficients of one block; stores them while their position is reached from below `keep`.
Fill read_ac(BitReader &reader, const DerivedTable *table, int32_t keep, int16_t *block, uint8_t *last) {
    for (int32_t k = 1; k < kBlockCoefficients; ++k) {
        int32_t symbol;
        Fill result = reader.symbol(table, &symbol);
        if (result != Fill::kOk) return result;
        const int32_t run = symbol >> 4, size = symbol & 15;
        if (size == 0) {
            if (run != 15) break;
            k += 15;
            continue;
        }
        const bool wanted = k < keep;
        k += run;
        int32_t value;
        result = read_value(reader, size, &value);
        if (result != Fill::kOk) return result;
        if (wanted) {
            block[vorel_natural_order[k]] = static_cast<int16_t>(value);
            *last = static_cast<uint8_t>(k < 63 ? k : 63);
        }
    }
    return Fill::kOk;
}

int32_t kept_coefficients(const EntropyDecoder &entropy, McuMode mode, int block) {
    switch (mode) {
        case McuMode::kFull:
            return kKeepAll;
        case McuMode::kScaled:
            return entropy.block_keep[block];
        default:
            return 0;
    }
}

// Which component of the scan a block belongs to.
int scan_component(const ScanReader *scan, int block) { return static_cast<int>(scan->mcuMembership[block]); }

// What became of one MCU. A failure leaves the predictors as they were, and so does an input that gives nothing though
// it is not at its end; a DC value out of range fails the MCU after all its bits were read.
enum class Mcu : uint8_t { kDecoded, kStopped, kFailed, kOutOfRange };

Mcu decode_mcu_plainly(ScanReader *scan, McuMode mode, int16_t *const *blocks, uint8_t *last) {
    EntropyDecoder &entropy = scan->entropy;
    BitReader reader(scan);
    int32_t last_dc[kMaxComponents];
    std::memcpy(last_dc, entropy.lastDc, sizeof last_dc);
    int16_t unused[kBlockCoefficients];
    bool in_range = true;
    for (int b = 0; b < scan->blocksInMcu; ++b) {
        int16_t *block = mode == McuMode::kSkip ? unused : blocks[b];
        uint8_t reached = 0;
        int32_t size, difference;
        Fill result = reader.symbol(entropy.blockDc[b], &size);
        if (result == Fill::kOk) result = read_value(reader, size, &difference);
        if (result == Fill::kOk) {
            int32_t &dc = last_dc[scan_component(scan, b)];
            dc = static_cast<int32_t>(static_cast<uint32_t>(dc) + static_cast<uint32_t>(difference));
            block[0] = static_cast<int16_t>(dc);
            if (mode == McuMode::kDc && (dc < -scan->most_dc || dc > scan->most_dc)) in_range = false;
            result = read_ac(reader, entropy.blockAc[b], kept_coefficients(entropy, mode, b), block, &reached);
        }
        if (mode != McuMode::kSkip) last[b] = reached;
        if (result != Fill::kOk) {
            reader.abandon();
            return result == Fill::kFailed ? Mcu::kFailed : Mcu::kStopped;
        }
    }
    reader.store();
    std::memcpy(entropy.lastDc, last_dc, sizeof last_dc);
    return in_range ? Mcu::kDecoded : Mcu::kOutOfRange;
}

RunFn run_of(McuMode mode) {
    const RunTable &table = run_table();
    switch (mode) {
        case McuMode::kFull:
            return table.full;
        case McuMode::kScaled:
            return table.scaled;
        case McuMode::kDc:
            return table.dc;
        default:
            return table.skip;
    }
}

// A stretch of MCUs without a restart inside.
struct Stretch {
    ScanReader *scan;
    McuMode mode;
    int16_t *const *blocks;
    uint8_t *last;
    int32_t done;

    void advance(int32_t mcus) {
        const int32_t count = mcus * scan->blocksInMcu;
        if (mode != McuMode::kSkip) {
            blocks += count;
            last += count;
        }
        done += mcus;
        count_mcus(scan, mcus);
    }
};

// Zero MCUs of a stretch whose data ran out.
void leave_zero(Stretch *stretch, int32_t mcus) {
    for (int32_t i = 0; i < mcus; ++i) {
        clear_mcu(stretch->scan, stretch->mode, stretch->blocks, stretch->last);
        stretch->advance(1);
    }
}

// Some MCUs by the fast path. 1 went on, 0 the plain path has to do the next MCU, -1 the MCU failed.
int run_fast(Stretch *stretch, RunFn run, const RunPlan &plan, int32_t mcus) {
    EntropyWindow *window = stretch->scan->window;
    const bool reopened = !window->open;
    if (reopened && !open_window(stretch->scan)) return 0;
    RunStop stop;
    const int32_t done = run(plan, window, mcus, stretch->blocks, stretch->last, &stop);
    stretch->advance(done);
    if (stop == RunStop::kOutOfBits || stop == RunStop::kWindowLow || stop == RunStop::kBadDcOutOfBits) {
        close_window(stretch->scan);
    }
    if (stop == RunStop::kBadDc || stop == RunStop::kBadDcOutOfBits) {
        count_mcus(stretch->scan, 1);
        return -1;
    }
    // A fresh window that cannot serve one MCU stands before something odd or the end.
    return stop == RunStop::kWindowLow && done == 0 && reopened ? 0 : 1;
}

// Walks over coefficients are made when a mode first walks, where set-up has not done so.
bool can_run(ScanReader *scan, McuMode mode) { return scan->window && (mode == McuMode::kFull || prepare_walks(scan)); }

}  // namespace

const RunTable &run_table() {
#if defined(__x86_64__)
    if (bmi2_runs()) return has_fast_deposits() ? kDepositRuns : kBmi2Runs;
#endif
    return kPlainRuns;
}

bool begin_mcu(ScanReader *scan) {
    return !scan->restartInterval || scan->entropy.restartsToGo != 0 || process_restart(scan);
}

int32_t decode_mcus(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) {
    // The scans of a progressive frame have passes of their own, and may lack tables.
    if (scan->ends_as_marker) return 0;
    EntropyDecoder &entropy = scan->entropy;
    Stretch stretch = {scan, mode, blocks, last, 0};
    const RunFn run = can_run(scan, mode) ? run_of(mode) : nullptr;
    bool plain_next = false;
    while (stretch.done < count) {
        if (mode == McuMode::kSkip && pass_by_restart(scan) != 0) {
            ++stretch.done;
            continue;
        }
        if (!begin_mcu(scan)) {
            clear_mcu(scan, mode, stretch.blocks, stretch.last);
            break;
        }
        int32_t mcus = count - stretch.done;
        if (scan->restartInterval && entropy.restartsToGo < static_cast<uint32_t>(mcus)) {
            mcus = static_cast<int32_t>(entropy.restartsToGo);
        }
        if (entropy.insufficientData) {
            leave_zero(&stretch, mcus);
            continue;
        }
        if (run && !plain_next) {
            const int went = run_fast(&stretch, run, *scan->plan, mcus);
            if (went < 0) {
                clear_mcu(scan, mode, stretch.blocks, stretch.last);
                break;
            }
            plain_next = went == 0;
            continue;
        }
        plain_next = false;
        close_window(scan);
        clear_mcu(scan, mode, stretch.blocks, stretch.last);
        const Mcu mcu = decode_mcu_plainly(scan, mode, stretch.blocks, stretch.last);
        if (mcu == Mcu::kFailed || mcu == Mcu::kOutOfRange) {
            clear_mcu(scan, mode, stretch.blocks, stretch.last);
            if (mcu == Mcu::kOutOfRange) count_mcus(scan, 1);
            break;
        }
        stretch.advance(1);
        // Required: an MCU that ends without decoding does not count against the restart interval.
        if (mcu == Mcu::kStopped && scan->restartInterval) ++entropy.restartsToGo;
    }
    return stretch.done;
}

namespace {

// One MCU of the record's scan, for callers with loops of their own: keep is how much of each block is kept with
// McuMode::kScaled.
int32_t decode_one(JpegInfo *info, McuMode mode, int32_t keep, int16_t **blocks) {
    ScanReader *scan = &info->scan;
    uint8_t kept[kMaxBlocksInMcu], last[kMaxBlocksInMcu], wanted[kMaxBlocksInMcu];
    std::memcpy(kept, scan->entropy.block_keep, sizeof kept);
    std::memset(wanted, keep, sizeof wanted);
    if (mode == McuMode::kScaled) set_block_keep(scan, wanted);
    // The loops clear no more of a block than its kernel looks at.
    clear_mcu(scan, mode, blocks, last);
    const int32_t done =
        info->source ? info->source->decode(scan, mode, 1, blocks, last) : decode_mcus(scan, mode, 1, blocks, last);
    close_window(scan);
    set_block_keep(scan, kept);
    return done;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_DecodeMcu(JpegInfo *info, int16_t **blocks) { return decode_one(info, McuMode::kFull, 0, blocks); }

int32_t BRIMJ_DecodeMcu_2to1(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, McuMode::kScaled, kKeep2to1, blocks);
}

int32_t BRIMJ_DecodeMcu_4to1(JpegInfo *info, int16_t **blocks) {
    return decode_one(info, McuMode::kScaled, kKeep4to1, blocks);
}

int32_t BRIMJ_DecodeMcu_8to1(JpegInfo *info, int16_t **blocks) { return decode_one(info, McuMode::kDc, 0, blocks); }

int32_t BRIMJ_SkipMcu(JpegInfo *info, int16_t **blocks) { return decode_one(info, McuMode::kSkip, 0, blocks); }

int32_t BRIMJ_DecodeMcu_1to1_dual(JpegInfo *info, int16_t **blocks) { return BRIMJ_DecodeMcu(info, blocks); }
int32_t BRIMJ_DecodeMcu_8to1_dual(JpegInfo *info, int16_t **blocks) { return BRIMJ_DecodeMcu_8to1(info, blocks); }
int32_t BRIMJ_DecodeMcuDualDecodeDC(JpegInfo *info, int16_t **blocks) { return BRIMJ_DecodeMcu_8to1(info, blocks); }
int32_t BRIMJ_DecodeMcu_skip_dual(JpegInfo *info, int16_t **blocks) { return BRIMJ_SkipMcu(info, blocks); }
int32_t BRIMJ_SkipMcuDual(JpegInfo *info, int16_t **blocks) { return BRIMJ_SkipMcu(info, blocks); }

}  // extern "C"
