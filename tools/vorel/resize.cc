// vorel resize: a raw frame, PNG or PPM to another size.
#include <vorel/frame.h>
#include <vorel/util.h>

#include <memory>
#include <string>

#include "commands.h"
#include "frames.h"
#include "sizes.h"

namespace vorel_tool {
namespace {

struct ResizeOptions {
    FrameOptions frame;
    std::string size;
};

using Resizer = void (*)(const uint8_t *src, uint8_t *dst, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth,
                         int32_t dstHeight);

// By what a sample is made of: the order inside does not matter. Null for layouts that are not resized.
Resizer resizer_for(int32_t format) {
    switch (format) {
        case COLOR_YUV420:
            return vorel_resize_yuv420;
        case COLOR_NV12:
        case COLOR_NV21:
            return vorel_resize_nv21;
        case COLOR_RGB888:
            return vorel_resize_rgb888;
        case COLOR_RGBA8888:
        case COLOR_BGRA8888:
        case COLOR_ARGB8888:
            return vorel_resize_rgba8888;
        default:
            return nullptr;
    }
}

int resize(const ResizeOptions &options) {
    check_frame_options(options.frame);
    const Size size = parse_size("--size", options.size);
    if (!resizer_for(find_format(options.frame.format)->code))
        throw BadUsage("--format: frames in " + options.frame.format + " are not resized");
    const Picture in = read_frame(options.frame);
    if (picture_bytes(*in.format, size.width, size.height) > INT32_MAX)
        throw Failure(options.frame.out + ": a frame of that size is larger than 2 GiB");
    Picture out = make_picture(*in.format, size.width, size.height);
    // A resized byte is at most 252: one that stays as it was is the sign of a resize that had no memory.
    constexpr uint8_t kUntouched = 255;
    out.bytes.back() = kUntouched;
    resizer_for(in.format->code)(in.bytes.data(), out.bytes.data(), in.width, in.height, size.width, size.height);
    if (out.bytes.back() == kUntouched) throw Failure(options.frame.out + ": not enough memory to resize");
    write_frame(out, options.frame.out);
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
