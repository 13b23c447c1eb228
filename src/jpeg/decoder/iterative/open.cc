// Opening and closing decodes in pieces: the picture or its thumbnail, the decoders of checkpoints, preparation in
// steps.
#include <vorel/util.h>

#include <algorithm>
#include <new>

#include "jpeg/decoder/driver.h"
#include "jpeg/decoder/iterative/iteration.h"
#include "jpeg/decoder/iterative/midpoint.h"
#include "jpeg/decoder/session_run.h"
#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

constexpr const char *kName = "VORELBRIM_DecodeJPEG";

// Lowest two bits of the option word.
constexpr uint32_t kPictureMask = 3;
constexpr uint32_t kThumbnail = 2, kThumbnailUpright = 3;
constexpr uint32_t kJpegThumbnail = 6;  // ThumbnailRecord.format
constexpr int32_t kThumbnailMode = 6;   // DecInfo.decMode

void release_cursor(StreamCursor *cursor) {
    if (!cursor) return;
    cursor->~StreamCursor();
    os_release(cursor);
}

// A cursor at a position of the input. Null, with a line in the log.
StreamCursor *open_cursor(IoInfo *io, int32_t position) {
    void *memory = os_allocate_zeroed(sizeof(StreamCursor));
    StreamCursor *cursor = memory ? new (memory) StreamCursor(io) : nullptr;
    if (!cursor || !cursor->ready()) {
        release_cursor(cursor);
        set_error(kErrorOutOfMemory);
        VOREL_LOG(kTagJpeg, "VORELBRIM_DecodeJPEG : malloc Fail");
        return nullptr;
    }
    if (cursor->start_at(position) < 0) {
        release_cursor(cursor);
        VOREL_LOG(kTagJpeg, "VORELBRIM_DecodeJPEG : seek Fail");
        return nullptr;
    }
    return cursor;
}

// A decoder of its own for the session's picture at a position of the input. own_io becomes its; null where the input
// does not open again: then nobody else may read it meanwhile.
JpegInfo *open_decoder(DecInfo *session, IoInfo *own_io, int32_t position, int32_t width, int32_t height) {
    Iteration *iteration = static_cast<Iteration *>(os_allocate_zeroed(sizeof(Iteration)));
    StreamCursor *cursor = iteration ? open_cursor(own_io ? own_io : session->ioInfo, position) : nullptr;
    FrameRequest request = {0, 0, nullptr, width, height};
    JpegInfo *info = cursor ? begin_decode(session, cursor->stream(), &request) : nullptr;
    if (!info) {
        release_cursor(cursor);
        os_release(iteration);
        close_again(own_io);
        return nullptr;
    }
    iteration->io = own_io;
    iteration->cursor = cursor;
    iteration->width = width;
    iteration->height = height;
    iteration->end_row = static_cast<int32_t>(last_row(info));
    info->iteration = iteration;
    return info;
}

// The JPEG thumbnail of the session's picture: where it begins in the input, and its size; 0 where there is none.
int32_t find_thumbnail(DecInfo *session, bool *is_tall) {
    StreamCursor cursor(session->ioInfo);
    ThumbnailRecord record;
    const int32_t start = static_cast<int32_t>(session->streamOffset);
    if (!cursor.ready() || cursor.start_at(start) < 0) return 0;
    if (BRIMJ_ParseFileHeader(cursor.stream(), 8, &record) != kStepOk) return 0;
    if (!record.found || record.format != kJpegThumbnail) return 0;
    const int64_t at = int64_t{start} + record.offset;
    if (at + record.length > session->ioInfo->size) return 0;
    ImageInfo image = {};
    image.scanOffset = static_cast<uint32_t>(at);
    if (!BRIMJ_GetHInfo(session->ioInfo, &image)) return 0;
    *is_tall = image.height > image.width;
    return static_cast<int32_t>(at);
}

void close_decoder(JpegInfo **slot) {
    delete_record(*slot);
    *slot = nullptr;
}

// Decodes a thumbnail that lies on its side in full and turns it.
bool turn_thumbnail(DecInfo *session, JpegInfo *info, int32_t position) {
    Iteration *at = info->iteration;
    const PixelLayout layout = pixel_layout(session->outColorFormat);
    const uint64_t pixels = uint64_t{static_cast<uint32_t>(at->width)} * static_cast<uint32_t>(at->height);
    if (pixels > INT32_MAX / 4) return false;
    // Enough for every layout: planes of full size at most, and odd sides round up.
    const uint64_t bytes = pixels * (layout.chroma == ChromaLayout::kNone ? layout.pixel_bytes : 4) + 64;
    uint8_t *turned = static_cast<uint8_t *>(os_allocate_zeroed(bytes));
    if (!turned) return false;
    at->turned = turned;
    StreamCursor cursor(session->ioInfo);
    if (!cursor.ready() || cursor.start_at(position) < 0) return false;
    return BRIMJ_DecodeFrame(session, cursor.stream(), turned, at->height, at->width) == 1 &&
           vorel_rotate(turned, at->height, at->width, session->outColorFormat, 90) == 1;
}

