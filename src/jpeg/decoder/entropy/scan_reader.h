// Entropy decoding of one baseline scan, MCU by MCU (T.81 F.2.2), and restart handling (T.81 E.2.4). A reader knows its
// scan, its tables and where it stands in the stream; it knows nothing of sessions, output sizes or rows.
//
// Two paths give the same coefficients and the same positions. The plain path (bit_reader.h) reads byte by byte from
// the stream buffer and knows every way in which a stream can end. The fast path (entropy_window.h) reads from an
// unstuffed copy of the bytes ahead, through a 64-bit reservoir and look-ups that give whole symbols; it hands over to
// the plain path wherever the stream is not plain data.
#pragma once

#include <vorel/jpeg_decoder.h>

#include "jpeg/decoder/entropy/huffman_tables.h"
#include "jpeg/decoder/frame_layout.h"

namespace vorel {

// What the plain path's reservoir holds.
constexpr uint32_t kReservoirBits = 32;

struct EntropyWindow;
struct RunPlan;

// Where a reader stands: all that is needed to go on from there. Canonical: it depends on the bit that comes next and
// on what was decoded before, never on the path, the kind of input or how far anybody has read ahead. It stands behind
// a due restart and before the first bit of an MCU when begin_mcu was called.
struct EntropyPosition {
    int32_t next;          // position in the input of the first byte of which no bit was used
    uint32_t bits;         // unused bits of the byte before it, right-aligned, above them zeros
    uint8_t bit_count;     // how many: 0 to 7 from tell; restore takes up to kReservoirBits, of bytes before that one
    uint8_t next_restart;  // number of the restart marker that is expected, 0 to 7
    bool out_of_data;      // the data ended at a marker: MCUs are zero up to the next restart
    uint32_t marker;       // the marker met ahead of its turn, only with out_of_data; else 0
    uint32_t eob_run;      // progressive scans: bands that are still to be left alone (T.81 G.1.2.2)
    uint32_t restarts_to_go;
    int32_t last_dc[kMaxComponents];
    uint64_t mcus_done;  // MCUs of the scan before this one
};

}  // namespace vorel

// The state of an entropy decoder between MCUs. The fast path keeps its own while its window is open.
struct EntropyDecoder {
    uint8_t insufficientData;  // bits ran out at a marker: MCUs are left zero
    uint32_t bitBuffer;        // newest bits at the low end
    int32_t bitCount;          // up to 32: the plain path reads ahead
    int32_t lastDc[vorel::kMaxComponents];
    uint32_t restartsToGo;
    uint32_t unreadMarker;
    uint8_t nextRestartNumber;
    uint32_t eobRun;
    DerivedTable *dcDerived[vorel::kMaxComponents], *acDerived[vorel::kMaxComponents];
    const uint16_t *acSkip[vorel::kMaxComponents];  // of the derived tables
    DerivedTable *blockDc[vorel::kMaxBlocksInMcu], *blockAc[vorel::kMaxBlocksInMcu];
    const uint16_t *blockSkip[vorel::kMaxBlocksInMcu];

    // inside
    int32_t ahead_bytes[4];  // stream bytes behind each whole byte of the reservoir, the newest first
    int32_t marker_bytes;    // stream bytes of the unread marker with its fill bytes
    uint8_t block_keep[vorel::kMaxBlocksInMcu];
};

namespace vorel {

// A component as this scan has it.
struct ScanComponent {
    const JpegComponent *component;
    uint32_t dcTable, acTable;
    uint32_t mcuWidth, mcuHeight, mcuBlocks;  // blocks
    uint32_t lastColWidth, lastRowHeight;
};

struct ScanReader {
    // The input: an outer cursor with the block that it was made with.
    StreamBuffer *streamBuffer;
    IoInfo *io;
    uint8_t *readBuffer;

    // The scan.
    uint16_t compsInScan, blocksInMcu;
    uint32_t mcusPerRow, mcuRows;
    uint32_t mcuMembership[kMaxBlocksInMcu];  // block of the MCU to component of the scan
    uint32_t restartInterval;                 // in MCUs, 0 for none
    ScanComponent components[kMaxComponents];
    struct {
        int32_t Ss, Se, Ah, Al;
    } sos;

    EntropyDecoder entropy;
    uint64_t mcus_done;     // MCUs that are decoded or passed over
    bool ends_as_marker;    // of a progressive frame: the end of the input counts as a marker
    uint64_t mcus_to_pass;  // below this number whole restart intervals are passed over by their markers alone
    int32_t map_table;      // 1 and the number of its first table in a region map; 0 for none
    uint32_t discardedBytes;
    int32_t most_dc;  // McuMode::kDc refuses a DC value beyond this

