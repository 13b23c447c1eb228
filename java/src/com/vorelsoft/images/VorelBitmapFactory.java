package com.vorelsoft.images;

import android.graphics.Bitmap;
import java.nio.ByteBuffer;

/**
 * Decoding and encoding of pictures, as the library does it: whole pictures in one call, kept sessions that are decoded
 * once or a few rows at a time, checkpoints, encodes. {@link VorelImage} is the easier way to the usual things.
 *
 * <p>A handle is the address of a session of the library's. {@code Create...} makes one, and the call that decodes it ends
 * it, on success and on failure alike; after that it must not be passed again. Calls that give 4 want to be called again
 * with the same handle. One thread at a time uses a handle, but for {@link #DecodeCancel} and {@link #RegionMapCancel},
 * which are meant for another one.
 *
 * <p>Sizes are pixels. Direct buffers are written from their first byte on, whatever their position is. Bitmaps have at
 * least as many pixels as a decode writes, of as many bytes as its format has. Nothing is thrown: a failure gives 0 or
 * null and leaves a message in the log. What the options are asked for stands at {@link VrBitmapFactory.Options}.
 */
public final class VorelBitmapFactory {
    static {
        System.loadLibrary("vorel");
    }

    private VorelBitmapFactory() {}

    /**
     * Decodes a JPEG, BMP, PNG or GIF file.
     *
     * @param path of the file
     * @param o what is wanted; receives the size of the picture
     * @return a new bitmap of ARGB_8888; null on failure and for inJustDecodeBounds
     */
    public static native Bitmap nativeDecodeFile(String path, VrBitmapFactory.Options o);

    /**
     * Decodes a picture in memory.
     *
     * @param data holds it
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativeDecodeFile}
     * @return as {@link #nativeDecodeFile}
     */
    public static native Bitmap nativeDecodeByteArray(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    /**
     * As {@link #nativeDecodeFile}, into a new direct buffer, which Java frees.
     *
     * @param path of the file
     * @param o as in {@link #nativeDecodeFile}
     * @return the pixels in inPreferredConfig, rows without padding; or null
     */
    public static native ByteBuffer nativeDecodeFileToBuffer(String path, VrBitmapFactory.Options o);

    /**
     * As {@link #nativeDecodeByteArray}, into a new direct buffer, which Java frees.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativeDecodeFile}
     * @return as {@link #nativeDecodeFileToBuffer}
     */
    public static native ByteBuffer nativeDecodeByteArrayToBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o);

    /**
     * Decodes a window of a JPEG, without a map: everything above it is decoded too.
     *
     * @param path of the file
     * @param o as in {@link #nativeDecodeFile}; mWidth and mHeight are the size of the whole picture
     * @param x left column of the window; it has to lie in the picture
     * @param y its top row
     * @param width its columns
     * @param height its rows
     * @return a new bitmap of the window, or null
     */
    public static native Bitmap nativePartialDecodeFile(String path, VrBitmapFactory.Options o, int x, int y, int width, int height);

    /**
     * The same of bytes.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativePartialDecodeFile}
     * @param x left column of the window
     * @param y its top row
     * @param width its columns
     * @param height its rows
     * @return a new bitmap of the window, or null
     */
    public static native Bitmap nativePartialDecodeByteArray(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height);

    /**
     * The same into a new direct buffer, which Java frees.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativePartialDecodeFile}
     * @param x left column of the window
     * @param y its top row
     * @param width its columns
     * @param height its rows
     * @return the window's pixels, or null
     */
    public static native ByteBuffer nativePartialDecodeByteArrayToBuffer(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height);

    /**
     * The same into a buffer that the caller has.
     *
     * @param data holds the picture
     * @param offset of its first byte
     * @param length in bytes
     * @param o as in {@link #nativePartialDecodeFile}
     * @param x left column of the window
     * @param y its top row
     * @param width its columns
     * @param height its rows
     * @param pool direct, with room for the window
     * @return 1 or 0
     */
    public static native int nativePartialDecodeByteArrayToBufferForBitmapPool(byte[] data, int offset, int length, VrBitmapFactory.Options o, int x, int y, int width, int height, ByteBuffer pool);

