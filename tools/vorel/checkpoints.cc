// vorel checkpoints: places in a baseline JPEG that a decode can begin at, as a file to keep beside it.
#include <vorel/jpeg_iterative.h>

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "output_file.h"
#include "pixels.h"
#include "progress.h"
#include "session.h"

namespace vorel_tool {
namespace {

struct CheckpointOptions {
    std::string in, out;
    int32_t count = 4;
};

int checkpoints(const CheckpointOptions &options) {
    Session session(options.in, Source::kFile, COLOR_GRAY, 0);
    const ImageInfo info = session.parse();
    if (session.type() != VOREL_IMAGE_JPEG) throw Failure(options.in + ": only JPEG pictures have checkpoints");
    if (info.progressive) throw Failure(options.in + ": a progressive JPEG has no checkpoints");
    // A decode at 1/8 passes through the same places.
    const int32_t width = static_cast<int32_t>((info.width + 7) / 8),
                  height = static_cast<int32_t>((info.height + 7) / 8);
    Picture picture = make_picture(*find_format("gray"), width, height);
    session.get()->midpointCount = options.count;
    DecodeWatch watch(session.get(), options.in);
    const bool decoded = VORELBRIM_DecodeJPEG(session.get(), picture.bytes.data(), width, height) == 1;
    watch.end();
    if (cancelled()) throw Failure(options.in + ": cancelled");
    if (!decoded) throw Failure(options.in + ": cannot be decoded: " + last_error());

    std::vector<uint8_t> blob(static_cast<size_t>(vorel_write_midpoints(session.get(), nullptr, 0)));
    vorel_write_midpoints(session.get(), blob.data(), static_cast<int32_t>(blob.size()));
    OutputFile file(options.out);
    file.write(blob.data(), blob.size());
    file.commit();
    int taken = 0;
    for (int32_t i = 0; i < options.count; ++i) {
        const Midpoint *at = session.get()->midpoints[i];
        if (!at) continue;
        ++taken;
        std::printf("checkpoint %d: row %" PRIu32 ", byte %" PRIu32 "\n", i + 1, at->iMcuRow * 8 * info.maxVSampling,
                    at->streamPosition - at->bufferBytesLeft);
    }
    if (taken == 0) std::printf("%s: too few rows for a checkpoint\n", options.in.c_str());
    return kExitOk;
}

}  // namespace

void register_checkpoints(CLI::App &app, Action &action) {
    auto options = std::make_shared<CheckpointOptions>();
    CLI::App *command = app.add_subcommand("checkpoints", "Finds places in a baseline JPEG that decodes can begin at");
    command->add_option("IN", options->in, "The picture")->required();
    command->add_option("--count", options->count, "How many")->check(CLI::Range(1, 4))->capture_default_str();
    command->add_option("--out", options->out, "Where to; vorel decode --checkpoints reads it")->required();
    command->callback([options, &action] { action = [options] { return checkpoints(*options); }; });
}

}  // namespace vorel_tool
