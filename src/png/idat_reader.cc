// The row reader behind indexes and regions: chunk walk, inflate, filters.
#include "png/idat_reader.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/core.h"
#include "png/kernels/kernels.h"
#include "png/pixel_form.h"

namespace vorel {
namespace {

constexpr size_t kZlibHeader = 2, kSkipPiece = 1024;
// Inflating several rows at a time saves zlib copies of its window; this much stays in the second-level cache.
constexpr size_t kAheadBytes = size_t{64} << 10;

// A window is what zlib asks for in single bytes; a library that asks in another way gets memory like any other.
voidpf allocate_for_zlib(voidpf opaque, uInt items, uInt size) {
    auto *windows = static_cast<InflateWindows *>(opaque);
    size_t bytes;
    if (!checked_product(items, size, &bytes)) return nullptr;
    if (windows->sharing && size == 1 && bytes <= kWindowBytes) return windows->copied;
    return os_allocate_zeroed(bytes);
}
void release_for_zlib(voidpf opaque, voidpf pointer) {
    if (pointer != static_cast<InflateWindows *>(opaque)->copied) os_release(pointer);
}

void add_to_crc(IdatReader *reader, const uint8_t *bytes, size_t count) {
    reader->crc = static_cast<uint32_t>(crc32(reader->crc, bytes, static_cast<uInt>(count)));
}

// False when the chunk is no IDAT.
bool read_chunk_header(PngSource *source) {
    IdatReader *reader = source->reader;
    // Where memory is cut short the last header stays, as it does in libpng: a picture whose rows are all there decodes
    // both ways or neither.
    uint8_t *const header = reader->header;
    reader->chunk_offset = source->position;
    vpng_read_data(source->png, header, kChunkHeader);
    reader->idat_left = big_endian_32(header);
    if (reader->idat_left > kMostChunkBytes) png_error(source->png, "PNG unsigned integer out of range");
    reader->chunk_bytes = reader->idat_left;
    reader->crc = 0;
    add_to_crc(reader, header + 4, 4);
    return names_idat(header);
}

void next_piece(PngSource *source) {
    IdatReader *reader = source->reader;
    while (reader->idat_left == 0) {
        finish_chunk(source, 0);
        if (!read_chunk_header(source)) png_error(source->png, "Not enough image data");
    }
    uint32_t most = sizeof reader->input;
    // Pieces end where they do for who reads the chunk from its start.
    if (reader->following) most -= (reader->chunk_bytes - reader->idat_left) % most;
    const uint32_t count = std::min(reader->idat_left, most);
    reader->last_byte = reader->input_bytes ? reader->input[reader->input_bytes - 1] : 0;
    reader->input_bytes = count;
    vpng_read_data(source->png, reader->input, count);
    add_to_crc(reader, reader->input, count);
    reader->idat_left -= count;
    reader->live.next_in = reader->input;
    reader->live.avail_in = count;
}

// ---- rows ---------------------------------------------------------------------------------------------------------

bool has_pixels(const IdatReader &reader, int32_t row) {
    return reader.width != 0 && row >= reader.pass.first_row &&
           (row - reader.pass.first_row) % reader.pass.row_step == 0;
}

// Rows of the pass above row `row` of the image.
int64_t rows_above(const Adam7Pass &pass, int32_t row) {
    return row <= pass.first_row ? 0 : (row - pass.first_row + pass.row_step - 1) / pass.row_step;
}

// Moves the row above and what is inflated to the start of the buffer.
void move_to_front(IdatReader *reader) {
    std::memmove(reader->rows, reader->above, reader->row_bytes + 1 + reader->inflated);
    reader->above = reader->rows;
}

// zlib's inflate up to the end of its output or input, as by one call, with a note of where blocks begin. Only of
// streams with the largest window: in others a match may reach beyond it, within what one call puts out.
int inflate_noting_blocks(IdatReader *reader) {
    constexpr int kAtBlock = 128, kUnusedBits = 63;
    z_stream &live = reader->live;
    const auto flush = [&] {
        return live.total_in < kZlibHeader || reader->window == kWindowBytes ? Z_BLOCK : Z_SYNC_FLUSH;
    };
    int result = inflate(&live, flush());
    while (result == Z_OK && (live.data_type & kAtBlock)) {
        const int unused = live.data_type & kUnusedBits;
        if (live.total_in == kZlibHeader && live.next_in - reader->input >= static_cast<long>(kZlibHeader)) {
            reader->window = uint32_t{256} << (live.next_in[-2] >> 4);
        }
        reader->block = {
            unused<8, static_cast<uint8_t>(unused), live.next_in> reader->input ? live.next_in[-1] : reader->last_byte,
            reader->chunk_offset, live.avail_in + reader->idat_left, live.total_in};
        const int more = inflate(&live, flush());
        if (more == Z_BUF_ERROR) break;  // nothing comes without input or space
        result = more;
    }
    return result;
}

// One call of inflate; false at the end of the stream and at its damage.
bool inflate_some(PngSource *source, size_t most) {
    IdatReader *reader = source->reader;
    z_stream &live = reader->live;
    if (live.avail_in == 0) next_piece(source);
    live.next_out = reader->above + reader->row_bytes + 1 + reader->inflated;
    live.avail_out = static_cast<uInt>(most);
    const int result = source->index_built ? inflate(&live, Z_SYNC_FLUSH) : inflate_noting_blocks(reader);
    const size_t came = most - live.avail_out;
    reader->inflated += came;
    if (result == Z_OK) return true;
    reader->stream = result == Z_STREAM_END ? IdatReader::kEnded : IdatReader::kDamaged;
    return false;
}

// Required: damage in the last row of the image leaves it with what came and zeros. On all others it is an error, as is
// the end of the stream.
void end_of_stream(PngSource *source) {
    IdatReader *reader = source->reader;
    const size_t whole = reader->row_bytes + 1;
    if (reader->stream == IdatReader::kEnded) png_error(source->png, "Not enough image data");
    if (reader->row != reader->height - 1) {
        png_error(source->png, "Damaged image data");
    }
    std::memset(reader->above + whole + reader->inflated, 0, whole - reader->inflated);
    reader->inflated = whole;
}

void inflate_row(PngSource *source) {
    IdatReader *reader = source->reader;
    const size_t whole = reader->row_bytes + 1;
    const int64_t due =
        rows_above(reader->pass, std::max(reader->ahead, reader->row + 1)) - rows_above(reader->pass, reader->row);
    while (reader->inflated < whole) {
        if (static_cast<size_t>(reader->rows + reader->capacity - reader->above) < 2 * whole + reader->inflated) {
            move_to_front(reader);
        }
        const size_t space = static_cast<size_t>(reader->rows + reader->capacity - reader->above) - whole;
        const size_t wanted = static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(due) * whole, space));
        const bool goes_on = reader->stream == IdatReader::kGoingOn && inflate_some(source, wanted - reader->inflated);
        if (!goes_on && reader->inflated < whole) end_of_stream(source);
    }
}

