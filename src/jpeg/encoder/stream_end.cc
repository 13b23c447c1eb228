// The end of a stream, or of a strip of one.
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kEndGrowth = 10;

int32_t end_stream(JEInfo *session, bool with_eoi) {
    RimEncSink *sink = session->sink;
    if (uint64_t{sink->position} + kEndGrowth >= sink->capacity) step_on(session, kEndGrowth);
    __rim_jpeg_enc_finish_compression(session);
    if (with_eoi && make_room(session, 2)) put_marker(session, kEoi);
    if (sink->mode == kSinkFile || sink->mode == kSinkCallback) {
        hand_over(session);
        __rim_enc_fake_free(session, session->staging);
        session->staging = sink->buffer = nullptr;
        sink->capacity = 0;
        session->work->allocated = 0;
    } else {
        sink->total = sink->position;
    }
    return !session->work->failed;
}

}  // namespace
}  // namespace vorel

extern "C" {

int32_t __rim_jpeg_enc_make_end_mark(JEInfo *session) { return vorel::end_stream(session, true); }
int32_t __rim_jpeg_enc_make_without_end_mark(JEInfo *session) { return vorel::end_stream(session, false); }

}  // extern "C"
