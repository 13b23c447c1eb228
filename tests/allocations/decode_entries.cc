// Decodes of every type: whole, windows, in pieces, on threads, rectangles; parsing and camera data.
#include <vorel/vorel.h>

#include <algorithm>
#include <memory>

#include "bindings/pictures.h"
#include "entries.h"
#include "png/images.h"
#include "support/samples.h"

namespace vorel::test {

Bytes taken_block(void *block, size_t bytes) {
    const auto *const first = static_cast<const uint8_t *>(block);
    Bytes out = first ? Bytes(first, first + bytes) : Bytes();
    VORELBRIM_OsFree(block);
    return out;
}

const Bytes &baseline_jpeg() {
    static const Bytes jpeg = jpeg_of(320, 528);
    return jpeg;
}
const Bytes &progressive_jpeg() {
    static const Bytes jpeg = [] {
        Bytes pixels = picture_rgba(160, 144);
        RawInfo raw = {};
        raw.width = 160, raw.height = 144, raw.pixels = pixels.data(), raw.format = COLOR_RGBA8888, raw.progressive = 1;
        HuffmanSpec spec = {};
        spec.quality = 85;
        uint32_t size = 2048;
        auto *stream = static_cast<uint8_t *>(VORELBRIM_OsMalloc(2048));
        rim_enc_jpeg_to_buffer_ex(&raw, &stream, &size, &spec);
        return taken_block(stream, size);
    }();
    return jpeg;
}

namespace {

struct Destroy {
    void operator()(DecInfo *session) const {
        VORELBRIM_AbortJPEGIter(session);
        VORELBRIM_DestroyJpegInfo(session);
        VORELBRIM_DestroyDecInfo(session);
    }
};
using Owned = std::unique_ptr<DecInfo, Destroy>;

Owned open(const Bytes &bytes, int32_t format, uint32_t options) {
    return Owned(VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(bytes.data()), bytes_of(bytes), format, options));
}

struct Target {
    int32_t format, width, height;
    uint32_t options = 0;
    Bytes buffer() const { return Bytes(format_bytes(format, width, height), 0x5A); }
};
using Decoder = std::function<int32_t(DecInfo *session, void *output, const Target &target)>;

// A session over memory, decoded; and once more.
Outcome by_session(const Bytes &bytes, const Target &target, const Decoder &decode, bool can_repeat = true) {
    Outcome out;
    out.output = target.buffer();
    Owned session;
    counted([&] {
        session = open(bytes, target.format, target.options);
        ImageInfo info;
        out.done = session && VORELBRIM_Parser(session.get(), &info) != 0 &&
                   decode(session.get(), out.output.data(), target) == 1;
    });
    if (session && can_repeat) {
        out.again = target.buffer();
        ImageInfo info;
        VORELBRIM_Parser(session.get(), &info);
        if (decode(session.get(), out.again.data(), target) != 1) out.again = {0};
    }
    counted([&] { session.reset(); });
    return out;
}

Decoder plain(int32_t (*entry)(DecInfo *, void *, int32_t, int32_t)) {
    return [entry](DecInfo *session, void *out, const Target &target) {
        return entry(session, out, target.width, target.height);
    };
}
Decoder sampled(int32_t (*entry)(DecInfo *, void *, int32_t, int32_t, int32_t)) {
    return [entry](DecInfo *session, void *out, const Target &target) {
        return entry(session, out, target.width, target.height, 1);
    };
}

int32_t in_pieces(DecInfo *session, void *out, const Target &target, uint32_t flags, bool strips) {
    int32_t result = 4;
    while (result == 4) result = VORELBRIM_PrepareJPEGIter(session, target.width, target.height);
    if (result != 1) return result;
    const auto decode = strips ? VORELBRIM_DecodeJPEGIter4LTN : VORELBRIM_DecodeJPEGIter;
    for (result = 4; result == 4;)
        result = decode(session, out, target.width, target.height, flags, strips ? target.height : 32);
    return result;
}

int32_t window(DecInfo *session, void *out, const Target &target) {
    set_window(session, 5, 7, 40, 50);
    const int32_t result = VORELBRIM_DecodeJPEG(session, out, target.width, target.height);
    session->partialDecode = 0;
    return result;
}

int32_t animation(DecInfo *session, void *out, const Target &target) {
    int32_t result = 1;
    while (result == 1) result = VORELBRIMI_DecodeAGIF(session, out, target.width, target.height);
    VORELBRIMI_DeleteGIFInfo(session);
    return result == 3;
}

// Checkpoints of a decode as bytes, and strips from the second.
Outcome from_checkpoints() {
    const Bytes &bytes = baseline_jpeg();
    const Target target = {COLOR_RGBA8888, 320, 528};
    Outcome out;
    Bytes whole = target.buffer(), blob(4 + 4 * 68);
    out.output = Bytes(size_t{4} * 320 * (528 + 2));
    Owned first, session;
    counted([&] {
        first = open(bytes, target.format, 0);
        if (!first) return;
        first->midpointCount = 3;
        if (VORELBRIM_DecodeJPEG(first.get(), whole.data(), target.width, target.height) != 1) return;
        const int32_t size = vorel_write_midpoints(first.get(), blob.data(), bytes_of(blob));
        session = open(bytes, target.format, 0);
        if (!session || !vorel_read_midpoints(session.get(), blob.data(), size)) return;
        int32_t result = 4;
        while (result == 4) result = VORELBRIM_PrepareJPEGIter(session.get(), target.width, target.height);
        for (int32_t number = 3; number >= 1 && result == 1; --number) {
            int32_t more = 4;
            while (more == 4)
                more = VORELBRIM_DecodeJPEGMidpIter4LTN(session.get(), out.output.data(), target.width, target.height,
                                                        VOREL_ITERATE, number, 528);
            // A checkpoint that there was no memory for is missing, and so are its strips.
            result = more;
        }
        out.done = result == 1;
    });
    counted([&] {
        first.reset();
        session.reset();
    });
    return out;
}

// Rows of the upper of two halves: required, that the lower one failed is not said.
constexpr size_t kUpperRows = 264 + (264 & 15);

// A map, a rectangle by one thread or two, and behind it another.
Outcome rectangle(const Bytes &bytes, int32_t width, int32_t height, decltype(VORELBRIM_DecodeRegion) *decode) {
    Outcome out;
    out.output.resize(static_cast<size_t>(4 * width * height));
    Owned base;
    bool mapped = false;
    counted([&] {
        base = open(bytes, COLOR_RGBA8888, VOREL_OPTION_REGION);
        mapped = base && VORELBRIM_ScanHuffmanInfo(base.get()) == 1;
        out.done = mapped && decode(base.get(), out.output.data(), 1, 1, 0, 0, width, height, 1) == 1;
    });
    if (mapped) {
        out.again.resize(size_t{4} * 60 * 50);
        if (VORELBRIM_DecodeRegion(base.get(), out.again.data(), 1, 1, 17, 30, 60, 50, 1) != 1) out.again = {0};
    }
    counted([&] { base.reset(); });
    return out;
}

Outcome png_whole(const Bytes &png, int32_t width, int32_t height, int32_t sample, const char *path) {
    Outcome out;
    out.output.resize(static_cast<size_t>(4 * width * height));
    out.done = counted([&] {
        return decodeVPNG(path ? static_cast<const void *>(path) : png.data(), path ? 0 : bytes_of(png),
                          path ? nullptr : vpng_read_fn, out.output.data(), width, height, sample, COLOR_RGBA8888) == 1;
    });
    return out;
}

Outcome png_region(const Bytes &png, const char *path) {
    Outcome out;
    out.output.resize(size_t{4} * 30 * 40);
    out.again = Bytes();
    vpng_tile_index *index = nullptr;
    counted([&] {
        index = onBuildTileIndexVPNG(path ? static_cast<const void *>(path) : png.data(), path ? 0 : bytes_of(png),
                                     path ? nullptr : vpng_read_fn, COLOR_RGBA8888);
        out.done = index && onDecodeVPNGSubset(index, out.output.data(), 3, 280, 30, 40, 1) == 1;
    });
    if (!index) return out;
    out.again.resize(size_t{4} * 20 * 10);
    if (onDecodeVPNGSubset(index, out.again.data(), 1, 260, 20, 10, 1) != 1) out.again = {0};
    counted([&] {
        vpng_destroy_read_struct(&index->png, &index->info, nullptr);
        VORELBRIM_OsFree(index);
    });
    return out;
}

Outcome camera_data(const Bytes &jpeg) {
    Outcome out;
    uint32_t length = 0;
    uint8_t *block = nullptr;
    counted([&] {
        Owned session = open(jpeg, COLOR_RGBA8888, 0);
        if (!session) return;
        block = vorel_exif_block(session.get(), &length);
        ExifInfo *const record = BRIMJ_CreatExifInfo(session.get());
        out.done = block && record;
        if (record) BRIMJ_DestroyExifInfo(record);
        DecInfo *const read = getExif(jpeg.data(), bytes_of(jpeg));
        out.done = out.done && read;
        if (read) destroyExif(read);
    });
    out.output = block ? Bytes(block, block + length) : Bytes();
    counted([&] { VORELBRIM_OsFree(block); });
    return out;
}

Outcome by_handle(const Bytes &bytes) {
    Outcome out;
    counted([&] {
        const int32_t handle = VORELBRIM_OpenDecHandle(bytes.data(), bytes_of(bytes), 1);
        out.done = handle && VORELBRIM_SetDecInfoFromHandle(handle, COLOR_RGBA8888) == 1;
        if (handle) VORELBRIM_CloseDecHandle(handle);
    });
    return out;
}

Bytes jpeg_with_camera_data() {
    Bytes pixels = picture_rgba(96, 64);
    char maker[] = "Maker";
    ExifInfo exif = {};
    exif.textFields[0] = maker, exif.orientation = 6;
    RawInfo raw = {};
    raw.width = 96, raw.height = 64, raw.pixels = pixels.data(), raw.format = COLOR_RGBA8888, raw.exif = &exif;
    int32_t size = 2048;
    auto *stream = static_cast<uint8_t *>(VORELBRIM_OsMalloc(size));
    rim_enc_jpeg_to_buffer(&raw, &stream, &size, 80);
    return taken_block(stream, static_cast<size_t>(size));
}

// 9 x 7 pixels of 24 bits, or of 8 in runs.
Bytes bmp(uint32_t bits, uint32_t compression) {
    const Bytes runs = {3, 1, 0, 0, 9, 2, 0, 0, 0, 3, 1, 2, 3, 0, 0, 1};
    const Bytes head = cat({bmp_header(40, 9, 7), little_16(1), little_16(bits), little_32(compression), little_32(0),
                            little_32(0), little_32(0), little_32(bits == 8 ? 256 : 0), little_32(0)});
    const Bytes file = cat({head, noise(bits == 8 ? 1024 : 0, 5), bits == 8 ? runs : noise(28 * 7, 6)});
    return changed(file, 10, little_32(bits == 8 ? 54 + 1024 : 54));
}

}  // namespace

