package vorel.test;

import android.graphics.Bitmap;
import android.graphics.Rect;
import com.vorelsoft.images.VorelImage;
import java.io.IOException;
import java.lang.ref.WeakReference;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.CancellationException;
import java.util.concurrent.atomic.AtomicInteger;
import javax.management.ObjectName;

/** The class for applications: pictures, its life, and that nothing stays behind. */
final class VorelImageTest {
    private static final Check check = new Check(VorelImage.class);

    private VorelImageTest() {}

    private interface Body {
        Object run() throws Exception;
    }

    private static void throwing(Class<? extends Exception> wanted, String what, Body body) {
        try {
            check.that(false, what + " gives " + body.run());
        } catch (Exception e) {
            check.that(wanted.isInstance(e), what + " throws " + e);
        }
    }

    private static void picture(String what, String path, int width, int height) throws Exception {
        byte[] file = Files.readAllBytes(Path.of(path));
        for (VorelImage image : new VorelImage[] {VorelImage.open(path), VorelImage.open(file)}) {
            check.that(image.width() == width && image.height() == height, what + ": " + image.width() + " x " + image.height());
            for (int sample : new int[] {1, 2, 8}) {
                Bitmap whole = image.decode(sample);
                check.same(Check.bytes(whole), Library.decodeFile(path, sample), what + " / " + sample);
                if (!what.equals("DNG")) check.same(Check.bytes(image.decodeToBuffer(sample)), Check.bytes(whole), what + ", buffer / " + sample);
            }
            Bitmap part = image.region(new Rect(16, 32, 80, 64), 1), whole = image.decode(1);
            byte[] pixels = Check.bytes(whole), cut = new byte[64 * 32 * 4];
            for (int y = 0; y < 32; ++y) System.arraycopy(pixels, ((y + 32) * width + 16) * 4, cut, y * 256, 256);
            check.same(Check.bytes(part), cut, what + ", a rectangle is a cut of the picture");
            int[] origin = what.equals("DNG") && width == 160 ? new int[] {32, 16} : new int[2];
            for (int sample : new int[] {2, 4, 8}) {
                byte[] wanted = Library.decodeRegion(path, origin[0] - 32, origin[1] + 16, origin[0] + 96, origin[1] + 80, sample);
                check.same(Check.bytes(image.region(-32, 16, 96, 80, sample)), wanted, what + ", a rectangle that hangs over / " + sample);
            }
            check.that(image.region(0, 0, width, height, 32).width == width / 32, what + " / 32");
            throwing(IllegalArgumentException.class, "sample size 0", () -> image.decode(0));
            throwing(IOException.class, "an empty rectangle", () -> image.region(5, 5, 5, 9, 1));
            image.close();
            image.close();
            throwing(IllegalStateException.class, "decode behind close", () -> image.decode(1));
            throwing(IllegalStateException.class, "region behind close", () -> image.region(0, 0, 8, 8, 1));
            image.cancel();
        }
    }

    /** Decodes from several threads while another one closes, or cancels: each result or a refusal, and no crash. */
    private static void race(String path, boolean cancel) throws Exception {
        AtomicInteger decoded = new AtomicInteger(), refused = new AtomicInteger();
        for (int round = 0; round < 20; ++round) {
            VorelImage image = VorelImage.open(path);
            Thread[] threads = new Thread[3];
            for (int t = 0; t < threads.length; ++t) {
                final int number = t;
                threads[t] = new Thread(() -> {
                    try {
                        for (int i = 0; i < 200; ++i) {
                            Bitmap bitmap = number == 0 ? image.decode(2) : image.region(i % 40, number * 8, i % 40 + 64, 64, 1);
                            check.that(bitmap.locks == 0 && bitmap.width > 0, "a bitmap");
                            decoded.incrementAndGet();
                        }
                    } catch (IllegalStateException e) {
                        refused.incrementAndGet();
                    } catch (Exception e) {
                        check.that(false, "thrown in a race: " + e);
                    }
                });
                threads[t].start();
            }
            Thread.sleep(round % 4 * 3);
            if (cancel) image.cancel();
            else image.close();
            for (Thread thread : threads) thread.join();
            image.close();
        }
        check.that(decoded.get() > 0 && refused.get() > 0, (cancel ? "cancel: " : "close: ") + decoded + " decoded, " + refused + " refused");
    }

