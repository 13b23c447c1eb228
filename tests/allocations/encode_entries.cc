// The encoder by every way.
#include <vorel/vorel.h>

#include <algorithm>
#include <memory>

#include "bindings/pictures.h"
#include "entries.h"

namespace vorel::test {
// A stream whose tables could not be measured has the standard ones: the pixels are what counts.
Outcome pixels_of(Outcome out) {
    int32_t width = 0, height = 0;
    if (!out.done) return out;
    VorelGetImageInfoFromBuffer(out.output.data(), 0, bytes_of(out.output), &width, &height);
    Bytes pixels(size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height));
    out.done = VorelDecodeBuffer(out.output.data(), pixels.data(), bytes_of(out.output), COLOR_RGBA8888, 1) == 1;
    out.output = pixels;
    return out;
}

namespace {

constexpr int32_t kWidth = 120, kHeight = 560;  // strips from 512 rows on

struct Frame {
    int32_t format;
    Bytes bytes;
    RawInfo raw() {
        RawInfo record = {};
        record.width = kWidth, record.height = kHeight, record.format = static_cast<uint32_t>(format);
        record.pixels = bytes.data();
        return record;
    }
};

// encode(frame, &stream, &size): 1 or 0. The block is the caller's whatever comes of it.
using Encode = std::function<int32_t(Frame &frame, uint8_t **stream, int32_t *size)>;
Outcome encoded(int32_t format, const Encode &encode) {
    Frame frame = {format, Bytes(format_bytes(format, kWidth, kHeight) + 4 * kHeight)};
    for (size_t i = 0; i < frame.bytes.size(); ++i) frame.bytes[i] = static_cast<uint8_t>(i * i >> 7);
    Outcome out;
    uint8_t *stream = nullptr;
    int32_t size = 2048;
    counted([&] {
        stream = static_cast<uint8_t *>(VORELBRIM_OsMalloc(size));
        out.done = stream && encode(frame, &stream, &size) == 1;
    });
    if (out.done) out.output = Bytes(stream, stream + size);
    counted([&] { VORELBRIM_OsFree(stream); });
    return out;
}

Encode with_tables(bool progressive, bool optimized) {
    return [=](Frame &frame, uint8_t **stream, int32_t *size) {
        RawInfo raw = frame.raw();
        raw.progressive = progressive, raw.optimizeHuffman = optimized;
        HuffmanSpec spec = {};
        spec.quality = 80;
        auto bytes = static_cast<uint32_t>(*size);
        const int32_t result = rim_enc_jpeg_to_buffer_ex(&raw, stream, &bytes, &spec);
        *size = static_cast<int32_t>(bytes);
        return result;
    };
}

int32_t one_session(Frame &frame, uint8_t **stream, int32_t *size) {
    RawInfo raw = frame.raw();
    return rim_enc_jpeg_to_buffer(&raw, stream, size, 80);
}

int32_t with_camera_data(Frame &frame, uint8_t **stream, int32_t *size) {
    char maker[] = "Maker";
    GpsInfo gps = {};
    ExifInfo exif = {};
    exif.textFields[0] = maker, exif.orientation = 6, exif.gps = &gps;
    exif.hasThumbnail = 1, exif.thumbnailData = frame.bytes.data(), exif.thumbnailSize = 5000,
    exif.thumbnailCompression = 6;
    RawInfo raw = frame.raw();
    raw.exif = &exif;
    return rim_enc_jpeg_to_buffer(&raw, stream, size, 80);
}

int32_t in_strips(Frame &frame, uint8_t **stream, int32_t *size, bool optimized) {
    RawInfo raw = frame.raw();
    raw.optimizeHuffman = optimized;
    return VORELBRIM_PEncodeJpegToBuffer(&raw, stream, size, 80);
}

// Pixels of 4:2:0 in planes that stand apart.
int32_t planes(Frame &frame, uint8_t **stream, int32_t *size) {
    uint8_t *const y = frame.bytes.data(), *const u = y + kWidth * kHeight;
    return VjpgEncodeToBuffer_YUV(stream, size, y, u, u + kWidth * kHeight / 4, kWidth, kHeight, COLOR_YUV420, 80);
}

int32_t later(Frame &frame, uint8_t **stream, int32_t *size) {
    vorel_threadpool *const pool = initTask(2);
    const int32_t result =
        encodeJPEGToBufferAsync(frame.bytes.data(), kWidth, kHeight, frame.format, stream, size, 80, pool);
    waitTask(pool);
    // That a task was queued does not say what came of it, and nothing is promised of a buffer that it failed with.
    return result == 1 && !allocation_failed();
}

Outcome to_callback() {
    Bytes sent;
    sent.reserve(1 << 20);
    Outcome out = encoded(COLOR_RGBA8888, [&](Frame &frame, uint8_t **, int32_t *size) {
        RawInfo raw = frame.raw();
        const RimEncCallback send = [](void *to, uint8_t *bytes, uint32_t count) {
            static_cast<Bytes *>(to)->insert(static_cast<Bytes *>(to)->end(), bytes, bytes + count);
        };
        *size = 0;
        return rim_enc_jpeg_to_stream(&raw, send, 80, &sent);
    });
    if (out.done) out.output = sent;
    return out;
}

Outcome to_file(bool strips) {
    const TempFile file;
    Outcome out = encoded(COLOR_NV21, [&](Frame &frame, uint8_t **, int32_t *size) {
        RawInfo raw = frame.raw();
        *size = 0;
        if (!strips) return rim_enc_jpeg_to_file(&raw, file.path(), 80);
        return VjpgEncodeToFile(file.path(), frame.bytes.data(), kWidth, kHeight, COLOR_NV21, 80);
    });
    if (out.done) out.output = read_file(file.path());
    return out;
}

}  // namespace

