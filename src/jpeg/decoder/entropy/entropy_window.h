// The fast path's view of the bytes ahead: an unstuffed copy that ends at a marker or where the bytes at hand end, and
// a 64-bit reservoir over it.
#pragma once

#include "jpeg/decoder/entropy/progressive.h"
#include "jpeg/decoder/entropy/scan_reader.h"

namespace vorel {

// Bytes of the stream that one window takes; small enough for the first-level cache.
constexpr int32_t kWindowRawBytes = 8192;

// Most that one block reads: a DC code with its value and 63 AC codes with theirs, 64 x (16 + 15) bits = 248 bytes, and
// what the reservoir loads ahead.
constexpr int32_t kBlockBytesAhead = 256;
constexpr int32_t mcu_bytes_ahead(int32_t blocks) { return kBlockBytesAhead * blocks + 16; }

enum class WindowEnd : uint8_t {
    kMore,    // the bytes at hand go on, or a refill may bring more
    kMarker,  // a marker: zeros follow it
    kOdd,     // fill bytes, or an FF at the very end: for the plain path
};

struct EntropyWindow {
    uint64_t reservoir;  // left-aligned; bits behind the valid ones are those that follow or zeros
    int32_t bits;        // valid bits
    bool open;
    WindowEnd end_kind;
    uint8_t marker;       // with kMarker
    const uint8_t *next;  // next byte of data to load
    const uint8_t *end;   // end of the real data
    const uint8_t *raw;   // where the first byte of data stands in the stream
    // A place that both know: data byte number data_mark stands at raw_mark. It moves along with whoever asks.
    const uint8_t *raw_mark;
    ptrdiff_t data_mark;
    FetchAhead fetch;
    uint8_t data[kWindowRawBytes + mcu_bytes_ahead(kMaxBlocksInMcu) + 16];
};

// What a run of MCUs needs of the reader, gathered once a scan. Skip entries may be null where no mode walks.
struct RunPlan {
    struct Block {
        const uint32_t *dc, *ac;
        const uint64_t *pairs;
        uint32_t ac_shift;  // 64 less the bits that an AC look-up looks at; a walk looks at one more
        const uint16_t *skip;
        const DerivedTable *dc_table, *ac_table;
        int32_t *last_dc;
        int32_t keep;
        uint32_t end_bits, end_code;  // of the end of block that AC entries may take in
    };
    Block blocks[kMaxBlocksInMcu];
    int32_t block_count;
    int32_t most_dc;  // of the reader
    bool walks;       // the skip entries are there
};

enum class RunStop : uint8_t {
    kDone,       // all MCUs asked for
    kWindowLow,  // fewer bytes are left than an MCU may need
    kOutOfBits,  // the last MCU used more bits than there were before the marker
    // McuMode::kDc: the MCU behind the last one fails, whose bits were read
    kBadDc,
    kBadDcOutOfBits,  // and used more than there were
};

// Decodes up to `count` MCUs from an open window; returns how many were done and says why it stopped.
using RunFn = int32_t (*)(const RunPlan &plan, EntropyWindow *window, int32_t count, int16_t *const *blocks,
                          uint8_t *last, RunStop *stop);
// The same for the MCUs of a progressive scan, which never are bad.
using PassFn = int32_t (*)(ScanReader *scan, const PassTarget &to, int32_t count, RunStop *stop);

// The differences of a lossless frame (T.81 annex H), one of each component in turn.
constexpr int32_t kMostLosslessComponents = 4;
struct LosslessPlan {
    struct Component {
        const uint32_t *entries;
        const DerivedTable *table;
    };
    Component components[kMostLosslessComponents];
    int32_t count;
};
// Decodes up to `count` groups of differences, modulo 2^16; returns how many were done and says why it stopped. With
// kOutOfBits the last one is no more than what zeros behind the data decode to.
using LosslessFn = int32_t (*)(const LosslessPlan &plan, EntropyWindow *window, int32_t count, uint16_t *differences,
                               RunStop *stop);
// Most that a group of `components` reads, and what the reservoir loads ahead: 16 bits of code and 15 of value each.
constexpr int32_t lossless_bytes_ahead(int32_t components) { return 4 * components + 16; }

struct RunTable {
    RunFn full, scaled, dc, skip;
    LosslessFn lossless;
    PassFn passes[4];  // by Pass
};
// The loops for this processor.
const RunTable &run_table();

extern const RunTable kPlainRuns;
#if defined(__x86_64__)
extern const RunTable kBmi2Runs, kDepositRuns;
#endif

// Makes the skip entries of the plan where there are none. False when out of memory.
bool prepare_walks(ScanReader *scan);

// Fills the window's data from memory in [from, limit): up to a marker, to fill bytes, or to limit. readable_end: of
// the memory. Behind a marker zeros follow.
void unstuff(EntropyWindow *window, const uint8_t *from, const uint8_t *limit, const uint8_t *readable_end);

// Opens the window at the reader's position. False when the plain path has to go on.
bool open_window(ScanReader *scan);
// Where in the stream the data byte number `count` of the window stands; count may equal the data's size.
const uint8_t *raw_position(EntropyWindow *window, ptrdiff_t count);

}  // namespace vorel
