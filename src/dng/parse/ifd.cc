#include "dng/parse/ifd.h"

#include <algorithm>
#include <cmath>

#include "dng/base/limits.h"
#include "dng/parse/tag_codes.h"
#include "dng/parse/tag_helpers.h"

using namespace vorel;

namespace {

// Tags of one whole number each.
constexpr struct NumberTag {
    uint32_t code;
    uint32_t VorelDngIFD::*field;
} kNumberTags[] = {{kTagNewSubFileType, &VorelDngIFD::newSubFileType},
                   {kTagImageWidth, &VorelDngIFD::width},
                   {kTagImageLength, &VorelDngIFD::height},
                   {kTagCompression, &VorelDngIFD::compression},
                   {kTagPhotometric, &VorelDngIFD::photometric},
                   {kTagFillOrder, &VorelDngIFD::fillOrder},
                   {kTagOrientation, &VorelDngIFD::orientation},
                   {kTagSamplesPerPixel, &VorelDngIFD::samplesPerPixel},
                   {kTagRowsPerStrip, &VorelDngIFD::rowsPerStrip},
                   {kTagPlanarConfiguration, &VorelDngIFD::planarConfiguration},
                   {kTagResolutionUnit, &VorelDngIFD::xResolutionUnit},
                   {kTagPredictor, &VorelDngIFD::predictor},
                   {kTagTileWidth, &VorelDngIFD::tileWidth},
                   {kTagTileLength, &VorelDngIFD::tileLength},
                   {kTagExtraSamples, &VorelDngIFD::extraSamples},
                   {kTagJpegInterchangeLength, &VorelDngIFD::jpegInterchangeLength},
                   {kTagYCbCrPositioning, &VorelDngIFD::ycbcrPositioning},
                   {kTagRowInterleaveFactor, &VorelDngIFD::rowInterleaveFactor},
                   {kTagPreviewColorSpace, &VorelDngIFD::previewColorSpace},
                   {kTagCacheVersion, &VorelDngIFD::cacheVersion}};

bool is_integer(uint32_t type) { return type == kTagShort || type == kTagLong; }

// One value of each of up to four planes; planes without one of their own have the first.
void read_planes(VorelDngStream &stream, uint32_t type, uint32_t count, uint32_t (&values)[4]) {
    for (uint32_t i = 0; i < 4; ++i) values[i] = i < count ? stream.getTagValue_QMUINT32(type) : values[0];
}

int32_t side_of(uint32_t size) { return static_cast<int32_t>(std::min<uint32_t>(size, INT32_MAX)); }

}  // namespace

bool VorelDngIFD::parseTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                           uint32_t tagCount, uint64_t offset) {
    stream.setPosition(offset);
    for (const NumberTag &tag : kNumberTags) {
        if (tag.code != tagCode) continue;
        if (!is_integer(tagType) || !CheckTagCount(parentCode, tagCode, tagCount, 1, UINT32_MAX)) return false;
        this->*tag.field = stream.getTagValue_QMUINT32(tagType);
        usesTiles |= tagCode == kTagTileWidth || tagCode == kTagTileLength;
        return true;
    }
    return parseLayoutTag(stream, tagCode, tagType, tagCount, offset) ||
           parseColorTag(stream, tagCode, tagType, tagCount) ||
           parseRawTag(stream, parentCode, tagCode, tagType, tagCount, offset) ||
           parsePreviewTag(stream, parentCode, tagCode, tagType, tagCount);
}

bool VorelDngIFD::parseLayoutTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType, uint32_t tagCount,
                                 uint64_t offset) {
    switch (tagCode) {
        case kTagBitsPerSample:
        case kTagSampleFormat:
            if (tagType != kTagShort || tagCount < 1) return false;
            read_planes(stream, tagType, tagCount, tagCode == kTagBitsPerSample ? bitsPerSample : sampleFormat);
            return true;
        case kTagStripOffsets:
        case kTagTileOffsets:
            if (!is_integer(tagType)) return false;
            usesTiles |= tagCode == kTagTileOffsets;
            offsetsType = tagType, offsetsCount = tagCount, offsetsOffset = offset;
            return true;
        case kTagStripByteCounts:
        case kTagTileByteCounts:
            if (!is_integer(tagType)) return false;
            byteCountsType = tagType, byteCountsCount = tagCount, byteCountsOffset = offset;
            return true;
        case kTagSubIfds:
            if (tagType != kTagLong && tagType != kTagIfd) return false;
            subIfdType = tagType, subIfdCount = tagCount, subIfdOffset = offset;
            return true;
        case kTagJpegTables:
            if (tagType != kTagUndefined) return false;
            jpegTablesOffset = offset, jpegTablesCount = tagCount;
            return true;
        case kTagJpegInterchange:
            if (tagType != kTagLong || tagCount != 1) return false;
            jpegInterchangeOffset = stream.getTagValue_QMUINT32(tagType);
            return true;
        case kTagSubTileBlockSize:
            if (!is_integer(tagType) || tagCount != 2) return false;
            subTileBlockRows = stream.getTagValue_QMUINT32(tagType);
            subTileBlockColumns = stream.getTagValue_QMUINT32(tagType);
            return true;
        default:
            return false;
    }
}

