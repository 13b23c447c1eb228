package vorel.test;

import com.vorelsoft.images.VorelImage;
import java.io.IOException;
import java.nio.ByteBuffer;

/** A host that has neither Android's classes nor its bitmap library: pictures come as buffers. */
final class WithoutAndroidTest {
    private WithoutAndroidTest() {}

    private static void expect(boolean holds, String what) {
        if (holds) return;
        System.out.println("FAILED: " + what + "\n" + Library.takeLog() + "0 passed, 1 failed");
        System.exit(1);
    }

    public static void main(String[] arguments) throws Exception {
        Library.captureLog();
        for (String type : new String[] {"JPEG", "PNG"}) {
            byte[] file = Library.picture(type, 160, 120);
            String path = Pictures.file(file);
            byte[] wanted = Library.frameDecodeFile(path, 2);
            try (VorelImage image = VorelImage.open(path); VorelImage same = VorelImage.open(file)) {
                for (ByteBuffer pixels : new ByteBuffer[] {image.decodeToBuffer(2), same.decodeToBuffer(2)})
                    expect(image.width() == 160 && pixels.equals(ByteBuffer.wrap(wanted)), "pixels");
                try {
                    expect(image.decode(1) == null, "a bitmap");
                } catch (IOException e) {
                    // No bitmap can be made.
                }
            }
        }
        try (VorelImage raw = VorelImage.open(Library.picture("DNG", 240, 200))) {
            expect(raw.width() == 240 && raw.height() == 200, "size of a raw file");
        }
        System.out.println("2 passed, 0 failed");
    }
}
