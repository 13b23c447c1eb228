// MCU decoding: the plain path, the hand-over between it and the fast path, and the exported doors.
#include "jpeg/decoder/entropy.h"

#include <cstring>

#include "jpeg/decoder/bit_reader.h"
#include "jpeg/decoder/entropy_window.h"
#include "util/simd_targets.h"

namespace vorel {

void clear_mcu(const JpegInfo *info, McuMode mode, int16_t *const *blocks, uint8_t *last) {
    if (mode == McuMode::kSkip) return;
    const size_t coefficients = mode == McuMode::kDc ? 1 : kBlockCoefficients;
    for (int b = 0; b < info->blocksInMcu; ++b) std::memset(blocks[b], 0, coefficients * sizeof(int16_t));
    std::memset(last, 0, info->blocksInMcu);
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
            block[BRIMJ_NATURAL_ORDER[k]] = static_cast<int16_t>(value);
            *last = static_cast<uint8_t>(k < 63 ? k : 63);
        }
    }
    return Fill::kOk;
}

int32_t kept_coefficients(const EntropyDecoder *entropy, McuMode mode, int block) {
    switch (mode) {
        case McuMode::kFull:
            return kKeepAll;
        case McuMode::kScaled:
            return entropy->block_keep[block];
        default:
            return 0;
    }
}

// Which component of the scan a block belongs to.
int scan_component(const JpegInfo *info, int block) { return static_cast<int>(info->mcuMembership[block]); }

// What became of one MCU. A failure leaves reservoir and predictors as they were; a DC value out of range fails the MCU
// after all its bits were read.
enum class Mcu : uint8_t { kDecoded, kFailed, kOutOfRange };

Mcu decode_mcu_plainly(JpegInfo *info, McuMode mode, int16_t *const *blocks, uint8_t *last) {
    EntropyDecoder *entropy = info->entropy;
    BitReader reader(info);
    int32_t last_dc[kMaxComponents];
    std::memcpy(last_dc, entropy->lastDc, sizeof last_dc);
    int16_t unused[kBlockCoefficients];
    bool in_range = true;
    for (int b = 0; b < info->blocksInMcu; ++b) {
        int16_t *block = mode == McuMode::kSkip ? unused : blocks[b];
        uint8_t reached = 0;
        int32_t size, difference;
        Fill result = reader.symbol(entropy->blockDc[b], &size);
        if (result == Fill::kOk) result = read_value(reader, size, &difference);
        if (result == Fill::kOk) {
            int32_t &dc = last_dc[scan_component(info, b)];
            dc = static_cast<int32_t>(static_cast<uint32_t>(dc) + static_cast<uint32_t>(difference));
            block[0] = static_cast<int16_t>(dc);
            if (mode == McuMode::kDc && (dc < -kMaxScaledDc || dc > kMaxScaledDc)) in_range = false;
            result = read_ac(reader, entropy->blockAc[b], kept_coefficients(entropy, mode, b), block, &reached);
        }
        if (mode != McuMode::kSkip) last[b] = reached;
        if (result == Fill::kFailed) return Mcu::kFailed;
        if (result == Fill::kStopped) return Mcu::kDecoded;
    }
    reader.store();
    std::memcpy(entropy->lastDc, last_dc, sizeof last_dc);
    return in_range ? Mcu::kDecoded : Mcu::kOutOfRange;
}

// ---- The window -----------------------------------------------------------------------------------------------------

const uint8_t *memory_end(const IoInfo *io) { return static_cast<const uint8_t *>(io->source) + io->size; }

// Copies stream bytes from `from` on, without stuffing, until a marker, `limit`, or something odd.
void unstuff(EntropyWindow *window, const uint8_t *from, const uint8_t *limit, const uint8_t *readable_end) {
    uint8_t *to = window->data;
    window->end_kind = WindowEnd::kMore;
    while (from < limit) {
        const void *found = std::memchr(from, 0xFF, static_cast<size_t>(limit - from));
        const uint8_t *ff = found ? static_cast<const uint8_t *>(found) : limit;
        std::memcpy(to, from, static_cast<size_t>(ff - from));
        to += ff - from;
        from = ff;
        if (ff == limit) break;
        if (ff + 1 == readable_end || ff[1] == 0xFF) {
            window->end_kind = WindowEnd::kOdd;
            break;
        }
        if (ff[1] != 0) {
            window->end_kind = WindowEnd::kMarker;
            window->marker = ff[1];
            break;
        }
        *to++ = 0xFF;
        from += 2;
    }
    window->end = to;
    const size_t padding = window->end_kind == WindowEnd::kMarker ? mcu_bytes_ahead(kMaxBlocksInMcu) : 8;
    std::memset(to, 0, padding);
}

