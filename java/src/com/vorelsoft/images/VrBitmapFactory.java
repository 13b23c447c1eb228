package com.vorelsoft.images;

/** Holds the options of {@link VorelBitmapFactory}. */
public class VrBitmapFactory {
    private VrBitmapFactory() {}

    /** What a decode is asked for and what it tells. */
    public static class Options {
        public int inPreferredConfig = 7;
        public int inQualityOverSpeed;
        public int inDecodeFromOption;
        public int mWidth, mHeight;
        public int outWidth, outHeight;
        public int inSampleSize = 1;
        public boolean inJustDecodeBounds;
        public long mDecodeHandle;
        public long mExifHandle;
        public int inOptimizeCoding;
    }
}
