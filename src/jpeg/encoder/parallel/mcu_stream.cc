// Sessions that are fed an MCU row at a time: samples, or blocks that the caller has transformed.
#include <vorel/jpeg_encoder_parallel.h>

#include "jpeg/encoder/entropy/block_coder.h"
#include "jpeg/encoder/sink.h"

namespace vorel {
namespace {

constexpr uint32_t kBlocksPerMcu = kMaxBlocksInMcu;  // in arrays of a caller's

bool takes_slices(const JEInfo *session) {
    const JEComponent *components = session->components;
    const auto is_chroma = [](const JEComponent &component) { return component.hSamp == 1 && component.vSamp == 1; };
    return session->inputFormat == COLOR_YUV420 && session->componentCount == 3 && session->maxHSamp == 2 &&
           session->maxVSamp == 2 && is_chroma(components[1]) && is_chroma(components[2]);
}

int32_t process_slice(JEInfo *session, uint8_t *slice, uint32_t *outNextRow) {
    if (!session || !slice || !takes_slices(session) || session->nextRow >= session->height) return 0;
    const size_t width = session->width;
    session->planeCursor[0] = slice;
    session->planeCursor[1] = slice + 16 * width;
    session->planeCursor[2] = session->planeCursor[1] + 8 * ((width + 1) / 2);
    __rim_jpeg_enc_process_image_data(session);
    if (outNextRow) *outNextRow = session->nextRow;
    return !session->work->failed;
}

int32_t encode_blocks(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextRow) {
    if (!session || !mcuBlocks || session->nextRow >= session->height) return 0;
    JECoefState *state = session->coefState;
    for (uint32_t m = state->mcuColumn; m < session->mcusPerRow; ++m) {
        if (!__rim_jpeg_enc_encode_1mcu_blk(session, mcuBlocks + size_t{m} * kBlocksPerMcu)) {
            state->mcuColumn = m;
            return 0;
        }
    }
    ++state->mcuRow;
    __rim_jpeg_enc_setup_imcu(session);
    session->nextRow = static_cast<uint16_t>(session->nextRow + 8 * session->maxVSamp);
    if (outNextRow) *outNextRow = session->nextRow;
    return 1;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

JEInfo *rim_jpeg_enc_mcu_init(RawInfo *raw, RimEncSink *output, HuffmanSpec *spec, PresetHeader *preset) {
    if (!raw) return nullptr;
    RawInfo baseline = *raw;
    baseline.progressive = baseline.stripMode = 0;
    JEInfo *session = __rim_jpeg_enc_initiaize(&baseline, output, spec, preset);
    if (!session) return nullptr;
    session->exif = raw->exif;
    if (__rim_jpeg_enc_make_header(session)) return session;
    // The header may have moved the caller's memory.
    if (output->mode == kSinkMemory) {
        if (output->buffer) {
            output->buffer = session->sink->buffer;
        } else {
            os_release(session->sink->buffer);
        }
    }
    destroy_session(session);
    return nullptr;
}

int32_t rim_jpeg_enc_muc_process(JEInfo *session, uint8_t *yRow, uint32_t *outNextRow) {
    return process_slice(session, yRow, outNextRow);
}

int32_t rim_jpeg_enc_col_muc_process(JEInfo *session, uint8_t *yRow, uint32_t *outNextRow) {
    return process_slice(session, yRow, outNextRow);
}

int32_t rim_jpeg_enc_mcu_finish(JEInfo *session, uint8_t **outBuffer, uint32_t *outSize) {
    if (!session) return 0;
    const int32_t result = __rim_jpeg_enc_make_end_mark(session);
    if (outBuffer) *outBuffer = session->sink->buffer;
    if (outSize) *outSize = session->sink->total;
    destroy_session(session);
    return result;
}

int32_t rim_jpeg_enc_mcu__get_encdata(JEInfo *session, uint8_t **outBuffer, uint32_t *outPosition) {
    if (!session) return 0;
    if (outBuffer) *outBuffer = session->sink->buffer;
    if (outPosition) *outPosition = session->sink->position;
    return 1;
}

int32_t __rim_jpeg_enc_entroy_encoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextRow) {
    return encode_blocks(session, mcuBlocks, outNextRow);
}

int32_t __ImasterJpegEncEntroyEncoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextRow) {
    return encode_blocks(session, mcuBlocks, outNextRow);
}

}  // extern "C"
