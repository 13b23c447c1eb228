package com.vorelsoft.images;

/** Holds the options of {@link VorelBitmapFactory}. */
public class VrBitmapFactory {
    private VrBitmapFactory() {}

    /**
     * What a decode is asked for and what it reports. The natives look the fields up by these names. An object serves
     * one call at a time; other threads may read {@link #mDecodeHandle} meanwhile, to cancel it.
     */
    public static class Options {
        /** In: colour format of the pixels; 7 is R, G, B, A in bytes, 0 is RGB565, 2 planar 4:2:0. */
        public int inPreferredConfig = 7;
        /** In: accepted, without effect. */
        public int inQualityOverSpeed;
        /** In: option bits of the decode (turn and fit); not 0 also keeps mWidth and mHeight as they are. */
        public int inDecodeFromOption;
        /** In: size to decode to, in pixels, 0 for what inSampleSize says. Out: size of the picture. */
        public int mWidth, mHeight;
        /** Out: size of the picture in pixels. */
        public int outWidth, outHeight;
        /** In: both sides are divided by it; below 1 means 1. */
        public int inSampleSize = 1;
        /** In: true fills in the size and decodes nothing. */
        public boolean inJustDecodeBounds;
        /**
         * Out: the decode session. Natives that destroy the session they made set this to 0 before, holding the monitor
         * of this object; so a second thread cancels by
         * {@code synchronized (o) { if (o.mDecodeHandle != 0) VorelBitmapFactory.DecodeCancel(o.mDecodeHandle); }}.
         */
        public long mDecodeHandle;
        /** In and out: camera data that an encode consumes. */
        public long mExifHandle;
        /** In: not 0 makes an encode look for the best Huffman tables, which takes longer and gives less bytes. */
        public int inOptimizeCoding;

        /** Whole picture, R, G, B, A. */
        public Options() {}
    }
}
