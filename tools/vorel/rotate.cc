// vorel rotate: a raw frame, PNG or PPM turned clockwise.
#include <vorel/util.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "frames.h"

namespace vorel_tool {
namespace {

struct RotateOptions {
    FrameOptions frame;
    int angle = 0;
};

int rotate(const RotateOptions &options) {
    check_frame_options(options.frame);
    Picture picture = read_frame(options.frame);
    if (!vorel_rotate(picture.bytes.data(), picture.width, picture.height, picture.format->code, options.angle))
        throw Failure(options.frame.in + ": frames in " + picture.format->name + " cannot be turned");
    if (options.angle != 180) std::swap(picture.width, picture.height);
    write_frame(picture, options.frame.out);
    return kExitOk;
}

}  // namespace

void register_rotate(CLI::App &app, Action &action) {
    auto options = std::make_shared<RotateOptions>();
    CLI::App *command = app.add_subcommand("rotate", "Turns a raw frame, a PNG or a PPM");
    add_frame_options(command, &options->frame);
    command->add_option("--angle", options->angle, "Degrees, clockwise: 90, 180 or 270")
        ->required()
        ->check(CLI::IsMember({90, 180, 270}));
    command->callback([options, &action] { action = [options] { return rotate(*options); }; });
}

}  // namespace vorel_tool
