// One picture from a path or from bytes into pixels, as the factory decodes: what lies between the Java calls.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bindings/c/owned_session.h"

namespace vorel {

constexpr int32_t kMostSide = 49999;  // of a decode, pixels

struct FactorySource {
    const char *path;      // or null:
    const uint8_t *bytes;  // the caller's, which stay for the length of the decode
    int32_t length;
};

struct FactoryRequest {
    int32_t sample_size = 1;        // below 1 means 1
    int32_t width = 0, height = 0;  // wanted; 0: the picture's, divided by sample_size
    int32_t color_format = 0;
    uint32_t option_word = 0;  // VOREL_OPTION_
};

struct FactoryWindow {
    int32_t x, y, width, height;
};

// A picture that is parsed, and the size that it will be decoded to.
class FactoryPicture {
  public:
    // False with a log line for what cannot be opened, an unsupported type and an impossible size; the picture's own
    // size is known in the last case.
    bool open(const FactorySource &source, const FactoryRequest &request);
    bool is_jpeg() const { return type_ == VOREL_IMAGE_JPEG; }
    int32_t image_width() const { return image_width_; }
    int32_t image_height() const { return image_height_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int32_t color_format() const { return request_.color_format; }

    // The session; that of a JPEG may be cancelled by another thread until the decode is over, that of a PNG ends
    // before.
    DecInfo *session() const { return session_.get(); }
    // Into width() x height() pixels. 1 or 0.
    int32_t decode(void *output);
    // The window lies in the picture; else false with a log line.
    bool has_window(const FactoryWindow &window) const;
    // A window of a JPEG of width() x height() pixels, into as many pixels as it has. 1 or 0.
    int32_t decode_window(void *output, const FactoryWindow &window);

  private:
    bool open_source();

    FactorySource source_ = {};
    FactoryRequest request_;
    OwnedSession session_;
    int32_t type_ = 0, image_width_ = 0, image_height_ = 0, width_ = 0, height_ = 0;
};

// The size of a picture of any type, from its header. False for what is none.
bool picture_bounds(const FactorySource &source, int32_t color_format, int32_t *width, int32_t *height);

// Bytes of a buffer that pixels of a format are handed out in: getBytePerPixel for each, or what the planes take where
// that is more. False where that is no size of a buffer of Java.
bool display_bytes(int32_t color_format, int32_t width, int32_t height, size_t *bytes);

}  // namespace vorel
