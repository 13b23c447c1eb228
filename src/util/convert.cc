// Colour converters over whole frames: bands of rows by one driver, and an entry for each name.
#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "util/caches.h"
#include "util/frames.h"
#include "util/kernels/kernels.h"
#include "util/task_group.h"

namespace vorel {
namespace {

using Task = void *(*)(void *);

constexpr int32_t kBandRows = 32;
constexpr int32_t kThreadedHeight = 1200;
constexpr int64_t kThreadedPixels = 0x400000;
constexpr uint64_t kStreamedAlone = uint64_t{32} << 20;

// What one family of names converts.
struct Conversion {
    Chroma chroma;
    RgbFormat rgb;
    bool to_yuv;
    Task task;  // a band of it

    int32_t pixel_bytes() const { return rgb == RgbFormat::kRgb ? 3 : 4; }
};

// The planes of a frame, or of a band of it. The side that is read is not written.
struct Planes {
    uint8_t *rgb, *y, *first, *second;
};

Planes planes_from(const Conversion &conversion, const Planes &planes, int32_t width, int64_t row) {
    const int64_t chroma_row = (int64_t{width} + 1) / 2 * (conversion.chroma == Chroma::kPlanar ? 1 : 2);
    return {planes.rgb + row * width * conversion.pixel_bytes(), planes.y + row * width,
            planes.first + row / 2 * chroma_row, planes.second ? planes.second + row / 2 * chroma_row : nullptr};
}

// Rows by pairs; the first one is even. streamed: as in RgbaRows.
void convert_rows(const Conversion &conversion, const Planes &planes, int32_t width, int32_t rows,
                  bool streamed = false) {
    const UtilKernels &kernels = util_kernels();
    const auto from_yuv = kernels.yuv_to_rgb[static_cast<int>(conversion.chroma)][static_cast<int>(conversion.rgb)];
    const auto to_yuv = kernels.rgba_to_yuv[static_cast<int>(conversion.chroma)];
    for (int32_t row = 0; row < rows; row += 2) {
        const Planes at = planes_from(conversion, planes, width, row);
        const bool paired = row + 1 < rows;
        uint8_t *next_y = paired ? at.y + width : nullptr;
        uint8_t *next_rgb = paired ? at.rgb + int64_t{width} * conversion.pixel_bytes() : nullptr;
        if (conversion.to_yuv) {
            to_yuv({{at.rgb, next_rgb}, width, {at.y, next_y}, at.first, at.second, streamed});
        } else {
            from_yuv({{at.y, next_y}, at.first, at.second, width, {at.rgb, next_rgb}});
        }
    }
}

void *convert_band(const Conversion &conversion, const void *argument) {
    const auto *band = static_cast<const ConvertBand *>(argument);
    const bool planar = conversion.chroma == Chroma::kPlanar;
    const auto is_null = [](uint8_t *const *word) { return !word || !*word; };
    if (!band || band->width <= 0 || is_null(band->rgbaRows) || is_null(band->planes.y) ||
        is_null(band->planes.firstChroma) || (planar && is_null(band->planes.secondChroma)))
        return nullptr;
    convert_rows(
        conversion,
        {*band->rgbaRows, *band->planes.y, *band->planes.firstChroma, planar ? *band->planes.secondChroma : nullptr},
        band->width, band->rows);
    return nullptr;
}

struct Frame {
    int32_t width, height;
    Planes planes;
};

bool is_whole(const Conversion &conversion, const Frame &frame) {
    return frame.planes.rgb && frame.planes.y && frame.planes.first &&
           (conversion.chroma != Chroma::kPlanar || frame.planes.second) &&
           packed_frame_fits(frame.width, frame.height, static_cast<uint32_t>(conversion.pixel_bytes())) &&
           yuv420_frame_fits(frame.width, frame.height);
}

// What a conversion reads and writes.
uint64_t moved_bytes(const Conversion &conversion, const Frame &frame) {
    const Yuv420 layout(frame.width, frame.height);
    return layout.bytes() + layout.luma * static_cast<uint64_t>(conversion.pixel_bytes());
}

// Results that do not fit the last-level cache beside their frame are written past it.
bool streams_luma(const Conversion &conversion, const Frame &frame) {
    constexpr uintptr_t kBlock = 16;
    return conversion.to_yuv && moved_bytes(conversion, frame) > last_level_cache_bytes() &&
           static_cast<uint32_t>(frame.width) % kBlock == 0 &&
           reinterpret_cast<uintptr_t>(frame.planes.y) % kBlock == 0;
}

void convert_single(const Conversion &conversion, const Frame &frame) {
    if (!is_whole(conversion, frame)) return;
    const bool streamed = streams_luma(conversion, frame);
    convert_rows(conversion, frame.planes, frame.width, frame.height, streamed);
    if (streamed) end_stream();
}

// A band with the words that its cursors point at.
struct BandRecord {
    ConvertBand band;
    Planes words;
};

void convert_threaded(const Conversion &conversion, const Frame &frame) {
    if (!is_whole(conversion, frame)) return;
    if (!pays_for_threads(moved_bytes(conversion, frame))) return convert_single(conversion, frame);
    // Half a band more goes to the last one, or it becomes a band of its own.
    const int32_t whole = static_cast<int32_t>((int64_t{frame.height} + kBandRows / 2) / kBandRows);
    const int32_t bands = whole < 1 ? 1 : whole;
    OsBlock block(os_allocate_array<BandRecord>(static_cast<uint64_t>(bands)));
    auto *records = block.as<BandRecord>();
    if (!records) return convert_single(conversion, frame);
    TaskGroup group(kFrameThreads);
    for (int32_t i = 0; i < bands; ++i) {
        BandRecord &record = records[i];
        const int32_t top = i * kBandRows;
        record.words = planes_from(conversion, frame.planes, frame.width, top);
        record.band = {frame.width,
                       i + 1 < bands ? kBandRows : frame.height - top,
                       &record.words.rgb,
                       {&record.words.y, &record.words.first, &record.words.second, nullptr}};
        group.add(conversion.task, &record.band);
    }
    group.wait();
}

// Which of a family's two ways.
enum class Way : uint8_t { kSingle, kThreaded, kChosen };

void convert(const Conversion &conversion, Way way, const Frame &frame) {
    const bool threaded = way == Way::kThreaded || (way == Way::kChosen && frame.height >= kThreadedHeight);
    threaded ? convert_threaded(conversion, frame) : convert_single(conversion, frame);
}

uint8_t *writable(const uint8_t *bytes) { return const_cast<uint8_t *>(bytes); }

// A frame whose planes stand behind one another.
Frame frame_of(const Conversion &conversion, int32_t width, int32_t height, uint8_t *rgb, uint8_t *yuv) {
    Frame frame = {width, height, {rgb, yuv, nullptr, nullptr}};
    if (!yuv || !yuv420_frame_fits(width, height)) return frame;
    const Yuv420 layout(width, height);
    frame.planes.first = yuv + layout.luma;
    if (conversion.chroma == Chroma::kPlanar) frame.planes.second = frame.planes.first + layout.chroma_plane;
    return frame;
}
void to_rgb(const Conversion &conversion, Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    convert(conversion, way, frame_of(conversion, width, height, dst, writable(src)));
}
void to_yuv(const Conversion &conversion, Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    convert(conversion, way, frame_of(conversion, width, height, writable(src), dst));
}
void apart_to_rgb(const Conversion &conversion, Way way, int32_t width, int32_t height, const uint8_t *y,
                  const uint8_t *uv, uint8_t *dst) {
    convert(conversion, way, {width, height, {dst, writable(y), writable(uv), nullptr}});
}

constexpr Conversion kNv12ToRgba = {Chroma::kUv, RgbFormat::kRgba, false, _nv12_to_rgba8888_tp};
constexpr Conversion kNv12ToBgra = {Chroma::kUv, RgbFormat::kBgra, false, _nv12_to_bgra8888_tp};
constexpr Conversion kNv12ToRgb = {Chroma::kUv, RgbFormat::kRgb, false, _nv12_to_rgb888_tp};
constexpr Conversion kNv21ToRgba = {Chroma::kVu, RgbFormat::kRgba, false, _nv21_to_rgba8888_tp};
constexpr Conversion kNv21ToBgra = {Chroma::kVu, RgbFormat::kBgra, false, _nv21_to_bgra8888_tp};
constexpr Conversion kNv21ToRgb = {Chroma::kVu, RgbFormat::kRgb, false, _nv21_to_rgb888_tp};
constexpr Conversion kYuv420ToRgba = {Chroma::kPlanar, RgbFormat::kRgba, false, _yuv420_to_rgba8888_tp};
constexpr Conversion kYuv420ToBgra = {Chroma::kPlanar, RgbFormat::kBgra, false, _yuv420_to_bgra8888_tp};
constexpr Conversion kRgbaToNv12 = {Chroma::kUv, RgbFormat::kRgba, true, _rgba8888_to_nv12_tp};
constexpr Conversion kRgbaToNv21 = {Chroma::kVu, RgbFormat::kRgba, true, _rgba8888_to_nv21_tp};
constexpr Conversion kRgbaToYuv420 = {Chroma::kPlanar, RgbFormat::kRgba, true, nullptr};

}  // namespace
}  // namespace vorel

