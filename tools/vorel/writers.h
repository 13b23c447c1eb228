// Pictures to files.
#pragma once

#include <string>

#include "pixels.h"

namespace vorel_tool {

enum class FileKind {
    kUnknown,
    kRaw,  // the bytes of the picture buffer
    kPng,  // RGB, gray for a gray picture, RGBA for one with alpha
    kPpm   // RGB
};

// By the ending of the name, in either case.
FileKind kind_of_file(const std::string &path);

// Replaces the file in one step; throws Failure and leaves everything as it was. `cancelled` is asked before that step.
void write_picture(const Picture &picture, const std::string &path, bool (*cancelled)());

}  // namespace vorel_tool