    /**
     * Size of a JPEG in memory.
     *
     * @param data holds it
     * @param o receives it in mWidth, mHeight, outWidth and outHeight
     * @return 1 or 0
     */
    public static native int nativeGetImageInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    /**
     * Size of a JPEG in memory.
     *
     * @param data holds it
     * @param o receives it in mWidth and mHeight
     * @return 1 or 0
     */
    public static native int GetImageInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    /**
     * Size of a JPEG file.
     *
     * @param path of the file
     * @param o receives it in mWidth, mHeight, outWidth and outHeight
     * @return 1 or 0
     */
    public static native int nativeGetImageInfoFromFile(String path, VrBitmapFactory.Options o);

    /**
     * Size of a JPEG file.
     *
     * @param path of the file
     * @param o receives it in mWidth and mHeight
     * @return 1 or 0
     */
    public static native int GetImageInfoFromFile(String path, VrBitmapFactory.Options o);

    /**
     * Makes a session of a JPEG in memory. The bytes are copied.
     *
     * @param data holds it
     * @param o receives the handle in mDecodeHandle, and the size in mWidth, mHeight (where inDecodeFromOption is 0),
     *     outWidth and outHeight
     * @return 1 or 0
     */
    public static native int nativeCreateDecBufferInfo(byte[] data, VrBitmapFactory.Options o);

    /**
     * Makes a session of a JPEG in memory. The bytes are copied.
     *
     * @param data holds it
     * @param o receives the handle in mDecodeHandle, and the size in mWidth and mHeight, where inDecodeFromOption is 0
     * @return 1 or 0
     */
    public static native int CreateDecodeInfoFromBuffer(byte[] data, VrBitmapFactory.Options o);

    /**
     * Makes a session of a JPEG file, which is read whole.
     *
     * @param path of the file
     * @param o as in {@link #nativeCreateDecBufferInfo}
     * @return 1 or 0
     */
    public static native int nativeCreateDecFileInfo(String path, VrBitmapFactory.Options o);

    /**
     * Makes a session of a JPEG file, which is read whole.
     *
     * @param path of the file
     * @param o as in {@link #CreateDecodeInfoFromBuffer}
     * @return 1 or 0
     */
    public static native int CreateDecodeInfoFromFile(String path, VrBitmapFactory.Options o);

    /**
     * Reads the camera data of a JPEG for a later encode, which frees them.
     *
     * @param path of the file, where handle is 0
     * @param handle of a session, or 0
     * @param o receives them in mExifHandle
     * @return 1 or 0
     */
    public static native int nativeGetExifData(String path, long handle, VrBitmapFactory.Options o);

    /**
     * As {@link #nativeGetExifData}.
     *
     * @param path of the file, where handle is 0
     * @param handle of a session, or 0
     * @param o receives them in mExifHandle
     * @return 1 or 0
     */
    public static native int GetExifData(String path, long handle, VrBitmapFactory.Options o);

    /**
     * Stops the session and its rectangles at their next rows. Does not wait. A decode that begins later takes it back.
     * From any thread, while the session lives; of sessions that a native ends itself that is to be made sure of by the
     * options' monitor, see {@link VrBitmapFactory.Options#mDecodeHandle}.
     *
     * @param handle of the session; 0 does nothing
     * @return 1, or 0 for 0
     */
    public static native int DecodeCancel(long handle);

    /**
     * Stops the pass that makes a map for rectangles; otherwise as {@link #DecodeCancel}.
     *
     * @param handle of the session; 0 does nothing
     * @return 1, or 0 for 0
     */
    public static native int RegionMapCancel(long handle);

    /**
     * Decodes a session, and ends it.
     *
     * @param handle of the session
     * @param bitmap receives the pixels
     * @param width of the result, where sampleSize is below 1
     * @param height of the result, where sampleSize is below 1
     * @param sampleSize both sides of the picture are divided by it
     * @return 1 or 0
     */
    public static native int nativeDecodeJPEG(long handle, Bitmap bitmap, int width, int height, int sampleSize);

    /**
     * As {@link #nativeDecodeJPEG}.
     *
     * @param handle of the session
     * @param bitmap receives the pixels
     * @param width of the result, where sampleSize is below 1
     * @param height of the result, where sampleSize is below 1
     * @param sampleSize both sides of the picture are divided by it
     * @return 1 or 0
     */
    public static native int DecodeJPEGFromFile(long handle, Bitmap bitmap, int width, int height, int sampleSize);

