// What applications call: pictures of any type in one call, rectangles, encodes, utilities.
#include <vorel/bindings.h>
#include <vorel/vorel.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <thread>

#include "soak.h"

namespace vorel::soak {
namespace {

constexpr uint32_t kBound = 1u << VOREL_IMAGE_JPEG | 1u << VOREL_IMAGE_PNG | 1u << VOREL_IMAGE_DNG;
constexpr int64_t kMostPixels = 1 << 21;

struct Free {
    void operator()(void *block) const { VORELBRIM_OsFree(block); }
};
using Block = std::unique_ptr<void, Free>;

void one_call(Work &work) {
    VrOptions options = {};
    options.sampleSize = 1, options.colorFormat = COLOR_RGBA8888, options.justBounds = 1;
    decodeByteArray(work.bytes.data(), work.size(), &options);
    work.digest.add(options.width * int64_t{65536} + options.height);
    options.justBounds = 0;
    options.sampleSize = work.random.side(8);
    while (int64_t{options.width} * options.height / options.sampleSize / options.sampleSize > kMostPixels)
        ++options.sampleSize;
    Block pixels;
    {
        const Cancellable cancel(work, [&options] { decodeCancel(&options); });
        pixels.reset(work.path.empty() ? decodeByteArray(work.bytes.data(), work.size(), &options)
                                       : decodeFile(work.path.c_str(), &options));
    }
    // Both are malloc's, but of the library's own allocations the soak keeps count.
    const std::unique_ptr<void, decltype(&std::free)> developed(options.fileType ? nullptr : pixels.get(), std::free);
    if (developed) pixels.release();
    const void *const first = developed ? developed.get() : pixels.get();
    const auto side = [&](int32_t of) { return static_cast<size_t>(of / options.sampleSize); };
    const bool counted = first && options.width > 0 && options.height > 0;
    work.digest.add(counted);
    if (counted) work.digest.add(first, 4 * side(options.width) * side(options.height));
}

// An open picture, over which two threads pan.
void region_handle(Work &work) {
    VrOptions options = {};
    options.sampleSize = 1, options.colorFormat = COLOR_RGBA8888;
    RegionHandle *const handle = work.path.empty() ? newInstanceByteArray(work.bytes.data(), work.size(), &options)
                                                   : newInstanceFile(work.path.c_str(), &options);
    work.digest.add(handle != nullptr);
    if (!handle) return;
    const int32_t width = getWidth(handle), height = getHeight(handle);
    const auto pan = [&](Random random, Digest *digest) {
        for (int step = 0; step < 3; ++step) {
            VrOptions wanted = {};
            wanted.sampleSize = random.side(4), wanted.colorFormat = COLOR_RGBA8888;
            const int32_t left = random.below(width) - 20, top = random.below(height) - 20;
            const int32_t right = left + 8 + random.below(300), bottom = top + 8 + random.below(300);
            Bytes out(size_t{4} * static_cast<size_t>((right - left) / wanted.sampleSize) *
                      static_cast<size_t>((bottom - top) / wanted.sampleSize));
            digest->add(decodeRegion2(handle, out.data(), left, right, top, bottom, &wanted), out);
        }
    };
    Digest digests[2];
    {
        const Cancellable cancel(work, [handle] { decodeRegionCancel(handle); });
        std::thread other(pan, Random(work.random.next()), &digests[0]);
        pan(Random(work.random.next()), &digests[1]);
        other.join();
    }
    for (const Digest &digest : digests) work.digest.add(static_cast<int64_t>(digest.value()));
    recycle(handle);
}

// Frames of the picture's bytes by every way of the encoder, and what comes of it read again.
void encode(Work &work) {
    constexpr int32_t kFormats[] = {COLOR_RGB565,   COLOR_RGB888,   COLOR_YUV420, COLOR_YUV422,
                                    COLOR_RGBA8888, COLOR_BGRA8888, COLOR_YUV440, COLOR_YUV444,
                                    COLOR_NV21,     COLOR_NV12,     COLOR_YUYV};
    const int32_t format = work.random.one_of(kFormats), width = work.random.side(300);
    const int32_t height = work.random.side(work.random.below(3) ? 300 : 1200), quality = work.random.side(100);
    if (work.bytes.empty()) return;
    Bytes frame(test::format_bytes(format, width, height) + static_cast<size_t>(4 * height));
    for (size_t i = 0, at = 0; i < frame.size(); ++i, at = at + 1 < work.bytes.size() ? at + 1 : 0)
        frame[i] = work.bytes[at];
    ExifInfo exif = {};
    exif.orientation = 6, exif.dateTime = 0, exif.hasThumbnail = 1;
    exif.thumbnailData = frame.data(), exif.thumbnailSize = static_cast<uint32_t>(std::min<size_t>(frame.size(), 3000));
    RawInfo raw = {};
    raw.width = static_cast<uint32_t>(width), raw.height = height, raw.pixels = frame.data();
    raw.format = static_cast<uint32_t>(format);
    raw.exif = work.random.below(2) ? &exif : nullptr;
    auto *stream = static_cast<uint8_t *>(VORELBRIM_OsMalloc(2048));
    stream[0] = 0;  // until there is one: that a task was queued does not say what came of it
    int32_t size = 2048, result = 0;
    const int32_t way = work.random.below(6);
    if (way < 3) {
        HuffmanSpec spec = {};
        spec.quality = static_cast<uint32_t>(quality);
        raw.progressive = way == 1, raw.optimizeHuffman = way == 2;
        auto bytes = static_cast<uint32_t>(size);
        result = rim_enc_jpeg_to_buffer_ex(&raw, &stream, &bytes, &spec);
        size = static_cast<int32_t>(bytes);
    } else if (way == 3) {
        result = VORELBRIM_PEncodeJpegToBuffer(&raw, &stream, &size, quality);
    } else if (way == 4) {
        result = encodeScaledJPEGToBuffer(frame.data(), width, height, work.random.side(200), work.random.side(200),
                                          format, &stream, &size, quality);
    } else {
        vorel_threadpool *const pool = initTask(2);
        int32_t other_size = 2048;
        auto *other = static_cast<uint8_t *>(VORELBRIM_OsMalloc(other_size));
        encodeJPEGToBufferAsync(frame.data(), width, height, format, &other, &other_size, quality, pool);
        result = encodeJPEGToBufferAsync(frame.data(), width, height, format, &stream, &size, quality, pool);
        waitTask(pool);
        if (result == 1 && size != other_size) std::abort();
        VORELBRIM_OsFree(other);
    }
    const Block owned(stream);
    work.digest.add(result);
    if (result != 1 || !stream || size < 4 || stream[0] != 0xFF) return;
    work.digest.add(stream, static_cast<size_t>(size));
    int32_t w = 0, h = 0;
    work.digest.add(VorelGetImageInfoFromBuffer(stream, 0, size, &w, &h));
    Bytes out(test::area(w, h) * 4);
    work.digest.add(VorelDecodeBuffer(stream, out.data(), size, COLOR_RGBA8888, 1), out);
}

// A frame through converters, resizers, a turn, on the pools that they start.
void utilities(Work &work) {
    const int32_t width = work.random.side(300), height = work.random.side(work.random.below(4) ? 300 : 1500);
    if (work.bytes.empty()) return;
    Bytes frame(test::format_bytes(COLOR_NV21, width, height)), rgba(test::area(width, height) * 4);
    for (size_t i = 0, at = 0; i < frame.size(); ++i, at = at + 1 < work.bytes.size() ? at + 1 : 0)
        frame[i] = work.bytes[at];
    const int32_t across = work.random.side(200), down = work.random.side(200);
    Bytes small(test::format_bytes(COLOR_NV21, across, down));
    vorel_resize_nv21_tps(frame.data(), small.data(), width, height, across, down);
    work.digest.add(1, small);
    _nv12_to_rgba8888_tps(width, height, frame.data(), rgba.data());
    work.digest.add(vorel_rotate(rgba.data(), width, height, COLOR_RGBA8888, 90), rgba);
    vorel_threadpool *const pool = vorel_threadpool_init(work.random.side(4));
    uint32_t sum = 0;
    const auto add = [](void *to) -> void * {
        __atomic_add_fetch(static_cast<uint32_t *>(to), 3, __ATOMIC_RELAXED);
        return nullptr;
    };
    for (int task = 0; pool && task < 20; ++task) vorel_threadpool_add_task(pool, add, &sum, 1);
    vorel_threadpool_free(pool, 1);
    work.digest.add(sum);
}

constexpr Job kJobs[] = {
    {"one call", kBound, one_call},
    {"region handle", kBound, region_handle},
    {"encode", kAnyType, encode},
    {"utilities", kAnyType, utilities},
};

}  // namespace

std::span<const Job> application_jobs() { return kJobs; }

}  // namespace vorel::soak
