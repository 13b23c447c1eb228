// Sizes on the command line.
#include "sizes.h"

#include <cstdio>

#include "failure.h"

namespace vorel_tool {

Size parse_size(const std::string &option, const std::string &text) {
    Size size = {0, 0};
    int used = 0;
    if (text.size() > 11 || text.find_first_not_of("0123456789x") != std::string::npos ||
        std::sscanf(text.c_str(), "%dx%d%n", &size.width, &size.height, &used) != 2 ||
        static_cast<size_t>(used) != text.size() || size.width < 1 || size.height < 1 || size.width > 65535 ||
        size.height > 65535)
        throw BadUsage(option + ": wants WIDTHxHEIGHT in pixels, from 1x1 to 65535x65535, not " + text);
    return size;
}

}  // namespace vorel_tool
