#include "dng/parse/shared.h"

#include "dng/parse/dng_file.h"
#include "dng/parse/tag_codes.h"
#include "dng/parse/tag_helpers.h"

using namespace vorel;

namespace {

// The parts of a version or the bytes of a digest. False unless the tag holds just as many.
bool read_bytes(VorelDngStream &stream, uint32_t type, uint32_t count, uint8_t *bytes, uint32_t wanted) {
    if (type != kTagByte || count != wanted) return false;
    for (uint32_t i = 0; i < wanted; ++i) bytes[i] = stream.get_QMUINT8();
    return true;
}

bool read_version(VorelDngStream &stream, uint32_t type, uint32_t count, uint32_t &version) {
    uint8_t parts[4];
    if (!read_bytes(stream, type, count, parts, 4)) return false;
    version = uint32_t{parts[0]} << 24 | uint32_t{parts[1]} << 16 | uint32_t{parts[2]} << 8 | parts[3];
    return true;
}

bool read_directory(VorelDngStream &stream, uint32_t type, uint32_t count, uint64_t &offset) {
    if ((type != kTagLong && type != kTagIfd) || count != 1) return false;
    offset = stream.get_QMUINT32();
    return true;
}

}  // namespace

bool VorelDngShared::parseTag(VorelDngStream &stream, VorelDngExif &, uint32_t parentCode, uint32_t tagCode,
                              uint32_t tagType, uint32_t tagCount, uint64_t offset) {
    stream.setPosition(offset);
    if (parentCode == kParentExif) {
        if (tagCode == kTagInteroperabilityIfd) {
            return read_directory(stream, tagType, tagCount, interoperabilityIFD);
        }
        if (tagCode != kTagMakerNote || tagType != kTagUndefined) return false;
        makerNoteOffset = offset;
        makerNoteCount = tagCount;
        return true;
    }
    if (parentCode != kParentIfd0) return false;

    // Two tags are of the profile and of the file.
    const bool of_profile = cameraProfile.parseTag(stream, parentCode, tagCode, tagType, tagCount, offset);
    stream.setPosition(offset);

    const auto text = [&](std::string &string) {
        if (!CheckTagType(parentCode, tagCode, tagType, kTagAscii, kTagByte)) return false;
        ParseStringTag(stream, parentCode, tagCode, tagCount, string);
        return true;
    };
    const auto block = [&](uint64_t &place, uint32_t &count) {
        if (!CheckTagType(parentCode, tagCode, tagType, kTagByte, kTagUndefined, kTagLong) || tagCount < 1)
            return false;
        place = offset;
        count = tagCount * TagTypeSize(tagType);
        return true;
    };
    const auto rational = [&](DngURational &value) {
        if (tagType != kTagRational || tagCount != 1) return false;
        value = stream.getTagValue_urational(tagType);
        return true;
    };
    const auto sizes = [&](uint32_t(&size)[2]) {
        if (!CheckTagType(parentCode, tagCode, tagType, kTagShort, kTagLong) || tagCount != 2) return false;
        for (uint32_t &side : size) side = stream.getTagValue_QMUINT32(tagType);
        return true;
    };
    const uint32_t planes = cameraProfile.colorPlanes;
    const bool color = CheckColorImage(parentCode, tagCode, planes);
    const auto vector = [&](VorelDngVector &result) {
        if (!color || !CheckTagType(parentCode, tagCode, tagType, kTagRational, kTagShort, kTagLong)) return false;
        return ParseVectorTag(stream, parentCode, tagCode, tagType, tagCount, planes, result);
    };
    const auto matrix = [&](VorelDngMatrix &result, uint32_t rows) {
        return color && tagType == kTagSRational &&
               ParseMatrixTag(stream, parentCode, tagCode, tagType, tagCount, rows, planes, result);
    };

    switch (tagCode) {
        case kTagExifIfd:
            return read_directory(stream, tagType, tagCount, exifIFD);
        case kTagGpsIfd:
            return read_directory(stream, tagType, tagCount, gpsInfo);
        case kTagDngVersion:
            return read_version(stream, tagType, tagCount, dngVersion);
        case kTagDngBackwardVersion:
            return read_version(stream, tagType, tagCount, dngBackwardVersion);
        case kTagUniqueCameraModel:
            return text(uniqueCameraModel);
        case kTagLocalizedCameraModel:
            return text(localizedCameraModel);
        case kTagCameraCalibration1:
            return matrix(cameraCalibration1, planes);
        case kTagCameraCalibration2:
            return matrix(cameraCalibration2, planes);
        case kTagCameraCalibrationSignature:
            return text(cameraCalibrationSignature);
        case kTagAsShotProfileName:
            return text(asShotProfileName);
        case kTagAnalogBalance:
            return vector(analogBalance);
        case kTagAsShotNeutral:
            return vector(asShotNeutral);
        case kTagAsShotWhiteXY:
            if (tagType != kTagRational || tagCount != 2) return false;
            asShotWhiteXY.x = stream.getTagValue_QMDOUBLE(tagType);
            asShotWhiteXY.y = stream.getTagValue_QMDOUBLE(tagType);
            return true;
        case kTagBaselineExposure:
            if (tagType != kTagSRational || tagCount != 1) return false;
            baselineExposure = stream.getTagValue_srational(tagType);
            return true;
        case kTagBaselineNoise:
            return rational(baselineNoise);
        case kTagNoiseReductionApplied:
            return rational(noiseReductionApplied);
        case kTagBaselineSharpness:
            return rational(baselineSharpness);
        case kTagLinearResponseLimit:
            return rational(linearResponseLimit);
        case kTagShadowScale:
            return rational(shadowScale);
        case kTagMakerNoteSafety:
            if (tagType != kTagShort || tagCount != 1) return false;
            makerNoteSafe = stream.get_QMUINT16() == 1;
            return true;
        case kTagRawImageDigest:
            return read_bytes(stream, tagType, tagCount, rawImageDigest, 16);
        case kTagNewRawImageDigest:
            return read_bytes(stream, tagType, tagCount, newRawImageDigest, 16);
        case kTagRawDataUniqueId:
            return read_bytes(stream, tagType, tagCount, rawDataUniqueID, 16);
        case kTagOriginalRawFileDigest:
            return read_bytes(stream, tagType, tagCount, originalRawFileDigest, 16);
        case kTagOriginalRawFileName:
            return text(originalRawFileName);
        case kTagOriginalDefaultFinalSize:
            return sizes(originalDefaultFinalSize);
        case kTagOriginalBestQualityFinalSize:
            return sizes(originalBestQualitySize);
        case kTagOriginalDefaultCropSize:
            return CheckTagType(parentCode, tagCode, tagType, kTagShort, kTagLong, kTagRational) && tagCount == 2 &&
                   ParseDoubles(stream, tagType, tagCount, originalDefaultCropSize, 2);
        case kTagDngPrivateData:
            return block(dngPrivateDataOffset, dngPrivateDataCount);
        case kTagXmp:
            return block(xmpOffset, xmpCount);
        case kTagIptc:
            return block(iptcOffset, iptcCount);
        case kTagOriginalRawFileData:
            return block(originalRawDataOffset, originalRawDataCount);
        case kTagAsShotIccProfile:
            return block(asShotICCProfileOffset, asShotICCProfileCount);
        case kTagCurrentIccProfile:
            return block(currentICCProfileOffset, currentICCProfileCount);
        case kTagAsShotPreProfileMatrix:
            return matrix(asShotPreProfileMatrix, tagCount == 3 * planes ? 3 : planes);
        case kTagCurrentPreProfileMatrix:
            return matrix(currentPreProfileMatrix, tagCount == 3 * planes ? 3 : planes);
        case kTagColorimetricReference:
            if (tagType != kTagShort || tagCount != 1) return false;
            colorimetricReference = stream.get_QMUINT16();
            return true;
        case kTagExtraCameraProfiles:
            if (tagType != kTagLong || tagCount < 1) return false;
            extraProfilesType = tagType;
            extraProfilesCount = tagCount;
            extraProfilesOffset = offset;
            return true;
        default:
            return of_profile;
    }
}

void VorelDngShared::postParse(VorelDngExif &) {
    // A file without a DNG version is no DNG, whatever its other tags say.
    if (dngVersion && !dngBackwardVersion) dngBackwardVersion = dngVersion & 0xFFFF0000;
    for (VorelDngCameraProfileInfo &profile : extraProfiles) {
        if (profile.uniqueCameraModel.empty()) profile.uniqueCameraModel = uniqueCameraModel;
    }
}
