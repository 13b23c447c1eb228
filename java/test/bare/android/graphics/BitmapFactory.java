package android.graphics;

/** As if the platform had other fields. */
public final class BitmapFactory {
    private BitmapFactory() {}

    public static class Options {}
}
