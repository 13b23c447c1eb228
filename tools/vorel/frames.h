// What the subcommands on frames share: the input's options, reading it, writing the result.
#pragma once

#include <string>

#include "pixels.h"

namespace CLI {
class App;
}

namespace vorel_tool {

struct FrameOptions {
    std::string in, out;
    std::string format = "rgba8888";
    std::string from_size;  // of a raw input
};

void add_frame_options(CLI::App *command, FrameOptions *options);
// What the line alone gives away: the endings of both names, a size for a raw input and only for one.
void check_frame_options(const FrameOptions &options);
Picture read_frame(const FrameOptions &options);
// Writes it and says so.
void write_frame(const Picture &picture, const std::string &path);

}  // namespace vorel_tool
