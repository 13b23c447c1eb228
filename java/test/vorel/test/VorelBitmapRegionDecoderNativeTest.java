package vorel.test;

import android.graphics.Bitmap;
import com.vorelsoft.images.VorelBitmapFactory;
import com.vorelsoft.images.VorelBitmapRegionDecoderInternal;
import com.vorelsoft.images.VorelBitmapRegionDecoderNative;
import com.vorelsoft.images.VrBitmapFactory;
import java.nio.ByteBuffer;
import java.util.Arrays;

/** Rectangles of JPEG and PNG files. */
final class VorelBitmapRegionDecoderNativeTest {
    private static final String TAG = "VrBitmapDecoder";
    private static final int WIDTH = 333, HEIGHT = 222;
    private static final Check check = new Check(VorelBitmapRegionDecoderNative.class);

    private VorelBitmapRegionDecoderNativeTest() {}

    private static Bitmap bitmap(int width, int height, int bytesPerPixel, int padding) {
        return new Bitmap(width, height, bytesPerPixel, width * bytesPerPixel + padding);
    }

    /** Rows without their padding. */
    private static byte[] packed(Bitmap bitmap) {
        return Pictures.cut(Check.bytes(bitmap), bitmap.stride / 4, 0, 0, bitmap.width, bitmap.height);
    }

