// Entropy coding of baseline MCUs (T.81 F.1.2), restart markers and padding.
#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/sink.h"
#include "util/simd_targets.h"

namespace vorel {
namespace {

constexpr uint32_t kNothingYet = 0xFFFFFFFF;
// What a chunk of output leaves free for a block. Not a bound: see kMostMcuBytes for that.
constexpr uint32_t kUsualBlockBytes = 128;

// Before zeros are stuffed, with the bits that wait and what the writer stores beyond its end.
constexpr uint32_t kMostPlainBytes = kMostMcuBits / 8 + 16;

bool encode_blocks(JEInfo *session, const CodingBlock *blocks, uint8_t **at) {
    JEEntropy *entropy = session->entropy;
    uint8_t plain[kMostPlainBytes];
    BitWriter writer(entropy->bitBuffer, entropy->bitCount, plain);
    const bool good = session->work->runMcu(session, blocks, &writer);
    entropy->bitBuffer = writer.waiting();
    entropy->bitCount = writer.waiting_count();
    *at = copy_stuffed(plain, writer.at(), *at);
    return good;
}

// Into memory that may be too small for the longest MCU: by way of memory that is not.
bool encode_in_passing(JEInfo *session, const CodingBlock *blocks) {
    RimEncSink *sink = session->sink;
    uint8_t bytes[kMostMcuBytes], *end = bytes;
    if (!encode_blocks(session, blocks, &end)) return false;
    const uint32_t count = static_cast<uint32_t>(end - bytes);
    if (count > session->work->allocated - sink->position) return false;
    put_bytes(session, bytes, count);
    return true;
}

}  // namespace

McuRun mcu_run() {
#if defined(__x86_64__)
    return bmi2_runs() ? kBmi2McuRun : kPlainMcuRun;
#else
    return kPlainMcuRun;
#endif
}

bool next_mcu_room(JEInfo *session) {
    const RimEncSink *sink = session->sink;
    if (uint64_t{sink->position} + kUsualBlockBytes * session->blocksInMcu < sink->capacity) return true;
    return step_on(session, kGrowth);
}

bool encode_mcu(JEInfo *session, const CodingBlock *blocks) {
    RimEncSink *sink = session->sink;
    JEWork *work = session->work;
    if (work->failed || !next_mcu_room(session)) return false;
    bool good;
    if (work->allocated - sink->position >= kMostMcuBytes) [[likely]] {
        __rim_jpeg_write_restart_marker(session);
        uint8_t *at = sink->buffer + sink->position;
        good = encode_blocks(session, blocks, &at);
        sink->position = static_cast<uint32_t>(at - sink->buffer);
    } else if (sink->mode == kSinkMemory && !work->fixed) {
        return reserve(session, kMostMcuBytes) && encode_mcu(session, blocks);
    } else {
        __rim_jpeg_write_restart_marker(session);
        good = !work->failed && encode_in_passing(session, blocks);
    }
    if (!good) work->failed = true;
    return good;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

// Before each MCU. The first one has none in front of it.
void __rim_jpeg_write_restart_marker(JEInfo *session) {
    if (session->restartInterval < 1) return;
    if (session->restartCounter == kNothingYet) {
        session->restartCounter = 1;
        return;
    }
    if (session->restartCounter % session->restartInterval == 0) {
        JEEntropy *entropy = session->entropy;
        const bool writes = !session->gathering || session->progressiveMode;
        if (entropy->bitCount > 0 && writes) __rim_jpeg_enc_finish_compression(session);
        entropy->bitBuffer = entropy->bitCount = 0;
        if (!session->gathering && make_room(session, 2)) {
            put_marker(session, kRst0 + static_cast<int32_t>(session->restartNumber & 7));
        }
        for (uint32_t i = 0; i < session->componentsInScan; ++i) entropy->lastDc[i] = 0;
        ++session->restartNumber;
    }
    ++session->restartCounter;
}

int32_t __rim_jpeg_enc_encode_1mcu_blk(JEInfo *session, int16_t **blocks) {
    alignas(64) int16_t zigzag[kMaxBlocksInMcu][kBlockCoefficients];
    CodingBlock coding[kMaxBlocksInMcu];
    for (uint32_t i = 0; i < session->blocksInMcu; ++i) {
        coding[i] = {zigzag[i], session->work->kernels->zigzag(blocks[i], zigzag[i]), blocks[i][0]};
    }
    return encode_mcu(session, coding);
}

// `size` bits of at most 25, the upper ones of `code` not looked at.
void __rim_jpeg_enc_write_bits(JEInfo *session, uint32_t code, uint32_t size) {
    JEEntropy *entropy = session->entropy;
    // Each byte may be stuffed.
    if (size > 25 || !make_room(session, 2 * ((entropy->bitCount + size) / 8))) return;
    uint32_t bits = entropy->bitBuffer << size | (code & ((1u << size) - 1)), count = entropy->bitCount + size;
    for (; count >= 8; count -= 8) {
        const uint32_t byte = bits >> (count - 8) & 0xFF;
        put_byte(session, byte);
        if (byte == 0xFF) put_byte(session, 0);
    }
    entropy->bitBuffer = bits & ((1u << count) - 1);
    entropy->bitCount = count;
}

// Pads with ones to the end of a byte; bits that make no whole byte stay.
void __rim_jpeg_enc_finish_compression(JEInfo *session) { __rim_jpeg_enc_write_bits(session, 0x7F, 7); }

}  // extern "C"
