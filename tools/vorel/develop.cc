// vorel develop: a raw file to a picture.
#include <vorel/dng.h>
#include <vorel/util.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands.h"
#include "develop.h"
#include "failure.h"
#include "output_file.h"
#include "progress.h"
#include "raw_file.h"
#include "regions.h"
#include "upright.h"
#include "writers.h"

namespace vorel_tool {
namespace {

struct DevelopOptions {
    std::string in, out, rect;
    int32_t factor = 1, denoise = 0, stage = 0;
    bool preview = false, strict = false, no_orient = false, strip = false;
    JpegOptions jpeg;
};

constexpr int32_t kPreviewSide = 1024;  // of files that carry no preview

// Runs develop(&info) in a thread of its own, so that this one can show how far it is and stop it.
template <typename Develop>
void watched(const RawFile &raw, decInfo *info, const Develop &develop) {
    catch_signals();
    ProgressBar bar(raw.path());
    std::atomic<bool> done{false};
    std::thread worker([&] {
        develop(info);
        done = true;
    });
    while (!done) {
        if (cancelled()) VDngCancelDecoding(info);
        bar.draw(__atomic_load_n(&info->progress, __ATOMIC_RELAXED), 100);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    worker.join();
    bar.clear();
    if (cancelled()) throw Failure(raw.path() + ": cancelled");
}

Picture rgba_picture(int32_t width, int32_t height) { return make_picture(*find_format("rgba8888"), width, height); }

// The rectangle, or the whole picture for an empty one.
Picture develop_picture(const RawFile &raw, const DevelopOptions &options) {
    decInfo info = {};
    info.acceptLossless = !options.strict;
    info.noiseStrength = options.denoise;
    int32_t width = raw.width(), height = raw.height();
    if (!options.rect.empty()) {
        const Rect rect = parse_rect(options.rect);
        if (rect.width > width - rect.x || rect.height > height - rect.y)
            throw Failure(raw.path() + ": " + options.rect + " is not inside " + std::to_string(width) + " x " +
                          std::to_string(height) + " pixels");
        info.regionLeft = rect.x + raw.info().cropOriginX, info.regionTop = rect.y + raw.info().cropOriginY;
        info.regionRight = info.regionLeft + rect.width, info.regionBottom = info.regionTop + rect.height;
        width = rect.width, height = rect.height;
    }
    info.width = static_cast<uint32_t>(width), info.height = static_cast<uint32_t>(height);
    Picture picture = rgba_picture(width, height);
    watched(raw, &info,
            [&](decInfo *record) { decodeDNGImageBuffer(raw.data(), raw.length(), picture.bytes.data(), record); });
    if (info.progress != 100) throw Failure(raw.path() + ": cannot be developed");
    if (options.factor == 1) return picture;
    const auto reduced = [&](int32_t side) {
        return std::max<int32_t>(1, static_cast<int32_t>(std::lround(static_cast<double>(side) / options.factor)));
    };
    Picture small = rgba_picture(reduced(width), reduced(height));
    vorel_resize_rgba8888(picture.bytes.data(), small.bytes.data(), width, height, small.width, small.height);
    return small;
}

// The preview that the file carries in JPEG, or the raw image developed at its size.
Picture develop_preview(const RawFile &raw, const DevelopOptions &options) {
    int32_t width = 0, height = 0;
    if (!raw.preview(&width, &height)) {
        const double scale = std::min(1.0, static_cast<double>(kPreviewSide) / std::max(raw.width(), raw.height()));
        width = std::max<int32_t>(1, static_cast<int32_t>(std::lround(raw.width() * scale)));
        height = std::max<int32_t>(1, static_cast<int32_t>(std::lround(raw.height() * scale)));
    } else {
        Picture carried = rgba_picture(width, height);
        decodeDNGPreviewImageBuffer(raw.data(), raw.length(), carried.bytes.data(), width, height);
        // Alpha is 0 where nothing was decoded.
        const bool there =
            std::any_of(carried.bytes.begin(), carried.bytes.end(), [](uint8_t byte) { return byte != 0; });
        if (there) return carried;
    }
    decInfo info = {};
    info.acceptLossless = !options.strict;
    Picture picture = rgba_picture(width, height);
    int32_t result = 0;
    watched(raw, &info, [&](decInfo *record) {
        result = vorel_dng_develop_preview(raw.data(), raw.length(), picture.bytes.data(), width, height, record);
    });
    if (result != 1) throw Failure(raw.path() + ": cannot be developed");
    return picture;
}

// Samples of 16 bits as a PGM of one plane or a PPM of three.
int write_stage(const RawFile &raw, const DevelopOptions &options) {
    decInfo info = {};
    info.acceptLossless = !options.strict;
    VDngStage stage = {};
    if (vorel_dng_stage(raw.data(), raw.length(), options.stage, &info, &stage) != 1)
        throw Failure(raw.path() + ": cannot be developed");
    const std::unique_ptr<uint16_t, decltype(&std::free)> samples(stage.samples, &std::free);
    if (stage.planes != 1 && stage.planes != 3)
        throw Failure(raw.path() + ": " + std::to_string(stage.planes) + " planes fit neither a PGM nor a PPM");
    OutputFile file(options.out);
    std::fprintf(file.stream(), "P%d\n%d %d\n65535\n", stage.planes == 1 ? 5 : 6, stage.width, stage.height);
    std::vector<uint8_t> row(static_cast<size_t>(stage.width) * static_cast<size_t>(stage.planes) * 2);
    const uint16_t *in = stage.samples;
    for (int32_t y = 0; y < stage.height; ++y) {
        for (size_t i = 0; i < row.size(); i += 2, ++in)
            row[i] = static_cast<uint8_t>(*in >> 8), row[i + 1] = static_cast<uint8_t>(*in);
        file.write(row.data(), row.size());
    }
    file.commit();
    std::printf("%s: %d x %d, %d planes of 16 bits\n", options.out.c_str(), stage.width, stage.height, stage.planes);
    return kExitOk;
}

// Throws for one that no reader knows.
void check_readable(const RawFile &raw) {
    if (!raw.info().readable)
        throw Failure(raw.path() + ": the raw image has compression " + std::to_string(raw.info().compression) +
                      ", for which there is no reader");
}

int develop(const DevelopOptions &options) {
    const FileKind kind = kind_of_file(options.out);
    if (options.stage && kind != FileKind::kPgm && kind != FileKind::kPpm)
        throw BadUsage("--stage: writes .pgm or .ppm, of 16 bits");
    if (!options.stage) check_output_name(options.out);
    if (options.preview && (!options.rect.empty() || options.factor != 1 || options.denoise))
        throw BadUsage("--preview: goes without --rect, --factor and --denoise");
    const std::unique_ptr<RawFile> raw = RawFile::open(options.in);
    if (!raw) throw Failure(options.in + ": not a raw file");
    const decInfo &info = raw->info();
    constexpr uint32_t kJpeg = 7;
    check_readable(*raw);
    if (options.strict && info.compression == kJpeg && info.bitsPerSample != 8)
        throw Failure(options.in + ": the raw image is lossless JPEG, which --strict refuses");
    if (options.stage) return write_stage(*raw, options);
    Picture picture = options.preview ? develop_preview(*raw, options) : develop_picture(*raw, options);
    if (!options.no_orient && options.rect.empty())
        picture = upright(std::move(picture), static_cast<int32_t>(info.orientation));
    JpegOptions jpeg = options.jpeg;
    if (kind == FileKind::kJpeg && !options.strip) jpeg.exif = raw->exif_block(picture.width, picture.height);
    write_picture(picture, options.out, cancelled, jpeg);
    std::printf("%s: %d x %d, %s\n", options.out.c_str(), picture.width, picture.height, picture.format->name);
    return kExitOk;
}

}  // namespace

Picture develop_whole(const RawFile &raw, bool oriented) {
    check_readable(raw);
    Picture picture = develop_picture(raw, {});
    return oriented ? upright(std::move(picture), static_cast<int32_t>(raw.info().orientation)) : picture;
}

void register_develop(CLI::App &app, Action &action) {
    auto options = std::make_shared<DevelopOptions>();
    CLI::App *command = app.add_subcommand("develop", "Develops a raw file (DNG) to .raw, .png, .ppm or .jpg");
    command->add_option("IN", options->in, "The raw file")->required();
    command->add_option("OUT", options->out, "Where to: .raw holds RGBA, .png and .ppm hold RGB; or .jpg")->required();
    command->add_option("--rect", options->rect,
                        "X,Y,WIDTH,HEIGHT in pixels of the picture as it is stored; it is not turned upright");
    command->add_option("--factor", options->factor, "1/N of the width and height")->check(CLI::Range(1, 65535));
    command->add_option("--denoise", options->denoise, "Removes spikes and smooths colours in N rounds; 0 does nothing")
        ->check(CLI::Range(0, 1000));
    command
        ->add_option("--stage", options->stage,
                     "Samples on the way, of 16 bits: 1 as stored, 2 linear, 3 every colour at each pixel")
        ->check(CLI::Range(1, 3));
    command->add_flag("--preview", options->preview,
                      "The small picture that the file carries, or one as small from the raw image");
    command->add_flag("--strict", options->strict, "Refuses raw images in lossless JPEG");
    command->add_flag("--no-orient", options->no_orient, "Leaves the picture as it is stored");
    command->add_flag("--strip", options->strip, "A .jpg without the camera's data");
    add_jpeg_options(command, &options->jpeg);
    command->callback([options, &action] { action = [options] { return develop(*options); }; });
}

}  // namespace vorel_tool
