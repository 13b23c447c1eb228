package com.vorelsoft.images;

import android.graphics.Bitmap;
import android.graphics.BitmapFactory;
import android.graphics.Rect;
import com.hdn.halden.gallery.decoder.VorelCodecInterface;
import com.hdn.halden.gallery.decoder.VorelMetadata;
import com.hdn.halden.gallery.decoder.regiondecoder.VorelCodecRegionDecoder;
import java.io.IOException;
import java.lang.ref.Reference;
import java.nio.ByteBuffer;
import java.util.Collections;
import java.util.IdentityHashMap;
import java.util.Set;
import java.util.concurrent.CancellationException;
import java.util.concurrent.locks.Lock;
import java.util.concurrent.locks.ReentrantReadWriteLock;

/**
 * One picture of a JPEG, PNG or DNG file: its size, all of it at a fraction of the size, and rectangles. Of BMP and GIF
 * files, and of pictures with a side below 16 pixels, there are no rectangles.
 *
 * <pre>{@code
 * try (VorelImage image = VorelImage.open(path)) {
 *     view.setImageBitmap(image.decode(4));
 * }
 * }</pre>
 *
 * <p>Any thread may call any method at any time. Sizes and rectangles are pixels of the picture as it is stored; a camera
 * orientation is not applied. What the picture takes of native memory is freed by {@link #close}, which waits for the
 * calls that run; later calls throw IllegalStateException. An image that was forgotten is freed when it is collected,
 * where the platform has {@code java.lang.ref.Cleaner}.
 */
public final class VorelImage implements AutoCloseable {
    private static final Object CLEANER = cleaner();

    private final int width, height;
    private final Source source;

    private VorelImage(Source source) throws IOException {
        this.source = source;
        int[] size = source.size();
        if (size == null) throw new IOException("No JPEG, PNG or DNG picture: " + source);
        width = size[0];
        height = size[1];
        register(source);
    }

    /**
     * Opens a file, of which the header is read. The file has to stay as it is until {@link #close}.
     *
     * @param path of the file
     * @return the picture
     * @throws IOException when there is no such picture
     */
    public static VorelImage open(String path) throws IOException {
        if (path == null) throw new NullPointerException("path");
        return new VorelImage(new Source(path, null));
    }

    /**
     * Opens a picture in memory.
     *
     * @param data all bytes of the file; they must not change until {@link #close}
     * @return the picture
     * @throws IOException when they are no such picture
     */
    public static VorelImage open(byte[] data) throws IOException {
        if (data == null) throw new NullPointerException("data");
        return new VorelImage(new Source(null, data));
    }

    /**
     * Width of the picture.
     *
     * @return pixels
     */
    public int width() {
        return width;
    }

    /**
     * Height of the picture.
     *
     * @return pixels
     */
    public int height() {
        return height;
    }

    /**
     * Decodes the whole picture.
     *
     * @param sampleSize both sides are divided by it and rounded; at least 1
     * @return a new bitmap of ARGB_8888
     * @throws IOException when the picture is broken or the memory does not suffice
     */
    public Bitmap decode(int sampleSize) throws IOException {
        checkSample(sampleSize);
        Lock lock = source.enter();
        try {
            return source.result(source.raw ? source.develop(sampleSize) : source.decode(sampleSize));
        } finally {
            leave(lock);
        }
    }

    /**
     * Decodes the whole picture into a buffer; also where there are no Android classes. JPEG and PNG.
     *
     * @param sampleSize both sides are divided by it and rounded; at least 1
     * @return a new direct buffer: R, G, B, A in bytes, rows without padding
     * @throws IOException when the picture is broken, of another type, or the memory does not suffice
     */
    public ByteBuffer decodeToBuffer(int sampleSize) throws IOException {
        checkSample(sampleSize);
        Lock lock = source.enter();
        try {
            return source.result(source.raw ? null : source.decodeToBuffer(sampleSize));
        } finally {
            leave(lock);
        }
    }

    /**
     * Decodes a rectangle. The first one of a picture takes as long as a pass over the file.
     *
     * @param left column
     * @param top row
     * @param right column behind the last one
     * @param bottom row behind the last one
     * @param sampleSize both sides are divided by it and rounded down; at least 1
     * @return a new bitmap of ARGB_8888, transparent where the rectangle hangs over the picture
     * @throws IOException when nothing of it lies in the picture, the picture is broken or the memory does not suffice
     */
    public Bitmap region(int left, int top, int right, int bottom, int sampleSize) throws IOException {
        checkSample(sampleSize);
        Lock lock = source.enter();
        try {
            return source.result(source.region(left, top, right, bottom, sampleSize));
        } finally {
            leave(lock);
        }
    }

    /**
     * Decodes a rectangle.
     *
     * @param rect the rectangle, half open
     * @param sampleSize as in {@link #region(int, int, int, int, int)}
     * @return as {@link #region(int, int, int, int, int)}
     * @throws IOException as {@link #region(int, int, int, int, int)}
     */
    public Bitmap region(Rect rect, int sampleSize) throws IOException {
        return region(rect.left, rect.top, rect.right, rect.bottom, sampleSize);
    }

