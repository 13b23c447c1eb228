// Speculative decoding of DC values. Huffman codes resynchronise: a reader that begins anywhere in the entropy-coded
// data soon reads the same codes as the one that began at its start. So chunks of the data are read by several threads
// at once, each from a byte that means nothing, noting down DC values and where MCUs begin. The decoder itself, when it
// comes to a chunk, looks for an MCU that begins at its own bit position: from there on the chunk's values differ from
// the true ones by a constant for each component, and no bit has to be read again.
//
//     stream    |== chunk 0 ==|== chunk 1 ==|== chunk 2 ==|== chunk 3 ==
//     decoder   reads ------->|? takes ---->|? takes ---->|? ...            ?: reads until an MCU begins where one of
//     threads                 reads ------------>                              the chunk begins
//                                           reads ------------>
#pragma once

#include <pthread.h>

#include "core/session.h"
#include "jpeg/decoder/jpeg_info.h"
#include "util/util.h"

namespace vorel {

// A chunk's values stay within this, so that a sum with the true predictor at its beginning never wraps.
constexpr int32_t kMostChunkDc = 8191;
// MCUs between two places that are noted down.
constexpr int32_t kPlaceMcus = 32;
// Chunks that may be read before the decoder has come to them.
constexpr int32_t kChunksAhead = 10;
// Most MCUs of one chunk.
constexpr int32_t kMostChunkMcus = 70000;

// Where an MCU begins.
struct McuPlace {
    int32_t next;
    uint8_t bits, bit_count;

    int64_t key() const { return int64_t{next} * 8 - bit_count; }
};

// What a chunk was read to: place i stands before MCU i * kPlaceMcus. The DC values of one row of a component's blocks
// stand side by side for all MCUs.
struct ChunkRecords {
    ChunkRecords *next_free;
    int16_t *values;
    McuPlace *places;
    int32_t most_mcus, mcus, place_count;
};

enum class ChunkState : uint8_t { kWaiting, kRunning, kDone };

struct Chunk {
    int32_t start, end;  // bytes of the input
    ChunkState state;
    ChunkRecords *records;  // null where nothing came of it
};

// One thread's reader.
struct ChunkReader {
    ChunkReader *next_free;
    StreamCursor cursor;
    ScanReader scan = {};
    int16_t dc[kPlaceMcus * kMaxBlocksInMcu];
    int16_t *dc_blocks[kPlaceMcus * kMaxBlocksInMcu];
    uint8_t last[kPlaceMcus * kMaxBlocksInMcu];

    explicit ChunkReader(IoInfo *io) : next_free(nullptr), cursor(io) {}
};
ChunkReader *open_chunk_reader(const ScanReader *scan, const IoInfo *io);
void close_chunk_reader(ChunkReader *reader);
// What ends the reading of a chunk before its time.
struct Stop {
    const uint32_t *word;
    const DecInfo *session;

    bool is_set() const { return load_relaxed(word) || is_cancelled(session); }
};
// Reads from `start` until a place at or behind `end`, the end of the data, or until the records are full.
void read_chunk(ChunkReader *reader, int32_t start, int32_t end, const Stop &stop, ChunkRecords *records);

// The master's side, for the length of one decode.
class Speculation final : public McuSource {
  public:
    // Bytes of a chunk, and threads besides the caller's.
    Speculation(JpegInfo *info, int32_t chunk_bytes, int32_t threads);
    ~Speculation();
    Speculation(const Speculation &) = delete;
    Speculation &operator=(const Speculation &) = delete;

    // From the decoder's position in the input on. False without memory.
    bool start(int32_t position);
    // What a thread does: chunk after chunk.
    void run_thread();
    int32_t decode(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last) override;

  private:
    static void *run_chunk(void *task);
    bool stopped() const;
    Chunk *claim();
    void work_on(Chunk *chunk);
    void run_by_tests();
    bool wait_for_chunk();
    void finish_chunk();
    int32_t value_before(int32_t place, int32_t block) const;
    bool find_place(const McuPlace &at);
    void start_taking(const ScanReader *scan);
    int32_t take(ScanReader *scan, McuMode mode, int32_t count, int16_t *const *blocks, uint8_t *last);
    void leave_records(ScanReader *scan);
    ChunkReader *take_reader();
    ChunkRecords *take_records();

    const ScanReader pattern_;  // the decoder's as it stood at first
    const DecInfo *session_;
    int32_t chunk_bytes_, threads_, most_mcus_;
    Chunk *chunks_ = nullptr;
    int32_t chunk_count_ = 0;
    // The decoder's own.
    bool taking_ = false;
    int32_t merge_ = 0;                      // the chunk that it is in or comes to
    int32_t place_ = 0;                      // the next one there that it may meet
    int32_t cursor_ = 0;                     // the MCU there that it takes next
    uint32_t offsets_[kMaxComponents] = {};  // of true values to the records'
    // Of a block of an MCU: where its values stand in the records, and how far apart.
    struct BlockValues {
        int32_t first_block, first, step;
    } at_[kMaxBlocksInMcu];
    // Shared, under the lock.
    pthread_mutex_t lock_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
    int32_t next_claim_ = 0, merged_ = 0;
    ChunkReader *readers_ = nullptr;
    ChunkRecords *records_ = nullptr;
    uint32_t stop_ = 0;
    vorel_threadpool *pool_ = nullptr;
};

// The interval that chunks are reckoned from, in units of 16384 bytes: coarser for pictures with more bytes a pixel.
int32_t speculation_interval(uint64_t pixels, int64_t input_bytes);
// For tests and benchmarks: a chunk's bytes, and no least size of the input; 0 as reckoned, below that none at all.
void set_speculation_chunk(int32_t bytes);

// What a decode has of it, see begin_speculation. kNone where it does not pay or cannot be.
enum class Speculated : uint8_t { kNone, kStarted, kFailed };
Speculated begin_speculation(JpegInfo *info);
void end_speculation(JpegInfo *info);

}  // namespace vorel