    /**
     * Decodes a window of a session's picture, and ends the session.
     *
     * @param handle of the session
     * @param bitmap receives the window
     * @param width of the whole result, where sampleSize is below 1
     * @param height of the whole result, where sampleSize is below 1
     * @param sampleSize both sides of the picture are divided by it
     * @param x left column of the window, in pixels of the result
     * @param y its top row
     * @param w its columns
     * @param h its rows
     * @return 1 or 0
     */
    public static native int PartialDecodeJPEGFromFile(long handle, Bitmap bitmap, int width, int height, int sampleSize, int x, int y, int w, int h);

    /**
     * As {@link #PartialDecodeJPEGFromFile}, into a direct buffer.
     *
     * @param handle of the session
     * @param buffer direct, with room for the window
     * @param width of the whole result, where sampleSize is below 1
     * @param height of the whole result, where sampleSize is below 1
     * @param sampleSize both sides of the picture are divided by it
     * @param x left column of the window, in pixels of the result
     * @param y its top row
     * @param w its columns
     * @param h its rows
     * @return 1 or 0
     */
    public static native int PartialDecodeJPEGToBuffer(long handle, ByteBuffer buffer, int width, int height, int sampleSize, int x, int y, int w, int h);

    /**
     * Decodes the thumbnail that a picture carries, or the picture where it has none, and ends the session.
     *
     * @param handle of the session
     * @param bitmap receives width by height pixels
     * @param width of the result
     * @param height of the result
     * @param thumbnailFlags 2, or 3 for a picture that is shown turned by 90 degrees
     * @return 1 or 0
     */
    public static native int DecodeJPEGThumbnail(long handle, Bitmap bitmap, int width, int height, int thumbnailFlags);

    /**
     * As {@link #DecodeJPEGThumbnail}, into a direct buffer.
     *
     * @param handle of the session
     * @param buffer direct, with room for width by height pixels
     * @param width of the result
     * @param height of the result
     * @param thumbnailFlags as in {@link #DecodeJPEGThumbnail}
     * @return 1 or 0
     */
    public static native int DecodeJPEGThumbnailToBuffer(long handle, ByteBuffer buffer, int width, int height, int thumbnailFlags);

    /**
     * As {@link #DecodeJPEGThumbnail}, into new memory.
     *
     * @param handle of the session
     * @param width of the result
     * @param height of the result
     * @param thumbnailFlags as in {@link #DecodeJPEGThumbnail}
     * @return the memory's handle, for {@link #recycleNativeBuffer}; or 0
     */
    public static native long DecodeJPEGThumbnailToNativeBuffer(long handle, int width, int height, int thumbnailFlags);

    /**
     * One step of making a session ready for {@link #DecodeJPEGFromFileIter} and its like.
     *
     * @param handle of the session
     * @param width that it will be decoded to
     * @param height that it will be decoded to
     * @return 4 call again, 1 ready, 0 failed, and the session has ended
     */
    public static native int PrepareJPEGFromFileIter(long handle, int width, int height);

    /**
     * As {@link #PrepareJPEGFromFileIter}, with the checkpoints of an earlier decode.
     *
     * @param handle of the session
     * @param width that it will be decoded to
     * @param height that it will be decoded to
     * @param midpoints what {@link #DecodeJPEGGetMidpoint} stored
     * @param offset of its first byte
     * @return as {@link #PrepareJPEGFromFileIter}
     */
    public static native int PrepareJPEGFromFileIterMidpoint(long handle, int width, int height, byte[] midpoints, int offset);

    /**
     * Decodes the next rows of a picture. The session ends with any result but 4, and lives on after 1 with flags 3: it
     * has a map then, see {@link VorelBitmapRegionDecoderNative#nativeNewInstanceWithOpt}.
     *
     * @param handle of a session that is ready
     * @param bitmap receives the picture, width by height pixels
     * @param width of the picture
     * @param height of the picture
     * @param flags 1, or 3 to make a map meanwhile
     * @param rows how many
     * @return 4 call again, 1 done, else failed
     */
    public static native int DecodeJPEGFromFileIter(long handle, Bitmap bitmap, int width, int height, int flags, int rows);

