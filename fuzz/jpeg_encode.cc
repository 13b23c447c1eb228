// The JPEG encoder on frames of any content, format, size, quality and camera data: every function gives the same
// stream, which decodes to the picture within what the quantisers allow, or fails where there is no room.
#include <vorel/vorel.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "harness.h"

using namespace vorel_fuzz;

namespace {

size_t frame_bytes(int32_t format, int32_t width, int32_t height) {
    if (format == COLOR_GRAY) return vorel::test::area(width, height);
    if (format != COLOR_YUYV) return format_bytes(format, width, height);
    return static_cast<size_t>(height) * static_cast<size_t>(2 * width + (2 * width & 3));
}

struct Frame {
    int32_t format, width, height;
    Bytes bytes;
};
Frame frame_of(const Bytes &pattern, int32_t format, int32_t width, int32_t height) {
    Frame frame = {format, width, height, Bytes(frame_bytes(format, width, height))};
    for (size_t i = 0; i < frame.bytes.size(); ++i)
        frame.bytes[i] = static_cast<uint8_t>(pattern[i % pattern.size()] + i / 251);
    return frame;
}

// A record whose strings, references and thumbnail are of any kind.
struct Camera {
    explicit Camera(Case *input) {
        constexpr size_t kLengths[] = {0, 1, 3, 20, 4200, 65400, 70000};
        const uint32_t fields = input->option();
        make.assign(input->one_of(kLengths), 'm');
        thumbnail.assign(1 + input->one_of(kLengths), 0xFF);
        if (fields & 1) exif.textFields[0] = make.data();
        exif.orientation = fields & 2 ? fields : 0;
        if (fields & 4) exif.exposureTime[1] = exif.fNumber[0] = exif.focalLength[0] = fields;
        if (fields & 8) exif.gps = &gps;
        std::fill_n(gps.latitudeRef, 2, fields & 16 ? 'N' : 'E');
        gps.longitude[2][1] = fields;
        gps.processingMethod = fields & 32 ? reinterpret_cast<uint8_t *>(make.data()) : nullptr;
        exif.hasThumbnail = fields & 64;
        exif.thumbnailSize = static_cast<uint32_t>(thumbnail.size());
        exif.thumbnailData = fields & 128 ? thumbnail.data() : nullptr;
    }
    std::string make;
    Bytes thumbnail;
    GpsInfo gps = {};
    ExifInfo exif = {};
};

// Memory that a stream goes to, all zero at first.
struct Memory {
    explicit Memory(int32_t bytes) : size(bytes), data(static_cast<uint8_t *>(VORELBRIM_OsMalloc(bytes ? bytes : 1))) {
        std::fill_n(data, bytes, uint8_t{0});
    }
    ~Memory() { VORELBRIM_OsFree(data); }
    Bytes taken(int32_t result) const { return result == 1 ? Bytes(data, data + size) : Bytes(); }
    int32_t size;
    uint8_t *data;
};

RawInfo record_of(const Frame &frame, ExifInfo *exif) {
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(frame.width);
    raw.height = frame.height;
    raw.pixels = const_cast<uint8_t *>(frame.bytes.data());
    raw.format = static_cast<uint32_t>(frame.format);
    raw.exif = exif;
    return raw;
}

// Quantiser tables 0 and 1; both the first of a stream that has one.
std::vector<Bytes> quantisers(const Bytes &stream) {
    std::vector<Bytes> tables;
    for (size_t at = 2; at + 69 < stream.size() && stream[at + 1] != 0xDA;
         at += 2 + stream[at + 2] * 256u + stream[at + 3])
        if (stream[at + 1] == 0xDB) tables.emplace_back(&stream[at + 5], &stream[at + 69]);
    require(!tables.empty(), "a stream has quantisers");
    tables.push_back(tables.back());
    return tables;
}

// The transform keeps sums of squares, and each coefficient is off by at most half of its quantiser. Rounding adds up
// to `rounding` to every sample.
void require_close(const uint8_t *got, const uint8_t *want, int width, int height, const Bytes &quantiser,
                   double rounding) {
    double block = 0, squares = 0;
    for (const uint8_t step : quantiser) block += step * step / 4.0;
    const size_t samples = vorel::test::area(width, height),
                 blocks = vorel::test::area((width + 7) / 8, (height + 7) / 8);
    for (size_t i = 0; i < samples; ++i) squares += (got[i] - want[i]) * (got[i] - want[i]);
    require(std::sqrt(squares) <= std::sqrt(block * static_cast<double>(blocks)) + rounding * std::sqrt(samples),
            "a plane comes back within what its quantisers allow");
}

Bytes decoded(const Bytes &stream, int32_t format, const Frame &frame) {
    Session session(stream, Kind::kMemory, format, 0);
    ImageInfo info;
    require(session.get() && VORELBRIM_Parser(session.get(), &info) == VOREL_IMAGE_JPEG, "a stream is read");
    require(info.width == static_cast<uint32_t>(frame.width) && info.height == static_cast<uint32_t>(frame.height),
            "a stream has the picture's size");
    Bytes out(frame_bytes(format, frame.width, frame.height), kFill);
    require(VORELBRIM_DecodeJPEG(session.get(), out.data(), frame.width, frame.height) == 1, "a stream is decoded");
    return out;
}

Bytes luma_of(const Frame &frame) {
    const size_t samples = vorel::test::area(frame.width, frame.height), width = static_cast<size_t>(frame.width);
    const uint8_t *in = frame.bytes.data();
    Bytes luma(in, in + std::min(samples, frame.bytes.size()));
    const auto mix = [](int r, int g, int b) { return static_cast<uint8_t>(0.299 * r + 0.587 * g + 0.114 * b + 0.5); };
    const int bytes = frame.format == COLOR_RGB888 ? 3 : 4, red = frame.format == COLOR_BGRA8888 ? 2 : 0;
    for (size_t i = 0; i < samples; ++i) {
        if (frame.format == COLOR_YUYV) luma[i] = in[i / width * (2 * width + (2 * width & 3)) + i % width * 2];
        if (frame.format == COLOR_RGB565) {
            // Read in pairs: the last of an odd row is the one before it, and one alone is the middle gray.
            const size_t at = width > 1 && width % 2 && i % width == width - 1 ? i - 1 : i;
            const int word = in[2 * at] | in[2 * at + 1] << 8;
            luma[i] = mix((word >> 11) * 255 / 31, (word >> 5 & 63) * 255 / 63, (word & 31) * 255 / 31);
            if (width == 1) luma[i] = 128;
        }
        const uint8_t *pixel = in + i * static_cast<size_t>(bytes);
        if (frame.format == COLOR_RGB888 || frame.format == COLOR_RGBA8888 || frame.format == COLOR_BGRA8888)
            luma[i] = mix(pixel[red], pixel[1], pixel[2 - red]);
    }
    return luma;
}

void require_picture(const Bytes &stream, const Frame &frame) {
    const std::vector<Bytes> tables = quantisers(stream);
    const int32_t plain = frame.format == COLOR_GRAY ? COLOR_GRAY : COLOR_YUV444;
    const double rounding = frame.format == COLOR_RGB565 ? 10 : 2;
    require_close(decoded(stream, plain, frame).data(), luma_of(frame).data(), frame.width, frame.height, tables[0],
                  rounding);
    // Of NV12 each Cb is another pair's.
    if (frame.format != COLOR_YUV420 && frame.format != COLOR_YUV422 && frame.format != COLOR_YUV440 &&
        frame.format != COLOR_YUV444)
        return;
    const Bytes same = decoded(stream, frame.format, frame);
    size_t at = 0;
    int index = 0;
    for (const auto &plane : vorel::test::planes_of(frame.format, frame.width, frame.height)) {
        require_close(&same[at], &frame.bytes[at], plane.width, plane.height, tables[index++ ? 1 : 0], 2);
        at += vorel::test::area(plane.width, plane.height);
    }
}

// Tables of any bytes: a stream or a failure.
void encode_with_any_tables(const Bytes &pattern, RawInfo raw) {
    HuffmanSpec spec = {};
    uint8_t *slots = reinterpret_cast<uint8_t *>(spec.dcSlots);
    for (size_t i = 0; i < sizeof spec.dcSlots + sizeof spec.acSlots; ++i) slots[i] = pattern[i % pattern.size()];
    spec.quality = pattern[0];
    spec.valid = 1;
    Memory memory(100);
    auto size = static_cast<uint32_t>(memory.size);
    rim_enc_jpeg_to_buffer_ex(&raw, &memory.data, &size, &spec);
}

// Sessions whose caller transforms, by rows or by columns, with blocks, tables and factors of any kind: a stream or a
// failure.
void encode_blocks(const Bytes &pattern, RawInfo raw, bool columns) {
    PresetHeader preset = {};
    for (size_t i = 0; i < sizeof preset && i < pattern.size(); ++i)
        reinterpret_cast<uint8_t *>(&preset)[i] = pattern[i];
    if (pattern[0] & 1) preset.componentCount = 3;
    if (pattern[0] & 2) preset.quantTableCount = 2;
    for (auto &component : preset.component)
        if (pattern[0] & 4) component = {static_cast<uint8_t>(component.quantTable & 1), 1, 1};
    HuffmanSpec spec = {};
    spec.quality = pattern[0];
    auto *buffer = static_cast<uint8_t *>(VORELBRIM_OsMalloc(4096));
    RimEncSink sink = {};
    sink.mode = 1;
    sink.capacity = 4096;
    sink.buffer = buffer;
    JEInfo *session = rim_jpeg_enc_mcu_init(&raw, &sink, &spec, &preset);
    if (!session) {
        VORELBRIM_OsFree(buffer);
        return;
    }
    const uint32_t mcus = columns ? session->mcuRowTotal : session->mcusPerRow;
    std::vector<int16_t> block(64 * 16);
    std::vector<int16_t *> pointers(size_t{mcus} * 10);
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<int16_t>((pattern[i % pattern.size()] * 257 + static_cast<int>(i)) >> pattern[0] % 16);
    for (size_t i = 0; i < pointers.size(); ++i) pointers[i] = &block[64 * (i % 16)];
    uint32_t next = 0;
    if (!columns) {
        while (__rim_jpeg_enc_entroy_encoder(session, pointers.data(), &next)) continue;
    } else if (__rim_jpeg_enc_col_encoder_init(session)) {
        while (__rim_jpeg_enc_col_entroy_encoder(session, pointers.data(), &next)) continue;
        __rim_jpeg_enc_col_encoder_finish(session);
    }
    uint32_t size = 0;
    rim_jpeg_enc_mcu_finish(session, &buffer, &size);
    VORELBRIM_OsFree(buffer);
}

// What applications call, without camera data.
void require_same_of_applications(const Frame &frame, int32_t quality) {
    RawInfo raw = record_of(frame, nullptr);
    Memory plain(0), one(0), other(0);
    const Bytes stream = plain.taken(rim_enc_jpeg_to_buffer(&raw, &plain.data, &plain.size, quality));
    auto *pixels = const_cast<uint8_t *>(frame.bytes.data());
    const int32_t w = frame.width, h = frame.height, format = frame.format;
    require(one.taken(VjpgEncodeToBuffer(&one.data, &one.size, pixels, w, h, format, quality)) == stream,
            "an application gets the same stream");
    const Bytes taken = other.taken(encodeJPEGToBuffer(pixels, w, h, format, &other.data, &other.size, quality));
    require(taken.empty() || taken == stream, "an application gets the same stream, or is refused");
    const vorel::test::TempFile file;
    if (encodeJPEGToFile(pixels, w, h, format, file.path(), quality) == 1)
        require(vorel::test::read_file(file.path()) == stream, "a file has the same stream");
    require(rim_enc_jpeg_to_file(&raw, file.path(), quality) == 1 && vorel::test::read_file(file.path()) == stream,
            "a file of one session has the same stream");
    Memory scaled(0);
    const int32_t width = 1 + h % 200, height = 1 + w;
    if (encodeScaledJPEGToBuffer(pixels, w, h, width, height, format, &scaled.data, &scaled.size, quality) == 1)
        decoded(scaled.taken(1), COLOR_YUV444, {format, width, height, {}});
}

}  // namespace

