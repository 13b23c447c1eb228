// Pictures from files without the library: raw frames, PNG, PPM and PGM.
#pragma once

#include <string>

#include "pixels.h"
#include "sizes.h"

namespace vorel_tool {

// A raw frame holds the bytes of `format` at `size`, no more and no less. Throws Failure.
Picture read_raw(const std::string &path, const PixelFormat &format, Size size);
// As RGB888, a PGM as gray, and a gray PNG where asked for; PPM and PGM are binary with 8 bits a sample.
Picture read_png(const std::string &path, bool keep_gray = false);
Picture read_pnm(const std::string &path);

}  // namespace vorel_tool