    /**
     * As {@link #DecodeJPEGFromFileIter}, into a direct buffer.
     *
     * @param handle of a session that is ready
     * @param buffer direct, with room for width by height pixels
     * @param width of the picture
     * @param height of the picture
     * @param flags as in {@link #DecodeJPEGFromFileIter}
     * @param rows how many
     * @return as {@link #DecodeJPEGFromFileIter}
     */
    public static native int DecodeJPEGFromFileIterToBuffer(long handle, ByteBuffer buffer, int width, int height, int flags, int rows);

    /**
     * Decodes the next strip, with one guard row above and one below; of NV12 two. It has as many rows as the bitmap
     * has besides. The session ends as in {@link #DecodeJPEGFromFileIter}.
     *
     * @param handle of a session that is ready
     * @param bitmap receives the strip
     * @param width of the picture
     * @param height of the picture
     * @param flags 1 or 3; anything else fails, and the session goes on
     * @return as {@link #DecodeJPEGFromFileIter}
     */
    public static native int DecodeJPEGFromFileIter4LTN(long handle, Bitmap bitmap, int width, int height, int flags);

    /**
     * As {@link #DecodeJPEGFromFileIter4LTN}, into a direct buffer.
     *
     * @param handle of a session that is ready
     * @param buffer direct, with room for the strip and its guard rows
     * @param width of the picture
     * @param height of the picture
     * @param flags 1 or 3
     * @param rows of the strip, without guard rows
     * @return as {@link #DecodeJPEGFromFileIter}
     */
    public static native int DecodeJPEGFromFileIter4LTNToBuffer(long handle, ByteBuffer buffer, int width, int height, int flags, int rows);

    /**
     * As {@link #DecodeJPEGFromFileIter4LTNToBuffer}, of the part of the picture behind a checkpoint.
     *
     * @param handle of a session that was made ready with checkpoints
     * @param buffer direct, with room for the strip and its guard rows
     * @param width of the picture
     * @param height of the picture
     * @param flags 1 or 3
     * @param midpointNumber 1 for the top of the picture, else the checkpoint's
     * @param rows of the strip, without guard rows
     * @return as {@link #DecodeJPEGFromFileIter}
     */
    public static native int DecodeJPEGFromFileIter4LTNToBufferMidpoint(long handle, ByteBuffer buffer, int width, int height, int flags, int midpointNumber, int rows);

    /**
     * Decodes the next strip and cuts it into tiles, with guard rows, each in new memory. Arguments that it does not
     * accept (the array, flags, format, sizes of tiles) leave the session alive; a failed decode ends it.
     *
     * @param handle of a session of format 7 or 19 that is ready
     * @param nativeHandleArray receives the memory's handles, for {@link #recycleNativeBuffer}; with one element the strip
     *     itself
     * @param width of the picture
     * @param height of the picture
     * @param flags 1 or 3
     * @param tileWidth columns of a tile
     * @param tileHeight its rows, without guard rows
     * @return as {@link #DecodeJPEGFromFileIter}
     */
    public static native int DecodeJPEGFromFileIter4LTNToNativeBufferArray(long handle, long[] nativeHandleArray, int width, int height, int flags, int tileWidth, int tileHeight);

    /**
     * Gives an iterative decode up, and ends the session.
     *
     * @param handle of the session
     * @return 1, or 0 for 0
     */
    public static native int AbortJPEGFromFileIter(long handle);

    /**
     * The row of a checkpoint.
     *
     * @param handle of the session
     * @param divisor rows are divided by it
     * @param index of the checkpoint, from 0 on
     * @return the row, or 0
     */
    public static native int GetJPEGMidPoint(long handle, int divisor, int index);

    /**
     * How many checkpoints stored bytes have.
     *
     * @param blob what {@link #DecodeJPEGGetMidpoint} stored
     * @param offset of its first byte
     * @return the number, or 0
     */
    public static native int GetMidPointCount(byte[] blob, int offset);

