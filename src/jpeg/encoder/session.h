// What an encoder session holds beside its public record, and the steps between the module's files.
#pragma once

#include <vorel/jpeg_encoder_session.h>

#include "core/core.h"
#include "jpeg/encoder/kernels/kernels.h"
#include "jpeg/jpeg.h"

namespace vorel {
struct CodeTable;
struct CodingBlock;
class BitWriter;
}  // namespace vorel

struct JEWork {
    const vorel::EncoderKernels *kernels;
    bool (*runMcu)(const JEInfo *session, const vorel::CodingBlock *blocks, vorel::BitWriter *to);  // see McuRun
    uint64_t allocated;       // bytes that sink->buffer really has
    bool fixed;               // memory of a caller that is not replaced
    bool failed;              // no room, no memory or no code: what follows is lost, and the entry gives 0
    const uint8_t *pairsEnd;  // of NV21 and NV12: behind the last chroma pair of the whole picture
    // The MCU row as the coder takes it: rows of the sampling record, or the caller's own.
    static constexpr uint32_t kMostRows = 32;
    uint8_t **rows[3];
    bool mayPoint;  // the reader was called for these rows, and not for the record's
    uint8_t *inPlace[3][kMostRows];
    // A stretch of an MCU row on its way to the entropy coder: of each component its block rows, one after another.
    int16_t *stretch;              // zigzag order, 64-byte aligned
    uint64_t *nonzero;             // of each block, as in ForwardRun
    uint64_t *columnAllocated;     // of each of JEInfo.columns, what `allocated` is of the sink
    vorel::CodeTable *dcCodes[2];  // by table number
    vorel::CodeTable *acCodes[2];
};

namespace vorel {

// The codes of rim_SetError; it does nothing with them.
constexpr int32_t kEncoderNoMemory = 3, kEncoderBadFormat = 6, kEncoderBadSampling = 7, kEncoderBadSize = 14;
// debug_BrimCodecError for a bad argument.
constexpr uint32_t kBadArgument = 15;
constexpr int32_t kMostSide = 49999;

// The plane and pixel cursors of a record, of the strip's first row in strip mode. False for a strip that is not inside
// of its picture, and where a preset header asks for more samples than the picture's planes have.
bool place_input(JEInfo *session, const RawInfo *raw);
// A session with all that hangs on it, the record too; null is no session.
void destroy_session(JEInfo *session);

// A failure line of the encoder: the function it speaks of and its line.
#define VOREL_ENC_LOG(text) VOREL_LOG(kTagJpegStat, text, __func__, __LINE__)

}  // namespace vorel