// Sides, and neither many rows nor long strings in the record.
const std::vector<Bounded> vorel_fuzz::kSmallFrames = {{2, 31, 0}, {3, 31, 0}, {4, 255, 1}};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr int32_t kFormats[] = {COLOR_RGB565, COLOR_RGB888,   COLOR_YUV420,   COLOR_YUV422,
                                    COLOR_GRAY,   COLOR_RGBA8888, COLOR_BGRA8888, COLOR_YUV440,
                                    COLOR_YUV444, COLOR_YUYV,     COLOR_NV21,     COLOR_NV12};
    Case input(data, size, 12);
    if (input.picture().empty()) return 0;
    const int32_t format = input.one_of(kFormats), width = input.side(), rows = input.side();
    const uint32_t how = input.option();
    const Frame frame = frame_of(input.picture(), format, width, how % 8 == 0 ? rows + 400 : rows);
    const auto quality = static_cast<int32_t>(input.option()) - 50;
    Camera camera(&input);
    RawInfo raw = record_of(frame, how & 8 ? &camera.exif : nullptr);
    if (how & 16) encode_with_any_tables(input.picture(), raw);
    if (how & 32) encode_blocks(input.picture(), raw, how & 1);
    if (how & 64) require_same_of_applications(frame, quality);

    Memory whole(static_cast<int32_t>(input.option() * input.option()));
    const Bytes stream = whole.taken(rim_enc_jpeg_to_buffer(&raw, &whole.data, &whole.size, quality));
    require_picture(stream, frame);

    Bytes sent;
    const RimEncCallback send = [](void *out, uint8_t *bytes, uint32_t count) {
        static_cast<Bytes *>(out)->insert(static_cast<Bytes *>(out)->end(), bytes, bytes + count);
    };
    require(rim_enc_jpeg_to_stream(&raw, send, quality, &sent) == 1 && sent == stream, "a callback gets the stream");

    Memory strips(static_cast<int32_t>(input.option()));
    require(strips.taken(VORELBRIM_PEncodeJpegToBuffer(&raw, &strips.data, &strips.size, quality)) == stream,
            "strips make the same stream");

    // Room that does not grow: the stream, or nothing beyond it.
    Memory fixed(static_cast<int32_t>(stream.size() * (how + 1) / 200 + 1));
    RimEncSink sink = {};
    sink.capacity = static_cast<uint32_t>(fixed.size);
    sink.buffer = fixed.data;
    const int32_t fits = rim_enc_jpeg_to_buffer_full_buffer(&raw, &sink, quality);
    require(fits == 0 || Bytes(sink.buffer, sink.buffer + sink.total) == stream,
            "fixed memory has the stream or fails");
    fixed.data = sink.buffer;

    for (const bool progressive : {false, true}) {
        raw.progressive = progressive;
        raw.optimizeHuffman = !progressive;
        Memory other(2048);
        HuffmanSpec spec = {};
        spec.quality = static_cast<uint32_t>(std::clamp(quality, 1, 100));
        auto bytes = static_cast<uint32_t>(other.size);
        require(rim_enc_jpeg_to_buffer_ex(&raw, &other.data, &bytes, &spec) == 1, "measured tables serve");
        require_picture(Bytes(other.data, other.data + bytes), frame);
        require(decoded(Bytes(other.data, other.data + bytes), format == COLOR_GRAY ? COLOR_GRAY : COLOR_YUV444,
                        frame) == decoded(stream, format == COLOR_GRAY ? COLOR_GRAY : COLOR_YUV444, frame),
                "whatever the coding, the pixels are the same");
    }
    return 0;
}
