// The index: a walk over all rows that keeps, at regular rows of each pass, what is needed to resume there.
#include "png/index.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/core.h"
#include "png/bands/store.h"
#include "png/checkpoint.h"

namespace vorel {
namespace {

constexpr int32_t kCheckpointRows = 254;  // of a pass
// Of each pass, the rows in eight of the image, as the spacing of checkpoints sees them: 254 rows of a pass are that
// many eighths apart, 8 / e * 254.
constexpr int32_t kPassRowsInEight[kAdam7Passes] = {1, 1, 1, 2, 2, 4, 4};
constexpr int32_t kAllRowsInEight = 8;
constexpr size_t kIdatHeaderBytes = 8;

[[noreturn]] void out_of_memory(png_structp png) { png_error(png, "Out of memory"); }

void build_pass(PngSource *source, int pass) {
    vpng_row_index *index = source->index;
    IdatReader *reader = source->reader;
    const int32_t height = static_cast<int32_t>(source->header.height);
    const int32_t step = static_cast<int32_t>(index->step[pass]);
    const int32_t count = (height + step - 1) / step;
    index->checkpoints[pass] = os_allocate_array<vpng_row_checkpoint *>(static_cast<uint64_t>(count));
    if (!index->checkpoints[pass]) out_of_memory(source->png);
    start_pass(source, pass);
    for (int32_t c = 0; c < count; ++c) {
        // Counted before it is whole, so that it is freed in any case.
        if (!make_checkpoint(reader, &index->checkpoints[pass][index->size[pass]++])) out_of_memory(source->png);
        // Nothing behind the next checkpoint may be inflated before it is taken.
        reader->ahead = std::min(height, reader->row + step);
        while (reader->row < reader->ahead) next_row(source);
    }
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
    for (int pass = 0; index && pass < kAdam7Passes; ++pass) {
        for (uint32_t c = 0; c < index->size[pass]; ++c) delete_checkpoint(index->checkpoints[pass][c]);
        os_release(index->checkpoints[pass]);
    }
    os_release(index);
    delete_idat_reader(source->reader);
    source->index = nullptr;
    source->reader = nullptr;
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
    source->reader = make_idat_reader(source->header);
    if (!source->reader) out_of_memory(png);
    // libpng has read the header of the first IDAT chunk. It stands in front of the position. The bytes
    // asked for so far say less: a memory source that is cut short did not give them all.
    resume_chunk(source, source->position - static_cast<uint32_t>(kIdatHeaderBytes), UINT32_MAX);
    for (int pass = 0; pass < passes_of(*source); ++pass) {
        const int32_t in_eight = source->header.interlaced ? kPassRowsInEight[pass] : kAllRowsInEight;
        source->index->step[pass] = static_cast<uint32_t>(8 / in_eight * kCheckpointRows);
        build_pass(source, pass);
    }
    finish_idat(source);
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
