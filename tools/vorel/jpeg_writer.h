// Pictures to JPEG streams.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pixels.h"

namespace CLI {
class App;
}

namespace vorel_tool {

struct JpegOptions {
    int quality = 90;
    bool progressive = false, optimize = false;
    std::vector<uint8_t> exif;     // a TIFF structure for the Exif segment; none where it is empty
    std::vector<uint8_t> profile;  // whole segments that go behind it
};

// SOI and APP0 of the encoder's streams; segments of one's own go behind them.
constexpr size_t kPrefixBytes = 20;

void add_jpeg_options(CLI::App *command, JpegOptions *options);

// Layouts that the encoder does not read go through RGB888. A signal stops it. Throws Failure in the name of the path.
std::vector<uint8_t> encode_jpeg(const Picture &picture, const JpegOptions &options, const std::string &path);

}  // namespace vorel_tool
