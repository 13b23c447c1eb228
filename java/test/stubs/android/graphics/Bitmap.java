package android.graphics;

import java.nio.ByteBuffer;

/** Stands in for Android's bitmap on a host: pixels in a direct buffer, and counters that tests look at. */
public final class Bitmap {
    public enum Config { ALPHA_8, RGB_565, ARGB_4444, ARGB_8888 }

    /** What the next call of createBitmap does: 0 its work, 1 returns null, 2 throws, 3 makes one that cannot be locked. */
    public static int failure;

    /** The last one that was made. */
    public static volatile Bitmap last;

    public final int width, height, bytesPerPixel, stride;
    public final ByteBuffer pixels;
    public int locks, lockCalls;
    /** Not 0: its pixels cannot be locked. */
    public int unlockable;
    public boolean recycled;

    public Bitmap(int width, int height, int bytesPerPixel, int stride) {
        this.width = width;
        this.height = height;
        this.bytesPerPixel = bytesPerPixel;
        this.stride = stride;
        pixels = ByteBuffer.allocateDirect(stride * height);
    }

    /** What happens while the next one is made. */
    public static Runnable meanwhile;

    public static Bitmap createBitmap(int width, int height, Config config) {
        Runnable event = meanwhile;
        meanwhile = null;
        if (event != null) event.run();
        int failing = failure;
        failure = 0;
        if (failing == 1) return null;
        if (failing == 2 || width <= 0 || height <= 0) throw new IllegalArgumentException("createBitmap");
        int bytes = config == Config.ALPHA_8 ? 1 : config == Config.ARGB_8888 ? 4 : 2;
        Bitmap made = new Bitmap(width, height, bytes, width * bytes);
        made.unlockable = failing == 3 ? 1 : 0;
        last = made;
        return made;
    }

    public void recycle() {
        recycled = true;
    }

    public int getWidth() {
        return width;
    }

    public int getHeight() {
        return height;
    }
}