std::vector<Entry> decode_entries() {
    std::vector<Entry> entries;
    const auto add = [&](const std::string &name, std::function<Outcome()> run) {
        entries.push_back({name, std::move(run)});
    };
    for (const bool progressive : {false, true}) {
        const Bytes &jpeg = progressive ? progressive_jpeg() : baseline_jpeg();
        const int32_t w = progressive ? 160 : 320, h = progressive ? 144 : 528;
        const std::string form = progressive ? "progressive " : "baseline ";
        const auto session = [&](const std::string &name, const Target &target, const Decoder &decode,
                                 bool repeat = true) {
            add(form + name, [&jpeg, target, decode, repeat] { return by_session(jpeg, target, decode, repeat); });
        };
        const Target rgba = {COLOR_RGBA8888, w, h};
        session("whole", rgba, plain(VORELBRIM_DecodeJPEG));
        session("fitted and turned", {COLOR_RGB565, 50, 70, VOREL_OPTION_ROTATE_90 | VOREL_OPTION_FIT_COVER},
                plain(VORELBRIM_DecodeJPEG));
        session("planes at 1 to 3", {COLOR_YUV420, w / 3, h / 3}, plain(VORELBRIM_DecodeJPEG));
        session("window", rgba, window);
        session("by threads", rgba, sampled(VORELBRIM_PDecodeJPEG));
        session("bands from restarts", rgba, sampled(VORELBRIM_PDecodeJPEG_RST));
        session("bands", {COLOR_NV21, w, h}, sampled(VORELBRIM_PDecodeJPEG_No_RST));
        session("at 1 to 8 by threads", {COLOR_RGBA8888, w / 8, h / 8}, sampled(VORELBRIM_PDecodeJPEG));
        session("rows", rgba,
                [](DecInfo *s, void *o, const Target &t) { return in_pieces(s, o, t, VOREL_ITERATE, false); });
        // The pieces stand in buffers of their own: a strip has two rows more than the picture.
        session("strips", {COLOR_RGBA8888, w, h + 2}, [](DecInfo *s, void *o, const Target &t) {
            return in_pieces(s, o, {t.format, t.width, t.height - 2}, VOREL_ITERATE, true);
        });
        add(form + "rectangle", [&jpeg, w] { return rectangle(jpeg, w, 100, VORELBRIM_DecodeRegion); });
        add(form + "rectangle by two threads", [&jpeg, w, h] {
            Outcome out = rectangle(jpeg, w, h, VORELBRIM_PDecodeRegion);
            out.output.resize(std::min(out.output.size(), 4 * static_cast<size_t>(w) * kUpperRows));
            return out;
        });
        add(form + "handle", [&jpeg] { return by_handle(jpeg); });
    }
    add("rows with a map", [] {
        return by_session(
            baseline_jpeg(), {COLOR_RGBA8888, 320, 528, VOREL_OPTION_REGION},
            [](DecInfo *s, void *o, const Target &t) {
                return in_pieces(s, o, t, VOREL_ITERATE | VOREL_ITERATE_MAP, false);
            },
            false);
    });
    add("checkpoints", from_checkpoints);
    add("camera data", [jpeg = jpeg_with_camera_data()] { return camera_data(jpeg); });
    const auto raster = [&](const char *name, const Bytes &bytes, const Decoder &decode) {
        add(name, [bytes, decode] { return by_session(bytes, {COLOR_RGBA8888, 7, 5}, decode); });
    };
    raster("wbmp", wbmp(9, 7, Bytes(14, 0x35)), plain(VORELBRIMI_DecodeWBMP));
    raster("gif", gif_still(), plain(VORELBRIMI_DecodeGIF));
    raster("gif animation", gif_animation(), animation);
    for (const bool interlaced : {false, true}) {
        PngSpec spec = {.width = 40,
                        .height = 330,
                        .colour_type = interlaced ? 3 : 6,
                        .depth = 8,
                        .interlaced = interlaced,
                        .transparency = interlaced};
        const Bytes png = make_png(spec);
        const auto path = std::make_shared<TempFile>(png);
        const std::string form = interlaced ? "png interlaced " : "png ";
        add(form + "whole", [png] { return png_whole(png, 40, 330, 0, nullptr); });
        add(form + "of a file, fitted", [png, path] { return png_whole(png, 20, 30, 0, path->path()); });
        add(form + "sampled", [png] { return png_whole(png, 13, 110, 3, nullptr); });
        add(form + "region", [png] { return png_region(png, nullptr); });
        add(form + "region of a file", [png, path] { return png_region(png, path->path()); });
    }
    raster("bmp", bmp(24, 0), plain(VORELBRIMI_DecodeBMP));
    raster("bmp of runs", bmp(8, 1), plain(VORELBRIMI_DecodeBMP));
    for (const auto &[name, bytes] : {std::pair<std::string, Bytes>{"wbmp", wbmp(130, 3, Bytes(17 * 3, 0xA5))},
                                      {"bmp", bmp(24, 0)},
                                      {"gif", gif_animation()},
                                      {"jpeg", progressive_jpeg()},
                                      {"png", make_png({.width = 40, .height = 30})}}) {
        const auto path = std::make_shared<TempFile>(bytes);
        for (const bool file : {false, true}) {
            add("entry " + name + (file ? " of a file" : ""), [bytes = bytes, path, file] {
                Outcome out;
                out.output = Bytes(size_t{4} * 160 * 144);
                out.done = counted([&] {
                               return file ? VorelDecodeFile(path->path(), out.output.data(), 0, COLOR_RGBA8888, 1)
                                           : VorelDecodeBuffer(bytes.data(), out.output.data(), bytes_of(bytes),
                                                               COLOR_RGBA8888, 1);
                           }) == 1;
                return out;
            });
        }
    }
    return entries;
}

}  // namespace vorel::test