void unfilter(PngSource *source, uint8_t *row, const uint8_t *above) {
    if (row[0] >= kPngFilters) png_error(source->png, "bad adaptive filter value");
    unfilter_bytes(row[0], row + 1, above + 1, source->reader->used_bytes, filter_pixel_bytes(source->header));
}

}  // namespace

void unfilter_bytes(uint8_t filter, uint8_t *row, const uint8_t *above, size_t bytes, int pixel) {
    const PngKernels &kernels = png_kernels();
    switch (filter) {
        case PNG_FILTER_VALUE_SUB:
            return kernels.sub(row, bytes, pixel);
        case PNG_FILTER_VALUE_UP:
            return kernels.up(row, above, bytes);
        case PNG_FILTER_VALUE_AVG:
            return kernels.average(row, above, bytes, pixel);
        case PNG_FILTER_VALUE_PAETH:
            return kernels.paeth(row, above, bytes, pixel);
        default:
            return;
    }
}

IdatReader *make_idat_reader(const PngHeader &header) {
    IdatReader *reader = os_allocate_array<IdatReader>(1);
    if (!reader) return nullptr;
    // The row above, the row, and more of them up to a cache's worth.
    const size_t whole = bytes_of_pixels(header, header.width) + 1;
    reader->capacity = 2 * whole + std::max(whole, kAheadBytes);
    reader->rows = os_allocate_array<uint8_t>(reader->capacity);
    reader->windows = os_allocate_array<InflateWindows>(1);
    reader->height = static_cast<int32_t>(header.height);
    reader->live.opaque = reader->windows;
    reader->live.zalloc = allocate_for_zlib;
    reader->live.zfree = release_for_zlib;
    // Window bits 0: those of the stream's header, as libpng takes them.
    reader->live_open = reader->rows && reader->windows && inflateInit2(&reader->live, 0) == Z_OK;
    if (reader->live_open) return reader;
    delete_idat_reader(reader);
    return nullptr;
}

void delete_idat_reader(IdatReader *reader) {
    if (!reader) return;
    if (reader->live_open) inflateEnd(&reader->live);
    os_release(reader->windows);
    os_release(reader->rows);
    os_release(reader);
}

