package com.vorelsoft.images;

/**
 * The camera data of a raw file. The natives fill the fields by their names. Texts are empty where the file has none,
 * numbers 0.
 */
public class VorelDngExif {
    /** Texts of the file. Dates are YYYY-MM-DDTHH:MM:SS+H:MM, all zeros where absent; storage infos say where one stands. */
    public String mImageDescription, mMake, mModel, mSoftware, mArtist, mCopyright, mCopyright2,
            mUserComment, mDateTime, mDateTimeStorageInfo, mDateTimeOriginal, mDateTimeOriginalStorageInfo,
            mDateTimeDigitized, mDateTimeDigitizedStorageInfo;
    /** Versions: four characters, the first the most significant byte. */
    public long mTIFF_EP_StandardID, mExifVersion, mFlashPixVersion;
    /** Rational numbers as numerator/denominator, 0/0 where absent; the battery level as text. */
    public String mExposureTime, mFNumber, mShutterSpeedValue, mApertureValue, mBrightnessValue,
            mExposureBiasValue, mMaxApertureValue, mFocalLength, mDigitalZoomRatio, mExposureIndex,
            mSubjectDistance, mGamma, mBatteryLevelR, mBatteryLevelA;
    /** Numbers as Exif has them; of a list the first ones. The mask has the bits of mFlash that are known. */
    public long mExposureProgram, mMeteringMode, mLightSource, mFlash, mFlashMask, mSensingMethod,
            mColorSpace, mFileSource, mSceneType, mCustomRendered, mExposureMode, mWhiteBalance,
            mSceneCaptureType, mGainControl, mContrast, mSaturation, mSharpness, mSubjectDistanceRange,
            mSelfTimerMode, mImageNumber, mFocalLengthIn35mmFilm, mISOSpeedRatings0, mISOSpeedRatings1,
            mISOSpeedRatings2, mSensitivityType, mStandardOutputSensitivity, mRecommendedExposureIndex,
            mISOSpeed, mISOSpeedLatitudeyyy, mISOSpeedLatitudezzz, mSubjectAreaCount, mSubjectArea0,
            mSubjectArea1, mSubjectArea2, mSubjectArea3, mComponentsConfiguration;
    /** Numerator/denominator. */
    public String mCompresssedBitsPerPixel;
    /** Pixels. */
    public long mPixelXDimension, mPixelYDimension;
    /** Pixels a unit, numerator/denominator. */
    public String mFocalPlaneXResolution, mFocalPlaneYResolution;
    /** 2 inch, 3 centimetre. */
    public long mFocalPlaneResolutionUnit;
    /** Period of the colour filters. */
    public int mCFARepeatPatternRows, mCFARepeatPatternCols;
    /** Colours of the filters row by row, as 0 1 1 2; name of the picture, unique in the world. */
    public String mCFAPattern, mImageUniqueID;
    /** Version: four bytes. */
    public long mGPSVersionID;
    /** Position: degrees, minutes and seconds as numerator/denominator. */
    public String mGPSLatitudeRef, mGPSLatitude0, mGPSLatitude1, mGPSLatitude2, mGPSLongitudeRef,
            mGPSLongitude0, mGPSLongitude1, mGPSLongitude2;
    /** 0 above sea level, 1 below. */
    public int mGPSAltitudeRef;
    /** Satellite navigation as Exif has it; numbers as numerator/denominator. */
    public String mGPSAltitude, mGPSTimeStamp0, mGPSTimeStamp1, mGPSTimeStamp2, mGPSSatellites, mGPSStatus,
            mGPSMeasureMode, mGPSDOP, mGPSSpeedRef, mGPSSpeed, mGPSTrackRef, mGPSTrack, mGPSImgDirectionRef,
            mGPSImgDirection, mGPSMapDatum, mGPSDestLatitudeRef, mGPSDestLatitude0, mGPSDestLatitude1,
            mGPSDestLatitude2, mGPSDestLongitudeRef, mGPSDestLongitude0, mGPSDestLongitude1,
            mGPSDestLongitude2, mGPSDestBearingRef, mGPSDestBearing, mGPSDestDistanceRef, mGPSDestDistance,
            mGPSProcessingMethod, mGPSAreaInformation, mGPSDateStamp;
    /** 1 with differential correction. */
    public long mGPSDifferential;
    /** Metres as numerator/denominator; rule that the file follows. */
    public String mGPSHPositioningError, mInteroperabilityIndex;
    /** Version: four characters. */
    public long mInteroperabilityVersion;
    /** Format of the picture that this one was made of. */
    public String mRelatedImageFileFormat;
    /** Its size in pixels. */
    public long mRelatedImageWidth, mRelatedImageLength;
    /** Camera and lens: focal lengths in mm and F numbers as numerator/denominator, names. */
    public String mCameraSerialNumber, mLensInfo0, mLensInfo1, mLensInfo2, mLensInfo3, mLensID, mLensMake,
            mLensName, mLensSerialNumber;
    /** 1 when the name stands in the file. */
    public int mLensNameWasReadFromExif;
    /** Distance in metres, compensation in EV, owner, firmware, title, distortion. */
    public String mApproxFocusDistance, mFlashCompensation, mOwnerName, mFirmware, mTitle, mLensDistortInfo0,
            mLensDistortInfo1, mLensDistortInfo2, mLensDistortInfo3;

    /** An empty record. */
    public VorelDngExif() {}
}
