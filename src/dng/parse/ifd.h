// One image file directory: where its samples lie, what they are, and how the raw image is to be developed.
#pragma once

#include <string>

#include "dng/parse/stream.h"

class VorelDngImage;

// Values keep their defaults where a tag is missing or malformed.
class VorelDngIFD {
  public:
    VorelDngIFD() = default;
    virtual ~VorelDngIFD() = default;

    // Whether the tag is one of this record's. offset: of the tag's value, inside the stream.
    bool parseTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                  uint64_t offset);
    void postParse();

    // Compression 7 or 34892 that the JPEG decoder reads: 8-bit baseline or progressive, not lossless.
    bool isBaselineJPEG() const;
    // Reads the samples into image, whose bounds start at 0, 0. False when nothing could be read.
    bool readImage(VorelDngStream &stream, VorelDngImage &image);
    // The type of a sample as it is kept in stage 1: bytes up to 8 bits, words up to 16, longs, or floats.
    uint32_t pixelType() const;
    // More than kMaxDngPixels, a side of 0, planes or bits that are none: no image is made of it.
    bool hasImage() const;

    uint32_t newSubFileType = 0;  // 0 main, 1 preview, 0x10001 alternative preview, 4 mask
    uint32_t orientation = 0;     // as stored; 0 when absent
    uint32_t width = 0, height = 0;
    uint32_t bitsPerSample[4] = {1, 1, 1, 1};
    uint32_t compression = 1, predictor = 1;
    uint32_t photometric = 0xFFFFFFFF, samplesPerPixel = 1, planarConfiguration = 1;
    uint32_t sampleFormat[4] = {1, 1, 1, 1};

    // Strips or tiles. The arrays stay in the file: one entry for each tile, row by row (of each plane with planar
    // configuration 2). Strips are tiles of the image's width.
    bool usesTiles = false;
    uint32_t offsetsType = 0, offsetsCount = 0;
    uint64_t offsetsOffset = 0;
    uint32_t byteCountsType = 0, byteCountsCount = 0;
    uint64_t byteCountsOffset = 0;
    uint32_t tileWidth = 0, tileLength = 0, rowsPerStrip = 0;
    uint32_t tilesAcross = 0, tilesDown = 0;  // after postParse
    bool oldDataForm = false;                 // main image of a file of DNG before 1.1

    uint32_t cfaRepeatRows = 0, cfaRepeatColumns = 0;  // at most 8
    uint8_t cfaPattern[8][8] = {};
    uint8_t cfaPlaneColor[4] = {0, 1, 2, 255};
    uint32_t cfaPlaneCount = 3;
    uint32_t cfaLayout = 1;

    uint64_t linearizationOffset = 0;
    uint32_t linearizationType = 0, linearizationCount = 0;
    uint32_t blackRepeatRows = 1, blackRepeatColumns = 1;  // at most 8
    double blackLevel[8][8][4] = {};
    uint64_t blackDeltaHOffset = 0, blackDeltaVOffset = 0;
    uint32_t blackDeltaHType = 0, blackDeltaHCount = 0, blackDeltaVType = 0, blackDeltaVCount = 0;
    double whiteLevel[4] = {-1, -1, -1, -1};  // below 0: not stated; postParse puts in the largest code

    vorel::DngURational defaultScaleH = {1, 1}, defaultScaleV = {1, 1}, bestQualityScale = {1, 1};
    vorel::DngURational defaultCropOriginH = {0, 1}, defaultCropOriginV = {0, 1};
    vorel::DngURational defaultCropSizeH = {0, 1}, defaultCropSizeV = {0, 1};
    double defaultUserCrop[4] = {0, 0, 1, 1};  // top, left, bottom, right
    vorel::DngRect activeArea;                 // the whole image after postParse when none is stated
    uint32_t maskedAreaCount = 0;
    vorel::DngRect maskedArea[4];

    uint32_t bayerGreenSplit = 0;
    double chromaBlurRadius = -1, antiAliasStrength = 1;
    uint64_t opcodeListOffset[3] = {};
    uint32_t opcodeListLength[3] = {};
    uint32_t noiseCount = 0;  // pairs
    double noise[8] = {};

    uint32_t xResolutionUnit = 0;
    double xResolution = 0, yResolution = 0;
    uint64_t jpegInterchangeOffset = 0;
    uint32_t jpegInterchangeLength = 0, jpegTablesCount = 0;
    uint64_t jpegTablesOffset = 0;
    double ycbcrCoefficients[3] = {}, referenceBlackWhite[6] = {};
    uint32_t ycbcrSubsamplingH = 0, ycbcrSubsamplingV = 0, ycbcrPositioning = 0;

    uint32_t previewColorSpace = 0;  // 0 unknown, 1 grey of gamma 2.2, 2 sRGB
    std::string previewApplicationName, previewApplicationVersion, previewSettingsName, previewDateTime;
    uint8_t previewSettingsDigest[16] = {};
    uint32_t extraSamples = 0, fillOrder = 1;
    uint32_t subTileBlockRows = 1, subTileBlockColumns = 1, rowInterleaveFactor = 1;
    double rawToPreviewGain = 1;
    uint32_t cacheVersion = 0;
    uint32_t subIfdCount = 0, subIfdType = 0;
    uint64_t subIfdOffset = 0;  // of the list
    uint64_t thisIFD = 0, nextIFD = 0;

  private:
    bool parseLayoutTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType, uint32_t tagCount, uint64_t offset);
    bool parseColorTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType, uint32_t tagCount);
    bool parseRawTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                     uint64_t offset);
    bool parsePreviewTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                         uint32_t tagCount);
};
