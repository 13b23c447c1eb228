// Clockwise turns of raw frames: planes turned into a copy and copied back, or reversed in place.
#include <sys/mman.h>

#include <cstring>

#include "core/core.h"
#include "util/frames.h"
#include "util/kernels/kernels.h"
#include "util/task_group.h"

namespace vorel {
namespace {

constexpr const char *kTagRotate = "VROTATE";
constexpr int32_t kThreadedHeight = 512;  // above it
constexpr int32_t kJobRows = 128;         // jobs have a multiple of it: even, so they share no chroma row
constexpr int32_t kJobs = 8;              // about, of a quarter turn: their edges share cache lines of the destination
constexpr size_t kCopyBytes = size_t{1} << 18;

// What stands at a plane of a format.
struct Plane {
    size_t offset;
    int32_t width, height, unit;
    bool chroma;
};

struct FrameLayout {
    Plane planes[3];
    int count = 0;
    uint64_t bytes = 0;

    void add(int32_t width, int32_t height, int32_t unit, bool chroma) {
        planes[count++] = {static_cast<size_t>(bytes), width, height, unit, chroma};
        bytes += static_cast<uint64_t>(width) * static_cast<uint64_t>(height) * static_cast<uint64_t>(unit);
    }
};

// False for a format that is not turned. Sizes are at least 1; bytes is right for any.
bool layout_of(int32_t format, int32_t width, int32_t height, FrameLayout *layout) {
    const int32_t chroma_width = static_cast<int32_t>((int64_t{width} + 1) / 2);
    const int32_t chroma_height = static_cast<int32_t>((int64_t{height} + 1) / 2);
    switch (format) {
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
            layout->add(width, height, 2, false);
            return true;
        case COLOR_RGB888:
            layout->add(width, height, 3, false);
            return true;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            layout->add(width, height, 4, false);
            return true;
        case COLOR_YUV420:
            layout->add(width, height, 1, false);
            layout->add(chroma_width, chroma_height, 1, true);
            layout->add(chroma_width, chroma_height, 1, true);
            return true;
        case COLOR_NV21:
        case COLOR_NV12:
            layout->add(width, height, 1, false);
            layout->add(chroma_width, chroma_height, 2, true);
            return true;
        default:
            return false;
    }
}

// Rows top to bottom of one plane, turned from src to dst, which are the starts of the plane.
void turn_rows(int32_t angle, const Plane &plane, int32_t top, int32_t bottom, const uint8_t *src, uint8_t *dst) {
    const UtilKernels &kernels = util_kernels();
    const ptrdiff_t unit = plane.unit, src_stride = plane.width * unit, dst_stride = plane.height * unit;
    const int32_t rows = bottom - top;
    if (angle == 180) {
        const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(plane.width);
        kernels.reverse[unit](src + top * src_stride, count, dst + (plane.height - bottom) * src_stride);
    } else if (angle == 90) {
        // Column x' = height - 1 - y: the rows from the bottom up are turned over the diagonal.
        kernels.transpose[unit]({src + (bottom - 1) * src_stride, -src_stride, dst + (plane.height - bottom) * unit,
                                 dst_stride, plane.width, rows});
    } else {
        // Row y' = width - 1 - x.
        kernels.transpose[unit]({src + top * src_stride, src_stride, dst + top * unit + (plane.width - 1) * dst_stride,
                                 -dst_stride, plane.width, rows});
    }
}

int32_t clamped(int64_t value, int32_t most) {
    return static_cast<int32_t>(value < 0 ? 0 : value > most ? most : value);
}

void *run_job(int32_t angle, const void *argument) {
    const auto *job = static_cast<const RotateJob *>(argument);
    FrameLayout layout;
    if (!job || !job->source || !job->destination || job->width < 1 || job->height < 1 ||
        !layout_of(job->format, job->width, job->height, &layout) || layout.bytes > kMostFrameBytes)
        return nullptr;
    const int64_t first = job->firstRow, last = first + job->rows;
    for (int i = 0; i < layout.count; ++i) {
        const Plane &plane = layout.planes[i];
        const int32_t top = clamped(plane.chroma ? (first + 1) >> 1 : first, plane.height);
        const int32_t bottom = clamped(plane.chroma ? (last + 1) >> 1 : last, plane.height);
        if (top < bottom) {
            turn_rows(angle, plane, top, bottom, job->source + plane.offset, job->destination + plane.offset);
        }
    }
    return nullptr;
}

// Pieces of work of one kind, in this thread or over a pool's.
template <typename Record>
void run_all(Record *records, int32_t count, void *(*routine)(void *), bool threaded) {
    if (!threaded || count < 2) {
        for (int32_t i = 0; i < count; ++i) routine(&records[i]);
        return;
    }
    TaskGroup group(kFrameThreads);
    for (int32_t i = 0; i < count; ++i) group.add(routine, &records[i]);
    group.wait();
}

// Part of a plane whose samples change places with those of its mirror image.
struct ReverseJob {
    uint8_t *front, *back;
    size_t count;
    int32_t unit;
};
void *run_reverse(void *argument) {
    const auto *job = static_cast<const ReverseJob *>(argument);
    util_kernels().swap_reversed[job->unit](job->front, job->back, job->count);
    return nullptr;
}

// A half turn is a plane read from its end: it needs no copy.
void half_turn(uint8_t *buffer, const FrameLayout &layout, bool threaded) {
    constexpr int kParts = 16;
    ReverseJob jobs[3 * kParts];
    int32_t count = 0;
    for (int i = 0; i < layout.count; ++i) {
        const Plane &plane = layout.planes[i];
        const size_t unit = static_cast<size_t>(plane.unit);
        const size_t samples = static_cast<size_t>(plane.width) * static_cast<size_t>(plane.height);
        uint8_t *start = buffer + plane.offset;
        const size_t swaps = samples / 2;
        for (size_t part = 0; part < kParts; ++part) {
            const auto from = static_cast<size_t>(uint64_t{swaps} * part / kParts),
                       to = static_cast<size_t>(uint64_t{swaps} * (part + 1) / kParts);
            if (from < to) jobs[count++] = {start + from * unit, start + (samples - to) * unit, to - from, plane.unit};
        }
    }
    run_all(jobs, count, run_reverse, threaded);
}

struct CopyJob {
    const uint8_t *src;
    uint8_t *dst;
    size_t bytes;
};
void *run_copy(void *argument) {
    const auto *job = static_cast<const CopyJob *>(argument);
    std::memcpy(job->dst, job->src, job->bytes);
    return nullptr;
}

// A fresh copy of a large frame costs more in page faults than in turning: the system may give it large pages.
void prefer_large_pages(void *memory, size_t bytes) {
#if defined(MADV_HUGEPAGE)
    constexpr uintptr_t kPage = uintptr_t{1} << 21;
    const uintptr_t begin = reinterpret_cast<uintptr_t>(memory), first = (begin + kPage - 1) & ~(kPage - 1);
    const uintptr_t end = (begin + bytes) & ~(kPage - 1);
    if (first < end) madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
#else
    (void)memory, (void)bytes;
#endif
}

bool quarter_turn(uint8_t *buffer, const RotateJob &whole, const FrameLayout &layout, int32_t angle, bool threaded) {
    const size_t bytes = static_cast<size_t>(layout.bytes);
    const int64_t blocks = (int64_t{whole.height} + kJobRows - 1) / kJobRows;
    const int32_t job_rows = static_cast<int32_t>((blocks + kJobs - 1) / kJobs * kJobRows);
    const int32_t jobs = static_cast<int32_t>((int64_t{whole.height} + job_rows - 1) / job_rows);
    const int32_t copies = static_cast<int32_t>((bytes + kCopyBytes - 1) / kCopyBytes);
    OsBlock copy(os_allocate(bytes));
    OsBlock job_block(os_allocate_array<RotateJob>(static_cast<uint64_t>(jobs)));
    OsBlock copy_block(os_allocate_array<CopyJob>(static_cast<uint64_t>(copies)));
    if (!copy || !job_block || !copy_block) return false;
    prefer_large_pages(copy.as<uint8_t>(), bytes);
    auto *turns = job_block.as<RotateJob>();
    // Jobs from the two halves in turns: what runs at the same time does not lie side by side.
    const int32_t half = (jobs + 1) / 2;
    for (int32_t i = 0; i < jobs; ++i) {
        const int32_t job = i % 2 ? half + i / 2 : i / 2;
        turns[i] = whole;
        turns[i].destination = copy.as<uint8_t>();
        turns[i].firstRow = job * job_rows;
        turns[i].rows = job + 1 < jobs ? job_rows : whole.height - turns[i].firstRow;
    }
    run_all(turns, jobs, angle == 90 ? _vorel_rotate_90 : _vorel_rotate_270, threaded);
    auto *parts = copy_block.as<CopyJob>();
    for (int32_t i = 0; i < copies; ++i) {
        const size_t from = static_cast<size_t>(i) * kCopyBytes;
        parts[i] = {copy.as<uint8_t>() + from, buffer + from, i + 1 < copies ? kCopyBytes : bytes - from};
    }
    run_all(parts, copies, run_copy, threaded);
    return true;
}

// `name` is the exported function that failures are logged under.
int32_t rotate(const char *name, void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle,
               bool threaded) {
    if (!buffer || width < 1 || height < 1 || (angle != 90 && angle != 180 && angle != 270)) return 0;
    FrameLayout layout;
    if (!layout_of(format, width, height, &layout)) {
        VOREL_TRACE_AS(kTagRotate, name);
        return 0;
    }
    auto *bytes = static_cast<uint8_t *>(buffer);
    // A half turn reads and writes the frame once, the others twice.
    threaded = threaded && pays_for_threads(layout.bytes * (angle == 180 ? 2 : 4));
    bool turned = layout.bytes <= kMostFrameBytes;
    if (turned && angle == 180) {
        half_turn(bytes, layout, threaded);
    } else if (turned) {
        turned = quarter_turn(bytes, {bytes, nullptr, width, height, 0, 0, format}, layout, angle, threaded);
    }
    if (!turned) VOREL_LOG(kTagRotate, "[%s:%d, size : %d]", name, __LINE__, static_cast<int32_t>(layout.bytes));
    return turned;
}

// Low frames are turned in the calling thread, others by vorel_fast_rotate.
int32_t rotate_by_height(const char *name, void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle) {
    if (height > kThreadedHeight) return vorel_fast_rotate(buffer, width, height, format, angle);
    return rotate(name, buffer, width, height, format, angle, false);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

int32_t vorel_rotate(void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle) {
    switch (angle) {
        case 90:
            return vorel_rotate_90(buffer, width, height, format);
        case 180:
            return vorel_rotate_180(buffer, width, height, format);
        case 270:
            return vorel_rotate_270(buffer, width, height, format);
        default:
            return 0;
    }
}
int32_t vorel_fast_rotate(void *buffer, int32_t width, int32_t height, int32_t format, int32_t angle) {
    return rotate(__func__, buffer, width, height, format, angle, true);
}
int32_t vorel_rotate_90(void *buffer, int32_t width, int32_t height, int32_t format) {
    return rotate_by_height(__func__, buffer, width, height, format, 90);
}
int32_t vorel_rotate_180(void *buffer, int32_t width, int32_t height, int32_t format) {
    return rotate_by_height(__func__, buffer, width, height, format, 180);
}
int32_t vorel_rotate_270(void *buffer, int32_t width, int32_t height, int32_t format) {
    return rotate_by_height(__func__, buffer, width, height, format, 270);
}

void *_vorel_rotate_90(void *rotateJob) { return run_job(90, rotateJob); }
void *_vorel_rotate_180(void *rotateJob) { return run_job(180, rotateJob); }
void *_vorel_rotate_270(void *rotateJob) { return run_job(270, rotateJob); }

uint32_t brim_pow(uint32_t base, int32_t exponent) {
    uint32_t power = 1;
    // By squaring, so that a hostile exponent costs no time.
    for (uint32_t left = exponent < 1 ? 0 : static_cast<uint32_t>(exponent); left; left >>= 1, base *= base) {
        if (left & 1) power *= base;
    }
    return power;
}

void VORELBRIM_CODEC_Blend(void) {}