void start_pass(PngSource *source, int pass) {
    IdatReader *reader = source->reader;
    reader->pass = source->header.interlaced ? kAdam7[pass] : kOnlyPass;
    const uint32_t step = reader->pass.column_step;
    reader->width = (source->header.width - 1 + step - reader->pass.first_column) / step;
    reader->row_bytes = reader->used_bytes = bytes_of_pixels(source->header, reader->width);
    reader->row = 0;
    reader->ahead = reader->height;
    reader->inflated = 0;
    reader->above = reader->rows;
    std::memset(reader->above, 0, reader->row_bytes + 1);
}

void resume_chunk(PngSource *source, uint32_t chunk_offset, uint32_t bytes_left) {
    IdatReader *reader = source->reader;
    vpng_seek_data(source->png, chunk_offset);
    source->index->streamPosition = chunk_offset;
    const bool is_idat = read_chunk_header(source);
    if (bytes_left != UINT32_MAX) {
        const uint32_t behind = chunk_offset + kChunkHeader + reader->idat_left - bytes_left;
        reader->idat_left = bytes_left;
        vpng_seek_data(source->png, behind);
    } else if (!is_idat) {
        png_error(source->png, "Not enough image data");
    }
    reader->live.avail_in = 0;
    reader->following = false;
    reader->followed = 0;
    reader->followed_position = source->position;
}

const uint8_t *next_row(PngSource *source) {
    IdatReader *reader = source->reader;
    if (reader->row >= reader->height) png_error(source->png, "No rows are left");
    if (!has_pixels(*reader, reader->row)) {
        ++reader->row;
        return nullptr;
    }
    inflate_row(source);
    const size_t whole = reader->row_bytes + 1;
    uint8_t *row = reader->above + whole;
    unfilter(source, row, reader->above);
    reader->above = row;
    reader->inflated -= whole;
    ++reader->row;
    return row + 1;
}

// Required: a check value that does not fit is only warned of, since that of a chunk that was entered in the middle
// cannot. The index then names what follows the chunk.
bool finish_chunk(PngSource *source, uint32_t skip) {
    IdatReader *reader = source->reader;
    uint8_t piece[kSkipPiece] = {};
    reader->idat_left = 0;
    while (skip) {
        const uint32_t count = std::min<uint32_t>(skip, kSkipPiece);
        vpng_read_data(source->png, piece, count);
        add_to_crc(reader, piece, count);
        skip -= count;
    }
    uint8_t crc[kCrcBytes] = {};
    vpng_read_data(source->png, crc, sizeof crc);
    source->index->streamPosition = source->position;
    const bool wrong = big_endian_32(crc) != reader->crc && !reader->following;
    if (!source->index_built) reader->odd_chunks |= wrong;
    if (wrong) png_chunk_warning(source->png, "CRC error");
    return wrong;
}

bool follow(PngSource *source, const NotedBlock *block, uint64_t given) {
    IdatReader *reader = source->reader;
    z_stream &live = reader->live;
    if (block && block->given > reader->followed) {
        const BlockStart &start = block->start;
        if (inflateReset2(&live, -MAX_WBITS) != Z_OK ||
            inflateSetDictionary(&live, block->window, block->known) != Z_OK ||
            inflatePrime(&live, start.bits, start.last_byte >> (8 - start.bits)) != Z_OK) {
            return false;
        }
        resume_chunk(source, start.chunk_offset, start.bytes_left);
        reader->block = start;
        reader->window = kWindowBytes;
        reader->input_bytes = 0;
        live.total_in = static_cast<uLong>(start.total_in);
        live.total_out = static_cast<uLong>(block->given);
        reader->followed = block->given;
    } else {
        vpng_seek_data(source->png, reader->followed_position);
    }
    reader->following = true;
    const size_t space = reader->capacity - static_cast<size_t>(reader->above - reader->rows) - reader->row_bytes - 1;
    bool goes_on = true;
    for (; goes_on && reader->followed < given; reader->followed += reader->inflated) {
        reader->inflated = 0;
        goes_on = inflate_some(source, static_cast<size_t>(std::min<uint64_t>(space, given - reader->followed)));
    }
    reader->following = false;
    reader->inflated = 0;
    reader->followed_position = source->position;
    return goes_on;
}

// What stands behind the last row is the stream's end and its check value, or data that nobody asked for. Required:
// where the stream does not end there, it is read on as long as bytes come, which a stream that was cut off does not
// outlive by a chunk.
void finish_idat(PngSource *source) {
    IdatReader *reader = source->reader;
    move_to_front(reader);
    size_t came = 0;
    while (reader->stream == IdatReader::kGoingOn) {
        reader->inflated = 0;
        inflate_some(source, std::min(kSkipPiece, reader->capacity - reader->row_bytes - 1));
        came += reader->inflated;
        if (came == 0) break;
    }
    reader->inflated = 0;
    finish_chunk(source, reader->idat_left);
}

}  // namespace vorel
