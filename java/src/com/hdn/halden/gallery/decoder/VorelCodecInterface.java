package com.hdn.halden.gallery.decoder;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;

public final class VorelCodecInterface {
    static {
        System.loadLibrary("vorel");
    }

    private VorelCodecInterface() {}

    public static native Bitmap nativeDecodeFile(String path, BitmapFactory.Options o);

    public static native Bitmap nativeDecodeByteArray(byte[] data, int offset, int length, BitmapFactory.Options o);

    public static native Bitmap nativeDecodePreview(String path, BitmapFactory.Options o);

    public static native int nativeParseMetadata(String path, Object metadata);
}
