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
        byte[] all = Check.bytes(bitmap), out = new byte[bitmap.width * bitmap.bytesPerPixel * bitmap.height];
        int row = bitmap.width * bitmap.bytesPerPixel;
        for (int y = 0; y < bitmap.height; ++y) System.arraycopy(all, y * bitmap.stride, out, y * row, row);
        return out;
    }

    private static byte[] cut(byte[] rgba, int width, int x, int y, int w, int h) {
        byte[] out = new byte[w * h * 4];
        for (int row = 0; row < h; ++row) System.arraycopy(rgba, ((y + row) * width + x) * 4, out, row * w * 4, w * 4);
        return out;
    }

    private static VorelBitmapRegionDecoderInternal open(byte[] file) {
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        VorelBitmapRegionDecoderInternal open = check.succeeds("nativeNewInstanceBuffer", file, 0, file.length, o);
        check.that(o.outWidth == WIDTH && o.outHeight == HEIGHT, "size " + o.outWidth + " x " + o.outHeight);
        check.equal(o.mDecodeHandle, open.mType == 1 ? open.mHandle : 0L, "mDecodeHandle of an open picture");
        return open;
    }

    private static void jpeg(String path, byte[] file) {
        byte[] whole = Library.frameDecodeFile(path, 1);
        long handle = open(file).mHandle;
        check.equal(check.succeeds("nativeGetWidth", handle), WIDTH, "width");
        check.equal(check.succeeds("nativeGetHeight", handle), HEIGHT, "height");
        for (int padding : new int[] {0, 12}) {
            Bitmap part = bitmap(70, 50, 4, padding);
            check.succeeds("nativeDoDecodeRegion", part, handle, 40, 30, 70, 50, 0, 1);
            check.same(packed(part), cut(whole, WIDTH, 40, 30, 70, 50), "a rectangle is a cut, padding " + padding);
        }
        Bitmap half = bitmap((WIDTH + 1) / 2, HEIGHT / 2, 4, 0);
        check.succeeds("nativeDoDecodeRegion", half, handle, 0, 0, half.width, half.height, 0, 2);
        check.same(packed(half), Library.decodeFile(path, 2), "all of the half");

        // Ninety columns lie inside and begin at column 10; what lies outside stays.
        Bitmap over = bitmap(100, 20, 4, 8);
        for (int i = 0; i < over.pixels.capacity(); ++i) over.pixels.put(i, (byte) 77);
        check.succeeds("nativeDoDecodeRegionEx", over, handle, -10, 5, 100, 20, 0, 1);
        byte[] got = packed(over), inside = cut(got, 100, 10, 0, 90, 20), outside = cut(got, 100, 0, 0, 10, 20);
        check.same(inside, cut(whole, WIDTH, 0, 5, 90, 20), "what lies inside");
        byte[] untouched = new byte[outside.length];
        Arrays.fill(untouched, (byte) 77);
        check.same(outside, untouched, "what lies outside");
        check.gives(false, 0, "nativeDoDecodeRegionEx", over, handle, 2 * WIDTH, 0, 100, 20, 0, 1);

        long[] memory = new long[1];
        check.succeeds("nativeDoDecodeRegionExToNativeBuffer", memory, handle, -4, -4, 16, 16, 2, 1);
        byte[] planes = Library.memoryAt(memory[0], 16 * 16 * 3 / 2);
        check.that(planes[0] == 0 && planes[256] == (byte) 128 && planes[15 * 16 + 15] != 0, "planes are black outside");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        check.succeeds("nativeDoDecodeRegionExToNativeBuffer", memory, handle, -4, -4, 16, 16, 19, 1);
        byte[] pairs = Library.memoryAt(memory[0], 16 * 16 * 3 / 2);
        // The last pair is U and V of the planes.
        check.that(pairs[382] == planes[319] && pairs[383] == planes[383] && planes[319] != planes[383], "pairs of U and V");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        check.succeeds("nativeDoDecodeRegionToNativeBuffer", memory, handle, 40, 30, 64, 32, 0, 1);
        check.same(Library.memoryAt(memory[0], 64 * 32 * 4), cut(whole, WIDTH, 40, 30, 64, 32), "into new memory");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);
        check.succeeds("nativeDoDecodeRegionToNativeBuffer", memory, handle, 40, 30, 64, 32, 1, 1);
        int[] first = new int[3];
        for (int i = 0; i < 3; ++i) first[i] = whole[(30 * WIDTH + 40) * 4 + i] & 255;
        check.equal(Library.memoryAt(memory[0], 1)[0] & 255, (19595 * first[0] + 38470 * first[1] + 7471 * first[2] + 32768) >> 16, "Y");
        VorelBitmapFactory.recycleNativeBuffer(memory[0]);

        ByteBuffer direct = ByteBuffer.allocateDirect(64 * 32 * 4);
        check.succeeds("nativeDoDecodeRegionToBuffer", direct, handle, 40, 30, 64, 32, 0, 1);
        check.same(Check.bytes(direct), cut(whole, WIDTH, 40, 30, 64, 32), "into a direct buffer");
        Bitmap small = bitmap(64, 32, 2, 0);
        check.succeeds("nativeDoDecodeRegion", small, handle, 40, 30, 64, 32, 1, 1);

        Bitmap part = bitmap(64, 32, 4, 0), locked = bitmap(64, 32, 4, 0);
        locked.unlockable = 1;
        check.logs(TAG, "AndroidBitamp_lockPixels() failed ! error = -1", "nativeDoDecodeRegion", locked, handle, 0, 0, 64, 32, 0, 1);
        check.logs(TAG, "nativeDoDecodeRegionToBuffer : GetDirectBufferAddress() failed ! error=-1", "nativeDoDecodeRegionToBuffer",
            ByteBuffer.allocate(64 * 32 * 4), handle, 0, 0, 64, 32, 0, 1);
        for (String name : new String[] {"nativeDoDecodeRegion", "nativeDoDecodeRegionEx"}) {
            check.gives(false, -1, name, null, handle, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, name, part, 0L, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, name, part, handle, 0, 0, 64, 32, 0, 0);
            check.gives(false, -1, name, part, handle, 0, 0, 64, 33, 0, 1);
            check.gives(false, -1, name, part, handle, 0, 0, 1 << 20, 1 << 20, 0, 1);
            check.gives(false, -1, name, part, handle, 0, 0, 64, 32, 5, 1);
            check.gives(false, -1, name, part, handle, 0, 0, -64, 32, 0, 1);
        }
        check.gives(false, 0, "nativeDoDecodeRegion", part, handle, -1, 0, 64, 32, 0, 1);
        check.gives(false, -1, "nativeDoDecodeRegionToBuffer", direct, handle, 0, 0, 64, 33, 0, 1);
        check.gives(false, -1, "nativeDoDecodeRegionToNativeBuffer", new long[0], handle, 0, 0, 8, 8, 0, 1);
        check.gives(false, -1, "nativeDoDecodeRegionExToNativeBuffer", null, handle, 0, 0, 8, 8, 0, 1);
        threads(handle, whole);
        check.succeeds("nativeClean", handle);
    }

    /** Rectangles of one handle in several formats from several threads. */
    private static void threads(long handle, byte[] whole) {
        Thread[] threads = new Thread[4];
        for (int t = 0; t < threads.length; ++t) {
            final int number = t;
            threads[t] = new Thread(() -> {
                for (int i = 0; i < 40; ++i) {
                    int x = (i * 37 + number * 50) % (WIDTH - 64), y = (i * 23 + number * 31) % (HEIGHT - 32);
                    Bitmap part = bitmap(64, 32, number == 3 ? 2 : 4, 0);
                    check.succeeds("nativeDoDecodeRegion", part, handle, x, y, 64, 32, number == 3 ? 1 : 0, 1);
                    if (number != 3) check.same(packed(part), cut(whole, WIDTH, x, y, 64, 32), "thread " + number);
                }
            });
            threads[t].start();
        }
        for (Thread thread : threads) join(thread);
    }

    private static void join(Thread thread) {
        try {
            thread.join();
        } catch (InterruptedException e) {
            throw new IllegalStateException(e);
        }
    }

    private static void png(String path, byte[] file) {
        byte[] whole = Library.frameDecodeFile(path, 1);
        long handle = open(file).mHandle;
        check.equal(check.succeeds("nativeGetPNGWidth", handle), WIDTH, "width");
        check.equal(check.succeeds("nativeGetPNGHeight", handle), HEIGHT, "height");
        Bitmap part = bitmap(70, 50, 4, 4);
        check.succeeds("nativeDoDecodeRegionPNG", part, handle, 40, 30, 70, 50, 0, 1);
        check.same(packed(part), cut(whole, WIDTH, 40, 30, 70, 50), "a rectangle is a cut");
        Bitmap half = bitmap(35, 25, 4, 0);
        check.succeeds("nativeDoDecodeRegionPNG", half, handle, 40, 30, 70, 50, 0, 2);
        Bitmap over = bitmap(100, 20, 4, 0);
        check.succeeds("nativeDoDecodeRegionPNGEx", over, handle, WIDTH - 90, -3, 100, 20, 0, 1);
        check.same(cut(packed(over), 100, 0, 3, 90, 17), cut(whole, WIDTH, WIDTH - 90, 0, 90, 17), "what lies inside");
        for (String name : new String[] {"nativeDoDecodeRegionPNG", "nativeDoDecodeRegionPNGEx"}) {
            check.gives(false, -1, name, null, handle, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, name, part, 0L, 0, 0, 64, 32, 0, 1);
            check.gives(false, -1, name, part, handle, 0, 0, 64, 32, 0, 0);
            check.gives(false, -1, name, part, handle, 0, 0, 70, 51, 0, 1);
            check.gives(false, 0, name, part, handle, 0, 0, 35, 25, 1, 1);
        }
        check.gives(false, 0, "nativeDoDecodeRegionPNG", part, handle, WIDTH - 10, 0, 64, 32, 0, 1);
        check.succeeds("nativePNGClean", handle);
    }

    private static void refused(byte[] jpeg) throws Exception {
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        String missing = "/nowhere/at all.jpg", small = Pictures.file(Pictures.jpeg(15, 40));
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstance", missing, o);
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstance", null, o);
        check.logs(TAG, "Image File is not JPEG", "nativeNewInstance", small, o);
        check.logs(TAG, "Image File is not JPEG", "nativeNewInstance", Pictures.file(Pictures.bmp(40, 40)), o);
        check.logs(TAG, "Illegal option object", "nativeNewInstance", small, null);
        byte[] broken = Arrays.copyOf(jpeg, jpeg.length / 2);
        broken[jpeg.length / 2 - 2] = 0;
        check.logs(TAG, "JPEG Scan fail", "nativeNewInstanceBuffer", broken, 0, broken.length, o);
        check.equal(o.mDecodeHandle, 0L, "mDecodeHandle behind a failure");
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstanceBuffer", jpeg, 1, jpeg.length, o);
        check.logs(TAG, "Can't Create DecInfo", "nativeNewInstanceBuffer", jpeg, Integer.MAX_VALUE, 2, o);
        check.fails("nativeNewInstanceBuffer", null, 0, 4, o);
        for (String name : new String[] {"nativeGetWidth", "nativeGetHeight", "nativeGetPNGWidth", "nativeGetPNGHeight"})
            check.logs(TAG, "Illegal handle", name, 0L);
        check.fails("nativeClean", 0L);
        check.fails("nativePNGClean", 0L);
        check.fails("nativeNewInstanceWithOpt", 0L);
        check.call("nativeClean", check.<VorelBitmapRegionDecoderInternal>succeeds("nativeNewInstance", Pictures.file(Pictures.jpeg(16, 40)), o).mHandle);
        // A PNG whose rows cannot be read is open, without an index.
        byte[] png = Pictures.png(WIDTH, HEIGHT);
        byte[] cut = Arrays.copyOf(png, 60);
        VorelBitmapRegionDecoderInternal open = check.succeeds("nativeNewInstanceBuffer", cut, 0, cut.length, o);
        check.that(open.mType == 3 && open.mHandle == 0, "no index");
    }

    /** A second thread stops the pass over a large file as soon as it has begun. */
    private static void cancelled() throws Exception {
        String path = Pictures.file(Pictures.jpeg(6000, 4000));
        check.isCancelled("nativeNewInstance", () -> {
            VrBitmapFactory.Options o = new VrBitmapFactory.Options();
            Thread canceller = new Thread(() -> {
                for (boolean done = false; !done; Thread.onSpinWait()) {
                    synchronized (o) {
                        done = o.mDecodeHandle != 0;
                        if (done) VorelBitmapFactory.RegionMapCancel(o.mDecodeHandle);
                    }
                }
            });
            canceller.start();
            VorelBitmapRegionDecoderInternal open = check.call("nativeNewInstance", path, o);
            canceller.join();
            if (open != null) check.call("nativeClean", open.mHandle);
            else check.equal(o.mDecodeHandle, 0L, "mDecodeHandle of a cancelled pass");
            return open == null;
        });
    }

    public static void main(String[] arguments) throws Exception {
        byte[] jpeg = Pictures.jpeg(WIDTH, HEIGHT), png = Pictures.png(WIDTH, HEIGHT);
        String jpegPath = Pictures.file(jpeg), pngPath = Pictures.file(png);
        jpeg(jpegPath, jpeg);
        png(pngPath, png);
        VorelBitmapRegionDecoderInternal open = check.succeeds("nativeNewInstance", pngPath, new VrBitmapFactory.Options());
        check.equal(open.mType, 3, "type");
        check.call("nativePNGClean", open.mHandle);
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        open = check.succeeds("nativeNewInstance", jpegPath, o);
        // A map that is there is used; whose it is does not matter.
        VorelBitmapRegionDecoderInternal again = check.succeeds("nativeNewInstanceWithOpt", open.mHandle);
        check.that(again.mHandle == open.mHandle && again.mType == 1, "the same session");
        check.call("nativeClean", again.mHandle);
        refused(jpeg);
        cancelled();
        check.end(VorelBitmapRegionDecoderNativeTest::main);
    }
}
