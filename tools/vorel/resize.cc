// vorel resize: a raw frame, PNG or PPM to another size.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "frames.h"
#include "resizing.h"
#include "sizes.h"

namespace vorel_tool {
namespace {

struct ResizeOptions {
    FrameOptions frame;
    std::string size;
};

int resize(const ResizeOptions &options) {
    check_frame_options(options.frame);
    const Size size = parse_size("--size", options.size);
    if (!has_resizer(*find_format(options.frame.format)))
        throw BadUsage("--format: frames in " + options.frame.format + " are not resized");
    write_frame(resize_picture(read_frame(options.frame), size, options.frame.out), options.frame.out);
    return kExitOk;
}

}  // namespace

void register_resize(CLI::App &app, Action &action) {
    auto options = std::make_shared<ResizeOptions>();
    CLI::App *command = app.add_subcommand("resize", "Resizes a raw frame, a PNG or a PPM");
    add_frame_options(command, &options->frame);
    command->add_option("--size", options->size, "Size to resize to, WIDTHxHEIGHT")->required();
    command->callback([options, &action] { action = [options] { return resize(*options); }; });
}

}  // namespace vorel_tool
