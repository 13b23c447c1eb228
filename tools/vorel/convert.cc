// vorel convert: a raw frame from one pixel layout to another.
#include <vorel/frame.h>
#include <vorel/util.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "frames.h"
#include "readers.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct ConvertOptions {
    std::string in, out, from, to, size;
};

struct Conversion {
    int32_t from, to;
    void (*convert)(int32_t width, int32_t height, const uint8_t *src, uint8_t *dst);
};
constexpr Conversion kConversions[] = {
    {COLOR_NV12, COLOR_RGBA8888, nv12_to_rgba8888},     {COLOR_NV12, COLOR_BGRA8888, nv12_to_bgra8888},
    {COLOR_NV12, COLOR_RGB888, nv12_to_rgb888},         {COLOR_NV21, COLOR_RGBA8888, nv21_to_rgba8888},
    {COLOR_NV21, COLOR_BGRA8888, nv21_to_bgra8888},     {COLOR_NV21, COLOR_RGB888, nv21_to_rgb888},
    {COLOR_YUV420, COLOR_RGBA8888, yuv420_to_rgba8888}, {COLOR_YUV420, COLOR_BGRA8888, yuv420_to_bgra8888},
    {COLOR_RGBA8888, COLOR_NV12, rgba8888_to_nv12},     {COLOR_RGBA8888, COLOR_NV21, rgba8888_to_nv21},
    {COLOR_RGBA8888, COLOR_YUV420, rgba8888_to_yuv420}, {COLOR_YUV420, COLOR_NV12, yuv420_to_nv12},
    {COLOR_YUV420, COLOR_NV21, yuv420_to_nv21},         {COLOR_NV12, COLOR_NV21, yuv_nv_reverse},
    {COLOR_NV21, COLOR_NV12, yuv_nv_reverse},
};

int convert(const ConvertOptions &options) {
    const PixelFormat &from = *find_format(options.from), &to = *find_format(options.to);
    const auto found = std::find_if(std::begin(kConversions), std::end(kConversions),
                                    [&](const Conversion &row) { return row.from == from.code && row.to == to.code; });
    if (found == std::end(kConversions))
        throw BadUsage("--to: there is no way from " + options.from + " to " + options.to);
    check_output_name(options.out);
    const Size size = parse_size("--size", options.size);
    const Picture in = read_raw(options.in, from, size);
    if (picture_bytes(to, size.width, size.height) > INT32_MAX)
        throw Failure(options.out + ": a frame of that size is larger than 2 GiB");
    Picture out = make_picture(to, size.width, size.height);
    // Swapping pairs leaves Y alone; the others write all.
    if (found->convert == yuv_nv_reverse) out.bytes = in.bytes;
    found->convert(size.width, size.height, in.bytes.data(), out.bytes.data());
    write_frame(out, options.out);
    return kExitOk;
}

}  // namespace

void register_convert(CLI::App &app, Action &action) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App *command = app.add_subcommand("convert", "Converts a raw frame to another pixel layout");
    command->add_option("IN", options->in, "The frame: rows without padding, planes behind one another")->required();
    command->add_option("OUT", options->out, "Where to: .raw, .png, .ppm or .jpg")->required();
    command->add_option("--from", options->from, "Pixel layout of IN")
        ->required()
        ->check(CLI::IsMember(format_names()));
    command->add_option("--to", options->to, "Pixel layout to convert to")
        ->required()
        ->check(CLI::IsMember(format_names()));
    command->add_option("--size", options->size, "Size of the frame, WIDTHxHEIGHT")->required();
    command->callback([options, &action] { action = [options] { return convert(*options); }; });
}

}  // namespace vorel_tool
