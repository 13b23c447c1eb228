package com.hdn.halden.gallery.decoder;

/** What {@link VorelCodecInterface#nativeParseMetadata} fills; any class with these fields will do. */
public class VorelMetadata {
    /** Maker of the camera. */
    public String make;
    /** Size of the raw image in pixels. */
    public int imageWidth, imageHeight;
    /** The default crop in pixels. */
    public int cropOriginX, cropOriginY, cropSizeWidth, cropSizeHeight;

    /** An empty record. */
    public VorelMetadata() {}
}
