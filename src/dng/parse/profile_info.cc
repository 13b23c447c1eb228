#include "dng/parse/profile_info.h"

#include "dng/parse/tag_codes.h"
#include "dng/parse/tag_helpers.h"

using namespace vorel;

bool VorelDngCameraProfileInfo::parseTag(VorelDngStream &stream, uint32_t parentCode, uint32_t tagCode,
                                         uint32_t tagType, uint32_t tagCount, uint64_t offset) {
    stream.setPosition(offset);
    littleEndian = stream.isLittleEndian();

    const auto text = [&](std::string &string) {
        if (!CheckTagType(parentCode, tagCode, tagType, kTagAscii, kTagByte)) return false;
        ParseStringTag(stream, parentCode, tagCode, tagCount, string);
        return true;
    };
    const auto number = [&](uint32_t &value) {
        if (!CheckTagType(parentCode, tagCode, tagType, kTagShort, kTagLong) || tagCount != 1) return false;
        value = stream.getTagValue_QMUINT32(tagType);
        return true;
    };
    const auto matrix = [&](VorelDngMatrix &result, uint32_t rows, uint32_t columns) {
        return tagType == kTagSRational &&
               ParseMatrixTag(stream, parentCode, tagCode, tagType, tagCount, rows, columns, result);
    };
    // The first one says how many colours the camera has.
    const auto color_matrix = [&](VorelDngMatrix &result) {
        if (tagCount % 3 != 0 || tagCount < 3 || (colorPlanes && colorPlanes != tagCount / 3)) return false;
        if (!matrix(result, tagCount / 3, 3)) return false;
        colorPlanes = tagCount / 3;
        return true;
    };
    const auto planes_matrix = [&](VorelDngMatrix &result, uint32_t rows) {
        return CheckColorImage(parentCode, tagCode, colorPlanes) && matrix(result, rows, colorPlanes);
    };
    const auto divisions = [&](uint32_t &hue, uint32_t &sat, uint32_t &val) {
        if (tagType != kTagLong || !CheckTagCount(parentCode, tagCode, tagCount, 2, 3)) return false;
        hue = stream.get_QMUINT32();
        sat = stream.get_QMUINT32();
        val = tagCount == 3 ? stream.get_QMUINT32() : 1;
        return true;
    };
    const auto table = [&](uint64_t &place, uint32_t &count) {
        if (tagType != kTagFloat || tagCount < 1) return false;
        place = offset;
        count = tagCount;
        return true;
    };

    switch (tagCode) {
        case kTagUniqueCameraModel:
            return text(uniqueCameraModel);
        case kTagProfileName:
            return text(name);
        case kTagProfileCopyright:
            return text(copyright);
        case kTagProfileCalibrationSignature:
            return text(calibrationSignature);
        case kTagProfileEmbedPolicy:
            return number(embedPolicy);
        case kTagCalibrationIlluminant1:
            return number(illuminant1);
        case kTagCalibrationIlluminant2:
            return number(illuminant2);
        case kTagColorMatrix1:
            return color_matrix(colorMatrix1);
        case kTagColorMatrix2:
            return color_matrix(colorMatrix2);
        case kTagCameraCalibration1:
            return planes_matrix(cameraCalibration1, colorPlanes);
        case kTagCameraCalibration2:
            return planes_matrix(cameraCalibration2, colorPlanes);
        case kTagReductionMatrix1:
            return planes_matrix(reductionMatrix1, 3);
        case kTagReductionMatrix2:
            return planes_matrix(reductionMatrix2, 3);
        case kTagForwardMatrix1:
            return planes_matrix(forwardMatrix1, 3);
        case kTagForwardMatrix2:
            return planes_matrix(forwardMatrix2, 3);
        case kTagProfileHueSatMapDims:
            return divisions(hueDivisions, satDivisions, valDivisions);
        case kTagProfileLookTableDims:
            return divisions(lookHueDivisions, lookSatDivisions, lookValDivisions);
        case kTagProfileHueSatMapData1:
            return table(hueSatDeltas1Offset, hueSatDeltas1Count);
        case kTagProfileHueSatMapData2:
            return table(hueSatDeltas2Offset, hueSatDeltas2Count);
        case kTagProfileLookTableData:
            return table(lookTableOffset, lookTableCount);
        case kTagProfileToneCurve:
            return table(toneCurveOffset, toneCurveCount);
        case kTagProfileHueSatMapEncoding:
            return number(hueSatMapEncoding);
        case kTagProfileLookTableEncoding:
            return number(lookTableEncoding);
        case kTagBaselineExposureOffset:
            return tagType == kTagSRational && ParseDoubles(stream, tagType, tagCount, &baselineExposureOffset, 1);
        case kTagDefaultBlackRender:
            return number(defaultBlackRender);
        default:
            return false;
    }
}
