// vorel region: a rectangle of a picture to a raw buffer, a PNG, a PPM or a JPEG.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "progress.h"
#include "regions.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct RegionOptions {
    std::string in, out, rect;
    int32_t sample = 1, repeat = 1;
    int32_t band_memory = -1;  // MiB; -1: the library's default
};

double ms_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

int region(const RegionOptions &options) {
    check_output_name(options.out);
    const Rect rect = parse_rect(options.rect);
    catch_signals();
    const auto opened = std::chrono::steady_clock::now();
    const std::unique_ptr<RegionSource> source_owner = open_regions(options.in);
    RegionSource &source = *source_owner;
    if (options.band_memory >= 0) source.set_memory(static_cast<size_t>(options.band_memory) << 20);
    const double open_ms = ms_since(opened);
    if (rect.width > source.width() - rect.x || rect.height > source.height() - rect.y)
        throw Failure(options.in + ": " + options.rect + " is not inside " + std::to_string(source.width()) + " x " +
                      std::to_string(source.height()) + " pixels");
    if (rect.width < options.sample || rect.height < options.sample)
        throw Failure(options.in + ": " + options.rect + " is too small for --sample " +
                      std::to_string(options.sample));
    Picture picture;
    if (options.repeat > 1) std::printf("opened: %.2f ms\n", open_ms);
    for (int32_t i = 0; i < options.repeat; ++i) {
        if (cancelled()) throw Failure(options.in + ": cancelled");
        const auto start = std::chrono::steady_clock::now();
        picture = source.decode(rect, options.sample);
        if (options.repeat > 1) std::printf("region %d: %.2f ms\n", i + 1, ms_since(start));
    }
    write_picture(picture, options.out, cancelled);
    std::printf("%s: %d x %d, %s\n", options.out.c_str(), picture.width, picture.height, picture.format->name);
    return kExitOk;
}

}  // namespace

void register_region(CLI::App &app, Action &action) {
    auto options = std::make_shared<RegionOptions>();
    CLI::App *command =
        app.add_subcommand("region", "Decodes a rectangle of a JPEG or PNG to .raw, .png, .ppm or .jpg");
    command->add_option("IN", options->in, "The picture")->required();
    command->add_option("OUT", options->out, "Where to: .raw holds RGBA, .png and .ppm hold RGB; or .jpg")->required();
    command->add_option("--rect", options->rect, "X,Y,WIDTH,HEIGHT in pixels of the picture")->required();
    command
        ->add_option("--sample", options->sample,
                     "1/N of the size: a JPEG decoded smaller, of a PNG every N-th pixel and row")
        ->check(CLI::Range(1, 65535));
    command
        ->add_option(
            "--band-memory", options->band_memory,
            "MiB that may be kept of the rows of a PNG for rectangles after the first; 0: nothing. 32 unless given")
        ->check(CLI::Range(0, 1024));
    command->add_option("--repeat", options->repeat, "Decodes it K times and says how long each took")
        ->check(CLI::Range(1, 1000000));
    command->callback([options, &action] { action = [options] { return region(*options); }; });
}

}  // namespace vorel_tool
