package vorel.test;

import android.graphics.Bitmap;
import android.graphics.Rect;
import com.vorelsoft.images.VorelImage;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.concurrent.Callable;
import java.util.concurrent.CancellationException;
import java.util.concurrent.atomic.AtomicInteger;
import javax.management.ObjectName;

/** The class for applications: pictures, its life, and that nothing stays behind. */
final class VorelImageTest {
    private static final Check check = new Check(VorelImage.class);

    private VorelImageTest() {}

    private static void throwing(Class<? extends Exception> wanted, String what, Callable<?> body) {
        try {
            check.that(false, what + " gives " + body.call());
        } catch (Exception e) {
            check.that(wanted.isInstance(e), what + " throws " + e);
        }
    }

    private static void picture(String type, int width, int height) throws Exception {
        byte[] file = Library.picture(type, 240, 200);
        String path = Pictures.file(file);
        boolean raw = type.endsWith("DNG");
        int originX = width < 240 ? 32 : 0, originY = width < 240 ? 16 : 0;
        for (VorelImage image : new VorelImage[] {VorelImage.open(path), VorelImage.open(file)}) {
            check.that(image.width() == width && image.height() == height, type + ": " + image.width() + " x " + image.height());
            for (int sample : new int[] {1, 2, 8}) {
                Bitmap whole = image.decode(sample);
                check.same(whole, Library.decodeFile(path, sample), type + " / " + sample);
                if (!raw) check.same(image.decodeToBuffer(sample), whole, type + ", buffer / " + sample);
            }
            byte[] cut = Pictures.cut(Check.bytes(image.decode(1)), width, 16, 32, 64, 32);
            check.same(image.region(new Rect(16, 32, 80, 64), 1), cut, type + ", a rectangle is a cut of the picture");
            for (int sample : new int[] {2, 4, 8}) {
                byte[] wanted = Library.decodeRegion(path, originX - 32, originY + 16, originX + 96, originY + 80, sample);
                check.same(image.region(-32, 16, 96, 80, sample), wanted, type + ", a rectangle that hangs over / " + sample);
            }
            check.that(image.region(0, 0, width, height, 32).width == width / 32, type + " / 32");
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

    private static boolean isCancelled(Callable<?> decode) throws Exception {
        try {
            decode.call();
            return false;
        } catch (CancellationException e) {
            return true;
        }
    }

    private static void cancelled(String path) throws Exception {
        check.isCancelled("decode", () -> {
            Bitmap.last = null;
            try (VorelImage image = VorelImage.open(path)) {
                boolean thrown = Check.whileCancelling(() -> cancelled(image, Bitmap.last != null), () -> isCancelled(() -> image.decode(1)));
                image.cancel();
                throwing(CancellationException.class, "a decode behind a cancel", () -> image.region(0, 0, 8, 8, 1));
                // The bitmap of a decode that went on to its end is left to the collector.
                return thrown && Bitmap.last.recycled;
            }
        });
        // The pass in front of the first rectangle makes no bitmap; it lasts for some milliseconds.
        AtomicInteger delay = new AtomicInteger();
        check.isCancelled("region", () -> {
            try (VorelImage image = VorelImage.open(path)) {
                long at = System.nanoTime() + delay.addAndGet(1000000);
                Library.takeLog();
                Check.whileCancelling(() -> cancelled(image, System.nanoTime() >= at), () -> {
                    while (!isCancelled(() -> image.region(0, 0, 64, 64, 1))) {}
                    return null;
                });
                return Library.takeLog().contains("JPEG Scan fail");
            }
        });
        Bitmap.last = null;
    }

    private static boolean cancelled(VorelImage image, boolean now) {
        if (now) image.cancel();
        return now;
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

    private static void decodes(String[] paths, int count) throws IOException {
        for (int i = 0; i < count; ++i) {
            String path = paths[i % paths.length];
            VorelImage image = i % 2 == 0 ? VorelImage.open(path) : VorelImage.open(Files.readAllBytes(Path.of(path)));
            Library.takeLog();
            image.decode(4);
            image.region(i % 50, 8, i % 50 + 32, 40, 1);
            // Every fourth one is forgotten.
            if (i % 4 != 3) image.close();
        }
    }

    /** Thousands of decodes leave memory and references where they were. */
    private static void leaks(String[] paths, int count) throws Exception {
        Library.liveBytes();
        decodes(paths, Math.max(count / 4, 200));
        long live = liveBytes(), resident = residentBytes(), references = globalReferences();
        decodes(paths, count);
        live = liveBytes() - live;
        resident = residentBytes() - resident;
        references = globalReferences() - references;
        System.out.printf("%d decodes: %+d bytes of the library's, resident memory %+d KB, %+d global references%n", 2 * count, live, resident / 1024, references);
        check.equal(live, 0L, "bytes that are not freed");
        // A sanitizer remembers where each block came from.
        check.that(Library.liveBytes() < 0 || resident < 24 << 20, "resident memory grew by " + resident);
        check.that(references < 20, "global references grew by " + references);
    }

    /** VOREL_JVM_DECODES in the environment: how many decodes the search for leaks does; each image is decoded twice. */
    public static void main(String[] arguments) throws Exception {
        picture("JPEG", 240, 200);
        picture("PNG", 240, 200);
        picture("DNG", 240, 200);
        picture("cropped DNG", 160, 120);
        throwing(IOException.class, "no file", () -> VorelImage.open("/nowhere/at all"));
        throwing(IOException.class, "no picture", () -> VorelImage.open(new byte[100]));
        String jpeg = Pictures.file("JPEG", 240, 200), png = Pictures.file("PNG", 240, 200);
        race(jpeg, false);
        race(jpeg, true);
        race(png, false);
        cancelled(Pictures.file("JPEG", 6000, 4000));
        String decodes = System.getenv("VOREL_JVM_DECODES");
        leaks(new String[] {jpeg, png, Pictures.file("DNG", 240, 200)}, (decodes == null ? 1000 : Integer.parseInt(decodes)) / 2);
        check.end();
    }
}
