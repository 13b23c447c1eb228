package com.vorelsoft.images;

import java.nio.ByteBuffer;

/**
 * Raw files (DNG) in memory: camera data, developing, previews. Pixels are R, G, B, A in bytes, rows without padding.
 *
 * <p>An info object belongs to one call at a time, but for {@link #cancelDecodingDNGImageBufferJNI}, which any thread may
 * call meanwhile. Buffers are direct, and their position is not looked at. Nothing is thrown.
 */
public final class VorelDngBitmap {
    static {
        System.loadLibrary("vorel");
    }

    private VorelDngBitmap() {}

    /**
     * Finds the XMP packet.
     *
     * @param data the file
     * @param length its bytes
     * @param offset element 0 receives where the packet begins, 0 without one
     * @param size element 0 receives its bytes
     * @param exif receives the camera data; may be null
     * @return 1, 0 when there is no packet, or negative, and nothing is changed
     */
    public static native int parseXMPBufferJNI(byte[] data, int length, long[] offset, int[] size, VorelDngExif exif);

    /**
     * Reads the camera data. Each object may be null.
     *
     * @param data the file
     * @param length its bytes
     * @param metadata receives what concerns the picture
     * @param exif receives the camera data of the file that the raw file was made of, where that is kept
     * @param originalExif receives those of the raw file
     * @return 1, or negative, and the objects are not changed
     */
    public static native int parseMetadataJNI(byte[] data, int length, VorelDngMetadata metadata, VorelDngExif exif, VorelDngExif originalExif);

    /**
     * Reads the camera data of the raw file.
     *
     * @param data the file
     * @param length its bytes
     * @param exif receives them
     * @return 1, or negative, and the object is not changed
     */
    public static native int parseExifInfoJNI(byte[] data, int length, VorelDngExif exif);

    /**
     * Reads size, crop and levels. With info.bRegionDecoder the samples are read too and kept in info.handle.
     *
     * @param data the file; for a region decoder it has to stay unchanged until the handle is freed
     * @param length its bytes
     * @param info receives them
     * @return 0, or -1
     */
    public static native int parseDNGImageBufferJNI(ByteBuffer data, int length, VorelDngInfo info);

    /**
     * Develops the picture of info.width by info.height pixels, or the rectangle of info.
     *
     * @param data the file
     * @param length its bytes
     * @param out receives the pixels, 4 bytes each
     * @param info what is wanted; with bRegionDecoder from the samples of handle
     * @return 0, or -1 for null, too small an output or a parameter that cannot be; a develop that is cancelled, or
     *     fails, returns 0 and leaves black, transparent pixels
     */
    public static native int DecodeDNGImageBufferJNI(ByteBuffer data, int length, ByteBuffer out, VorelDngInfo info);

    /**
     * Size of the preview that the file carries.
     *
     * @param data the file
     * @param length its bytes
     * @param info receives width and height
     * @return 0, or -1 without a preview
     */
    public static native int parseDNGPreviewImageBufferJNI(ByteBuffer data, int length, VorelDngInfo info);

    /**
     * Decodes the preview that the file carries.
     *
     * @param data the file
     * @param length its bytes
     * @param out receives info.width by info.height pixels
     * @param info states the size
     * @return 0, or -1
     */
    public static native int DecodeDNGPreviewImageBufferJNI(ByteBuffer data, int length, ByteBuffer out, VorelDngInfo info);

    /**
     * Stops the decode that runs with this object, or further rectangles of its region decoder. From any thread.
     *
     * @param info of the decode
     * @return 0, or -1 for null and when there is nothing to stop
     */
    public static native int cancelDecodingDNGImageBufferJNI(VorelDngInfo info);

    /**
     * Frees the samples of a region decoder, after its last decode, and sets the handle to 0.
     *
     * @param info of the decoder
     * @return 0, or -1 for null and when there is nothing to free
     */
    public static native int finalizeRegionDecoderHandle(VorelDngInfo info);

    /**
     * Peak signal to noise ratio of two buffers of samples of 8 bits.
     *
     * @param first one
     * @param second the other
     * @param length bytes to compare
     * @return decibels; infinite for equal buffers, 0 for null, a length below 1 or beyond an array
     */
    public static native double Psnr(byte[] first, byte[] second, int length);
}
