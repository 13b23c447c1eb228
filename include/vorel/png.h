/* PNG into 32-bit pixels (Portable Network Graphics, second edition): the whole picture, full size or scaled while it
 * is decoded, and rectangles of it through an index of checkpoints.
 *
 * A pixel is 4 bytes: R, G, B, A in colour format 7 (COLOR_RGBA8888), B, G, R, A in format 8 (COLOR_BGRA8888). Rows
 * have no padding.
 *
 * Read objects are libpng's. libpng reports a failure by a jump: a function below that takes a read object may jump to
 * the object's jump target (png_jmpbuf) where its comment says "jumps"; decodeVPNG, onDecodeVPNGInit,
 * onBuildTileIndexVPNG and onDecodeVPNGSubset set their own targets and return. */
#ifndef VOREL_PNG_H
#define VOREL_PNG_H

#include <stddef.h>
#include <stdint.h>

#include <vorel/export.h>
#include <vorel/frame.h>

VOREL_BEGIN_DECLS

/* libpng's names, the same as in its own header, which may be included beside this one and need not be. */
typedef unsigned char png_byte;
typedef unsigned int png_uint_32;
typedef png_byte *png_bytep;
typedef struct png_struct_def png_struct;
typedef png_struct *png_structp;
typedef png_struct **png_structpp;
typedef struct png_info_def png_info;
typedef png_info *png_infop;
typedef png_info **png_infopp;

/* Delivers count bytes to dest. vpng_read_fn is the one for memory; the library reads files itself. */
typedef void (*vpng_read_callback)(png_structp png, png_bytep dest, size_t count);
/* Moves the source to an absolute position, in bytes. */
typedef void (*vpng_seek_callback)(png_structp png, uint32_t position);

/* Where decoding can be resumed: what is needed before the row is inflated and unfiltered. */
typedef struct vpng_row_checkpoint {
    /* Made by zlib's inflateCopy. Its window is only filled while vpng_configure_decoder copies it back; null in a pass
     * without pixels. */
    struct z_stream_s *inflateState;
    uint32_t streamPosition; /* offset in the source of the length field of the IDAT chunk */
    uint32_t bytesLeft;      /* compressed bytes of that chunk that are not inflated yet */
    uint8_t *previousRow;    /* the unfiltered row above with its filter byte; zeros above the first row; null in a pass
                                without pixels */
} vpng_row_checkpoint;

/* The checkpoints of a read object. Pass 0 is the only one of a picture that is not interlaced. */
typedef struct vpng_row_index {
    uint32_t streamPosition; /* as in a checkpoint, of the chunk being read */
    uint32_t size[7];        /* checkpoints of each pass */
    uint32_t step[7];        /* image rows between them */
    vpng_row_checkpoint **checkpoints[7];
} vpng_row_index;

/* A picture opened for regions. To be destroyed by its owner:
 *     vpng_destroy_read_struct(&handle->png, &handle->info, NULL);
 *     (free the memory source, if the handle was given it)
 *     VORELBRIM_OsFree(handle); */
typedef struct vpng_tile_index {
    png_structp png;
    png_infop info;
    int32_t colourFormat; /* 7 or 8 */
    int32_t width, height;
    void *memorySource; /* the source of onBuildTileIndexVPNG where that was memory; the handle does not free it */
} vpng_tile_index;

/* ---- whole pictures ---- */

/* Decodes into out, a buffer of outWidth * outHeight * 4 bytes. readFn null: source is a path, and length is ignored;
 * else source is length bytes of memory and readFn is vpng_read_fn. Where the picture has another size than the output,
 * it is scaled: sampleSize 0 fits it to the output, any other keeps every sampleSize-th pixel and row.
 *
 * Colours are multiplied by alpha, but for pictures with a tRNS chunk: there a fully transparent pixel becomes four
 * zero bytes and others keep their colour (at full size a palette picture keeps the colour of transparent pixels too).
 *
 * Which rows and columns are kept, for height and width of the picture:
 *     fitted    row k: floor((k + 1) * height / outHeight) - 1
 *               column j: floor((width / 2 + j * width) / outWidth); enlarging, a row gets fewer pixels than outWidth
 *     sampled   row k: (k + 1) * sampleSize - 1 (sampleSize is clamped to the height); column j: sampleSize / 2 +
 *               j * sampleSize, or width / 2 alone where that is the width
 * The last row is the one after the row before it where the picture is not interlaced, and clamped to height - 1 where
 * it is. An interlaced picture that is not higher than the output leaves the output's rows from height - 1 on
 * untouched.
 *
 * 1, or 0 for null, a negative sampleSize, another colour format, a damaged or short picture, more output rows than a
 * picture that is not interlaced can give, or no memory; rows that were done by then stay. Nothing after the last row
 * is looked at. Any thread; no error word. What libpng says of a file, of which many go on decoding, goes to the
 * logging hook (frame.h) with the tag "VPNG". */
