// The BMP decoder: one member per depth, the rows of RLE8, and the entry that picks among them.
#include <algorithm>
#include <cstring>
#include <utility>

#include "core/core.h"
#include "raster/bmp_input.h"
#include "raster/bmp_pixels.h"
#include "raster/bmp_rle.h"
#include "raster/bmp_rows.h"
#include "raster/bmp_scaled.h"

namespace vorel {
namespace {

constexpr int32_t kDone = 1;

using WriteRowFn = decltype(&BRIMI_BMP_Write24bitOutput);

void write_scaled_row(const BmpInfo *info, uint8_t *out, int32_t step) {
    if (info->alphaScratch) {
        BRIMI_BMP_WriteResizedOutputWithAlpha(info->scratch, info->alphaScratch, out, info->outWidth, step,
                                              info->outputFormat);
    } else {
        BRIMI_BMP_WriteResizedOutput(info->scratch, out, info->outWidth, step, info->outputFormat);
    }
}

// row_at(index) gives stored rows, null at the end, and add() takes their samples. The rows are asked for in rising
// order, since the second one of an output row never lies below the first one of the next. False when one is missing.
template <typename RowAt, typename Add>
bool scale_rows(const BmpInfo *info, const OutputRows &rows, RowSink *sink, const RowAt &row_at, const Add &add) {
    const size_t bytes = static_cast<size_t>(info->outWidth) * sizeof *info->scratch;
    for (int32_t y = rows.first(); y < rows.end(); ++y) {
        const SamplePair pair = sample_pair(y, info->height, info->outHeight);
        std::memset(info->scratch, 0, bytes);
        if (info->alphaScratch) std::memset(info->alphaScratch, 0, bytes);
        for (const int32_t index : {pair.first, pair.second}) {
            const auto *row = row_at(index);
            if (!row) return false;
            add(row);
        }
        sink->put([=](uint8_t *out, int32_t step) { write_scaled_row(info, out, step); });
    }
    return true;
}

bool nothing_to_write(const BmpInfo *info) { return info->outWidth <= 0 || bmp_pixel_bytes(info->outputFormat) == 0; }

// ---- members --------------------------------------------------------------------------------------------------------

int32_t decode_member(BmpInfo *info, void *output, int32_t output_height, int32_t bits, WriteRowFn write_row) {
    if (!info || !output || info->bitCount != bits) return 0;
    const OutputRows rows(info, output, output_height, info->topDown != 0);
    if (nothing_to_write(info)) return kDone;
    const int64_t row_bytes = (int64_t{info->width} * bits + 7) >> 3;
    if (!open_rows(info->input, info->dataOffset, row_bytes, (row_bytes + 3) & ~int64_t{3})) return 0;
    RowSink sink(info, rows);
    if (!sink.open()) return 0;
    if (info->oneToOne) {
        for (int32_t y = rows.first(); y < rows.end(); ++y) {
            const uint8_t *row = stored_row(info->input, y);
            if (!row) return result_at_end(info->input);
            sink.put([=](uint8_t *out, int32_t step) {
                write_row(info, row, out, info->outWidth, step, info->outputFormat);
            });
        }
        return kDone;
    }
    const OsBlock columns(make_sample_columns(info));
    if (!columns) return 0;
    const AddSamplesFn add_samples = add_samples_of(bits);
    const bool whole = scale_rows(
        info, rows, &sink, [=](int32_t index) { return stored_row(info->input, index); },
        [&](const uint8_t *row) { add_samples(info, row, columns.as<SamplePair>()); });
    return whole ? kDone : result_at_end(info->input);
}

// ---- RLE8 -----------------------------------------------------------------------------------------------------------

// Pixels that the runs leave out stay as they are in the output.
void copy_runs(const BmpInfo *info, const OutputRows &rows, Rle8Reader *reader) {
    IndexRun run;
    while (reader->step(&run)) {
        if (run.count == 0 || !rows.holds(run.row)) continue;
        uint8_t *out = rows.at(run.row) + ptrdiff_t{run.x} * info->pixelStep;
        BRIMI_BMP_Write8bitOutput(info, run.indices, out, run.count, info->pixelStep, info->outputFormat);
    }
}

// One row of packed words at a time, black where the runs leave pixels out. All rows are there, black ones behind the
// end.
class RleRows {
  public:
    RleRows(const BmpInfo *info, Rle8Reader *reader, uint32_t *words) : info_(info), reader_(reader), words_(words) {}

    const uint32_t *at(int32_t index) {
        if (index == current_) return words_;
        std::memset(words_, 0, static_cast<size_t>(info_->width) * sizeof *words_);
        IndexRun run;
        while (more_ && reader_->row() <= index) {
            more_ = reader_->step(&run);
            if (run.row != index) continue;
            for (int32_t i = 0; i < run.count; ++i) words_[run.x + i] = info_->colours[run.indices[i]];
        }
        current_ = index;
        return words_;
    }

