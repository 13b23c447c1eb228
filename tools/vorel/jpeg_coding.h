// What a JPEG's frame header says of its coding, for a message where the library does not decode it.
#pragma once

#include <string>

namespace vorel_tool {

// "arithmetic coding is not supported"; empty for a baseline frame, and where no frame header can be found.
std::string unsupported_coding(const std::string &path);

}  // namespace vorel_tool
