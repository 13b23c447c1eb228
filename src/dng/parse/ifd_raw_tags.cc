// The tags of raw images: DNG 1.4.0.0 chapter 4, and TIFF/EP for the colour filter array.
#include <algorithm>
#include <cmath>

#include "dng/parse/ifd.h"
#include "dng/parse/tag_codes.h"
#include "dng/parse/tag_helpers.h"

using namespace vorel;

namespace {

bool is_length(uint32_t type) { return type == kTagShort || type == kTagLong || type == kTagRational; }

void read_pair(VorelDngStream &stream, uint32_t type, DngURational &first, DngURational &second) {
    first = stream.getTagValue_urational(type);
    second = stream.getTagValue_urational(type);
}

}  // namespace

bool VorelDngIFD::parseRawTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode, uint32_t tagType,
                              uint32_t tagCount, uint64_t offset) {
    const bool raw = CheckRawIFD(parentCode, tagCode, photometric), cfa = CheckCFA(parentCode, tagCode, photometric),
               main = CheckMainIFD(parentCode, tagCode, newSubFileType);
    const bool whole = tagType == kTagShort || tagType == kTagLong;
    switch (tagCode) {
        case kTagCfaRepeatPatternDim:
        case kTagBlackLevelRepeatDim: {
            const bool pattern = tagCode == kTagCfaRepeatPatternDim;
            if (!(pattern ? cfa : raw) || tagType != kTagShort || tagCount != 2) return false;
            const uint32_t rows = stream.get_QMUINT16(), columns = stream.get_QMUINT16();
            if (rows < 1 || rows > 8 || columns < 1 || columns > 8) return false;
            (pattern ? cfaRepeatRows : blackRepeatRows) = rows;
            (pattern ? cfaRepeatColumns : blackRepeatColumns) = columns;
            return true;
        }
        case kTagCfaPattern:
            if (!cfa || !CheckTagType(parentCode, tagCode, tagType, kTagByte, kTagUndefined)) return false;
            if (tagCount < 1 || tagCount != cfaRepeatRows * cfaRepeatColumns) return false;
            if (stream.takeCopy(tagCount) != tagCount) return false;
            for (uint32_t row = 0; row < cfaRepeatRows; ++row) {
                for (uint32_t column = 0; column < cfaRepeatColumns; ++column) {
                    cfaPattern[row][column] = stream.get_QMUINT8();
                }
            }
            return true;
        case kTagCfaPlaneColor:
            if (!cfa || tagType != kTagByte || !CheckTagCount(parentCode, tagCode, tagCount, 3, 4)) return false;
            for (uint32_t plane = 0; plane < 4; ++plane) {
                cfaPlaneColor[plane] = plane < tagCount ? stream.get_QMUINT8() : 255;
            }
            cfaPlaneCount = tagCount;
            return true;
        case kTagCfaLayout:
            if (!cfa || tagType != kTagShort || tagCount != 1) return false;
            cfaLayout = stream.get_QMUINT16();
            return true;
        case kTagLinearizationTable:
            if (!raw || tagType != kTagShort || tagCount < 1) return false;
            linearizationType = tagType, linearizationCount = tagCount, linearizationOffset = offset;
            return true;
        case kTagBlackLevel: {
            const uint32_t planes = samplesPerPixel, values = blackRepeatRows * blackRepeatColumns * planes;
            if (!raw || !is_length(tagType) || planes < 1 || planes > 4 || tagCount != values) return false;
            double read[8 * 8 * 4];
            if (!ParseDoubles(stream, tagType, tagCount, read, values)) return false;
            for (uint32_t i = 0; i < values; ++i) {
                const uint32_t site = i / planes;
                blackLevel[site / blackRepeatColumns][site % blackRepeatColumns][i % planes] = read[i];
            }
            return true;
        }
        case kTagBlackLevelDeltaH:
            if (!raw || !CheckTagType(parentCode, tagCode, tagType, kTagSRational)) return false;
            blackDeltaHType = tagType, blackDeltaHCount = tagCount, blackDeltaHOffset = offset;
            return true;
        case kTagBlackLevelDeltaV:
            if (!raw || !CheckTagType(parentCode, tagCode, tagType, kTagSRational)) return false;
            blackDeltaVType = tagType, blackDeltaVCount = tagCount, blackDeltaVOffset = offset;
            return true;
        case kTagWhiteLevel:
            if (!raw || !(whole || tagType == kTagRational) || tagCount < 1) return false;
            if (!ParseDoubles(stream, tagType, tagCount, whiteLevel, 4)) return false;
            // One for all planes.
            if (tagCount == 1) std::fill_n(whiteLevel, std::clamp(samplesPerPixel, 1u, 4u), whiteLevel[0]);
            return true;
        case kTagDefaultScale:
            if (!main || tagType != kTagRational || tagCount != 2) return false;
            read_pair(stream, tagType, defaultScaleH, defaultScaleV);
            return true;
        case kTagDefaultCropOrigin:
            if (!main || !is_length(tagType) || tagCount != 2) return false;
            read_pair(stream, tagType, defaultCropOriginH, defaultCropOriginV);
            return true;
        case kTagDefaultCropSize:
            if (!main || !is_length(tagType) || tagCount != 2) return false;
            read_pair(stream, tagType, defaultCropSizeH, defaultCropSizeV);
            return true;
        case kTagDefaultUserCrop:
            return main && tagType == kTagRational && tagCount == 4 &&
                   ParseDoubles(stream, tagType, tagCount, defaultUserCrop, 4);
        case kTagBestQualityScale:
            if (!main || tagType != kTagRational || tagCount != 1) return false;
            bestQualityScale = stream.getTagValue_urational(tagType);
            return true;
        case kTagBayerGreenSplit:
            if (!cfa || !whole || tagCount != 1) return false;
            bayerGreenSplit = stream.getTagValue_QMUINT32(tagType);
            return true;
        case kTagChromaBlurRadius:
            return main && tagType == kTagRational && ParseDoubles(stream, tagType, tagCount, &chromaBlurRadius, 1);
        case kTagAntiAliasStrength:
            return main && tagType == kTagRational && ParseDoubles(stream, tagType, tagCount, &antiAliasStrength, 1);
        case kTagActiveArea:
        case kTagMaskedAreas: {
            if (!raw || !whole || tagCount < 4 || tagCount % 4 != 0) return false;
            if (tagCode == kTagActiveArea && tagCount != 4) return false;
            DngRect rects[4];
            const uint32_t count = std::min<uint32_t>(tagCount / 4, 4);
            for (uint32_t i = 0; i < count; ++i) {
                for (int32_t *edge : {&rects[i].top, &rects[i].left, &rects[i].bottom, &rects[i].right}) {
                    *edge = stream.getTagValue_QMINT32(tagType);
                }
            }
            if (tagCode == kTagActiveArea) {
                activeArea = rects[0];
            } else {
                std::copy(rects, rects + count, maskedArea);
                maskedAreaCount = count;
            }
            return true;
        }
        case kTagOpcodeList1:
        case kTagOpcodeList2:
        case kTagOpcodeList3: {
            if (!main || tagType != kTagUndefined) return false;
            const uint32_t list = tagCode == kTagOpcodeList1 ? 0 : tagCode == kTagOpcodeList2 ? 1 : 2;
            opcodeListOffset[list] = offset, opcodeListLength[list] = tagCount;
            return true;
        }
        case kTagNoiseProfile:
            // Scale and offset, for all planes together or for each.
            if (tagType != kTagDouble || tagCount < 2 || tagCount > 8 || tagCount % 2 != 0) return false;
            if (!ParseDoubles(stream, tagType, tagCount, noise, 8)) return false;
            noiseCount = tagCount / 2;
            return true;
        default:
            return false;
    }
}