bool VorelDngIFD::parseColorTag(VorelDngStream &stream, uint32_t tagCode, uint32_t tagType, uint32_t tagCount) {
    switch (tagCode) {
        case kTagXResolution:
        case kTagYResolution:
            if (tagType != kTagRational || tagCount < 1) return false;
            (tagCode == kTagXResolution ? xResolution : yResolution) = stream.getTagValue_QMDOUBLE(tagType);
            return true;
        case kTagYCbCrCoefficients:
            return tagType == kTagRational && tagCount == 3 &&
                   ParseDoubles(stream, tagType, tagCount, ycbcrCoefficients, 3);
        case kTagYCbCrSubSampling:
            if (tagType != kTagShort || tagCount != 2) return false;
            ycbcrSubsamplingH = stream.getTagValue_QMUINT32(tagType);
            ycbcrSubsamplingV = stream.getTagValue_QMUINT32(tagType);
            return true;
        case kTagReferenceBlackWhite:
            return tagType == kTagRational && tagCount == 6 &&
                   ParseDoubles(stream, tagType, tagCount, referenceBlackWhite, 6);
        default:
            return false;
    }
}

bool VorelDngIFD::parsePreviewTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                                  uint32_t tagCount) {
    std::string *text = nullptr;
    switch (tagCode) {
        case kTagPreviewApplicationName:
            text = &previewApplicationName;
            break;
        case kTagPreviewApplicationVersion:
            text = &previewApplicationVersion;
            break;
        case kTagPreviewSettingsName:
            text = &previewSettingsName;
            break;
        case kTagPreviewDateTime:
            text = &previewDateTime;
            break;
        case kTagPreviewSettingsDigest:
            if (tagType != kTagByte || tagCount != 16) return false;
            for (uint8_t &byte : previewSettingsDigest) byte = stream.get_QMUINT8();
            return true;
        case kTagRawToPreviewGain:
            return tagType == kTagDouble && ParseDoubles(stream, tagType, tagCount, &rawToPreviewGain, 1);
        default:
            return false;
    }
    if (!CheckTagType(parentCode, tagCode, tagType, kTagAscii, kTagByte)) return false;
    ParseStringTag(stream, parentCode, tagCode, tagCount, *text);
    return true;
}

void VorelDngIFD::postParse() {
    if (samplesPerPixel == 1) planarConfiguration = 1;
    if (!usesTiles) {
        // Strips; without a number of rows the whole image is one.
        tileWidth = width;
        tileLength = rowsPerStrip ? std::min(rowsPerStrip, height) : height;
    }
    if (!tileWidth) tileWidth = width;
    if (!tileLength) tileLength = height;
    tilesAcross = SafeUint32DivideUp(width, tileWidth);
    tilesDown = SafeUint32DivideUp(height, tileLength);

    const DngRect whole = {0, 0, side_of(height), side_of(width)};
    activeArea = intersection(activeArea, whole);
    if (activeArea.empty()) activeArea = whole;
    if (defaultCropSizeH.value() == 0) defaultCropSizeH = {activeArea.width(), 1};
    if (defaultCropSizeV.value() == 0) defaultCropSizeV = {activeArea.height(), 1};

    for (uint32_t plane = 0; plane < 4; ++plane) {
        if (whiteLevel[plane] >= 0) continue;
        const auto bits = static_cast<int32_t>(std::min<uint32_t>(bitsPerSample[plane], 32));
        whiteLevel[plane] = sampleFormat[plane] == 3 ? 1 : std::ldexp(1.0, bits) - 1;
    }
}

bool VorelDngIFD::isBaselineJPEG() const {
    if (samplesPerPixel < 1 || samplesPerPixel > kMaxDngPlanes) return false;
    for (uint32_t plane = 0; plane < samplesPerPixel; ++plane) {
        if (bitsPerSample[plane] != 8 || sampleFormat[plane] != 1) return false;
    }
    if (compression == 34892) return true;
    if (compression != 7) return false;
    return (photometric == 1 && samplesPerPixel == 1) ||
           (photometric == 6 && samplesPerPixel == 3 && planarConfiguration == 1);
}

uint32_t VorelDngIFD::pixelType() const {
    if (sampleFormat[0] == 3) return kTagFloat;
    if (bitsPerSample[0] <= 8) return kTagByte;
    return bitsPerSample[0] <= 16 ? kTagShort : kTagLong;
}

bool VorelDngIFD::hasImage() const {
    return width >= 1 && height >= 1 && width <= kMaxDngSide && height <= kMaxDngSide &&
           uint64_t{width} * height <= kMaxDngPixels && samplesPerPixel >= 1 && samplesPerPixel <= kMaxDngPlanes &&
           bitsPerSample[0] >= 1 && bitsPerSample[0] <= 32;
}
