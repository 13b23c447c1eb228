// giflib as an oracle: the frames of a file, with their indices in the order of rows.
#pragma once

#include <optional>

#include "support/gif_files.h"

namespace vorel::test {

// Nothing when giflib does not take the whole file.
std::optional<GifFile> read_with_giflib(const Bytes &file);

}  // namespace vorel::test
