// A PNG in the size, place and turn that is asked for. The library decodes it smaller and no more, so the rest is done
// to what comes out.
#pragma once

#include <vorel/frame.h>

#include <string>

#include "pixels.h"
#include "sizes.h"

namespace vorel_tool {

struct PngRequest {
    std::string path;
    const IoInfo *memory;  // null: the file at `path` is read
    Size size;             // of the picture
    int32_t sample;        // where no rectangle is given
    bool sized;            // there is a rectangle
    Size target;           // it, as the output stands
    std::string fit;
    int rotate;  // degrees, clockwise
};

// In RGBA8888 or BGRA8888; with the fit "packed" no larger than what is seen. Throws Failure.
Picture decode_png(const PngRequest &request, const PixelFormat &format);

}  // namespace vorel_tool
