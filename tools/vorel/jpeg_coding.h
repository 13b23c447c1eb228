// What the segments of a JPEG in front of its first scan say that the library does not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorel_tool {

// "arithmetic coding is not supported"; empty for a baseline frame, and where no frame header can be found.
std::string unsupported_coding(const std::string &path);

// The segments of its ICC profile as they stand, for pictures in RGB or gray; empty where it has none for such colours.
std::vector<uint8_t> colour_profile(const std::string &path, bool gray);

}  // namespace vorel_tool
