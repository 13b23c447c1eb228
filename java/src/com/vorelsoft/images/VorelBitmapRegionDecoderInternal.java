package com.vorelsoft.images;

/** An open region decoder of {@link VorelBitmapRegionDecoderNative}. */
public class VorelBitmapRegionDecoderInternal {
    public long mHandle;
    public int mType;
}
