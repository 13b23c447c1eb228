package com.vorelsoft.images;

/** What {@link VorelDngBitmap} is asked for and what it tells. */
public class VorelDngInfo {
    public int width, height;
    public int FileBlackLevelRepeatRows, FileBlackLevelRepeatCols;
    public int UserBlackLevelRepeatRows, UserBlackLevelRepeatCols;
    public int SamplesPerPixel;
    public int mCropOriginX, mCropOriginY, mCropWidth, mCropHeight;
    public int UseInfo;
    public int rd_t, rd_b, rd_l, rd_r;
    public int count_nr;
    public boolean bRegionDecoder;
    public long handle;
}
