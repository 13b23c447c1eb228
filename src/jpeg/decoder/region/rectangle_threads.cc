// Rectangles by two threads: a half each, or bands from a list that both take from. Every thread has a child session of
// its own; what they share, the base's map and its record, nobody changes.
#include "core/session.h"
#include "jpeg/decoder/jpeg_info.h"
#include "jpeg/decoder/region/children.h"
#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

constexpr int32_t kRowsForThreads = 64;
// Pixels of the picture below which a second thread costs more than it gains: a quarter of a millisecond's work.
constexpr int64_t kPixelsForThreads = 1 << 17;
constexpr int32_t kMostRows = 65535;  // of a JPEG

// Bytes between two rows of a rectangle are width times this, 0 for formats that have no such number. The formats with
// chroma planes have one by tradition, though no part of theirs may be written on its own.
int32_t bytes_per_pixel(int32_t format) {
    switch (format) {
        case COLOR_RGB565:
        case COLOR_RGB565_ALT:
        case COLOR_YUV420:
        case COLOR_YUV422:
        case COLOR_YUV440:
        case COLOR_NV21:
        case COLOR_NV12:
            return 2;
        case COLOR_RGB888:
        case COLOR_BGR565A:
        case COLOR_YUV444:
            return 3;
        case COLOR_ARGB8888:
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
            return 4;
        default:
            return 0;
    }
}

// The rectangle's rows stand behind one another in the buffer.
bool is_made_of_rows(const DecInfo *session) {
    const ChromaLayout chroma = pixel_layout(session->outColorFormat).chroma;
    const bool planes = chroma == ChromaLayout::kPlanes || chroma == ChromaLayout::kPairs;
    return !planes && !(session->decOption & (kRotationMask | VOREL_OPTION_EXIF_ORIENTATION));
}

// Several readers of the input do not disturb one another.
bool opens_again(const DecInfo *session) {
    return session->ioInfo && (session->ioInfo->kind == kIoFile || is_memory(session->ioInfo));
}

uint8_t *band_output(const DecInfo *session, void *output, int32_t width, int32_t rows) {
    const int64_t row = int64_t{bytes_per_pixel(session->outColorFormat)} * width;
    return static_cast<uint8_t *>(output) + row * rows;
}

// Rows further down are in no picture: not worth threads, nor a list that may be of any length.
bool may_be_in_a_picture(const Rectangle &at) { return int64_t{at.y} + at.height <= kMostRows; }

bool pays(const DecInfo *child) {
    const int64_t sample = child->sampleSize > 1 ? child->sampleSize : 1, least = kPixelsForThreads / sample / sample;
    return int64_t{child->partialWidth} * child->partialHeight >= least;
}

void *decode_lower(void *argument) {
    const DecodeJobParam *job = static_cast<const DecodeJobParam *>(argument);
    if (VORELBRIM_DecodeJPEG(job->session, job->output, job->width, job->height) != 1) {
        VOREL_TRACE_AS(kTagJpeg, "VORELBRIM_PDecodeRegionBase");
    }
    return nullptr;
}

void wait_for(pthread_t thread) {
    const StepScope scope(JPEG_STAT_WAIT);
    VORELBRIM_OsThreadWait(thread, nullptr);
}

// Rows of the upper half: the rest is never shorter than what rounding takes.
int32_t upper_rows(int32_t rows) { return rows / 2 + (rows / 2 & 15); }

// The two halves at once. False where they could not be started.
bool decode_halves(DecInfo *child, const Rectangle &whole, void *output, int32_t width, int32_t height,
                   int32_t *result) {
    const int32_t top = upper_rows(whole.height);
    DecInfo *lower =
        BRIMJ_CreateTemporaryDecInfo(child, whole.x, whole.y + top, whole.width, whole.height - top, child->sampleSize);
    if (!lower) return false;
    DecodeJobParam job;
    set_parameter(&job, lower, band_output(child, output, whole.width, top), whole.x, whole.y + top, width, height,
                  child->sampleSize, 1);
    pthread_t thread;
    const bool started = VORELBRIM_OsThreadCreate(decode_lower, &job, &thread) == 1;
    if (started) {
        set_rectangle(child, {whole.x, whole.y, whole.width, top});
        *result = VORELBRIM_DecodeJPEG(child, output, width, height);
        wait_for(thread);
        set_rectangle(child, whole);
    }
    give_back_map(lower);
    VORELBRIM_DestroyDecInfo(lower);
    return started;
}

