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

    static native byte[] jpeg(byte[] rgba, int width, int height);

    /** A raw file; width 0: the one with tags of every kind, below 0: with a crop of 160 x 120 at (32, 16). */
    static native byte[] dng(int width, int height);

    /** By the C entry of this name, of RGBA; null where it fails. */
    static byte[] decodeFile(String path, int sample) {
        return decodeFile(path.getBytes(UTF_8), sample);
    }

    /** By the entry of the codec frame for any format. */
    static byte[] frameDecodeFile(String path, int sample) {
        return frameDecodeFile(path.getBytes(UTF_8), sample);
    }

    static byte[] decodeRegion(String path, int left, int top, int right, int bottom, int sample) {
        return decodeRegion(path.getBytes(UTF_8), left, top, right, bottom, sample);
    }

    private static native byte[] decodeFile(byte[] path, int sample);

    private static native byte[] frameDecodeFile(byte[] path, int sample);

    private static native byte[] decodeRegion(byte[] path, int left, int top, int right, int bottom, int sample);

    static native byte[] memoryAt(long address, int size);
}