using namespace vorel;

// The entries of a family: the chosen, the single and the threaded way, and the task of a band.
#define VOREL_CONVERTER_WAYS(NAME, CALL, CONVERSION)                                      \
    void NAME(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {          \
        CALL(CONVERSION, Way::kChosen, width, height, src, dst);                          \
    }                                                                                     \
    void _##NAME##_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {  \
        CALL(CONVERSION, Way::kSingle, width, height, src, dst);                          \
    }                                                                                     \
    void _##NAME##_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) { \
        CALL(CONVERSION, Way::kThreaded, width, height, src, dst);                        \
    }
#define VOREL_CONVERTER(NAME, CALL, CONVERSION)  \
    VOREL_CONVERTER_WAYS(NAME, CALL, CONVERSION) \
    void *_##NAME##_tp(void *convertBand) { return convert_band(CONVERSION, convertBand); }

VOREL_CONVERTER(nv12_to_rgba8888, to_rgb, kNv12ToRgba)
VOREL_CONVERTER(nv12_to_bgra8888, to_rgb, kNv12ToBgra)
VOREL_CONVERTER(nv12_to_rgb888, to_rgb, kNv12ToRgb)
VOREL_CONVERTER(nv21_to_rgba8888, to_rgb, kNv21ToRgba)
VOREL_CONVERTER(nv21_to_bgra8888, to_rgb, kNv21ToBgra)
VOREL_CONVERTER(nv21_to_rgb888, to_rgb, kNv21ToRgb)
VOREL_CONVERTER(yuv420_to_rgba8888, to_rgb, kYuv420ToRgba)
VOREL_CONVERTER(yuv420_to_bgra8888, to_rgb, kYuv420ToBgra)
VOREL_CONVERTER(rgba8888_to_nv12, to_yuv, kRgbaToNv12)
VOREL_CONVERTER(rgba8888_to_nv21, to_yuv, kRgbaToNv21)