    /**
     * Stops the decodes that run, for good: they and later ones throw CancellationException. Decodes of a whole JPEG and
     * rectangles of a JPEG, and the pass over it in front of the first one, end within some rows; what runs already of other
     * pictures goes on to its end, and throws then. The image still has to be closed.
     */
    public void cancel() {
        source.cancel();
    }

    /** Frees the picture, after the calls that run. Closing twice is nothing. */
    @Override
    public void close() {
        source.run();
    }

    /** An image that nobody else knows is not collected, and freed, before its call is over. */
    private void leave(Lock lock) {
        lock.unlock();
        // Without a cleaner nothing frees it; the platform may have no fence then.
        if (CLEANER != null) Reference.reachabilityFence(this);
    }

    private static void checkSample(int sampleSize) {
        if (sampleSize < 1) throw new IllegalArgumentException("sampleSize " + sampleSize);
    }

    /** Android has it from API level 33 on; other levels do without. */
    private static Object cleaner() {
        try {
            return Class.forName("java.lang.ref.Cleaner").getMethod("create").invoke(null);
        } catch (ReflectiveOperationException | LinkageError e) {
            return null;
        }
    }

    private void register(Runnable whenCollected) {
        if (CLEANER == null) return;
        try {
            Class.forName("java.lang.ref.Cleaner").getMethod("register", Object.class, Runnable.class)
                .invoke(CLEANER, this, whenCollected);
        } catch (ReflectiveOperationException e) {
            // Then close() alone frees it.
        }
    }

    /** What the natives work on. It outlives the image while a call runs, and knows nothing of it, so that it can be freed. */
    private static final class Source implements Runnable {
        private static final int JPEG = 1, MOST_SIDE = 49999;

        private final String path;
        private final byte[] data;
        /** Calls read, the end writes. */
        private final ReentrantReadWriteLock lock = new ReentrantReadWriteLock();
        /** Guards the opening for rectangles. */
        private final Object opening = new Object();
        /** The decodes that run, which cancel by their options' handle. */
        private final Set<VrBitmapFactory.Options> running = Collections.newSetFromMap(new IdentityHashMap<>());
        private boolean raw;
        private int cropLeft, cropTop;
        private volatile long region;
        /** Of a region that is no raw file's; set before it. */
        private int regionType;
        private volatile boolean cancelled;
        private boolean closed;

        Source(String path, byte[] data) {
            this.path = path;
            this.data = data;
        }

        @Override
        public String toString() {
            return path != null ? path : data.length + " bytes";
        }

        /** Width and height, or null. */
        int[] size() {
            VrBitmapFactory.Options o = new VrBitmapFactory.Options();
            o.inJustDecodeBounds = true;
            if (path != null) VorelBitmapFactory.nativeDecodeFile(path, o);
            else VorelBitmapFactory.nativeDecodeByteArray(data, 0, data.length, o);
            if (o.outWidth > 0 && o.outHeight > 0) return new int[] {o.outWidth, o.outHeight};
            raw = true;
            int[] size = path != null ? rawSize() : rawSizeOfBytes();
            return size[0] > 0 && size[1] > 0 ? size : null;
        }

        private int[] rawSize() {
            VorelMetadata metadata = new VorelMetadata();
            if (VorelCodecInterface.nativeParseMetadata(path, metadata) != 1) return new int[2];
            cropLeft = metadata.cropOriginX;
            cropTop = metadata.cropOriginY;
            return new int[] {metadata.cropSizeWidth, metadata.cropSizeHeight};
        }

        private int[] rawSizeOfBytes() {
            VorelDngMetadata metadata = new VorelDngMetadata();
            if (VorelDngBitmap.parseMetadataJNI(data, data.length, metadata, null, null) != 1) return new int[2];
            cropLeft = metadata.mCropOriginX;
            cropTop = metadata.mCropOriginY;
            return new int[] {metadata.mCropWidth, metadata.mCropHeight};
        }

        /** The lock of a call, which has it until it is over. */
        Lock enter() {
            Lock reading = lock.readLock();
            reading.lock();
            if (!closed && !cancelled) return reading;
            reading.unlock();
            if (closed) throw new IllegalStateException("The image is closed");
            throw new CancellationException();
        }

        <T> T result(T decoded) throws IOException {
            if (cancelled) throw new CancellationException();
            if (decoded == null) throw new IOException("Cannot decode " + this);
            return decoded;
        }

        private VrBitmapFactory.Options begin(int sampleSize) {
            VrBitmapFactory.Options o = new VrBitmapFactory.Options();
            o.inSampleSize = sampleSize;
            synchronized (running) {
                running.add(o);
            }
            return o;
        }

        private void end(VrBitmapFactory.Options o) {
            synchronized (running) {
                running.remove(o);
            }
        }

