package vorel.test;

import static java.nio.charset.StandardCharsets.UTF_8;

/** The library beside its natives: log lines, pictures, and what the C entries make of them. */
final class Library {
    static {
        System.loadLibrary("vorel");
        System.loadLibrary("vorel_test_natives");
    }

    private Library() {}

    static native void captureLog();

    /** The lines since the last call, each as priority|tag|text. */
    static String takeLog() {
        return new String(takeLines(), UTF_8);
    }

    private static native byte[] takeLines();

    /** What the library has allocated itself and not freed since the first call; -1 under a sanitizer. */
    static native long liveBytes();

    /**
     * A file of the type JPEG, PNG, BMP, GIF, DNG or "cropped DNG", whose crop is 160 x 120 at (32, 16); or RGBA, the
     * pixels of the JPEG before its encode. A DNG 0 wide is a small one with tags of every kind.
     */
    static native byte[] picture(String type, int width, int height);

    /** By the C entry of this name, of RGBA; null where it fails. */
    static native byte[] decodeFile(String path, int sample);

    /** By the entry of the codec frame for any format. */
    static native byte[] frameDecodeFile(String path, int sample);

    static native byte[] decodeRegion(String path, int left, int top, int right, int bottom, int sample);

    static native byte[] memoryAt(long address, int size);
}
