// The table of blocks that all memory of a session comes from.
#include "jpeg/encoder/memory.h"

namespace vorel {
namespace {

constexpr uint32_t kMostBlocks = 100;
constexpr uint64_t kAlignment = 16;

uint64_t round_up(uint64_t value) { return (value + kAlignment - 1) & ~(kAlignment - 1); }

// Row pointers over a block of their own; each row holds a multiple of 16 samples.
template <typename Sample>
Sample **rows_over_block(JEInfo *session, uint32_t per_row, uint32_t rows, uint32_t *alignment) {
    const uint64_t width = round_up(per_row);
    auto **table = allocate<Sample *>(session, rows);
    auto *samples = table ? allocate<Sample>(session, width * rows) : nullptr;
    if (!samples) return nullptr;
    for (uint32_t row = 0; row < rows; ++row) table[row] = samples + width * row;
    if (alignment) *alignment = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(samples) % kAlignment);
    return table;
}

}  // namespace

void *allocate_bytes(JEInfo *session, uint64_t bytes) {
    if (session->blockCount >= kMostBlocks || bytes > INT32_MAX - 64) return nullptr;
    void *raw = os_allocate_zeroed(static_cast<size_t>(round_up(bytes + 32)));
    if (!raw) return nullptr;
    void *aligned = reinterpret_cast<void *>(round_up(reinterpret_cast<uintptr_t>(raw)));
    session->rawBlocks[session->blockCount] = raw;
    session->alignedBlocks[session->blockCount++] = aligned;
    return aligned;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void *__rim_enc_fake_malloc(JEInfo *session, uint32_t size) { return allocate_bytes(session, size); }

// Rows of the table are not used again.
void __rim_enc_fake_free(JEInfo *session, void *alignedPointer) {
    for (uint32_t i = 0; alignedPointer && i < session->blockCount; ++i) {
        if (session->alignedBlocks[i] != alignedPointer) continue;
        os_release(session->rawBlocks[i]);
        session->rawBlocks[i] = session->alignedBlocks[i] = nullptr;
        return;
    }
}

uint8_t **__rim_jpeg_enc_alloc_sample_arry(JEInfo *session, uint32_t samplesPerRow, uint32_t rows,
                                           uint32_t *outAlignment) {
    return rows_over_block<uint8_t>(session, samplesPerRow, rows, outAlignment);
}

JEBlock **__rim_jpeg_enc_alloc_block_arry(JEInfo *session, uint32_t blocksPerRow, uint32_t rows,
                                          uint32_t *outAlignment) {
    return rows_over_block<JEBlock>(session, blocksPerRow, rows, outAlignment);
}

}  // extern "C"