JpegInfo *open_thumbnail(DecInfo *session, int32_t width, int32_t height) {
    bool is_tall = false;
    const int32_t position = find_thumbnail(session, &is_tall);
    if (position == 0) return nullptr;
    const bool turned = is_tall && (session->decOption & kPictureMask) == kThumbnailUpright;
    session->decMode = kThumbnailMode;
    JpegInfo *info = open_decoder(session, open_again(session->ioInfo), position, width, height);
    if (info && turned && !turn_thumbnail(session, info, position)) close_decoder(&info);
    session->decMode = 0;
    return info;
}

JpegInfo *open_picture(DecInfo *session, int32_t width, int32_t height) {
    const uint32_t option = session->decOption;
    session->decOption |= VOREL_OPTION_SKIP_TABLES;
    session->imageWidth = session->imageHeight = 0;
    JpegInfo *info =
        open_decoder(session, open_again(session->ioInfo), static_cast<int32_t>(session->streamOffset), width, height);
    session->decOption = option;
    return info;
}

// How many scans a step of preparation may stop behind, by the size of the input.
int32_t next_pause(const DecInfo *session, int32_t scans) {
    constexpr int32_t kLarge[] = {1, 2, 3, 5, 7, 10}, kSmall[] = {1, 4}, kMiddle[] = {1, 2, 3, 10};
    const auto behind = [scans](const auto &pauses) {
        for (const int32_t pause : pauses) {
            if (pause > scans) return pause;
        }
        return INT32_MAX;
    };
    const int32_t size = session->ioInfo->size;
    return size > 0xa00000 ? behind(kLarge) : size <= 0x400000 ? behind(kSmall) : behind(kMiddle);
}

// For the length of a scope the session's turn is that of the picture's decoder, so that decoders of its checkpoints
// get the same plan: the Exif orientation cannot be looked for again while that one reads the input.
class PlannedTurn {
  public:
    PlannedTurn(DecInfo *session, const JpegInfo *picture) : session_(session), kept_(session->decOption) {
        session->decOption = (kept_ & ~kRotationMask) | picture->plan.rotation;
    }
    ~PlannedTurn() { session_->decOption = kept_; }
    PlannedTurn(const PlannedTurn &) = delete;
    PlannedTurn &operator=(const PlannedTurn &) = delete;

  private:
    DecInfo *session_;
    uint32_t kept_;
};

bool supports_pieces(const JpegInfo *info) { return info->frame->maxH <= 3 && info->frame->maxV <= 3; }

}  // namespace

void release_iteration(Iteration *iteration) {
    if (!iteration) return;
    release_cursor(iteration->cursor);
    close_again(iteration->io);
    for (uint8_t *rows : iteration->strip.carryRows) os_release(rows);
    os_release(iteration->turned);
    os_release(iteration);
}