#define VOREL_CONVERTER_APART(NAME, CONVERSION)                                                            \
    void NAME(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv, uint8_t *dst) {          \
        apart_to_rgb(CONVERSION, Way::kChosen, width, height, y, uv, dst);                                 \
    }                                                                                                      \
    void _##NAME##_sg(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv, uint8_t *dst) {  \
        apart_to_rgb(CONVERSION, Way::kSingle, width, height, y, uv, dst);                                 \
    }                                                                                                      \
    void _##NAME##_tps(int32_t width, int32_t height, const uint8_t *y, const uint8_t *uv, uint8_t *dst) { \
        apart_to_rgb(CONVERSION, Way::kThreaded, width, height, y, uv, dst);                               \
    }

VOREL_CONVERTER_APART(y_uv_nv12_to_rgba8888, kNv12ToRgba)
VOREL_CONVERTER_APART(y_uv_nv21_to_rgba8888, kNv21ToRgba)

void rgba8888_to_yuv420(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    to_yuv(kRgbaToYuv420, Way::kSingle, width, height, src, dst);
}
void _rgba8888_to_yuv420_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    to_yuv(kRgbaToYuv420, Way::kSingle, width, height, src, dst);
}

namespace vorel {
namespace {

// Chroma moved between planes and pairs: a part of it, as a task.
struct PairJob {
    const uint8_t *first, *second;  // second null: pairs to be swapped
    uint8_t *dst;
    size_t count;         // pairs
    const uint8_t *luma;  // copied to luma_out, unless null or in its place
    uint8_t *luma_out;
    size_t luma_bytes;
    bool streamed;  // the result past the caches; of two planes
};

// Pairs are made in memory that stays in the first-level cache, and streamed from there.
void stream_pairs(const UtilKernels &kernels, const PairJob &job) {
    constexpr size_t kPart = 2048;
    alignas(64) uint8_t pairs[2 * kPart];
    for (size_t i = 0; i < job.count; i += kPart) {
        const size_t count = std::min(kPart, job.count - i);
        kernels.interleave(job.first + i, job.second + i, static_cast<int32_t>(count), pairs);
        kernels.stream_copy(pairs, 2 * count, job.dst + 2 * i);
    }
    end_stream();
}

void *move_pairs(void *argument) {
    const auto *job = static_cast<const PairJob *>(argument);
    const UtilKernels &kernels = util_kernels();
    const auto copy = job->streamed ? kernels.stream_copy : scalar_util_kernels().stream_copy;
    if (job->luma && job->luma != job->luma_out) copy(job->luma, job->luma_bytes, job->luma_out);
    if (job->streamed) {
        stream_pairs(kernels, *job);
        return nullptr;
    }
    // By parts that 32 bits count.
    constexpr size_t kPart = size_t{1} << 24;
    for (size_t i = 0; i < job->count; i += kPart) {
        const int32_t count = static_cast<int32_t>(std::min(kPart, job->count - i));
        if (job->second) {
            kernels.interleave(job->first + i, job->second + i, count, job->dst + 2 * i);
        } else {
            kernels.swap_pairs(job->first + 2 * i, count, job->dst + 2 * i);
        }
    }
    return nullptr;
}

// Parts of the frame: whole chroma rows of every plane, and two luma rows for each.
void move_threaded(const PairJob &whole, int32_t width, int32_t height) {
    const Yuv420 layout(width, height);
    constexpr int32_t kPartRows = 16;
    const int32_t parts = (layout.chroma_height + kPartRows - 1) / kPartRows;
    OsBlock block(os_allocate_array<PairJob>(static_cast<uint64_t>(parts)));
    auto *jobs = block.as<PairJob>();
    if (!jobs) {
        PairJob all = whole;
        move_pairs(&all);
        return;
    }
    TaskGroup group(kFrameThreads);
    for (int32_t i = 0; i < parts; ++i) {
        const int32_t top = i * kPartRows;
        const int32_t bottom = i + 1 < parts ? top + kPartRows : layout.chroma_height;
        const size_t samples = static_cast<size_t>(top) * static_cast<size_t>(layout.chroma_width);
        const size_t luma = size_t{2} * static_cast<size_t>(top) * static_cast<size_t>(width);
        const size_t luma_end =
            i + 1 < parts ? size_t{2} * static_cast<size_t>(bottom) * static_cast<size_t>(width) : layout.luma;
        jobs[i] = whole;
        jobs[i].first += whole.second ? samples : 2 * samples;
        if (whole.second) jobs[i].second += samples;
        jobs[i].dst += 2 * samples;
        jobs[i].count = static_cast<size_t>(bottom - top) * static_cast<size_t>(layout.chroma_width);
        if (whole.luma) {
            jobs[i].luma += luma;
            jobs[i].luma_out += luma;
            jobs[i].luma_bytes = luma_end - luma;
        }
        group.add(move_pairs, &jobs[i]);
    }
    group.wait();
}

void move_chroma(Way way, int32_t width, int32_t height, PairJob job) {
    job.count = Yuv420(width, height).chroma_plane;
    const bool many = int64_t{width} * height > kThreadedPixels;
    const uint64_t moved = 2 * (uint64_t{2} * job.count + (job.luma ? job.luma_bytes : 0));
    job.streamed = job.second && moved > last_level_cache_bytes();
    // Past the caches a millisecond moves two to three times as much, and one thread nearly what two do.
    const uint64_t worth = job.streamed ? moved / 3 : moved;
    if ((way == Way::kThreaded || (way == Way::kChosen && many)) && pays_for_threads(worth)) {
        move_threaded(job, width, height);
    } else {
        // One thread gains by it where a larger cache would do, too.
        job.streamed |= job.second && moved > kStreamedAlone;
        move_pairs(&job);
    }
}

// Y stays as the caller has it.
void swap_frame(Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    if (!src || !dst || !yuv420_frame_fits(width, height)) return;
    const size_t luma = Yuv420(width, height).luma;
    move_chroma(way, width, height, {src + luma, nullptr, dst + luma, 0, nullptr, nullptr, 0, false});
}

void interleave_frame(Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst, bool v_first) {
    if (!src || !dst || !yuv420_frame_fits(width, height)) return;
    const Yuv420 layout(width, height);
    const uint8_t *u = src + layout.luma, *v = u + layout.chroma_plane;
    move_chroma(way, width, height,
                {v_first ? v : u, v_first ? u : v, dst + layout.luma, 0, src, dst, layout.luma, false});
}
void planar_to_nv12(Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    interleave_frame(way, width, height, src, dst, false);
}
void planar_to_nv21(Way way, int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {
    interleave_frame(way, width, height, src, dst, true);
}

}  // namespace
}  // namespace vorel

#define VOREL_CHROMA_MOVER(NAME, CALL)                                                    \
    void NAME(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {          \
        CALL(Way::kChosen, width, height, src, dst);                                      \
    }                                                                                     \
    void _##NAME##_sg(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) {  \
        CALL(Way::kSingle, width, height, src, dst);                                      \
    }                                                                                     \
    void _##NAME##_tps(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst) { \
        CALL(Way::kThreaded, width, height, src, dst);                                    \
    }

VOREL_CHROMA_MOVER(yuv_nv_reverse, swap_frame)
VOREL_CHROMA_MOVER(yuv420_to_nv12, planar_to_nv12)
VOREL_CHROMA_MOVER(yuv420_to_nv21, planar_to_nv21)

void _swap_uv(int32_t count, const uint8_t *src, uint8_t *dst) {
    if (src && dst && count > 0) util_kernels().swap_pairs(src, count, dst);
}

void _interleave_uv(int32_t count, const uint8_t *first, const uint8_t *second, uint8_t *dst) {
    if (first && second && dst && count > 0) util_kernels().interleave(first, second, count, dst);
}
