/* What a raw file says about itself, without developing it: DNG 1.4.0.0, TIFF 6.0, Exif 2.3 (CIPA DC-008). Each call
 * parses the file anew, which reads directories and no samples. */
#ifndef VOREL_DNG_METADATA_H
#define VOREL_DNG_METADATA_H

#include <stdint.h>

#include <vorel/export.h>

VOREL_BEGIN_DECLS

/* Sizes are those of the main image, and 0 without one; the crop is the default crop, rounded to whole samples. */
typedef struct CPVorelDngMetadata {
    uint8_t hasBaseOrientation; /* 1: the file states baseOrientation, 1 to 8 as in Exif */
    int32_t baseOrientation;
    uint8_t isMakerNoteSafe; /* 1: the maker note holds no offsets from the beginning of the file */
    int32_t imageWidth, imageHeight, cropOriginX, cropOriginY, cropWidth, cropHeight;
    uint32_t makerNoteSize;        /* bytes */
    uint8_t *makerNote;            /* null for a size of 0 */
    uint8_t embeddedXMPDigest[16]; /* zeros, like the next two: no file states them */
    uint8_t xmpInSidecar, xmpIsNewer;
    char *sourceMIME; /* "" where unknown */
} CPVorelDngMetadata;

/* Texts end with a NUL and are cut at 255 bytes. Rationals are texts "numerator/denominator", "0/0" where absent; dates
 * "YYYY-MM-DDTHH:MM:SS+H:MM", all zeros where absent; storage infos "format,offset", with format 1 for an Exif date
 * that stands at that offset of the file. Numbers are 0 where absent; versions hold four characters, the first the most
 * significant byte. */
typedef struct CPVorelDngExif {
    char mImageDescription[256], mMake[256], mModel[256], mSoftware[256], mArtist[256], mCopyright[256],
        mCopyright2[256], mUserComment[256];
    char mDateTime[256], mDateTimeStorageInfo[256], mDateTimeOriginal[256], mDateTimeOriginalStorageInfo[256],
        mDateTimeDigitized[256], mDateTimeDigitizedStorageInfo[256];
    uint32_t mTIFF_EP_StandardID, mExifVersion, mFlashPixVersion;
    char mExposureTime[256], mFNumber[256], mShutterSpeedValue[256], mApertureValue[256], mBrightnessValue[256],
        mExposureBiasValue[256], mMaxApertureValue[256], mFocalLength[256], mDigitalZoomRatio[256], mExposureIndex[256],
        mSubjectDistance[256], mGamma[256];
    char mBatteryLevelR[256], mBatteryLevelA[256]; /* as a number, as text */
    uint32_t mExposureProgram, mMeteringMode, mLightSource, mFlash;
    uint32_t mFlashMask; /* the bits of mFlash that are known */
    uint32_t mSensingMethod, mColorSpace, mFileSource, mSceneType, mCustomRendered, mExposureMode, mWhiteBalance,
        mSceneCaptureType, mGainControl, mContrast, mSaturation, mSharpness, mSubjectDistanceRange, mSelfTimerMode,
        mImageNumber, mFocalLengthIn35mmFilm;
    uint32_t mISOSpeedRatings0, mISOSpeedRatings1, mISOSpeedRatings2, mSensitivityType, mStandardOutputSensitivity,
        mRecommendedExposureIndex, mISOSpeed, mISOSpeedLatitudeyyy, mISOSpeedLatitudezzz;
    uint32_t mSubjectAreaCount, mSubjectArea0, mSubjectArea1, mSubjectArea2, mSubjectArea3, mComponentsConfiguration;
    char mCompresssedBitsPerPixel[256];
    uint32_t mPixelXDimension, mPixelYDimension;
    char mFocalPlaneXResolution[256], mFocalPlaneYResolution[256];
    uint32_t mFocalPlaneResolutionUnit;
    int32_t mCFARepeatPatternRows, mCFARepeatPatternCols;
    char mCFAPattern[256]; /* colours row by row: "0 1 1 2" */
    char mImageUniqueID[256];

    uint32_t mGPSVersionID;
    char mGPSLatitudeRef[256], mGPSLatitude0[256], mGPSLatitude1[256], mGPSLatitude2[256], mGPSLongitudeRef[256],
        mGPSLongitude0[256], mGPSLongitude1[256], mGPSLongitude2[256];
    int32_t mGPSAltitudeRef;
    char mGPSAltitude[256], mGPSTimeStamp0[256], mGPSTimeStamp1[256], mGPSTimeStamp2[256], mGPSSatellites[256],
        mGPSStatus[256], mGPSMeasureMode[256], mGPSDOP[256], mGPSSpeedRef[256], mGPSSpeed[256], mGPSTrackRef[256],
        mGPSTrack[256], mGPSImgDirectionRef[256], mGPSImgDirection[256], mGPSMapDatum[256];
    char mGPSDestLatitudeRef[256], mGPSDestLatitude0[256], mGPSDestLatitude1[256], mGPSDestLatitude2[256],
        mGPSDestLongitudeRef[256], mGPSDestLongitude0[256], mGPSDestLongitude1[256], mGPSDestLongitude2[256],
        mGPSDestBearingRef[256], mGPSDestBearing[256], mGPSDestDistanceRef[256], mGPSDestDistance[256];
    char mGPSProcessingMethod[256], mGPSAreaInformation[256], mGPSDateStamp[256];
    uint32_t mGPSDifferential;
    char mGPSHPositioningError[256];

    char mInteroperabilityIndex[256];
    uint32_t mInteroperabilityVersion;
    char mRelatedImageFileFormat[256];
    uint32_t mRelatedImageWidth, mRelatedImageLength;

    char mCameraSerialNumber[256];
    char mLensInfo0[256], mLensInfo1[256], mLensInfo2[256], mLensInfo3[256]; /* mm, mm, F number, F number */
    char mLensID[256], mLensMake[256], mLensName[256], mLensSerialNumber[256];
    int32_t mLensNameWasReadFromExif;
    char mApproxFocusDistance[256], mFlashCompensation[256];
    char mOwnerName[256], mFirmware[256], mTitle[256];
    char mLensDistortInfo0[256], mLensDistortInfo1[256], mLensDistortInfo2[256], mLensDistortInfo3[256];
} CPVorelDngExif;

/* Each fills the records that are not null: 1, or -1 for no TIFF file, 0 bytes or no memory, with the records cleared.
 * exifOut is the record of the file that the DNG was made of where that is kept, else of the DNG; exifOut2 that of the
 * DNG. */
VOREL_API int32_t parseMetadata(const uint8_t *buffer, int32_t length, CPVorelDngMetadata *metadataOut,
                                CPVorelDngExif *exifOut, CPVorelDngExif *exifOut2);
VOREL_API int32_t parseExifInfo(const uint8_t *buffer, int32_t length, CPVorelDngExif *exifOut);
/* Offset and length of the XMP packet in the buffer. 0, with both 0, where there is none. */
VOREL_API int32_t parseXMPBuffer(const uint8_t *buffer, int32_t length, int64_t *offsetOut, int32_t *lengthOut,
                                 CPVorelDngExif *exifOut);

/* Frees the two heap blocks of a record that parseMetadata filled, and clears their pointers. */
VOREL_API void freeCPVorelDngMetadata(CPVorelDngMetadata *metadata);

VOREL_END_DECLS

#endif