        Bitmap decode(int sampleSize) {
            VrBitmapFactory.Options o = begin(sampleSize);
            try {
                return path != null ? VorelBitmapFactory.nativeDecodeFile(path, o)
                    : VorelBitmapFactory.nativeDecodeByteArray(data, 0, data.length, o);
            } finally {
                end(o);
            }
        }

        ByteBuffer decodeToBuffer(int sampleSize) {
            VrBitmapFactory.Options o = begin(sampleSize);
            try {
                return path != null ? VorelBitmapFactory.nativeDecodeFileToBuffer(path, o)
                    : VorelBitmapFactory.nativeDecodeByteArrayToBuffer(data, 0, data.length, o);
            } finally {
                end(o);
            }
        }

        private static BitmapFactory.Options options(int sampleSize) {
            BitmapFactory.Options o = new BitmapFactory.Options();
            o.inSampleSize = sampleSize;
            return o;
        }

        Bitmap develop(int sampleSize) {
            return path != null ? VorelCodecInterface.nativeDecodeFile(path, options(sampleSize))
                : VorelCodecInterface.nativeDecodeByteArray(data, 0, data.length, options(sampleSize));
        }

        Bitmap region(int left, int top, int right, int bottom, int sampleSize) {
            if (!openRegion() || cancelled) return null;
            if (raw) {
                Rect rect = new Rect(left + cropLeft, top + cropTop, right + cropLeft, bottom + cropTop);
                return VorelCodecRegionDecoder.nativeDecodeRegion(region, rect, options(sampleSize));
            }
            long width = ((long) right - left) / sampleSize, height = ((long) bottom - top) / sampleSize;
            if (width < 1 || height < 1 || width > MOST_SIDE || height > MOST_SIDE) return null;
            Bitmap bitmap = Bitmap.createBitmap((int) width, (int) height, Bitmap.Config.ARGB_8888);
            int done = regionType == JPEG
                ? VorelBitmapRegionDecoderNative.nativeDoDecodeRegionEx(bitmap, region, left / sampleSize, top / sampleSize, (int) width, (int) height, 0, sampleSize)
                : VorelBitmapRegionDecoderNative.nativeDoDecodeRegionPNGEx(bitmap, region, left, top, right - left, bottom - top, 0, sampleSize);
            if (done == 1) return bitmap;
            bitmap.recycle();
            return null;
        }

        private boolean openRegion() {
            synchronized (opening) {
                if (region == 0 && !cancelled) {
                    if (raw) openRaw();
                    else openPixels();
                }
                return region != 0;
            }
        }

        private void openRaw() {
            region = path != null ? VorelCodecRegionDecoder.nativeNewInstance(path, options(1))
                : VorelCodecRegionDecoder.nativeNewInstanceByteArray(data, 0, data.length, options(1));
        }

        /** The pass over a JPEG can be cancelled as a decode can. */
        private void openPixels() {
            VrBitmapFactory.Options o = begin(1);
            try {
                VorelBitmapRegionDecoderInternal open = path != null ? VorelBitmapRegionDecoderNative.nativeNewInstance(path, o)
                    : VorelBitmapRegionDecoderNative.nativeNewInstanceBuffer(data, 0, data.length, o);
                if (open == null) return;
                regionType = open.mType;
                region = open.mHandle;
            } finally {
                end(o);
            }
        }

        private void cancelRegion() {
            if (region == 0) return;
            if (raw) VorelCodecRegionDecoder.nativeRegionCancel(region);
            else if (regionType == JPEG) VorelBitmapFactory.DecodeCancel(region);
        }

        private void freeRegion() {
            if (region == 0) return;
            if (raw) VorelCodecRegionDecoder.nativeRecycle(region);
            else if (regionType == JPEG) VorelBitmapRegionDecoderNative.nativeClean(region);
            else VorelBitmapRegionDecoderNative.nativePNGClean(region);
            region = 0;
        }

        void cancel() {
            if (cancelled) return;
            cancelled = true;
            // Gets in while others read and one waits to write; not when that one is at it, which then waits for no call.
            Lock reading = lock.readLock();
            if (!reading.tryLock()) return;
            try {
                cancelRegion();
            } finally {
                reading.unlock();
            }
            // A decode that is about to begin takes no notice yet.
            if (cancelDecodes()) new Thread(this::cancelUntilEnd, "VorelImage.cancel").start();
        }

        private void cancelUntilEnd() {
            try {
                while (cancelDecodes()) Thread.sleep(1);
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }

        /** False when there are none any more. */
        private boolean cancelDecodes() {
            synchronized (running) {
                for (VrBitmapFactory.Options o : running) {
                    synchronized (o) {
                        if (o.mDecodeHandle != 0) VorelBitmapFactory.DecodeCancel(o.mDecodeHandle);
                    }
                }
                return !running.isEmpty();
            }
        }

        /** The end: once, with no call running. */
        @Override
        public void run() {
            Lock writing = lock.writeLock();
            writing.lock();
            try {
                closed = true;
                freeRegion();
            } finally {
                writing.unlock();
            }
        }
    }
}
