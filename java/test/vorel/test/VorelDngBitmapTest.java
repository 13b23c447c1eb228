package vorel.test;

import com.vorelsoft.images.VorelDngBitmap;
import com.vorelsoft.images.VorelDngExif;
import com.vorelsoft.images.VorelDngInfo;
import com.vorelsoft.images.VorelDngMetadata;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.util.Arrays;

/** Raw files in memory. */
final class VorelDngBitmapTest {
    private static final Check check = new Check(VorelDngBitmap.class);

    private VorelDngBitmapTest() {}

    private static ByteBuffer direct(byte[] file) {
        return ByteBuffer.allocateDirect(file.length).put(file);
    }

    /** Every field of the record has a field of its name and type here: none keeps what it was. */
    private static void allFields(VorelDngExif exif, byte[] file) throws Exception {
        int count = 0;
        for (Field field : VorelDngExif.class.getFields()) {
            if (Modifier.isStatic(field.getModifiers())) continue;
            if (field.getType() == int.class) field.setInt(exif, -77);
            if (field.getType() == long.class) field.setLong(exif, -77);
            ++count;
        }
        check.equal(count, 143, "fields");
        check.gives(true, 1, "parseExifInfoJNI", file, file.length, exif);
        for (Field field : VorelDngExif.class.getFields())
            check.that(field.get(exif) != null && !field.get(exif).toString().equals("-77"), field.getName() + " is not filled");
    }

    private static void cameraData() throws Exception {
        byte[] file = Library.picture("DNG", 0, 0);
        VorelDngExif exif = new VorelDngExif(), original = new VorelDngExif();
        allFields(exif, file);
        check.equal(exif.mExposureTime, "1/250", "a rational");
        check.equal(exif.mArtist, "K\u00f6ln \ud83d\uddbc \ufffd", "a text that is not all UTF-8");
        check.equal(exif.mLensInfo2, "28/10", "one of a list");
        check.equal(exif.mExifVersion, 0x30323330L, "a version");
        check.equal(exif.mSoftware.length(), 255, "a text of 300 characters");

        VorelDngMetadata metadata = new VorelDngMetadata();
        byte[] digest = metadata.mEmbeddedXMPDigest;
        digest[3] = 9;
        check.gives(true, 1, "parseMetadataJNI", file, file.length, metadata, exif, original);
        check.that(metadata.mHasBaseOrientation && metadata.mBaseOrientation == 6, "orientation " + metadata.mBaseOrientation);
        check.that(metadata.mImageWidth == 34 && metadata.mImageHeight == 30, "size");
        check.that(metadata.mCropOriginX == 2 && metadata.mCropWidth == 31, "crop " + metadata.mCropOriginX + ", " + metadata.mCropWidth);
        check.that(metadata.mMakerNote.length == metadata.mMakerNoteSize && metadata.mSourceMIME != null, "maker note, MIME type");
        check.that(metadata.mEmbeddedXMPDigest == digest && digest[3] == 0, "the digest is filled in place");
        check.equal(original.mExposureTime, "1/250", "the raw file's own data");
        check.gives(true, 1, "parseMetadataJNI", file, file.length, null, null, null);

        long[] offset = new long[1];
        int[] size = new int[1];
        check.gives(true, 1, "parseXMPBufferJNI", file, file.length, offset, size, exif);
        check.that(size[0] >= 4 && file[(int) offset[0]] == '<', "XMP at " + offset[0] + ", " + size[0]);
        check.gives(false, -1, "parseXMPBufferJNI", file, file.length, new long[0], size, exif);
        check.gives(false, -1, "parseMetadataJNI", new byte[50], 50, metadata, exif, original);
        VorelDngExif untouched = new VorelDngExif();
        check.gives(false, -1, "parseExifInfoJNI", new byte[50], 50, untouched);
        check.that(untouched.mMake == null, "a failure changes nothing");
    }

    private static ByteBuffer decoded(ByteBuffer file, VorelDngInfo info) {
        ByteBuffer out = ByteBuffer.allocateDirect(info.width * info.height * 4);
        check.gives(true, 0, "DecodeDNGImageBufferJNI", file, file.capacity(), out, info);
        return out;
    }

    private static VorelDngInfo parsed(ByteBuffer file, boolean region) {
        VorelDngInfo info = new VorelDngInfo();
        info.bRegionDecoder = region;
        check.gives(true, 0, "parseDNGImageBufferJNI", file, file.capacity(), info);
        check.that(info.width == 240 && info.height == 200 && info.SamplesPerPixel == 1 && (info.handle != 0) == region, "parsed");
        check.that(info.mCropWidth == 240 && info.FileBlackLevelRepeatRows > 0, "crop " + info.mCropWidth);
        return info;
    }

