package vorel.test;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import com.hdn.halden.gallery.decoder.VorelCodecInterface;
import com.hdn.halden.gallery.decoder.VorelMetadata;
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

    private static void picture(String type, int width, int height) throws Exception {
        byte[] file = Library.picture(type, width, height), shifted = new byte[file.length + 9];
        String path = Pictures.file(file);
        System.arraycopy(file, 0, shifted, 5, file.length);
        for (int sample : new int[] {0, 1, 2, 3, 8, 16}) {
            BitmapFactory.Options o = options(sample);
            byte[] wanted = Library.decodeFile(path, Math.max(sample, 1));
            Bitmap bitmap = check.makes(wanted, "nativeDecodeFile", path, o);
            check.that(o.outWidth == width && o.outHeight == height, type + ": " + o.outWidth + " x " + o.outHeight);
            if (sample > 0) check.equal(bitmap.width, (2 * width + sample) / (2 * sample), type + ", width");
            check.makes(wanted, "nativeDecodeByteArray", shifted, 5, file.length, o);
        }
        BitmapFactory.Options o = options(1);
        o.inJustDecodeBounds = true;
        check.fails("nativeDecodeFile", path, o);
        check.that(o.outWidth == width && o.outHeight == height, type + ", bounds");
        for (int failure = 1; failure <= 3; ++failure) {
            Bitmap.failure = failure;
            String text = failure == 3 ? "AndroidBitmap_lockPixels() failed ! error=-1" : "createBitmap fail - decWdt : " + width + ", decHgt : " + height;
            check.logs(TAG, text, "nativeDecodeFile", path, options(1));
            check.that(failure < 3 || Bitmap.last.recycled, "recycled");
        }
        byte[] broken = Arrays.copyOf(file, file.length / 3);
        Bitmap.last = null;
        Bitmap part = check.call("nativeDecodeByteArray", broken, 0, broken.length, options(1));
        check.that(part != null || Bitmap.last == null || Bitmap.last.recycled, type + ": a bitmap that failed is recycled");
        check.recycles("nativeDecodeFile", Pictures.growing(type), options(1));
    }

    private static void raw() throws Exception {
        String path = Pictures.file("DNG", 0, 0);
        VorelMetadata metadata = new VorelMetadata();
        check.succeeds("nativeParseMetadata", path, metadata);
        check.that(metadata.imageWidth == 34 && metadata.imageHeight == 30 && metadata.make != null, "metadata");
        check.that(metadata.cropOriginX == 2 && metadata.cropSizeWidth == 31, "crop " + metadata.cropOriginX + ", " + metadata.cropSizeWidth);
        BitmapFactory.Options o = options(1);
        Bitmap preview = check.succeeds("nativeDecodePreview", path, o);
        check.that(preview.width == o.outWidth && preview.height == o.outHeight && preview.width > 0, "preview");
        check.logs(TAG, "Illegal option field make", "nativeParseMetadata", path, new Object());
    }

    private static void refused() throws Exception {
        String jpeg = Pictures.file("JPEG", 336, 208);
        for (String name : new String[] {"nativeDecodeFile", "nativeDecodePreview"}) {
            check.refusesNothing(name, TAG, "error path : 0, options : 0");
            check.logs(TAG, "error path : ", name, jpeg, null);
            check.fails(name, "/nowhere/at all", options(1));
        }
        for (String type : new String[] {"GIF", "BMP"}) check.fails("nativeDecodeFile", Pictures.file(type, 20, 20), options(1));
        check.fails("nativeDecodePreview", jpeg, options(1));
        check.fails("nativeParseMetadata", jpeg, new VorelMetadata());
        check.fails("nativeDecodeByteArray", new byte[4], 2, 3, options(1));
        check.logs(TAG, "not supported decoding size - width : 0, height : 0", "nativeDecodeFile", jpeg, options(1000));
    }

    public static void main(String[] arguments) throws Exception {
        check.leavesNothing("a picture", () -> {
            picture("JPEG", 331, 217);
            picture("PNG", 336, 208);
            picture("DNG", 240, 200);
            raw();
            refused();
        });
        check.end();
    }
}
