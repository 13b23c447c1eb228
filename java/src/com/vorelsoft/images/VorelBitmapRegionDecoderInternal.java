package com.vorelsoft.images;

/** An open picture for rectangles. {@link VorelBitmapRegionDecoderNative} makes it and says how it is freed. */
public class VorelBitmapRegionDecoderInternal {
    /** What the natives take as handle; of a PNG that could not be indexed it is 0. */
    public long mHandle;
    /** 1 for JPEG, 3 for PNG: these have natives of their own. */
    public int mType;

    /** An empty record; the natives fill in their own. */
    public VorelBitmapRegionDecoderInternal() {}
}
