// The Exif record as callers get it.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "dng/parse/metadata.h"

namespace {

constexpr size_t kTextBytes = 256;

void put(const std::string &text, char *out) {
    const size_t bytes = std::min(text.size(), kTextBytes - 1);
    std::memcpy(out, text.data(), bytes);
    out[bytes] = '\0';
}
void put(const vorel::DngURational &value, char *out) { convertURationalClass2Char(value, out); }
void put(const vorel::DngSRational &value, char *out) { convertSRationalClass2Char(value, out); }
void put(const VorelDngDateTime &value, char *out) { convertDateTimeClass2Char(value, out); }
void put(const vorel::DngDateTimeStorageInfo &value, char *out) { convertDateTimeStorageInfoClass2Char(value, out); }
void put(uint32_t value, uint32_t &out) { out = value; }
void put(uint32_t value, int32_t &out) { out = static_cast<int32_t>(value); }

// Row by row, with blanks between.
void put_cfa_pattern(const VorelDngExif &exif, char *out) {
    std::string text;
    for (uint32_t row = 0; row < exif.cfaRepeatPatternRows; ++row) {
        for (uint32_t column = 0; column < exif.cfaRepeatPatternCols; ++column) {
            if (!text.empty()) text += ' ';
            text += std::to_string(exif.cfaPattern[row][column]);
        }
    }
    put(text, out);
}

}  // namespace

void convertURationalClass2Char(const vorel::DngURational &value, char *out) {
    std::snprintf(out, kTextBytes, "%u/%u", value.n, value.d);
}

void convertSRationalClass2Char(const vorel::DngSRational &value, char *out) {
    std::snprintf(out, kTextBytes, "%d/%d", value.n, value.d);
}

void convertDateTimeClass2Char(const VorelDngDateTime &value, char *out) {
    const int32_t minutes = value.zoneMinutes % 60;
    std::snprintf(out, kTextBytes, "%04u-%02u-%02uT%02u:%02u:%02u%+d:%02d", value.year, value.month, value.day,
                  value.hour, value.minute, value.second, value.zoneMinutes / 60, minutes < 0 ? -minutes : minutes);
}

void convertDateTimeStorageInfoClass2Char(const vorel::DngDateTimeStorageInfo &value, char *out) {
    std::snprintf(out, kTextBytes, "%d,%" PRIu64, static_cast<int32_t>(value.format), value.offset);
}

