package vorel.test;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import android.graphics.Rect;
import com.hdn.halden.gallery.decoder.regiondecoder.VorelCodecRegionDecoder;
import java.nio.file.Files;
import java.nio.file.Path;

/** Rectangles for galleries. */
final class VorelCodecRegionDecoderTest {
    private static final String TAG = "VrBitmapRegionDecoderJNI";
    private static final Check check = new Check(VorelCodecRegionDecoder.class);

    private static final String[] GETTERS = {"nativeGetCropOriginX", "nativeGetCropOriginY", "nativeGetCropSizeWidth", "nativeGetCropSizeHeight"};
    /** Of the raw file, in the order of the getters. */
    private static final int[] CROP = {32, 16, 160, 120};

    private VorelCodecRegionDecoderTest() {}

    private static BitmapFactory.Options options(int sample) {
        BitmapFactory.Options o = new BitmapFactory.Options();
        o.inSampleSize = sample;
        return o;
    }

    private static void rectangles(String what, String path, long handle) {
        int[][] rectangles = {{0, 0, 128, 96}, {32, 16, 96, 80}, {-16, -16, 48, 48}, {160, 128, 288, 256}};
        for (int sample : new int[] {1, 2, 8, 16})
            for (int[] r : rectangles) {
                Bitmap part = check.succeeds("nativeDecodeRegion", handle, new Rect(r[0], r[1], r[2], r[3]), options(sample));
                check.same(Check.bytes(part), Library.decodeRegion(path, r[0], r[1], r[2], r[3], sample), what + " at " + r[0] + ", " + r[1] + " / " + sample);
            }
        Bitmap.last = null;
        check.fails("nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), options(0));
        check.fails("nativeDecodeRegion", handle, null, options(1));
        check.logs(TAG, "Illegal option object", "nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), null);
        check.fails("nativeDecodeRegion", handle, new Rect(64, 64, 0, 0), options(1));
        check.fails("nativeDecodeRegion", handle, new Rect(Integer.MIN_VALUE, 0, Integer.MAX_VALUE, 4), options(1));
        check.that(Bitmap.last == null, "no bitmap for a bad request");
    }

    private static void picture(String what, String path, int width, int height) throws Exception {
        byte[] file = Files.readAllBytes(Path.of(path));
        BitmapFactory.Options o = options(1);
        long handle = check.<Long>succeeds("nativeNewInstance", path, o);
        check.that(o.outWidth == width && o.outHeight == height, what + ": " + o.outWidth + " x " + o.outHeight);
        check.equal(check.succeeds("nativeGetWidth", handle), width, what);
        check.equal(check.succeeds("nativeGetHeight", handle), height, what);
        rectangles(what, path, handle);
        for (int i = 0; i < CROP.length; ++i) check.gives(what.equals("DNG"), what.equals("DNG") ? CROP[i] : 0, GETTERS[i], handle);
        if (what.equals("DNG")) check.gives(true, "Test", "nativeGetMake", handle);
        else check.fails("nativeGetMake", handle);
        check.succeeds("nativeRecycle", handle);

        byte[] copy = file.clone();
        handle = check.<Long>succeeds("nativeNewInstanceByteArray", copy, 0, copy.length, o);
        java.util.Arrays.fill(copy, (byte) 0);  // the handle has its own
        rectangles(what + " in memory", path, handle);
        int stopped = check.call("nativeRegionCancel", handle);
        check.equal(stopped, what.equals("JPEG") ? 1 : 0, what + ", cancel");
        Bitmap behind = check.call("nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), options(1));
        check.that((behind == null) != what.equals("PNG"), what + ", decoded behind a cancel");
        check.succeeds("nativeRecycle", handle);
    }

    public static void main(String[] arguments) throws Exception {
        String jpeg = Pictures.file(Pictures.jpeg(240, 200));
        picture("JPEG", jpeg, 240, 200);
        picture("PNG", Pictures.file(Pictures.png(240, 200)), 240, 200);
        picture("DNG", Pictures.file(Library.dng(-240, 200)), 240, 200);
        for (String getter : new String[] {"nativeGetWidth", "nativeGetHeight", "nativeGetMake", "nativeRegionCancel", "nativeRecycle"})
            check.logs("VrBitmapRegionDecoder", "[", getter, 0L);
        for (String getter : GETTERS) check.logs("VrBitmapRegionDecoder", "[", getter, 0L);
        long handle = check.<Long>succeeds("nativeNewInstance", jpeg, options(1));
        check.succeeds("nativeRegionCancel", handle);
        check.succeeds("nativeRecycle", handle);
        check.fails("nativeNewInstance", null, options(1));
        check.logs(TAG, "Illegal option object", "nativeNewInstance", jpeg, null);
        check.fails("nativeNewInstance", Pictures.file(Pictures.bmp(40, 40)), options(1));
        check.fails("nativeNewInstance", "/nowhere/at all", options(1));
        check.fails("nativeNewInstanceByteArray", new byte[3], 0, 4, options(1));
        check.fails("nativeNewInstanceByteArray", new byte[100], 0, 100, options(1));
        check.fails("nativeNewInstanceByteArray", null, 0, 100, options(1));
        check.fails("nativeDecodeRegion", 0L, new Rect(0, 0, 64, 64), options(1));
        check.end(VorelCodecRegionDecoderTest::main);
    }
}
