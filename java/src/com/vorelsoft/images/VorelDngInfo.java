package com.vorelsoft.images;

/** What {@link VorelDngBitmap} is asked for and what it reports, by field names. Sizes are pixels. */
public class VorelDngInfo {
    /** Size of the raw image, by parsing; size of the output, for decoding. */
    public int width, height;
    /** Out: the period of the file's black levels, 1 to 8 both ways. */
    public int FileBlackLevelRepeatRows, FileBlackLevelRepeatCols;
    /** In: the period of the levels that UseInfo asks for. */
    public int UserBlackLevelRepeatRows, UserBlackLevelRepeatCols;
    /** Values a pixel of the raw image. */
    public int SamplesPerPixel;
    /** Out: the default crop, which pictures show. */
    public int mCropOriginX, mCropOriginY, mCropWidth, mCropHeight;
    /** In: 1 develops with the user's levels in place of the file's. */
    public int UseInfo;
    /** In: the wanted rectangle, half open, from the active area's corner; four zeros for the whole picture. */
    public int rd_t, rd_b, rd_l, rd_r;
    /** In: rounds of noise reduction, 0 for none. */
    public int count_nr;
    /** In: the samples are kept for rectangles. */
    public boolean bRegionDecoder;
    /**
     * The kept samples of a region decoder, until {@link VorelDngBitmap#finalizeRegionDecoderHandle}; else what a
     * running decode is cancelled by, and 0 when it is over. Natives change it while they hold this object's monitor.
     */
    public long handle;

    /** The whole picture. */
    public VorelDngInfo() {}
}
