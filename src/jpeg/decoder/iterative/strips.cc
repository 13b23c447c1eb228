// Strips: rows between guard rows, ready to be cut into tiles. The rows at a strip's end stay behind for the next one,
// which begins with them.
#include <algorithm>
#include <cstring>

#include "jpeg/decoder/iterative/iteration.h"
#include "jpeg/decoder/iterative/midpoint.h"

namespace vorel {
namespace {

constexpr int32_t kPlaneGuard = 2, kPixelGuard = 1;

// The buffer of a strip: so many rows of luma or pixels, guard rows included.
struct StripBuffer {
    uint8_t *bytes;
    int32_t guard;  // rows above and below; 0: a format that strips are not made of
    int32_t rows;
    FramePlanes frame;

    int32_t plane_rows(int32_t plane) const {
        const int32_t shift = frame.planes[plane].shift;
        return (rows + shift) >> shift;
    }
    uint8_t *row(int32_t plane, int32_t y) const {
        const PlaneRows &at = frame.planes[plane];
        return bytes + at.offset + static_cast<size_t>(y) * at.row_bytes;
    }
};

StripBuffer strip_buffer(int32_t format, void *output, int32_t width, int32_t rows) {
    StripBuffer out = {static_cast<uint8_t *>(output), kPixelGuard, rows, {1, {}}};
    size_t pixel = 0;
    switch (format) {
        case 0:
        case 9:
        case 10:
            pixel = 2;
            break;
        case 1:
        case 6:
        case 11:
            pixel = 3;
            break;
        case 5:
        case 7:
        case 8:
        case 12:
            pixel = 4;
            break;
        case COLOR_YUV420:
        case COLOR_NV21:
        case COLOR_NV12:
            out.guard = kPlaneGuard;
            out.rows = rows + 2 * kPlaneGuard;
            out.frame = planes_of_frame(format, width, out.rows);
            return out;
        default:
            out.guard = 0;
            return out;
    }
    out.rows = rows + 2 * kPixelGuard;
    out.frame.planes[0].row_bytes = pixel * static_cast<size_t>(width);
    return out;
}

void clear(const StripBuffer &strip) {
    for (int32_t p = 0; p < strip.frame.count; ++p) {
        const size_t bytes = static_cast<size_t>(strip.plane_rows(p)) * strip.frame.planes[p].row_bytes;
        std::memset(strip.row(p, 0), p == 0 ? 0 : 128, bytes);
    }
}

// The row that stands at `from` into rows [first, end) of every plane, in rows of luma.
void repeat_row(const StripBuffer &strip, int32_t from, int32_t first, int32_t end) {
    for (int32_t p = 0; p < strip.frame.count; ++p) {
        const PlaneRows &plane = strip.frame.planes[p];
        const int32_t source = from >> plane.shift;
        for (int32_t y = first >> plane.shift; y < (end + plane.shift) >> plane.shift; ++y) {
            if (y != source) std::memcpy(strip.row(p, y), strip.row(p, source), plane.row_bytes);
        }
    }
}

// Rows [from, to) of the picture into the strip, whose first row is picture row `top`.
int32_t produce_into_strip(JpegInfo *info, const StripBuffer &strip, int32_t top, int32_t from, int32_t to) {
    Iteration *at = info->iteration;
    if (at->turned) {
        const FramePlanes frame = planes_of_frame(info->plan.outColorFormat, at->width, at->height);
        for (int32_t p = 0; p < strip.frame.count; ++p) {
            const PlaneRows &plane = frame.planes[p];
            for (int32_t y = from >> plane.shift; y < (to + plane.shift) >> plane.shift; ++y) {
                const uint8_t *row = at->turned + plane.offset + static_cast<size_t>(y) * plane.row_bytes;
                std::memcpy(strip.row(p, y - (top >> plane.shift)), row, plane.row_bytes);
            }
        }
        at->turned_rows = to;
        return to < at->height ? kIterMore : 1;
    }
    OutputPlanes &planes = info->out.planes;
    planes.rowStep = static_cast<ptrdiff_t>(strip.frame.planes[0].row_bytes);
    planes.pixelStep = pixel_layout(info->plan.outColorFormat).pixel_bytes;
    for (int32_t p = 0; p < strip.frame.count; ++p) planes.outPlanes[p] = strip.row(p, 0);
    planes.chroma_bytes = static_cast<ptrdiff_t>(strip.frame.planes[1].row_bytes);
    info->plan.rotation = 0;
    info->out.outputRowCounter = static_cast<uint32_t>(from - top);
    return produce_rows(info, to);
}

bool begin_strips(JpegInfo *info, const StripBuffer &strip) {
    StripState &state = info->iteration->strip;
    if (state.begun) return true;
    for (int32_t p = 0; p < strip.frame.count; ++p) {
        const PlaneRows &plane = strip.frame.planes[p];
        if (plane.row_bytes == 0) continue;
        const size_t rows = static_cast<size_t>(2 * strip.guard) >> plane.shift;
        if (!state.carryRows[p])
            state.carryRows[p] = static_cast<uint8_t *>(os_allocate_zeroed(rows * plane.row_bytes));
        if (!state.carryRows[p]) return false;
    }
    state.begun = true;
    state.firstStrip = 1;
    state.stripRowBytes = static_cast<uint32_t>(strip.frame.planes[0].row_bytes);
    state.stripChromaBytes = static_cast<uint32_t>(strip.frame.planes[1].row_bytes);
    state.next = next_row(info);
    return true;
}

// The rows of luma that the next strip begins with stand from row `first` on; at most twice the guard.
void carry(const StripBuffer &strip, StripState *state, int32_t first, bool to_strip) {
    for (int32_t p = 0; p < strip.frame.count; ++p) {
        const PlaneRows &plane = strip.frame.planes[p];
        const size_t bytes = (static_cast<size_t>(2 * strip.guard) >> plane.shift) * plane.row_bytes;
        uint8_t *rows = strip.row(p, first >> plane.shift);
        if (to_strip) {
            std::memcpy(rows, state->carryRows[p], bytes);
        } else {
            std::memcpy(state->carryRows[p], rows, bytes);
        }
    }
}

// One strip of at most `rows` rows that ends at picture row `end` at the latest.
int32_t decode_strip(JpegInfo *info, const StripBuffer &strip, int32_t rows, int32_t end) {
    StripState &state = info->iteration->strip;
    const int32_t guard = strip.guard, start = state.next, top = start - guard;
    if (rows == 0 && state.firstStrip && start < end) return kIterMore;
    const int32_t stop = static_cast<int32_t>(std::min<int64_t>(int64_t{start} + rows, end));
    const int32_t ahead = std::min(stop + guard, rows_end(info));
    if (stop - start < rows) clear(strip);
    if (!state.firstStrip) carry(strip, &state, 0, true);
    const int32_t from = next_row(info);
    if (from < ahead) {
        if (produce_into_strip(info, strip, top, from, ahead) == 0) return 0;
    }
    if (state.firstStrip) repeat_row(strip, guard, 0, guard);
    // Where the picture ends its last row goes on.
    if (ahead < stop + guard) repeat_row(strip, ahead - 1 - top, ahead - top, stop + guard - top);
    carry(strip, &state, stop - start, false);
    state.firstStrip = 0;
    state.next = stop;
    return stop < end ? kIterMore : 1;
}

int32_t strip_of(JpegInfo *info, void *output, int32_t width, int32_t rows, int32_t end) {
    if (rows > INT32_MAX - 2 * kPlaneGuard) return 0;
    const StripBuffer strip = strip_buffer(info->plan.outColorFormat, output, width, rows);
    if (info->plan.window.width > width || !begin_strips(info, strip)) return 0;
    StripState &state = info->iteration->strip;
    // Calls that go through the whole picture may have gone beyond the rows of a number.
    end = std::max(end, state.next);
    store_relaxed(&info->decInfo->stripStartRow, static_cast<uint32_t>(state.next));
    if (strip.guard != 0) return decode_strip(info, strip, rows, end);
    state.next = static_cast<int32_t>(std::min<int64_t>(int64_t{state.next} + rows, end));
    return state.next < end ? kIterMore : 1;
}

// The reduction that a decoder was opened for.
int32_t sample_of(const JpegInfo *info) {
    const int32_t step = info->plan.scaleIndex;
    return step <= 3 ? 1 << step : info->frame->imageWidth / info->plan.outWidth;
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_DecodeJPEGIter4LTN(DecInfo *session, void *output, int32_t width, int32_t height, uint32_t flags,
                                     int32_t rows) {
    set_error(kErrorNone);
    JpegInfo *info = session ? decoder_of(session, kWholePicture) : nullptr;
    if (!info) return 0;
    const bool good = begin_call(session, info, output, width, height, flags, rows);
    return end_call(session, kWholePicture, flags, good ? strip_of(info, output, width, rows, rows_end(info)) : 0);
}

int32_t VORELBRIM_DecodeJPEGMidpIter4LTN(DecInfo *session, void *output, int32_t width, int32_t height, uint32_t flags,
                                         int32_t midpointNumber, int32_t rows) {
    set_error(kErrorNone);
    const int32_t number = midpointNumber < 1 ? 1 : midpointNumber;
    JpegInfo *info = session ? decoder_of(session, number) : nullptr;
    if (!info || !info->iteration || info->iteration->kept_for_map) return 0;
    store_relaxed(&session->sampleSize, sample_of(info));
    const bool good = begin_call(session, info, output, width, height, flags, rows);
    const int32_t end = info->iteration->turned ? rows_end(info) : info->iteration->end_row;
    return end_call(session, number, flags, good ? strip_of(info, output, width, rows, end) : 0);
}

}  // extern "C"
