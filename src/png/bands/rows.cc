#include "png/bands/rows.h"

#include <algorithm>
#include <cstring>

#include "core/core.h"
#include "png/checkpoint.h"
#include "png/pixel_form.h"

namespace vorel {
namespace {

// The first level of a block's tables: a segment is too short for larger ones to pay.
constexpr int kSegmentTableBits = 10;

// Bytes from outside of the segment come from the notes, in the order in which they were taken.
struct NotedHistory {
    const uint8_t *segment, *references, *references_end;

    bool copy(uint8_t *out, size_t distance, size_t count) {
        const size_t inside = static_cast<size_t>(out - segment);
        if (distance > inside) {
            const size_t outside = std::min(count, distance - inside);
            if (outside > static_cast<size_t>(references_end - references)) return false;
            copy_from_far(out, references, outside);
            references += outside;
            if (outside == count) return true;
            out += outside;
            count -= outside;
        }
        copy_match(out, distance, count);
        return true;
    }
};

bool set_tables(SegmentScratch *scratch, const Band *band, uint32_t number) {
    if (scratch->tables_band == band && scratch->tables_block == number) return true;
    scratch->tables_band = nullptr;
    const BandBlock &block = band->blocks[number];
    uint8_t lengths[kLengthSymbols + kDistanceSymbols];
    for (size_t i = 0; i < sizeof block.lengths; ++i) {
        lengths[2 * i] = block.lengths[i] & 15;
        lengths[2 * i + 1] = block.lengths[i] >> 4;
    }
    if (!make_block_tables(block.kind, lengths, block.length_codes, block.distance_codes, kSegmentTableBits, true,
                           &scratch->tables)) {
        return false;
    }
    scratch->tables_band = band;
    scratch->tables_block = number;
    return true;
}

// The first `wanted` bytes of a segment, as they stand in the stream.
bool read_segment(BandRows *rows, const Band &band, int32_t row, uint32_t segment, size_t wanted, uint8_t *out) {
    const Segments &segments = rows->store->segments;
    SegmentScratch *scratch = rows->store->scratch;
    const BandRow *kept = band.rows[row];
    const SegmentStart *starts = segments.starts(kept);
    const SegmentStart &start = starts[segment];
    const bool last = segment + 1 == segments.count;
    const uint32_t base = start.bit / 8;
    const uint32_t end_bit = !last                  ? starts[segment + 1].bit
                             : row + 1 < band.built ? segments.starts(band.rows[row + 1])[0].bit
                                                    : band.end_bit;
    const uint32_t end = std::min({end_bit / 8 + static_cast<uint32_t>(kFastInput), band.input_bytes,
                                   base + static_cast<uint32_t>(kMostSegmentInput)});
    if (!read_band_input(rows->source, band, base, end - base, scratch->input)) return false;
    const uint32_t count = end - base;
    uint8_t *const input = scratch->input;
    // Zeros behind it, so that the fast loop goes on to the last code.
    const uint8_t *const input_end = input + count + 2 * kFastInput;
    std::memset(input + count, 0, 2 * kFastInput);
    uint32_t block = start.block;
    if (!set_tables(scratch, &band, block)) return false;
    CodeReader reader;
    resume_at(&reader, input, input_end, start.bit - 8 * base);
    if (start.given && enter_match(&reader, scratch->tables, start.given) != InflateStop::kFull) return false;
    const uint8_t *references = segments.references(kept);
    NotedHistory history = {out, references + start.references,
                            references + (last ? kept->reference_bytes : starts[segment + 1].references)};
    uint8_t *at = out, *const stop = out + wanted;
    while (at < stop) {
        const BandBlock &now = band.blocks[block];
        if (now.kind == BlockKind::kStored) {
            const uint64_t place = static_cast<uint64_t>(reader.position(input)) / 8;
            const uint64_t behind = uint64_t{now.first_bit} / 8 + now.stored - base;
            if (behind < place) return false;
            const size_t bytes = std::min(static_cast<size_t>(behind - place), static_cast<size_t>(stop - at));
            if (place + bytes > count) return false;
            std::memcpy(at, input + place, bytes);
            at += bytes;
            resume_at(&reader, input, input_end, 8 * (place + bytes));
            if (at == stop) break;
        } else {
            const InflateStop result = read_codes(&reader, scratch->tables, &history, &at, stop);
            if (result == InflateStop::kFull) break;
            if (result != InflateStop::kBlock) return false;
        }
        // On to the next block's codes.
        if (++block >= band.block_count) return false;
        const uint32_t next = band.blocks[block].first_bit;
        if (next < start.bit || next / 8 > base + count) return false;
        if (!set_tables(scratch, &band, block)) return false;
        resume_at(&reader, input, input_end, next - 8 * base);
    }
    return true;
}

// Gives the row's segments their samples. The pixel left of them is made to come out of the filter as it is kept, so
// that the loops over whole rows can begin there.
void unfilter_segments(const BandRows &rows, const BandRow *kept, uint8_t *row, const uint8_t *above) {
    const Segments &segments = rows.store->segments;
    const uint8_t filter = kept->filter;
    const int pixel = static_cast<int>(segments.pixel);
    size_t from = rows.from;
    if (from > 0) {
        from -= segments.pixel;
        const uint8_t *left = segments.lefts(kept) + rows.first * segments.pixel;
        for (size_t i = 0; i < segments.pixel; ++i) {
            const int up = filter == PNG_FILTER_VALUE_UP || filter == PNG_FILTER_VALUE_PAETH ? above[from + i]
                           : filter == PNG_FILTER_VALUE_AVG                                  ? above[from + i] >> 1
                                                                                             : 0;
            row[from + i] = static_cast<uint8_t>(left[i] - up);
        }
    }
    unfilter_bytes(filter, row + from, above + from, rows.to - from, pixel);
}

bool needs_above(uint8_t filter) { return filter != PNG_FILTER_VALUE_NONE && filter != PNG_FILTER_VALUE_SUB; }

bool read_row(BandRows *rows, const Band &band, int32_t row, const uint8_t *above, uint8_t *out) {
    const Segments &segments = rows->store->segments;
    for (uint32_t s = rows->first; s < rows->end; ++s) {
        const size_t from = s * segments.bytes;
        if (!read_segment(rows, band, row, s, std::min(segments.size_of(s), rows->to - from), out + from)) return false;
    }
    unfilter_segments(*rows, band.rows[row], out, above);
    return true;
}

// From the nearest row above which is known, or above which nothing need be.
bool read_kept_row(BandRows *rows, const Band &band, int32_t row) {
    SegmentScratch *scratch = rows->store->scratch;
    const int32_t wanted = row - band.first_row;
    const int32_t at = rows->at - band.first_row;
    const auto anchor = [&](int32_t r) -> const uint8_t * {
        if (r < 0)
            return rows->source->index
                       ->checkpoints[0][band.first_row / static_cast<int32_t>(rows->source->index->step[0])]
                       ->previousRow +
                   1;
        return (r + 1) % kAnchorRows == 0 ? band.anchors[r / kAnchorRows] : nullptr;
    };
    int32_t first = wanted;
    while (needs_above(band.rows[first]->filter) && !(rows->at >= 0 && at == first - 1) && !anchor(first - 1)) --first;
    for (int32_t r = first; r <= wanted; ++r) {
        const bool known = rows->at >= 0 && rows->at - band.first_row == r - 1;
        const uint8_t *above = known ? scratch->rows[0] : anchor(r - 1);
        // A filter that looks at no row above gets any.
        if (!above) above = scratch->rows[0];
        if (!read_row(rows, band, r, above, scratch->rows[1])) return false;
        std::swap(scratch->rows[0], scratch->rows[1]);
        rows->at = band.first_row + r;
    }
    return true;
}

}  // namespace

bool open_band_rows(PngSource *source, int32_t row, size_t from, size_t to, BandRows *rows) {
    BandStore *store = band_store(source);
    if (!store) return false;
    const Segments &segments = store->segments;
    const size_t end = std::min(to, segments.row_bytes);
    const uint32_t first = static_cast<uint32_t>(from / segments.bytes);
    *rows = {};
    rows->source = source;
    rows->store = store;
    rows->first = first;
    rows->end = static_cast<uint32_t>((end + segments.bytes - 1) / segments.bytes);
    rows->from = first * segments.bytes;
    rows->to = end;
    rows->at = -1;
    rows->entered = source->index->checkpoints[0][static_cast<uint32_t>(row) / source->index->step[0]];
    store->scratch->tables_band = nullptr;
    return true;
}

bool is_refused(const BandRows &rows, int32_t row) {
    return rows.store->refused[static_cast<uint32_t>(row) / rows.source->index->step[0]] != 0;
}

const uint8_t *band_row(BandRows *rows, int32_t row) {
    BandStore *store = rows->store;
    const uint32_t number = static_cast<uint32_t>(row) / rows->source->index->step[0];
    const Band *before = store->bands[number];
    const int32_t built = before && !before->busy ? before->built : 0;
    Band *band = touch_band(rows->source, row);
    if (!band) return nullptr;
    if (row - band->first_row >= built) {
        // Just built: the whole row is at hand.
        const size_t from = rows->from > 0 ? rows->from - store->segments.pixel : 0;
        std::memcpy(store->scratch->rows[0] + from, band->builder->row + from, rows->to - from);
        rows->at = row;
        finish_band(store, band);
    } else if (rows->at != row && !read_kept_row(rows, *band, row)) {
        drop_band(store, number, true);
        return nullptr;
    }
    rows->crossed |= rows->source->index->checkpoints[0][number]->streamPosition != rows->entered->streamPosition ||
                     band->crossing_row <= row - band->first_row;
    return store->scratch->rows[0];
}

void close_band_rows(BandRows *rows) {
    if (rows->crossed && whole_of(rows->entered)->in_middle) png_chunk_warning(rows->source->png, "CRC error");
}

}  // namespace vorel