    // The fast path: null where only the plain one runs.
    EntropyWindow *window;
    RunPlan *plan;
};

// What a block keeps of its coefficients.
enum class McuMode : uint8_t {
    kFull,    // all
    kScaled,  // the first EntropyDecoder.block_keep of each block; the rest is walked over
    kDc,      // DC alone, the only value that is touched; one beyond ScanReader.most_dc fails the MCU
    kSkip,    // nothing is stored; only the predictors move
};

// Of 12 bits: what ScanReader.most_dc is.
constexpr int32_t kMaxScaledDc = 2047;

// Sets the reader up for a scan: MCU shape, derived tables, a position at its first bit. The stream stands behind SOS.
// walks: coefficients will be passed over, so what that takes is made at once. False for tables that do not derive, an
// MCU of more blocks than T.81 B.2.3 allows, and when out of memory.
bool start_scan(ScanReader *scan, const FrameLayout *frame, const HeaderState *header, bool walks);
void release_scan(ScanReader *scan);
// Copies what belongs to the scan, but not the input, the position and the tables.
void copy_shape(const ScanReader &from, ScanReader *to);
// Makes all look-ups of the tables that the scan's blocks use. False when out of memory.
bool complete_tables(ScanReader *scan);
// Sets the reader up for the scan of another one, whose derived tables it uses: they have to be complete and to outlive
// it. Nothing of them changes, so that many threads may share them. The position is nowhere yet. False when out of
// memory.
bool share_scan(ScanReader *scan, const ScanReader &from, int32_t most_dc = kMaxScaledDc);
// Leaves the scan to the plain path, whose tables may then be changed.
void drop_fast_path(ScanReader *scan);

// Makes the blocks of an MCU zero, as far as the mode stores anything of them.
void clear_mcu(const ScanReader *scan, McuMode mode, int16_t *const *blocks, uint8_t *last);

// Processes a restart that is due. False where the input ends before it. Nothing happens when none is due.
bool begin_mcu(ScanReader *scan);

// How many coefficients McuMode::kScaled keeps of each block of the MCU.
void set_block_keep(ScanReader *scan, const uint8_t *keep);

// Decodes `count` MCUs, one after another, each begun first. Blocks are cleared first, with kScaled as far as a kernel
// that keeps so many coefficients looks; blocks and last hold
// count * blocksInMcu entries and may be null with kSkip. Returns how many were done: fewer than count when an MCU
// failed, which then has left its blocks zero.
int32_t decode_mcus(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last);

// Memory that is written once MCUs are decoded, and so many bytes of each of its rows for every MCU. Whoever walks over
// their codes mostly waits, and can ask for the lines meanwhile: they are on their way to the second-level cache when
// the pixels come. Nothing is read or written, so addresses may lie anywhere.
struct FetchAhead {
    uintptr_t address;  // of the first MCU in the first row
    ptrdiff_t stride_bytes;
    int32_t rows;  // 0: nothing is asked for
    int32_t mcu_bytes;
    int32_t ahead_bytes;  // asked for already
};
// For the MCUs that are decoded next, until the next call.
void fetch_while_decoding(ScanReader *scan, const FetchAhead &fetch);

// The position before the next MCU. Takes the time of a look at the bytes since the last call, and changes nothing.
EntropyPosition tell(ScanReader *scan);
// Goes on from a position. False where the input cannot be read from there again; the reader is then out of use.
bool restore(ScanReader *scan, const EntropyPosition &position);
// Forgets the bits that were read, and everything else of the position, without giving anything back to the stream: for
// whoever moves the stream to another start.
void discard(ScanReader *scan);

// Counts MCUs whose bits are behind the reader.
inline void count_mcus(ScanReader *scan, int32_t mcus) {
    scan->mcus_done += static_cast<uint64_t>(mcus);
    if (scan->restartInterval) scan->entropy.restartsToGo -= static_cast<uint32_t>(mcus);
}

// At a due restart: finds its marker and takes up the position behind it. False at the end of the input.
bool process_restart(ScanReader *scan);
// A marker that ends the scan is pending: however many restarts are due behind it, no MCU has data.
inline bool ended_at_marker(const ScanReader *scan) {
    const int32_t marker = static_cast<int32_t>(scan->entropy.unreadMarker);
    return scan->entropy.insufficientData && marker >= kSof0 && !is_restart(marker);
}
// Passes over MCUs of such a scan, as if each restart among them had been looked for.
void pass_ended(ScanReader *scan, int32_t mcus);
// One MCU below mcus_to_pass, by restart markers alone: 0 it has to be decoded, 1 passed over at a restart, which was
// processed, 2 passed over inside an interval. An interval that reaches beyond is decoded from its start.
int32_t pass_by_restart(ScanReader *scan);

// Puts what the fast path has read back into the entropy state and the stream, for whoever works on them by hand.
void close_window(ScanReader *scan);

// MCU rows of the scan in iMCU row `imcu_row` of the frame.
int32_t mcu_rows_in_imcu(const ScanReader *scan, const FrameLayout *frame, uint32_t imcu_row);

// MCUs of the scan above iMCU row `imcu_row` of the frame.
uint64_t mcus_above(const ScanReader *scan, uint32_t imcu_row);

// The fast path gives the plain path's results; tests turn it off to see that. Takes effect with the next scan set-up.
void allow_fast_path(bool allowed);
bool fast_path_allowed();

}  // namespace vorel
