// The index: a walk over all rows that keeps, at regular rows of each pass, what is needed to resume there.
#include "png/index.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/core.h"
#include "png/bands/store.h"
#include "png/checkpoint.h"
#include "png/own_rows.h"

namespace vorel {
namespace {

// Of each pass, the rows in eight of the image, as the spacing of checkpoints sees them: 254 rows of a pass are that
// many eighths apart, 8 / e * 254.
constexpr int32_t kPassRowsInEight[kAdam7Passes] = {1, 1, 1, 2, 2, 4, 4};
constexpr int32_t kAllRowsInEight = 8;

[[noreturn]] void out_of_memory(png_structp png) { png_error(png, "Out of memory"); }

// Of the row that comes next in the reader.
void add_checkpoint(PngSource *source, int pass) {
    vpng_row_index *index = source->index;
    // Counted before it is whole, so that it is freed in any case.
    if (!make_checkpoint(source->reader, &index->checkpoints[pass][index->size[pass]++])) out_of_memory(source->png);
}

// The reader, in the first IDAT chunk, whose length field stands at `chunk`, and room for the checkpoints of a pass.
void start_reader(PngSource *source, uint32_t chunk) {
    delete_idat_reader(source->reader);
    source->reader = make_idat_reader(source->header);
    if (!source->reader) out_of_memory(source->png);
    resume_chunk(source, chunk, UINT32_MAX);
}

int32_t make_checkpoints(PngSource *source, int pass) {
    vpng_row_index *index = source->index;
    const int32_t height = static_cast<int32_t>(source->header.height);
    const int32_t in_eight = source->header.interlaced ? kPassRowsInEight[pass] : kAllRowsInEight;
    index->step[pass] = static_cast<uint32_t>(8 / in_eight * kCheckpointRows);
    const int32_t step = static_cast<int32_t>(index->step[pass]);
    const int32_t count = (height + step - 1) / step;
    index->checkpoints[pass] = os_allocate_array<vpng_row_checkpoint *>(static_cast<uint64_t>(count));
    if (!index->checkpoints[pass]) out_of_memory(source->png);
    start_pass(source, pass);
    return count;
}

void delete_checkpoints(vpng_row_index *index, int pass) {
    for (uint32_t c = 0; c < index->size[pass]; ++c) delete_checkpoint(index->checkpoints[pass][c]);
    os_release(index->checkpoints[pass]);
    index->checkpoints[pass] = nullptr;
    index->size[pass] = 0;
}

void build_pass(PngSource *source, int pass) {
    IdatReader *reader = source->reader;
    const int32_t count = make_checkpoints(source, pass);
    for (int32_t c = 0; c < count; ++c) {
        add_checkpoint(source, pass);
        // Nothing behind the next checkpoint may be inflated before it is taken.
        reader->ahead = std::min(reader->height, reader->row + static_cast<int32_t>(source->index->step[pass]));
        while (reader->row < reader->ahead) next_row(source);
    }
}

// The same by our own inflate: zlib, whose states are kept, sees of the stream what lies between a checkpoint and the
// start of a block shortly before it, and all of a block that several checkpoints lie in.
bool build_from_own_rows(PngSource *source) {
    IdatReader *reader = source->reader;
    OwnRows *rows = source->own_rows;
    const int32_t count = make_checkpoints(source, 0);
    for (int32_t c = 0; c < count; ++c) {
        if (c > 0) {
            const uint64_t given = static_cast<uint64_t>(reader->row) * (reader->row_bytes + 1);
            if (!follow(source, noted_block(*rows), given)) return false;
            resume_own_rows(rows);
        }
        add_checkpoint(source, 0);
        const int32_t end = std::min(reader->height, reader->row + kCheckpointRows);
        for (; reader->row < end; ++reader->row) {
            const uint8_t *row = next_own_row(rows);
            if (!row) return false;
            if (reader->row < end - 1) continue;
            reader->above[0] = own_row_filter(*rows);
            std::memcpy(reader->above + 1, row, reader->row_bytes);
        }
    }
    reader->window = kWindowBytes;
    return true;
}

// False: it has to be built by zlib, which knows what damage and oddities come to.
bool build_by_own_inflate(PngSource *source, uint32_t chunk) {
    const uint32_t short_reads = source->short_reads, short_headers = source->short_headers,
                   short_pieces = source->short_pieces;
    source->own_rows = open_noting_rows(source, kCheckpointRows);
    if (!source->own_rows) return false;
    const bool built = build_from_own_rows(source);
    const uint32_t end = own_rows_offset(*source->own_rows);
    close_own_rows(source->own_rows);
    source->own_rows = nullptr;
    if (built) {
        vpng_seek_data(source->png, end);
        source->index->streamPosition = end;
        source->reader->stream = IdatReader::kEnded;
        return true;
    }
    delete_checkpoints(source->index, 0);
    source->short_reads = short_reads;
    source->short_headers = short_headers;
    source->short_pieces = short_pieces;
    start_reader(source, chunk);
    return false;
}

IdatReader *reader_of(png_structp png) {
    PngSource *source = source_of(png);
    if (!source || !source->reader) png_error(png, "There is no row index");
    return source->reader;
}

int passes_of(const PngSource &source) { return source.header.interlaced ? kAdam7Passes : 1; }

}  // namespace

void delete_row_index(PngSource *source) {
    delete_band_store(source);
    vpng_row_index *index = source->index;
    for (int pass = 0; index && pass < kAdam7Passes; ++pass) delete_checkpoints(index, pass);
    os_release(index);
    delete_idat_reader(source->reader);
    close_own_rows(source->own_rows);
    source->index = nullptr;
    source->reader = nullptr;
    source->own_rows = nullptr;
    source->index_built = false;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void vpng_build_index(png_structp png) {
    PngSource *source = source_of(png);
    if (!source || source->index || source->header.width == 0) png_error(png, "No row index can be built");
    source->index = os_allocate_array<vpng_row_index>(1);
    if (!source->index) out_of_memory(png);
    // libpng has read the header of the first IDAT chunk. It stands in front of the position. The bytes
    // asked for so far say less: a memory source that is cut short did not give them all.
    const uint32_t chunk = source->position - kChunkHeader;
    start_reader(source, chunk);
    if (!build_by_own_inflate(source, chunk)) {
        for (int pass = 0; pass < passes_of(*source); ++pass) build_pass(source, pass);
        finish_idat(source);
    }
    source->index_built = true;
}

int32_t png_opt_crc_finish(png_structp png, uint32_t skip) {
    reader_of(png);
    return finish_chunk(source_of(png), skip);
}

void png_set_interlaced_pass(png_structp png, int32_t pass) {
    reader_of(png);
    PngSource *source = source_of(png);
    if (pass < 0 || pass >= passes_of(*source)) png_error(png, "No such pass");
    start_pass(source, pass);
}

void vpng_set_read_offset(png_structp png, uint32_t streamPosition, uint32_t bytesLeft) {
    reader_of(png);
    // No chunk has as many bytes as the value that stands for all of them.
    resume_chunk(source_of(png), streamPosition, std::min<uint32_t>(bytesLeft, INT32_MAX));
}

void vpng_configure_decoder(png_structp png, int32_t *row, int32_t pass) {
    IdatReader *reader = reader_of(png);
    PngSource *source = source_of(png);
    const vpng_row_index *index = source->index;
    if (!row || *row < 0 || pass < 0 || pass >= passes_of(*source)) png_error(png, "No such row");
    const uint32_t c = static_cast<uint32_t>(*row) / index->step[pass];
    if (c >= index->size[pass]) png_error(png, "No such row");
    const vpng_row_checkpoint *checkpoint = index->checkpoints[pass][c];
    *row = static_cast<int32_t>(index->step[pass] * c);
    png_set_interlaced_pass(png, pass);
    reader->row = *row;
    if (!checkpoint->inflateState) return;  // no pixels
    if (!restore_checkpoint(reader, checkpoint)) out_of_memory(png);
    reader->stream = IdatReader::kGoingOn;
    source->short_reads = source->short_headers = source->short_pieces = 0;
    // A source that is cut short leaves the input as it was; that is to be the same for every order of regions.
    std::memset(reader->input, 0, sizeof reader->input);
    vpng_set_read_offset(png, checkpoint->streamPosition, checkpoint->bytesLeft);
    std::memcpy(reader->above, checkpoint->previousRow, reader->row_bytes + 1);
    reader->live.avail_in = 0;
}

// Rows are numbered within the index's reader while there is an index; libpng then has none to give.
void skip_src_rows(png_structp png, uint8_t *rowBuffer, int32_t count) {
    PngSource *source = source_of(png);
    for (int32_t i = 0; i < count; ++i) {
        if (source && source->index) {
            next_row(source);
        } else {
            png_read_rows(png, &rowBuffer, nullptr, 1);
        }
    }
}

}  // extern "C"