// ---- The list of bands

int32_t band_rows(int32_t sample) { return sample == 1 ? 128 : sample == 2 ? 64 : 16; }

// Bands end at multiples of their height.
bool make_jobs(DecInfo *session, void *output, const Rectangle &whole, int32_t sample) {
    if (bytes_per_pixel(session->outColorFormat) == 0 || !is_rectangle(whole) || !may_be_in_a_picture(whole))
        return false;
    const int64_t band = band_rows(sample), end = int64_t{whole.y} + whole.height;
    const int64_t first_end = (whole.y / band + 1) * band;
    if (first_end >= end) return false;
    const int64_t count = 1 + (end - first_end + band - 1) / band;
    const MutexLock lock(&session->jobMutex);
    // One list at a time.
    if (session->regionJobs) return false;
    RegionJob *jobs = os_allocate_array<RegionJob>(static_cast<uint64_t>(count));
    if (!jobs) {
        set_error(kErrorOutOfMemory);
        return false;
    }
    int64_t y = whole.y;
    for (int64_t i = 0; i < count; ++i) {
        const int64_t next = first_end + i * band < end ? first_end + i * band : end;
        const int32_t above = static_cast<int32_t>(y - whole.y);
        jobs[i] = {whole.x,
                   static_cast<int32_t>(y),
                   whole.width,
                   static_cast<int32_t>(next - y),
                   band_output(session, output, whole.width, above),
                   0};
        y = next;
    }
    session->regionJobs = jobs;
    session->regionJobCount = static_cast<int32_t>(count);
    session->regionNextJob = 0;
    session->jobsExhausted = 0;
    return true;
}

void drop_jobs(DecInfo *session) {
    const MutexLock lock(&session->jobMutex);
    os_release(session->regionJobs);
    session->regionJobs = nullptr;
    session->regionJobCount = 0;
}

void stop_jobs(DecInfo *session) {
    const MutexLock lock(&session->jobMutex);
    session->jobsExhausted = 1;
}

