package com.vorelsoft.images;

/** What a raw file reports about its picture. */
public class VorelDngMetadata {
    /** The orientation is known; the maker note may be moved; XMP stands beside the file, and is the newer one. */
    public boolean mHasBaseOrientation, mIsMakerNoteSafe, mXMPinSidecar, mXMPisNewer;
    /** Orientation as in Exif, 1 to 8; bytes of the maker note. */
    public long mBaseOrientation, mMakerNoteSize;
    /** Size of the raw image and its default crop, in pixels. */
    public int mImageWidth, mImageHeight, mCropOriginX, mCropOriginY, mCropWidth, mCropHeight;
    /** The maker note: a new array, empty without one. */
    public byte[] mMakerNote;
    /** 16 bytes, filled in place. */
    public byte[] mEmbeddedXMPDigest = new byte[16];
    /** MIME type of the file that the raw file was made of; empty where unknown. */
    public String mSourceMIME;

    /** An empty record. */
    public VorelDngMetadata() {}
}