    /**
     * Decodes a session and stores checkpoints: a count of 4 bytes, and 68 for each. It ends the session.
     *
     * @param handle of the session
     * @param bitmap receives the pixels
     * @param width of the result, where sampleSize is below 1
     * @param height of the result, where sampleSize is below 1
     * @param sampleSize both sides of the picture are divided by it
     * @param blob begins with the number of checkpoints that are wanted, 0 to 4, in 4 bytes, the lowest first; receives
     *     their number and the checkpoints
     * @param offset of its first byte
     * @return 1 or 0
     */
    public static native int DecodeJPEGGetMidpoint(long handle, Bitmap bitmap, int width, int height, int sampleSize, byte[] blob, int offset);

    /**
     * Looks at a stored checkpoint, without any effect.
     *
     * @param blob holds it
     * @param offset of its first byte
     * @return 1, or 0 where the array has none there
     */
    public static native int GetMidpoint(byte[] blob, int offset);

    /**
     * Frees memory of the library's.
     *
     * @param pointer its address
     * @return 1, or 0 for 0
     */
    public static native int DestroyMidpointInfo(long pointer);

    /**
     * New memory, all zeros.
     *
     * @param width of a picture
     * @param height of a picture
     * @param bytesPerPixel of a picture
     * @return its handle, for {@link #recycleNativeBuffer}; 0 for numbers below 1 and without memory
     */
    public static native long createNativeBuffer(int width, int height, int bytesPerPixel);

    /**
     * Frees memory that a native made. Once.
     *
     * @param handle of the memory
     * @return 1, or 0 for 0
     */
    public static native int recycleNativeBuffer(long handle);

    /**
     * Where a camera's raw container has its JPEG. No container is known, so both are 0.
     *
     * @param data the file
     * @param offsetAndLength receives the two
     * @return 1 or 0
     */
    public static native int GetJpegOffsetFromHRWBuffer(byte[] data, int[] offsetAndLength);

    /**
     * As {@link #GetJpegOffsetFromHRWBuffer}.
     *
     * @param path of the file
     * @param offsetAndLength receives the two
     * @return 1 or 0
     */
    public static native int GetJpegOffsetFromHRWFile(String path, int[] offsetAndLength);

    /**
     * Compares two pictures for conformance work, and appends a line about them to
     * /sdcard/testresult/ConformanceTestResult.txt.
     *
     * @param first picture
     * @param second picture
     * @param firstTimeMs what the first took, in milliseconds
     * @param secondTimeMs what the second took
     * @param quality of an encode
     * @param originSize bytes of the file that was encoded anew
     * @param encodedSize bytes of the new one
     * @param encode 0 for a comparison of decodes
     * @return peak signal to noise ratio in decibels, over what both pictures have; infinite where they are equal, 0 where
     *     one cannot be locked
     */
    public static native double CompareJPEG(Bitmap first, Bitmap second, long firstTimeMs, long secondTimeMs, int quality, long originSize, long encodedSize, int encode);

    /**
     * Encodes a bitmap to a JPEG file.
     *
     * @param bitmap ARGB_8888 or RGB_565
     * @param path of the file, which is written anew
     * @param quality 1 to 100
     * @param o mExifHandle goes into the file, is freed, and is 0 then
     * @return 1 or 0
     */
    public static native int nativeEncodeFile(Bitmap bitmap, String path, int quality, VrBitmapFactory.Options o);

    /**
     * Encodes a bitmap to JPEG in memory.
     *
     * @param bitmap ARGB_8888 or RGB_565
     * @param quality 1 to 100
     * @param o as in {@link #nativeEncodeFile}
     * @return the file's bytes, or null
     */
    public static native byte[] nativeEncodeByteArray(Bitmap bitmap, int quality, VrBitmapFactory.Options o);

    /**
     * Encodes pixels to a JPEG file.
     *
     * @param pixels rows without padding
     * @param width of the picture
     * @param height of the picture
     * @param format of the pixels, as inPreferredConfig of {@link VrBitmapFactory.Options}
     * @param path of the file, which is written anew
     * @param quality 1 to 100
     * @param o as in {@link #nativeEncodeFile}
     * @return 1 or 0
     */
    public static native int nativeEncodeFileFromByte(byte[] pixels, int width, int height, int format, String path, int quality, VrBitmapFactory.Options o);
}
