package com.vorelsoft.images;

import java.nio.ByteBuffer;

public final class VorelDngBitmap {
    static {
        System.loadLibrary("vorel");
    }

    private VorelDngBitmap() {}

    public static native int parseXMPBufferJNI(byte[] data, int length, long[] offset, int[] size, VorelDngExif exif);

    public static native int parseMetadataJNI(byte[] data, int length, VorelDngMetadata metadata, VorelDngExif exif, VorelDngExif originalExif);

    public static native int parseExifInfoJNI(byte[] data, int length, VorelDngExif exif);

    public static native int parseDNGImageBufferJNI(ByteBuffer data, int length, VorelDngInfo info);

    public static native int DecodeDNGImageBufferJNI(ByteBuffer data, int length, ByteBuffer out, VorelDngInfo info);

    public static native int parseDNGPreviewImageBufferJNI(ByteBuffer data, int length, VorelDngInfo info);

    public static native int DecodeDNGPreviewImageBufferJNI(ByteBuffer data, int length, ByteBuffer out, VorelDngInfo info);

    public static native int cancelDecodingDNGImageBufferJNI(VorelDngInfo info);

    public static native int finalizeRegionDecoderHandle(VorelDngInfo info);

    public static native double Psnr(byte[] first, byte[] second, int length);
}
