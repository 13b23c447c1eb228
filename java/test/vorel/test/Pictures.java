package vorel.test;

import android.graphics.Bitmap;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Files that go with the process, and rectangles of R, G, B, A. */
final class Pictures {
    private Pictures() {}

    static String file(byte[] bytes) throws IOException {
        Path path = Files.createTempFile("vorel \u00e4\ud83d\uddbc ", ".img");
        path.toFile().deleteOnExit();
        Files.write(path, bytes);
        return path.toString();
    }

    static String file(String type, int width, int height) throws IOException {
        return file(Library.picture(type, width, height));
    }

    /** The file becomes a larger one while the next bitmap is made: between the look at its size and the decode. */
    static String growing(String type) throws IOException {
        String path = file(type, 64, 64);
        Bitmap.meanwhile = () -> {
            try {
                Files.write(Path.of(path), Library.picture(type, 640, 640));
            } catch (IOException e) {
                throw new UncheckedIOException(e);
            }
        };
        return path;
    }

    /** Of a picture that is `stride` pixels wide. */
    static byte[] cut(byte[] rgba, int stride, int x, int y, int width, int height) {
        byte[] out = new byte[width * height * 4];
        for (int row = 0; row < height; ++row) System.arraycopy(rgba, ((y + row) * stride + x) * 4, out, row * width * 4, width * 4);
        return out;
    }
}