VOREL_API int32_t decodeVPNG(const void *source, int32_t length, vpng_read_callback readFn, void *out, int32_t outWidth,
                             int32_t outHeight, int32_t sampleSize, int32_t colourFormat);

/* Opens source as decodeVPNG does, reads the chunks up to the first IDAT and sets the transformations to R, G, B, A.
 * *pngOut and *infoOut are set as soon as each exists, also when it fails: destroy them with vpng_destroy_read_struct,
 * which closes the file. Memory has to stay until then. 1 or 0. */
VOREL_API int32_t onDecodeVPNGInit(png_structp *pngOut, png_infop *infoOut, const void *source,
                                   vpng_read_callback readFn, int32_t length);

/* Destroys a read object with its source record, pre-buffer and index, and its info objects (null or not). */
VOREL_API void vpng_destroy_read_struct(png_structpp png, png_infopp info, png_infopp endInfo);

/* The header, as png_get_IHDR gives it; any output may be null. 1, or 0 when there is none. */
VOREL_API png_uint_32 vpng_get_IHDR(png_structp png, png_infop info, png_uint_32 *width, png_uint_32 *height,
                                    int *bitDepth, int *colourType, int *interlace, int *compression, int *filter);

/* ---- regions ---- */

/* Opens a picture for regions: one walk over all its rows, with a checkpoint every 254 rows of each pass: a row,
 * about 8 KB, and what the last 32 KB of unpacked rows differ in from those of the one before. source, length and
 * readFn as in decodeVPNG; colourFormat 7 or 8 is that of all its regions. Memory has to stay, and a file stays open,
 * until the handle is destroyed. Null for null, a damaged or short picture (damage in its last row and check values of
 * image data aside), or no memory; the colour format is looked at by regions only. */
VOREL_API vpng_tile_index *onBuildTileIndexVPNG(const void *source, int32_t length, vpng_read_callback readFn,
                                                int32_t colourFormat);

/* Decodes the rectangle of w x h pixels of the picture at (x, y), keeping every sampleSize-th pixel and row, into out:
 * h / sampleSize rows of (w / sampleSize) * 4 bytes, divided as integers. The rectangle has to lie inside the picture.
 * Columns: x + sampleSize / 2 + j * sampleSize. Rows: y + (k + 1) * s - 1 with s = sampleSize clamped to the height,
 * and where the picture is not interlaced the last row is the one after the row before it. Of an interlaced picture no
 * more than height - 1 rows come out. Several threads may call it on one handle; they wait for one another. 1, or 0 for
 * null, a rectangle that is empty or not inside, sampleSize below 1, another colour format, damaged data or no memory.
 * Rows that were done by then stay, and the handle can be used again. */
VOREL_API int32_t onDecodeVPNGSubset(vpng_tile_index *handle, void *out, int32_t x, int32_t y, int32_t w, int32_t h,
                                     int32_t sampleSize);

/* What regions of a picture that is not interlaced keep for those after them: of the rows that they touched, how to
 * inflate pieces of them by themselves. A rectangle among such rows then costs its own area instead of the width of the
 * picture; pixels, results and messages are the same. Rows that were not touched for the longest time give way, so that
 * no more than that many bytes are taken: 32 MiB unless it is set, 0 for none at all. File and memory have to stay
 * unchanged from the index on; of a file that is seen to have changed, what was kept is given up. 1, or 0 for null. */
VOREL_API int32_t vpng_set_region_memory(vpng_tile_index *handle, size_t bytes);
/* How much is taken now; 0 for null. Both may be called from any thread, and wait for a region that is being decoded.
 */
VOREL_API size_t vpng_get_region_memory(vpng_tile_index *handle);

/* The steps of the two above, on a read object of onDecodeVPNGInit of which no row was read. All jump.
 * Build: walks the picture and sets the checkpoints; where it jumps, there is no index. Configure: resumes pass at the
 * last checkpoint at or above *row, whose row *row becomes. Set offset: goes on in the IDAT chunk at streamPosition of
 * which bytesLeft bytes are left. */
VOREL_API void vpng_build_index(png_structp png);
VOREL_API void vpng_configure_decoder(png_structp png, int32_t *row, int32_t pass);
VOREL_API void vpng_set_read_offset(png_structp png, uint32_t streamPosition, uint32_t bytesLeft);
/* With an index: passes over skip bytes of the IDAT chunk that is being read, and its check value. 1 when that is
 * wrong, which is only warned of, since that of a chunk that was entered in its middle cannot fit; else 0. The index's
 * streamPosition is then that of the next chunk. Jumps without an index and at the end of a file. */
VOREL_API int32_t png_opt_crc_finish(png_structp png, uint32_t skip);
/* Goes over to that Adam7 pass, 0 to 6: its width is (width - 1 + increment - start) / increment. */
VOREL_API void png_set_interlaced_pass(png_structp png, int32_t pass);

