package vorel.test;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import com.hdn.halden.gallery.decoder.VorelCodecInterface;
import com.hdn.halden.gallery.decoder.VorelMetadata;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/** Whole pictures for galleries. */
final class VorelCodecInterfaceTest {
    private static final String TAG = "VrBitampFactory";
    private static final Check check = new Check(VorelCodecInterface.class);

    private VorelCodecInterfaceTest() {}

    private static BitmapFactory.Options options(int sample) {
        BitmapFactory.Options o = new BitmapFactory.Options();
        o.inSampleSize = sample;
        return o;
    }

    private static void picture(String what, String path, int width, int height, boolean framed) throws Exception {
        byte[] file = Files.readAllBytes(Path.of(path)), shifted = new byte[file.length + 9];
        System.arraycopy(file, 0, shifted, 5, file.length);
        for (int sample : new int[] {1, 2, 3, 8, 16}) {
            BitmapFactory.Options o = options(sample);
            Bitmap bitmap = check.succeeds("nativeDecodeFile", path, o);
            String request = what + " at " + sample;
            check.that(o.outWidth == 0 && o.outHeight == 0, request + ": " + o.outWidth + " x " + o.outHeight);
            check.equal(bitmap.width, (2 * width + sample) / (2 * sample), request + ", width");
            check.same(Check.bytes(bitmap), Library.decodeFile(path, sample), request);
            // The frame's entry rounds sizes down.
            boolean sameSize = width % sample * 2 < sample && height % sample * 2 < sample;
            if (framed && sameSize) check.same(Check.bytes(bitmap), Library.frameDecodeFile(path, sample), request + ", the frame's entry");
            check.same(Check.bytes((Bitmap) check.succeeds("nativeDecodeByteArray", shifted, 5, file.length, o)), Check.bytes(bitmap), request + ", bytes");
        }
        BitmapFactory.Options o = options(0);
        check.equal(((Bitmap) check.succeeds("nativeDecodeFile", path, o)).width, width, "sample size 0 means 1");
        o = options(1);
        o.inJustDecodeBounds = true;
        check.fails("nativeDecodeFile", path, o);
        check.that(o.outWidth == width && o.outHeight == height, what + ", bounds");
        for (int failure = 1; failure <= 3; ++failure) {
            Bitmap.failure = failure;
            Bitmap.last = null;
            check.logs(TAG, failure == 3 ? "AndroidBitmap_lockPixels() failed ! error=-1" : "createBitmap fail - decWdt : " + width + ", decHgt : " + height,
                "nativeDecodeFile", path, options(1));
            check.that(failure < 3 || Bitmap.last.recycled, "recycled");
        }
        byte[] broken = Arrays.copyOf(file, file.length / 3);
        Bitmap.last = null;
        Bitmap part = check.call("nativeDecodeByteArray", broken, 0, broken.length, options(1));
        check.that(part != null || Bitmap.last == null || Bitmap.last.recycled, what + ": a bitmap that failed is recycled");
    }

    private static void raw(String path) {
        VorelMetadata metadata = new VorelMetadata();
        check.succeeds("nativeParseMetadata", path, metadata);
        check.that(metadata.imageWidth == 34 && metadata.imageHeight == 30 && metadata.make != null, "metadata " + metadata.imageWidth + " x " + metadata.imageHeight);
        BitmapFactory.Options o = options(1);
        Bitmap preview = check.succeeds("nativeDecodePreview", path, o);
        check.that(preview.width == o.outWidth && preview.height == o.outHeight && preview.width > 0, "preview");
        o = options(1);
        o.inJustDecodeBounds = true;
        check.fails("nativeDecodePreview", path, o);
        check.that(o.outWidth == preview.width && o.outHeight == preview.height, "bounds of the preview");
        check.fails("nativeParseMetadata", path, "no such fields");
        check.logs(TAG, "Illegal option field make", "nativeParseMetadata", path, new Object());
    }

    public static void main(String[] arguments) throws Exception {
        String jpeg = Pictures.file(Pictures.jpeg(336, 208)), png = Pictures.file(Pictures.png(336, 208));
        String small = Pictures.file(Library.dng(0, 0)), raw = Pictures.file(Library.dng(200, 160));
        VorelMetadata size = new VorelMetadata();
        check.succeeds("nativeParseMetadata", raw, size);
        picture("JPEG", jpeg, 336, 208, true);
        picture("PNG", png, 336, 208, true);
        picture("JPEG", Pictures.file(Pictures.jpeg(331, 217)), 331, 217, true);
        picture("DNG", raw, size.cropSizeWidth, size.cropSizeHeight, false);
        raw(small);
        check.fails("nativeDecodeFile", Pictures.growing(Pictures.jpeg(64, 64), Pictures.jpeg(640, 640)), options(1));
        check.that(Bitmap.last.recycled, "a JPEG that grows");
        check.fails("nativeDecodeFile", Pictures.growing(Pictures.png(64, 64), Pictures.png(640, 640)), options(1));
        check.that(Bitmap.last.recycled, "a PNG that grows");
        check.fails("nativeDecodeFile", Pictures.growing(Library.dng(64, 64), Library.dng(640, 640)), options(1));
        check.that(Bitmap.last.recycled, "a DNG that grows");
        for (String name : new String[] {"nativeDecodeFile", "nativeDecodePreview"}) {
            check.logs(TAG, "error path : 0, options : ", name, null, options(1));
            check.logs(TAG, "error path : ", name, jpeg, null);
            check.fails(name, "/nowhere/at all", options(1));
        }
        check.fails("nativeDecodeFile", Pictures.file(Pictures.gif()), options(1));
        check.fails("nativeDecodeFile", Pictures.file(Pictures.bmp(20, 20)), options(1));
        check.fails("nativeDecodePreview", jpeg, options(1));
        check.fails("nativeParseMetadata", jpeg, size);
        check.fails("nativeParseMetadata", null, size);
        check.fails("nativeDecodeByteArray", new byte[4], 2, 3, options(1));
        check.fails("nativeDecodeByteArray", null, 0, 3, options(1));
        check.logs(TAG, "not supported decoding size - width : 0, height : 0", "nativeDecodeFile", jpeg, options(1000));
        check.end(VorelCodecInterfaceTest::main);
    }
}
