package com.vorelsoft.images;

/** What a raw file says of itself. */
public class VorelDngMetadata {
    public boolean mHasBaseOrientation, mIsMakerNoteSafe, mXMPinSidecar, mXMPisNewer;
    public long mBaseOrientation, mMakerNoteSize;
    public int mImageWidth, mImageHeight, mCropOriginX, mCropOriginY, mCropWidth, mCropHeight;
    public byte[] mMakerNote;
    public byte[] mEmbeddedXMPDigest = new byte[16];
    public String mSourceMIME;
}
