package vorel.test;

import android.graphics.BitmapFactory;
import com.hdn.halden.gallery.decoder.VorelCodecInterface;
import com.hdn.halden.gallery.decoder.regiondecoder.VorelCodecRegionDecoder;
import com.vorelsoft.images.VorelBitmapFactory;
import com.vorelsoft.images.VorelBitmapRegionDecoderNative;
import com.vorelsoft.images.VrBitmapFactory;

/** Classes that lack the fields which natives look up: each native says so and fails. */
final class WithoutFieldsTest {
    private static int passed;

    private WithoutFieldsTest() {}

    private static void refused(String line, Object result) {
        String log = Library.takeLog();
        boolean fails = result == null || result instanceof Number && ((Number) result).longValue() == 0;
        if (fails && log.startsWith("6|" + line)) {
            ++passed;
            return;
        }
        System.out.println("FAILED: " + result + " and " + log + " instead of " + line + "\n0 passed, 1 failed");
        System.exit(1);
    }

    public static void main(String[] arguments) throws Exception {
        byte[] jpeg = Library.picture("JPEG", 64, 64);
        String path = Pictures.file(jpeg);
        VrBitmapFactory.Options o = new VrBitmapFactory.Options();
        BitmapFactory.Options platform = new BitmapFactory.Options();
        Library.captureLog();
        refused("VrBitmapDecoder|illegal option field inSampleSize", VorelBitmapFactory.nativeDecodeFile(path, o));
        refused("VrBitmapDecoder|illegal option field inSampleSize", VorelBitmapFactory.nativePartialDecodeByteArray(jpeg, 0, jpeg.length, o, 0, 0, 8, 8));
        refused("VrBitmapDecoder|Illegal option field mWidth", VorelBitmapFactory.GetImageInfoFromFile(path, o));
        refused("VrBitmapDecoder|Illegal option field inPreferredConfig", VorelBitmapFactory.CreateDecodeInfoFromFile(path, o));
        refused("VrBitmapDecoder|Illegal option field mExifHandle", VorelBitmapFactory.GetExifData(path, 0, o));
        refused("VrBitmapDecoder|Can't find field mHandle", VorelBitmapRegionDecoderNative.nativeNewInstance(path, o));
        refused("VrBitampFactory|Illegal option field inJustDecodeBounds", VorelCodecInterface.nativeDecodeFile(path, platform));
        refused("VrBitmapRegionDecoderJNI|Illegal option field inJustDecodeBounds", VorelCodecRegionDecoder.nativeNewInstance(path, platform));
        System.out.println(passed + " passed, 0 failed");
    }
}
