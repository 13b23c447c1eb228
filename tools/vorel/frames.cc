// What the subcommands on frames share.
#include "frames.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "failure.h"
#include "progress.h"
#include "readers.h"
#include "writers.h"

namespace vorel_tool {

void add_frame_options(CLI::App *command, FrameOptions *options) {
    command->add_option("IN", options->in, "The picture: .raw, .png, .ppm or .pgm")->required();
    command->add_option("OUT", options->out, "Where to: .raw, .png, .ppm or .jpg")->required();
    command->add_option("--format", options->format, "Pixel layout of a .raw input")
        ->check(CLI::IsMember(format_names()))
        ->capture_default_str();
    command->add_option("--from-size", options->from_size, "Size of a .raw input, WIDTHxHEIGHT");
}

void check_frame_options(const FrameOptions &options) {
    check_output_name(options.out);
    const FileKind kind = kind_of_file(options.in);
    if (kind == FileKind::kUnknown || kind == FileKind::kJpeg)
        throw BadUsage(options.in + ": the input's name has to end in .raw, .png, .ppm or .pgm");
    if ((kind == FileKind::kRaw) == options.from_size.empty())
        throw BadUsage("--from-size: a .raw input needs it, another has a size of its own");
    if (!options.from_size.empty()) parse_size("--from-size", options.from_size);
}

Picture read_frame(const FrameOptions &options) {
    switch (kind_of_file(options.in)) {
        case FileKind::kPng:
            return read_png(options.in);
        case FileKind::kPpm:
        case FileKind::kPgm:
            return to_rgb888(read_pnm(options.in));
        default:
            return read_raw(options.in, *find_format(options.format), parse_size("--from-size", options.from_size));
    }
}

void write_frame(const Picture &picture, const std::string &path) {
    write_picture(picture, path, cancelled);
    std::printf("%s: %d x %d, %s\n", path.c_str(), picture.width, picture.height, picture.format->name);
}

}  // namespace vorel_tool
