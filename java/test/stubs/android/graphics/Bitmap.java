package android.graphics;

import java.nio.ByteBuffer;

/** Stands in for Android's bitmap on a host: pixels in a direct buffer, and counters that tests look at. */
public final class Bitmap {
    public enum Config { ALPHA_8, RGB_565, ARGB_4444, ARGB_8888 }

    /** What the next call of createBitmap does: 0 its work, 1 returns null, 2 throws. */
    public static int failure;

    public final int width, height, bytesPerPixel, stride;
    public final ByteBuffer pixels;
    public int locks, lockCalls;
    public boolean recycled;

    public Bitmap(int width, int height, int bytesPerPixel, int stride) {
        this.width = width;
        this.height = height;
        this.bytesPerPixel = bytesPerPixel;
        this.stride = stride;
        pixels = ByteBuffer.allocateDirect(stride * height);
    }

    public static Bitmap createBitmap(int width, int height, Config config) {
        int failing = failure;
        failure = 0;
        if (failing == 1) return null;
        if (failing == 2 || width <= 0 || height <= 0) throw new IllegalArgumentException("createBitmap");
        int bytes = config == Config.ALPHA_8 ? 1 : config == Config.ARGB_8888 ? 4 : 2;
        return new Bitmap(width, height, bytes, width * bytes);
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
