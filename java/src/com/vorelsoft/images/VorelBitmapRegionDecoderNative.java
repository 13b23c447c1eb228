package com.vorelsoft.images;

import android.graphics.Bitmap;
import java.nio.ByteBuffer;

public final class VorelBitmapRegionDecoderNative {
    static {
        System.loadLibrary("vorel");
    }

    private VorelBitmapRegionDecoderNative() {}

    public static native VorelBitmapRegionDecoderInternal nativeNewInstance(String path, VrBitmapFactory.Options o);

    public static native VorelBitmapRegionDecoderInternal nativeNewInstanceBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    public static native VorelBitmapRegionDecoderInternal nativeNewInstanceWithOpt(long handle);

    public static native int nativeGetWidth(long handle);

    public static native int nativeGetHeight(long handle);

    public static native int nativeGetPNGWidth(long handle);

    public static native int nativeGetPNGHeight(long handle);

    public static native int nativeDoDecodeRegion(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeDoDecodeRegionPNG(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeDoDecodeRegionEx(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeDoDecodeRegionPNGEx(Bitmap bitmap, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeDoDecodeRegionExToNativeBuffer(long[] out, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeDoDecodeRegionToNativeBuffer(long[] out, long handle, int x, int y, int width, int height, int convert, int sampleSize);

    public static native int nativeDoDecodeRegionToBuffer(ByteBuffer buffer, long handle, int x, int y, int width, int height, int format, int sampleSize);

    public static native int nativeClean(long handle);

    public static native int nativePNGClean(long handle);
}
