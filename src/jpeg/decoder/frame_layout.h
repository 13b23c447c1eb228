// What the headers say: the frame (T.81 B.2.2), the tables (B.2.4), and the scan that comes next (B.2.3).
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/core.h"
#include "jpeg/jpeg.h"

namespace vorel {

// Sides above this are refused by both parsers.
constexpr int32_t kMaxJpegSide = 50000;
// Raw Huffman tables allocated over a whole decode.
constexpr int32_t kMaxRawTables = 120;
constexpr int32_t kMaxScans = 30;

// DHT: a byte 0, the 16 counts, the symbols.
struct RawHuffTable {
    uint8_t zero;
    uint8_t counts[16];
    uint8_t symbols[256];
};
static_assert(sizeof(RawHuffTable) == 273);

// DQT in natural order.
struct QuantTable {
    uint16_t q[kBlockCoefficients];
};

enum ColorSpace : uint16_t {
    kColorUnknown = 0,
    kColorGray = 1,
    kColorRgb = 2,
    kColorYcc = 3,
    kColorCmyk = 4,
    kColorYcck = 5
};

}  // namespace vorel

// One component of the frame.
struct JpegComponent {
    uint32_t id, index, hSampling, vSampling, quantTableIndex;
    uint32_t widthInBlocks, heightInBlocks, downsampledWidth, downsampledHeight;
};

namespace vorel {

// The frame as its header describes it. Nothing changes it once it is parsed, so records may share one.
struct FrameLayout {
    bool progressive;
    uint16_t numComponents;
    uint16_t imageWidth, imageHeight;
    uint8_t maxH, maxV;            // largest sampling factors
    uint16_t mcuWidth, mcuHeight;  // of an interleaved MCU, in pixels
    uint16_t colorSpace;
    uint32_t imcu_rows;
    JpegComponent components[kMaxComponents];
};

// What SOS says, and the restart interval that holds for its scan.
struct ScanHeader {
    uint16_t compsInScan;
    uint8_t component[kMaxComponents];  // index in the frame
    uint8_t dc_table[kMaxComponents], ac_table[kMaxComponents];
    int32_t Ss, Se, Ah, Al;
    uint32_t restartInterval;
};

enum FrameType : uint8_t { kNoFrame = 0, kBaselineFrame = 1, kProgressiveFrame = 2 };

// How far a parse has come. Tables are filled again in place where a stream defines them again: who decodes a scan
// takes what it needs at its SOS.
struct HeaderState {
    uint8_t frameType, sawSos, sawDht, sawDqt, sawJfif, sawAdobe, adobeTransform;
    QuantTable *quantTables[4];
    RawHuffTable *huffDc[4], *huffAc[4];
    int32_t raw_tables;
    bool out_of_memory;        // what ended a parse
    uint32_t restartInterval;  // of the last DRI, in MCUs
    ScanHeader scan;
};

}  // namespace vorel
