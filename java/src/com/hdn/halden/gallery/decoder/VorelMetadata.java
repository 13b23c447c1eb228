package com.hdn.halden.gallery.decoder;

/** What {@link VorelCodecInterface#nativeParseMetadata} fills; any class with these fields will do. */
public class VorelMetadata {
    public String make;
    public int imageWidth, imageHeight;
    public int cropOriginX, cropOriginY, cropSizeWidth, cropSizeHeight;
}
