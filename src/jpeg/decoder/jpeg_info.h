// The decoder's working record and what hangs on it. One per decode; it belongs to one thread. Fields with capitals in
// their names are known to callers by these names; members behind "inside" are the decoder's own.
#pragma once

#include <vorel/jpeg_decoder.h>

#include <cstddef>
#include <cstdint>

#include "core/core.h"
#include "jpeg/decoder/kernels/kernels.h"
#include "jpeg/jpeg.h"

namespace vorel {

// Sides above this are refused by both parsers.
constexpr int32_t kMaxJpegSide = 50000;
// Raw Huffman tables allocated over a whole decode.
constexpr int32_t kMaxRawTables = 120;
constexpr int32_t kMaxScans = 30;
// An MCU that fails with more output rows than this still due ends the decode.
constexpr int32_t kTolerantRows = 15;

// DHT: a byte 0, the 16 counts, the symbols.
struct RawHuffTable {
    uint8_t zero;
    uint8_t counts[16];
    uint8_t symbols[256];
};
static_assert(sizeof(RawHuffTable) == 273);

// DQT in natural order, and room for multipliers in the same block.
struct QuantBlock {
    uint16_t q[kBlockCoefficients];
    int32_t multipliers[kBlockCoefficients];
};
static_assert(sizeof(QuantBlock) == 384);

enum FrameType : uint8_t { kNoFrame = 0, kBaselineFrame = 1, kProgressiveFrame = 2 };

struct MarkerState {
    uint32_t discardedBytes;
    uint8_t nextRestartNumber, frameType, sawSos, sawDht, sawDqt, sawJfif, sawAdobe, adobeTransform;
    uint8_t componentId[kMaxComponents];
};
static_assert(sizeof(MarkerState) == 16);

enum ColorSpace : uint16_t {
    kColorUnknown = 0,
    kColorGray = 1,
    kColorRgb = 2,
    kColorYcc = 3,
    kColorCmyk = 4,
    kColorYcck = 5
};

// How far the MCU decoder of a scale keeps coefficients, by zigzag position.
constexpr int kKeepAll = 64;
constexpr int kKeep2to1 = 19;  // the 4 x 4 corner but for its last entry
constexpr int kKeep4to1 = 5;   // the 2 x 2 corner
constexpr int kKeepDc = 1;

struct FastHuffTables;
struct EntropyWindow;

// How the rows of the DCT-scaled picture become output rows.
enum class Resample : uint8_t { kNone, kMean, kCentre };

// Where output pixels go.
struct OutputPlanes {
    uint8_t *outPlanes[3];   // Y or pixels, Cb (or the pairs), Cr
    ptrdiff_t rowStep;       // Y or pixels: from output row to output row
    ptrdiff_t pixelStep;     // from pixel to pixel; differs from the pixel's size when rotated
    ptrdiff_t chroma_bytes;  // from chroma row to chroma row
};

// The part of the output picture that is stored, in output coordinates.
struct OutputWindow {
    int32_t x, y, width, height;
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

}  // namespace vorel

// One component of the frame.
struct JpegComponent {
    uint32_t id, index, hSampling, vSampling, quantTableIndex, dcTable, acTable;
    uint32_t widthInBlocks, heightInBlocks, dctScaledSize, downsampledWidth, downsampledHeight;
    uint32_t mcuWidth, mcuHeight, mcuBlocks, mcuSampleWidth, lastColWidth, lastRowHeight;
    vorel::QuantBlock *quantTable;

    // inside
    vorel::IdctShape shape;
    uint8_t block_width, block_height;  // samples of a block after its inverse DCT
    uint8_t keep;                       // how many coefficients that kernel looks at
    uint8_t h_expand, v_expand;         // repeats that bring a sample to the scaled picture's grid
    alignas(16) int32_t multipliers[vorel::kBlockCoefficients];
    // Precision that decode mode 1 leaves to a coefficient: (coefficient * correction) >> 13.
    uint16_t correction[vorel::kBlockCoefficients];
    uint8_t **rows;  // sample rows of one iMCU row
    int32_t row_count;
    ptrdiff_t row_stride;
    uint8_t **expanded;  // one row at the scaled picture's width, where the writers cannot expand by themselves
};

// Derived Huffman table (T.81 F.2.2.3): 32-bit entries; maxCode[0] is length 1, maxCode[16] the sentinel.
struct DerivedTable {
    int32_t maxCode[17];
    int32_t valOffset[16];
    const vorel::RawHuffTable *rawTable;
    uint32_t lookup[256];  // (length << 8) | symbol for 8 bits of look-ahead; 0x900: longer than 8
};

// The entropy decoder's state between MCUs. bitBuffer and bitCount, the stream buffer, unreadMarker, the predictors and
// the restart counters are all that is needed to go on from an MCU.
struct EntropyDecoder {
    uint8_t insufficientData;  // bits ran out at a marker: MCUs are left zero
    uint32_t bitBuffer;        // newest bits at the low end
    int32_t bitCount;
    int32_t lastDc[vorel::kMaxComponents];
    uint32_t restartsToGo;
    DerivedTable *dcDerived[vorel::kMaxComponents], *acDerived[vorel::kMaxComponents];
    uint16_t *acSkip[vorel::kMaxComponents];  // 4096 entries
    DerivedTable *blockDc[vorel::kMaxBlocksInMcu], *blockAc[vorel::kMaxBlocksInMcu];
    uint16_t *blockSkip[vorel::kMaxBlocksInMcu];

