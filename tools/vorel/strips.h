// Decodes in pieces: strips from the top or from checkpoints, and files of checkpoints.
#pragma once

#include <string>

#include "pixels.h"
#include "session.h"

namespace vorel_tool {

struct StripOptions {
    int32_t rows = 0;         // of a strip; 0: not in strips
    std::string checkpoints;  // a file of them; empty: none
    bool wanted() const { return rows != 0 || !checkpoints.empty(); }
};

// Throws BadUsage for a layout that strips are not made of, and for an odd number of rows where chroma has half.
void check_strip_usage(const StripOptions &options, const PixelFormat &format);

// The session's JPEG into the picture, which has its size. False when the decode fails or is cancelled.
bool decode_in_strips(Session &session, const StripOptions &options, Picture *picture);

}  // namespace vorel_tool
