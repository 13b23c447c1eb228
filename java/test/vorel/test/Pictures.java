package vorel.test;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.zip.CRC32;
import java.util.zip.DeflaterOutputStream;

/** Pictures made by code, as files that go with the process. */
final class Pictures {
    private Pictures() {}

    /** R, G, B, A: gradients with edges, opaque. */
    static byte[] rgba(int width, int height) {
        byte[] pixels = new byte[width * height * 4];
        for (int y = 0, i = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                pixels[i++] = (byte) (x * 255 / width);
                pixels[i++] = (byte) (y * 255 / height);
                pixels[i++] = (byte) ((x / 16 + y / 16) % 2 * 200);
                pixels[i++] = (byte) 255;
            }
        return pixels;
    }

    static byte[] jpeg(int width, int height) {
        return Library.jpeg(rgba(width, height), width, height);
    }

    static byte[] png(int width, int height) throws IOException {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.write(new byte[] {(byte) 0x89, 'P', 'N', 'G', 13, 10, 26, 10});
        ByteArrayOutputStream header = new ByteArrayOutputStream();
        DataOutputStream fields = new DataOutputStream(header);
        fields.writeInt(width);
        fields.writeInt(height);
        fields.write(new byte[] {8, 6, 0, 0, 0});
        chunk(out, "IHDR", header.toByteArray());
        ByteArrayOutputStream data = new ByteArrayOutputStream();
        byte[] pixels = rgba(width, height);
        try (DeflaterOutputStream deflater = new DeflaterOutputStream(data)) {
            for (int y = 0; y < height; ++y) {
                deflater.write(0);
                deflater.write(pixels, y * width * 4, width * 4);
            }
        }
        chunk(out, "IDAT", data.toByteArray());
        chunk(out, "IEND", new byte[0]);
        return out.toByteArray();
    }

    private static void chunk(ByteArrayOutputStream out, String type, byte[] data) throws IOException {
        DataOutputStream stream = new DataOutputStream(out);
        byte[] name = type.getBytes(StandardCharsets.US_ASCII);
        CRC32 check = new CRC32();
        check.update(name);
        check.update(data);
        stream.writeInt(data.length);
        stream.write(name);
        stream.write(data);
        stream.writeInt((int) check.getValue());
    }

    /** 24 bits a pixel. */
    static byte[] bmp(int width, int height) {
        int row = (width * 3 + 3) / 4 * 4;
        byte[] file = new byte[54 + row * height];
        file[0] = 'B';
        file[1] = 'M';
        little(file, 2, file.length);
        little(file, 10, 54);
        little(file, 14, 40);
        little(file, 18, width);
        little(file, 22, height);
        file[26] = 1;
        file[28] = 24;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width * 3; ++x) file[54 + y * row + x] = (byte) (x * 3 + y * 5);
        return file;
    }

    private static void little(byte[] to, int at, int value) {
        for (int i = 0; i < 4; ++i) to[at + i] = (byte) (value >> (8 * i));
    }

    /** One pixel. */
    static byte[] gif() {
        int[] bytes = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 255, 0, 0, 0, 255, 0, 0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0,
            2, 2, 0x44, 1, 0, 0x3B};
        byte[] file = new byte[bytes.length];
        for (int i = 0; i < bytes.length; ++i) file[i] = (byte) bytes[i];
        return file;
    }

    static String file(byte[] bytes) throws IOException {
        Path path = Files.createTempFile("vorel \u00e4\ud83d\uddbc ", ".img");
        path.toFile().deleteOnExit();
        Files.write(path, bytes);
        return path.toString();
    }

    /** The file becomes another one while the next bitmap is made: between the look at its size and the decode. */
    static String growing(byte[] small, byte[] large) throws IOException {
        String path = file(small);
        android.graphics.Bitmap.meanwhile = () -> {
            try {
                Files.write(Path.of(path), large);
            } catch (IOException e) {
                throw new java.io.UncheckedIOException(e);
            }
        };
        return path;
    }
}