    private static VorelBitmapRegionDecoderInternal open(byte[] file) {
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        VorelBitmapRegionDecoderInternal open = check.succeeds("nativeNewInstanceBuffer", file, 0, file.length, o);
        check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT, "size " + o.outWidth + " x " + o.outHeight);
        check.equal(o.mDecodeHandle, open.mType == 1 ? open.mHandle : 0L, "mDecodeHandle of an open picture");
        return open;
    }

    /** A rectangle, into rows with padding and without; and one that hangs over the left edge and the upper one. */
    private static void rectangles(String name, long handle, byte[] whole) {
        for (int padding : new int[] {0, 12}) {
            Bitmap part = bitmap(70, 50, 4, padding);
            check.succeeds(name, part, handle, 40, 30, 70, 50, 0, 1);
            check.same(packed(part), Pictures.cut(whole, WIDTH, 40, 30, 70, 50), name + ", padding " + padding);
        }
        Bitmap over = bitmap(100, 20, 4, 8);
        for (int i = 0; i < over.pixels.capacity(); ++i) over.pixels.put(i, (byte) 77);
        check.succeeds(name + "Ex", over, handle, -10, -3, 100, 20, 0, 1);
        byte[] got = packed(over), untouched = new byte[10 * 20 * 4];
        Arrays.fill(untouched, (byte) 77);
        check.same(Pictures.cut(got, 100, 10, 3, 90, 17), Pictures.cut(whole, WIDTH, 0, 0, 90, 17), name + ", what lies inside");
        check.same(Pictures.cut(got, 100, 0, 0, 10, 20), untouched, name + ", what lies outside");
        Bitmap right = bitmap(100, 20, 4, 0);
        check.succeeds(name + "Ex", right, handle, WIDTH - 90, 5, 100, 20, 0, 1);
        check.same(Pictures.cut(Check.bytes(right), 100, 0, 0, 90, 20), Pictures.cut(whole, WIDTH, WIDTH - 90, 5, 90, 20), name + ", over the right edge");
        check.gives(false, 0, name + "Ex", right, handle, 2 * WIDTH, 0, 100, 20, 0, 1);
        for (String each : new String[] {name, name + "Ex"}) {
            check.gives(false, -1, each, null, handle, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, each, right, 0L, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, each, right, handle, 0, 0, 64, 32, 0, 0);
            check.gives(false, -1, each, right, handle, 0, 0, 100, 21, 0, 1);
            check.gives(false, -1, each, right, handle, 0, 0, -64, 20, 0, 1);
            check.gives(false, -1, each, right, handle, 0, 0, 64, 20, 5, 1);
        }
    }

    /** The rectangle of 64 x 32 at (40, 30) in every kind of memory. */
    private static void memory(long handle, byte[] wanted) {
        long[] memory = new long[1];
        check.succeeds("nativeDoDecodeRegionToNativeBuffer", memory, handle, 40, 30, 64, 32, 0, 1);
        check.same(Library.memoryAt(memory[0], 64 * 32 * 4), wanted, "into new memory");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        check.succeeds("nativeDoDecodeRegionToNativeBuffer", memory, handle, 40, 30, 64, 32, 1, 1);
        int luma = 19595 * (wanted[0] & 255) + 38470 * (wanted[1] & 255) + 7471 * (wanted[2] & 255) + 32768;
        check.equal(Library.memoryAt(memory[0], 1)[0] & 255, luma >> 16, "Y");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        check.succeeds("nativeDoDecodeRegionExToNativeBuffer", memory, handle, -4, -4, 16, 16, 2, 1);
        byte[] planes = Library.memoryAt(memory[0], 16 * 16 * 3 / 2);
        check.that(planes[0] == 0 && planes[256] == (byte) 128 && planes[15 * 16 + 15] != 0, "planes are black outside");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        ByteBuffer direct = ByteBuffer.allocateDirect(64 * 32 * 4);
        check.succeeds("nativeDoDecodeRegionToBuffer", direct, handle, 40, 30, 64, 32, 0, 1);
        check.same(direct, wanted, "into a direct buffer");
        check.gives(false, -1, "nativeDoDecodeRegionToBuffer", direct, handle, 0, 0, 64, 33, 0, 1);
        check.logs(TAG, "nativeDoDecodeRegionToBuffer : GetDirectBufferAddress() failed ! error=-1", "nativeDoDecodeRegionToBuffer",
            ByteBuffer.allocate(64 * 32 * 4), handle, 0, 0, 64, 32, 0, 1);
        check.gives(false, -1, "nativeDoDecodeRegionToNativeBuffer", new long[0], handle, 0, 0, 8, 8, 0, 1);
        check.gives(false, -1, "nativeDoDecodeRegionExToNativeBuffer", null, handle, 0, 0, 8, 8, 0, 1);
    }

    private static void jpeg(String path, byte[] file) throws Exception {
        byte[] whole = Library.frameDecodeFile(path, 1);
        long handle = open(file).mHandle;
        check.gives(true, WIDTH, "nativeGetWidth", handle);
        check.gives(true, HEIGHT, "nativeGetHeight", handle);
        rectangles("nativeDoDecodeRegion", handle, whole);
        Bitmap half = bitmap((WIDTH + 1) / 2, HEIGHT / 2, 4, 0), locked = bitmap(64, 32, 4, 0);
        check.succeeds("nativeDoDecodeRegion", half, handle, 0, 0, half.width, half.height, 0, 2);
        check.same(half, Library.decodeFile(path, 2), "all of the half");
        check.gives(false, 0, "nativeDoDecodeRegion", half, handle, -1, 0, 64, 32, 0, 1);
        locked.unlockable = 1;
        check.logs(TAG, "AndroidBitamp_lockPixels() failed ! error = -1", "nativeDoDecodeRegion", locked, handle, 0, 0, 64, 32, 0, 1);
        memory(handle, Pictures.cut(whole, WIDTH, 40, 30, 64, 32));
        threads(handle, whole);
        check.succeeds("nativeClean", handle);
    }

    private static void png(String path, byte[] file) {
        long handle = open(file).mHandle;
        check.gives(true, WIDTH, "nativeGetPNGWidth", handle);
        check.gives(true, HEIGHT, "nativeGetPNGHeight", handle);
        rectangles("nativeDoDecodeRegionPNG", handle, Library.frameDecodeFile(path, 1));
        Bitmap half = bitmap(35, 25, 4, 0);
        check.succeeds("nativeDoDecodeRegionPNG", half, handle, 40, 30, 70, 50, 0, 2);
        check.gives(false, 0, "nativeDoDecodeRegionPNG", half, handle, 0, 0, 35, 25, 1, 1);
        check.gives(false, 0, "nativeDoDecodeRegionPNG", half, handle, WIDTH - 10, 0, 35, 25, 0, 1);
        check.succeeds("nativePNGClean", handle);
    }

    /** Rectangles of one handle in several formats from several threads. */
    private static void threads(long handle, byte[] whole) throws Exception {
        Thread[] threads = new Thread[4];
        for (int t = 0; t < threads.length; ++t) {
            final int number = t;
            threads[t] = new Thread(() -> {
                for (int i = 0; i < 40; ++i) {
                    int x = (i * 37 + number * 50) % (WIDTH - 64), y = (i * 23 + number * 31) % (HEIGHT - 32);
                    Bitmap part = bitmap(64, 32, number == 3 ? 2 : 4, 0);
                    check.succeeds("nativeDoDecodeRegion", part, handle, x, y, 64, 32, number == 3 ? 1 : 0, 1);
                    if (number != 3) check.same(part, Pictures.cut(whole, WIDTH, x, y, 64, 32), "thread " + number);
                }
            });
            threads[t].start();
        }
        for (Thread thread : threads) thread.join();
    }

    private static void refused(byte[] jpeg, byte[] png) throws Exception {
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        String small = Pictures.file("JPEG", 15, 40);
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstance", "/nowhere/at all.jpg", o);
        check.logs(TAG, "Image File is not JPEG", "nativeNewInstance", small, o);
        check.logs(TAG, "Image File is not JPEG", "nativeNewInstance", Pictures.file("BMP", 40, 40), o);
        check.logs(TAG, "Illegal option object", "nativeNewInstance", small, null);
        byte[] broken = Arrays.copyOf(jpeg, jpeg.length / 2);
        broken[jpeg.length / 2 - 2] = 0;
        check.logs(TAG, "JPEG Scan fail", "nativeNewInstanceBuffer", broken, 0, broken.length, o);
        check.equal(o.mDecodeHandle, 0L, "mDecodeHandle behind a failure");
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstanceBuffer", jpeg, Integer.MAX_VALUE, 2, o);
        for (String name : new String[] {"nativeGetWidth", "nativeGetHeight", "nativeGetPNGWidth", "nativeGetPNGHeight"})
            check.refusesNothing(name, TAG, "Illegal handle");
        // A PNG whose rows cannot be read is open, without an index.
        VorelBitmapRegionDecoderInternal open = check.succeeds("nativeNewInstanceBuffer", Arrays.copyOf(png, 60), 0, 60, o);
        check.that(open.mType == 3 && open.mHandle == 0, "no index");
    }

    private static void files(String jpegPath, String pngPath) {
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        VorelBitmapRegionDecoderInternal png = check.succeeds("nativeNewInstance", pngPath, o);
        check.equal(png.mType, 3, "type");
        check.call("nativePNGClean", png.mHandle);
        VorelBitmapRegionDecoderInternal jpeg = check.succeeds("nativeNewInstance", jpegPath, o);
        // A map that is there is used; whose it is does not matter.
        VorelBitmapRegionDecoderInternal again = check.succeeds("nativeNewInstanceWithOpt", jpeg.mHandle);
        check.that(again.mHandle == jpeg.mHandle && again.mType == 1, "the same session");
        check.call("nativeClean", again.mHandle);
    }

    /** A second thread stops the pass over a large file as soon as it has begun. */
    private static void cancelled() throws Exception {
        String path = Pictures.file("JPEG", 6000, 4000);
        check.isCancelled("nativeNewInstance", () -> {
            VrBitmapFactory.Options o = new VrBitmapFactory.Options();
            VorelBitmapRegionDecoderInternal open = Check.whileCancelling(() -> {
                synchronized (o) {
                    return o.mDecodeHandle != 0 && VorelBitmapFactory.RegionMapCancel(o.mDecodeHandle) == 1;
                }
            }, () -> check.call("nativeNewInstance", path, o));
            if (open != null) check.call("nativeClean", open.mHandle);
            else check.equal(o.mDecodeHandle, 0L, "mDecodeHandle of a cancelled pass");
            return open == null;
        });
    }

    public static void main(String[] arguments) throws Exception {
        byte[] jpeg = Library.picture("JPEG", WIDTH, HEIGHT), png = Library.picture("PNG", WIDTH, HEIGHT);
        String jpegPath = Pictures.file(jpeg), pngPath = Pictures.file(png);
        check.leavesNothing("a rectangle", () -> {
            jpeg(jpegPath, jpeg);
            png(pngPath, png);
            files(jpegPath, pngPath);
            refused(jpeg, png);
        });
        cancelled();
        check.end();
    }
}