    private static void pictures() throws Exception {
        byte[] bytes = Library.picture("DNG", 240, 200);
        ByteBuffer file = direct(bytes), small = ByteBuffer.allocateDirect(240 * 200 * 4 - 1);
        VorelDngInfo info = parsed(file, false);
        ByteBuffer whole = decoded(file, info);
        check.same(whole, Library.decodeFile(Pictures.file(bytes), 1), "the C entry's pixels");
        check.equal(info.handle, 0L, "nothing to cancel behind a decode");
        check.gives(false, -1, "DecodeDNGImageBufferJNI", file, bytes.length, small, info);
        check.gives(false, -1, "DecodeDNGImageBufferJNI", file, bytes.length, ByteBuffer.allocate(240 * 200 * 4), info);
        check.gives(false, -1, "DecodeDNGImageBufferJNI", file, bytes.length + 1, whole, info);
        check.gives(false, -1, "finalizeRegionDecoderHandle", info);
        check.gives(false, -1, "cancelDecodingDNGImageBufferJNI", info);
        check.gives(false, -1, "parseDNGImageBufferJNI", direct(new byte[99]), 99, info);
        rectangles(file, whole);
        // Whatever the fields say.
        for (int[] field : new int[][] {{1, 1, 0, 0, 0}, {1, 8, 2, 100, 40}, {1, 9, -1, -5, 300}, {0, -1, 9, Integer.MIN_VALUE, Integer.MAX_VALUE}}) {
            VorelDngInfo odd = new VorelDngInfo();
            odd.UseInfo = field[0];
            odd.UserBlackLevelRepeatRows = odd.UserBlackLevelRepeatCols = odd.SamplesPerPixel = field[1];
            odd.count_nr = field[2];
            odd.rd_t = odd.rd_l = field[3];
            odd.rd_b = odd.rd_r = field[4];
            odd.width = odd.height = 64;
            decoded(file, odd);
        }
        VorelDngInfo preview = new VorelDngInfo();
        check.gives(true, 0, "parseDNGPreviewImageBufferJNI", file, bytes.length, preview);
        check.that(preview.width == 4 && preview.height == 3, "preview " + preview.width + " x " + preview.height);
        check.gives(true, 0, "DecodeDNGPreviewImageBufferJNI", file, bytes.length, ByteBuffer.allocateDirect(48), preview);
        check.gives(false, -1, "DecodeDNGPreviewImageBufferJNI", file, bytes.length, ByteBuffer.allocateDirect(47), preview);
        check.gives(false, -1, "parseDNGPreviewImageBufferJNI", direct(new byte[99]), 99, preview);
    }

    private static void rectangles(ByteBuffer file, ByteBuffer whole) {
        VorelDngInfo region = parsed(file, true);
        region.rd_t = 64;
        region.rd_b = 96;
        region.rd_l = 48;
        region.rd_r = 112;
        region.width = 64;
        region.height = 32;
        byte[] cut = Pictures.cut(Check.bytes(whole), 240, 48, 64, 64, 32);
        check.same(decoded(file, region), cut, "a rectangle is a cut");
        check.gives(true, 0, "cancelDecodingDNGImageBufferJNI", region);
        check.that(!Arrays.equals(Check.bytes(decoded(file, region)), cut), "a rectangle behind a cancel");
        check.gives(true, 0, "finalizeRegionDecoderHandle", region);
        check.equal(region.handle, 0L, "handle behind its end");
        check.gives(false, -1, "finalizeRegionDecoderHandle", region);
        check.gives(false, -1, "DecodeDNGImageBufferJNI", file, file.capacity(), whole, region);
    }

    /** From a second thread, while a large picture is developed. */
    private static void cancelled() throws Exception {
        ByteBuffer file = direct(Library.picture("DNG", 3000, 2000));
        check.isCancelled("DecodeDNGImageBufferJNI", () -> {
            VorelDngInfo info = new VorelDngInfo();
            check.call("parseDNGImageBufferJNI", file, file.capacity(), info);
            ByteBuffer pixels = Check.whileCancelling(() -> VorelDngBitmap.cancelDecodingDNGImageBufferJNI(info) == 0, () -> decoded(file, info));
            int last = 0;
            for (int i = pixels.capacity() - 4000; i < pixels.capacity(); ++i) last |= pixels.get(i);
            return last == 0;
        });
    }

    public static void main(String[] arguments) throws Exception {
        check.leavesNothing("a raw file", () -> {
            cameraData();
            pictures();
        });
        cancelled();
        check.gives(true, Double.POSITIVE_INFINITY, "Psnr", new byte[] {1, 2, 3}, new byte[] {1, 2, 3}, 3);
        double psnr = check.succeeds("Psnr", new byte[] {0, 0, 0, 0}, new byte[] {0, 1, 0, 0}, 4);
        check.that(Math.abs(psnr - 10 * Math.log10(255.0 * 255 * 4)) < 1e-9, "PSNR " + psnr);
        check.gives(false, 0.0, "Psnr", new byte[3], new byte[2], 3);
        check.end();
    }
}
