package com.vorelsoft.images;

import android.graphics.Bitmap;
import java.nio.ByteBuffer;

public final class VorelBitmapFactory {
    static {
        System.loadLibrary("vorel");
    }

    private VorelBitmapFactory() {}

    public static native Bitmap nativeDecodeFile(String path, VrBitmapFactory.Options o);

    public static native Bitmap nativeDecodeByteArray(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    public static native ByteBuffer nativeDecodeFileToBuffer(String path, VrBitmapFactory.Options o);

    public static native ByteBuffer nativeDecodeByteArrayToBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    public static native Bitmap nativePartialDecodeFile(String path, VrBitmapFactory.Options o, int x, int y, int width, int height);

    public static native Bitmap nativePartialDecodeByteArray(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height);

    public static native ByteBuffer nativePartialDecodeByteArrayToBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height);

    public static native int nativePartialDecodeByteArrayToBufferForBitmapPool(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height, ByteBuffer pool);

    public static native int nativeGetImageInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    public static native int GetImageInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    public static native int nativeGetImageInfoFromFile(String path, VrBitmapFactory.Options o);

    public static native int GetImageInfoFromFile(String path, VrBitmapFactory.Options o);

    public static native int nativeCreateDecBufferInfo(byte[] data, VrBitmapFactory.Options o);

    public static native int CreateDecodeInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    public static native int nativeCreateDecFileInfo(String path, VrBitmapFactory.Options o);

    public static native int CreateDecodeInfoFromFile(String path, VrBitmapFactory.Options o);

    public static native int nativeGetExifData(String path, long handle, VrBitmapFactory.Options o);

    public static native int GetExifData(String path, long handle, VrBitmapFactory.Options o);

    public static native int DecodeCancel(long handle);

    public static native int RegionMapCancel(long handle);

    public static native int nativeDecodeJPEG(long handle, Bitmap bitmap, int width, int height, int sampleSize);

    public static native int DecodeJPEGFromFile(long handle, Bitmap bitmap, int width, int height, int sampleSize);

    public static native int PartialDecodeJPEGFromFile(long handle, Bitmap bitmap, int width, int height, int sampleSize, int x, int y, int w, int h);

    public static native int PartialDecodeJPEGToBuffer(long handle, ByteBuffer buffer, int width, int height, int sampleSize, int x, int y, int w, int h);

    public static native int DecodeJPEGThumbnail(long handle, Bitmap bitmap, int width, int height, int thumbnailFlags);

    public static native int DecodeJPEGThumbnailToBuffer(long handle, ByteBuffer buffer, int width, int height, int thumbnailFlags);

    public static native long DecodeJPEGThumbnailToNativeBuffer(long handle, int width, int height, int thumbnailFlags);

    public static native int PrepareJPEGFromFileIter(long handle, int width, int height);

    public static native int PrepareJPEGFromFileIterMidpoint(long handle, int width, int height, byte[] midpoints, int offset);

    public static native int DecodeJPEGFromFileIter(long handle, Bitmap bitmap, int width, int height, int flags, int rows);

    public static native int DecodeJPEGFromFileIterToBuffer(long handle, ByteBuffer buffer, int width, int height, int flags, int rows);

    public static native int DecodeJPEGFromFileIter4LTN(long handle, Bitmap bitmap, int width, int height, int flags);

    public static native int DecodeJPEGFromFileIter4LTNToBuffer(long handle, ByteBuffer buffer, int width, int height, int flags, int rows);

    public static native int DecodeJPEGFromFileIter4LTNToBufferMidpoint(long handle, ByteBuffer buffer, int width, int height, int flags, int midpointNumber, int rows);

    public static native int DecodeJPEGFromFileIter4LTNToNativeBufferArray(long handle, long[] nativeHandleArray, int width, int height, int flags, int tileWidth, int tileHeight);

    public static native int AbortJPEGFromFileIter(long handle);

    public static native int GetJPEGMidPoint(long handle, int divisor, int index);

    public static native int GetMidPointCount(byte[] blob, int offset);

    public static native int DecodeJPEGGetMidpoint(long handle, Bitmap bitmap, int width, int height, int sampleSize, byte[] blob, int offset);

    public static native int GetMidpoint(byte[] blob, int offset);

    public static native int DestroyMidpointInfo(long pointer);

    public static native long createNativeBuffer(int width, int height, int bytesPerPixel);

    public static native int recycleNativeBuffer(long handle);

    public static native int GetJpegOffsetFromHRWBuffer(byte[] data, int[] offsetAndLength);

    public static native int GetJpegOffsetFromHRWFile(String path, int[] offsetAndLength);

    public static native double CompareJPEG(Bitmap first, Bitmap second, long firstTimeMs, long secondTimeMs, int quality, long originSize, long encodedSize, int encode);

    public static native int nativeEncodeFile(Bitmap bitmap, String path, int quality, VrBitmapFactory.Options o);

    public static native byte[] nativeEncodeByteArray(Bitmap bitmap, int quality, VrBitmapFactory.Options o);

    public static native int nativeEncodeFileFromByte(byte[] pixels, int width, int height, int format, String path, int quality, VrBitmapFactory.Options o);
}
