// The decoder's entries for sessions.
#include <vorel/jpeg_region.h>
#include <vorel/jpeg_threads.h>

#include <utility>

#include "jpeg/decoder/orientation.h"
#include "jpeg/decoder/session_run.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/threads/bands.h"
#include "jpeg/decoder/threads/method.h"

namespace vorel {
namespace {

// The rotation bits of an option word.
constexpr uint32_t kTurns = 12;

// The size as it stands in the caller's buffer: while the decode runs it is that of the upright picture.
void turn_size(DecInfo *session) {
    const bool turned = (session->decOption & VOREL_OPTION_ROTATE_90) && is_pixel_format(session->outColorFormat);
    if (turned) std::swap(session->outWidth, session->outHeight);
}

// Makes the map of a session where nobody has tried to yet. A map that failed is not tried again.
bool has_region_map(DecInfo *session, void *output, int32_t width, int32_t height) {
    if (!session->regionMap && !BRIMJ_CreateRegionMap(session, output, width, height)) return false;
    return *session->regionMap != 0 && session->retainedJpegInfo;
}

// A base session has a rectangle when somebody set one, a child unless it was made without.
bool has_rectangle(const DecInfo *session) {
    if (session->parent) return session->partialDecode;
    return session->partialWidth != 0 || session->partialHeight != 0;
}

// A session without a rectangle gives what its target has room for.
void take_whole_picture(DecInfo *session, int32_t width, int32_t height) {
    session->partialWidth = static_cast<uint32_t>(width);
    session->partialHeight = static_cast<uint32_t>(height);
}

// split: in bands; null: in one piece.
int32_t decode_session(DecInfo *session, void *output, int32_t width, int32_t height, const DecodeSplit *split) {
    constexpr const char *kName = "VORELBRIM_DecodeJPEG";
    // Making a map changes the word that says so.
    const bool windowed = has_rectangle(session);
    if ((session->decOption & VOREL_OPTION_REGION) && !has_region_map(session, output, width, height)) {
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    StreamCursor cursor(session->ioInfo);
    if (!cursor.ready()) {
        set_error(kErrorOutOfMemory);
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    const int32_t start = static_cast<int32_t>(session->streamOffset);
    if (cursor.start_at(start) < 0) {
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    const OrientedOption option(session);
    if (cursor.start_at(start) < 0) {
        VOREL_TRACE_AS(kTagJpeg, kName);
        return 0;
    }
    // Required: a plain decode takes mode and sizes afresh, so what VORELBRIM_SetDecMode stored has no effect here.
    session->decMode = 0;
    session->imageWidth = session->imageHeight = 0;
    const SessionRun run(session);
    const bool region = session->decOption & VOREL_OPTION_REGION;
    if (region) {
        session->partialDecode = 1;
        if (!windowed) take_whole_picture(session, width, height);
    }
    DecodeSplit parts = split ? *split : DecodeSplit{};
    // Required: a picture that is turned fails wherever its plain decode does.
    if (session->decOption & kTurns) parts.method = DecodeMethod::kPlain;
    const int32_t result = split && !region ? decode_in_bands(session, cursor.stream(), output, width, height, parts)
                                            : BRIMJ_DecodeFrame(session, cursor.stream(), output, width, height);
    if (session->parent && !windowed) session->partialDecode = 0;
    if (result != 1) return 0;
    turn_size(session);
    return 1;
}

DecodeRequest request_of(const DecInfo *session, int32_t width, int32_t height, int32_t sample_size) {
    return {static_cast<int32_t>(session->imageWidth),
            static_cast<int32_t>(session->imageHeight),
            width,
            height,
            sample_size,
            static_cast<int32_t>(session->jpegComponents),
            static_cast<int32_t>(session->jpegMaxH) * kBlockSide,
            static_cast<int32_t>(session->jpegMaxV) * kBlockSide,
            static_cast<int32_t>(session->jpegRestartInterval),
            session->ioInfo->size,
            session->jpegProgressive != 0,
            session->dualMode != 0,
            session->partialHeight != 0};
}

}  // namespace

OrientedOption::OrientedOption(DecInfo *session) : session_(session), kept_(session->decOption) {
    if (!(kept_ & VOREL_OPTION_EXIF_ORIENTATION)) return;
    const int32_t orientation = exif_orientation(session);
    const uint32_t turn = orientation == 6 ? 4 : orientation == 8 ? 12 : orientation == 3 ? 8 : 0;
    session->decOption = (kept_ & ~kTurns) | ((kept_ + turn) & kTurns);
}

void clear_abort(DecInfo *session) {
    const bool stays = session->decOption & VOREL_OPTION_REGION && load_relaxed(&session->abortFlag) == kAbortCancelled;
    if (!session->parent && !stays) store_relaxed(&session->abortFlag, 0u);
}

namespace {

int32_t run_decode(DecInfo *session, void *output, int32_t width, int32_t height, const DecodeSplit *split) {
    if (!session || !session->ioInfo || !output || width <= 0 || height <= 0) return 0;
    set_error(kErrorNone);
    clear_abort(session);
    session->midpointPhase = 1;
    session->midpointIndex = 0;
    const int32_t result = decode_session(session, output, width, height, split);
    store_relaxed(&session->decodeResult, result);
    return result;
}

constexpr int32_t kPairThreads = 2;
// Below these heights there is nothing to divide.
constexpr int32_t kLeastRestartHeight = 4, kLeastPairHeight = 27;

int32_t run_split(DecInfo *session, void *output, int32_t width, int32_t height, DecodeMethod method, int32_t threads,
                  int32_t least_height) {
    const DecodeSplit split = {method, 1, 0, 0, threads, false};
    const bool window = method == DecodeMethod::kRestart && session && session->partialHeight != 0;
    const int64_t rows = window ? session->partialHeight : height;
    return run_decode(session, output, width, height, rows < least_height ? nullptr : &split);
}

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t VORELBRIM_DecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height) {
    return run_decode(session, output, width, height, nullptr);
}

int32_t VORELBRIM_PDecodeJPEG(DecInfo *session, void *output, int32_t width, int32_t height, int32_t sampleSize) {
    if (!session || !session->ioInfo || !output || width <= 0 || height <= 0) return 0;
    if (session->imageWidth == 0 || session->imageHeight == 0) {
        ImageInfo image;
        if (!VORELBRIM_JpgParser(session, &image)) return 0;
    }
    if (session->imageType != VOREL_IMAGE_JPEG) return 0;
    const DecodeSplit split = choose_method(request_of(session, width, height, sampleSize));
    return run_decode(session, output, width, height, split.method == DecodeMethod::kPlain ? nullptr : &split);
}

int32_t VORELBRIM_PDecodeJPEG_RST(DecInfo *session, void *output, int32_t width, int32_t height, int32_t) {
    return run_split(session, output, width, height, DecodeMethod::kRestart, kMostBandThreads, kLeastRestartHeight);
}

int32_t VORELBRIM_PDecodeJPEG_No_RST(DecInfo *session, void *output, int32_t width, int32_t height, int32_t) {
    return run_split(session, output, width, height, DecodeMethod::kTwoSessions, kPairThreads, kLeastPairHeight);
}

}  // extern "C"
