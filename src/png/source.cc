// Sources of PNG bytes, the callbacks over them, and the getters and setters of their record.
#include "png/source.h"

#include <cstring>

#include "core/core.h"
#include "png/bands/store.h"
#include "png/chunks.h"
#include "png/index.h"

namespace vorel {
namespace {

// A memory source that is cut short delivers nothing and says nothing, and libpng then reads its own old chunk header
// again and again. A chunk that claims 2^31 bytes is passed over in 1024-byte requests, about 2.1 million, before its
// check value fails; so the first bound lies above that. It is not begun anew when a few bytes of the tail come in
// between, else a file of 1 KB could have 80 such chunks passed over, a second each. Between headers libpng's state
// changes for at most 1000 chunks, as many as it keeps.
constexpr uint32_t kMostShortReads = 4'194'304, kMostShortHeaders = 4096;
// A piece of image data that did not come leaves the last one in its place, which may be inflated to a thousand times
// its size, again and again. Nothing else is asked for in pieces as large.
constexpr uint32_t kMostShortPieces = 128;
constexpr size_t kSkipPieceBytes = 1024;

// libpng's blocks carry their size in front of them.
constexpr size_t kBlockPrefix = 16;

}  // namespace

PngSource *open_png_source(const void *source, vpng_read_callback read, int32_t length) {
    if (!source) return nullptr;
    FILE *file = nullptr;
    if (!read) {
        file = open_regular_file(static_cast<const char *>(source));
        if (!file) return nullptr;
        // A file may change while it is open, and what stdio kept of it would be read after it has changed back. What
        // is read is large or little.
        std::setvbuf(file, nullptr, _IONBF, 0);
    }
    PngSource *record = os_allocate_array<PngSource>(1);
    if (!record) {
        if (file) std::fclose(file);
        return nullptr;
    }
    pthread_mutex_init(&record->lock, nullptr);
    record->band_memory = kDefaultBandMemory;
    record->file = file;
    if (read) {
        record->memory = static_cast<const uint8_t *>(source);
        record->length = length > 0 ? static_cast<uint32_t>(length) : 0;
        record->read = read;
        record->seek = vpng_seek_buffer_fn;
    } else {
        record->seek = vpng_seek_fn;
    }
    return record;
}

void close_png_source(PngSource *source) {
    if (!source) return;
    delete_row_index(source);
    os_release(source->pre_buffer);
    if (source->file) std::fclose(source->file);
    pthread_mutex_destroy(&source->lock);
    os_release(source);
}

PngSource *source_of(png_structp png) { return png ? static_cast<PngSource *>(png_get_io_ptr(png)) : nullptr; }

png_voidp allocate_for_libpng(png_structp png, png_alloc_size_t bytes) {
    auto *source = static_cast<PngSource *>(png_get_mem_ptr(png));
    if (bytes > kMostLibpngBytes || source->live_bytes > kMostLibpngBytes - bytes) return nullptr;
    auto *block = static_cast<uint8_t *>(os_allocate_zeroed(bytes + kBlockPrefix));
    if (!block) return nullptr;
    std::memcpy(block, &bytes, sizeof bytes);
    source->live_bytes += bytes;
    return block + kBlockPrefix;
}

void release_for_libpng(png_structp png, png_voidp pointer) {
    if (!pointer) return;
    auto *source = static_cast<PngSource *>(png_get_mem_ptr(png));
    uint8_t *block = static_cast<uint8_t *>(pointer) - kBlockPrefix;
    png_alloc_size_t bytes;
    std::memcpy(&bytes, block, sizeof bytes);
    source->live_bytes -= bytes;
    os_release(block);
    // The object itself goes last; `png` is a copy of it then.
    if (pointer == source->png) close_png_source(source);
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void vpng_read_fn(png_structp png, png_bytep dest, size_t count) {
    PngSource *source = source_of(png);
    if (!source || !dest) return;
    // Required: a request beyond the end is passed over in silence.
    if (!source->memory || source->position > source->length || count > source->length - source->position) {
        ++source->short_reads;
        source->short_headers += count == kChunkHeader;
        source->short_pieces += count > kSkipPieceBytes;
        return;
    }
    std::memcpy(dest, source->memory + source->position, count);
    source->position += static_cast<uint32_t>(count);
}

void vpng_seek_buffer_fn(png_structp png, uint32_t position) { vpng_set_io_buff_pos(png, position); }

void vpng_seek_fn(png_structp png, uint32_t position) {
    PngSource *source = source_of(png);
    if (!source || !source->file) return;
    std::fseek(source->file, static_cast<long>(position), SEEK_SET);
    source->position = position;
}

void vpng_seek_data(png_structp png, uint32_t offset) {
    PngSource *source = source_of(png);
    if (!source || !source->seek) png_error(png, "Call to NULL seek function");
    source->seek(png, offset);
}

void vpng_read_data(png_structp png, png_bytep dest, size_t count) {
    PngSource *source = source_of(png);
    if (!source || (!source->read && !source->file)) png_error(png, "Call to NULL read function");
    source->total_read += static_cast<uint32_t>(count);
    if (source->file) {
        if (std::fread(dest, 1, count, source->file) != count) png_error(png, "Read Error");
        source->position += static_cast<uint32_t>(count);
        return;
    }
    source->read(png, dest, count);
    if (source->short_reads >= kMostShortReads || source->short_headers >= kMostShortHeaders ||
        source->short_pieces >= kMostShortPieces) {
        png_error(png, "Read Error");
    }
}

// ---- fields -------------------------------------------------------------------------------------------------------

#define VPNG_FIELD(name, type, member)                                  \
    void vpng_set_##name(png_structp png, type value) {                 \
        if (PngSource *source = source_of(png)) source->member = value; \
    }                                                                   \
    type vpng_get_##name(png_structp png) {                             \
        const PngSource *source = source_of(png);                       \
        return source ? source->member : 0;                             \
    }
