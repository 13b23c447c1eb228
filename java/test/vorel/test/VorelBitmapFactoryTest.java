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

    private static Bitmap bitmap(int width, int height) {
        return new Bitmap(width, height, 4, width * 4);
    }

    private static Bitmap unlockable() {
        Bitmap bitmap = bitmap(8, 8);
        bitmap.unlockable = 1;
        return bitmap;
    }

    private static ByteBuffer buffer(int width, int height) {
        return ByteBuffer.allocateDirect(width * height * 4);
    }

    private static byte[] cut(int x, int y, int w, int h) {
        return Pictures.cut(whole, WIDTH, x, y, w, h);
    }

    private static byte[] rows(Object of, int from, int to, int width) {
        return Arrays.copyOfRange(Check.bytes(of), from * width * 4, to * width * 4);
    }

    private static long kept() {
        VrBitmapFactory.Options o = options();
        check.succeeds("CreateDecodeInfoFromBuffer", jpeg, o);
        check.that(o.mWidth == WIDTH && o.mHeight == HEIGHT && o.mDecodeHandle != 0, "a kept session");
        return o.mDecodeHandle;
    }

    // ---- One call

    private static void oneCall(String type) throws Exception {
        byte[] file = Library.picture(type, WIDTH, HEIGHT);
        String path = Pictures.file(file);
        for (int sample : new int[] {0, 1, 2, 4, 8}) {
            byte[] wanted = Library.frameDecodeFile(path, Math.max(sample, 1));
            for (String name : new String[] {"nativeDecodeFile", "nativeDecodeByteArray", "nativeDecodeFileToBuffer", "nativeDecodeByteArrayToBuffer"}) {
                VrBitmapFactory.Options o = options();
                o.inSampleSize = sample;
                if (name.contains("File")) check.makes(wanted, name, path, o);
                else check.makes(wanted, name, file, 0, file.length, o);
                check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT && o.mWidth == WIDTH && o.mDecodeHandle == 0, type + ", size, nothing to cancel");
            }
        }
        VrBitmapFactory.Options o = options();
        o.inJustDecodeBounds = true;
        check.fails("nativeDecodeFile", path, o);
        check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT, type + ", bounds");
        for (int failure = 1; failure <= 3; ++failure) {
            Bitmap.failure = failure;
            String text = failure == 3 ? "DecodeJPEGFromFile : AndroidBitmap_lockPixels() failed ! error=-1" : "createBitmap fail";
            check.logs(TAG, text, "nativeDecodeFile", path, options());
            check.that(failure < 3 || Bitmap.last.recycled, "recycled");
        }
        // What grows must not reach beyond its bitmap.
        check.call("nativeDecodeFile", Pictures.growing(type), options());
    }

    private static void nothing() {
        for (String name : new String[] {"AbortJPEGFromFileIter", "PrepareJPEGFromFileIter", "PrepareJPEGFromFileIterMidpoint", "DecodeJPEGFromFileIter",
            "DecodeJPEGFromFileIterToBuffer", "DecodeJPEGFromFileIter4LTN", "DecodeJPEGFromFileIter4LTNToBuffer", "DecodeJPEGFromFileIter4LTNToNativeBufferArray"})
            check.refusesNothing(name, TAG, name + " : pDecInfo is NULL");
        check.refusesNothing("DecodeJPEGThumbnailToNativeBuffer", TAG, "DecodeJPEGThumbnailToNativeBuffer : handle is NULL.");
        for (String name : new String[] {"nativeDecodeFile", "nativeDecodeByteArray", "nativePartialDecodeFile", "nativeGetImageInfoFromFile", "GetImageInfoFromBuffer",
            "nativeCreateDecFileInfo", "CreateDecodeInfoFromBuffer", "nativeGetExifData", "GetExifData", "nativeEncodeByteArray"})
            check.refusesNothing(name, TAG, "parameter is null");
        check.logs(TAG, "parameter is null", "nativeDecodeFile", null, options());
        check.logs(TAG, "parameter is null", "nativeDecodeFile", jpegPath, null);
    }

    private static void refused() throws Exception {
        String text = Pictures.file("This is no picture, though it is long enough for one.".getBytes("UTF-8"));
        for (String name : new String[] {"nativeDecodeFile", "nativeDecodeFileToBuffer"}) {
            check.logs(TAG, "not supported file type", name, text, options());
            check.fails(name, "/nowhere/at all", options());
        }
        for (String name : new String[] {"nativeDecodeByteArray", "nativeDecodeByteArrayToBuffer"}) {
            check.fails(name, jpeg, 1, jpeg.length, options());
            check.fails(name, jpeg, Integer.MAX_VALUE, Integer.MAX_VALUE, options());
        }
        byte[] broken = Library.picture("PNG", WIDTH, HEIGHT);
        broken[broken.length / 2] ^= 0x55;
        check.recycles("nativeDecodeByteArray", broken, 0, broken.length, options());
    }

    private static void windows() {
        byte[] wanted = cut(40, 32, 100, 60);
        check.makes(wanted, "nativePartialDecodeFile", jpegPath, options(), 40, 32, 100, 60);
        check.makes(wanted, "nativePartialDecodeByteArray", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60);
        check.makes(wanted, "nativePartialDecodeByteArrayToBuffer", jpeg, 0, jpeg.length, options(), 40, 32, 100, 60);
        ByteBuffer pool = buffer(100, 60);
        String pooled = "nativePartialDecodeByteArrayToBufferForBitmapPool";
        check.succeeds(pooled, jpeg, 0, jpeg.length, options(), 40, 32, 100, 60, pool);
        check.same(pool, wanted, "to a pool's buffer");
        check.logs(TAG, "incorrect rect size - x : 300, y : 0, w : 100, h : 60", "nativePartialDecodeFile", jpegPath, options(), 300, 0, 100, 60);
        check.fails(pooled, jpeg, 0, jpeg.length, options(), 40, 32, 101, 60, pool);
        check.fails(pooled, jpeg, 0, jpeg.length, options(), 40, 32, 100, 60, ByteBuffer.allocate(wanted.length));
    }

    // ---- Sizes, sessions, Exif

    /** The source as a path or in memory; only natives of the newer names give outWidth and outHeight. */
    private static void sizes(String name, Object source, Object noJpeg, String refusal) {
        VrBitmapFactory.Options o = options();
        check.succeeds(name, source, o);
        boolean out = name.startsWith("native");
        check.that(o.mWidth == WIDTH && o.mHeight == HEIGHT && o.outWidth == (out ? WIDTH : 0) && o.outHeight == (out ? HEIGHT : 0), name + ", size");
        check.equal(o.mDecodeHandle != 0, name.contains("Create"), name + ", handle");
        if (o.mDecodeHandle != 0) check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
        check.logs(TAG, refusal, name, noJpeg, options());
    }

    private static void sizes() throws Exception {
        byte[] bmp = Library.picture("BMP", 20, 20);
        String bmpPath = Pictures.file(bmp);
        for (String name : new String[] {"nativeGetImageInfoFrom%s", "GetImageInfoFrom%s", "nativeCreateDec%sInfo", "CreateDecodeInfoFrom%s"}) {
            sizes(String.format(name, "File"), jpegPath, bmpPath, "File : " + bmpPath + " isn't a jpeg file");
            sizes(String.format(name, "Buffer"), jpeg, bmp, "Buffered input isn't a jpeg file");
            check.fails(String.format(name, "Buffer"), new byte[0], options());
        }
        VrBitmapFactory.Options o = options();
        o.inDecodeFromOption = 1;
        o.mWidth = 7;
        check.succeeds("CreateDecodeInfoFromFile", jpegPath, o);
        check.equal(o.mWidth, 7, "a size of the caller's stands");
        check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
    }

    private static void encodes() throws Exception {
        byte[] rgba = Library.picture("RGBA", WIDTH, HEIGHT);
        Bitmap picture = bitmap(WIDTH, HEIGHT);
        picture.pixels.put(0, rgba);
        check.makes(jpeg, "nativeEncodeByteArray", picture, 90, options());
        VrBitmapFactory.Options o = options();
        o.inOptimizeCoding = 1;
        byte[] small = check.succeeds("nativeEncodeByteArray", picture, 90, o);
        check.that(small.length < jpeg.length, "best tables: " + small.length + " of " + jpeg.length);
        String path = Pictures.file(new byte[0]), path2 = Pictures.file(new byte[0]);
        check.succeeds("nativeEncodeFile", picture, path, 90, options());
        check.same(Files.readAllBytes(Path.of(path)), jpeg, "to a file");
        check.succeeds("nativeEncodeFileFromByte", rgba, WIDTH, HEIGHT, 7, path2, 90, options());
        check.same(Files.readAllBytes(Path.of(path2)), jpeg, "from bytes");
        check.fails("nativeEncodeFile", picture, "/nowhere/at all.jpg", 90, options());
        check.fails("nativeEncodeFileFromByte", new byte[99], WIDTH, HEIGHT, 7, path2, 90, options());
    }

    /** An entry of a directory: the orientation is 6. */
    private static final byte[] ORIENTATION = {0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0};

    /** The JPEG with an APP1 segment of that tag alone. */
    private static byte[] withExif() {
        byte[] head = {-1, -40, -1, -31, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0};
        ByteBuffer out = ByteBuffer.allocate(head.length + ORIENTATION.length + 4 + jpeg.length - 2);
        return out.put(head).put(ORIENTATION).putInt(0).put(jpeg, 2, jpeg.length - 2).array();
    }

    /** Camera data of one file go into another. */
    private static void exif() throws Exception {
        byte[] file = withExif();
        String path = Pictures.file(file);
        Bitmap picture = bitmap(WIDTH, HEIGHT);
        for (String name : new String[] {"nativeGetExifData", "GetExifData"}) {
            VrBitmapFactory.Options o = options(), session = options();
            check.succeeds(name, path, 0L, o);
            check.that(o.mExifHandle != 0, "Exif handle");
            byte[] out = check.succeeds("nativeEncodeByteArray", picture, 90, o);
            check.equal(o.mExifHandle, 0L, "an encode consumes the handle");
            check.that(new String(out, "ISO-8859-1").contains(new String(ORIENTATION, "ISO-8859-1")), "the orientation stands in the stream");
            check.call("CreateDecodeInfoFromBuffer", file, session);
            check.succeeds(name, null, session.mDecodeHandle, o);
            check.call("AbortJPEGFromFileIter", session.mDecodeHandle);
            check.fails("nativeEncodeByteArray", unlockable(), 90, o);
            check.equal(o.mExifHandle, 0L, "also one that fails");
            check.fails(name, "/nowhere/at all", 0L, o);
        }
    }

    // ---- Kept sessions, in one piece

    private static void onePiece() {
        for (String name : new String[] {"nativeDecodeJPEG", "DecodeJPEGFromFile"}) {
            for (int sample : new int[] {1, 2, 16}) {
                Bitmap bitmap = bitmap(WIDTH / sample, HEIGHT / sample);
                check.succeeds(name, kept(), bitmap, bitmap.width, bitmap.height, sample);
                check.same(bitmap, Library.frameDecodeFile(jpegPath, sample), name + " / " + sample);
            }
            check.fails(name, kept(), bitmap(WIDTH, HEIGHT - 1), WIDTH, HEIGHT, 1);
        }
        Bitmap part = bitmap(100, 60);
        ByteBuffer buffer = buffer(100, 60);
        check.succeeds("PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, 40, 32, 100, 60);
        check.same(part, cut(40, 32, 100, 60), "a window");
        check.succeeds("PartialDecodeJPEGToBuffer", kept(), buffer, WIDTH, HEIGHT, 1, 40, 32, 100, 60);
        check.same(buffer, part, "a window in a buffer");
        check.logs(TAG, "Width and Height coudn't be Zero", "PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, 40, 32, 0, 60);
        check.fails("PartialDecodeJPEGFromFile", kept(), part, WIDTH, HEIGHT, 1, -1, 0, 100, 60);
        check.fails("PartialDecodeJPEGToBuffer", kept(), buffer, WIDTH, HEIGHT, 1, 0, 0, 101, 60);

        Bitmap thumbnail = bitmap(84, 52);
        ByteBuffer small = buffer(84, 52);
        check.succeeds("DecodeJPEGThumbnail", kept(), thumbnail, 84, 52, 2);
        check.same(thumbnail, Library.frameDecodeFile(jpegPath, 4), "without a thumbnail the picture stands in");
        check.succeeds("DecodeJPEGThumbnailToBuffer", kept(), small, 84, 52, 2);
        check.same(small, thumbnail, "a thumbnail in a buffer");
        long memory = check.<Long>succeeds("DecodeJPEGThumbnailToNativeBuffer", kept(), 84, 52, 2);
        check.same(Library.memoryAt(memory, 84 * 52 * 4), thumbnail, "a thumbnail in new memory");
        check.succeeds("recycleNativeBuffer", memory);
        check.fails("DecodeJPEGThumbnailToNativeBuffer", kept(), 0, 52, 2);
    }

    // ---- Kept sessions, a few rows at a time

    private static int repeated(String name, Object... arguments) {
        int result;
        do result = check.call(name, arguments);
        while (result == 4);
        return result;
    }

    private static long prepared() {
        long handle = kept();
        check.equal(repeated("PrepareJPEGFromFileIter", handle, WIDTH, HEIGHT), 1, "prepared");
        check.succeeds("PrepareJPEGFromFileIter", handle, WIDTH, HEIGHT);
        return handle;
    }

    private static void rows() {
        String name = "DecodeJPEGFromFileIter", buffered = name + "ToBuffer", height = name + " Iteration Buffer Height is error #";
        for (int flags : new int[] {1, 3}) {
            long handle = prepared();
            Bitmap bitmap = bitmap(WIDTH, HEIGHT);
            check.gives(true, 4, name, handle, bitmap, WIDTH, HEIGHT, flags, 50);
            check.equal(repeated(name, handle, bitmap, WIDTH, HEIGHT, flags, 50), 1, "flags " + flags);
            check.equal(bitmap.lockCalls, 5, "calls");
            check.same(bitmap, whole, "rows, flags " + flags);
            if (flags != 3) continue;
            // The session has a map now.
            VorelBitmapRegionDecoderInternal region = VorelBitmapRegionDecoderNative.nativeNewInstanceWithOpt(handle);
            Bitmap part = bitmap(64, 32);
            check.that(region != null && region.mHandle == handle, "a map");
            check.equal(VorelBitmapRegionDecoderNative.nativeDoDecodeRegion(part, handle, 48, 64, 64, 32, 0, 1), 1, "a rectangle");
            check.same(part, cut(48, 64, 64, 32), "a rectangle by the map of an iteration");
            VorelBitmapRegionDecoderNative.nativeClean(handle);
        }
        ByteBuffer buffer = buffer(WIDTH, HEIGHT);
        check.succeeds(buffered, prepared(), buffer, WIDTH, HEIGHT, 1, HEIGHT);
        check.same(buffer, whole, "rows in a buffer");

        check.logs(TAG, height + "1 : 20 50", name, prepared(), bitmap(WIDTH, 20), WIDTH, HEIGHT, 1, 50);
        check.logs(TAG, height + "2 : 60 " + HEIGHT, name, prepared(), bitmap(WIDTH, 60), WIDTH, HEIGHT, 1, 50);
        check.logs(TAG, height + "3 : " + HEIGHT, name, prepared(), bitmap(WIDTH, HEIGHT), WIDTH, HEIGHT, 8, 50);
        for (String each : new String[] {name, buffered}) {
            Object output = each.equals(name) ? bitmap(16, 16) : buffer(16, 16);
            // Another size than it was prepared for.
            check.fails(each, prepared(), output, 16, 16, 1, 16);
            check.fails(each, kept(), output, 16, 16, 1, 16);
        }
        check.fails("PrepareJPEGFromFileIter", kept(), -1, -1);
        check.succeeds("AbortJPEGFromFileIter", prepared());
    }

    private static void strips() {
        String name = "DecodeJPEGFromFileIter4LTN", buffered = name + "ToBuffer", tiled = name + "ToNativeBufferArray";
        long handle = prepared(), other = prepared();
        Bitmap strip = bitmap(WIDTH, 66);
        ByteBuffer buffer = buffer(WIDTH, 66);
        for (int y = 0; y < HEIGHT; y += 64) {
            int rows = Math.min(64, HEIGHT - y), result = y + 64 < HEIGHT ? 4 : 1;
            check.gives(true, result, name, handle, strip, WIDTH, HEIGHT, 1);
            check.gives(true, result, buffered, other, buffer, WIDTH, HEIGHT, 1, 64);
            check.same(buffer, strip, "a strip in a buffer");
            check.same(rows(strip, 1, rows + 1, WIDTH), cut(0, y, WIDTH, rows), "rows from " + y);
            check.same(rows(strip, 0, 1, WIDTH), cut(0, Math.max(y - 1, 0), WIDTH, 1), "guard row above " + y);
        }
        handle = prepared();
        long[] tiles = new long[3];
        check.gives(true, 4, tiled, handle, tiles, WIDTH, HEIGHT, 1, 128, 64);
        for (int t = 0; t < 2; ++t)
            check.same(rows(Library.memoryAt(tiles[t], 128 * 66 * 4), 1, 65, 128), cut(t * 128, 0, 128, 64), "tile " + t);
        for (long tile : tiles) check.succeeds("recycleNativeBuffer", tile);
        // These leave the session.
        check.logs(TAG, name + " use FullBuffer is not supported is error #3 : 0 ", name, handle, strip, WIDTH, HEIGHT, 0);
        check.logs(TAG, name + " use FullBuffer is not supported is error #3 : 2 ", buffered, handle, buffer, WIDTH, HEIGHT, 2, 64);
        check.logs(TAG, tiled + " : FullBuffer is not supported", tiled, handle, tiles, WIDTH, HEIGHT, 0, 128, 64);
        check.logs(TAG, tiled + " : nativeHandleArray is wrong !", tiled, handle, new long[0], WIDTH, HEIGHT, 1, 128, 64);
        check.succeeds("AbortJPEGFromFileIter", handle);
        VrBitmapFactory.Options o = options();
        o.inPreferredConfig = 0;
        check.call("CreateDecodeInfoFromBuffer", jpeg, o);
        check.logs(TAG, tiled + " : is not supported for [0] color type", tiled, o.mDecodeHandle, tiles, WIDTH, HEIGHT, 1, 128, 64);
        check.succeeds("AbortJPEGFromFileIter", o.mDecodeHandle);
        check.fails(name, prepared(), bitmap(WIDTH, 2), WIDTH, HEIGHT, 1);
        check.fails(buffered, prepared(), buffer(WIDTH, 65), WIDTH, HEIGHT, 1, 64);
    }

    private static void checkpoints() {
        String prepare = "PrepareJPEGFromFileIterMidpoint", decode = "DecodeJPEGFromFileIter4LTNToBufferMidpoint";
        byte[] blob = new byte[5 + 4 + 3 * 68];
        blob[5] = 3;
        Bitmap bitmap = bitmap(WIDTH, HEIGHT);
        check.succeeds("DecodeJPEGGetMidpoint", kept(), bitmap, WIDTH, HEIGHT, 1, blob, 5);
        check.same(bitmap, whole, "a decode that takes checkpoints");
        check.gives(true, 3, "GetMidPointCount", blob, 5);
        check.succeeds("GetMidpoint", blob, 9);
        long handle = kept();
        check.equal(repeated(prepare, handle, WIDTH, HEIGHT, blob, 5), 1, "prepared by checkpoints");
        check.succeeds(prepare, handle, WIDTH, HEIGHT, blob, 5);
        int row = check.succeeds("GetJPEGMidPoint", handle, 1, 2);
        ByteBuffer buffer = buffer(WIDTH, 18);
        check.gives(true, 4, decode, handle, buffer, WIDTH, HEIGHT, 1, 2, 16);
        check.same(rows(buffer, 1, 17, WIDTH), cut(0, row, WIDTH, 16), "the rows behind a checkpoint");
        check.succeeds("AbortJPEGFromFileIter", handle);

        check.logs(TAG, "prepare useMIDPoint is null", prepare, kept(), 0, 0, null, 0);
        check.logs(TAG, "4LTN useMIDPoint is null", decode, prepared(), buffer, WIDTH, HEIGHT, 1, 2, 16);
        check.fails("DecodeJPEGGetMidpoint", kept(), bitmap, WIDTH, HEIGHT, 1, blob, 6);
        check.fails("GetMidPointCount", blob, blob.length - 3);
        check.fails("GetMidpoint", blob, blob.length - 67);
        handle = kept();
        check.fails("GetJPEGMidPoint", handle, 0, 1);
        check.succeeds("AbortJPEGFromFileIter", handle);
    }

    // ---- Others

    private static void memory() {
        long block = check.<Long>succeeds("createNativeBuffer", 30, 20, 4);
        check.same(Library.memoryAt(block, 2400), new byte[2400], "zeros");
        check.succeeds("recycleNativeBuffer", block);
        check.succeeds("DestroyMidpointInfo", check.<Long>call("createNativeBuffer", 1, 1, 68));
        check.fails("createNativeBuffer", 30, -1, 4);
    }

    private static void utilities() {
        int[] place = {7, 7};
        check.succeeds("GetJpegOffsetFromHRWBuffer", jpeg, place);
        check.that(place[0] == 0 && place[1] == 0, "no container is known");
        check.succeeds("GetJpegOffsetFromHRWFile", jpegPath, place);
        check.fails("GetJpegOffsetFromHRWBuffer", jpeg, new int[1]);
        check.fails("GetJpegOffsetFromHRWFile", "/nowhere/at all", place);
        Bitmap first = bitmap(8, 8), second = bitmap(8, 8);
        second.pixels.put(0, (byte) 1);
        double psnr = check.succeeds("CompareJPEG", first, second, 5L, 6L, 90, 1000L, 900L, 0);
        check.that(Math.abs(psnr - 10 * Math.log10(255.0 * 255 * 256)) < 1e-9, "PSNR " + psnr);
        check.logs(TAG, "AndroidBitmap_lockPixels() failed ! error=-1", "CompareJPEG", first, unlockable(), 5L, 6L, 90, 1000L, 900L, 1);
    }

    /** A second thread cancels: a kept session, whose end the first thread waits with, and a decode in one call. */
    private static void cancelled() throws Exception {
        byte[] large = Library.picture("JPEG", 6000, 4000);
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
            // Rows that are written say that the decode runs.
            bitmap.pixels.putInt(0, 0x01020304);
            int result = Check.whileCancelling(
                () -> bitmap.pixels.getInt(0) != 0x01020304 && VorelBitmapFactory.DecodeCancel(kept.mDecodeHandle) == 1,
                () -> check.<Integer>call("DecodeJPEGFromFile", kept.mDecodeHandle, bitmap, 6000, 4000, 1));
            return result == 0;
        });
        check.isCancelled("nativeDecodeFile", () -> {
            VrBitmapFactory.Options once = options();
            once.mWidth = 3000;
            once.mHeight = 2000;
            // The decode takes back what comes before it.
            Bitmap decoded = Check.whileCancelling(() -> {
                synchronized (once) {
                    if (once.mDecodeHandle != 0) VorelBitmapFactory.DecodeCancel(once.mDecodeHandle);
                    return false;
                }
            }, () -> check.call("nativeDecodeFile", path, once));
            check.that(Bitmap.last.recycled == (decoded == null) && once.mDecodeHandle == 0, "what a cancelled decode leaves");
            return decoded == null;
        });
    }

    public static void main(String[] arguments) throws Exception {
        jpeg = Library.picture("JPEG", WIDTH, HEIGHT);
        jpegPath = Pictures.file(jpeg);
        whole = Library.frameDecodeFile(jpegPath, 1);
        check.leavesNothing("a call", () -> {
            for (String type : new String[] {"JPEG", "PNG", "BMP"}) oneCall(type);
            refused();
            nothing();
            windows();
        });
        check.equal(((Bitmap) check.succeeds("nativeDecodeFile", Pictures.file("GIF", 3, 2), options())).width, 3, "GIF");
        check.leavesNothing("a session", () -> {
            sizes();
            onePiece();
            rows();
            strips();
            checkpoints();
        });
        check.leavesNothing("an encode", () -> {
            encodes();
            exif();
        });
        check.leavesNothing("memory", VorelBitmapFactoryTest::memory);
        utilities();
        cancelled();
        check.end();
    }
}