    // inside
    vorel::FastHuffTables *fast;   // null: only the plain path runs
    vorel::EntropyWindow *window;  // null with fast
    uint8_t block_keep[vorel::kMaxBlocksInMcu];
    uint8_t skip_needed;
};

struct BitState {
    JpegInfo *jpegInfo;
    const uint8_t *next;
    int32_t bytesLeft;
    uint32_t bitBuffer;
    int32_t bitCount;
};

namespace vorel {

using RowOutputFn = void (*)(JpegInfo *info, uint8_t ***rows, int32_t count);
using UpsampleFn = void (*)(JpegComponent *component, JpegInfo *info, uint8_t **input_rows, uint8_t ***output_rows);

struct ConversionRecord {
    RowOutputFn rowOutput;
};

}  // namespace vorel

struct JpegInfo {
    uint16_t numComponents;
    uint8_t maxH, maxV;
    uint16_t mcuWidth, mcuHeight;
    uint16_t colorSpace;
    uint16_t compsInScan;
    uint16_t blocksInMcu;
    uint16_t imageWidth, imageHeight;
    uint32_t outputRow;  // output rows produced so far
    uint32_t mcusPerRow, mcuRows;
    uint32_t mcuMembership[vorel::kMaxBlocksInMcu];
    uint32_t unreadMarker;
    uint32_t restartInterval;
    uint32_t scanRestartInterval[vorel::kMaxScans];
    vorel::QuantBlock *quantTables[4];
    vorel::RawHuffTable *huffDc[4], *huffAc[4];
    StreamBuffer *streamBuffer;
    vorel::MarkerState *markerState;
    JpegComponent *components;
    JpegComponent *curComponents[vorel::kMaxComponents];
    EntropyDecoder *entropy;
    struct {
        int32_t Ss, Se, Ah, Al;
    } sos;
    uint32_t scanNumber;
    DecInfo *decInfo;
    VorelCheckFn checkFn;
    IoInfo *io;
    uint8_t *readBuffer;  // the block that BRIMJ_AllocateStreamBuffer gave
    int32_t outColorFormat;
    uint32_t isRegion;
    int32_t decMode;

    // Output geometry.
    int32_t targetWidth, targetHeight;
    int32_t outWidth, outHeight;
    uint32_t isOneToOne;
    int32_t scaleIndex, scaleMultiplier;
    uint16_t scaledWidth, scaledHeight;
    int32_t scaledRowStep;
    int32_t decodeWidth, decodeHeight;
    int32_t decodeOffsetX, decodeOffsetY;
    int32_t cropWidth, cropHeight;
    uint32_t rotation;
    uint32_t jointChroma;
    int32_t directRows;

    // Upsampling and output.
    uint32_t outputRowCounter;
    uint32_t *accumulatorA, *accumulatorB;
    vorel::ConversionRecord conversion;
    const uint8_t *sampleRangeLimit, *sampleRangeLimit2;
    uint32_t highQualityClamp;

    // inside
    const vorel::KernelTable *kernels;
    vorel::OutputPlanes planes;
    vorel::OutputWindow window;
    vorel::Resample resample;
    vorel::UpsampleFn upsample[vorel::kMaxComponents];
    bool direct;                            // component rows go to the writers as they are
    bool chroma_shared;                     // and chroma has one sample for two pixels in them
    uint32_t *packed_row;                   // one source row of the resampler
    uint16_t *column_a, *column_b;          // source columns of every stored output column
    uint32_t *column_picks, *column_pairs;  // null where the two columns are not neighbours
    int32_t next_line;                      // output row whose lines are looked for
    bool line_a_done;
    uint8_t **scratch_rows;                        // owns the lines
    uint8_t *line[7];                              // rows of samples at the output's width, see output.h
    int32_t scaled_row;                            // next row of the scaled picture
    uint8_t **sample_rows[vorel::kMaxComponents];  // the components' rows, as the row steps take them
    int32_t first_source_row;                      // rows of the scaled picture that the window needs
    int32_t end_source_row;
    uint32_t imcu_row;         // iMCU row to be decoded next
    uint32_t imcu_rows;        // of the frame
    int32_t imcu_output_rows;  // scaled rows of a full iMCU row; 0 beyond 1/8, where it varies
    int32_t mcu_rows_in_imcu;  // MCU rows of the current scan in this iMCU row
    int32_t rows_ready;        // scaled rows that the buffered iMCU row gives
    int32_t rows_taken;        // of these, already handed out
    bool imcu_buffered;
    bool imcu_skipped;  // the buffered iMCU row lies above the window: it has no samples
    int32_t imcu_result;
    vorel::McuBatch *batch;
    void *batch_memory;
    int32_t raw_tables;
    uint32_t first_scan_components;  // components of the first scan seen
    int32_t scan_components_memory;  // -1: the frame is interleaved
    uint32_t scans_to_pass;          // scans that the marker hunt passes over
    JpegInfo *further_scans[vorel::kMaxComponents - 1];
    int32_t further_scan_count;
    uint64_t mcus_done;          // MCUs of the current scan that are decoded or passed over
    uint64_t mcus_above_window;  // MCUs of the current scan that lie in iMCU rows above the window
    int32_t map_interval;
};
