package vorel.test;

import android.graphics.Bitmap;
import com.vorelsoft.images.VorelBitmapFactory;
import com.vorelsoft.images.VorelBitmapRegionDecoderInternal;
import com.vorelsoft.images.VorelBitmapRegionDecoderNative;
import com.vorelsoft.images.VrBitmapFactory;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.atomic.AtomicBoolean;

/** Whole pictures, kept sessions, iteration, checkpoints, encodes. */
final class VorelBitmapFactoryTest {
    private static final String TAG = "VrBitmapDecoder";
    private static final int WIDTH = 336, HEIGHT = 208;
    private static final Check check = new Check(VorelBitmapFactory.class);
    private static byte[] jpeg, whole;
    private static String jpegPath;

    private VorelBitmapFactoryTest() {}

    private static VrBitmapFactory.Options options() {
        return new VrBitmapFactory.Options();
    }

    private static VrBitmapFactory.Options sampled(int sample) {
        VrBitmapFactory.Options o = options();
        o.inSampleSize = sample;
        return o;
    }

    private static Bitmap bitmap(int width, int height) {
        return new Bitmap(width, height, 4, width * 4);
    }

    private static byte[] cut(int x, int y, int w, int h) {
        byte[] out = new byte[w * h * 4];
        for (int row = 0; row < h; ++row) System.arraycopy(whole, ((y + row) * WIDTH + x) * 4, out, row * w * 4, w * 4);
        return out;
    }

    private static long kept() {
        VrBitmapFactory.Options o = options();
        check.succeeds("CreateDecodeInfoFromBuffer", jpeg, o);
        check.that(o.mWidth == WIDTH && o.mHeight == HEIGHT && o.mDecodeHandle != 0, "a kept session");
        return o.mDecodeHandle;
    }

    // ---- One call

