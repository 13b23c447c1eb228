// Sizes on the command line.
#pragma once

#include <cstdint>
#include <string>

namespace vorel_tool {

struct Size {
    int32_t width, height;
};

// "640x480"; both sides from 1 to 65535. Throws BadUsage in the name of the option.
Size parse_size(const std::string &option, const std::string &text);

}  // namespace vorel_tool
