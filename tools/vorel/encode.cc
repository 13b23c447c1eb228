// vorel encode: a PNG, PPM, PGM or raw frame to a JPEG.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "commands.h"
#include "exif_copy.h"
#include "failure.h"
#include "jpeg_writer.h"
#include "progress.h"
#include "readers.h"
#include "resizing.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct EncodeOptions {
    std::string in, out, exif_from, size;
    std::pair<std::string, std::string> raw;  // layout, size
    JpegOptions jpeg;
};

bool is_raw(const EncodeOptions &options) { return !options.raw.first.empty(); }

Picture read_input(const EncodeOptions &options) {
    if (is_raw(options)) {
        const PixelFormat *format = find_format(options.raw.first);
        if (!format) throw BadUsage("--raw: no pixel layout of decode --format is called " + options.raw.first);
        return read_raw(options.in, *format, parse_size("--raw", options.raw.second));
    }
    return kind_of_file(options.in) == FileKind::kPng ? read_png(options.in, true) : read_pnm(options.in);
}

// PNG and PPM stand as they are seen; how a raw frame lies the camera's data say. Whether the thumbnail shows the same
// picture nobody knows.
std::vector<uint8_t> exif_for(const Picture &picture, const EncodeOptions &options) {
    Session session(options.exif_from, Source::kFile, COLOR_RGBA8888, 0);
    session.parse();
    std::vector<uint8_t> exif = exif_block_of(session);
    if (exif.empty()) throw Failure(options.exif_from + ": no Exif data");
    make_true(&exif, {picture.width, picture.height, is_raw(options) ? 0 : 1, false});
    return exif;
}

int encode(EncodeOptions options) {
    if (kind_of_file(options.out) != FileKind::kJpeg)
        throw BadUsage(options.out + ": the output's name has to end in .jpg or .jpeg");
    const FileKind kind = kind_of_file(options.in);
    if (!is_raw(options) && kind != FileKind::kPng && kind != FileKind::kPpm && kind != FileKind::kPgm)
        throw BadUsage(options.in + ": the input's name has to end in .png, .ppm or .pgm; frames need --raw");
    if (!options.size.empty()) parse_size("--size", options.size);
    Picture picture = read_input(options);
    if (!options.size.empty()) picture = resize_picture(picture, parse_size("--size", options.size), options.out);
    if (!options.exif_from.empty()) options.jpeg.exif = exif_for(picture, options);
    write_picture(picture, options.out, cancelled, options.jpeg);
    std::printf("%s: %d x %d, quality %d\n", options.out.c_str(), picture.width, picture.height, options.jpeg.quality);
    return kExitOk;
}

}  // namespace

void register_encode(CLI::App &app, Action &action) {
    auto options = std::make_shared<EncodeOptions>();
    CLI::App *command = app.add_subcommand("encode", "Encodes a PNG, PPM, PGM or raw frame to .jpg");
    command->add_option("IN", options->in, "The picture: .png, .ppm or .pgm, or any name with --raw")->required();
    command->add_option("OUT", options->out, "Where to: .jpg")->required();
    add_jpeg_options(command, &options->jpeg);
    command->add_option("--exif-from", options->exif_from, "A JPEG whose camera data the new one gets too");
    command->add_option("--size", options->size, "Resize it first, to WIDTHxHEIGHT pixels");
    command->add_option("--raw", options->raw, "IN is a frame of bytes: its pixel layout and its size in pixels")
        ->type_name("FORMAT WIDTHxHEIGHT");
    command->callback([options, &action] { action = [options] { return encode(*options); }; });
}

}  // namespace vorel_tool
