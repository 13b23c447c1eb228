// Parsing, the raster formats, PNG, raw files.
#include <vorel/vorel.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "soak.h"

namespace vorel::soak {
namespace {

constexpr uint32_t bit(int32_t type) { return 1u << type; }

void parse(Work &work) {
    test::Input input(work.random.one_of(test::kAllKinds), work.bytes);
    if (!input.session()) return;
    ImageInfo info;
    work.digest.add(VORELBRIM_Parser(input.session(), &info));
    work.digest.add(&info, sizeof info);
    int32_t width = 0, height = 0;
    work.digest.add(VorelGetImageInfoFromBuffer(work.bytes.data(), 0, work.size(), &width, &height));
    if (!work.path.empty()) VorelGetImageInfoFromFile(work.path.c_str(), 0, 0, &width, &height);
    work.digest.add(width * int64_t{65536} + height);
}

// Handles are numbers of the process.
void handles(Work &work) {
    const int32_t handle = work.path.empty() || work.random.below(2)
                               ? VORELBRIM_OpenDecHandle(work.bytes.data(), work.size(), 1)
                               : VORELBRIM_OpenDecHandle(work.path.c_str(), 0, 0);
    work.digest.add(VORELBRIM_SetDecInfoFromHandle(handle, COLOR_RGBA8888));
    const DecInfo *const session = VORELBRIM_GetDecInfoFromHandle(handle);
    work.digest.add(session ? int64_t{session->imageWidth} : -1);
    work.digest.add(VORELBRIM_CloseDecHandle(handle));
}

// BMP, GIF and WBMP into targets of any shape; all pictures of an animation.
void raster(Work &work) {
    constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_BGRA8888, COLOR_RGB565, COLOR_RGB888};
    constexpr uint32_t kOptions[] = {0, 0x100, 0x200, 0x300, 0x700, 0x704, 0x10C};
    const int32_t format = work.random.one_of(kFormats);
    test::Input input(work.random.one_of(test::kAllKinds), work.bytes, format, work.random.one_of(kOptions));
    DecInfo *const session = input.session();
    ImageInfo info;
    const int32_t type = session ? VORELBRIM_Parser(session, &info) : 0;
    const int32_t width = work.random.side(400), height = work.random.side(400);
    Bytes out(test::format_bytes(format, width, height), 0x5A);
    const Cancellable cancel(work, [session] { __atomic_store_n(&session->abortFlag, 6u, __ATOMIC_RELAXED); });
    int32_t result = 1;
    switch (type) {
        case VOREL_IMAGE_BMP:
            result = VORELBRIMI_DecodeBMP(session, out.data(), width, height);
            break;
        case VOREL_IMAGE_WBMP:
            result = VORELBRIMI_DecodeWBMP(session, out.data(), width, height);
            break;
        case VOREL_IMAGE_GIF:
            result = VORELBRIMI_DecodeGIF(session, out.data(), width, height);
            break;
        case VOREL_IMAGE_ANIMATED_GIF:
            for (int frame = work.random.side(20); result == 1 && frame > 0; --frame)
                result = VORELBRIMI_DecodeAGIF(session, out.data(), width, height);
            VORELBRIMI_DeleteGIFInfo(session);
            break;
        default:
            return;
    }
    work.digest.add(result != 0, out);
}

// A whole PNG, and an index over which three threads pan.
void png(Work &work) {
    const bool by_path = !work.path.empty() && work.random.below(2);
    const void *const source = by_path ? static_cast<const void *>(work.path.c_str()) : work.bytes.data();
    const int32_t length = by_path ? 0 : work.size(), format = 7 + work.random.below(2);
    const vpng_read_callback read = by_path ? nullptr : vpng_read_fn;
    const int32_t width = work.random.side(300), height = work.random.side(300);
    Bytes out(test::format_bytes(format, width, height));
    work.digest.add(decodeVPNG(source, length, read, out.data(), width, height, work.random.below(4), format), out);
    vpng_tile_index *index = onBuildTileIndexVPNG(source, length, read, format);
    work.digest.add(index != nullptr);
    if (!index) return;
    const auto pan = [index, format](Random random, Digest *digest) {
        for (int step = 0; step < 4; ++step) {
            const int32_t x = random.below(index->width), y = random.below(index->height), sample = random.side(4);
            const int32_t w = random.side(std::min(index->width - x, 400)),
                          h = random.side(std::min(index->height - y, 400));
            Bytes pixels(test::format_bytes(format, w / sample, h / sample));
            uint8_t none;
            uint8_t *const to = pixels.empty() ? &none : pixels.data();
            digest->add(onDecodeVPNGSubset(index, to, x, y, w, h, sample), pixels);
        }
    };
    Digest digests[3];
    std::thread one(pan, Random(work.random.next()), &digests[0]), two(pan, Random(work.random.next()), &digests[1]);
    pan(Random(work.random.next()), &digests[2]);
    one.join();
    two.join();
    for (const Digest &digest : digests) work.digest.add(static_cast<int64_t>(digest.value()));
    vpng_destroy_read_struct(&index->png, &index->info, nullptr);
    VORELBRIM_OsFree(index);
}

bool small(const decInfo &info) { return info.width && uint64_t{info.width} * info.height < 1 << 23; }

void develop(Work &work) {
    decInfo info = {};
    info.acceptLossless = 1;
    if (parseDNGImageBuffer(work.bytes.data(), work.size(), &info) != 0 || !small(info)) return;
    decInfo record = {};
    record.acceptLossless = 1;
    record.noiseStrength = work.random.below(2);
    const auto side = [&](uint32_t all) { return work.random.below(static_cast<int32_t>(all)); };
    record.regionTop = side(info.height), record.regionLeft = side(info.width);
    record.regionBottom = record.regionTop + work.random.side(300);
    record.regionRight = record.regionLeft + work.random.side(300);
    record.width = static_cast<uint32_t>(record.regionRight - record.regionLeft);
    record.height = static_cast<uint32_t>(record.regionBottom - record.regionTop);
    const Cancellable cancel(work, [&record] { VDngCancelDecoding(&record); });
    Bytes out(size_t{4} * record.width * record.height);
    decodeDNGImageBuffer(work.bytes.data(), work.size(), out.data(), &record);
    work.digest.add(record.progress == 100, out);
}

void develop_reduced(Work &work) {
    decInfo info = {};
    if (parseDNGImageBuffer(work.bytes.data(), work.size(), &info) != 0 || !small(info)) return;
    VDngOptionWords options = {};
    options[VDNG_OPTION_FACTOR] = 2 + work.random.below(7);
    uint8_t *const pixels = VDngDecodeBuffer(work.bytes.data(), work.size(), 0, options);
    work.digest.add(options[VDNG_OPTION_WIDTH] * int64_t{65536} + options[VDNG_OPTION_HEIGHT]);
    const auto side = [&](int32_t whole) {
        const float reduced = static_cast<float>(whole) / static_cast<float>(options[VDNG_OPTION_FACTOR]);
        return static_cast<size_t>(std::max(std::lroundf(reduced), 1L));
    };
    if (pixels) work.digest.add(pixels, 4 * side(options[VDNG_OPTION_WIDTH]) * side(options[VDNG_OPTION_HEIGHT]));
    std::free(pixels);
    int32_t width = 0, height = 0;
    work.digest.add(parseDNGPreviewImageBuffer(work.bytes.data(), work.size(), &width, &height));
    if (width > 0 && height > 0 && int64_t{width} * height < 1 << 22) {
        Bytes out(size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height));
        decodeDNGPreviewImageBuffer(work.bytes.data(), work.size(), out.data(), width, height);
        work.digest.add(1, out);
    }
}

