/* Rectangles of a JPEG: a map of positions in the entropy-coded data, made by one pass over the file, and decodes of
 * rectangles that begin at the nearest position of each row. The session that has the map is the base session; each
 * rectangle is decoded by a session of its own, its child, which shares the map. */
#ifndef VOREL_JPEG_REGION_H
#define VOREL_JPEG_REGION_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>
#include <vorel/jpeg_decoder.h>

VOREL_BEGIN_DECLS

/* ---- Child sessions ---------------------------------------------------------------------------------------- */

/* A session for one rectangle of the base session's picture, over an input of its own: the same path, the same memory,
 * or the same callbacks, which then must not be in use elsewhere. It has the base's colour format, options, sizes and
 * map, and a cancel that is pending there. The rectangle is in pixels of the picture reduced by sampleSize (1, 2, 4, 8,
 * 16 and so on). Null without memory, for an input that does not open again, and for a FILE. Freed by
 * VORELBRIM_DestroyDecInfo, before the base session and its map are. A cancel of the base stops its children. May be
 * called from several threads. */
VOREL_API DecInfo *BRIMJ_CreateTemporaryDecInfo(DecInfo *baseSession, int32_t x, int32_t y, int32_t width,
                                                int32_t height, int32_t sampleSize);
/* The same over an input that VORELBRIM_Open_IO opens by this kind and handle, for the whole picture. */
VOREL_API DecInfo *BRIMJ_CreateTemporaryDecInfoWithIIO(DecInfo *baseSession, uint32_t sourceKind, void *sourceHandle);

VOREL_END_DECLS

#endif