    private static void oneCall(String what, byte[] file) throws Exception {
        String path = Pictures.file(file);
        for (int sample : new int[] {0, 1, 2, 4, 8}) {
            VrBitmapFactory.Options o = sampled(sample);
            byte[] wanted = Library.frameDecodeFile(path, Math.max(sample, 1));
            Bitmap bitmap = check.succeeds("nativeDecodeFile", path, o);
            check.same(Check.bytes(bitmap), wanted, what + " / " + sample);
            check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT && o.mWidth == WIDTH, what + ", size");
            check.equal(o.mDecodeHandle, 0L, what + ", nothing to cancel");
            check.same(Check.bytes((Bitmap) check.succeeds("nativeDecodeByteArray", file, 0, file.length, sampled(sample))), wanted, what + ", bytes");
            check.same(Check.bytes((ByteBuffer) check.succeeds("nativeDecodeFileToBuffer", path, sampled(sample))), wanted, what + ", buffer");
            check.same(Check.bytes((ByteBuffer) check.succeeds("nativeDecodeByteArrayToBuffer", file, 0, file.length, sampled(sample))), wanted, what + ", bytes, buffer");
        }
        VrBitmapFactory.Options o = options();
        o.inJustDecodeBounds = true;
        check.fails("nativeDecodeFile", path, o);
        check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT, what + ", bounds");
        for (int failure = 1; failure <= 3; ++failure) {
            Bitmap.failure = failure;
            check.logs(TAG, failure == 3 ? "DecodeJPEGFromFile : AndroidBitmap_lockPixels() failed ! error=-1" : "createBitmap fail", "nativeDecodeFile", path, options());
            check.that(failure < 3 || Bitmap.last.recycled, "recycled");
        }
    }

    private static void refused() throws Exception {
        String[] names = {"nativeDecodeFile", "nativeDecodeFileToBuffer"};
        String text = Pictures.file("This is no picture, though it is long enough for one.".getBytes("UTF-8")), missing = "/nowhere/at all";
        for (String name : names) {
            check.logs(TAG, "parameter is null", name, null, options());
            check.logs(TAG, "parameter is null", name, jpegPath, null);
            check.logs(TAG, "not supported file type", name, text, options());
            check.logs(TAG, "Error : can't file open in getFileSize : " + missing, name, missing, options());
            VrBitmapFactory.Options o = options();
            o.mWidth = 50000;
            o.mHeight = 1;
            check.logs(TAG, "not supported decoding size", name, jpegPath, o);
            check.that(o.mWidth == WIDTH && o.outHeight == HEIGHT, name + ": the picture's size beside a refused one");
            o.mWidth = -1;
            check.logs(TAG, "not supported decoding size", name, jpegPath, o);
        }
        VrBitmapFactory.Options o = options();
        o.mWidth = 49999;
        o.mHeight = 1;
        check.succeeds("nativeDecodeFile", jpegPath, o);
        for (String name : new String[] {"nativeDecodeByteArray", "nativeDecodeByteArrayToBuffer"}) {
            check.logs(TAG, "parameter is null", name, null, 0, 4, options());
            check.fails(name, jpeg, 1, jpeg.length, options());
            check.fails(name, jpeg, -1, 4, options());
            check.fails(name, jpeg, Integer.MAX_VALUE, Integer.MAX_VALUE, options());
        }
        Bitmap.last = null;
        byte[] png = Pictures.png(WIDTH, HEIGHT);
        png[png.length / 2] ^= 0x55;
        Bitmap broken = check.call("nativeDecodeByteArray", png, 0, png.length, options());
        check.that(broken == null && Bitmap.last.recycled, "a broken PNG: its bitmap is recycled");
    }

    private static void windows() {
        int[] w = {40, 32, 100, 60};
        byte[] wanted = cut(w[0], w[1], w[2], w[3]);
        check.same(Check.bytes((Bitmap) check.succeeds("nativePartialDecodeFile", jpegPath, options(), 40, 32, 100, 60)), wanted, "a window of a file");
        check.same(Check.bytes((Bitmap) check.succeeds("nativePartialDecodeByteArray", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60)), wanted, "of bytes");
        check.same(Check.bytes((ByteBuffer) check.succeeds("nativePartialDecodeByteArrayToBuffer", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60)), wanted, "to a buffer");
        ByteBuffer pool = ByteBuffer.allocateDirect(wanted.length);
        check.succeeds("nativePartialDecodeByteArrayToBufferForBitmapPool", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60, pool);
        check.same(Check.bytes(pool), wanted, "to a pool's buffer");
        check.logs(TAG, "incorrect rect size - x : 300, y : 0, w : 100, h : 60", "nativePartialDecodeFile", jpegPath, options(), 300, 0, 100, 60);
        check.logs(TAG, "incorrect rect size - x : -1, y : 0, w : 10, h : 0", "nativePartialDecodeByteArray", jpeg, 0, jpeg.length, options(), -1, 0, 10, 0);
        check.fails("nativePartialDecodeByteArrayToBuffer", jpeg, 0, jpeg.length, options(), 0, Integer.MAX_VALUE, 8, 8);
        check.fails("nativePartialDecodeByteArrayToBufferForBitmapPool", jpeg, 0, jpeg.length, options(), 40, 32, 101, 60, pool);
        check.fails("nativePartialDecodeByteArrayToBufferForBitmapPool", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60, ByteBuffer.allocate(wanted.length));
    }

    // ---- Sizes, sessions, Exif

    private static void sizes() throws Exception {
        String bmp = Pictures.file(Pictures.bmp(20, 20));
        for (String name : new String[] {"nativeGetImageInfoFromFile", "GetImageInfoFromFile", "nativeCreateDecFileInfo", "CreateDecodeInfoFromFile"}) {
            VrBitmapFactory.Options o = options();
            check.succeeds(name, jpegPath, o);
            check.that(o.mWidth == WIDTH && o.mHeight == HEIGHT && o.outWidth == (name.startsWith("native") ? WIDTH : 0), name + ", size");
            check.equal(o.mDecodeHandle != 0, name.contains("Create"), name + ", handle");
            if (o.mDecodeHandle != 0) check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
            check.logs(TAG, "File : " + bmp + " isn't a jpeg file", name, bmp, options());
            check.logs(TAG, "parameter is null", name, null, options());
            check.logs(TAG, "parameter is null", name, jpegPath, null);
        }
        for (String name : new String[] {"nativeGetImageInfoFromBuffer", "GetImageInfoFromBuffer", "nativeCreateDecBufferInfo", "CreateDecodeInfoFromBuffer"}) {
            VrBitmapFactory.Options o = options();
            check.succeeds(name, jpeg, o);
            check.that(o.mWidth == WIDTH && o.outHeight == (name.startsWith("native") ? HEIGHT : 0), name + ", size");
            if (o.mDecodeHandle != 0) check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
            check.logs(TAG, "Buffered input isn't a jpeg file", name, Pictures.bmp(20, 20), options());
            check.fails(name, new byte[0], options());
        }
        VrBitmapFactory.Options o = options();
        o.inDecodeFromOption = 1;
        o.mWidth = 7;
        check.succeeds("CreateDecodeInfoFromFile", jpegPath, o);
        check.equal(o.mWidth, 7, "a size of the caller's stands");
        check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
        check.logs(TAG, "AbortJPEGFromFileIter : pDecInfo is NULL", "AbortJPEGFromFileIter", 0L);
    }

    private static void encodes() throws Exception {
        Bitmap picture = bitmap(WIDTH, HEIGHT), locked = bitmap(8, 8);
        picture.pixels.put(Pictures.rgba(WIDTH, HEIGHT));
        locked.unlockable = 1;
        VrBitmapFactory.Options o = options();
        byte[] file = check.succeeds("nativeEncodeByteArray", picture, 90, o);
        check.same(file, jpeg, "the C entry's stream");
        o.inOptimizeCoding = 1;
        byte[] small = check.succeeds("nativeEncodeByteArray", picture, 90, o);
        check.that(small.length < file.length, "best tables: " + small.length + " of " + file.length);
        String path = Pictures.file(new byte[0]), path2 = Pictures.file(new byte[0]);
        check.succeeds("nativeEncodeFile", picture, path, 90, options());
        check.same(Files.readAllBytes(Path.of(path)), file, "to a file");
        check.succeeds("nativeEncodeFileFromByte", Pictures.rgba(WIDTH, HEIGHT), WIDTH, HEIGHT, 7, path2, 90, options());
        check.same(Files.readAllBytes(Path.of(path2)), file, "from bytes");

        // Camera data of one file go into another.
        byte[] withExif = exif(jpeg);
        String source = Pictures.file(withExif);
        for (String name : new String[] {"nativeGetExifData", "GetExifData"}) {
            o = options();
            check.succeeds(name, source, 0L, o);
            check.that(o.mExifHandle != 0, "Exif handle");
            byte[] out = check.succeeds("nativeEncodeByteArray", picture, 90, o);
            check.equal(o.mExifHandle, 0L, "an encode consumes the handle");
            check.that(new String(out, "ISO-8859-1").contains(new String(ORIENTATION, "ISO-8859-1")), "the orientation stands in the stream");
            VrBitmapFactory.Options session = options();
            check.call("CreateDecodeInfoFromBuffer", withExif, session);
            check.succeeds(name, null, session.mDecodeHandle, o);
            check.call("AbortJPEGFromFileIter", session.mDecodeHandle);
            check.fails("nativeEncodeByteArray", locked, 90, o);
            check.equal(o.mExifHandle, 0L, "also one that fails");
            check.fails(name, "/nowhere/at all", 0L, o);
            check.logs(TAG, "parameter is null", name, null, 0L, o);
            check.logs(TAG, "parameter is null", name, source, 0L, null);
        }
        check.fails("nativeEncodeFile", picture, "/nowhere/at all.jpg", 90, options());
        check.fails("nativeEncodeFile", null, path, 90, options());
        check.fails("nativeEncodeByteArray", null, 90, options());
        check.fails("nativeEncodeFileFromByte", new byte[99], WIDTH, HEIGHT, 7, path2, 90, options());
        check.fails("nativeEncodeFileFromByte", new byte[99], 1 << 20, 1 << 20, 7, path2, 90, options());
    }

    /** An entry of a directory: the orientation is 6. */
    private static final byte[] ORIENTATION = {0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0};

    /** The file with an APP1 segment of that tag alone. */
    private static byte[] exif(byte[] file) {
        byte[] head = {-1, -40, -1, -31, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0};
        byte[] out = Arrays.copyOf(head, head.length + ORIENTATION.length + 4 + file.length - 2);
        System.arraycopy(ORIENTATION, 0, out, head.length, ORIENTATION.length);
        System.arraycopy(file, 2, out, head.length + ORIENTATION.length + 4, file.length - 2);
        return out;
    }

    // ---- Kept sessions, in one piece

    private static void onePiece() {
        for (String name : new String[] {"nativeDecodeJPEG", "DecodeJPEGFromFile"}) {
            for (int sample : new int[] {1, 2, 16}) {
                Bitmap bitmap = bitmap(WIDTH / sample, HEIGHT / sample);
                check.succeeds(name, kept(), bitmap, bitmap.width, bitmap.height, sample);
                check.same(Check.bytes(bitmap), Library.frameDecodeFile(jpegPath, sample), name + " / " + sample);
            }
            check.fails(name, kept(), bitmap(WIDTH, HEIGHT - 1), WIDTH, HEIGHT, 1);
            check.fails(name, kept(), null, WIDTH, HEIGHT, 1);
            check.fails(name, 0L, bitmap(8, 8), 8, 8, 1);
        }
        Bitmap part = bitmap(100, 60);
        ByteBuffer buffer = ByteBuffer.allocateDirect(100 * 60 * 4);
        check.succeeds("PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, 40, 32, 100, 60);
        check.same(Check.bytes(part), cut(40, 32, 100, 60), "a window");
        check.succeeds("PartialDecodeJPEGToBuffer", kept(), buffer, WIDTH, HEIGHT, 1, 40, 32, 100, 60);
        check.same(Check.bytes(buffer), cut(40, 32, 100, 60), "a window in a buffer");
        check.logs(TAG, "Width and Height coudn't be Zero", "PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, 40, 32, 0, 60);
        check.fails("PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, -1, 0, 100, 60);
        check.fails("PartialDecodeJPEGToBuffer", kept(), buffer, WIDTH, HEIGHT, 1, 0, 0, 101, 60);
        check.fails("PartialDecodeJPEGToBuffer", 0L, buffer, WIDTH, HEIGHT, 1, 0, 0, 100, 60);

        Bitmap thumbnail = bitmap(84, 52);
        ByteBuffer small = ByteBuffer.allocateDirect(84 * 52 * 4);
        check.succeeds("DecodeJPEGThumbnail", kept(), thumbnail, 84, 52, 2);
        check.succeeds("DecodeJPEGThumbnailToBuffer", kept(), small, 84, 52, 2);
        check.same(Check.bytes(small), Check.bytes(thumbnail), "a thumbnail in a buffer");
        long memory = check.<Long>succeeds("DecodeJPEGThumbnailToNativeBuffer", kept(), 84, 52, 2);
        check.same(Library.memoryAt(memory, 84 * 52 * 4), Check.bytes(thumbnail), "a thumbnail in new memory");
        check.succeeds("recycleNativeBuffer", memory);
        check.fails("DecodeJPEGThumbnail", kept(), thumbnail, 85, 52, 2);
        check.fails("DecodeJPEGThumbnailToBuffer", kept(), small, 85, 52, 2);
        check.logs(TAG, "DecodeJPEGThumbnailToNativeBuffer : handle is NULL.", "DecodeJPEGThumbnailToNativeBuffer", 0L, 84, 52, 2);
        check.fails("DecodeJPEGThumbnailToNativeBuffer", kept(), 0, 52, 2);
    }

    // ---- Kept sessions, a few rows at a time

    private static long prepared(long handle, int width, int height) {
        int result;
        do result = check.call("PrepareJPEGFromFileIter", handle, width, height);
        while (result == 4);
        check.equal(result, 1, "prepared");
        check.succeeds("PrepareJPEGFromFileIter", handle, width, height);
        return handle;
    }

    private static void rows() {
        for (int flags : new int[] {1, 3}) {
            long handle = prepared(kept(), WIDTH, HEIGHT);
            Bitmap bitmap = bitmap(WIDTH, HEIGHT);
            int result, calls = 0;
            do {
                result = check.call("DecodeJPEGFromFileIter", handle, bitmap, WIDTH, HEIGHT, flags, 50);
                ++calls;
            } while (result == 4);
            check.that(result == 1 && calls == 5, flags + ": " + result + " behind " + calls + " calls");
            check.same(Check.bytes(bitmap), whole, "rows, flags " + flags);
            if (flags != 3) continue;
            // The session has a map now.
            VorelBitmapRegionDecoderInternal region = VorelBitmapRegionDecoderNative.nativeNewInstanceWithOpt(handle);
            Bitmap part = bitmap(64, 32);
            check.that(region != null && region.mHandle == handle, "a map");
            check.equal(VorelBitmapRegionDecoderNative.nativeDoDecodeRegion(part, handle, 48, 64, 64, 32, 0, 1), 1, "a rectangle");
            check.same(Check.bytes(part), cut(48, 64, 64, 32), "a rectangle by the map of an iteration");
            VorelBitmapRegionDecoderNative.nativeClean(handle);
        }
        check.succeeds("DecodeJPEGFromFileIter", prepared(kept(), WIDTH, HEIGHT), bitmap(WIDTH, HEIGHT), WIDTH, HEIGHT, 1, HEIGHT);
        ByteBuffer buffer = ByteBuffer.allocateDirect(WIDTH * HEIGHT * 4);
        check.succeeds("DecodeJPEGFromFileIterToBuffer", prepared(kept(), WIDTH, HEIGHT), buffer, WIDTH, HEIGHT, 1, HEIGHT);
        check.same(Check.bytes(buffer), whole, "rows in a buffer");

        String name = "DecodeJPEGFromFileIter", height = name + " Iteration Buffer Height is error #";
        check.logs(TAG, height + "1 : 20 50", name, prepared(kept(), WIDTH, HEIGHT), bitmap(WIDTH, 20), WIDTH, HEIGHT, 1, 50);
        check.logs(TAG, height + "2 : 60 " + HEIGHT, name, prepared(kept(), WIDTH, HEIGHT), bitmap(WIDTH, 60), WIDTH, HEIGHT, 1, 50);
        check.logs(TAG, height + "3 : " + HEIGHT, name, prepared(kept(), WIDTH, HEIGHT), bitmap(WIDTH, HEIGHT), WIDTH, HEIGHT, 8, 50);
        for (String each : new String[] {name, name + "ToBuffer"}) {
            Object output = each.equals(name) ? bitmap(16, 16) : ByteBuffer.allocateDirect(16 * 16 * 4);
            check.logs(TAG, each + " : pDecInfo is NULL", each, 0L, output, 16, 16, 1, 8);
            // Another size than it was prepared for.
            check.fails(each, prepared(kept(), WIDTH, HEIGHT), output, 16, 16, 1, 16);
            check.fails(each, kept(), output, 16, 16, 1, 16);
            check.fails(each, prepared(kept(), WIDTH, HEIGHT), null, WIDTH, HEIGHT, 1, 16);
        }
        check.logs(TAG, "PrepareJPEGFromFileIter : pDecInfo is NULL", "PrepareJPEGFromFileIter", 0L, 8, 8);
        check.fails("PrepareJPEGFromFileIter", kept(), -1, -1);
        check.succeeds("AbortJPEGFromFileIter", prepared(kept(), WIDTH, HEIGHT));
    }

    private static void strips() {
        String name = "DecodeJPEGFromFileIter4LTN", buffered = name + "ToBuffer", tiled = name + "ToNativeBufferArray";
        long handle = prepared(kept(), WIDTH, HEIGHT), other = prepared(kept(), WIDTH, HEIGHT);
        Bitmap strip = bitmap(WIDTH, 66);
        ByteBuffer buffer = ByteBuffer.allocateDirect(WIDTH * 66 * 4);
        for (int y = 0; y < HEIGHT; y += 64) {
            boolean last = y + 64 >= HEIGHT;
            check.gives(true, last ? 1 : 4, name, handle, strip, WIDTH, HEIGHT, 1);
            check.gives(true, last ? 1 : 4, buffered, other, buffer, WIDTH, HEIGHT, 1, 64);
            byte[] pixels = Check.bytes(strip);
            check.same(Check.bytes(buffer), pixels, "a strip in a buffer");
            int rows = Math.min(64, HEIGHT - y);
            check.same(Arrays.copyOfRange(pixels, WIDTH * 4, WIDTH * 4 * (rows + 1)), cut(0, y, WIDTH, rows), "rows from " + y);
            check.same(Arrays.copyOf(pixels, WIDTH * 4), cut(0, Math.max(y - 1, 0), WIDTH, 1), "guard row above " + y);
        }
        handle = prepared(kept(), WIDTH, HEIGHT);
        long[] tiles = new long[3];
        check.gives(true, 4, tiled, handle, tiles, WIDTH, HEIGHT, 1, 128, 64);
        for (int t = 0; t < 2; ++t) {
            byte[] tile = Library.memoryAt(tiles[t], 128 * 66 * 4);
            check.same(Arrays.copyOfRange(tile, 128 * 4, 128 * 4 * 65), cut(t * 128, 0, 128, 64), "tile " + t);
        }
        for (long tile : tiles) check.succeeds("recycleNativeBuffer", tile);
        // These three leave the session.
        check.logs(TAG, name + " use FullBuffer is not supported is error #3 : 0 ", name, handle, strip, WIDTH, HEIGHT, 0);
        check.logs(TAG, name + " use FullBuffer is not supported is error #3 : 2 ", buffered, handle, buffer, WIDTH, HEIGHT, 2, 64);
        check.logs(TAG, tiled + " : FullBuffer is not supported", tiled, handle, tiles, WIDTH, HEIGHT, 0, 128, 64);
        check.logs(TAG, tiled + " : nativeHandleArray is wrong !", tiled, handle, new long[0], WIDTH, HEIGHT, 1, 128, 64);
        check.logs(TAG, tiled + " : nativeHandleArray is wrong !", tiled, handle, null, WIDTH, HEIGHT, 1, 128, 64);
        check.succeeds("AbortJPEGFromFileIter", handle);
        VrBitmapFactory.Options o = options();
        o.inPreferredConfig = 0;
        check.call("CreateDecodeInfoFromBuffer", jpeg, o);
        check.logs(TAG, tiled + " : is not supported for [0] color type", tiled, o.mDecodeHandle, tiles, WIDTH, HEIGHT, 1, 128, 64);
        check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
        check.fails(name, prepared(kept(), WIDTH, HEIGHT), bitmap(WIDTH, 2), WIDTH, HEIGHT, 1);
        check.fails(name, prepared(kept(), WIDTH, HEIGHT), bitmap(16, 18), 16, HEIGHT, 1);
        check.fails(buffered, prepared(kept(), WIDTH, HEIGHT), ByteBuffer.allocateDirect(WIDTH * 65 * 4), WIDTH, HEIGHT, 1, 64);
        check.logs(TAG, name + " : pDecInfo is NULL", name, 0L, strip, WIDTH, HEIGHT, 1);
        check.logs(TAG, buffered + " : pDecInfo is NULL", buffered, 0L, buffer, WIDTH, HEIGHT, 1, 64);
        check.logs(TAG, tiled + " : pDecInfo is NULL", tiled, 0L, tiles, WIDTH, HEIGHT, 1, 128, 64);
    }

    private static void checkpoints() {
        byte[] blob = new byte[5 + 4 + 3 * 68];
        blob[5] = 3;
        Bitmap bitmap = bitmap(WIDTH, HEIGHT);
        check.succeeds("DecodeJPEGGetMidpoint", kept(), bitmap, WIDTH, HEIGHT, 1, blob, 5);
        check.same(Check.bytes(bitmap), whole, "a decode that takes checkpoints");
        check.equal(check.succeeds("GetMidPointCount", blob, 5), 3, "count");
        check.succeeds("GetMidpoint", blob, 9);
        long handle = kept();
        int result;
        do result = check.call("PrepareJPEGFromFileIterMidpoint", handle, WIDTH, HEIGHT, blob, 5);
        while (result == 4);
        check.succeeds("PrepareJPEGFromFileIterMidpoint", handle, WIDTH, HEIGHT, blob, 5);
        int row = check.succeeds("GetJPEGMidPoint", handle, 1, 2);
        check.that(row > 0 && row < HEIGHT, "row of a checkpoint: " + row);
        ByteBuffer buffer = ByteBuffer.allocateDirect(WIDTH * 18 * 4);
        check.gives(true, 4, "DecodeJPEGFromFileIter4LTNToBufferMidpoint", handle, buffer, WIDTH, HEIGHT, 1, 2, 16);
        check.same(Arrays.copyOfRange(Check.bytes(buffer), WIDTH * 4, WIDTH * 17 * 4), cut(0, row, WIDTH, 16), "the rows behind a checkpoint");
        check.succeeds("AbortJPEGFromFileIter", handle);

        check.logs(TAG, "prepare useMIDPoint is null", "PrepareJPEGFromFileIterMidpoint", kept(), 0, 0, null, 0);
        check.logs(TAG, "PrepareJPEGFromFileIterMidpoint : pDecInfo is NULL", "PrepareJPEGFromFileIterMidpoint", 0L, WIDTH, HEIGHT, blob, 5);
        check.logs(TAG, "4LTN useMIDPoint is null", "DecodeJPEGFromFileIter4LTNToBufferMidpoint", prepared(kept(), WIDTH, HEIGHT), buffer, WIDTH, HEIGHT, 1, 2, 16);
        check.fails("DecodeJPEGGetMidpoint", kept(), bitmap, WIDTH, HEIGHT, 1, blob, 6);
        check.fails("DecodeJPEGGetMidpoint", kept(), bitmap, WIDTH, HEIGHT, 1, null, 0);
        check.fails("GetMidPointCount", blob, blob.length - 3);
        check.fails("GetMidPointCount", null, 0);
        check.fails("GetMidpoint", blob, blob.length - 67);
        check.fails("GetJPEGMidPoint", 0L, 1, 1);
        handle = kept();
        check.fails("GetJPEGMidPoint", handle, 0, 1);
        check.succeeds("AbortJPEGFromFileIter", handle);
    }

    // ---- Others

    private static void memory() throws Exception {
        long block = check.<Long>succeeds("createNativeBuffer", 30, 20, 4);
        check.same(Library.memoryAt(block, 2400), new byte[2400], "zeros");
        check.succeeds("recycleNativeBuffer", block);
        check.succeeds("DestroyMidpointInfo", check.<Long>call("createNativeBuffer", 1, 1, 68));
        check.fails("DestroyMidpointInfo", 0L);
        check.fails("recycleNativeBuffer", 0L);
        check.fails("createNativeBuffer", 0, 20, 4);
        check.fails("createNativeBuffer", 30, -1, 4);
        check.fails("createNativeBuffer", 1 << 20, 1 << 20, 4);
        int[] place = {7, 7};
        check.succeeds("GetJpegOffsetFromHRWBuffer", jpeg, place);
        check.that(place[0] == 0 && place[1] == 0, "no container is known");
        check.succeeds("GetJpegOffsetFromHRWFile", jpegPath, place);
        check.fails("GetJpegOffsetFromHRWBuffer", jpeg, new int[1]);
        check.fails("GetJpegOffsetFromHRWBuffer", null, place);
        check.fails("GetJpegOffsetFromHRWFile", "/nowhere/at all", place);
        check.fails("GetJpegOffsetFromHRWFile", jpegPath, null);
        Bitmap first = bitmap(8, 8), second = bitmap(8, 8), locked = bitmap(8, 8);
        second.pixels.put(0, (byte) 1);
        locked.unlockable = 1;
        Library.takeLog();
        double psnr = check.succeeds("CompareJPEG", first, second, 5L, 6L, 90, 1000L, 900L, 0);
        check.that(Math.abs(psnr - 10 * Math.log10(255.0 * 255 * 256)) < 1e-9, "PSNR " + psnr);
        check.that(Files.exists(Path.of("/sdcard/testresult")) || Library.takeLog().contains("resWriter Error!"), "no place for the line");
        check.logs(TAG, "AndroidBitmap_lockPixels() failed ! error=-1", "CompareJPEG", first, locked, 5L, 6L, 90, 1000L, 900L, 1);
        check.fails("CompareJPEG", first, null, 5L, 6L, 90, 1000L, 900L, 1);
        check.fails("DecodeCancel", 0L);
        check.fails("RegionMapCancel", 0L);
    }

    /** A second thread cancels: a kept session, whose end the first thread waits with, and a decode in one call. */
    private static void cancelled() throws Exception {
        byte[] large = Pictures.jpeg(6000, 4000);
        VrBitmapFactory.Options o = options();
        check.call("CreateDecodeInfoFromBuffer", large, o);
        check.succeeds("DecodeCancel", o.mDecodeHandle);
        check.succeeds("RegionMapCancel", o.mDecodeHandle);
        check.call("AbortJPEGFromFileIter", o.mDecodeHandle);
        String path = Pictures.file(large);
        Bitmap bitmap = bitmap(6000, 4000);
        check.isCancelled("DecodeJPEGFromFile", () -> {
            VrBitmapFactory.Options kept = options();
            check.call("CreateDecodeInfoFromFile", path, kept);
            AtomicBoolean over = new AtomicBoolean();
            // Rows that are written say that the decode runs.
            bitmap.pixels.putInt(0, 0x01020304);
            Thread canceller = new Thread(() -> {
                while (bitmap.pixels.getInt(0) == 0x01020304) Thread.onSpinWait();
                if (!over.get()) VorelBitmapFactory.DecodeCancel(kept.mDecodeHandle);
            });
            canceller.start();
            int result = check.call("DecodeJPEGFromFile", kept.mDecodeHandle, bitmap, 6000, 4000, 1);
            over.set(true);
            canceller.join();
            return result == 0;
        });
        check.isCancelled("nativeDecodeFile", () -> {
            Bitmap.last = null;
            VrBitmapFactory.Options once = options();
            once.mWidth = 3000;
            once.mHeight = 2000;
            AtomicBoolean over = new AtomicBoolean();
            Thread canceller = new Thread(() -> {
                while (!over.get()) {
                    synchronized (once) {
                        if (once.mDecodeHandle != 0) VorelBitmapFactory.DecodeCancel(once.mDecodeHandle);
                    }
                }
            });
            canceller.start();
            Bitmap decoded = check.call("nativeDecodeFile", path, once);
            over.set(true);
            canceller.join();
            check.that(Bitmap.last.recycled == (decoded == null) && once.mDecodeHandle == 0, "what a cancelled decode leaves");
            return decoded == null;
        });
    }

    public static void main(String[] arguments) throws Exception {
        jpeg = Pictures.jpeg(WIDTH, HEIGHT);
        jpegPath = Pictures.file(jpeg);
        whole = Library.frameDecodeFile(jpegPath, 1);
        oneCall("JPEG", jpeg);
        oneCall("PNG", Pictures.png(WIDTH, HEIGHT));
        oneCall("BMP", Pictures.bmp(WIDTH, HEIGHT));
        check.equal(((Bitmap) check.succeeds("nativeDecodeFile", Pictures.file(Pictures.gif()), options())).width, 1, "GIF");
        refused();
        // What grows must not reach beyond its bitmap.
        check.call("nativeDecodeFile", Pictures.growing(Pictures.jpeg(64, 64), Pictures.jpeg(640, 640)), options());
        check.call("nativeDecodeFile", Pictures.growing(Pictures.png(64, 64), Pictures.png(640, 640)), options());
        check.call("nativeDecodeFile", Pictures.growing(Pictures.bmp(64, 64), Pictures.bmp(640, 640)), options());
        windows();
        sizes();
        encodes();
        onePiece();
        rows();
        strips();
        checkpoints();
        memory();
        cancelled();
        check.end(VorelBitmapFactoryTest::main);
    }
}