// An open file, over which two threads pan.
void develop_rectangles(Work &work) {
    decInfo handle = {};
    handle.acceptLossless = 1;
    if (parseDNGImageBuffer(work.bytes.data(), work.size(), &handle) != 0 || !small(handle)) return;
    const int32_t opened = parseDNGImageBuffer_for_RD(work.bytes.data(), work.size(), &handle);
    work.digest.add(opened);
    if (opened != 0) return;
    const auto pan = [&](Random random, Digest *digest) {
        for (int step = 0; step < 3; ++step) {
            decInfo record = handle;
            record.regionTop = random.below(static_cast<int32_t>(handle.height));
            record.regionLeft = random.below(static_cast<int32_t>(handle.width));
            record.regionBottom = record.regionTop + random.side(200);
            record.regionRight = record.regionLeft + random.side(200);
            record.width = static_cast<uint32_t>(record.regionRight - record.regionLeft);
            record.height = static_cast<uint32_t>(record.regionBottom - record.regionTop);
            Bytes out(size_t{4} * record.width * record.height);
            decodeDNGImageBuffer_for_RD(work.bytes.data(), work.size(), out.data(), &record);
            digest->add(record.progress == 100, out);
        }
    };
    Digest digests[2];
    {
        const Cancellable cancel(work, [&handle] { cancelDecoding_for_RD(&handle); });
        std::thread other(pan, Random(work.random.next()), &digests[0]);
        pan(Random(work.random.next()), &digests[1]);
        other.join();
    }
    for (const Digest &digest : digests) work.digest.add(static_cast<int64_t>(digest.value()));
    finalizeHandle(&handle);
}

void raw_metadata(Work &work) {
    CPVorelDngMetadata metadata;
    work.digest.add(parseMetadata(work.bytes.data(), work.size(), &metadata, nullptr, nullptr));
    work.digest.add(metadata.imageWidth);
    freeCPVorelDngMetadata(&metadata);
}

constexpr Job kJobs[] = {
    {"parse", kAnyType, parse},
    {"handles", kAnyType, handles},
    {"raster", bit(VOREL_IMAGE_BMP) | bit(VOREL_IMAGE_WBMP) | bit(VOREL_IMAGE_GIF) | bit(VOREL_IMAGE_ANIMATED_GIF),
     raster},
    {"png", bit(VOREL_IMAGE_PNG), png},
    {"develop", bit(VOREL_IMAGE_DNG), develop},
    {"develop reduced", bit(VOREL_IMAGE_DNG), develop_reduced},
    {"develop rectangles", bit(VOREL_IMAGE_DNG), develop_rectangles},
    {"raw metadata", bit(VOREL_IMAGE_DNG), raw_metadata},
};

}  // namespace

std::span<const Job> other_jobs() { return kJobs; }

}  // namespace vorel::soak
