#include "png/own_rows.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/core.h"
#include "png/idat_reader.h"
#include "png/inflate/stream.h"
#include "png/kernels/kernels.h"
#include "png/pixel_form.h"

namespace vorel {
namespace {

// Of longer chunks libpng may have something to say.
constexpr uint32_t kMostOwnChunkBytes = 8'000'000;
constexpr size_t kAdlerBits = 32, kFileInput = size_t{16} << 10;
constexpr size_t kAhead = size_t{48} << 10;

}  // namespace

struct OwnRows {
    PngSource *source;
    uint32_t start, offset;      // in the source: the first byte of image data, the next one
    uint32_t chunk, chunk_left;  // where its length field stands, its bytes that are not read yet
    uint32_t crc, adler;
    int32_t rows_left;
    size_t whole;  // bytes of a row with its filter
    int pixel;
    InflateStream stream;
    uint8_t *window, *window_end;  // the last bytes that matches reach, and what is not a row yet
    uint8_t *known;                // the first of them
    uint8_t *next, *at;            // the next row's start, and behind what is inflated
    uint8_t *row, *above;
    uint8_t filter;  // of the row
    uint8_t *input;  // of a file
    // For who notes blocks; null and 0 else.
    NotedBlock *noted;  // none yet where it is not known
    int32_t noted_rows;
    uint64_t given;        // bytes of the stream so far
    const uint8_t *piece;  // of the input that the stream has
    uint64_t piece_start;  // bytes of image data in front of it
};

namespace {

// Memory stands where it is, a file is read.
const uint8_t *take_bytes(OwnRows *rows, size_t count) {
    PngSource *source = rows->source;
    const uint8_t *bytes = rows->input;
    if (source->memory) {
        if (rows->offset > source->length || count > source->length - rows->offset) return nullptr;
        bytes = source->memory + rows->offset;
    } else if (std::fread(rows->input, 1, count, source->file) != count) {
        return nullptr;
    }
    rows->offset += static_cast<uint32_t>(count);
    return bytes;
}

void add_to_crc(OwnRows *rows, const uint8_t *bytes, size_t count) {
    rows->crc = static_cast<uint32_t>(crc32(rows->crc, bytes, static_cast<uInt>(count)));
}

bool end_chunk(OwnRows *rows) {
    const uint8_t *crc = take_bytes(rows, kCrcBytes);
    return crc && big_endian_32(crc) == rows->crc;
}

bool next_input(OwnRows *rows) {
    while (rows->chunk_left == 0) {
        if (!end_chunk(rows)) return false;
        rows->chunk = rows->offset;
        const uint8_t *header = take_bytes(rows, kChunkHeader);
        if (!header || !names_idat(header)) return false;
        rows->chunk_left = big_endian_32(header);
        if (rows->chunk_left > kMostOwnChunkBytes) return false;
        rows->crc = static_cast<uint32_t>(crc32(0, kIdatName, sizeof kIdatName));
    }
    const uint32_t count = rows->source->memory ? rows->chunk_left : std::min<uint32_t>(rows->chunk_left, kFileInput);
    const uint8_t *bytes = take_bytes(rows, count);
    if (!bytes) return false;
    add_to_crc(rows, bytes, count);
    rows->chunk_left -= count;
    CodeReader &reader = rows->stream.reader;
    if (rows->piece) rows->piece_start += static_cast<uint64_t>(reader.in_end - rows->piece);
    rows->piece = bytes;
    reader.in = bytes;
    reader.in_end = bytes + count;
    return true;
}

int32_t row_number(const OwnRows &rows) { return static_cast<int32_t>(rows.source->header.height) - rows.rows_left; }

// Rows up to the next one that another reader may begin with, or to the end.
int32_t rows_due(const OwnRows &rows) {
    if (rows.noted_rows == 0) return rows.rows_left;
    return std::min(rows.rows_left, rows.noted_rows - row_number(rows) % rows.noted_rows);
}

// In front of a block's header. A block is passed over where a quarter of the way from the last noted one to the
// place that matters is still to come: so tiny blocks cost few copies of the window.
void note_block(OwnRows *rows) {
    NotedBlock *noted = rows->noted;
    const CodeReader &reader = rows->stream.reader;
    const uint64_t place = static_cast<uint64_t>(row_number(*rows) + rows_due(*rows)) * rows->whole;
    if ((rows->given - noted->given) * 4 < place - rows->given) return;
    const uint8_t *const next = reader.in - reader.count / 8;
    if (next <= rows->piece) return;  // in the piece before
    noted->start = {true,
                    static_cast<uint8_t>(reader.count % 8),
                    next[-1],
                    rows->chunk,
                    rows->chunk_left + static_cast<uint32_t>(reader.in_end - next),
                    rows->piece_start + static_cast<uint64_t>(next - rows->piece)};
    noted->given = rows->given;
    noted->known = static_cast<uint32_t>(std::min<size_t>(kWindowBytes, static_cast<size_t>(rows->at - rows->known)));
    std::memcpy(noted->window, rows->at - noted->known, noted->known);
}

// Until the row's bytes are there, and as many of those behind them as there is space for.
bool inflate_row(OwnRows *rows) {
    // A byte more: what is wrong between two rows is the upper one's fault.
    const size_t needed = rows->whole + (rows->rows_left > 1 ? 1 : 0);
    if (static_cast<size_t>(rows->window_end - rows->next) < needed) {
        uint8_t *const from = std::max(
            rows->known, rows->next - std::min<size_t>(kWindowBytes, static_cast<size_t>(rows->next - rows->window)));
        std::memmove(rows->window, from, static_cast<size_t>(rows->at - from));
        rows->next -= from - rows->window;
        rows->at -= from - rows->window;
        rows->known = rows->window;
    }
    const uint64_t wanted = static_cast<uint64_t>(rows_due(*rows)) * rows->whole;
    const uint64_t space = static_cast<uint64_t>(rows->window_end - rows->next);
    uint8_t *const end = rows->next + std::min(wanted, space);
    while (static_cast<size_t>(rows->at - rows->next) < needed) {
        // The stream's header says how far back matches may reach.
        const BlockStops stops = rows->stream.phase == InflateStream::kZlibHeader ? BlockStops::kFront
                                 : rows->noted                                    ? BlockStops::kEnd
                                                                                  : BlockStops::kNone;
        PlainHistory history = {rows->known, rows->stream.window};
        uint8_t *const before = rows->at;
        const InflateStop stop = inflate_until(&rows->stream, &history, &rows->at, end, stops);
        rows->adler = png_kernels().adler32(rows->adler, before, static_cast<size_t>(rows->at - before));
        rows->given += static_cast<uint64_t>(rows->at - before);
        if (stop == InflateStop::kBlock) {
            if (rows->noted && rows->stream.window != kWindowBytes) return false;
            if (stops == BlockStops::kEnd) note_block(rows);
            continue;
        }
        if (stop == InflateStop::kFull) break;
        if (stop != InflateStop::kInput || !next_input(rows)) return false;
    }
    return true;
}

// The end of the stream right behind the last row, and that of its chunk behind both.
bool ends_well(OwnRows *rows) {
    InflateStream *stream = &rows->stream;
    CodeReader *reader = &stream->reader;
    uint8_t one[1 + kInflateSlack];
    const uint32_t chunk = rows->chunk;
    InflateStop stop;
    do {
        PlainHistory none = {one, 0};
        uint8_t *at = one;
        stop = inflate_until(stream, &none, &at, one + 1, BlockStops::kNone);
        if (at != one) return false;
    } while (stop == InflateStop::kInput && next_input(rows));
    if (stop != InflateStop::kEnd) return false;
    reader->bits >>= reader->count & 7;
    reader->count -= reader->count & 7;
    while (reader->count < kAdlerBits) {
        refill_bytes(reader);
        if (reader->count < kAdlerBits && !next_input(rows)) return false;
    }
    uint8_t adler[4];
    for (uint8_t &byte : adler) {
        byte = static_cast<uint8_t>(reader->bits);
        reader->bits >>= 8;
        reader->count -= 8;
    }
    // Who reads on behind the last row, as libpng does, may stop before an end that stands in another chunk.
    if (rows->noted && rows->chunk != chunk) return false;
    return big_endian_32(adler) == rows->adler && reader->count == 0 && reader->in == reader->in_end &&
           rows->chunk_left == 0 && end_chunk(rows);
}

OwnRows *open_rows(PngSource *source, int32_t noted_rows) {
    if (source->header.interlaced) return nullptr;
    const bool memory = source->memory && source->read == vpng_read_fn;
    if (!memory && !source->file) return nullptr;
    const size_t whole = bytes_of_pixels(source->header, source->header.width) + 1;
    const size_t window = kWindowBytes + std::max(whole + 1, kAhead), row = whole + kInflateSlack;
    const size_t noted = noted_rows ? sizeof(NotedBlock) : 0;
    const size_t bytes = sizeof(OwnRows) + noted + window + kInflateSlack + 2 * row + (memory ? 0 : kFileInput);
    auto *rows = static_cast<OwnRows *>(os_allocate(bytes));
    if (!rows) return nullptr;
    std::memset(static_cast<void *>(rows), 0, sizeof *rows + noted);
    if (noted_rows) rows->noted = reinterpret_cast<NotedBlock *>(rows + 1);
    rows->noted_rows = noted_rows;
    rows->source = source;
    rows->start = rows->offset = source->position;
    rows->rows_left = static_cast<int32_t>(source->header.height);
    rows->whole = whole;
    rows->pixel = filter_pixel_bytes(source->header);
    rows->window = reinterpret_cast<uint8_t *>(rows + 1) + noted;
    rows->window_end = rows->window + window;
    rows->known = rows->next = rows->at = rows->window;
    rows->row = rows->window_end + kInflateSlack;
    rows->above = rows->row + row;
    rows->input = rows->above + row;
    std::memset(rows->row, 0, whole);
    rows->adler = 1;
    start_inflate(&rows->stream, true);
    rows->stream.pairs = true;
    // libpng has read the chunk's header, which stands in front of the position.
    uint8_t header[kChunkHeader];
    rows->chunk = rows->offset -= kChunkHeader;
    // What cannot go back is not begun; nor where the position does not fit 32 bits.
    if (!memory && (std::ftell(source->file) != static_cast<long>(source->position) ||
                    std::fseek(source->file, static_cast<long>(rows->offset), SEEK_SET) != 0)) {
        os_release(rows);
        return nullptr;
    }
    const uint8_t *found = take_bytes(rows, kChunkHeader);
    if (found) std::memcpy(header, found, kChunkHeader);
    if (!found || source->position < kChunkHeader || !names_idat(header)) {
        close_own_rows(rows);
        return nullptr;
    }
    rows->chunk_left = big_endian_32(header);
    rows->crc = static_cast<uint32_t>(crc32(0, kIdatName, sizeof kIdatName));
    return rows;
}

}  // namespace

OwnRows *open_own_rows(PngSource *source) { return open_rows(source, 0); }

OwnRows *open_noting_rows(PngSource *source, int32_t noted_rows) { return open_rows(source, noted_rows); }

const NotedBlock *noted_block(const OwnRows &rows) { return rows.noted->start.known ? rows.noted : nullptr; }

uint32_t own_rows_offset(const OwnRows &rows) { return rows.offset; }

uint8_t own_row_filter(const OwnRows &rows) { return rows.filter; }

void resume_own_rows(OwnRows *rows) {
    if (rows->source->file) std::fseek(rows->source->file, static_cast<long>(rows->offset), SEEK_SET);
}

void close_own_rows(OwnRows *rows) {
    if (!rows) return;
    if (rows->source->file) std::fseek(rows->source->file, static_cast<long>(rows->start), SEEK_SET);
    os_release(rows);
}

const uint8_t *next_own_row(OwnRows *rows) {
    if (rows->rows_left == 0 || !inflate_row(rows)) return nullptr;
    const uint8_t filter = rows->next[0];
    if (filter >= kPngFilters) return nullptr;
    rows->filter = filter;
    std::swap(rows->row, rows->above);
    std::memcpy(rows->row, rows->next + 1, rows->whole - 1);
    unfilter_bytes(filter, rows->row, rows->above, rows->whole - 1, rows->pixel);
    rows->next += rows->whole;
    --rows->rows_left;
    if (rows->rows_left == 0 && !ends_well(rows)) return nullptr;
    return rows->row;
}

}  // namespace vorel