// Each starts at its checkpoint and ends where the next begins; one that is missing leaves its rows to the decoder
// before it.
bool open_midpoint_decoders(DecInfo *session) {
    JpegInfo *main = static_cast<JpegInfo *>(session->codecState);
    const SessionRun run(session);
    const PlannedTurn turn(session, main);
    JpegInfo *before = main;
    const int32_t count = std::min(session->midpointCount, kMaxMidpoints);
    for (int32_t number = 2; number <= count; ++number) {
        const Midpoint *midpoint = session->midpoints[number - 1];
        JpegInfo *&slot = session->midpointDecoders[number - 2];
        if (!midpoint || !is_midpoint_of(main, *midpoint)) continue;
        IoInfo *io = open_again(session->ioInfo);
        if (!io) continue;
        const int32_t start = static_cast<int32_t>(session->streamOffset);
        slot = open_decoder(session, io, start, main->iteration->width, main->iteration->height);
        if (!slot) return false;
        if (!load_midpoint(slot, *midpoint)) {
            close_decoder(&slot);
            continue;
        }
        Iteration *at = slot->iteration;
        at->first_row = next_row(slot);
        if (at->first_row <= before->iteration->first_row || at->first_row >= at->end_row) {
            // Checkpoints that do not come in order.
            close_decoder(&slot);
            continue;
        }
        before->iteration->end_row = at->first_row;
        main->iteration->numbers |= 1u << number;
        // Decoders on several threads take none.
        session->midpointPhase = 2;
        before = slot;
    }
    return true;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t BRIMJ_DecodeImageIterInit(DecInfo *session, StreamBuffer *streamBuffer, FrameRequest *frameRequest) {
    if (has_foreign_state(session)) return kStepFailed;
    VORELBRIM_AbortJPEGIter(session);
    JpegInfo *info = begin_decode(session, streamBuffer, frameRequest);
    Iteration *iteration = info ? static_cast<Iteration *>(os_allocate_zeroed(sizeof(Iteration))) : nullptr;
    if (!iteration) {
        delete_record(info);
        return kStepFailed;
    }
    iteration->width = frameRequest->targetWidth;
    iteration->height = frameRequest->targetHeight;
    iteration->end_row = static_cast<int32_t>(last_row(info));
    info->iteration = iteration;
    session->codecState = info;
    return kStepOk;
}

int32_t BRIMJ_JPEGDecIterInit(DecInfo *session, StreamBuffer *streamBuffer, void *output, int32_t width,
                              int32_t height) {
    FrameRequest request = {0, 0, output, width, height};
    if (BRIMJ_DecodeImageIterInit(session, streamBuffer, &request) == kStepOk) return 1;
    VOREL_LOG(kTagJpeg, "BRIMJ_DecodeFrame : BRIMJ_DecodeImage fail");
    return 0;
}

int32_t BRIMJ_JPEGDecIterInitProg(JpegInfo *info) {
    if (!info || is_baseline(info)) return kStepFailed;
    if (!info->progressive.memory && !begin_scan_search(info)) return kStepFailed;
    return search_scans(info, INT32_MAX);
}

int32_t BRIMJ_InitDecBeforeScanForMidPoint(JpegInfo *info) {
    if (!info || !info->planned) return kStepFailed;
    return BRIMJ_SetupScanForMidPoint(info);
}

int32_t BRIMJ_SetupScanForMidPoint(JpegInfo *info) {
    if (!info || info->scan.blocksInMcu == 0) return kStepFailed;
    info->pump.imcu_row = 0;
    return kStepOk;
}

int32_t VORELBRIM_InitJPEGIter(DecInfo *session, JpegInfo **decoderSlot, int32_t width, int32_t height) {
    set_error(kErrorNone);
    if (!session || !session->ioInfo || !decoderSlot || has_foreign_state(session)) return 0;
    // The decoders of one that was not brought to its end.
    VORELBRIM_AbortJPEGIter(session);
    *decoderSlot = nullptr;
    if (width <= 0 || height <= 0) {
        VOREL_LOG(kTagJpeg, "VORELBRIM_DecodeJPEG : Invalid Size");
        return 0;
    }
    clear_abort(session);
    session->decMode = 0;
    const OrientedOption option(session);
    const SessionRun run(session);
    const uint32_t picture = session->decOption & kPictureMask;
    const bool wants_thumbnail = picture == kThumbnail || picture == kThumbnailUpright;
    JpegInfo *info = wants_thumbnail ? open_thumbnail(session, width, height) : nullptr;
    if (!info) info = open_picture(session, width, height);
    if (!info) {
        VOREL_LOG(kTagJpeg, "VORELBRIM_DecodeJPEG : decode Fail");
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    session->codecState = *decoderSlot = info;
    return 1;
}

int32_t VORELBRIM_PrepareJPEGIter(DecInfo *session, int32_t width, int32_t height) {
    set_error(kErrorNone);
    if (!session) return 0;
    JpegInfo *info = decoder_of(session, kWholePicture);
    if (!info) {
        if ((session->decOption & kPictureMask) == 0) session->decOption |= 1;
        JpegInfo *opened = nullptr;
        if (!VORELBRIM_InitJPEGIter(session, &opened, width, height)) return 0;
        if (!supports_pieces(opened)) {
            VORELBRIM_AbortJPEGIter(session);
            return 0;
        }
        if (is_baseline(opened) && !opened->iteration->turned && !open_midpoint_decoders(session)) {
            VOREL_LOG(kTagJpeg, "BRIMJ_StartDecompression : BRIMJ_InitUpsampler fail");
            VORELBRIM_AbortJPEGIter(session);
            return 0;
        }
        return is_baseline(opened) || opened->progressive.scans_found ? 1 : kIterMore;
    }
    if (is_baseline(info)) return 1;
    const int32_t result = search_scans(info, next_pause(session, info->further_scan_count + 1));
    if (result == kStepMoreRows) return kIterMore;
    if (result == kStepOk) return 1;
    VORELBRIM_AbortJPEGIter(session);
    return 0;
}

int32_t VORELBRIM_AbortJPEGIter(DecInfo *session) {
    if (!session) return 3;
    if (has_foreign_state(session)) return 1;
    for (JpegInfo *&decoder : session->midpointDecoders) close_decoder(&decoder);
    // A map that came of the decode stays.
    delete_record(decoder_of(session, kWholePicture));
    session->codecState = nullptr;
    return 1;
}

}  // extern "C"
