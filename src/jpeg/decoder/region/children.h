// Rectangles of sessions, and what a child borrows of its base.
#pragma once

#include <vorel/jpeg_region.h>

namespace vorel {

// In pixels of the reduced picture.
struct Rectangle {
    int32_t x, y, width, height;
};
constexpr bool is_rectangle(const Rectangle &at) { return at.x >= 0 && at.y >= 0 && at.width > 0 && at.height > 0; }

Rectangle rectangle_of(const DecInfo *session);
void set_rectangle(DecInfo *session, const Rectangle &to);

// A child lets go of its base's record, so that destroying it leaves that alone.
void give_back_map(DecInfo *child);

}  // namespace vorel
