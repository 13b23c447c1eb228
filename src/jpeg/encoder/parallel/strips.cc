// Strips of one stream, each encoded by a session of its own and then joined: they meet at restart markers.
#include <vorel/jpeg_encoder_parallel.h>
#include <vorel/jpeg_encoder_progressive.h>

#include <algorithm>
#include <cstring>

#include "jpeg/encoder/arguments.h"
#include "jpeg/encoder/quantisation.h"
#include "jpeg/encoder/strip_layout.h"
#include "util/util.h"

namespace vorel {
namespace {

constexpr int32_t kBufferStrips = 6, kFileThreads = 6, kFileStripRows = 64;
constexpr uint64_t kLeastCapacity = 4096;
// What the header of the first strip may leave unwritten reads as zero.
constexpr uint64_t kHeaderBytes = 1 << 16;

bool is_size(const RawInfo &raw) {
    return raw.width >= 1 && raw.width <= kMostSide && raw.height >= 1 && raw.height <= kMostSide;
}

// Strips of a picture, their jobs and what these share.
class Strips {
  public:
    ~Strips() {
        for (int32_t i = 0; i < count_; ++i) os_release(job(i).outBuffer);
    }

    bool prepare(const RawInfo &raw, int32_t rows, HuffmanSpec *spec) {
        count_ = (raw.height + rows - 1) / rows;
        rows_ = rows;
        capacity_ = std::max(uint64_t{raw.width} * static_cast<uint32_t>(rows), kLeastCapacity);
        block_.reset(os_allocate_array<StripJob>(static_cast<uint64_t>(count_)));
        if (!block_) count_ = 0;
        for (int32_t i = 0; i < count_; ++i) fill(raw, i, spec);
        return count_ > 0;
    }
    // Memory for one strip's stream, a byte a pixel to begin with.
    uint8_t *new_memory() const { return static_cast<uint8_t *>(os_allocate(static_cast<size_t>(capacity_))); }
    // Gives it to a strip, another strip's that is done with it if there is any.
    bool give_memory(int32_t i, uint8_t *spare = nullptr) {
        StripJob &strip = job(i);
        strip.outBuffer = spare ? spare : new_memory();
        if (!strip.outBuffer) return false;
        strip.outSize = static_cast<uint32_t>(capacity_);
        // The rest is not touched before it is written.
        if (i == 0) std::memset(strip.outBuffer, 0, static_cast<size_t>(std::min(capacity_, kHeaderBytes)));
        return true;
    }
    StripJob &job(int32_t i) { return block_.as<StripJob>()[i]; }
    int32_t count() const { return count_; }

  private:
    void fill(const RawInfo &raw, int32_t i, HuffmanSpec *spec) {
        StripJob &strip = job(i);
        strip.raw = strip_of(raw, i, rows_, count_);
        strip.huffmanSpec = spec;
        strip.quality = spec->quality;
    }

    OsBlock block_;
    int32_t count_ = 0, rows_ = 0;
    uint64_t capacity_ = 0;
};

// Tables are measured before any strip begins, since all strips read the same HuffmanSpec.
void fill_spec(RawInfo *raw, int32_t quality, HuffmanSpec *spec) {
    *spec = {};
    spec->quality = static_cast<uint32_t>(clamp_quality(quality));
    if (raw->optimizeHuffman && rim_multi_scanning_huffman(raw, clamp_quality(quality), spec)) spec->valid = 1;
}

// Takes strips one after another, by as many threads as there are processors; the calling thread is one of them. A
// strip's memory serves a later one when it has been joined, so little of it is touched.
class StripCrew {
  public:
    explicit StripCrew(Strips *strips) : strips_(strips) {
        pthread_mutex_init(&lock_, nullptr);
        pthread_cond_init(&done_, nullptr);
        const int32_t wanted = std::min(usable_processors(), strips->count()) - 1;
        // Memory of the calling thread's: what a thread's own allocator gives is new to the process each time.
        while (spares_ <= wanted && (spare_[spares_] = strips->new_memory()) != nullptr) ++spares_;
        // Where no thread can be had its strips are left for this one.
        while (threads_count_ < wanted && VORELBRIM_OsThreadCreate(work, this, &threads_[threads_count_]) == 1) {
            ++threads_count_;
        }
    }
    ~StripCrew() {
        {
            const MutexLock lock(&lock_);
            next_ = strips_->count();
        }
        for (int32_t i = 0; i < threads_count_; ++i) VORELBRIM_OsThreadWait(threads_[i], nullptr);
        while (spares_ > 0) os_release(spare_[--spares_]);
        pthread_cond_destroy(&done_);
        pthread_mutex_destroy(&lock_);
    }
    StripCrew(const StripCrew &) = delete;
    StripCrew &operator=(const StripCrew &) = delete;

