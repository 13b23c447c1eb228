// The decoder's entries for sessions.
#include <vorel/jpeg_threads.h>

#include <utility>

#include "jpeg/decoder/orientation.h"
#include "jpeg/decoder/setup.h"
#include "jpeg/decoder/threads/bands.h"
#include "jpeg/decoder/threads/method.h"

namespace vorel {
namespace {

// Turns the rotation bits of the option word by the Exif orientation for the length of a decode: the caller's word
// comes back afterwards, so that decoding the session again gives the same picture.
class OrientedOption {
  public:
    explicit OrientedOption(DecInfo *session) : session_(session), kept_(session->decOption) {
        if (!(kept_ & VOREL_OPTION_EXIF_ORIENTATION)) return;
        const int32_t orientation = exif_orientation(session);
        const uint32_t turn = orientation == 6 ? 4 : orientation == 8 ? 12 : orientation == 3 ? 8 : 0;
        session->decOption = (kept_ & ~12u) | ((kept_ + turn) & 12);
    }
    ~OrientedOption() { session_->decOption = kept_; }
    OrientedOption(const OrientedOption &) = delete;
    OrientedOption &operator=(const OrientedOption &) = delete;

  private:
    DecInfo *session_;
    uint32_t kept_;
};

// What a decode writes into the session for its own length: a rectangle that the caller did not ask for would make the
// next decode look like one of a window.
class SessionRun {
  public:
    explicit SessionRun(DecInfo *session)
        : session_(session), width_(session->partialWidth), height_(session->partialHeight) {
        session->decodeResult = -1;
    }
    SessionRun(const SessionRun &) = delete;
    SessionRun &operator=(const SessionRun &) = delete;
    ~SessionRun() {
        session_->partialWidth = width_;
        session_->partialHeight = height_;
    }

  private:
    DecInfo *session_;
    uint32_t width_, height_;
};

// The size as it stands in the caller's buffer: while the decode runs it is that of the upright picture.
void turn_size(DecInfo *session) {
    const bool turned = (session->decOption & VOREL_OPTION_ROTATE_90) && is_pixel_format(session->outColorFormat);
    if (turned) std::swap(session->outWidth, session->outHeight);
}

// split: in bands; null: in one piece.
int32_t decode_session(DecInfo *session, void *output, int32_t width, int32_t height, const DecodeSplit *split) {
    constexpr const char *kName = "VORELBRIM_DecodeJPEG";
    if (session->decOption & VOREL_OPTION_REGION) {
        // Region maps are not built yet.
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
    const int32_t result = split ? decode_in_bands(session, cursor.stream(), output, width, height, *split)
                                 : BRIMJ_DecodeFrame(session, cursor.stream(), output, width, height);
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
            session->partialDecode != 0};
}

// A cancel from before the decode is over; a child keeps what its parent's failure wrote into it.
void clear_abort(DecInfo *session) {
    if (!session->parent) store_relaxed(&session->abortFlag, 0u);
}

int32_t run_decode(DecInfo *session, void *output, int32_t width, int32_t height, const DecodeSplit *split) {
    if (!session || !session->ioInfo || !output || width <= 0 || height <= 0) return 0;
    set_error(kErrorNone);
    clear_abort(session);
    session->midpointPhase = 1;
    session->midpointIndex = 0;
    session->decodeResult = decode_session(session, output, width, height, split);
    return session->decodeResult;
}

constexpr int32_t kPairThreads = 2;
// Below these heights there is nothing to divide.
constexpr int32_t kLeastRestartHeight = 4, kLeastPairHeight = 27;

int32_t run_split(DecInfo *session, void *output, int32_t width, int32_t height, DecodeMethod method, int32_t threads,
                  int32_t least_height) {
    const DecodeSplit split = {method, 1, 0, 0, threads, false};
    return run_decode(session, output, width, height, height < least_height ? nullptr : &split);
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
