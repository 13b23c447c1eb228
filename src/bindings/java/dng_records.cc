// The camera data of a raw file, into Java objects.
#include <jni.h>

#include <vorel/bindings_java.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "bindings/java/java_bytes.h"
#include "bindings/java/java_fields.h"

namespace vorel {
namespace {

enum class FieldKind : uint8_t { kText, kUnsigned, kSigned };

template <typename Member>
constexpr FieldKind kind_of() {
    if constexpr (std::is_same_v<Member, uint32_t>) return FieldKind::kUnsigned;
    if constexpr (std::is_same_v<Member, int32_t>) return FieldKind::kSigned;
    return FieldKind::kText;
}

struct RecordField {
    const char *name;
    size_t offset;
    FieldKind kind;
};

// Java has the members of the record by their names: texts as String, unsigned numbers as long, others as int.
#define VOREL_FIELD(name) \
    { #name, offsetof(CPVorelDngExif, name), kind_of < decltype(CPVorelDngExif::name)>() }
constexpr RecordField kExifFields[] = {
    VOREL_FIELD(mImageDescription),
    VOREL_FIELD(mMake),
    VOREL_FIELD(mModel),
    VOREL_FIELD(mSoftware),
    VOREL_FIELD(mArtist),
    VOREL_FIELD(mCopyright),
    VOREL_FIELD(mCopyright2),
    VOREL_FIELD(mUserComment),
    VOREL_FIELD(mDateTime),
    VOREL_FIELD(mDateTimeStorageInfo),
    VOREL_FIELD(mDateTimeOriginal),
    VOREL_FIELD(mDateTimeOriginalStorageInfo),
    VOREL_FIELD(mDateTimeDigitized),
    VOREL_FIELD(mDateTimeDigitizedStorageInfo),
    VOREL_FIELD(mTIFF_EP_StandardID),
    VOREL_FIELD(mExifVersion),
    VOREL_FIELD(mFlashPixVersion),
    VOREL_FIELD(mExposureTime),
    VOREL_FIELD(mFNumber),
    VOREL_FIELD(mShutterSpeedValue),
    VOREL_FIELD(mApertureValue),
    VOREL_FIELD(mBrightnessValue),
    VOREL_FIELD(mExposureBiasValue),
    VOREL_FIELD(mMaxApertureValue),
    VOREL_FIELD(mFocalLength),
    VOREL_FIELD(mDigitalZoomRatio),
    VOREL_FIELD(mExposureIndex),
    VOREL_FIELD(mSubjectDistance),
    VOREL_FIELD(mGamma),
    VOREL_FIELD(mBatteryLevelR),
    VOREL_FIELD(mBatteryLevelA),
    VOREL_FIELD(mExposureProgram),
    VOREL_FIELD(mMeteringMode),
    VOREL_FIELD(mLightSource),
    VOREL_FIELD(mFlash),
    VOREL_FIELD(mFlashMask),
    VOREL_FIELD(mSensingMethod),
    VOREL_FIELD(mColorSpace),
    VOREL_FIELD(mFileSource),
    VOREL_FIELD(mSceneType),
    VOREL_FIELD(mCustomRendered),
    VOREL_FIELD(mExposureMode),
    VOREL_FIELD(mWhiteBalance),
    VOREL_FIELD(mSceneCaptureType),
    VOREL_FIELD(mGainControl),
    VOREL_FIELD(mContrast),
    VOREL_FIELD(mSaturation),
    VOREL_FIELD(mSharpness),
    VOREL_FIELD(mSubjectDistanceRange),
    VOREL_FIELD(mSelfTimerMode),
    VOREL_FIELD(mImageNumber),
    VOREL_FIELD(mFocalLengthIn35mmFilm),
    VOREL_FIELD(mISOSpeedRatings0),
    VOREL_FIELD(mISOSpeedRatings1),
    VOREL_FIELD(mISOSpeedRatings2),
    VOREL_FIELD(mSensitivityType),
    VOREL_FIELD(mStandardOutputSensitivity),
    VOREL_FIELD(mRecommendedExposureIndex),
    VOREL_FIELD(mISOSpeed),
    VOREL_FIELD(mISOSpeedLatitudeyyy),
    VOREL_FIELD(mISOSpeedLatitudezzz),
    VOREL_FIELD(mSubjectAreaCount),
    VOREL_FIELD(mSubjectArea0),
    VOREL_FIELD(mSubjectArea1),
    VOREL_FIELD(mSubjectArea2),
    VOREL_FIELD(mSubjectArea3),
    VOREL_FIELD(mComponentsConfiguration),
    VOREL_FIELD(mCompresssedBitsPerPixel),
    VOREL_FIELD(mPixelXDimension),
    VOREL_FIELD(mPixelYDimension),
    VOREL_FIELD(mFocalPlaneXResolution),
    VOREL_FIELD(mFocalPlaneYResolution),
    VOREL_FIELD(mFocalPlaneResolutionUnit),
    VOREL_FIELD(mCFARepeatPatternRows),
    VOREL_FIELD(mCFARepeatPatternCols),
    VOREL_FIELD(mCFAPattern),
    VOREL_FIELD(mImageUniqueID),
    VOREL_FIELD(mGPSVersionID),
    VOREL_FIELD(mGPSLatitudeRef),
    VOREL_FIELD(mGPSLatitude0),
    VOREL_FIELD(mGPSLatitude1),
    VOREL_FIELD(mGPSLatitude2),
    VOREL_FIELD(mGPSLongitudeRef),
    VOREL_FIELD(mGPSLongitude0),
    VOREL_FIELD(mGPSLongitude1),
    VOREL_FIELD(mGPSLongitude2),
    VOREL_FIELD(mGPSAltitudeRef),
    VOREL_FIELD(mGPSAltitude),
    VOREL_FIELD(mGPSTimeStamp0),
    VOREL_FIELD(mGPSTimeStamp1),
    VOREL_FIELD(mGPSTimeStamp2),
    VOREL_FIELD(mGPSSatellites),
    VOREL_FIELD(mGPSStatus),
    VOREL_FIELD(mGPSMeasureMode),
    VOREL_FIELD(mGPSDOP),
    VOREL_FIELD(mGPSSpeedRef),
    VOREL_FIELD(mGPSSpeed),
    VOREL_FIELD(mGPSTrackRef),
    VOREL_FIELD(mGPSTrack),
    VOREL_FIELD(mGPSImgDirectionRef),
    VOREL_FIELD(mGPSImgDirection),
    VOREL_FIELD(mGPSMapDatum),
    VOREL_FIELD(mGPSDestLatitudeRef),
    VOREL_FIELD(mGPSDestLatitude0),
    VOREL_FIELD(mGPSDestLatitude1),
    VOREL_FIELD(mGPSDestLatitude2),
    VOREL_FIELD(mGPSDestLongitudeRef),
    VOREL_FIELD(mGPSDestLongitude0),
    VOREL_FIELD(mGPSDestLongitude1),
    VOREL_FIELD(mGPSDestLongitude2),
    VOREL_FIELD(mGPSDestBearingRef),
    VOREL_FIELD(mGPSDestBearing),
    VOREL_FIELD(mGPSDestDistanceRef),
    VOREL_FIELD(mGPSDestDistance),
    VOREL_FIELD(mGPSProcessingMethod),
    VOREL_FIELD(mGPSAreaInformation),
    VOREL_FIELD(mGPSDateStamp),
    VOREL_FIELD(mGPSDifferential),
    VOREL_FIELD(mGPSHPositioningError),
    VOREL_FIELD(mInteroperabilityIndex),
    VOREL_FIELD(mInteroperabilityVersion),
    VOREL_FIELD(mRelatedImageFileFormat),
    VOREL_FIELD(mRelatedImageWidth),
    VOREL_FIELD(mRelatedImageLength),
    VOREL_FIELD(mCameraSerialNumber),
    VOREL_FIELD(mLensInfo0),
    VOREL_FIELD(mLensInfo1),
    VOREL_FIELD(mLensInfo2),
    VOREL_FIELD(mLensInfo3),
    VOREL_FIELD(mLensID),
    VOREL_FIELD(mLensMake),
    VOREL_FIELD(mLensName),
    VOREL_FIELD(mLensSerialNumber),
    VOREL_FIELD(mLensNameWasReadFromExif),
    VOREL_FIELD(mApproxFocusDistance),
    VOREL_FIELD(mFlashCompensation),
    VOREL_FIELD(mOwnerName),
    VOREL_FIELD(mFirmware),
    VOREL_FIELD(mTitle),
    VOREL_FIELD(mLensDistortInfo0),
    VOREL_FIELD(mLensDistortInfo1),
    VOREL_FIELD(mLensDistortInfo2),
    VOREL_FIELD(mLensDistortInfo3),
};
#undef VOREL_FIELD
constexpr size_t kTextBytes = sizeof CPVorelDngExif::mMake;

template <typename Number>
Number number_at(const CPVorelDngExif *record, size_t offset) {
    Number number;
    std::memcpy(&number, reinterpret_cast<const char *>(record) + offset, sizeof number);
    return number;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

// Objects may lack fields.
void copyExifInfo(JNIEnv *env, jobject destination, const CPVorelDngExif *source) {
    if (!destination || !source) return;
    const JavaFields fields(env, destination, MissingField{nullptr, nullptr});
    for (const RecordField &field : kExifFields) {
        if (field.kind == FieldKind::kText) {
            fields.set(field.name, reinterpret_cast<const char *>(source) + field.offset, kTextBytes);
        } else if (field.kind == FieldKind::kUnsigned) {
            fields.set(field.name, int64_t{number_at<uint32_t>(source, field.offset)});
        } else {
            fields.set(field.name, number_at<int32_t>(source, field.offset));
        }
    }
}

void copyMetadataInfo(JNIEnv *env, jobject destination, const CPVorelDngMetadata *source) {
    if (!destination || !source) return;
    const JavaFields fields(env, destination, MissingField{nullptr, nullptr});
    fields.set("mHasBaseOrientation", source->hasBaseOrientation != 0);
    fields.set("mBaseOrientation", int64_t{source->baseOrientation});
    fields.set("mIsMakerNoteSafe", source->isMakerNoteSafe != 0);
    fields.set("mImageWidth", source->imageWidth);
    fields.set("mImageHeight", source->imageHeight);
    fields.set("mCropOriginX", source->cropOriginX);
    fields.set("mCropOriginY", source->cropOriginY);
    fields.set("mCropWidth", source->cropWidth);
    fields.set("mCropHeight", source->cropHeight);
    fields.set("mMakerNoteSize", int64_t{source->makerNoteSize});
    fields.set_bytes("mMakerNote", source->makerNote, static_cast<int32_t>(source->makerNoteSize));
    if (const jbyteArray digest = fields.get_bytes("mEmbeddedXMPDigest")) {
        write_bytes(env, digest, 0, source->embeddedXMPDigest, sizeof source->embeddedXMPDigest);
        env->DeleteLocalRef(digest);
    }
    fields.set("mXMPinSidecar", source->xmpInSidecar != 0);
    fields.set("mXMPisNewer", source->xmpIsNewer != 0);
    if (source->sourceMIME) fields.set("mSourceMIME", source->sourceMIME, strlen(source->sourceMIME));
}

}  // extern "C"
