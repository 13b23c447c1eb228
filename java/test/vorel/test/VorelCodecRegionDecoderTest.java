package vorel.test;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import android.graphics.Rect;
import com.hdn.halden.gallery.decoder.regiondecoder.VorelCodecRegionDecoder;
import java.util.Arrays;

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

    private static void rectangles(String path, long handle) {
        int[][] rectangles = {{0, 0, 128, 96}, {32, 16, 96, 80}, {-16, -16, 48, 48}, {160, 128, 288, 256}};
        for (int sample : new int[] {1, 2, 8, 16})
            for (int[] r : rectangles) {
                byte[] wanted = Library.decodeRegion(path, r[0], r[1], r[2], r[3], sample);
                check.makes(wanted, "nativeDecodeRegion", handle, new Rect(r[0], r[1], r[2], r[3]), options(sample));
            }
        Bitmap.last = null;
        check.fails("nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), options(0));
        check.fails("nativeDecodeRegion", handle, null, options(1));
        check.logs(TAG, "Illegal option object", "nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), null);
        check.fails("nativeDecodeRegion", handle, new Rect(64, 64, 0, 0), options(1));
        check.fails("nativeDecodeRegion", handle, new Rect(Integer.MIN_VALUE, 0, Integer.MAX_VALUE, 4), options(1));
        check.that(Bitmap.last == null, "no bitmap for a bad request");
    }

    private static void picture(String type) throws Exception {
        byte[] file = Library.picture(type, 240, 200);
        String path = Pictures.file(file);
        boolean raw = type.equals("cropped DNG");
        BitmapFactory.Options o = options(1);
        long handle = check.<Long>succeeds("nativeNewInstance", path, o);
        check.that(o.outWidth == 240 && o.outHeight == 200, type + ": " + o.outWidth + " x " + o.outHeight);
        check.gives(true, 240, "nativeGetWidth", handle);
        check.gives(true, 200, "nativeGetHeight", handle);
        rectangles(path, handle);
        for (int i = 0; i < CROP.length; ++i) check.gives(raw, raw ? CROP[i] : 0, GETTERS[i], handle);
        if (raw) check.succeeds("nativeGetMake", handle);
        else check.fails("nativeGetMake", handle);
        check.succeeds("nativeRecycle", handle);

        handle = check.<Long>succeeds("nativeNewInstanceByteArray", file, 0, file.length, o);
        Arrays.fill(file, (byte) 0);  // the handle has its own
        rectangles(path, handle);
        check.gives(type.equals("JPEG"), type.equals("JPEG") ? 1 : 0, "nativeRegionCancel", handle);
        Bitmap behind = check.call("nativeDecodeRegion", handle, new Rect(0, 0, 64, 64), options(1));
        check.that((behind == null) != type.equals("PNG"), type + ", decoded behind a cancel");
        check.succeeds("nativeRecycle", handle);
    }

    public static void main(String[] arguments) throws Exception {
        check.leavesNothing("a handle", () -> {
            for (String type : new String[] {"JPEG", "PNG", "cropped DNG"}) picture(type);
        });
        for (String name : new String[] {"nativeGetWidth", "nativeGetHeight", "nativeGetMake", "nativeRegionCancel", "nativeRecycle"})
            check.refusesNothing(name, "VrBitmapRegionDecoder", "[");
        for (String name : GETTERS) check.refusesNothing(name, "VrBitmapRegionDecoder", "[");
        check.logs(TAG, "Illegal option object", "nativeNewInstance", Pictures.file("JPEG", 40, 40), null);
        check.fails("nativeNewInstance", Pictures.file("BMP", 40, 40), options(1));
        check.fails("nativeNewInstanceByteArray", new byte[3], 0, 4, options(1));
        check.fails("nativeNewInstanceByteArray", new byte[100], 0, 100, options(1));
        check.fails("nativeDecodeRegion", 0L, new Rect(0, 0, 64, 64), options(1));
        check.end();
    }
}
