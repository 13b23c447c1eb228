package com.hdn.halden.gallery.decoder.regiondecoder;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import android.graphics.Rect;

public final class VorelCodecRegionDecoder {
    static {
        System.loadLibrary("vorel");
    }

    private VorelCodecRegionDecoder() {}

    public static native long nativeNewInstance(String path, BitmapFactory.Options o);

    public static native long nativeNewInstanceByteArray(byte[] data, int offset, int length, BitmapFactory.Options o);

    public static native Bitmap nativeDecodeRegion(long handle, Rect rect, BitmapFactory.Options o);

    public static native int nativeGetWidth(long handle);

    public static native int nativeGetHeight(long handle);

    public static native int nativeGetCropOriginX(long handle);

    public static native int nativeGetCropOriginY(long handle);

    public static native int nativeGetCropSizeWidth(long handle);

    public static native int nativeGetCropSizeHeight(long handle);

    public static native String nativeGetMake(long handle);

    public static native int nativeRegionCancel(long handle);

    public static native int nativeRecycle(long handle);
}