// Opens the window at the record's position. False when the plain path has to go on.
bool open_window(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    EntropyWindow *window = entropy->window;
    StreamBuffer *stream = info->streamBuffer;
    if (info->unreadMarker != 0 || entropy->bitCount < 0 || entropy->bitCount > 32) return false;
    const uint8_t *end;
    if (is_memory(info->io)) {
        end = memory_end(info->io);
        if (stream->available == 0) return false;
    } else {
        // Every raw byte may be half of a stuffed pair.
        BRIMJ_CheckBuffer(stream, 2 * mcu_bytes_ahead(info->blocksInMcu));
        end = unread(stream) + stream->available;
    }
    const uint8_t *from = unread(stream);
    const uint8_t *limit = end - from > kWindowRawBytes ? from + kWindowRawBytes : end;
    unstuff(window, from, limit, end);
    window->raw = from;
    window->next = window->data;
    window->bits = entropy->bitCount;
    window->reservoir = entropy->bitCount ? static_cast<uint64_t>(entropy->bitBuffer) << (64 - entropy->bitCount) : 0;
    window->open = true;
    return true;
}

// Where in the stream the data byte number `count` of the window stands.
const uint8_t *raw_position(const EntropyWindow *window, ptrdiff_t count) {
    const uint8_t *raw = window->raw;
    while (count > 0) {
        const void *found = std::memchr(raw, 0xFF, static_cast<size_t>(count));
        if (!found) return raw + count;
        const ptrdiff_t clean = static_cast<const uint8_t *>(found) - raw;
        raw += clean + 2;
        count -= clean + 1;
    }
    return raw;
}

// Moves the stream buffer to `raw`. In memory that may be many blocks ahead: the counters become what steps of 16384
// bytes would have made them.
void move_stream(JpegInfo *info, const uint8_t *raw) {
    StreamBuffer *stream = info->streamBuffer;
    ptrdiff_t bytes = raw - unread(stream);
    while (bytes > stream->available) {
        bytes -= stream->available;
        stream->offset = 0;
        stream->available = VORELBRIM_Read_IO2(info->io, &stream->buffer, kBlockBytes);
        stream->totalRead += stream->available;
    }
    consume(stream, static_cast<int32_t>(bytes));
}

}  // namespace

void close_window(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    EntropyWindow *window = entropy->window;
    if (!window || !window->open) return;
    window->open = false;
    // The position in bits, counted from the first byte of data; negative while bits from before are left.
    const ptrdiff_t position = (window->next - window->data) * 8 - window->bits;
    const ptrdiff_t size = window->end - window->data;
    if (position < 0) {
        entropy->bitCount = static_cast<int32_t>(-position);
        entropy->bitBuffer = static_cast<uint32_t>(window->reservoir >> (64 + position));
    } else if (position > size * 8) {
        // More bits were used than there are: the marker was met.
        entropy->bitCount = 0;
        entropy->bitBuffer = 0;
        entropy->insufficientData = 1;
        info->unreadMarker = window->marker;
        move_stream(info, raw_position(window, size) + 2);
    } else {
        // Whole bytes go back, so equal positions give equal states.
        const ptrdiff_t used = (position + 7) / 8;
        entropy->bitCount = static_cast<int32_t>(used * 8 - position);
        entropy->bitBuffer = entropy->bitCount ? window->data[used - 1] & ((1u << entropy->bitCount) - 1) : 0;
        move_stream(info, raw_position(window, used));
    }
}

