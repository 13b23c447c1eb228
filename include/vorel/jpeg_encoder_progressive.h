/* Progressive streams (T.81 annex G) and measured Huffman tables (T.81 K.2): the steps of a session whose
 * progressiveMode is set, and those of one that gathers statistics. */
#ifndef VOREL_JPEG_ENCODER_PROGRESSIVE_H
#define VOREL_JPEG_ENCODER_PROGRESSIVE_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/jpeg_encoder_session.h>

VOREL_BEGIN_DECLS

/* ---- Scans and passes ------------------------------------------------------------------------------------------ */

/* Every scan but a refinement of DC values has two passes: one gathers statistics, one writes. That of the first scan
 * gathers while the picture is read. After that, a loop of one's own is
 *     vjpeg_init_c_master_control(session);
 *     for (vjpeg_finish_pass_master(session); !session->master->isLastPass; vjpeg_finish_pass_master(session)) {
 *         vjpeg_prepare_for_pass(session);
 *         mcuRowTotal times __rim_jpeg_enc_compress_output(session);
 *     }
 * Of other sessions, and of rows below the last one, the steps do nothing and return 0. */

/* Fills the session's script: ten scans for three components, 2 + 4 n for n. */
VOREL_API int32_t vjpeg_simple_progression(JEInfo *session);
/* What scan master->scanNumber states, into the session; the MCUs that it has. */
VOREL_API void vjpeg_select_scan_parameters(JEInfo *session);
VOREL_API int32_t vjpeg_per_scan_setup(JEInfo *session);
VOREL_API int32_t vjpeg_start_pass_phuff(JEInfo *session, uint32_t gather);
VOREL_API int32_t vjpeg_init_c_master_control(JEInfo *session);
VOREL_API int32_t vjpeg_prepare_for_pass(JEInfo *session);
VOREL_API void vjpeg_finish_pass_master(JEInfo *session);
/* DQT and SOF2; DHT, DRI where the interval has changed, and SOS. */
VOREL_API void vjpeg_write_frame_header(JEInfo *session);
VOREL_API void vjpeg_wirte_scan_header(JEInfo *session);
/* All that the session has for its scans; __rim_jpeg_enc_release_mem frees the rest. */
VOREL_API void vjpeg_enc_release_prog_info(JEInfo *session);

/* An MCU row of samples into the whole picture's blocks, and the first scan's statistics; an MCU row of the present
 * scan. */
VOREL_API int32_t __rim_jpeg_enc_compress_first_pass(JEInfo *session, uint8_t ***rows);
VOREL_API int32_t __rim_jpeg_enc_compress_output(JEInfo *session);
/* Zeroed blocks of the session, whose rows follow each other without padding; null without memory. */
VOREL_API JEBlock **request_virt_barray(JEInfo *session, uint32_t blocksPerRow, uint32_t blockRows);
/* a rounded up to a multiple of b, which vjpeg_round_up_pow2 takes as a power of two. */
VOREL_API int32_t brim_jround_up(int32_t a, int32_t b);
VOREL_API int32_t vjpeg_round_up(int32_t a, int32_t b);
VOREL_API uint32_t vjpeg_round_up_pow2(uint32_t value, uint32_t power);

/* ---- Entropy coding of scans ----------------------------------------------------------------------------------- */

/* One MCU of the scan; blocks are in zigzag order. 0 for a value that has no code. */
VOREL_API int32_t vjpeg_encode_mcu_DC_first(JEInfo *session, int16_t **blocks);
VOREL_API int32_t vjpeg_encode_mcu_AC_first(JEInfo *session, int16_t **blocks);
VOREL_API int32_t vjpeg_encode_mcu_DC_refine(JEInfo *session, int16_t **blocks);
VOREL_API int32_t vjpeg_encode_mcu_AC_refine(JEInfo *session, int16_t **blocks);
/* In a pass that gathers, symbols are counted and bits passed over. Buffered bits stand one in a byte. */
VOREL_API void vjpeg_emit_symbol(JEPhuff *phuff, int32_t tableNumber, int32_t symbol);
VOREL_API void vjpeg_emit_buffered_bits(JEPhuff *phuff, const uint8_t *bits, uint32_t count);
VOREL_API void vjpeg_emit_eobrun(JEPhuff *phuff);
/* The last run and the padding of a scan; its tables from the counts. */
VOREL_API void vjpeg_finish_pass_phuff(JEInfo *session);
VOREL_API void vjpeg_finish_pass_gather_phuff(JEInfo *session);
VOREL_API void __rim_prog_jpeg_write_restart_marker(JEPhuff *phuff, int32_t restartNumber);
VOREL_API void __rim_jpeg_enc_phuff_write_bits(JEPhuff *phuff, uint32_t code, int32_t size);

/* ---- Measured tables --------------------------------------------------------------------------------------------- */

/* The table of least length for 257 counts, the last of which is not a symbol's; counts are used up. Of counts above
 * 10^9 all are halved until they are not. */
VOREL_API void vjpeg_gen_optimal_table(JEInfo *session, RimEncHuffTable *table, uint32_t *counts);
VOREL_API void brim_jpeg_gen_optimal_table(JEInfo *session, HuffmanSlot *slot, uint32_t *counts);
/* Count the symbols of an MCU of a baseline session, blocks in natural order. 0 for a coefficient that has no code. */
VOREL_API int32_t __rim_jpeg_enc_encode_htest_one_block(JEInfo *session, int16_t **blocks, void *unused);
VOREL_API int32_t encode_mcu_gather(JEInfo *session, int16_t **blocks);

/* The four tables of a picture into spec: in one session, and on four threads. 1 where the tables may be used. */
VOREL_API int32_t rim_get_scanning_huffman(RawInfo *raw, int32_t quality, HuffmanSpec *spec);
VOREL_API int32_t rim_multi_scanning_huffman(RawInfo *raw, int32_t quality, HuffmanSpec *spec);
/* Counts of one picture or strip, 257 words each. */
VOREL_API int32_t rim_get_scanning_huffman_with_ptr(RawInfo *raw, int32_t quality, uint32_t *dcCounts0,
                                                    uint32_t *dcCounts1, uint32_t *acCounts0, uint32_t *acCounts1,
                                                    HuffmanSpec *spec);

typedef struct ScanJob {
    RawInfo raw;
    uint32_t quality, result, finished;
    uint32_t dc0[257], dc1[257], ac0[257], ac1[257];
    HuffmanSpec *huffmanSpec;
} ScanJob;
/* The thread of a ScanJob; null. */
VOREL_API void *_rim_thread_scan_huffman(void *scanJob);

VOREL_END_DECLS

#endif
