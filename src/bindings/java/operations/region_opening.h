// A picture on its way to being open for rectangles: a JPEG session with its map, or the index of a PNG.
#pragma once

#include <vorel/png.h>

#include "bindings/c/owned_session.h"

namespace vorel {

class RegionOpening {
  public:
    RegionOpening() = default;
    ~RegionOpening();
    RegionOpening(const RegionOpening &) = delete;
    RegionOpening &operator=(const RegionOpening &) = delete;

    // The steps in their order; each is false where it fails, which is logged. The path has to live until the last of
    // them. The bytes are a block of os_allocate, or null, and are taken over.
    bool start(const char *path);
    bool start(void *bytes, int32_t length);
    // Type and size: JPEG or PNG, both sides long enough.
    bool parse();
    // The pass over a JPEG, which another thread may cancel by the session.
    bool scan();
    // Destroys the session, and opens the PNG without it. There may be no index.
    void open_png();

    DecInfo *session() const { return session_.get(); }
    bool is_png() const { return type_ == VOREL_IMAGE_PNG; }
    int32_t type() const { return type_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    // Session or index, which are the caller's from now on.
    void *release();

  private:
    bool started(DecInfo *session);

    const char *path_ = nullptr;
    OsBlock bytes_;
    int32_t length_ = 0;
    OwnedSession session_;
    vpng_tile_index *index_ = nullptr;
    int32_t type_ = VOREL_IMAGE_NONE, width_ = 0, height_ = 0;
};

// Frees an index, with its bytes where it was opened from memory.
void destroy_png_index(vpng_tile_index *index);

}  // namespace vorel
