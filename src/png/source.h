// The record that stands beside every libpng read object of ours: where its bytes come from, the row stepper's words,
// and what the region decoder hangs on it. It is the object's I/O pointer and its memory pointer, and goes with it.
#pragma once

#include <png.h>
#include <pthread.h>

#include <cstdio>

#include "png/png.h"

namespace vorel {

struct IdatReader;
struct BandStore;
struct OwnRows;

// IHDR, as far as rows depend on it.
struct PngHeader {
    uint32_t width, height;  // 1 to 10^6, libpng's limit
    uint8_t bit_depth, colour_type;
    bool interlaced;
};

struct PngSource {
    png_structp png;  // the object that this record belongs to; null until it is made
    const uint8_t *memory;
    FILE *file;  // owned
    vpng_read_callback read;
    vpng_seek_callback seek;
    uint32_t position;       // in memory or file, of the next byte
    uint32_t length;         // of the memory
    uint32_t total_read;     // bytes asked of the read callback
    uint32_t short_reads;    // requests of memory that had nothing to give, in this decode
    uint32_t short_headers;  // those among them of the size of a chunk header
    uint32_t short_pieces;   // those of a piece of image data
    int32_t diff_cur_y, y_sample, org_img_curr_y;
    void *pre_buffer;
    uint32_t pre_buffer_size;
    size_t live_bytes;  // that libpng holds
    PngHeader header;
    vpng_row_index *index;  // null: libpng reads the rows
    IdatReader *reader;     // there with the index
    OwnRows *own_rows;      // while the index is built by them
    bool index_built;       // else a failure frees the three
    BandStore *bands;       // of the index; null until a region wants them
    size_t band_memory;     // that they may take
    pthread_mutex_t lock;   // taken by region decodes
};

// Opens a source; null when there is none, or no memory.
PngSource *open_png_source(const void *source, vpng_read_callback read, int32_t length);
// Closes the file and frees everything but the read object.
void close_png_source(PngSource *source);

// The record of a read object; null for null.
PngSource *source_of(png_structp png);

// libpng's memory: zero-filled, so that nothing old can reach pixels, and no more than kMostLibpngBytes at a time.
// Releasing the read object releases its record.
png_voidp allocate_for_libpng(png_structp png, png_alloc_size_t bytes);
void release_for_libpng(png_structp png, png_voidp pointer);

// What libpng needs for rows is below 20 MiB; the rest is for chunks beside the picture, of which a small file can ask
// for gigabytes by many compressed texts.
constexpr size_t kMostLibpngBytes = size_t{128} << 20;

}  // namespace vorel
