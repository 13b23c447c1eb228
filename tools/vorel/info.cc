// vorel info: a line, or a JSON record, for each file.
#include <vorel/frame.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "raw_file.h"
#include "session.h"

namespace vorel_tool {
namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    bool log = false;
};

std::string text_line(const ImageInfo &info, int32_t type, int32_t orientation) {
    std::string line =
        std::string(type_name(type)) + ", " + std::to_string(info.width) + " x " + std::to_string(info.height);
    if (type == VOREL_IMAGE_JPEG) {
        line += info.progressive ? ", progressive" : ", baseline";
        line += ", " + std::to_string(info.numComponents) + (info.numComponents == 1 ? " component" : " components");
        line += ", sampling " + std::to_string(info.maxHSampling) + "x" + std::to_string(info.maxVSampling);
        if (orientation) line += ", orientation " + std::to_string(orientation);
        if (info.restartInterval) line += ", restart interval " + std::to_string(info.restartInterval);
    } else if (type == VOREL_IMAGE_PNG && info.progressive) {
        line += ", interlaced";
    } else if (type == VOREL_IMAGE_ANIMATED_GIF) {
        line += ", " + std::to_string(info.frameCount) + " frames";
    }
    return line + ", " + std::to_string(info.fileSize) + " bytes";
}

nlohmann::ordered_json json_record(const std::string &file, const ImageInfo &info, int32_t type, int32_t orientation) {
    nlohmann::ordered_json record = {{"file", file},          {"type", type_name(type)}, {"width", info.width},
                                     {"height", info.height}, {"bytes", info.fileSize},  {"frames", info.frameCount}};
    if (type == VOREL_IMAGE_JPEG) {
        record["progressive"] = info.progressive != 0;
        record["components"] = info.numComponents;
        record["maxHSampling"] = info.maxHSampling;
        record["maxVSampling"] = info.maxVSampling;
        record["restartInterval"] = info.restartInterval;
        if (orientation) record["orientation"] = orientation;
    } else if (type == VOREL_IMAGE_PNG) {
        record["interlaced"] = info.progressive != 0;
    }
    return record;
}

int show_info(const InfoOptions &options) {
    if (options.log) show_diagnostics();
    nlohmann::ordered_json records = nlohmann::ordered_json::array();
    int status = kExitOk;
    for (const std::string &file : options.files) {
        try {
            if (const std::unique_ptr<RawFile> raw = RawFile::open(file)) {
                if (options.json)
                    records.push_back(raw->json_record());
                else
                    std::cout << file << ": " << raw->text_line() << "\n";
                continue;
            }
            Session session(file, Source::kFile, COLOR_RGBA8888, 0);
            const ImageInfo info = session.parse();
            const int32_t orientation = session.type() == VOREL_IMAGE_JPEG ? exif_orientation(session) : 0;
            if (options.json)
                records.push_back(json_record(file, info, session.type(), orientation));
            else
                std::cout << file << ": " << text_line(info, session.type(), orientation) << "\n";
        } catch (const Failure &failure) {
            status = kExitFailed;
            std::cout.flush();
            complain(failure.what());
            if (options.json) records.push_back({{"file", file}, {"error", failure.what()}});
        }
    }
    // A path need not be UTF-8, but JSON has to be.
    if (options.json) std::cout << records.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    if (!std::cout.flush()) throw Failure("standard output cannot be written");
    return status;
}

}  // namespace

void register_info(CLI::App &app, Action &action) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App *command = app.add_subcommand("info", "Type, size and layout of pictures and raw files, a line each");
    command->add_option("FILE", options->files, "The pictures")->required();
    command->add_flag("--json", options->json, "An array of records instead of lines");
    command->add_flag("--log", options->log, "The library's diagnostics on standard error");
    command->callback([options, &action] { action = [options] { return show_info(*options); }; });
}

}  // namespace vorel_tool
