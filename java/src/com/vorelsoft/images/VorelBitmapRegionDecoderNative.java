package com.vorelsoft.images;

import android.graphics.Bitmap;
import java.nio.ByteBuffer;

/**
 * Rectangles of large JPEG and PNG files. A picture is opened once, which takes about as long as decoding it without
 * its pixels, and then gives any number of rectangles, to any number of threads at once.
 *
 * <p>Handles are memory of the library's: each is freed once, by {@link #nativeClean} (JPEG) or {@link #nativePNGClean}
 * (PNG), after the last call that uses it has returned. A handle that was freed, or is of the other type, must not be
 * passed. {@link VorelImage} takes care of all that.
 *
 * <p>JPEG rectangles are in pixels of the picture reduced by sampleSize, PNG rectangles in pixels of the whole picture.
 * Formats are 0 for R, G, B, A (4 bytes), 1 for RGB565 (2 bytes), 2 for planar 4:2:0; PNG has 0 alone. Nothing is
 * thrown: a failure leaves a message in the log.
 */
public final class VorelBitmapRegionDecoderNative {
    static {
        System.loadLibrary("vorel");
    }

    private VorelBitmapRegionDecoderNative() {}

    /**
     * Opens a file. Before the pass over it begins, o.mDecodeHandle is set, by which
     * {@link VorelBitmapFactory#RegionMapCancel} stops it from another thread.
     *
     * @param path of a JPEG or PNG of at least 16 pixels both ways
     * @param o receives mDecodeHandle, outWidth and outHeight
     * @return the open picture, or null; then mDecodeHandle is 0 again
     */
    public static native VorelBitmapRegionDecoderInternal nativeNewInstance(String path, VrBitmapFactory.Options o);

    /**
     * Opens a picture in memory. The bytes are copied and kept until the handle is freed.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativeNewInstance}
     * @return the open picture, or null
     */
    public static native VorelBitmapRegionDecoderInternal nativeNewInstanceBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    /**
     * Goes on with a session whose iterative decode ended with a map (see
     * {@link VorelBitmapFactory#DecodeJPEGFromFileIter}, flags 3).
     *
     * @param handle of that session, which from now on belongs to the result
     * @return the open picture, or null when the session has no map and stays the caller's
     */
    public static native VorelBitmapRegionDecoderInternal nativeNewInstanceWithOpt(long handle);

    /**
     * Width of the whole picture.
     *
     * @param handle of a JPEG
     * @return pixels, or 0 for a null handle
     */
    public static native int nativeGetWidth(long handle);

    /**
     * Height of the whole picture.
     *
     * @param handle of a JPEG
     * @return pixels, or 0 for a null handle
     */
    public static native int nativeGetHeight(long handle);

    /**
     * Width of the whole picture.
     *
     * @param handle of a PNG
     * @return pixels, or 0 for a null handle
     */
    public static native int nativeGetPNGWidth(long handle);

    /**
     * Height of the whole picture.
     *
     * @param handle of a PNG
     * @return pixels, or 0 for a null handle
     */
    public static native int nativeGetPNGHeight(long handle);

    /**
     * Decodes a rectangle that lies inside the picture.
     *
     * @param bitmap receives it; at least width by height pixels of the format
     * @param handle of a JPEG
     * @param x left column, in pixels of the reduced picture
     * @param y top row
     * @param width columns
     * @param height rows
     * @param format of the pixels: 0, 1 or 2
     * @param sampleSize 1, 2, 4, 8 and so on: sides of the picture are divided by it
     * @return 1, 0 for a failed decode, -1 for null, a bitmap that is too small or cannot be locked, a bad sampleSize
     *     or format
     */
    public static native int nativeDoDecodeRegion(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * The same of a PNG.
     *
     * @param bitmap receives width / sampleSize by height / sampleSize pixels
     * @param handle of a PNG
     * @param x left column, in pixels of the whole picture
     * @param y top row
     * @param width columns of the whole picture
     * @param height rows of the whole picture
     * @param format 0
     * @param sampleSize at least 1
     * @return as {@link #nativeDoDecodeRegion}
     */
    public static native int nativeDoDecodeRegionPNG(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * Decodes a rectangle that may hang over the picture. What lies outside is left as it is; the planar formats are
     * cleared to black first.
     *
     * @param bitmap as in {@link #nativeDoDecodeRegion}
     * @param handle of a JPEG
     * @param x left column, in pixels of the reduced picture; may be negative
     * @param y top row; may be negative
     * @param width columns
     * @param height rows
     * @param format 0, 1, 2, or 19 for NV12
     * @param sampleSize as in {@link #nativeDoDecodeRegion}
     * @return as {@link #nativeDoDecodeRegion}; 0 also when nothing lies inside
     */
    public static native int nativeDoDecodeRegionEx(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * The same of a PNG.
     *
     * @param bitmap as in {@link #nativeDoDecodeRegionPNG}
     * @param handle of a PNG
     * @param x left column, in pixels of the whole picture; may be negative
     * @param y top row; may be negative
     * @param width columns of the whole picture
     * @param height rows of the whole picture
     * @param format 0
     * @param sampleSize at least 1
     * @return as {@link #nativeDoDecodeRegionEx}
     */
    public static native int nativeDoDecodeRegionPNGEx(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * As {@link #nativeDoDecodeRegionEx}, into new memory that is black and transparent where the picture is not.
     *
     * @param out element 0 receives the memory's handle, for {@link VorelBitmapFactory#recycleNativeBuffer}
     * @param handle of a JPEG
     * @param x left column, in pixels of the reduced picture
     * @param y top row
     * @param width columns
     * @param height rows
     * @param format 0, 1, 2 or 19
     * @param sampleSize as in {@link #nativeDoDecodeRegion}
     * @return 1; else 0 or -1, and out is not changed
     */
    public static native int nativeDoDecodeRegionExToNativeBuffer(long[] out, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * Decodes a rectangle that lies inside the picture into new memory.
     *
     * @param out element 0 receives the memory's handle, for {@link VorelBitmapFactory#recycleNativeBuffer}
     * @param handle of a JPEG
     * @param x left column, in pixels of the reduced picture
     * @param y top row
     * @param width columns
     * @param height rows
     * @param convert 0 for R, G, B, A, else planar 4:2:0
     * @param sampleSize as in {@link #nativeDoDecodeRegion}
     * @return 1; else 0 or -1, and out is not changed
     */
    public static native int nativeDoDecodeRegionToNativeBuffer(long[] out, long handle, int x, int y, int width, int height, int convert, int sampleSize);

    /**
     * As {@link #nativeDoDecodeRegion}, into a direct buffer.
     *
     * @param buffer direct, with room for the rectangle; its position is not looked at
     * @param handle of a JPEG
     * @param x left column, in pixels of the reduced picture
     * @param y top row
     * @param width columns
     * @param height rows
     * @param format 0, 1 or 2
     * @param sampleSize as in {@link #nativeDoDecodeRegion}
     * @return as {@link #nativeDoDecodeRegion}
     */
    public static native int nativeDoDecodeRegionToBuffer(ByteBuffer buffer, long handle, int x, int y, int width, int height, int format, int sampleSize);

    /**
     * Frees an open JPEG, after the last call that uses it.
     *
     * @param handle of a JPEG
     * @return 1, or 0 for a null handle
     */
    public static native int nativeClean(long handle);

    /**
     * Frees an open PNG, after the last call that uses it.
     *
     * @param handle of a PNG
     * @return 1, or 0 for a null handle
     */
    public static native int nativePNGClean(long handle);
}
