// What an encoder session holds beside its public record, and the steps between the module's files.
#pragma once

#include <vorel/jpeg_encoder_session.h>

#include "core/core.h"
#include "jpeg/encoder/kernels/kernels.h"
#include "jpeg/jpeg.h"

struct JEWork {
    const vorel::EncoderKernels *kernels;
    uint64_t allocated;  // bytes that sink->buffer really has
    bool failed;         // no room or no memory: what is written from here on is thrown away, and the entry gives 0
    bool owns_buffer;    // sink->buffer is the session's and not yet handed out
    // A stretch of an MCU row on its way to the entropy coder: of each component its block rows, one after another.
    int16_t *stretch;          // zigzag order, 64-byte aligned
    uint64_t *stretch_bits;    // ForwardRun.nonzero
    struct CodeTables *codes;  // of the entropy coder, see entropy/block_coder.h
};

namespace vorel {

// The codes of rim_SetError; it does nothing with them.
constexpr int32_t kEncoderNoMemory = 3, kEncoderBadFormat = 6, kEncoderBadSampling = 7, kEncoderBadSize = 14;
// debug_BrimCodecError for a bad argument.
constexpr uint32_t kBadArgument = 15;
constexpr int32_t kMostSide = 49999;

// A failure line of the encoder: the function it speaks of and its line.
#define VOREL_ENC_LOG(text) VOREL_LOG(kTagJpegStat, text, __func__, __LINE__)

}  // namespace vorel
