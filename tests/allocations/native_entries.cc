// What the Java natives call.
#include <vorel/jpeg_iterative.h>

#include <algorithm>

#include "bindings/c/owned_session.h"
#include "bindings/java/operations/encode.h"
#include "bindings/java/operations/kept_session.h"
#include "bindings/java/operations/picture_decode.h"
#include "bindings/java/operations/region_opening.h"
#include "bindings/java/operations/strip_tiles.h"
#include "bindings/pictures.h"
#include "entries.h"
#include "png/images.h"

namespace vorel::test {
namespace {

Outcome factory(const Bytes &file, bool window) {
    Outcome out;
    out.output.resize(size_t{4} * 320 * 528);
    counted([&] {
        FactoryPicture picture;
        FactoryRequest request;
        request.color_format = COLOR_RGBA8888;
        if (!picture.open({nullptr, file.data(), bytes_of(file)}, request)) return;
        out.done = (window ? picture.decode_window(out.output.data(), {3, 5, 60, 70})
                           : picture.decode(out.output.data())) == 1;
    });
    return out;
}

using Decode = int32_t (*)(DecInfo *session, void *output, const KeptRequest &request);
Outcome kept(Decode decode) {
    const Bytes &jpeg = baseline_jpeg();
    Outcome out;
    out.output.resize(size_t{4} * 320 * 528);
    OwnedSession session;
    KeptRequest request;
    request.width = 320, request.height = 528;
    counted([&] {
        session.reset(keep_jpeg({nullptr, jpeg.data(), bytes_of(jpeg)}, COLOR_RGBA8888, 0));
        out.done = session && decode(session.get(), out.output.data(), request) == 1;
    });
    if (session) {
        out.again.resize(out.output.size());
        if (decode(session.get(), out.again.data(), request) != 1) out.again = {0};
    }
    counted([&] { session.reset(); });
    return out;
}

Outcome opening(const Bytes &file) {
    Outcome out;
    counted([&] {
        RegionOpening opened;
        void *const copy = VORELBRIM_OsMalloc(bytes_of(file));
        if (!copy) return;
        std::copy(file.begin(), file.end(), static_cast<uint8_t *>(copy));
        if (!opened.start(copy, bytes_of(file)) || !opened.parse()) return;
        if (!opened.is_png()) {
            out.done = opened.scan();
            return;
        }
        opened.open_png();
        void *const index = opened.release();
        out.done = index != nullptr;
        if (index) destroy_png_index(static_cast<vpng_tile_index *>(index));
    });
    return out;
}

Outcome tiles() {
    Outcome out;
    void *blocks[6] = {};
    const StripTiles cut = {COLOR_RGBA8888, 100, 40, 16, 6};
    counted([&] {
        void *const strip = cut.new_strip();
        out.done = strip && cut.cut(strip, blocks);
        if (out.done)
            for (void *block : blocks) os_release(block);
    });
    return out;
}

Outcome encoded(bool optimize) {
    Bytes pixels = picture_rgba(120, 560);
    Outcome out;
    ExifInfo exif = {};
    exif.orientation = 6;
    int32_t size = 0;
    uint8_t *stream = nullptr;
    counted([&] { stream = encode_to_memory({pixels.data(), 120, 560, COLOR_RGBA8888, 90, &exif, optimize}, &size); });
    out.done = stream != nullptr;
    if (stream) out.output = Bytes(stream, stream + size);
    counted([&] { os_release(stream); });
    return out;
}

}  // namespace

std::vector<Entry> native_entries() {
    const Bytes png = make_png({.width = 60, .height = 300, .colour_type = 6});
    return {
        {"factory jpeg", [] { return factory(baseline_jpeg(), false); }},
        {"factory window", [] { return factory(baseline_jpeg(), true); }},
        {"factory png", [png] { return factory(png, false); }},
        {"kept whole", [] { return kept(decode_kept); }},
        {"kept window",
         [] {
             return kept([](DecInfo *session, void *output, const KeptRequest &request) {
                 return decode_kept_window(session, output, request, {7, 9, 100, 50});
             });
         }},
        {"kept thumbnail",
         [] {
             return kept([](DecInfo *session, void *output, const KeptRequest &) {
                 return decode_kept_thumbnail(session, output, 100, 80, 2);
             });
         }},
        {"kept with checkpoints",
         [] {
             return kept([](DecInfo *session, void *output, const KeptRequest &request) {
                 return decode_kept_with_midpoints(session, output, request, 3);
             });
         }},
        {"opening jpeg", [] { return opening(baseline_jpeg()); }},
        {"opening png", [png] { return opening(png); }},
        {"strip tiles", tiles},
        {"encode native", [] { return encoded(false); }},
        {"encode native optimized", [] { return pixels_of(encoded(true)); }},
    };
}

}  // namespace vorel::test