void convertExifClass2Struct(const VorelDngExif &exif, CPVorelDngExif *out) {
    std::memset(out, 0, sizeof *out);
    put(exif.imageDescription, out->mImageDescription);
    put(exif.make, out->mMake);
    put(exif.model, out->mModel);
    put(exif.software, out->mSoftware);
    put(exif.artist, out->mArtist);
    put(exif.copyright, out->mCopyright);
    put(exif.copyright2, out->mCopyright2);
    put(exif.userComment, out->mUserComment);
    put(exif.dateTime, out->mDateTime);
    put(exif.dateTimeStorage, out->mDateTimeStorageInfo);
    put(exif.dateTimeOriginal, out->mDateTimeOriginal);
    put(exif.dateTimeOriginalStorage, out->mDateTimeOriginalStorageInfo);
    put(exif.dateTimeDigitized, out->mDateTimeDigitized);
    put(exif.dateTimeDigitizedStorage, out->mDateTimeDigitizedStorageInfo);
    put(exif.tiffEpStandardID, out->mTIFF_EP_StandardID);
    put(exif.exifVersion, out->mExifVersion);
    put(exif.flashPixVersion, out->mFlashPixVersion);
    put(exif.exposureTime, out->mExposureTime);
    put(exif.fNumber, out->mFNumber);
    put(exif.shutterSpeedValue, out->mShutterSpeedValue);
    put(exif.apertureValue, out->mApertureValue);
    put(exif.brightnessValue, out->mBrightnessValue);
    put(exif.exposureBiasValue, out->mExposureBiasValue);
    put(exif.maxApertureValue, out->mMaxApertureValue);
    put(exif.focalLength, out->mFocalLength);
    put(exif.digitalZoomRatio, out->mDigitalZoomRatio);
    put(exif.exposureIndex, out->mExposureIndex);
    put(exif.subjectDistance, out->mSubjectDistance);
    put(exif.gamma, out->mGamma);
    put(exif.batteryLevelR, out->mBatteryLevelR);
    put(exif.batteryLevelA, out->mBatteryLevelA);
    put(exif.exposureProgram, out->mExposureProgram);
    put(exif.meteringMode, out->mMeteringMode);
    put(exif.lightSource, out->mLightSource);
    put(exif.flash, out->mFlash);
    put(exif.flashMask, out->mFlashMask);
    put(exif.sensingMethod, out->mSensingMethod);
    put(exif.colorSpace, out->mColorSpace);
    put(exif.fileSource, out->mFileSource);
    put(exif.sceneType, out->mSceneType);
    put(exif.customRendered, out->mCustomRendered);
    put(exif.exposureMode, out->mExposureMode);
    put(exif.whiteBalance, out->mWhiteBalance);
    put(exif.sceneCaptureType, out->mSceneCaptureType);
    put(exif.gainControl, out->mGainControl);
    put(exif.contrast, out->mContrast);
    put(exif.saturation, out->mSaturation);
    put(exif.sharpness, out->mSharpness);
    put(exif.subjectDistanceRange, out->mSubjectDistanceRange);
    put(exif.selfTimerMode, out->mSelfTimerMode);
    put(exif.imageNumber, out->mImageNumber);
    put(exif.focalLengthIn35mmFilm, out->mFocalLengthIn35mmFilm);
    put(exif.isoSpeedRatings[0], out->mISOSpeedRatings0);
    put(exif.isoSpeedRatings[1], out->mISOSpeedRatings1);
    put(exif.isoSpeedRatings[2], out->mISOSpeedRatings2);
    put(exif.sensitivityType, out->mSensitivityType);
    put(exif.standardOutputSensitivity, out->mStandardOutputSensitivity);
    put(exif.recommendedExposureIndex, out->mRecommendedExposureIndex);
    put(exif.isoSpeed, out->mISOSpeed);
    put(exif.isoSpeedLatitudeyyy, out->mISOSpeedLatitudeyyy);
    put(exif.isoSpeedLatitudezzz, out->mISOSpeedLatitudezzz);
    put(exif.subjectAreaCount, out->mSubjectAreaCount);
    put(exif.subjectArea[0], out->mSubjectArea0);
    put(exif.subjectArea[1], out->mSubjectArea1);
    put(exif.subjectArea[2], out->mSubjectArea2);
    put(exif.subjectArea[3], out->mSubjectArea3);
    put(exif.componentsConfiguration, out->mComponentsConfiguration);
    put(exif.compressedBitsPerPixel, out->mCompresssedBitsPerPixel);
    put(exif.pixelXDimension, out->mPixelXDimension);
    put(exif.pixelYDimension, out->mPixelYDimension);
    put(exif.focalPlaneXResolution, out->mFocalPlaneXResolution);
    put(exif.focalPlaneYResolution, out->mFocalPlaneYResolution);
    put(exif.focalPlaneResolutionUnit, out->mFocalPlaneResolutionUnit);
    put(exif.cfaRepeatPatternRows, out->mCFARepeatPatternRows);
    put(exif.cfaRepeatPatternCols, out->mCFARepeatPatternCols);
    put_cfa_pattern(exif, out->mCFAPattern);
    put(exif.imageUniqueID, out->mImageUniqueID);
    put(exif.gpsVersionID, out->mGPSVersionID);
    put(exif.gpsLatitudeRef, out->mGPSLatitudeRef);
    put(exif.gpsLatitude[0], out->mGPSLatitude0);
    put(exif.gpsLatitude[1], out->mGPSLatitude1);
    put(exif.gpsLatitude[2], out->mGPSLatitude2);
    put(exif.gpsLongitudeRef, out->mGPSLongitudeRef);
    put(exif.gpsLongitude[0], out->mGPSLongitude0);
    put(exif.gpsLongitude[1], out->mGPSLongitude1);
    put(exif.gpsLongitude[2], out->mGPSLongitude2);
    put(exif.gpsAltitudeRef, out->mGPSAltitudeRef);
    put(exif.gpsAltitude, out->mGPSAltitude);
    put(exif.gpsTimeStamp[0], out->mGPSTimeStamp0);
    put(exif.gpsTimeStamp[1], out->mGPSTimeStamp1);
    put(exif.gpsTimeStamp[2], out->mGPSTimeStamp2);
    put(exif.gpsSatellites, out->mGPSSatellites);
    put(exif.gpsStatus, out->mGPSStatus);
    put(exif.gpsMeasureMode, out->mGPSMeasureMode);
    put(exif.gpsDOP, out->mGPSDOP);
    put(exif.gpsSpeedRef, out->mGPSSpeedRef);
    put(exif.gpsSpeed, out->mGPSSpeed);
    put(exif.gpsTrackRef, out->mGPSTrackRef);
    put(exif.gpsTrack, out->mGPSTrack);
    put(exif.gpsImgDirectionRef, out->mGPSImgDirectionRef);
    put(exif.gpsImgDirection, out->mGPSImgDirection);
    put(exif.gpsMapDatum, out->mGPSMapDatum);
    put(exif.gpsDestLatitudeRef, out->mGPSDestLatitudeRef);
    put(exif.gpsDestLatitude[0], out->mGPSDestLatitude0);
    put(exif.gpsDestLatitude[1], out->mGPSDestLatitude1);
    put(exif.gpsDestLatitude[2], out->mGPSDestLatitude2);
    put(exif.gpsDestLongitudeRef, out->mGPSDestLongitudeRef);
    put(exif.gpsDestLongitude[0], out->mGPSDestLongitude0);
    put(exif.gpsDestLongitude[1], out->mGPSDestLongitude1);
    put(exif.gpsDestLongitude[2], out->mGPSDestLongitude2);
    put(exif.gpsDestBearingRef, out->mGPSDestBearingRef);
    put(exif.gpsDestBearing, out->mGPSDestBearing);
    put(exif.gpsDestDistanceRef, out->mGPSDestDistanceRef);
    put(exif.gpsDestDistance, out->mGPSDestDistance);
    put(exif.gpsProcessingMethod, out->mGPSProcessingMethod);
    put(exif.gpsAreaInformation, out->mGPSAreaInformation);
    put(exif.gpsDateStamp, out->mGPSDateStamp);
    put(exif.gpsDifferential, out->mGPSDifferential);
    put(exif.gpsHPositioningError, out->mGPSHPositioningError);
    put(exif.interoperabilityIndex, out->mInteroperabilityIndex);
    put(exif.interoperabilityVersion, out->mInteroperabilityVersion);
    put(exif.relatedImageFileFormat, out->mRelatedImageFileFormat);
    put(exif.relatedImageWidth, out->mRelatedImageWidth);
    put(exif.relatedImageLength, out->mRelatedImageLength);
    put(exif.cameraSerialNumber, out->mCameraSerialNumber);
    put(exif.lensInfo[0], out->mLensInfo0);
    put(exif.lensInfo[1], out->mLensInfo1);
    put(exif.lensInfo[2], out->mLensInfo2);
    put(exif.lensInfo[3], out->mLensInfo3);
    put(exif.lensID, out->mLensID);
    put(exif.lensMake, out->mLensMake);
    put(exif.lensName, out->mLensName);
    put(exif.lensSerialNumber, out->mLensSerialNumber);
    put(exif.lensNameWasReadFromExif, out->mLensNameWasReadFromExif);
    put(exif.approxFocusDistance, out->mApproxFocusDistance);
    put(exif.flashCompensation, out->mFlashCompensation);
    put(exif.ownerName, out->mOwnerName);
    put(exif.firmware, out->mFirmware);
    put(exif.title, out->mTitle);
    put(exif.lensDistortInfo[0], out->mLensDistortInfo0);
    put(exif.lensDistortInfo[1], out->mLensDistortInfo1);
    put(exif.lensDistortInfo[2], out->mLensDistortInfo2);
    put(exif.lensDistortInfo[3], out->mLensDistortInfo3);
}