std::vector<Entry> encode_entries() {
    std::vector<Entry> entries;
    const auto add = [&](const std::string &name, std::function<Outcome()> run) {
        entries.push_back({"encode " + name, std::move(run)});
    };
    const auto frame = [&](const std::string &name, int32_t format, const Encode &encode, bool measured = false) {
        add(name, [=] { return measured ? pixels_of(encoded(format, encode)) : encoded(format, encode); });
    };
    for (const int32_t format : {COLOR_RGB565, COLOR_RGB888, COLOR_YUV420, COLOR_YUV422, COLOR_GRAY, COLOR_RGBA8888,
                                 COLOR_YUV440, COLOR_YUV444, COLOR_YUYV, COLOR_NV21})
        frame("format " + std::to_string(format), format, one_session);
    frame("optimized", COLOR_RGBA8888, with_tables(false, true), true);
    frame("progressive", COLOR_RGBA8888, with_tables(true, false));
    frame("camera data", COLOR_RGBA8888, with_camera_data);
    for (const bool optimized : {false, true})
        frame(
            optimized ? "strips optimized" : "strips", COLOR_RGBA8888,
            [optimized](Frame &f, uint8_t **stream, int32_t *size) { return in_strips(f, stream, size, optimized); },
            optimized);
    frame("planes", COLOR_YUV420, planes);
    frame("later", COLOR_RGBA8888, later);
    frame("scaled", COLOR_NV21, [](Frame &f, uint8_t **stream, int32_t *size) {
        return encodeScaledJPEGToBuffer(f.bytes.data(), kWidth, kHeight, 61, 77, COLOR_NV21, stream, size, 80);
    });
    frame("compressToByte", COLOR_RGBA8888, [](Frame &f, uint8_t **stream, int32_t *size) {
        return compressToByte(f.bytes.data(), kWidth, kHeight, COLOR_RGBA8888, stream, size, 80);
    });
    add("to a callback", to_callback);
    add("to a file", [] { return to_file(false); });
    return entries;
}

}  // namespace vorel::test