  private:
    const BmpInfo *info_;
    Rle8Reader *reader_;
    uint32_t *words_;
    int32_t current_ = -1;
    bool more_ = true;
};

bool scale_runs(const BmpInfo *info, const OutputRows &rows, Rle8Reader *reader) {
    const OsBlock columns(make_sample_columns(info));
    const OsBlock words(os_allocate_array<uint32_t>(static_cast<uint64_t>(info->width)));
    RowSink sink(info, rows);
    if (!columns || !words || !sink.open()) return false;
    RleRows source(info, reader, words.as<uint32_t>());
    return scale_rows(
        info, rows, &sink, [&](int32_t index) { return source.at(index); },
        [&](const uint32_t *row) { add_packed_samples(info, row, columns.as<SamplePair>()); });
}

// Required: from the bottom whatever the sign of the height is, and nothing in BGR565A.
int32_t decode_rle8(BmpInfo *info, void *output, int32_t output_height) {
    const OutputRows rows(info, output, output_height, false);
    if (nothing_to_write(info) || info->outputFormat == COLOR_BGR565A) return kDone;
    go_to(info->input, info->dataOffset);
    Rle8Reader reader(info->input, info->width, info->height);
    if (info->oneToOne) {
        copy_runs(info, rows, &reader);
    } else if (!scale_runs(info, rows, &reader)) {
        return 0;
    }
    return reader.cut_off() ? result_at_end(info->input) : kDone;
}

// ---- dispatch -------------------------------------------------------------------------------------------------------

int32_t decode_pixels(BmpInfo *info, int32_t rows) {
    switch (info->bitCount) {
        case 1:
            return BRIMI_BMP_Decode1bitBMP(info, info->output, rows);
        case 4:
            return BRIMI_BMP_Decode4bitBMP(info, info->output, rows);
        case 8:
            return info->isRle8 ? decode_rle8(info, info->output, rows)
                                : BRIMI_BMP_Decode8bitBMP(info, info->output, rows);
        case 16:
            return BRIMI_BMP_Decode16bitBMP(info, info->output, rows);
        case 24:
            return BRIMI_BMP_Decode24bitBMP(info, info->output, rows);
        case 32:
            return BRIMI_BMP_Decode32bitBMP(info, info->output, rows);
        default:
            return kDone;  // Required: not a failure, and nothing is written.
    }
}

// The window of a session, in output rows; else all of them.
int32_t choose_rows(BmpInfo *info) {
    const DecInfo *session = info->session;
    if (!session->partialDecode) return info->outHeight;
    const auto height = static_cast<uint32_t>(info->outHeight);
    info->firstRow = static_cast<int32_t>(std::min(session->partialY, height));
    return static_cast<int32_t>(std::min(session->partialHeight, height));
}

void tell_size(const BmpInfo *info) {
    auto width = static_cast<uint32_t>(info->outWidth), height = static_cast<uint32_t>(info->outHeight);
    if (width == 0 || height == 0) width = height = 0;
    if (info->rotation == 90 || info->rotation == 270) std::swap(width, height);
    info->session->outWidth = width;
    info->session->outHeight = height;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIMI_DecodeBMP(DecInfo *session, void *output, int32_t width, int32_t height) {
    constexpr int32_t kLeastBytes = 54;
    if (!session || !session->ioInfo || !output) return 0;
    // Required: the session has no state afterwards, also not that of an animation.
    VORELBRIMI_DeleteGIFInfo(session);
    session->codecState = nullptr;
    if (is_memory(session->ioInfo) && session->ioInfo->size < kLeastBytes) return 0;
    BmpInfo *info = BRIMI_BMP_Initialize(session, width, height, output);
    session->codecState = info;
    int32_t result = 0;
    if (info) {
        const int32_t rows = choose_rows(info);
        result = decode_pixels(info, rows);
        tell_size(info);
    }
    session->codecState = nullptr;
    BRIMI_BMP_DeleteDecInfo(info);
    return result;
}

int32_t VORELBRIMI_AbortBMPIter(DecInfo *) { return 0; }

int32_t BRIMI_BMP_Decode1bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 1, BRIMI_BMP_Write1bitOutput);
}

int32_t BRIMI_BMP_Decode4bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 4, BRIMI_BMP_Write4bitOutput);
}

int32_t BRIMI_BMP_Decode8bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 8, BRIMI_BMP_Write8bitOutput);
}

int32_t BRIMI_BMP_Decode16bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 16, BRIMI_BMP_Write16bitOutput);
}

int32_t BRIMI_BMP_Decode24bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 24, BRIMI_BMP_Write24bitOutput);
}

int32_t BRIMI_BMP_Decode32bitBMP(BmpInfo *info, void *output, int32_t outputHeight) {
    return decode_member(info, output, outputHeight, 32, BRIMI_BMP_Write32bitOutput);
}

}  // extern "C"
