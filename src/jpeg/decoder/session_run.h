// What an entry changes of a session for its own length.
#pragma once

#include "core/core.h"

namespace vorel {

// Turns the rotation bits of the option word by the Exif orientation for the length of a decode: the caller's word
// comes back afterwards, so that decoding the session again gives the same picture.
class OrientedOption {
  public:
    explicit OrientedOption(DecInfo *session);
    ~OrientedOption() {
        // Bands of the decode may still look at it.
        if (session_->decOption != kept_) session_->decOption = kept_;
    }
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
        store_relaxed(&session->decodeResult, -1);
        // The word that a map leaves behind stands for no rectangle of a caller's.
        const bool by_map = !session->parent && session->retainedJpegInfo && width_ == 0 && height_ == 0;
        if (by_map) session->partialDecode = 0;
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

// A cancel from before the decode is over; a child keeps what its parent's failure wrote into it.
void clear_abort(DecInfo *session);

}  // namespace vorel
