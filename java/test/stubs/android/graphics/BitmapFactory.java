package android.graphics;

/** Stands in for Android's class of this name on a host. */
public final class BitmapFactory {
    private BitmapFactory() {}

    public static class Options {
        public boolean inJustDecodeBounds;
        public int inSampleSize = 1, outWidth, outHeight;
    }
}