    private static void cancelled(String path) throws Exception {
        check.isCancelled("decode", () -> {
            Bitmap.last = null;
            try (VorelImage image = VorelImage.open(path)) {
                Thread canceller = new Thread(() -> {
                    while (Bitmap.last == null) Thread.onSpinWait();
                    image.cancel();
                });
                canceller.start();
                boolean thrown = false;
                try {
                    image.decode(1);
                } catch (CancellationException e) {
                    thrown = true;
                }
                canceller.join();
                throwing(CancellationException.class, "a decode behind a cancel", () -> image.region(0, 0, 8, 8, 1));
                // The bitmap of a decode that went on to its end is left to the collector.
                return thrown && Bitmap.last.recycled;
            }
        });
        Bitmap.last = null;
        // The pass in front of the first rectangle makes no bitmap; it lasts for some milliseconds.
        AtomicInteger delay = new AtomicInteger();
        check.isCancelled("region", () -> {
            try (VorelImage image = VorelImage.open(path)) {
                Thread canceller = new Thread(() -> {
                    for (long until = System.nanoTime() + delay.addAndGet(1000000); System.nanoTime() < until;) Thread.onSpinWait();
                    image.cancel();
                });
                canceller.start();
                Library.takeLog();
                throwing(CancellationException.class, "a cancelled pass", () -> {
                    for (;;) image.region(0, 0, 64, 64, 1);
                });
                canceller.join();
                return Library.takeLog().contains("JPEG Scan fail");
            }
        });
        Bitmap.last = null;
    }

    private static long globalReferences() throws Exception {
        String text = (String) ManagementFactory.getPlatformMBeanServer().invoke(new ObjectName("com.sun.management:type=DiagnosticCommand"),
            "threadPrint", new Object[] {new String[0]}, new String[] {String[].class.getName()});
        String count = text.substring(text.indexOf("JNI global refs: ") + 17);
        return Long.parseLong(count.substring(0, count.indexOf(',')));
    }

    private static long residentBytes() throws IOException {
        for (String line : Files.readAllLines(Path.of("/proc/self/status")))
            if (line.startsWith("VmRSS:")) return Long.parseLong(line.replaceAll("[^0-9]", "")) * 1024;
        return 0;
    }

    /** What the library holds when everything that was forgotten is collected. */
    private static long liveBytes() throws InterruptedException {
        long live = 0;
        for (int i = 0; i < 5; ++i) {
            System.gc();
            Thread.sleep(40);
            live = Library.liveBytes();
        }
        return live;
    }

    private static void decodes(String[] paths, byte[][] files, int count) throws IOException {
        for (int i = 0; i < count; ++i) {
            int kind = i % paths.length;
            // Every fourth one is forgotten.
            VorelImage image = i % 2 == 0 ? VorelImage.open(paths[kind]) : VorelImage.open(files[kind]);
            Library.takeLog();
            image.decode(4);
            image.region(i % 50, 8, i % 50 + 32, 40, 1);
            if (i % 4 != 3) image.close();
        }
    }

    /** Thousands of decodes leave memory and references where they were. */
    private static void leaks(String[] paths, int count) throws Exception {
        byte[][] files = new byte[paths.length][];
        for (int i = 0; i < paths.length; ++i) files[i] = Files.readAllBytes(Path.of(paths[i]));
        decodes(paths, files, Math.max(count / 4, 200));
        long live = liveBytes(), resident = residentBytes(), references = globalReferences();
        decodes(paths, files, count);
        long liveAfter = liveBytes(), residentAfter = residentBytes(), referencesAfter = globalReferences();
        System.out.printf("%d decodes: %+d bytes of the library's, resident memory %+d KB, %+d global references%n", 2 * count, liveAfter - live,
            (residentAfter - resident) / 1024, referencesAfter - references);
        check.equal(liveAfter - live, 0L, "bytes that are not freed");
        // A sanitizer remembers where each block came from.
        check.that(live < 0 || residentAfter - resident < 24 << 20, "resident memory grew by " + (residentAfter - resident));
        check.that(referencesAfter - references < 20, "global references: " + references + ", then " + referencesAfter);
    }

    private static void forgotten(String path) throws Exception {
        VorelImage image = VorelImage.open(path);
        image.region(0, 0, 64, 64, 1);
        WeakReference<VorelImage> reference = new WeakReference<>(image);
        image = null;
        for (int i = 0; i < 50 && reference.get() != null; ++i) {
            System.gc();
            Thread.sleep(10);
        }
        check.that(reference.get() == null, "a forgotten image is collected");
    }

    /** VOREL_JVM_DECODES in the environment: how many decodes the search for leaks does; each image is decoded twice. */
    public static void main(String[] arguments) throws Exception {
        String jpeg = Pictures.file(Pictures.jpeg(240, 200)), png = Pictures.file(Pictures.png(240, 200));
        String raw = Pictures.file(Library.dng(240, 200));
        picture("JPEG", jpeg, 240, 200);
        picture("PNG", png, 240, 200);
        picture("DNG", raw, 240, 200);
        picture("DNG", Pictures.file(Library.dng(-240, 200)), 160, 120);
        throwing(IOException.class, "no file", () -> VorelImage.open("/nowhere/at all"));
        throwing(IOException.class, "no picture", () -> VorelImage.open(new byte[100]));
        race(jpeg, false);
        race(jpeg, true);
        race(png, false);
        cancelled(Pictures.file(Pictures.jpeg(6000, 4000)));
        forgotten(jpeg);
        Library.liveBytes();
        String decodes = System.getenv("VOREL_JVM_DECODES");
        leaks(new String[] {jpeg, png, raw}, (decodes == null ? 1000 : Integer.parseInt(decodes)) / 2);
        check.end(null);
    }
}
