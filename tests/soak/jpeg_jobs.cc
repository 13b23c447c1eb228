// JPEG: whole, windows, in pieces, from checkpoints, on threads, rectangles by a map.
#include <vorel/vorel.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "soak.h"

namespace vorel::soak {
namespace {

constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGB565, COLOR_BGRA8888, COLOR_YUV420, COLOR_NV21, COLOR_NV12,
                                COLOR_YUV422,   COLOR_YUV440, COLOR_YUV444,   COLOR_YUYV,   COLOR_GRAY};
constexpr Kind kKinds[] = {Kind::kMemory, Kind::kMemory, Kind::kPath, Kind::kStream, Kind::kStdio, Kind::kOwnedMemory};
constexpr int64_t kMostPixels = 1 << 21;  // of an output

struct Target {
    int32_t format, width, height;
    Bytes buffer() const { return Bytes(test::format_bytes(format, width, height), 0x5A); }
};

// A size at or below the picture's.
Target choose(Work &work, DecInfo *session) {
    ImageInfo info;
    Target target = {work.random.one_of(kFormats), 0, 0};
    if (!session || VORELBRIM_Parser(session, &info) != VOREL_IMAGE_JPEG) return target;
    int32_t divisor = 1 + work.random.below(4) * work.random.below(4);
    while (int64_t{info.width} * info.height / divisor / divisor > kMostPixels) ++divisor;
    target.width = std::max(1, static_cast<int32_t>(info.width) / divisor);
    target.height = std::max(1, static_cast<int32_t>(info.height) / divisor);
    session->outColorFormat = target.format;
    return target;
}

Cancellable cancellable(const Work &work, DecInfo *session) {
    return {work, [session] { VrDecodeCancel(session); }};
}

void whole(Work &work) {
    constexpr uint32_t kOptions[] = {0, 0x100, 0x200, 0x300, 0x700, 0x4, 0x708, 0x30C, 0x1000, 0x2000};
    test::Input input(work.random.one_of(kKinds), work.bytes, 0, work.random.one_of(kOptions));
    DecInfo *const session = input.session();
    const Target target = choose(work, session);
    if (!target.width) return;
    const auto cancel = cancellable(work, session);
    Bytes out = target.buffer();
    constexpr decltype(&VORELBRIM_DecodeJPEG) kDecoders[] = {
        VORELBRIM_DecodeJPEG,
        [](DecInfo *s, void *o, int32_t w, int32_t h) { return VORELBRIM_PDecodeJPEG(s, o, w, h, 1); },
        [](DecInfo *s, void *o, int32_t w, int32_t h) { return VORELBRIM_PDecodeJPEG_RST(s, o, w, h, 1); },
        [](DecInfo *s, void *o, int32_t w, int32_t h) { return VORELBRIM_PDecodeJPEG_No_RST(s, o, w, h, 1); }};
    work.digest.add(work.random.one_of(kDecoders)(session, out.data(), target.width, target.height), out);
}

void window(Work &work) {
    test::Input input(work.random.one_of(kKinds), work.bytes, 0, VOREL_OPTION_FIT_STRETCH);
    DecInfo *const session = input.session();
    Target target = choose(work, session);
    if (!target.width) return;
    session->outColorFormat = target.format = COLOR_RGBA8888;
    const int32_t x = work.random.below(target.width), y = work.random.below(target.height);
    const int32_t w = work.random.side(target.width - x), h = work.random.side(target.height - y);
    test::set_window(session, static_cast<uint32_t>(x), static_cast<uint32_t>(y), static_cast<uint32_t>(w),
                     static_cast<uint32_t>(h));
    Bytes out(size_t{4} * static_cast<size_t>(w) * static_cast<size_t>(h));
    work.digest.add(VORELBRIM_DecodeJPEG(session, out.data(), target.width, target.height), out);
}

// Rows a few at a time; some decodes are left early.
void pieces(Work &work) {
    test::Input input(work.random.one_of(kKinds), work.bytes);
    DecInfo *const session = input.session();
    const Target target = choose(work, session);
    if (!target.width) return;
    const auto cancel = cancellable(work, session);
    const int32_t rows = 2 * work.random.side(40), calls = work.random.below(3) ? INT32_MAX : work.random.below(6);
    const bool strips = work.random.below(2);
    Bytes out = strips ? Target{target.format, target.width, rows + 4}.buffer() : target.buffer();
    int32_t result = 4;
    while (result == 4) result = VORELBRIM_PrepareJPEGIter(session, target.width, target.height);
    work.digest.add(result);
    if (result == 1) result = 4;
    for (int32_t call = 0; result == 4 && call < calls; ++call) {
        const auto decode = strips ? VORELBRIM_DecodeJPEGIter4LTN : VORELBRIM_DecodeJPEGIter;
        result = decode(session, out.data(), target.width, target.height, VOREL_ITERATE, rows);
        if (strips && result != 0) work.digest.add(1, out);
    }
    work.digest.add(result, out);
    VORELBRIM_AbortJPEGIter(session);
}

// Checkpoints of one decode, and strips from each of them in another session, one after another or side by side.
void checkpoints(Work &work) {
    Bytes blob;
    Target target;
    {
        test::Input input(work.random.one_of(kKinds), work.bytes);
        DecInfo *const session = input.session();
        target = choose(work, session);
        if (!target.width) return;
        session->outColorFormat = target.format = work.random.below(2) ? COLOR_RGBA8888 : COLOR_NV12;
        session->midpointCount = work.random.side(4);
        Bytes out = target.buffer();
        work.digest.add(VORELBRIM_DecodeJPEG(session, out.data(), target.width, target.height), out);
        blob.resize(static_cast<size_t>(vorel_write_midpoints(session, nullptr, 0)));
        vorel_write_midpoints(session, blob.data(), static_cast<int32_t>(blob.size()));
    }
    work.digest.add(blob.data(), blob.size());
    test::Input input(Kind::kMemory, work.bytes, target.format);
    DecInfo *const session = input.session();
    if (!vorel_read_midpoints(session, blob.data(), static_cast<int32_t>(blob.size()))) return;
    int32_t result = 4;
    while (result == 4) result = VORELBRIM_PrepareJPEGIter(session, target.width, target.height);
    const int32_t rows = 2 * work.random.side(40);
    std::vector<Digest> digests(static_cast<size_t>(std::max(session->midpointCount, 1)));
    const auto strips = [&](size_t number) {
        Bytes out = Target{target.format, target.width, rows + 4}.buffer();
        for (int32_t more = 4; more == 4;) {
            more = VORELBRIM_DecodeJPEGMidpIter4LTN(session, out.data(), target.width, target.height, VOREL_ITERATE,
                                                    static_cast<int32_t>(number), rows);
            digests[number - 1].add(more, more == 4 ? out : Bytes());
        }
    };
    if (result == 1) {
        std::vector<std::thread> threads;
        for (size_t number = 2; number <= digests.size(); ++number) threads.emplace_back(strips, number);
        for (std::thread &thread : threads) thread.join();
        strips(1);
    }
    for (const Digest &digest : digests) work.digest.add(static_cast<int64_t>(digest.value()));
    VORELBRIM_AbortJPEGIter(session);
}

// A map, and three threads that pan.
void rectangles(Work &work) {
    constexpr Kind kOpened[] = {Kind::kMemory, Kind::kPath};
    test::Input input(work.random.one_of(kOpened), work.bytes, COLOR_RGBA8888, VOREL_OPTION_REGION);
    DecInfo *const session = input.session();
    if (!session) return;
    const auto cancel = cancellable(work, session);
    const int32_t map = VORELBRIM_ScanHuffmanInfo(session);
    work.digest.add(map);
    const auto width = static_cast<int32_t>(session->imageWidth), height = static_cast<int32_t>(session->imageHeight);
    const auto pan = [&](Random random, Digest *digest) {
        const int32_t sample = 1 << random.below(5), w = random.side(300), h = random.side(300);
        int32_t x = random.below(width / sample), y = random.below(height / sample);
        Bytes out(size_t{4} * static_cast<size_t>(w) * static_cast<size_t>(h));
        for (int step = 0; step < 4; ++step, x += w / 3, y += h / 5) {
            const auto decode = random.below(3) ? VORELBRIM_DecodeRegion : VORELBRIM_PDecodeRegion;
            std::fill(out.begin(), out.end(), uint8_t{0});
            digest->add(decode(session, out.data(), 1, 1, x, y, w, h, sample), out);
        }
    };
    Digest digests[3];
    if (map) {
        std::thread one(pan, Random(work.random.next()), &digests[0]),
            two(pan, Random(work.random.next()), &digests[1]);
        pan(Random(work.random.next()), &digests[2]);
        one.join();
        two.join();
        Bytes out(size_t{4} * 200 * 200);
        VORELBRIM_P2DecodeRegion(session, out.data(), 1, 1, 0, 0, 200, 200, 1);
        work.digest.add(1, out);
    }
    for (const Digest &digest : digests) work.digest.add(static_cast<int64_t>(digest.value()));
    VORELBRIM_DestroyJpegInfo(session);
}

// The camera data, and the thumbnail with it.
void exif(Work &work) {
    test::Input input(work.random.one_of(kKinds), work.bytes);
    if (!input.session()) return;
    uint32_t length = 0;
    uint8_t *const block = vorel_exif_block(input.session(), &length);
    work.digest.add(length);
    if (block) work.digest.add(block, length);
    ExifInfo *const record = BRIMJ_CreatExifInfo(input.session());
    work.digest.add(record ? record->orientation : 99);
    if (record) BRIMJ_DestroyExifInfo(record);
    VORELBRIM_OsFree(block);
}

constexpr uint32_t kJpeg = 1u << VOREL_IMAGE_JPEG;
constexpr Job kJobs[] = {
    {"jpeg whole", kJpeg, whole},           {"jpeg window", kJpeg, window},
    {"jpeg pieces", kJpeg, pieces},         {"jpeg checkpoints", kJpeg, checkpoints},
    {"jpeg rectangles", kJpeg, rectangles}, {"exif", kJpeg, exif},
};

}  // namespace

std::span<const Job> jpeg_jobs() { return kJobs; }

}  // namespace vorel::soak