    // Works until strip i is done. False: there was no memory for a strip.
    bool finish(int32_t i) {
        while (!is_done(i) && take_one()) continue;
        const MutexLock lock(&lock_);
        while (!done(i) && !out_of_memory_) pthread_cond_wait(&done_, &lock_);
        return done(i);
    }
    // Its stream is no longer wanted.
    void recycle(int32_t i) {
        const MutexLock lock(&lock_);
        if (strips_->job(i).outBuffer) spare_[spares_++] = strips_->job(i).outBuffer;
        strips_->job(i).outBuffer = nullptr;
    }

  private:
    static void *work(void *crew) {
        while (static_cast<StripCrew *>(crew)->take_one()) continue;
        return nullptr;
    }
    bool take_one() {
        int32_t i;
        uint8_t *spare = nullptr;
        {
            const MutexLock lock(&lock_);
            if (next_ >= strips_->count()) return false;
            i = next_++;
            if (spares_ > 0) spare = spare_[--spares_];
        }
        const bool has_memory = strips_->give_memory(i, spare);
        if (has_memory) _rim_tencode_jpeg_to_file(&strips_->job(i));
        const MutexLock lock(&lock_);
        if (!has_memory) {
            out_of_memory_ = true;
            next_ = strips_->count();
        }
        pthread_cond_broadcast(&done_);
        return has_memory;
    }
    bool done(int32_t i) const { return load_acquire(&strips_->job(i).finished) != 0; }
    bool is_done(int32_t i) {
        const MutexLock lock(&lock_);
        return done(i) || out_of_memory_;
    }

    Strips *strips_;
    pthread_mutex_t lock_;
    pthread_cond_t done_;
    pthread_t threads_[kBufferStrips] = {};
    int32_t threads_count_ = 0;
    int32_t next_ = 0;
    uint8_t *spare_[kBufferStrips] = {};
    int32_t spares_ = 0;
    bool out_of_memory_ = false;
};

// The caller's memory, which takes the strips one behind another.
struct Joined {
    uint8_t **buffer;
    uint64_t capacity;
    uint64_t length = 0;
    bool good = true;