bool serves_jobs(const DecInfo *base, int32_t rows) {
    const JpegInfo *record = base->retainedJpegInfo;
    return rows >= kRowsForThreads && record && is_baseline(record) && base->regionMap && *base->regionMap &&
           is_made_of_rows(base) && opens_again(base);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void set_parameter(DecodeJobParam *block, DecInfo *session, void *output, int32_t x, int32_t y, int32_t width,
                   int32_t height, int32_t sampleSize, int32_t workerIndex) {
    if (!block || !session || !output) {
        VOREL_LOG(kTagJpegStat, "[%s:%d]\n", __func__, __LINE__);
        return;
    }
    *block = {session, output, x, y, width, height, sampleSize, x, y, width, height, workerIndex};
}

int32_t VORELBRIM_PDecodeRegionBase(DecInfo *child, void *output, int32_t width, int32_t height) {
    if (!child || !output || !is_rectangle(rectangle_of(child))) return 0;
    const Rectangle whole = rectangle_of(child);
    if (whole.height < kRowsForThreads) return VORELBRIM_DecodeRegionBase(child, output, width, height);
    // One map for both halves.
    if ((child->decOption & VOREL_OPTION_REGION) && !child->regionMap)
        BRIMJ_CreateRegionMap(child, output, width, height);
    const JpegInfo *record = child->retainedJpegInfo;
    const bool progressive = record && !is_baseline(record);
    if (!progressive && bytes_per_pixel(child->outColorFormat) == 0) return 0;
    int32_t result = 0;
    if (progressive || !is_made_of_rows(child) || !opens_again(child) || !pays(child) || !may_be_in_a_picture(whole) ||
        !decode_halves(child, whole, output, width, height, &result) || result != 1) {
        return VORELBRIM_DecodeRegionBase(child, output, width, height);
    }
    give_back_map(child);
    return result;
}

int32_t VORELBRIM_PDecodeRegion(DecInfo *base, void *output, int32_t width, int32_t height, int32_t x, int32_t y,
                                int32_t partialWidth, int32_t partialHeight, int32_t sampleSize) {
    const StepScope scope(JPEG_STAT_REGION);
    DecInfo *child = BRIMJ_CreateTemporaryDecInfo(base, x, y, partialWidth, partialHeight, sampleSize);
    if (!child) return 0;
    const int32_t result = VORELBRIM_PDecodeRegionBase(child, output, width, height);
    VORELBRIM_DestroyDecInfo(child);
    return result;
}

int32_t BRIMJ_MakeRDJobList(DecInfo *session, void *output, int32_t x, int32_t y, int32_t width, int32_t height) {
    return session && output && make_jobs(session, output, {x, y, width, height}, session->sampleSize);
}

RegionJob *BRIMJ_GetOneJob(DecInfo *session) {
    if (!session) return nullptr;
    const MutexLock lock(&session->jobMutex);
    if (session->jobsExhausted || !session->regionJobs || session->regionNextJob >= session->regionJobCount) {
        session->jobsExhausted = 1;
        return nullptr;
    }
    RegionJob *job = &session->regionJobs[session->regionNextJob++];
    job->taken = 1;
    return job;
}

void *decode_jpeg_greedy(void *decodeJobParam) {
    const DecodeJobParam *block = static_cast<const DecodeJobParam *>(decodeJobParam);
    if (!block || !block->session) {
        VOREL_LOG(kTagJpegStat, "[%s:%d]\n", __func__, __LINE__);
        return nullptr;
    }
    DecInfo *base = block->session;
    const int32_t sample = block->sampleSize > 1 ? block->sampleSize : 1;
    // A side below the reduction is a pixel still.
    const int32_t width = block->width > sample ? block->width / sample : 1;
    const int32_t height = block->height > sample ? block->height / sample : 1;
    while (const RegionJob *job = is_cancelled(base) ? nullptr : BRIMJ_GetOneJob(base)) {
        const int32_t done = VORELBRIM_DecodeRegion(base, job->output, width, height, job->x, job->y, job->width,
                                                    job->height, block->sampleSize);
        if (done != 1) VOREL_TRACE(kTagJpeg);
    }
    return nullptr;
}

// Required: where bands are decoded the result is 0.
int32_t VORELBRIM_P2DecodeRegion(DecInfo *base, void *output, int32_t width, int32_t height, int32_t x, int32_t y,
                                 int32_t partialWidth, int32_t partialHeight, int32_t sampleSize) {
    if (!base || !output) return 0;
    const StepScope scope(JPEG_STAT_REGION);
    if (!serves_jobs(base, partialHeight) ||
        !make_jobs(base, output, {x, y, partialWidth, partialHeight}, sampleSize)) {
        return VORELBRIM_DecodeRegion(base, output, width, height, x, y, partialWidth, partialHeight, sampleSize);
    }
    DecodeJobParam jobs[2];
    pthread_t threads[2];
    int32_t started = 0;
    for (; started < 2; ++started) {
        set_parameter(&jobs[started], base, output, x, y, width, height, sampleSize, started);
        if (VORELBRIM_OsThreadCreate(decode_jpeg_greedy, &jobs[started], &threads[started]) != 1) break;
    }
    if (started < 2) stop_jobs(base);
    for (int32_t i = 0; i < started; ++i) wait_for(threads[i]);
    drop_jobs(base);
    return 0;
}

}  // extern "C"
