// The decoder's working record. One per decode; it belongs to one thread. Names with capitals inside are known to
// callers of the exported functions by these names; the others are the decoder's own.
#pragma once

#include <vorel/jpeg_decoder.h>

#include <cstddef>
#include <cstdint>

#include "core/core.h"
#include "jpeg/decoder/entropy/scan_reader.h"
#include "jpeg/decoder/frame_layout.h"
#include "jpeg/decoder/headers/markers.h"
#include "jpeg/decoder/kernels/kernels.h"
#include "jpeg/decoder/output/output_plan.h"
#include "jpeg/decoder/region/region_map.h"

namespace vorel {

struct Iteration;
class CoefficientStore;

using UpsampleFn = void (*)(JpegComponent *component, JpegInfo *info, uint8_t **input_rows, uint8_t ***output_rows);

// Where output pixels go.
struct OutputPlanes {
    uint8_t *outPlanes[3];   // Y or pixels, Cb (or the pairs), Cr
    ptrdiff_t rowStep;       // Y or pixels: from output row to output row
    ptrdiff_t pixelStep;     // from pixel to pixel; differs from the pixel's size when rotated
    ptrdiff_t chroma_bytes;  // from chroma row to chroma row
};

constexpr int kScratchRows = 7;

// How far the output has come, and the rows that writers and resampler work in.
struct OutputState {
    OutputPlanes planes;
    uint32_t outputRow;         // rows of the output picture produced so far, those above the window included
    uint32_t outputRowCounter;  // rows stored so far
    int32_t scaled_row;         // next row of the scaled picture
    int32_t next_row;           // output row whose source rows are looked for
    bool first_half_done;       // of its sums: the row at a quarter of its footprint
    // Where eight output columns lie within 16 source columns: their samples, and the sums of two rows a component.
    SampleTaps taps;
    uint16_t *tap_sums_a, *tap_sums_b;
    // Else words of three components.
    uint32_t *accumulatorA, *accumulatorB;
    uint32_t *packed_row;                     // one source row of the resampler
    uint16_t *column_a, *column_b, *centres;  // source columns of every stored output column
    uint8_t **scratch_rows;                   // owns the rows
    uint8_t *scratch[kScratchRows];           // rows of samples at the output's width, see output.h
};

constexpr int kBatchBlocks = 160;

// Coefficients on their way from the entropy decoder to the kernels: the blocks of a few MCUs.
struct McuBatch {
    alignas(64) int16_t coefficients[kBatchBlocks][kBlockCoefficients];
    int16_t *blocks[kBatchBlocks];
    uint8_t last[kBatchBlocks];  // zigzag position of the last coefficient that may be nonzero
    // For the DC alone: a component's values of one row of blocks stand side by side.
    int16_t dc[kBatchBlocks];
    int16_t *dc_blocks[kBatchBlocks];
};

// Sample rows of one component.
struct ComponentRows {
    uint8_t **rows;  // of one iMCU row
    int32_t row_count;
    uint8_t **expanded;  // one row group at the scaled picture's width, where the writers cannot expand by themselves
    UpsampleFn upsample;
};

// One iMCU row at a time, from its scans to output rows.
struct RowPump {
    ComponentRows components[kMaxComponents];
    McuBatch *batch;
    void *batch_memory;
    uint32_t imcu_row;   // to be decoded next
    int32_t rows_ready;  // scaled rows that the buffered iMCU row gives
    int32_t rows_taken;  // of these, already handed out
    bool buffered;
    bool skipped;  // the buffered iMCU row lies above the window: it has no samples
    int32_t result;
};

// An MCU that fails with more output rows than this still due ends the decode.
constexpr int32_t kTolerantRows = 15;

// A further scan of a frame that has several: a reader over an input of its own.
struct FurtherScan {
    StreamCursor cursor;
    ScanReader scan = {};

    explicit FurtherScan(IoInfo *io) : cursor(io) {}
};

// The coefficients that one component of a progressive frame has in an iMCU row.
struct CoefficientRows {
    int16_t *blocks;        // 64 coefficients each in natural order, as kernels take them
    uint64_t *nonzero;      // of each block: the zigzag positions from 1 on that are not zero
    uint32_t across, down;  // blocks
};

// Who decodes the MCUs of the first scan in the reader's place: the contract is that of decode_mcus, and so are
// results.
class McuSource {
  public:
    virtual int32_t decode(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) = 0;

  protected:
    ~McuSource() = default;
};

struct ProgressiveState {
    CoefficientRows rows[kMaxComponents];
    uint8_t *memory;           // of all of them
    int32_t scans;             // that are gone through
    int32_t shown_components;  // the first so many have samples; the others stay gray
    // The search for scans.
    int32_t search_position;  // of the input: behind the last header
    uint32_t covered;         // components of which the scale needs no more
    bool scans_found;
};

}  // namespace vorel

struct JpegInfo {
    const vorel::FrameLayout *frame;  // own_frame, or that of the record that this one works for
    vorel::FrameLayout own_frame;
    vorel::HeaderState header;
    vorel::ScanReader scan;
    vorel::FurtherScan *further_scans[vorel::kMaxScans - 1];
    int32_t further_scan_count;
    vorel::ProgressiveState progressive;
    ScanInfo *scan_infos;  // that callers have made
    vorel::OutputPlan plan;
    vorel::QuantTable tables_used[vorel::kMaxComponents];  // that the plan's multipliers are made of
    bool planned;                                          // the plan and the sample rows are those of the header
    vorel::OutputState out;
    vorel::RowPump pump;
    vorel::Iteration *iteration;  // of a decode that is done in pieces

    uint32_t mapScanning;  // positions are noted in own_map
    int32_t regionStage;   // 1 its map is complete, or it is a region of a progressive frame; 2 of a baseline one
    vorel::RegionMap own_map;
    vorel::CoefficientStore *store;  // what rectangles of own_map share; null without
    // A region's: the map that its rows begin by, and the record that it has its frame and its tables from.
    const vorel::RegionMap *map;
    const JpegInfo *lender;
    vorel::McuSource *source;  // null: the scan's reader itself

    DecInfo *decInfo;
    VorelCheckFn checkFn;
    uint32_t isRegion;
    int32_t decMode;
};

namespace vorel {

constexpr bool is_baseline(const JpegInfo *info) { return !info->frame->progressive; }
// Scan `number` of a progressive frame, from 0.
inline ScanReader *progressive_scan(JpegInfo *info, int32_t number) {
    return number == 0 ? &info->scan : &info->further_scans[number - 1]->scan;
}
constexpr ColorSpace color_space(const JpegInfo *info) { return static_cast<ColorSpace>(info->frame->colorSpace); }

inline MarkerParser parser_of(JpegInfo *info) {
    return {info->scan.streamBuffer, info->scan.io, &info->own_frame, &info->header, info->decInfo};
}

}  // namespace vorel
