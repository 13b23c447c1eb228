// Chunks of entropy-coded data read ahead of the decoder: when it pays, who reads which, and the reading itself.
#include "jpeg/decoder/threads/speculation.h"

#include <vorel/jpeg_threads.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "jpeg/decoder/statistics/statistics.h"

namespace vorel {
namespace {

constexpr int32_t kUnit = 16384;
constexpr int32_t kLeastInterval = 12, kMostInterval = 64;
// Up to so many pixels a byte, and from so many pixels on, chunks are larger.
constexpr double kDensePixels = 6.199999809265137;
constexpr uint64_t kManyPixels = 8000000;
// Larger ones only make threads wait for one another at the end.
constexpr int32_t kMostChunkBytes = 256 * 1024;
// A chunk is read so far into the next one, where that is in step by then.
constexpr int32_t kOverlapBytes = 4096;

int32_t chunk_bytes_of_tests;

// True where a chunk may be read by a second reader while the decoder reads another.
bool can_share(const IoInfo *io) { return io->kind == kIoFile || is_memory(io); }

// Values of the rows of blocks of one MCU, in the order of its blocks.
template <typename Visit>
void for_blocks(const ScanReader *scan, const Visit &visit) {
    int32_t first_block = 0;
    for (int i = 0; i < scan->compsInScan; ++i) {
        const int32_t width = static_cast<int32_t>(scan->components[i].mcuWidth);
        for (uint32_t v = 0; v < scan->components[i].mcuHeight; ++v, first_block += width) visit(first_block, width);
    }
}

McuPlace place_of(const EntropyPosition &position) {
    return {position.next, static_cast<uint8_t>(position.bits), position.bit_count};
}

void begin_records(ChunkRecords *records, const McuPlace &place) {
    records->mcus = 0;
    records->places[0] = place;
    records->place_count = 1;
}

}  // namespace

ChunkReader *open_chunk_reader(const ScanReader *scan, const IoInfo *source) {
    IoInfo *io = open_again(source);
    void *memory = io ? os_allocate_zeroed(sizeof(ChunkReader)) : nullptr;
    if (!memory) {
        close_again(io);
        return nullptr;
    }
    auto *reader = new (memory) ChunkReader(io);
    reader->scan.streamBuffer = reader->cursor.stream();
    reader->scan.io = io;
    reader->scan.readBuffer = reader->cursor.block();
    if (!reader->cursor.ready() || !share_scan(&reader->scan, *scan, kMostChunkDc)) {
        close_chunk_reader(reader);
        return nullptr;
    }
    // The values of a row of blocks side by side.
    for_blocks(scan, [&](int32_t first_block, int32_t width) {
        int16_t *row = reader->dc + first_block * kPlaceMcus;
        for (int32_t i = 0; i < kPlaceMcus * width; ++i)
            reader->dc_blocks[i / width * scan->blocksInMcu + first_block + i % width] = row + i;
    });
    return reader;
}

void close_chunk_reader(ChunkReader *reader) {
    if (!reader) return;
    IoInfo *io = reader->cursor.stream()->io;
    drop_fast_path(&reader->scan);
    reader->~ChunkReader();
    os_release(reader);
    close_again(io);
}

void read_chunk(ChunkReader *reader, int32_t start, int32_t end, const Stop &stop, ChunkRecords *records) {
    ScanReader *scan = &reader->scan;
    if (reader->cursor.start_at(start) != start) return;
    discard(scan);
    McuPlace at = place_of(tell(scan));
    begin_records(records, at);
    while (at.next < end && records->mcus + kPlaceMcus <= records->most_mcus) {
        if (stop.is_set()) return;
        const uint64_t before = scan->mcus_done;
        const int32_t done = decode_mcus(scan, McuMode::kDc, kPlaceMcus, reader->dc_blocks, reader->last);
        const EntropyPosition position = tell(scan);
        const int64_t key = at.key();
        at = place_of(position);
        // The end of the data is the decoder's own affair, which knows how each kind of it counts.
        if (position.out_of_data || at.next >= scan->io->size || at.key() <= key) return;
        if (done < kPlaceMcus) {
            if (scan->mcus_done == before + static_cast<uint64_t>(done)) return;
            // Values that drift away: nothing is in step yet. The next MCU begins anew.
            std::memset(scan->entropy.lastDc, 0, sizeof scan->entropy.lastDc);
            begin_records(records, at);
            continue;
        }
        for_blocks(scan, [&](int32_t first_block, int32_t width) {
            std::memcpy(records->values + static_cast<ptrdiff_t>(first_block) * records->most_mcus +
                            static_cast<ptrdiff_t>(records->mcus) * width,
                        reader->dc + first_block * kPlaceMcus,
                        static_cast<size_t>(kPlaceMcus * width) * sizeof(int16_t));
        });
        records->mcus += kPlaceMcus;
        records->places[records->place_count++] = at;
    }
}

int32_t speculation_interval(uint64_t pixels, int64_t input_bytes) {
    if (input_bytes <= 0) return kLeastInterval;
    const double density = static_cast<double>(pixels) / static_cast<double>(input_bytes);
    if (density > kDensePixels || pixels < kManyPixels) return kLeastInterval;
    const int32_t interval = static_cast<int32_t>(std::floor((936 - 110 * density) * 1024)) / kUnit - 2;
    return std::clamp(interval, kLeastInterval, kMostInterval);
}

void set_speculation_chunk(int32_t bytes) { store_relaxed(&chunk_bytes_of_tests, bytes); }

Speculation::Speculation(JpegInfo *info, int32_t chunk_bytes, int32_t threads)
    : pattern_(info->scan), session_(info->decInfo), chunk_bytes_(chunk_bytes), threads_(threads) {
    const uint64_t half = uint64_t{pattern_.mcusPerRow} * pattern_.mcuRows / 2;
    const int32_t most = static_cast<int32_t>(std::min<uint64_t>(half, kMostChunkMcus));
    most_mcus_ = std::max(most / kPlaceMcus, 1) * kPlaceMcus;
    int32_t block = 0;
    for_blocks(&pattern_, [&](int32_t first_block, int32_t width) {
        for (int32_t h = 0; h < width; ++h) at_[block++] = {first_block, h, width};
    });
}

Speculation::~Speculation() {
    pthread_mutex_lock(&lock_);
    store_relaxed(&stop_, 1u);
    pthread_cond_broadcast(&changed_);
    pthread_mutex_unlock(&lock_);
    if (pool_) vorel_threadpool_free(pool_, 1);
    for (int32_t i = 0; i < chunk_count_; ++i) {
        if (!chunks_[i].records) continue;
        chunks_[i].records->next_free = records_;
        records_ = chunks_[i].records;
    }
    while (ChunkRecords *records = records_) {
        records_ = records->next_free;
        os_release(records);
    }
    while (ChunkReader *reader = readers_) {
        readers_ = reader->next_free;
        close_chunk_reader(reader);
    }
    os_release(chunks_);
    pthread_cond_destroy(&changed_);
    pthread_mutex_destroy(&lock_);
}

bool Speculation::start(int32_t position) {
    const int64_t first = int64_t{position} + chunk_bytes_, size = pattern_.io->size;
    if (first >= size) return true;
    const int64_t count = (size - first + chunk_bytes_ - 1) / chunk_bytes_;
    chunks_ = os_allocate_array<Chunk>(static_cast<uint64_t>(count));
    if (!chunks_) return false;
    chunk_count_ = static_cast<int32_t>(count);
    for (int32_t i = 0; i < chunk_count_; ++i) {
        const int64_t start = first + int64_t{i} * chunk_bytes_;
        chunks_[i].start = static_cast<int32_t>(start);
        chunks_[i].end = static_cast<int32_t>(std::min(start + chunk_bytes_ + kOverlapBytes, size));
    }
    if (tests_run_pools()) return true;
    pool_ = start_pool(threads_);
    for (int32_t i = 0; pool_ && i < threads_; ++i) vorel_threadpool_add_task(pool_, scan_n_merge_jpeg, this, 0);
    // Without threads the decoder reads everything itself.
    if (!pool_) chunk_count_ = 0;
    return true;
}

bool Speculation::stopped() const { return Stop{&stop_, session_}.is_set(); }

// Both lists are taken from and given back to under the lock; what is not there yet is made outside it.
ChunkReader *Speculation::take_reader() {
    pthread_mutex_lock(&lock_);
    ChunkReader *reader = readers_;
    if (reader) readers_ = reader->next_free;
    pthread_mutex_unlock(&lock_);
    return reader ? reader : open_chunk_reader(&pattern_, pattern_.io);
}

ChunkRecords *Speculation::take_records() {
    pthread_mutex_lock(&lock_);
    ChunkRecords *records = records_;
    if (records) records_ = records->next_free;
    pthread_mutex_unlock(&lock_);
    if (!records) {
        const size_t places = static_cast<size_t>(most_mcus_ / kPlaceMcus + 1);
        const size_t values = static_cast<size_t>(most_mcus_) * pattern_.blocksInMcu;
        void *memory = os_allocate(sizeof(ChunkRecords) + places * sizeof(McuPlace) + values * sizeof(int16_t));
        if (!memory) return nullptr;
        records = new (memory) ChunkRecords{};
        records->places = reinterpret_cast<McuPlace *>(records + 1);
        records->values = reinterpret_cast<int16_t *>(records->places + places);
        records->most_mcus = most_mcus_;
    }
    records->mcus = records->place_count = 0;
    return records;
}

// The next chunk that nobody reads, unless the decoder is too far behind it. Under the lock.
Chunk *Speculation::claim() {
    if (next_claim_ >= chunk_count_ || next_claim_ >= merged_ + kChunksAhead) return nullptr;
    Chunk *chunk = &chunks_[next_claim_++];
    chunk->state = ChunkState::kRunning;
    return chunk;
}

void Speculation::work_on(Chunk *chunk) {
    ChunkReader *reader = take_reader();
    ChunkRecords *records = reader ? take_records() : nullptr;
    const StepScope scope(JPEG_STAT_ENTROPY_AHEAD);
    if (records) read_chunk(reader, chunk->start, chunk->end, {&stop_, session_}, records);
    pthread_mutex_lock(&lock_);
    if (reader) {
        reader->next_free = readers_;
        readers_ = reader;
    }
    chunk->records = records;
    chunk->state = ChunkState::kDone;
    pthread_cond_broadcast(&changed_);
    pthread_mutex_unlock(&lock_);
}

void Speculation::run_thread() {
    pthread_mutex_lock(&lock_);
    while (!stopped() && next_claim_ < chunk_count_) {
        Chunk *chunk = claim();
        if (!chunk) {
            const StepScope scope(JPEG_STAT_WAIT);
            pthread_cond_wait(&changed_, &lock_);
            continue;
        }
        pthread_mutex_unlock(&lock_);
        work_on(chunk);
        pthread_mutex_lock(&lock_);
    }
    pthread_mutex_unlock(&lock_);
}

namespace {

struct ChunkTask {
    Speculation *self;
    Chunk *chunk;
};

}  // namespace

void *Speculation::run_chunk(void *argument) {
    const auto *task = static_cast<const ChunkTask *>(argument);
    task->self->work_on(task->chunk);
    return nullptr;
}

// As many chunks as may be read ahead, in the tests' order and on their threads.
void Speculation::run_by_tests() {
    ChunkTask tasks[kChunksAhead];
    vorel_threadpool *pool = start_pool(0);
    for (ChunkTask &task : tasks) {
        task = {this, claim()};
        if (!task.chunk) break;
        if (vorel_threadpool_add_task(pool, run_chunk, &task, 0) != 1) run_chunk(&task);
    }
    finish_pool(pool);
}

// The chunk that the decoder has come to. One that nobody has begun is left to it, one that somebody reads is waited
// for with others being read meanwhile. False where there is nothing to take.
bool Speculation::wait_for_chunk() {
    Chunk *chunk = &chunks_[merge_];
    if (tests_run_pools() && chunk->state == ChunkState::kWaiting) run_by_tests();
    pthread_mutex_lock(&lock_);
    if (chunk->state == ChunkState::kWaiting) {
        chunk->state = ChunkState::kDone;
        next_claim_ = merge_ + 1;
    }
    while (chunk->state != ChunkState::kDone && !stopped()) {
        Chunk *other = claim();
        if (!other) {
            const StepScope scope(JPEG_STAT_WAIT);
            pthread_cond_wait(&changed_, &lock_);
            continue;
        }
        pthread_mutex_unlock(&lock_);
        work_on(other);
        pthread_mutex_lock(&lock_);
    }
    const bool usable = chunk->state == ChunkState::kDone && chunk->records && chunk->records->mcus > 0;
    pthread_mutex_unlock(&lock_);
    return usable;
}

void Speculation::finish_chunk() {
    Chunk *chunk = &chunks_[merge_++];
    place_ = cursor_ = 0;
    pthread_mutex_lock(&lock_);
    if (chunk->state == ChunkState::kDone && chunk->records) {
        chunk->records->next_free = records_;
        records_ = chunk->records;
        chunk->records = nullptr;
    }
    merged_ = merge_;
    next_claim_ = std::max(next_claim_, merge_);
    pthread_cond_broadcast(&changed_);
    pthread_mutex_unlock(&lock_);
}

Speculated begin_speculation(JpegInfo *info) {
    const OutputPlan &plan = info->plan;
    DecInfo *session = info->decInfo;
    if (!is_baseline(info) || info->isRegion || info->scan.restartInterval != 0) return Speculated::kNone;
    if (plan.scaleIndex < 3 || plan.scaleIndex > 5 || plan.scaleMultiplier == 3) return Speculated::kNone;
    const int32_t size = info->scan.io->size;
    const int32_t interval = speculation_interval(uint64_t{info->frame->imageWidth} * info->frame->imageHeight, size);
    // Required: known behind every decode that is reduced so far, also where nothing is read ahead.
    vjpeg_set_multiscan_interval(session, static_cast<uint32_t>(interval));
    if (info->further_scan_count > 0 || plan.jointChroma) return Speculated::kNone;
    // Small pictures do without the look-ups that readers share.
    if (!info->scan.window || info->mapScanning || session->partialDecode) return Speculated::kNone;
    // Positions are asked for between rows.
    if (session->midpointCount != 0 || session->threadBandStart || !can_share(info->scan.io)) return Speculated::kNone;
    int32_t chunk_bytes = load_relaxed(&chunk_bytes_of_tests);
    if (chunk_bytes < 0) return Speculated::kNone;
    if (chunk_bytes == 0) {
        if (size < interval * 4 * kUnit) return Speculated::kNone;
        chunk_bytes = std::min((interval + 2) * kUnit, kMostChunkBytes);
    }
    const int32_t threads = std::min(session->dualMode ? 2 : 3, usable_processors() - 1);
    if (threads < 1 && !tests_run_pools()) return Speculated::kNone;
    void *memory = complete_tables(&info->scan) ? os_allocate(sizeof(Speculation)) : nullptr;
    auto *speculation = memory ? new (memory) Speculation(info, chunk_bytes, threads) : nullptr;
    info->source = speculation;
    if (speculation && speculation->start(tell(&info->scan).next)) return Speculated::kStarted;
    end_speculation(info);
    set_error(kErrorOutOfMemory);
    VOREL_TRACE_AS(kTagJpeg, "BRIMJ_Decode_Dualcore_8to1_NoWait");
    return Speculated::kFailed;
}

void end_speculation(JpegInfo *info) {
    auto *speculation = static_cast<Speculation *>(info->source);
    info->source = nullptr;
    if (!speculation) return;
    speculation->~Speculation();
    os_release(speculation);
}

}  // namespace vorel

extern "C" void *scan_n_merge_jpeg(void *task) {
    if (task) static_cast<vorel::Speculation *>(task)->run_thread();
    return nullptr;
}
