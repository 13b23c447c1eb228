package com.hdn.halden.gallery.decoder;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;

/**
 * Whole pictures of JPEG, PNG and DNG files as bitmaps, with the platform's own options, of which inJustDecodeBounds and
 * inSampleSize are looked at. Any thread. Nothing is thrown: a failure gives null and leaves a message in the log.
 */
public final class VorelCodecInterface {
    static {
        System.loadLibrary("vorel");
    }

    private VorelCodecInterface() {}

    /**
     * Decodes a file.
     *
     * @param path of the file
     * @param o sides are divided by inSampleSize; with inJustDecodeBounds outWidth and outHeight receive the size of the
     *     picture, 0 for what is none; else they are left alone
     * @return a new bitmap of ARGB_8888, or null, also with inJustDecodeBounds
     */
    public static native Bitmap nativeDecodeFile(String path, BitmapFactory.Options o);

    /**
     * Decodes a picture in memory.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativeDecodeFile}
     * @return as {@link #nativeDecodeFile}
     */
    public static native Bitmap nativeDecodeByteArray(byte[] data, int offset, int length, BitmapFactory.Options o);

    /**
     * Decodes the preview that a raw file carries, at its own size.
     *
     * @param path of a DNG file
     * @param o outWidth and outHeight receive the size of the preview
     * @return a new bitmap of ARGB_8888, or null, also with inJustDecodeBounds
     */
    public static native Bitmap nativeDecodePreview(String path, BitmapFactory.Options o);

    /**
     * Reads maker, size and crop of a raw file.
     *
     * @param path of a DNG file
     * @param metadata receives them in fields that are named as those of {@link VorelMetadata}
     * @return 1 or 0
     */
    public static native int nativeParseMetadata(String path, Object metadata);
}