namespace {

void make_plan(const JpegInfo *info, RunPlan *plan) {
    EntropyDecoder *entropy = info->entropy;
    plan->block_count = info->blocksInMcu;
    for (int b = 0; b < info->blocksInMcu; ++b) {
        const int scan_index = scan_component(info, b);
        const JpegComponent *component = info->curComponents[scan_index];
        plan->blocks[b] = {entropy->fast->dc[component->dcTable],
                           entropy->fast->ac[component->acTable],
                           entropy->blockSkip[b],
                           entropy->blockDc[b],
                           entropy->blockAc[b],
                           &entropy->lastDc[scan_index],
                           entropy->block_keep[b]};
    }
}

const RunTable &run_table() {
#if defined(__x86_64__)
    return bmi2_runs() ? kBmi2Runs : kPlainRuns;
#else
    return kPlainRuns;
#endif
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

// Counts MCUs whose bits are behind the reader.
void count_mcus(JpegInfo *info, int32_t mcus) {
    info->mcus_done += static_cast<uint64_t>(mcus);
    if (info->restartInterval) info->entropy->restartsToGo -= static_cast<uint32_t>(mcus);
}

// A stretch of MCUs without a restart inside.
struct Stretch {
    JpegInfo *info;
    McuMode mode;
    int16_t *const *blocks;
    uint8_t *last;
    int32_t done;

    void advance(int32_t mcus) {
        const int32_t count = mcus * info->blocksInMcu;
        if (mode != McuMode::kSkip) {
            blocks += count;
            last += count;
        }
        done += mcus;
        count_mcus(info, mcus);
    }
};

// Zero MCUs of a stretch whose data ran out.
void leave_zero(Stretch *stretch, int32_t mcus) {
    for (int32_t i = 0; i < mcus; ++i) {
        clear_mcu(stretch->info, stretch->mode, stretch->blocks, stretch->last);
        stretch->advance(1);
    }
}

// Some MCUs by the fast path. 1 went on, 0 the plain path has to do the next MCU, -1 the MCU failed.
int run_fast(Stretch *stretch, RunFn run, const RunPlan &plan, int32_t mcus) {
    EntropyWindow *window = stretch->info->entropy->window;
    const bool reopened = !window->open;
    if (reopened && !open_window(stretch->info)) return 0;
    RunStop stop;
    const int32_t done = run(plan, window, mcus, stretch->blocks, stretch->last, &stop);
    stretch->advance(done);
    if (stop == RunStop::kOutOfBits || stop == RunStop::kWindowLow || stop == RunStop::kBadDcOutOfBits) {
        close_window(stretch->info);
    }
    if (stop == RunStop::kBadDc || stop == RunStop::kBadDcOutOfBits) {
        count_mcus(stretch->info, 1);
        return -1;
    }
    // A fresh window that cannot serve one MCU stands before something odd or the end.
    return stop == RunStop::kWindowLow && done == 0 && reopened ? 0 : 1;
}

bool start_stretch(JpegInfo *info) {
    return !info->restartInterval || info->entropy->restartsToGo != 0 || BRIMJ_ProcessRestartMarker(info);
}

}  // namespace

int32_t decode_mcus(JpegInfo *info, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) {
    EntropyDecoder *entropy = info->entropy;
    Stretch stretch = {info, mode, blocks, last, 0};
    RunPlan plan;
    RunFn run = nullptr;
    if (entropy->fast && (entropy->skip_needed || mode == McuMode::kFull)) {
        make_plan(info, &plan);
        run = run_of(mode);
    }
    bool plain_next = false;
    while (stretch.done < count) {
        if (mode == McuMode::kSkip && BRIMJ_SkipMcuUsingRST(info) != 0) {
            ++stretch.done;
            continue;
        }
        if (!start_stretch(info)) {
            clear_mcu(info, mode, stretch.blocks, stretch.last);
            break;
        }
        int32_t mcus = count - stretch.done;
        if (info->restartInterval && entropy->restartsToGo < static_cast<uint32_t>(mcus)) {
            mcus = static_cast<int32_t>(entropy->restartsToGo);
        }
        if (entropy->insufficientData) {
            leave_zero(&stretch, mcus);
            continue;
        }
        if (run && !plain_next) {
            const int went = run_fast(&stretch, run, plan, mcus);
            if (went < 0) {
                clear_mcu(info, mode, stretch.blocks, stretch.last);
                break;
            }
            plain_next = went == 0;
            continue;
        }
        plain_next = false;
        close_window(info);
        clear_mcu(info, mode, stretch.blocks, stretch.last);
        const Mcu mcu = decode_mcu_plainly(info, mode, stretch.blocks, stretch.last);
        if (mcu != Mcu::kDecoded) {
            clear_mcu(info, mode, stretch.blocks, stretch.last);
            if (mcu == Mcu::kOutOfRange) count_mcus(info, 1);
            break;
        }
        stretch.advance(1);
    }
    return stretch.done;
}

namespace {
bool g_fast_path = true;
}

void allow_fast_path(bool allowed) { store_relaxed(&g_fast_path, allowed); }
bool fast_path_allowed() { return load_relaxed(&g_fast_path); }

bool prepare_fast_tables(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    if (!entropy->fast) entropy->fast = os_allocate_array<FastHuffTables>(1);
    if (!entropy->window) entropy->window = os_allocate_array<EntropyWindow>(1);
    if (!entropy->fast || !entropy->window) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    entropy->window->open = false;
    for (int i = 0; i < info->compsInScan; ++i) {
        const JpegComponent *component = info->curComponents[i];
        build_fast_dc(entropy->dcDerived[component->dcTable], entropy->fast->dc[component->dcTable]);
        build_fast_ac(entropy->acDerived[component->acTable], entropy->fast->ac[component->acTable]);
    }
    return true;
}

void release_entropy(JpegInfo *info) {
    EntropyDecoder *entropy = info->entropy;
    if (!entropy) return;
    for (int i = 0; i < kMaxComponents; ++i) {
        BRIM_FakeFree(entropy->dcDerived[i]);
        BRIM_FakeFree(entropy->acDerived[i]);
        BRIM_FakeFree(entropy->acSkip[i]);
    }
    os_release(entropy->fast);
    os_release(entropy->window);
    BRIM_FakeFree(entropy);
    info->entropy = nullptr;
}

namespace {

int32_t decode_one(JpegInfo *info, McuMode mode, int32_t keep, int16_t **blocks) {
    EntropyDecoder *entropy = info->entropy;
    uint8_t kept[kMaxBlocksInMcu], last[kMaxBlocksInMcu];
    std::memcpy(kept, entropy->block_keep, sizeof kept);
    if (keep) std::memset(entropy->block_keep, keep, sizeof kept);
    const int32_t done = decode_mcus(info, mode, 1, blocks, last);
    close_window(info);
    std::memcpy(entropy->block_keep, kept, sizeof kept);
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

}  // extern "C"
