// Pictures to files.
#pragma once

#include <cstdio>
#include <string>

#include "jpeg_writer.h"
#include "pixels.h"

namespace vorel_tool {

enum class FileKind {
    kUnknown,
    kRaw,  // the bytes of the picture buffer
    kPng,  // RGB, gray for a gray picture, RGBA for one with alpha
    kPpm,  // RGB
    kPgm,  // gray; is read and not written
    kJpeg  // is written here, and read by a Session
};

// By the ending of the name, in either case.
FileKind kind_of_file(const std::string &path);
// Throws BadUsage for a name that write_picture knows no format for.
void check_output_name(const std::string &path);

// Replaces the file in one step; throws Failure and leaves everything as it was. `cancelled` is asked before that step.
void write_picture(const Picture &picture, const std::string &path, bool (*cancelled)(), const JpegOptions &jpeg = {});

// The PNG alone, to a stream that is open. The path is for messages.
void write_png(const Picture &picture, const std::string &path, FILE *stream);

}  // namespace vorel_tool