/* ---- the source ---- */

/* Memory: copies count bytes from the read position and moves it. A null buffer or a request beyond the end copies
 * nothing and moves nothing. */
VOREL_API void vpng_read_fn(png_structp png, png_bytep dest, size_t count);
VOREL_API void vpng_seek_buffer_fn(png_structp png, uint32_t position);
/* A file: seeks from its start. */
VOREL_API void vpng_seek_fn(png_structp png, uint32_t position);
/* Call the callbacks; without one they jump with "Call to NULL seek function" and "Call to NULL read function". Reading
 * counts what is asked for, and jumps when a memory source has had nothing to give too often. */
VOREL_API void vpng_seek_data(png_structp png, uint32_t offset);
VOREL_API void vpng_read_data(png_structp png, png_bytep dest, size_t count);

/* Fields of the source record. A getter gives 0 for a null object, a setter does nothing then. */
VOREL_API void vpng_set_io_buff_pos(png_structp png, uint32_t value);
VOREL_API uint32_t vpng_get_io_buff_pos(png_structp png);
VOREL_API void vpng_set_buffer_len(png_structp png, uint32_t value);
VOREL_API uint32_t vpng_get_buffer_len(png_structp png);
VOREL_API void vpng_set_diff_cur_y(png_structp png, int32_t value);
VOREL_API int32_t vpng_get_diff_cur_y(png_structp png);
VOREL_API void vpng_set_y_sample(png_structp png, int32_t value);
VOREL_API int32_t vpng_get_y_sample(png_structp png);
VOREL_API void vpng_set_org_img_curr_y(png_structp png, int32_t value);
VOREL_API int32_t vpng_get_org_img_curr_y(png_structp png);
VOREL_API void vpng_set_seek_fn(png_structp png, vpng_seek_callback seekFn);
/* The pre-buffer, a block of scratch that the read object frees. A block that is set must come from VORELBRIM_OsMalloc;
 * the one before becomes the caller's. */
VOREL_API void vpng_set_pre_buffer_iter(png_structp png, void *value);
VOREL_API void *vpng_get_pre_buffer_iter(png_structp png);
/* Makes one of size bytes unless there is one, whatever its size. 1, or 0 without memory. */
VOREL_API int32_t preBufferIterAlloc(png_structp png, uint32_t size);
/* Copy count bytes in and out. 1, or 0 without a block or for more bytes than it was allocated with. */
VOREL_API int32_t preBufferIterWrite(png_structp png, const void *src, uint32_t count);
VOREL_API int32_t preBufferIterRead(png_structp png, void *dest, uint32_t count);

/* ---- rows ---- */

/* Decodes count rows one by one and drops them; rowBuffer holds a row of the output's form. With an index rows are only
 * passed over, and rowBuffer stays as it was. Jumps. */
VOREL_API void skip_src_rows(png_structp png, uint8_t *rowBuffer, int32_t count);

/* How many rows to skip before the next one that is kept. With Y = y_sample and O = org_img_curr_y: 0 when
 * 0 <= Y - O < outHeight, else how often outHeight has to be added to O for that, at most srcHeight times; Y and O then
 * move on by srcHeight and outHeight. 0 when it never holds, with Y as it was, and for srcHeight below 1. */
VOREL_API int32_t skip_src_rows_count(png_structp png, png_infop info, int32_t srcHeight, int32_t outHeight);

/* The rule of transparency (see decodeVPNG) over a row of the picture's width, 4 bytes a pixel. What is compared with
 * the tRNS colour (its high bytes where samples have 16 bits) is the first three bytes of a pixel, in their order.
 * In place: all pixels. */
VOREL_API int32_t substituteTranspColor(png_structp png, png_infop info, uint8_t *row);
/* Into outRow: the columns that fit the row to outWidth pixels. 0 when a row is null, else 1, as the next two. */
VOREL_API int32_t substituteTranspColorResize(png_structp png, png_infop info, uint8_t *outRow,
                                              const uint8_t *sourceRow, int32_t outWidth);
/* Every step-th column from step / 2 on (width / 2 when width <= step) up to the end of the source row, however many
 * these are: outWidth is not looked at. 0 also for a step below 1. */
VOREL_API int32_t substituteTranspColorSampleSize(png_structp png, png_infop info, uint8_t *outRow,
                                                  const uint8_t *sourceRow, int32_t outWidth, int32_t step);
/* The same from x + step / 2 (x + width / 2) on, up to x + w without a tRNS chunk, and with one up to the end of the
 * source row. 0 also for a step below 1 and a negative x. */
VOREL_API int32_t substituteTranspColor_SampleSizeCrop(png_structp png, png_infop info, uint8_t *outRow,
                                                       const uint8_t *sourceRow, int32_t x, int32_t w, int32_t step);

/* Takes no part in decoding: 1. */
VOREL_API int32_t getSubImageBufferForVPNG(void);

VOREL_END_DECLS

#endif
