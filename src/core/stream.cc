// Input streams of every kind, and the block cursor that parsers walk.
#include "core/stream.h"

#include <climits>
#include <cstring>

#include "core/codes.h"
#include "core/os.h"

namespace vorel {
namespace {

uint8_t *memory_at(const IoInfo *io, int32_t position) { return static_cast<uint8_t *>(io->source) + position; }

// Bytes that a read of `count` delivers from a memory input. A position before the start (a relative seek may leave
// one), a negative count and memory that was taken away deliver nothing.
int32_t memory_bytes(const IoInfo *io, int32_t count) {
    if (count <= 0 || !io->source || io->position < 0 || io->position >= io->size) return 0;
    const int32_t left = io->size - io->position;
    return count < left ? count : left;
}

// What a caller's read function says it delivered, within what it was asked for.
int32_t stream_read(IoInfo *io, void *destination, int32_t count) {
    if (count <= 0 || !io->readFn) return 0;
    const int32_t delivered = io->readFn(io->source, destination, count);
    return delivered < 0 ? 0 : delivered > count ? count : delivered;
}

int32_t clamp_to_int32(int64_t value) {
    return static_cast<int32_t>(value > INT32_MAX ? INT32_MAX : value < INT32_MIN ? INT32_MIN : value);
}

// Required: a relative seek is clamped above only; decoders step back by small amounts.
int32_t seek_memory(IoInfo *io, int32_t offset, int32_t whence) {
    int64_t target = io->position;
    if (whence == SEEK_SET) {
        if (offset < 0) return -1;
        target = offset;
    } else if (whence == SEEK_CUR) {
        target += offset;
    } else if (whence == SEEK_END) {
        if (offset > 0) return -1;
        target = static_cast<int64_t>(io->size) + offset;
    } else {
        return io->position;
    }
    if (whence != SEEK_END && target > io->size) target = io->size;
    io->position = clamp_to_int32(target);
    return io->position;
}

int32_t skip_stream(IoInfo *io, int32_t offset) { return io->skipFn ? io->skipFn(io->source, 0, offset) : 0; }

// A stream only goes forward, so a seek is a rewind and a skip.
int32_t seek_stream(IoInfo *io, int32_t offset, int32_t whence) {
    if (whence == SEEK_SET) {
        // Required: without a rewind function 0, not a failure, and nothing moves.
        if (!io->rewindFn) return 0;
        if (offset < 0) return -1;
        io->rewindFn(io->source, 0, 0);
        io->position = 0;
        if (offset != 0) io->position = skip_stream(io, offset);
    } else if (whence == SEEK_CUR) {
        skip_stream(io, offset);
        io->position = clamp_to_int32(static_cast<int64_t>(io->position) + offset);
    } else if (whence == SEEK_END) {
        if (offset > 0) return -1;
        const int64_t target = static_cast<int64_t>(io->size) + offset;
        skip_stream(io, clamp_to_int32(target - io->position));
        io->position = clamp_to_int32(target);
    } else {
        return -1;
    }
    return io->position;
}

// The end of a freshly opened file; leaves it at its start. False when the position does not fit 31 bits.
bool learn_size(IoInfo *io) {
    io->size = VORELBRIM_SeekFile(io->file, 0, SEEK_END);
    return io->size >= 0 && VORELBRIM_SeekFile(io->file, 0, SEEK_SET) == 0;
}

// Opens the source of a zeroed record. 1 opened, 0 failed with the error word set, -1 failed and the open file is
// left behind.
int32_t open_source(IoInfo *io, void *source, int32_t size) {
    switch (io->kind) {
        case kIoFile: {
            FILE *file = VORELBRIM_OpenFile(static_cast<const char *>(source));
            if (file == reinterpret_cast<FILE *>(static_cast<intptr_t>(-1))) break;
            io->source = source;
            io->file = file;
            io->size = size;
            if (size == 0 && !learn_size(io)) {
                VORELBRIM_CloseFile(file);
                break;
            }
            const size_t bytes = std::strlen(static_cast<const char *>(source)) + 1;
            io->path = static_cast<char *>(os_allocate(bytes));
            // Required: no error code, and the file stays open.
            if (!io->path) return -1;
            std::memcpy(io->path, source, bytes);
            return 1;
        }
        case kIoStdio:
            if (!source) break;
            io->file = static_cast<FILE *>(source);
            io->startOffset = VORELBRIM_OsFtell(io->file);
            io->size = size;
            if (size == 0 && VORELBRIM_Seek_IO(io, 0, SEEK_SET) != 0) break;
            return 1;
        case kIoMemory:
        case kIoOwnedMemory:
            if (size == 0) {
                set_error(kErrorEmptyMemory);
                return 0;
            }
            io->source = source;
            io->size = size;
            return 1;
        default:
            set_error(kErrorInputKind);
            return 0;
    }
    set_error(kErrorOpen);
    return 0;
}

}  // namespace

bool skip_bytes(StreamBuffer *stream, int64_t bytes) {
    if (bytes <= stream->available) {
        consume(stream, static_cast<int32_t>(bytes));
        return true;
    }
    const int64_t excess = bytes - stream->available;
    const int64_t target = stream->totalRead + excess;
    stream->offset = 0;
    stream->available = 0;
    if (target > INT32_MAX) return false;
    stream->totalRead = static_cast<int32_t>(target);
    return VORELBRIM_Seek_IO(stream->io, static_cast<int32_t>(excess), SEEK_CUR) >= stream->totalRead;
}

bool move_to(StreamBuffer *stream, uint8_t *block, int32_t position) {
    IoInfo *io = stream->io;
    const int32_t back = stream_position(stream) - position;
    if (position < 0) return false;
    if (back <= stream->offset && -back <= stream->available) {
        stream->offset -= back;
        stream->available += back;
        return true;
    }
    const int32_t base = stream->totalRead - io->position;
    if (VORELBRIM_Seek_IO(io, position, SEEK_SET) != position) return false;
    stream->totalRead = base + position;
    stream->buffer = block;
    stream->offset = 0;
    stream->available = 0;
    return true;
}

int32_t read_bytes(StreamBuffer *stream, uint8_t *out, int32_t count) {
    int32_t copied = 0;
    while (copied < count && ensure_bytes(stream, 1)) {
        const int32_t left = count - copied, part = left < stream->available ? left : stream->available;
        std::memcpy(out + copied, unread(stream), static_cast<size_t>(part));
        consume(stream, part);
        copied += part;
    }
    return copied;
}

int32_t StreamCursor::start_at(int32_t position) {
    const int32_t reached = VORELBRIM_Seek_IO(stream_.io, position, SEEK_SET);
    if (reached < 0) return -1;
    stream_.buffer = block_;
    stream_.offset = 0;
    stream_.available = 0;
    stream_.totalRead = reached;
    stream_.totalSize = stream_.io->size;
    return reached;
}

namespace {

// A file and callbacks serve several readers of one thread: each read puts the position back where the others left it.
struct SharedSource {
    IoInfo *base;
    int32_t position;
};

int32_t position_of(const IoInfo *io) { return is_file(io) ? VORELBRIM_OsFtell(io->file) : io->position; }

int32_t read_shared(void *context, void *destination, int32_t count) {
    SharedSource *source = static_cast<SharedSource *>(context);
    IoInfo *io = source->base;
    const int32_t kept = position_of(io), counted = io->position;
    if (kept < 0 || VORELBRIM_Seek_IO(io, source->position, SEEK_SET) != source->position) return 0;
    const int32_t delivered = VORELBRIM_Read_IO(io, destination, count);
    if (delivered > 0) source->position += delivered;
    VORELBRIM_Seek_IO(io, kept, SEEK_SET);
    io->position = counted;
    return delivered;
}

int32_t skip_shared(void *context, int32_t, int32_t count) {
    SharedSource *source = static_cast<SharedSource *>(context);
    source->position += count;
    return source->position;
}

int32_t rewind_shared(void *context, int32_t, int32_t) {
    static_cast<SharedSource *>(context)->position = 0;
    return 0;
}

}  // namespace

IoInfo *open_again(const IoInfo *io) {
    if (is_memory(io)) return VORELBRIM_Open_IO(kIoMemory, io->source, io->size);
    return io->kind == kIoFile ? VORELBRIM_Open_IO(kIoFile, io->path, io->size) : nullptr;
}

IoInfo *share_input(const IoInfo *io) {
    if (is_memory(io)) return open_again(io);
    if (io->kind == kIoStream && !io->rewindFn) return nullptr;
    SharedSource *source = os_allocate_array<SharedSource>(1);
    if (!source) return nullptr;
    source->base = const_cast<IoInfo *>(io);
    IoInfo *shared = VORELBRIM_Open_Stream(source, read_shared, skip_shared, rewind_shared, io->size);
    if (!shared) os_release(source);
    return shared;
}

void close_again(IoInfo *io) {
    if (!io) return;
    if (io->kind == kIoStream) os_release(io->source);
    VORELBRIM_Close_IO(io);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

IoInfo *VORELBRIM_Open_IO(uint32_t kind, void *pathOrBufferOrStream, int32_t size) {
    IoInfo *io = os_allocate_array<IoInfo>(1);
    if (!io) {
        set_error(kErrorOutOfMemory);
        return nullptr;
    }
    io->kind = kind;
    io->bufferSize = kBlockBytes;
    if (open_source(io, pathOrBufferOrStream, size) == 1) return io;
    os_release(io);
    return nullptr;
}

IoInfo *VORELBRIM_Open_Stream(void *context, VorelReadFn readFn, VorelSkipFn skipFn, VorelRewindFn rewindFn,
                              int32_t size) {
    IoInfo *io = os_allocate_array<IoInfo>(1);
    if (!io) {
        set_error(kErrorOutOfMemory);
        return nullptr;
    }
    io->kind = kIoStream;
    io->source = context;
    io->size = size;
    io->bufferSize = kBlockBytes;
    io->readFn = readFn;
    io->skipFn = skipFn;
    io->rewindFn = rewindFn;
    return io;
}

int32_t VORELBRIM_Read_IO(IoInfo *io, void *destination, int32_t count) {
    if (!io) return -1;
    int32_t delivered;
    if (is_memory(io)) {
        delivered = memory_bytes(io, count);
        if (delivered > 0) std::memcpy(destination, memory_at(io, io->position), static_cast<size_t>(delivered));
    } else if (is_file(io)) {
        delivered = VORELBRIM_ReadFile(io->file, destination, count);
    } else if (io->kind == kIoStream) {
        delivered = stream_read(io, destination, count);
    } else {
        return -1;
    }
    io->position = clamp_to_int32(static_cast<int64_t>(io->position) + delivered);
    return delivered;
}

int32_t VORELBRIM_Read_IO2(IoInfo *io, uint8_t **inOutPointer, int32_t count) {
    if (!io || !inOutPointer) return -1;
    if (!is_memory(io)) return VORELBRIM_Read_IO(io, *inOutPointer, count);
    const int32_t delivered = memory_bytes(io, count);
    if (delivered > 0) *inOutPointer = memory_at(io, io->position);
    io->position += delivered;
    return delivered;
}

int32_t VORELBRIM_Seek_IO(IoInfo *io, int32_t offset, int32_t whence) {
    if (!io) return -1;
    if (is_memory(io)) return seek_memory(io, offset, whence);
    if (io->kind == kIoStream) return seek_stream(io, offset, whence);
    if (!is_file(io)) return -1;
    io->position = VORELBRIM_SeekFile(io->file, offset, whence);
    return io->position;
}

int32_t VORELBRIM_Close_IO(IoInfo *io) {
    if (!io || (!is_memory(io) && !is_file(io) && io->kind != kIoStream)) return 0;
    if (io->kind == kIoFile) {
        VORELBRIM_CloseFile(io->file);
        os_release(io->path);
    }
    os_release(io);
    return 1;
}

// The caller keeps the pointer that it got here and hands that one to the release: a cursor moves its own copy.
uint8_t *BRIMJ_AllocateStreamBuffer(IoInfo *io) {
    if (!io) return nullptr;
    if (io->kind == kIoMemory) return static_cast<uint8_t *>(io->source);
    return static_cast<uint8_t *>(os_allocate(kBlockBytes));
}

void BRIMJ_ReleaseStreamBuffer(IoInfo *io, uint8_t *buffer) {
    if (!io || io->kind == kIoMemory || !buffer) return;
    if (io->kind == kIoOwnedMemory && io->size > 0) {
        const uintptr_t address = reinterpret_cast<uintptr_t>(buffer);
        const uintptr_t base = reinterpret_cast<uintptr_t>(io->source);
        if (address >= base && address - base < static_cast<uintptr_t>(io->size)) return;
    }
    os_release(buffer);
}

int32_t BRIMJ_CheckBuffer(StreamBuffer *stream, int32_t needed) {
    if (!stream) return 0;
    if (stream->available >= needed) return 2;
    if (stream->available == 0) {
        if (!stream->buffer) return 0;
        const int32_t delivered =
            VORELBRIM_Read_IO2(stream->io, &stream->buffer, within_positions(stream, kBlockBytes));
        if (delivered <= 0) return 0;
        stream->offset = 0;
        stream->available = delivered;
        stream->totalRead += delivered;
        return 1;
    }
    if (static_cast<int64_t>(stream->available) + needed > kBlockBytes) return 0;
    // Only as much is read as was consumed, so that the block never outgrows its size. For memory the block runs
    // straight on in the input, so the address that the read hands out is the one behind the remainder.
    const int32_t consumed = stream->offset;
    if (is_memory(stream->io)) {
        stream->buffer += consumed;
    } else if (consumed > 0) {
        std::memmove(stream->buffer, stream->buffer + consumed, static_cast<size_t>(stream->available));
    }
    stream->offset = 0;
    uint8_t *behind = stream->buffer + stream->available;
    const int32_t delivered = VORELBRIM_Read_IO2(stream->io, &behind, within_positions(stream, consumed));
    if (delivered <= 0) return 0;
    stream->available += delivered;
    stream->totalRead += delivered;
    return 1;
}

}  // extern "C"
