/* Strips of a stream, and sessions that are fed an MCU row or an MCU column at a time. */
#ifndef VOREL_JPEG_ENCODER_PARALLEL_H
#define VOREL_JPEG_ENCODER_PARALLEL_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/jpeg_encoder_session.h>

VOREL_BEGIN_DECLS

typedef struct StripJob {
    RawInfo raw;
    uint8_t *outBuffer; /* the strip's stream, which may be replaced */
    HuffmanSpec *huffmanSpec;
    uint32_t outSize; /* in: capacity; out: bytes */
    uint32_t quality, result, finished;
} StripJob;
/* The thread of a StripJob; null. */
VOREL_API void *_rim_tencode_jpeg_to_file(void *stripJob);

/* A session with its header written, or null. */
VOREL_API JEInfo *rim_jpeg_enc_mcu_init(RawInfo *raw, RimEncSink *output, HuffmanSpec *spec, PresetHeader *preset);
/* One MCU row of 4:2:0: 16 rows of Y, then 8 of U, then 8 of V, from yRow on. */
VOREL_API int32_t rim_jpeg_enc_muc_process(JEInfo *session, uint8_t *yRow, uint32_t *outNextRow);
VOREL_API int32_t rim_jpeg_enc_col_muc_process(JEInfo *session, uint8_t *yRow, uint32_t *outNextRow);
/* Ends the stream and the session, record and all. */
VOREL_API int32_t rim_jpeg_enc_mcu_finish(JEInfo *session, uint8_t **outBuffer, uint32_t *outSize);
/* What there is so far. */
VOREL_API int32_t rim_jpeg_enc_mcu__get_encdata(JEInfo *session, uint8_t **outBuffer, uint32_t *outPosition);

/* One MCU row from quantised blocks in natural order, ten pointers an MCU. */
VOREL_API int32_t __rim_jpeg_enc_entroy_encoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextRow);
VOREL_API int32_t __ImasterJpegEncEntroyEncoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextRow);
/* One MCU column, ten pointers for the MCU of each row. */
VOREL_API int32_t __rim_jpeg_enc_col_entroy_encoder(JEInfo *session, int16_t **mcuBlocks, uint32_t *outNextColumn);
/* Before the first column, and behind the last one, where the rows' streams are joined by restart markers. */
VOREL_API int32_t __rim_jpeg_enc_col_encoder_init(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_col_encoder_finish(JEInfo *session);

VOREL_END_DECLS

#endif
