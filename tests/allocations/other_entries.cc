// Raw files, the calls of applications, the utilities.
#include <vorel/bindings.h>
#include <vorel/dng_metadata.h>
#include <vorel/vorel.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "bindings/pictures.h"
#include "dng/driver/files.h"
#include "dng/support/lossless_jpeg.h"
#include "entries.h"
#include "png/images.h"

namespace vorel::test {
namespace {

constexpr int32_t kSide = 60;

using Develop = std::function<bool(const Bytes &file, decInfo *info, uint8_t *out)>;
Outcome developed_by(const Bytes &file, const Develop &develop) {
    Outcome out;
    out.output.resize(size_t{4} * kSide * kSide);
    decInfo info = {};
    info.acceptLossless = 1;
    info.width = kSide, info.height = kSide;
    counted([&] { out.done = develop(file, &info, out.output.data()); });
    return out;
}

bool whole(const Bytes &file, decInfo *info, uint8_t *out) {
    decodeDNGImageBuffer(file.data(), bytes_of(file), out, info);
    return info->progress == 100;
}
bool smoothed(const Bytes &file, decInfo *info, uint8_t *out) {
    info->noiseStrength = 1;
    return whole(file, info, out);
}
bool part(const Bytes &file, decInfo *info, uint8_t *out) {
    info->regionTop = 3, info->regionBottom = 3 + kSide, info->regionLeft = 5, info->regionRight = 5 + kSide;
    return whole(file, info, out);
}
bool reduced(const Bytes &file, decInfo *info, uint8_t *out) {
    return vorel_dng_develop_preview(file.data(), bytes_of(file), out, 20, 20, info) == 1;
}

Outcome taken_develop(const Bytes &file, const char *path, int32_t factor) {
    Outcome out;
    VDngOptionWords options = {};
    options[VDNG_OPTION_FACTOR] = factor;
    uint8_t *pixels = nullptr;
    counted([&] {
        pixels = path ? VDngDecodeFile(path, 0, options) : VDngDecodeBuffer(file.data(), bytes_of(file), 0, options);
    });
    out.done = pixels != nullptr;
    if (pixels) out.output = Bytes(pixels, pixels + 400);
    counted([&] { std::free(pixels); });
    return out;
}

Outcome stage(const Bytes &file, int32_t number) {
    Outcome out;
    decInfo info = {};
    info.acceptLossless = 1;
    VDngStage made = {};
    counted([&] { out.done = vorel_dng_stage(file.data(), bytes_of(file), number, &info, &made) == 1; });
    if (out.done) {
        const auto *const first = reinterpret_cast<const uint8_t *>(made.samples);
        out.output = Bytes(first, first + size_t{2} * static_cast<size_t>(made.width * made.height * made.planes));
    }
    counted([&] { std::free(made.samples); });
    return out;
}

// An open file, a rectangle of it, and another.
Outcome raw_rectangle(const Bytes &file) {
    Outcome out;
    decInfo handle = {};
    handle.acceptLossless = 1;
    const auto rectangle = [&](Bytes *to, int32_t top) {
        decInfo record = handle;
        record.regionTop = top, record.regionBottom = top + 30, record.regionLeft = 8, record.regionRight = 48;
        record.width = 40, record.height = 30;
        decodeDNGImageBuffer_for_RD(file.data(), bytes_of(file), to->data(), &record);
        return std::any_of(to->begin(), to->end(), [](uint8_t byte) { return byte != 0; });  // nothing else says it
    };
    out.output.resize(size_t{4} * 40 * 30);
    bool opened = false;
    counted([&] {
        opened = parseDNGImageBuffer_for_RD(file.data(), bytes_of(file), &handle) == 0;
        out.done = opened && rectangle(&out.output, 4);
    });
    if (opened) {
        out.again.resize(out.output.size());
        if (!rectangle(&out.again, 11)) out.again = {0};
    }
    counted([&] { finalizeHandle(&handle); });
    return out;
}

Outcome raw_instance(const char *path) {
    Outcome out;
    VDngRegionInstance *instance = nullptr;
    VDngOptionWords options = {};
    uint8_t *pixels = nullptr;
    counted([&] {
        const int64_t handle = DngNewInstanceFile(path, &instance);
        if (!instance) return;
        void *const decoder = reinterpret_cast<void *>(static_cast<intptr_t>(handle));
        pixels = DngDecodeRegion(2, 22, 3, 33, options, decoder, instance);
        DngRdDestroy(decoder, instance);
    });
    out.done = pixels != nullptr;
    if (pixels) out.output = Bytes(pixels, pixels + 4 * 20 * 30);
    counted([&] { std::free(pixels); });
    return out;
}

Outcome raw_metadata(const Bytes &file) {
    Outcome out;
    CPVorelDngMetadata metadata = {};
    counted([&] {
        out.done = parseMetadata(file.data(), bytes_of(file), &metadata, nullptr, nullptr) == 1;
        freeCPVorelDngMetadata(&metadata);
    });
    return out;
}

// ---- Calls of applications

Outcome one_call(const Bytes &file, const char *path, bool raw) {
    Outcome out;
    VrOptions options = options_for(2);
    void *pixels = nullptr;
    counted(
        [&] { pixels = path ? decodeFile(path, &options) : decodeByteArray(file.data(), bytes_of(file), &options); });
    out.done = pixels != nullptr;
    if (pixels) out.output = Bytes(static_cast<uint8_t *>(pixels), static_cast<uint8_t *>(pixels) + 400);
    counted([&] { raw ? std::free(pixels) : VORELBRIM_OsFree(pixels); });
    return out;
}

// A rectangle that hangs over its picture, and another.
Outcome region_handle(const Bytes &file, const char *path) {
    Outcome out;
    VrOptions options = options_for(1);
    RegionHandle *handle = nullptr;
    out.output.resize(size_t{4} * 40 * 30);
    counted([&] {
        handle = path ? newInstanceFile(path, &options) : newInstanceByteArray(file.data(), bytes_of(file), &options);
        out.done = handle && decodeRegion2(handle, out.output.data(), -10, 30, 5, 35, &options) == 1;
    });
    if (handle) {
        out.again.resize(out.output.size());
        if (decodeRegion2(handle, out.again.data(), 10, 50, 7, 37, &options) != 1) out.again = {0};
        counted([&] { recycle(handle); });
    }
    return out;
}

// ---- Utilities, which write nothing without memory

Outcome frame_work(size_t bytes, const std::function<void(const uint8_t *in, uint8_t *out)> &work) {
    Outcome out;
    const Bytes in = picture_rgba(160, 1100), before(bytes, 0x5A);
    out.output = before;
    counted([&] { work(in.data(), out.output.data()); });
    out.done = out.output != before;
    return out;
}

Outcome pool_work() {
    Outcome out;
    uint32_t sum = 0;
    counted([&] {
        vorel_threadpool *const pool = vorel_threadpool_init(3);
        if (!pool) return;
        const auto add = [](void *to) -> void * {
            __atomic_add_fetch(static_cast<uint32_t *>(to), 1, __ATOMIC_RELAXED);
            return nullptr;
        };
        int32_t queued = 0;
        for (int task = 0; task < 10; ++task) queued += vorel_threadpool_add_task(pool, add, &sum, 1) == 1;
        vorel_threadpool_free(pool, 1);
        out.done = queued == 10 && sum == 10;
    });
    return out;
}

Bytes lossless_file() {
    DngBuilder builder = develop_file("pattern 0112").builder;
    DngImage &image = builder.first;
    LosslessStream stream;
    stream.width = static_cast<int>(image.width), stream.height = static_cast<int>(image.height), stream.precision = 12;
    stream.samples.assign(image.samples.begin(), image.samples.end());
    image.tiles = {stream.encode()};
    image.compression = 7;
    return builder.build();
}

}  // namespace

std::vector<Entry> other_entries() {
    std::vector<Entry> entries;
    const auto add = [&](const std::string &name, std::function<Outcome()> run) {
        entries.push_back({name, std::move(run)});
    };
    const std::pair<std::string, Bytes> files[] = {
        {"mosaic", develop_file("pattern 0112").builder.build()},
        {"opcodes", develop_file("opcodes").builder.build()},
        {"longs", develop_file("linear longs, developed as floats").builder.build()},
        {"cells", develop_file("6 x 6 cells").builder.build()},
        {"lossless", lossless_file()},
    };
    for (const auto &[name, file] : files) {
        for (const auto &[way, develop] : {std::pair<std::string, Develop>{"whole", whole},
                                           {"smoothed", smoothed},
                                           {"part", part},
                                           {"preview", reduced}})
            add("raw " + name + " " + way, [file = file, develop = develop] { return developed_by(file, develop); });
        add("raw " + name + " rectangle", [file = file] { return raw_rectangle(file); });
    }
    const Bytes raw = dng_of(64, 50), jpeg = progressive_jpeg(),
                png = make_png({.width = 60, .height = 300, .colour_type = 6});
    const auto raw_path = std::make_shared<TempFile>(raw), jpeg_path = std::make_shared<TempFile>(jpeg),
               png_path = std::make_shared<TempFile>(png);
    add("raw taken", [raw] { return taken_develop(raw, nullptr, 1); });
    add("raw taken reduced", [raw] { return taken_develop(raw, nullptr, 3); });
    add("raw taken of a file", [raw, raw_path] { return taken_develop(raw, raw_path->path(), 2); });
    for (int32_t number = 1; number <= 3; ++number)
        add("raw stage " + std::to_string(number), [raw, number] { return stage(raw, number); });
    add("raw instance", [raw_path] { return raw_instance(raw_path->path()); });
    add("raw metadata", [raw] { return raw_metadata(raw); });
    for (const bool file : {false, true}) {
        const std::string from = file ? " of a file" : "";
        add("one call jpeg" + from, [=] { return one_call(jpeg, file ? jpeg_path->path() : nullptr, false); });
        add("one call png" + from, [=] { return one_call(png, file ? png_path->path() : nullptr, false); });
        add("one call raw" + from, [=] { return one_call(raw, file ? raw_path->path() : nullptr, true); });
        add("region handle jpeg" + from, [=] { return region_handle(jpeg, file ? jpeg_path->path() : nullptr); });
        add("region handle png" + from, [=] { return region_handle(png, file ? png_path->path() : nullptr); });
        add("region handle raw" + from, [=] { return region_handle(raw, file ? raw_path->path() : nullptr); });
    }
    add("resize by threads", [] {
        return frame_work(format_bytes(COLOR_NV21, 61, 77),
                          [](const uint8_t *in, uint8_t *out) { vorel_resize_nv21_tps(in, out, 160, 1100, 61, 77); });
    });
    add("resize", [] {
        return frame_work(format_bytes(COLOR_YUV420, 61, 77),
                          [](const uint8_t *in, uint8_t *out) { vorel_resize_yuv420_sg(in, out, 160, 1100, 61, 77); });
    });
    add("turn", [] {
        return frame_work(size_t{4} * 160 * 100, [](const uint8_t *in, uint8_t *out) {
            std::copy(in, in + 4 * 160 * 100, out);
            // Turned, or as it was.
            if (vorel_rotate(out, 160, 100, COLOR_RGBA8888, 90) != 1)
                std::fill(out, out + 4 * 160 * 100, uint8_t{0x5A});
        });
    });
    add("pool", pool_work);
    return entries;
}

}  // namespace vorel::test
