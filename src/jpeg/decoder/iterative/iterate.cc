// Rows a few at a time into the whole picture's buffer, and what a call of any form begins and ends with.
#include <algorithm>
#include <cstring>

#include "core/session.h"
#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/iterative/iteration.h"
#include "jpeg/decoder/iterative/midpoint.h"
#include "jpeg/decoder/region/scan_pass.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/statistics/statistics.h"

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

// A session keeps the map that it has. Without memory, and for scales that leave no positions, there will be none.
void begin_map(const DecInfo *session, JpegInfo *info) {
    const bool untouched = !info->iteration->called && !info->iteration->turned && !info->pump.buffered;
    if (untouched && info->mapScanning == 0 && !session->retainedJpegInfo) start_map(info);
}

// The record with the session's whole map: the last of the decoders, with the rows of the others. Null while one of
// them is at work, and where one has left none.
JpegInfo *collect_map(DecInfo *session, int32_t number) {
    const StepScope scope(JPEG_STAT_MERGE);
    const MutexLock lock(&session->jobMutex);
    decoder_of(session, number)->iteration->kept_for_map = true;
    JpegInfo *last = nullptr;
    for (int32_t n = 1; n <= kMaxMidpoints; ++n) {
        JpegInfo *info = decoder_of(session, n);
        if (info && !info->iteration->kept_for_map) return nullptr;
        if (info) last = info;
    }
    for (int32_t n = 1; n <= kMaxMidpoints; ++n) {
        JpegInfo *info = decoder_of(session, n);
        if (!info) continue;
        if (info != last) take_rows(&last->own_map, &info->own_map);
        if (n > 1) session->midpointDecoders[n - 2] = nullptr;
        if (info != last) delete_record(info);
    }
    session->codecState = nullptr;
    return last;
}

// At a decoder's end: true when the record lives on, for the session's map.
bool keep_map(DecInfo *session, int32_t number, uint32_t flags) {
    JpegInfo *info = decoder_of(session, number);
    if (!(flags & VOREL_ITERATE_MAP) || info->mapScanning == 0) return false;
    if (number == kWholePicture) {
        session->codecState = nullptr;
        VORELBRIM_AbortJPEGIter(session);
    } else {
        info = collect_map(session, number);
        if (!info) return true;
    }
    // The session may have got a map in the meantime: regions begin by it.
    const bool whole = !session->retainedJpegInfo && finish_map(info) && (!is_baseline(info) || has_all_rows(info)) &&
                       publish_map(session, info);
    if (!whole) {
        delete_record(info);
        return true;
    }
    release_iteration(info->iteration);
    info->iteration = nullptr;
    session->decOption |= VOREL_OPTION_REGION;
    session->codecState = info;
    return true;
}

bool same_window(const OutputWindow &a, const OutputWindow &b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

// What a decode keeps between calls is made for one window: it fails where the session's fields now say another.
int32_t produce_into_frame(JpegInfo *info, void *output, int32_t end) {
    Iteration *at = info->iteration;
    if (at->turned) {
        copy_rows(info, static_cast<uint8_t *>(output), at->turned_rows, end);
        at->turned_rows = end;
        return end < at->height ? kIterMore : 1;
    }
    const FrameRequest request = {0, 0, output, at->width, at->height};
    const OutputWindow planned = info->plan.window;
    place_output(info, &request);
    if (!same_window(info->plan.window, planned)) {
        info->plan.window = planned;
        return 0;
    }
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

bool has_foreign_state(const DecInfo *session) {
    return session->imageType == VOREL_IMAGE_GIF || session->imageType == VOREL_IMAGE_ANIMATED_GIF;
}

JpegInfo *decoder_of(const DecInfo *session, int32_t number) {
    if (has_foreign_state(session)) return nullptr;
    // Threads of other numbers look at their own slots alone.
    if (number > 1) return number <= kMaxMidpoints ? session->midpointDecoders[number - 2] : nullptr;
    // A record that has become the region map decodes nothing more.
    JpegInfo *main = static_cast<JpegInfo *>(session->codecState);
    return main == session->retainedJpegInfo ? nullptr : main;
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

bool begin_call(const DecInfo *session, JpegInfo *info, const void *output, int32_t width, int32_t height,
                uint32_t flags, int32_t rows) {
    Iteration *at = info->iteration;
    const bool sized = at && width == at->width && height == at->height && !at->kept_for_map;
    if (!(flags & VOREL_ITERATE) || !output || rows < 0 || !sized || is_cancelled(session)) return false;
    if (!at->called && (flags & VOREL_ITERATE_MAP)) begin_map(session, info);
    at->called = true;
    return true;
}

int32_t end_call(DecInfo *session, int32_t number, uint32_t flags, int32_t result) {
    if (result == kIterMore) return result;
    const bool cancelled = (flags & VOREL_ITERATE) && is_cancelled(session);
    if (result != 1 || !keep_map(session, number, flags)) {
        if (number == kWholePicture) {
            VORELBRIM_AbortJPEGIter(session);
        } else {
            const MutexLock lock(&session->jobMutex);
            close_decoder_of(session, number);
        }
    }
    return result == 0 && cancelled ? kIterCancelled : result;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_DecodeJPEGIter(DecInfo *session, void *output, int32_t width, int32_t height, uint32_t flags,
                                 int32_t rows) {
    set_error(kErrorNone);
    JpegInfo *info = session ? decoder_of(session, kWholePicture) : nullptr;
    if (!info) return 0;
    int32_t result = 0;
    // Strips count rows from their own top.
    const bool in_strips = info->iteration && info->iteration->strip.begun;
    if (!in_strips && begin_call(session, info, output, width, height, flags, rows)) {
        const int64_t end = std::min<int64_t>(int64_t{next_row(info)} + rows, rows_end(info));
        result = produce_into_frame(info, output, static_cast<int32_t>(end));
    }
    return end_call(session, kWholePicture, flags, result);
}

int32_t VORELBRIM_GetCurOutputRow(DecInfo *session) {
    const JpegInfo *info = session ? decoder_of(session, kWholePicture) : nullptr;
    if (!info) return 0;
    const Iteration *at = info->iteration;
    return at && at->turned ? at->turned_rows : static_cast<int32_t>(info->out.outputRow);
}

int32_t VORELBRIM_GetJPEGMidPoint(DecInfo *session, int32_t divisor, int32_t index) {
    JpegInfo *info = session ? decoder_of(session, kWholePicture) : nullptr;
    const int32_t number = index == 0 ? 1 : index;
    if (!info || divisor <= 0 || number < 1 || number > session->midpointCount || number > kMaxMidpoints) return 0;
    if (is_baseline(info)) begin_map(session, info);
    const bool has_decoder = number == 1 || (info->iteration->numbers >> number & 1);
    const Midpoint *midpoint = session->midpoints[number - 1];
    if (!has_decoder || !midpoint || !is_midpoint_of(info, *midpoint)) return 0;
    return static_cast<int32_t>(midpoint->iMcuRow * info->frame->mcuHeight) / divisor;
}

}  // extern "C"
