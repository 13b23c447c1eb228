// Bands are inflated once, row by row, from their checkpoint on, while it is noted where segments begin and which bytes
// from outside of a segment its matches ask for.
#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "png/bands/store.h"
#include "png/checkpoint.h"
#include "png/kernels/kernels.h"
#include "png/pixel_form.h"

namespace vorel {
namespace {

constexpr uint32_t kMostBits = UINT32_MAX - 64;

// Takes note of what a segment's matches refer to in front of it, in the order in which it is needed.
struct NotingHistory {
    const uint8_t *begin, *segment;
    uint8_t *references;
    size_t most_distance;

    bool copy(uint8_t *out, size_t distance, size_t count) {
        if (distance > most_distance || distance > static_cast<size_t>(out - begin)) return false;
        const size_t inside = static_cast<size_t>(out - segment);
        if (distance > inside) {
            const size_t outside = std::min(count, distance - inside);
            copy_from_far(references, out - distance, outside);
            references += outside;
        }
        copy_match(out, distance, count);
        return true;
    }
};

// ---- input --------------------------------------------------------------------------------------------------------

// Whether the source has the bytes: memory that is cut short would leave what was there before, and behind the end of a
// file reading jumps.
bool read_source(PngSource *source, uint32_t offset, uint32_t count, uint8_t *out) {
    if (source->memory && (offset > source->length || count > source->length - offset)) return false;
    if (source->file && int64_t{offset} + count > source->bands->stamp.size) return false;
    const uint32_t short_reads = source->short_reads;
    vpng_seek_data(source->png, offset);
    vpng_read_data(source->png, out, count);
    return source->short_reads == short_reads;
}

// The header of the chunk whose length field is at `offset`; false when it is no IDAT.
bool read_idat_header(PngSource *source, uint32_t offset, uint32_t *length) {
    uint8_t header[kChunkHeader];
    if (!read_source(source, offset, kChunkHeader, header)) return false;
    *length = big_endian_32(header);
    return *length <= kMostChunkBytes && names_idat(header);
}

bool add_piece(BandStore *store, Band *band) {
    if (!grow_for_band(store, band, &band->pieces, band->piece_count, &band->piece_capacity)) return false;
    band->pieces[band->piece_count++] = {band->builder->input_bytes, band->builder->offset};
    return true;
}

bool next_input(PngSource *source, BandStore *store, Band *band) {
    BandBuilder *builder = band->builder;
    while (builder->chunk_left == 0) {
        const uint32_t next = builder->offset + kCrcBytes;
        uint32_t length;
        if (!read_idat_header(source, next, &length)) return false;
        if (builder->chunk == builder->entered_chunk) builder->entered_chunk_end = builder->input_bytes;
        builder->chunk = next;
        builder->offset = next + kChunkHeader;
        builder->chunk_left = length;
        if (length && !add_piece(store, band)) return false;
    }
    const uint32_t count = std::min<uint32_t>(builder->chunk_left, sizeof builder->input);
    if (builder->input_bytes > kMostBits / 8 - count) return false;
    if (!read_source(source, builder->offset, count, builder->input)) return false;
    builder->offset += count;
    builder->chunk_left -= count;
    builder->input_bytes += count;
    band->input_bytes = builder->input_bytes;
    builder->stream.reader.in = builder->input;
    builder->stream.reader.in_end = builder->input + count;
    return true;
}

// Bits before what comes next; negative where a block began before the band's input.
int64_t position(const BandBuilder &builder) {
    const CodeReader &reader = builder.stream.reader;
    const int64_t behind = reader.in ? reader.in_end - reader.in : 0;
    return 8 * (int64_t{builder.input_bytes} - behind) - int64_t{reader.count} -
           int64_t{reader.match_left ? reader.match_bits : 0};
}

// ---- blocks -------------------------------------------------------------------------------------------------------

bool add_block(BandStore *store, Band *band) {
    BandBuilder *builder = band->builder;
    const InflateStream &stream = builder->stream;
    const int64_t bit = position(*builder);
    if (bit < 0 || band->block_count > UINT16_MAX) return false;
    if (!grow_for_band(store, band, &band->blocks, band->block_count, &band->block_capacity)) return false;
    BandBlock *block = &band->blocks[band->block_count++];
    *block = {};
    block->first_bit = static_cast<uint32_t>(bit);
    block->kind = stream.kind;
    block->stored = stream.stored_left;
    if (stream.kind == BlockKind::kStored) return true;
    block->length_codes = static_cast<uint16_t>(stream.length_codes);
    block->distance_codes = static_cast<uint16_t>(stream.distance_codes);
    for (uint32_t i = 0; i < stream.length_codes + stream.distance_codes; ++i) {
        block->lengths[i / 2] = static_cast<uint8_t>(block->lengths[i / 2] | stream.lengths[i] << (i % 2 * 4));
    }
    return true;
}

// Up to `end` of the window, with a note of each block on the way.
template <class History>
bool inflate_to(PngSource *source, BandStore *store, Band *band, History *history, uint8_t *end) {
    BandBuilder *builder = band->builder;
    while (true) {
        switch (inflate_until(&builder->stream, history, &builder->at, end, BlockStops::kFront)) {
            case InflateStop::kFull:
                return true;
            case InflateStop::kInput:
                if (!next_input(source, store, band)) return false;
                break;
            case InflateStop::kBlock:
                if (!add_block(store, band)) return false;
                break;
            default:
                return false;
        }
    }
}

void make_space(BandBuilder *builder, size_t bytes) {
    uint8_t *const end = builder->window + sizeof builder->window - kInflateSlack;
    if (static_cast<size_t>(end - builder->at) >= bytes) return;
    const size_t known = std::min(kWindowBytes, static_cast<size_t>(builder->at - builder->window_begin));
    std::memmove(builder->window, builder->at - known, known);
    builder->window_begin = builder->window;
    builder->at = builder->window + known;
}

// ---- rows ---------------------------------------------------------------------------------------------------------

bool keep_row(BandStore *store, Band *band, uint8_t filter, size_t reference_bytes) {
    const Segments &segments = store->segments;
    BandBuilder *builder = band->builder;
    auto *row = static_cast<BandRow *>(allocate_for_band(store, band, segments.row_size(reference_bytes)));
    if (!row) return false;
    row->reference_bytes = static_cast<uint32_t>(reference_bytes);
    row->filter = filter;
    std::memcpy(segments.starts(row), builder->starts, segments.count * sizeof(SegmentStart));
    for (uint32_t s = 1; s < segments.count; ++s) {
        std::memcpy(segments.lefts(row) + s * segments.pixel, builder->row + s * segments.bytes - segments.pixel,
                    segments.pixel);
    }
    std::memcpy(segments.references(row), builder->references, reference_bytes);
    band->rows[band->built] = row;
    return true;
}

bool keep_anchor(BandStore *store, Band *band) {
    const size_t bytes = store->segments.row_bytes;
    auto *anchor = static_cast<uint8_t *>(allocate_for_band(store, band, bytes));
    if (!anchor) return false;
    std::memcpy(anchor, band->builder->row, bytes);
    band->anchors[band->built / kAnchorRows] = anchor;
    return true;
}

bool build_row(PngSource *source, BandStore *store, Band *band) {
    const Segments &segments = store->segments;
    BandBuilder *builder = band->builder;
    CodeReader &reader = builder->stream.reader;
    make_space(builder, 1);
    const size_t window = builder->stream.window;
    PlainHistory before = {builder->window_begin, window};
    if (!inflate_to(source, store, band, &before, builder->at + 1)) return false;
    const uint8_t filter = builder->at[-1];
    if (filter >= kPngFilters) return false;
    std::swap(builder->row, builder->above);
    size_t reference_bytes = 0;
    uint32_t last_bit = static_cast<uint32_t>(position(*builder));
    for (uint32_t s = 0; s < segments.count; ++s) {
        const size_t bytes = segments.size_of(s);
        make_space(builder, bytes);
        const int64_t bit = position(*builder);
        if (bit < 0 || (bit - last_bit) / 8 + 16 > static_cast<int64_t>(kMostSegmentInput)) return false;
        last_bit = static_cast<uint32_t>(bit);
        builder->starts[s] = {last_bit, static_cast<uint32_t>(reference_bytes),
                              static_cast<uint16_t>(band->block_count - 1),
                              static_cast<uint16_t>(reader.match_left ? reader.match_done : 0)};
        NotingHistory history = {builder->window_begin, builder->at, builder->references + reference_bytes, window};
        if (!inflate_to(source, store, band, &history, builder->at + bytes)) return false;
        reference_bytes = static_cast<size_t>(history.references - builder->references);
        std::memcpy(builder->row + s * segments.bytes, builder->at - bytes, bytes);
    }
    const int64_t end = position(*builder) + (reader.match_left ? reader.match_bits : 0);
    if (end < 0 || (end - last_bit) / 8 + 16 > static_cast<int64_t>(kMostSegmentInput)) return false;
    unfilter_bytes(filter, builder->row, builder->above, segments.row_bytes, static_cast<int>(segments.pixel));
    if (!keep_row(store, band, filter, reference_bytes)) return false;
    if (band->built % kAnchorRows == kAnchorRows - 1 && !keep_anchor(store, band)) return false;
    if (band->crossing_row == band->row_count && builder->entered_chunk_end != UINT32_MAX &&
        end > 8 * int64_t{builder->entered_chunk_end}) {
        band->crossing_row = band->built;
    }
    band->end_bit = static_cast<uint32_t>(end);
    ++band->built;
    return true;
}

// ---- start --------------------------------------------------------------------------------------------------------

bool skip_bits(PngSource *source, BandStore *store, Band *band, uint64_t count) {
    CodeReader *reader = &band->builder->stream.reader;
    while (count > 0) {
        const uint32_t now = static_cast<uint32_t>(std::min<uint64_t>(count, reader->count));
        reader->bits >>= now;
        reader->count -= now;
        count -= now;
        if (count == 0) break;
        const uint64_t bytes = std::min<uint64_t>(count / 8, static_cast<uint64_t>(reader->in_end - reader->in));
        reader->in += bytes;
        count -= 8 * bytes;
        if (count > 0 && reader->in == reader->in_end && !next_input(source, store, band)) return false;
        if (count < 8) refill_bytes(reader);
    }
    return true;
}

// The block's header, and on to where zlib stood in it; at the start of the stream nothing.
bool enter_block(PngSource *source, BandStore *store, Band *band, const Checkpoint &checkpoint) {
    BandBuilder *builder = band->builder;
    InflateStream *stream = &builder->stream;
    PlainHistory none = {builder->at, 0};
    InflateStop stop;
    while ((stop = inflate_until(stream, &none, &builder->at, builder->at, BlockStops::kFront)) ==
           InflateStop::kInput) {
        if (!next_input(source, store, band)) return false;
    }
    if (stop != InflateStop::kBlock) return false;
    const bool stored = stream->kind == BlockKind::kStored;
    const int64_t from = position(*builder);
    const int64_t place = static_cast<int64_t>(checkpoint.bits) - checkpoint.block.bits;
    int64_t wanted = place - (stored ? 0 : std::max(checkpoint.code_bits, 0));
    // zlib is still in front of the first code.
    if (checkpoint.code_bits < 0 && !stored) wanted = from;
    if (wanted < from) wanted = from;
    if (!add_block(store, band)) return false;
    if (stored) {
        if ((wanted - from) / 8 > stream->stored_left) return false;
        stream->stored_left -= static_cast<uint32_t>((wanted - from) / 8);
    }
    if (!skip_bits(source, store, band, static_cast<uint64_t>(wanted - from))) return false;
    if (stored || checkpoint.code_bits < 0 || checkpoint.given == 0) return true;
    while ((stop = enter_match(&stream->reader, stream->tables, checkpoint.given)) == InflateStop::kInput) {
        if (!next_input(source, store, band)) return false;
    }
    return stop == InflateStop::kFull;
}

bool make_builder(BandStore *store, Band *band) {
    const Segments &segments = store->segments;
    auto *builder = static_cast<BandBuilder *>(allocate_for_band(store, band, sizeof(BandBuilder)));
    if (!builder) return false;
    band->builder = builder;
    std::memset(static_cast<void *>(builder), 0, offsetof(BandBuilder, input));
    const auto array = [&](size_t bytes) { return static_cast<uint8_t *>(allocate_for_band(store, band, bytes)); };
    builder->row = array(segments.row_bytes + kInflateSlack);
    builder->above = array(segments.row_bytes + kInflateSlack);
    builder->references = array(segments.row_bytes + kInflateSlack);
    builder->starts = reinterpret_cast<SegmentStart *>(array(segments.count * sizeof(SegmentStart)));
    return builder->row && builder->above && builder->references && builder->starts;
}

}  // namespace

bool start_band(PngSource *source, BandStore *store, Band *band) {
    const int32_t number = band->first_row / static_cast<int32_t>(source->index->step[0]);
    const vpng_row_checkpoint *shown = source->index->checkpoints[0][number];
    if (!shown->inflateState || !make_builder(store, band)) return false;
    const Checkpoint &checkpoint = *whole_of(shown);
    BandBuilder *builder = band->builder;
    InflateStream *stream = &builder->stream;
    const bool from_start = number == 0;
    if (!from_start && (!checkpoint.block.known || source->reader->window != kWindowBytes || checkpoint.code_bits > 63))
        return false;
    const uint32_t chunk = from_start ? shown->streamPosition : checkpoint.block.chunk_offset;
    const uint32_t left = from_start ? shown->bytesLeft : checkpoint.block.bytes_left;
    uint32_t length;
    if (!read_idat_header(source, chunk, &length) || left > length) return false;
    builder->chunk = chunk;
    builder->entered_chunk = shown->streamPosition;
    builder->offset = chunk + kChunkHeader + length - left;
    builder->chunk_left = left;
    builder->entered_chunk_end = UINT32_MAX;
    if (!add_piece(store, band)) return false;
    // The window, and how far back matches may reach, are zlib's.
    uInt known = 0;
    uint8_t *const at = builder->window + kWindowBytes;
    start_inflate(stream, from_start);
    builder->at = at;
    builder->window_begin = at;
    if (!from_start) {
        if (!restore_checkpoint(source->reader, shown)) {
            store->starved = true;
            return false;
        }
        if (inflateGetDictionary(&source->reader->live, builder->window, &known) != Z_OK || known > kWindowBytes) {
            return false;
        }
        std::memmove(at - known, builder->window, known);
        builder->window_begin = at - known;
        stream->reader.count = checkpoint.block.bits;
        if (checkpoint.block.bits) {
            stream->reader.bits = static_cast<uint64_t>(checkpoint.block.last_byte >> (8 - checkpoint.block.bits));
        }
        stream->window = source->reader->window;
    }
    std::memcpy(builder->row, shown->previousRow + 1, store->segments.row_bytes);
    band->crossing_row = band->row_count;
    return enter_block(source, store, band, checkpoint);
}

bool build_band(PngSource *source, BandStore *store, Band *band, int32_t last) {
    while (band->built <= last) {
        if (!build_row(source, store, band)) return false;
    }
    return true;
}

bool read_band_input(PngSource *source, const Band &band, uint32_t byte, uint32_t count, uint8_t *out) {
    uint32_t low = 0, high = band.piece_count;
    while (high - low > 1) {
        const uint32_t middle = (low + high) / 2;
        (band.pieces[middle].byte <= byte ? low : high) = middle;
    }
    for (; count > 0; ++low) {
        const BandPiece &piece = band.pieces[low];
        const uint32_t end = low + 1 < band.piece_count ? band.pieces[low + 1].byte : band.input_bytes;
        const uint32_t now = std::min(count, end - byte);
        if (!read_source(source, piece.offset + (byte - piece.byte), now, out)) return false;
        byte += now;
        out += now;
        count -= now;
    }
    return true;
}

}  // namespace vorel
