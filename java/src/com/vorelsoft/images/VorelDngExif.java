package com.vorelsoft.images;

/** The camera data of a raw file. */
public class VorelDngExif {
    public String mImageDescription, mMake, mModel, mSoftware, mArtist, mCopyright, mCopyright2,
            mUserComment, mDateTime, mDateTimeStorageInfo, mDateTimeOriginal, mDateTimeOriginalStorageInfo,
            mDateTimeDigitized, mDateTimeDigitizedStorageInfo;
    public long mTIFF_EP_StandardID, mExifVersion, mFlashPixVersion;
    public String mExposureTime, mFNumber, mShutterSpeedValue, mApertureValue, mBrightnessValue,
            mExposureBiasValue, mMaxApertureValue, mFocalLength, mDigitalZoomRatio, mExposureIndex,
            mSubjectDistance, mGamma, mBatteryLevelR, mBatteryLevelA;
    public long mExposureProgram, mMeteringMode, mLightSource, mFlash, mFlashMask, mSensingMethod,
            mColorSpace, mFileSource, mSceneType, mCustomRendered, mExposureMode, mWhiteBalance,
            mSceneCaptureType, mGainControl, mContrast, mSaturation, mSharpness, mSubjectDistanceRange,
            mSelfTimerMode, mImageNumber, mFocalLengthIn35mmFilm, mISOSpeedRatings0, mISOSpeedRatings1,
            mISOSpeedRatings2, mSensitivityType, mStandardOutputSensitivity, mRecommendedExposureIndex,
            mISOSpeed, mISOSpeedLatitudeyyy, mISOSpeedLatitudezzz, mSubjectAreaCount, mSubjectArea0,
            mSubjectArea1, mSubjectArea2, mSubjectArea3, mComponentsConfiguration;
    public String mCompresssedBitsPerPixel;
    public long mPixelXDimension, mPixelYDimension;
    public String mFocalPlaneXResolution, mFocalPlaneYResolution;
    public long mFocalPlaneResolutionUnit;
    public int mCFARepeatPatternRows, mCFARepeatPatternCols;
    public String mCFAPattern, mImageUniqueID;
    public long mGPSVersionID;
    public String mGPSLatitudeRef, mGPSLatitude0, mGPSLatitude1, mGPSLatitude2, mGPSLongitudeRef,
            mGPSLongitude0, mGPSLongitude1, mGPSLongitude2;
    public int mGPSAltitudeRef;
    public String mGPSAltitude, mGPSTimeStamp0, mGPSTimeStamp1, mGPSTimeStamp2, mGPSSatellites, mGPSStatus,
            mGPSMeasureMode, mGPSDOP, mGPSSpeedRef, mGPSSpeed, mGPSTrackRef, mGPSTrack, mGPSImgDirectionRef,
            mGPSImgDirection, mGPSMapDatum, mGPSDestLatitudeRef, mGPSDestLatitude0, mGPSDestLatitude1,
            mGPSDestLatitude2, mGPSDestLongitudeRef, mGPSDestLongitude0, mGPSDestLongitude1,
            mGPSDestLongitude2, mGPSDestBearingRef, mGPSDestBearing, mGPSDestDistanceRef, mGPSDestDistance,
            mGPSProcessingMethod, mGPSAreaInformation, mGPSDateStamp;
    public long mGPSDifferential;
    public String mGPSHPositioningError, mInteroperabilityIndex;
    public long mInteroperabilityVersion;
    public String mRelatedImageFileFormat;
    public long mRelatedImageWidth, mRelatedImageLength;
    public String mCameraSerialNumber, mLensInfo0, mLensInfo1, mLensInfo2, mLensInfo3, mLensID, mLensMake,
            mLensName, mLensSerialNumber;
    public int mLensNameWasReadFromExif;
    public String mApproxFocusDistance, mFlashCompensation, mOwnerName, mFirmware, mTitle, mLensDistortInfo0,
            mLensDistortInfo1, mLensDistortInfo2, mLensDistortInfo3;
}