    void add(const StripJob &strip, const char *entry) {
        const uint64_t end = length + strip.outSize;
        if (strip.result != 1) {
            VOREL_TRACE_AS(kTagJpegStat, entry);
            good = false;
        } else if (good && has_room(end, entry)) {
            std::memcpy(*buffer + length, strip.outBuffer, strip.outSize);
        }
        length = end;
    }
    bool has_room(uint64_t end, const char *entry) {
        if (end <= capacity) return true;
        uint64_t larger = 2 * end;
        if (larger > INT32_MAX) larger = INT32_MAX;
        void *moved = end <= larger ? os_reallocate(*buffer, static_cast<size_t>(larger)) : nullptr;
        if (!moved) {
            VOREL_TRACE_AS(kTagJpegStat, entry);
            good = false;
            return false;
        }
        *buffer = static_cast<uint8_t *>(moved);
        capacity = larger;
        return true;
    }
};

bool refuse_format(const char *entry) {
    VOREL_TRACE_AS(kTagJpegStat, entry);
    return false;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

void *_rim_tencode_jpeg_to_file(void *stripJob) {
    auto *job = static_cast<StripJob *>(stripJob);
    if (job->huffmanSpec->quality != job->quality) job->huffmanSpec->quality = job->quality;
    job->result =
        static_cast<uint32_t>(rim_enc_jpeg_to_buffer_ex(&job->raw, &job->outBuffer, &job->outSize, job->huffmanSpec));
    // Of a session that could not begin the buffer is there as it came in.
    if (job->result != 1) job->outSize = 0;
    store_release(&job->finished, uint32_t{1});
    return nullptr;
}

int32_t VORELBRIM_PEncodeJpegToBuffer(RawInfo *raw, uint8_t **buffer, int32_t *size, int32_t quality) {
    if (!is_complete(raw, __func__)) return 0;
    if (!buffer || !*buffer || !size) return refuse(__func__);
    if (!is_size(*raw) || *size < 0) return 0;
    const int32_t rows = strip_height(raw->height, kBufferStrips);
    if (raw->height < kLeastStripsHeight || raw->height < rows || raw->progressive) {
        raw->stripMode = 0;
        return rim_enc_jpeg_to_buffer(raw, buffer, size, quality);
    }
    if (strip_pixel_bytes(raw->format) < 0) return refuse_format(__func__);
    HuffmanSpec spec;
    fill_spec(raw, quality, &spec);
    Strips strips;
    if (!strips.prepare(*raw, rows, &spec)) {
        VOREL_TRACE(kTagJpegStat);
        return 0;
    }
    Joined joined{buffer, static_cast<uint32_t>(*size)};
    StripCrew crew(&strips);
    for (int32_t i = 0; i < strips.count(); ++i) {
        if (!crew.finish(i)) {
            VOREL_TRACE(kTagJpegStat);
            return 0;
        }
        joined.add(strips.job(i), __func__);
        crew.recycle(i);
    }
    *size = joined.length <= INT32_MAX ? static_cast<int32_t>(joined.length) : INT32_MAX;
    return joined.good;
}

int32_t DBG_VORELBRIM_PEncodeJpegToFile(RawInfo *raw, const char *path, int32_t quality) {
    if (!is_complete(raw, __func__)) return 0;
    if (!path) return refuse(__func__);
    if (!is_size(*raw)) return 0;
    if (raw->height < kLeastStripsHeight || raw->progressive) {
        raw->stripMode = 0;
        return rim_enc_jpeg_to_file(raw, path, quality);
    }
    if (strip_pixel_bytes(raw->format) < 0) return refuse_format(__func__);
    HuffmanSpec spec;
    fill_spec(raw, quality, &spec);
    Strips strips;
    if (!strips.prepare(*raw, kFileStripRows, &spec)) {
        VOREL_TRACE(kTagJpegStat);
        return 0;
    }
    vorel_threadpool *pool = start_pool(kFileThreads);
    bool allocated = true;
    for (int32_t i = 0; i < strips.count() && allocated; ++i) {
        allocated = strips.give_memory(i);
        if (allocated && vorel_threadpool_add_task(pool, _rim_tencode_jpeg_to_file, &strips.job(i), 0) != 1) {
            _rim_tencode_jpeg_to_file(&strips.job(i));
        }
    }
    finish_pool(pool);
    if (!allocated) {
        VOREL_TRACE(kTagJpegStat);
        return 0;
    }
    // Required: neither a file that does not open nor a strip that failed changes the result.
    FILE *file = std::fopen(path, "wb");
    if (!file) return 1;
    for (int32_t i = 0; i < strips.count(); ++i) {
        const StripJob &strip = strips.job(i);
        if (strip.outBuffer) (void)!std::fwrite(strip.outBuffer, 1, strip.outSize, file);
    }
    std::fclose(file);
    return 1;
}

}  // extern "C"
