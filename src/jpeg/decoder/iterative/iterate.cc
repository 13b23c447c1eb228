// Rows a few at a time into the whole picture's buffer, and what a call of any form begins and ends with.
#include <algorithm>
#include <cstring>

#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/iterative/iteration.h"
#include "jpeg/decoder/iterative/midpoint.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

// Rows [from, to) of a thumbnail that is there already.
void copy_rows(const JpegInfo *info, uint8_t *output, int32_t from, int32_t to) {
    const Iteration *at = info->iteration;
    const FramePlanes frame = planes_of_frame(info->plan.outColorFormat, at->width, at->height);
    for (int32_t p = 0; p < frame.count; ++p) {
        const PlaneRows &plane = frame.planes[p];
        const auto row = [&](int32_t y) { return static_cast<size_t>((y + plane.shift) >> plane.shift); };
        const size_t offset = plane.offset + row(from) * plane.row_bytes;
        std::memcpy(output + offset, at->turned + offset, (row(to) - row(from)) * plane.row_bytes);
    }
}

int32_t produce_into_frame(JpegInfo *info, void *output, int32_t end) {
    Iteration *at = info->iteration;
    if (at->turned) {
        copy_rows(info, static_cast<uint8_t *>(output), at->turned_rows, end);
        at->turned_rows = end;
        return end < at->height ? kIterMore : 1;
    }
    const FrameRequest request = {0, 0, output, at->width, at->height};
    place_output(info, &request);
    return produce_rows(info, end);
}

}  // namespace

FramePlanes planes_of_frame(int32_t format, int32_t width, int32_t height) {
    const PixelLayout layout = pixel_layout(format);
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    FramePlanes out = {1, {{0, w * layout.pixel_bytes, 0}}};
    if (layout.chroma == ChromaLayout::kNone || layout.chroma == ChromaLayout::kPacked) return out;
    const size_t chroma = layout.chroma_row_bytes(w);
    const int32_t shift = layout.half_height ? 1 : 0;
    out.planes[out.count++] = {w * h, chroma, shift};
    if (layout.chroma == ChromaLayout::kPlanes)
        out.planes[out.count++] = {w * h + chroma * layout.chroma_rows(h), chroma, shift};
    return out;
}

JpegInfo *decoder_of(const DecInfo *session, int32_t number) {
    if (number <= 1) return static_cast<JpegInfo *>(session->codecState);
    return number <= kMaxMidpoints ? session->midpointDecoders[number - 2] : nullptr;
}

void close_decoder_of(DecInfo *session, int32_t number) {
    delete_record(decoder_of(session, number));
    if (number <= 1) {
        session->codecState = nullptr;
    } else {
        session->midpointDecoders[number - 2] = nullptr;
    }
}

int32_t next_row(const JpegInfo *info) {
    if (info->iteration->turned) return info->iteration->turned_rows;
    const bool straight = info->plan.resample == Resample::kNone;
    const int32_t row = straight ? static_cast<int32_t>(info->out.outputRow) : info->out.next_row;
    return std::max(row, info->plan.window.y);
}

int32_t rows_end(const JpegInfo *info) {
    return info->iteration->turned ? info->iteration->height : static_cast<int32_t>(last_row(info));
}

int32_t produce_rows(JpegInfo *info, int32_t end) {
    int32_t step = kStepMoreRows;
    while (step == kStepMoreRows && next_row(info) < end) step = step_decode(info, static_cast<uint32_t>(end));
    if (step == kStepFailed) return 0;
    return step == kStepEnd || next_row(info) >= rows_end(info) ? 1 : kIterMore;
}

bool may_go_on(const DecInfo *session, const JpegInfo *info, const void *output, int32_t width, int32_t height,
               uint32_t flags, int32_t rows) {
    const Iteration *at = info->iteration;
    const bool sized = at && width == at->width && height == at->height;
    return (flags & VOREL_ITERATE) && output && rows >= 0 && sized && load_relaxed(&session->abortFlag) == 0;
}

int32_t end_call(DecInfo *session, int32_t number, uint32_t flags, int32_t result) {
    if (result == kIterMore) return result;
    const bool cancelled = (flags & VOREL_ITERATE) && load_relaxed(&session->abortFlag) != 0;
    close_decoder_of(session, number);
    return result == 0 && cancelled ? kIterCancelled : result;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_DecodeJPEGIter(DecInfo *session, void *output, int32_t width, int32_t height, uint32_t flags,
                                 int32_t rows) {
    JpegInfo *info = session ? decoder_of(session, 1) : nullptr;
    if (!info) return 0;
    int32_t result = 0;
    if (may_go_on(session, info, output, width, height, flags, rows)) {
        const int64_t end = std::min<int64_t>(int64_t{next_row(info)} + rows, rows_end(info));
        result = produce_into_frame(info, output, static_cast<int32_t>(end));
    }
    result = end_call(session, 1, flags, result);
    if (result != kIterMore && result != 1) VORELBRIM_AbortJPEGIter(session);
    return result;
}

int32_t VORELBRIM_GetCurOutputRow(DecInfo *session) {
    const JpegInfo *info = session ? decoder_of(session, 1) : nullptr;
    return info ? static_cast<int32_t>(info->out.outputRow) : 0;
}

int32_t VORELBRIM_GetJPEGMidPoint(DecInfo *session, int32_t divisor, int32_t index) {
    const JpegInfo *info = session ? decoder_of(session, 1) : nullptr;
    const int32_t number = index == 0 ? 1 : index;
    if (!info || divisor <= 0 || number < 1 || number > session->midpointCount || number > kMaxMidpoints) return 0;
    const Midpoint *midpoint = session->midpoints[number - 1];
    if (!midpoint || !is_midpoint_of(info, *midpoint)) return 0;
    return static_cast<int32_t>(midpoint->iMcuRow * info->frame->mcuHeight) / divisor;
}

}  // extern "C"
