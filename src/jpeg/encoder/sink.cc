// Where a session's bytes go: a file, a callback, memory that grows, memory that does not.
#include "jpeg/encoder/sink.h"

#include "jpeg/encoder/memory.h"

namespace vorel {
namespace {

// Memory grows by half, but by no more than this, so that little is left over at the end.
constexpr uint64_t kMostGrowth = 1 << 20;

bool moves_on(const RimEncSink *sink) { return sink->mode == kSinkFile || sink->mode == kSinkCallback; }

// What is measured is written nowhere.
bool discards(const JEInfo *session) { return session->gathering && !session->progressiveMode; }

bool grow(JEInfo *session, uint64_t needed) {
    RimEncSink *sink = session->sink;
    JEWork *work = session->work;
    const uint64_t half = work->allocated / 2;
    const uint64_t step = half < kGrowth ? kGrowth : half > kMostGrowth ? kMostGrowth : half;
    uint64_t bytes = work->allocated + step;
    if (bytes < needed + kMostMcuBytes) bytes = needed + kMostMcuBytes;
    void *moved = work->fixed || bytes > INT32_MAX ? nullptr : os_reallocate(sink->buffer, static_cast<size_t>(bytes));
    if (!moved) {
        work->failed = true;
        if (!work->fixed) rim_SetError(kEncoderNoMemory);
        return false;
    }
    sink->buffer = static_cast<uint8_t *>(moved);
    std::memset(sink->buffer + work->allocated, 0, static_cast<size_t>(bytes - work->allocated));
    work->allocated = bytes;
    return true;
}

}  // namespace

void hand_over(JEInfo *session, const uint8_t *bytes, uint32_t count) {
    RimEncSink *sink = session->sink;
    hand_over(session);
    sink->total += count;
    if (discards(session) || count == 0) return;
    // Required: a file that takes no more is not noticed.
    if (sink->mode == kSinkFile && sink->file) {
        (void)!std::fwrite(bytes, 1, count, sink->file);
    } else if (sink->mode == kSinkCallback && sink->callback) {
        sink->callback(sink->callbackArg, const_cast<uint8_t *>(bytes), count);
    }
}

void hand_over(JEInfo *session) {
    RimEncSink *sink = session->sink;
    const uint32_t count = sink->position;
    sink->position = 0;
    if (count) hand_over(session, sink->buffer, count);
}

bool make_room(JEInfo *session, uint32_t bytes) {
    const RimEncSink *sink = session->sink;
    JEWork *work = session->work;
    if (work->failed) return false;
    const uint64_t needed = uint64_t{sink->position} + bytes;
    if (needed <= work->allocated) return true;
    if (moves_on(sink)) {
        hand_over(session);
        if (bytes <= work->allocated) return true;
        work->failed = true;
        return false;
    }
    if (!grow(session, needed)) return false;
    if (sink->capacity < needed) session->sink->capacity = static_cast<uint32_t>(needed);
    return true;
}

bool reserve(JEInfo *session, uint32_t bytes) {
    const uint64_t needed = uint64_t{session->sink->position} + bytes;
    return needed <= session->work->allocated || grow(session, needed);
}

bool step_on(JEInfo *session, uint32_t step) {
    RimEncSink *sink = session->sink;
    if (moves_on(sink)) {
        hand_over(session);
        return true;
    }
    if (sink->mode == kSinkMemory && !session->work->fixed) sink->capacity += step;
    return sink->capacity <= session->work->allocated || session->work->fixed || grow(session, sink->capacity);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_flush_buffer(JEInfo *session) { return step_on(session, kGrowth); }

uint8_t *rim_jpeg_enc_realloc(uint8_t *oldBuffer, uint32_t oldSize, uint32_t step) {
    auto *larger = os_allocate_array<uint8_t>(uint64_t{oldSize} + step);
    if (!larger) {
        rim_SetError(kEncoderNoMemory);
    } else if (oldBuffer) {
        std::memcpy(larger, oldBuffer, oldSize);
    }
    os_release(oldBuffer);
    return larger;
}

}  // extern "C"
