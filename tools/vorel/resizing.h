// Pictures in another size, by the library's resizers.
#pragma once

#include <string>

#include "pixels.h"
#include "sizes.h"

namespace vorel_tool {

bool has_resizer(const PixelFormat &format);
// Layouts without a resizer come out as RGB888. Throws Failure in the name of the path that the result goes to.
Picture resize_picture(const Picture &picture, Size size, const std::string &path);

}  // namespace vorel_tool
