// Inputs as the engine sees them; the operations themselves are the exported ones of vorel/frame.h.
#pragma once

#include <vorel/frame.h>

#include <climits>

namespace vorel {

constexpr int32_t kBlockBytes = 16384;

constexpr uint32_t kIoFile = 0;
constexpr uint32_t kIoMemory = 1;
constexpr uint32_t kIoStdio = 2;
constexpr uint32_t kIoStream = 4;
constexpr uint32_t kIoOwnedMemory = 5;

inline bool is_memory(const IoInfo *io) { return io->kind == kIoMemory || io->kind == kIoOwnedMemory; }
inline bool is_file(const IoInfo *io) { return io->kind == kIoFile || io->kind == kIoStdio; }

// Positions are 31 bits: a source that never ends, ends for us where they do. What of `count` bytes may still be read.
inline int32_t within_positions(const StreamBuffer *stream, int32_t count) {
    const int32_t left = INT32_MAX - stream->totalRead;
    return count < left ? count : left;
}

inline void consume(StreamBuffer *stream, int32_t bytes) {
    stream->offset += bytes;
    stream->available -= bytes;
}

// One byte, refilling as needed; -1 at the end of the input.
inline int32_t read_byte(StreamBuffer *stream) {
    if (stream->available < 1 && BRIMJ_CheckBuffer(stream, 1) == 0) return -1;
    const uint8_t byte = stream->buffer[stream->offset];
    consume(stream, 1);
    return byte;
}

// True when `bytes` unread bytes stand in the block, after a refill if need be.
inline bool ensure_bytes(StreamBuffer *stream, int32_t bytes) {
    if (stream->available >= bytes) return true;
    return BRIMJ_CheckBuffer(stream, bytes) != 0 && stream->available >= bytes;
}

// Copies the bytes behind the cursor, which moves on; gives how many there were.
int32_t read_bytes(StreamBuffer *stream, uint8_t *out, int32_t count);

inline const uint8_t *unread(const StreamBuffer *stream) { return stream->buffer + stream->offset; }

// Passes over `bytes` unread bytes, by a seek where they go beyond the block. False at the end of the input.
bool skip_bytes(StreamBuffer *stream, int64_t bytes);

// Position in the input of the next unread byte.
inline int32_t stream_position(const StreamBuffer *stream) { return stream->io->position - stream->available; }

// Moves the cursor to a position of the input: within its block without reading anything again, else by a seek. block
// is the one that the stream buffer was made with. False where the input does not go there.
bool move_to(StreamBuffer *stream, uint8_t *block, int32_t position);

// A stream buffer with the block that belongs to it.
class StreamCursor {
  public:
    explicit StreamCursor(IoInfo *io)
        : block_(BRIMJ_AllocateStreamBuffer(io)), stream_{io, 0, io ? io->size : 0, 0, 0, block_} {}
    ~StreamCursor() { BRIMJ_ReleaseStreamBuffer(stream_.io, block_); }
    StreamCursor(const StreamCursor &) = delete;
    StreamCursor &operator=(const StreamCursor &) = delete;

    // False without memory for the block.
    bool ready() const { return block_ != nullptr; }
    // Starts afresh at a position of the input; gives the position that the input went to, -1 where it went nowhere.
    int32_t start_at(int32_t position);

    StreamBuffer *stream() { return &stream_; }
    uint8_t *block() const { return block_; }

  private:
    uint8_t *block_;
    StreamBuffer stream_;
};

// A second reader of a path or of memory, for any thread; null for other inputs, and without memory.
IoInfo *open_again(const IoInfo *io);
// A second reader of any input, which leaves the first one where it is; for the first one's thread. Takes no further
// descriptor. Null where the input can be read only once, and without memory.
IoInfo *share_input(const IoInfo *io);
// Either of them.
void close_again(IoInfo *io);

}  // namespace vorel
