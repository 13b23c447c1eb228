// Entropy coding of baseline MCUs (T.81 F.1.2), restart markers and padding.
#include <bit>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kNothingYet = 0xFFFFFFFF;
// What a chunk of output leaves free for a block. Not a bound: see kMostMcuBytes for that.
constexpr uint32_t kUsualBlockBytes = 128;

// Before zeros are stuffed, with the bits that wait and what the writer stores beyond its end.
constexpr uint32_t kMostPlainBytes = kMostMcuBits / 8 + 16;

// The rare ways take the writer and give it back, so that nothing points to it and it stays in registers.
struct Written {
    BitWriter writer;
    bool good;
};

// A value that has no look-up of its own. `codes` are those of its run.
[[gnu::noinline]] Written put_by_size(BitWriter writer, const PackedBits *codes, int32_t value) {
    const uint32_t size = size_of(value);
    if (size > kMostAcSize || !codes[size]) return {writer, false};
    writer.flush();
    writer.put(codes[size]);
    writer.put(static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((uint64_t{1} << size) - 1), size);
    writer.flush();
    return {writer, true};
}

// kComplete: codes that are looked up are there.
template <bool kComplete>
inline bool put_value(BitWriter &writer, const CodeTable &codes, uint32_t run, int32_t value) {
    const uint32_t index = static_cast<uint32_t>(value + kDirect);
    if (index >= 2 * kDirect) [[unlikely]] {
        const Written written = put_by_size(writer, codes.of_size[run], value);
        writer = written.writer;
        return written.good;
    }
    const PackedBits code = codes.direct[run][index];
    writer.put(code);
    return kComplete || code != 0;
}

// DC differences come in all sizes, so that a branch by size would be guessed wrong: 33 bits at most.
inline bool put_difference(BitWriter &writer, const CodeTable &codes, int32_t difference) {
    const uint32_t size = size_of(difference);
    if (size > kMostSize) [[unlikely]]
        return false;
    const PackedBits code = codes.of_size[0][size];
    const uint32_t bits = static_cast<uint32_t>(difference + (difference >> 31)) & ((uint32_t{1} << size) - 1);
    writer.put(uint64_t{code >> 8} << size | bits, length_of(code) + size);
    return code != 0;
}

[[gnu::noinline]] Written put_zero_runs(BitWriter writer, const CodeTable &ac, int count) {
    for (; count > 0; --count) {
        writer.flush();
        writer.put(ac.zero_run);
    }
    writer.flush();
    return {writer, ac.zero_run != 0};
}

// The first coefficient of `rest`, whose bits begin with that of *next.
template <bool kComplete>
inline bool put_coefficient(BitWriter &writer, const CodeTable &ac, const int16_t **next, uint64_t *rest) {
    int run = std::countr_zero(*rest);
    *rest = *rest >> run >> 1;
    const int16_t *at = *next + run;
    *next = at + 1;
    if (run >= kZeroRun) [[unlikely]] {
        const Written written = put_zero_runs(writer, ac, run / kZeroRun);
        writer = written.writer;
        if (!written.good) return false;
        run %= kZeroRun;
    }
    return put_value<kComplete>(writer, ac, static_cast<uint32_t>(run), *at);
}

// No code with its value is longer than 22 bits where it comes by a look-up and 33 where it is a difference, so two of
// them and 7 bits that wait go between two flushes; the others bring flushes of their own.
template <bool kComplete>
inline bool encode_block(BitWriter &writer, const CodeTable &dc, const CodeTable &ac, const CodingBlock &block,
                         int32_t difference) {
    if (!put_difference(writer, dc, difference)) return false;
    const int16_t *next = block.zigzag + 1;
    uint64_t rest = block.nonzero >> 1;
    if (rest != 0 && !put_coefficient<kComplete>(writer, ac, &next, &rest)) return false;
    writer.flush();
    while (rest != 0) {
        if (!put_coefficient<kComplete>(writer, ac, &next, &rest)) return false;
        if (rest == 0) break;
        if (!put_coefficient<kComplete>(writer, ac, &next, &rest)) return false;
        writer.flush();
    }
    if (block.nonzero >> 63 == 0) {
        if (!ac.end_of_block) return false;
        writer.put(ac.end_of_block);
    }
    writer.flush();
    return true;
}

bool encode_blocks(JEInfo *session, const CodingBlock *blocks, uint8_t **at) {
    const JEWork *work = session->work;
    JEEntropy *entropy = session->entropy;
    uint8_t plain[kMostPlainBytes];
    BitWriter writer(entropy->bitBuffer, entropy->bitCount, plain);
    bool good = true;
    for (uint32_t i = 0; i < session->blocksInMcu && good; ++i) {
        const uint32_t member = session->mcuMembership[i];
        const JEComponent *component = session->scanComponents[member];
        int32_t &last = entropy->lastDc[member];
        const CodeTable &dc = *work->dcCodes[component->dcTable], &ac = *work->acCodes[component->acTable];
        const int32_t difference = blocks[i].dc - last;
        good = ac.complete ? encode_block<true>(writer, dc, ac, blocks[i], difference)
                           : encode_block<false>(writer, dc, ac, blocks[i], difference);
        last = blocks[i].dc;
    }
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
