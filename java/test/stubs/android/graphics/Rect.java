package android.graphics;

/** Stands in for Android's rectangle on a host. */
public final class Rect {
    public int left, top, right, bottom;

    public Rect(int left, int top, int right, int bottom) {
        this.left = left;
        this.top = top;
        this.right = right;
        this.bottom = bottom;
    }
}
