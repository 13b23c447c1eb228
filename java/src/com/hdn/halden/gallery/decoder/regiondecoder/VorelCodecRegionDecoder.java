package com.hdn.halden.gallery.decoder.regiondecoder;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import android.graphics.Rect;

/**
 * Rectangles of JPEG, PNG and DNG files as bitmaps, with the platform's own options. Any number of threads may decode
 * from one handle; {@link #nativeRecycle} frees it after the last call. Nothing is thrown: a failure gives 0 or null and
 * leaves a message in the log.
 */
public final class VorelCodecRegionDecoder {
    static {
        System.loadLibrary("vorel");
    }

    private VorelCodecRegionDecoder() {}

    /**
     * Opens a file.
     *
     * @param path of the file
     * @param o outWidth and outHeight receive the size of the picture
     * @return a handle, or 0
     */
    public static native long nativeNewInstance(String path, BitmapFactory.Options o);

    /**
     * Opens a picture in memory. The bytes are copied and kept until the handle is freed.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativeNewInstance}
     * @return a handle, or 0
     */
    public static native long nativeNewInstanceByteArray(byte[] data, int offset, int length, BitmapFactory.Options o);

    /**
     * Decodes a rectangle.
     *
     * @param handle of the picture
     * @param rect in pixels of the whole picture; of a raw file they count from the active area's corner
     * @param o both sides are divided by inSampleSize
     * @return a new bitmap of ARGB_8888, or null
     */
    public static native Bitmap nativeDecodeRegion(long handle, Rect rect, BitmapFactory.Options o);

    /**
     * Width of the whole picture.
     *
     * @param handle of the picture
     * @return pixels, or 0
     */
    public static native int nativeGetWidth(long handle);

    /**
     * Height of the whole picture.
     *
     * @param handle of the picture
     * @return pixels, or 0
     */
    public static native int nativeGetHeight(long handle);

    /**
     * Left column of a raw file's default crop.
     *
     * @param handle of the picture
     * @return pixels from the active area's corner, 0 for other types
     */
    public static native int nativeGetCropOriginX(long handle);

    /**
     * Top row of a raw file's default crop.
     *
     * @param handle of the picture
     * @return pixels from the active area's corner, 0 for other types
     */
    public static native int nativeGetCropOriginY(long handle);

    /**
     * Width of a raw file's default crop.
     *
     * @param handle of the picture
     * @return pixels, 0 for other types
     */
    public static native int nativeGetCropSizeWidth(long handle);

    /**
     * Height of a raw file's default crop.
     *
     * @param handle of the picture
     * @return pixels, 0 for other types
     */
    public static native int nativeGetCropSizeHeight(long handle);

    /**
     * Maker of the camera.
     *
     * @param handle of the picture
     * @return its name, null for other types than raw files
     */
    public static native String nativeGetMake(long handle);

    /**
     * Stops the handle's decodes, from any thread; later ones fail too. PNG has none that can be stopped.
     *
     * @param handle of the picture
     * @return not 0 where something could be stopped
     */
    public static native int nativeRegionCancel(long handle);

    /**
     * Frees the picture, after the last call that uses it.
     *
     * @param handle of the picture
     * @return 1, or 0 for a null handle
     */
    public static native int nativeRecycle(long handle);
}
