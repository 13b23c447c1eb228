// A picture that comes by columns of MCUs: each MCU row grows a stream of its own, and restart markers join them.
#include "jpeg/encoder/parallel/columns.h"

#include <vorel/jpeg_encoder_parallel.h>

#include <cstring>

#include "jpeg/encoder/memory.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

// Ten eighths of an even share of the expected size; where that is less than an MCU takes, a page.
uint32_t row_budget(const JEInfo *session) {
    const uint32_t rows = session->mcuRowTotal;
    const uint64_t hint = session->presetHeader ? session->presetHeader->byteSizeHint : 0;
    const uint64_t budget = (((hint * 10) >> 3) + rows - 1) / rows;
    return budget < 128u * session->blocksInMcu ? 4096 : static_cast<uint32_t>(budget > INT32_MAX ? INT32_MAX : budget);
}

// The session's sink and bits are those of a row while this lives.
class RowTurn {
  public:
    RowTurn(JEInfo *session, uint32_t row) : session_(session), row_(row) {
        const JEColumnState &state = session->columns[row];
        JEEntropy *entropy = session->entropy;
        own_allocated_ = session->work->allocated;
        own_fixed_ = session->work->fixed;
        session->sink = state.sink;
        session->work->allocated = session->work->columnAllocated[row];
        session->work->fixed = false;
        entropy->bitBuffer = state.bitBuffer;
        entropy->bitCount = state.bitCount;
        std::memcpy(entropy->lastDc, state.lastDc, sizeof entropy->lastDc);
    }
    ~RowTurn() {
        JEColumnState &state = session_->columns[row_];
        JEEntropy *entropy = session_->entropy;
        state.bitBuffer = entropy->bitBuffer;
        state.bitCount = entropy->bitCount;
        std::memcpy(state.lastDc, entropy->lastDc, sizeof state.lastDc);
        entropy->bitBuffer = entropy->bitCount = 0;
        session_->work->columnAllocated[row_] = session_->work->allocated;
        session_->work->allocated = own_allocated_;
        session_->work->fixed = own_fixed_;
        session_->sink = session_->savedSink;
    }
    RowTurn(const RowTurn &) = delete;
    RowTurn &operator=(const RowTurn &) = delete;

  private:
    JEInfo *session_;
    uint32_t row_;
    uint64_t own_allocated_;
    bool own_fixed_;
};

void join_to_memory(JEInfo *session, const RimEncSink &row) {
    if (make_room(session, row.position)) put_bytes(session, row.buffer, row.position);
}

}  // namespace

void release_columns(JEInfo *session) {
    if (!session->columns) return;
    for (uint32_t i = 0; i < session->mcuRowTotal; ++i) os_release(session->columns[i].sink->buffer);
    __rim_enc_fake_free(session, session->columns[0].sink);
    __rim_enc_fake_free(session, session->work->columnAllocated);
    __rim_enc_fake_free(session, session->columns);
    session->columns = nullptr;
    session->sink = session->savedSink;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t __rim_jpeg_enc_col_encoder_init(JEInfo *session) {
    if (!session || session->columns || session->progressiveMode) return 0;
    auto *columns = allocate<JEColumnState>(session, session->mcuRowTotal);
    auto *sinks = allocate<RimEncSink>(session, session->mcuRowTotal);
    session->work->columnAllocated = allocate<uint64_t>(session, session->mcuRowTotal);
    if (!columns || !sinks || !session->work->columnAllocated) {
        VOREL_ENC_LOG("[%s : memalloc Fail!!(%d)]\n");
        return 0;
    }
    const uint32_t budget = row_budget(session);
    for (uint32_t i = 0; i < session->mcuRowTotal; ++i) {
        // The memory itself comes when the row is written to.
        sinks[i].mode = kSinkMemory;
        sinks[i].capacity = budget;
        columns[i].sink = &sinks[i];
    }
    session->columns = columns;
    session->columnCursor = 0;
    session->savedSink = session->sink;
    // Columns know nothing of the markers between the rows; they come at the end.
    session->restartInterval = 0;
    return 1;
}

int32_t __rim_jpeg_enc_col_entroy_encoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextColumn) {
    if (!session || !session->columns || !mcuBlocks || session->columnCursor >= session->width) return 0;
    for (uint32_t row = 0; row < session->mcuRowTotal; ++row) {
        const RowTurn turn(session, row);
        if (!__rim_jpeg_enc_encode_1mcu_blk(session, mcuBlocks + size_t{row} * kMaxBlocksInMcu)) {
            session->coefState->mcuRow = row;
            return 0;
        }
    }
    session->columnCursor += 8u * session->maxHSamp;
    if (outNextColumn) *outNextColumn = session->columnCursor;
    return 1;
}

int32_t __rim_jpeg_enc_col_encoder_finish(JEInfo *session) {
    if (!session || !session->columns) return 0;
    for (uint32_t i = 0; i < session->mcuRowTotal && !session->work->failed; ++i) {
        {
            const RowTurn turn(session, i);
            __rim_jpeg_enc_finish_compression(session);
        }
        const RimEncSink &row = *session->columns[i].sink;
        const uint32_t mode = session->sink->mode;
        if (mode == kSinkMemory) join_to_memory(session, row);
        if (mode == kSinkFile) hand_over(session, row.buffer, row.position);
        const bool joins = (mode == kSinkMemory || mode == kSinkFile) && i + 1 < session->mcuRowTotal;
        if (joins && make_room(session, 2)) put_marker(session, kRst0 + static_cast<int32_t>(i & 7));
    }
    release_columns(session);
    return !session->work->failed;
}

}  // extern "C"