VPNG_FIELD(io_buff_pos, uint32_t, position)
VPNG_FIELD(buffer_len, uint32_t, length)
VPNG_FIELD(diff_cur_y, int32_t, diff_cur_y)
VPNG_FIELD(y_sample, int32_t, y_sample)
VPNG_FIELD(org_img_curr_y, int32_t, org_img_curr_y)
#undef VPNG_FIELD

void vpng_set_seek_fn(png_structp png, vpng_seek_callback seekFn) {
    if (PngSource *source = source_of(png)) source->seek = seekFn;
}

// The size of a caller's block is the caller's knowledge.
void vpng_set_pre_buffer_iter(png_structp png, void *value) {
    PngSource *source = source_of(png);
    if (!source) return;
    source->pre_buffer = value;
    source->pre_buffer_size = UINT32_MAX;
}

void *vpng_get_pre_buffer_iter(png_structp png) {
    const PngSource *source = source_of(png);
    return source ? source->pre_buffer : nullptr;
}

int32_t preBufferIterAlloc(png_structp png, uint32_t size) {
    PngSource *source = source_of(png);
    if (!source) return 0;
    if (source->pre_buffer) return 1;
    if (size > INT32_MAX) return 0;
    source->pre_buffer = os_allocate_zeroed(size ? size : 1);
    source->pre_buffer_size = size;
    return source->pre_buffer != nullptr;
}

int32_t preBufferIterWrite(png_structp png, const void *src, uint32_t count) {
    const PngSource *source = source_of(png);
    if (!source || !source->pre_buffer || count > source->pre_buffer_size) return 0;
    if (src) std::memcpy(source->pre_buffer, src, count);
    return 1;
}

int32_t preBufferIterRead(png_structp png, void *dest, uint32_t count) {
    const PngSource *source = source_of(png);
    if (!source || !source->pre_buffer || count > source->pre_buffer_size) return 0;
    if (dest) std::memcpy(dest, source->pre_buffer, count);
    return 1;
}

}  // extern "C"
