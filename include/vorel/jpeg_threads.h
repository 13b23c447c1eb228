/* JPEG decodes on several threads. What they give is what one thread gives, byte for byte, with any number of threads
 * in any order. VORELBRIM_PDecodeJPEG (jpeg_decoder.h) chooses among the ways; here are the ways themselves, and their
 * parts for loops of one's own. */
#ifndef VOREL_JPEG_THREADS_H
#define VOREL_JPEG_THREADS_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>

VOREL_BEGIN_DECLS

/* ---- Whole pictures ------------------------------------------------------------------------------------------ */

/* VORELBRIM_DecodeJPEG in bands of rows; a progressive picture, one in several scans, an input that cannot be read by
 * several threads (a FILE, callbacks), a session that takes checkpoints, a height too small to divide, and a process
 * with one processor are decoded in one piece. sampleSize is ignored. RST is for pictures with restart markers, whose
 * bands are found by these; No_RST reaches them by walking the Huffman codes. 1, also where a band failed: its rows
 * stay as they were from there on. 0 where nothing could be opened, a thread could not be started, or the decode was
 * cancelled. */
VOREL_API int32_t VORELBRIM_PDecodeJPEG_RST(DecInfo *session, void *output, int32_t width, int32_t height,
                                            int32_t sampleSize);
VOREL_API int32_t VORELBRIM_PDecodeJPEG_No_RST(DecInfo *session, void *output, int32_t width, int32_t height,
                                               int32_t sampleSize);

VOREL_END_DECLS

#endif
