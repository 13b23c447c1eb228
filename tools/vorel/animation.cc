// vorel frames: every picture of a GIF as a PNG, and how long each is shown as JSON.
#include <vorel/raster.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "output_file.h"
#include "pixels.h"
#include "progress.h"
#include "session.h"
#include "writers.h"

namespace vorel_tool {
namespace {

namespace fs = std::filesystem;

constexpr char kListName[] = "frames.json";

struct AnimationOptions {
    std::string in, folder;
    bool log = false;
};

[[noreturn]] void fail(const fs::path &path, int error) {
    throw Failure(path.string() + ": cannot be written: " + std::strerror(error));
}

// Files that come to stand in a folder all together: they are written beside one another in a folder of their own,
// which goes with this object. A folder that was made for them goes too, unless they were delivered.
class StagedFiles {
  public:
    explicit StagedFiles(const std::string &folder) : folder_(folder) {
        std::error_code error;
        made_ = fs::create_directory(folder_, error);
        if (error) fail(folder_, error.value());
        std::string stage = (folder_ / ".frames-XXXXXX").string();
        if (!mkdtemp(stage.data())) {
            const int reason = errno;
            remove_made();
            fail(folder_, reason);
        }
        stage_ = stage;
    }
    StagedFiles(const StagedFiles &) = delete;
    StagedFiles &operator=(const StagedFiles &) = delete;
    ~StagedFiles() {
        std::error_code ignored;
        fs::remove_all(stage_, ignored);
        remove_made();
    }

    std::string add(const std::string &name) {
        names_.push_back(name);
        return (stage_ / name).string();
    }

    // Looks at all places before the first file moves.
    void deliver() {
        for (const std::string &name : names_) {
            std::error_code none;
            const fs::file_status there = fs::status(folder_ / name, none);
            if (fs::exists(there) && !fs::is_regular_file(there))
                throw Failure((folder_ / name).string() + ": is there and is not a regular file");
        }
        for (const std::string &name : names_) {
            std::error_code error;
            fs::rename(stage_ / name, folder_ / name, error);
            if (error) fail(folder_ / name, error.value());
            made_ = false;
        }
    }

  private:
    void remove_made() {
        std::error_code ignored;
        if (made_) fs::remove(folder_, ignored);
    }

    fs::path folder_, stage_;
    bool made_ = false;
    std::vector<std::string> names_;
};

std::string frame_name(size_t index) {
    char name[32];
    std::snprintf(name, sizeof name, "frame-%04zu.png", index);
    return name;
}

// The decoder reports the delay of the frame that comes next, so the first one's is looked up before it starts.
uint32_t first_delay(Session &session) {
    GifInfo *info = BRIMI_CreateGIFDecoderInfo(session.get());
    int32_t transparent;
    uint32_t delay = 0;
    const bool found = info && BRIMI_ParseGIFHeader(session.get(), info) && BRIMI_SeekImageData(info) &&
                       VORELBRIMI_GetColorInfo(session.get(), nullptr, &transparent, &delay);
    VORELBRIMI_DeleteGIFInfo(session.get());
    if (!found) throw Failure(session.path() + ": cannot be decoded");
    return delay;
}

// The state of the decoder, for as long as frames come.
struct DecoderState {
    explicit DecoderState(DecInfo *decoder) : session(decoder) {}
    DecoderState(const DecoderState &) = delete;
    DecoderState &operator=(const DecoderState &) = delete;
    ~DecoderState() { VORELBRIMI_DeleteGIFInfo(session); }
    DecInfo *session;
};

constexpr int32_t kMoreFollow = 1;
constexpr int32_t kLastFrame = 3;

nlohmann::ordered_json write_frames(Session &session, Picture &picture, StagedFiles &files) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    uint32_t delay = first_delay(session);
    DecoderState state(session.get());
    DecodeWatch watch(session.get(), session.path());
    for (int32_t result = kMoreFollow; result == kMoreFollow;) {
        result = VORELBRIMI_DecodeAGIF(session.get(), picture.bytes.data(), picture.width, picture.height);
        if (cancelled()) throw Failure(session.path() + ": cancelled, not written");
        if (result != kMoreFollow && result != kLastFrame)
            throw Failure(session.path() + ": frame " + std::to_string(list.size()) + " cannot be decoded");
        const std::string name = frame_name(list.size());
        write_picture(picture, files.add(name), cancelled);
        list.push_back({{"file", name}, {"delayMs", delay}});
        delay = session.get()->frameDelay;
    }
    watch.end();
    return list;
}

int frames(const AnimationOptions &options) {
    if (options.log) show_diagnostics();
    const PixelFormat &format = *find_format("rgba8888");
    Session session(options.in, Source::kFile, format.code, 0);
    const ImageInfo info = session.parse();
    if (session.type() != VOREL_IMAGE_GIF && session.type() != VOREL_IMAGE_ANIMATED_GIF)
        throw Failure(options.in + ": is no GIF but a " + type_name(session.type()));
    const int32_t width = static_cast<int32_t>(info.width), height = static_cast<int32_t>(info.height);
    if (picture_bytes(format, width, height) > INT32_MAX)
        throw Failure(options.in + ": " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels are more than 2 GiB");
    Picture picture = make_picture(format, width, height);
    picture.alpha = true;

    StagedFiles files(options.folder);
    nlohmann::ordered_json record = {{"file", options.in}, {"width", width}, {"height", height}};
    record["frames"] = write_frames(session, picture, files);
    const std::string text = record.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    OutputFile list(files.add(kListName));
    list.write(text.data(), text.size());
    list.commit();
    files.deliver();
    std::printf("%s: %zu frames, %d x %d\n", options.folder.c_str(), record["frames"].size(), width, height);
    return kExitOk;
}

}  // namespace

void register_frames(CLI::App &app, Action &action) {
    auto options = std::make_shared<AnimationOptions>();
    CLI::App *command = app.add_subcommand("frames", "Writes the pictures of a GIF as PNG, and their delays as JSON");
    command->add_option("IN", options->in, "The GIF")->required();
    command->add_option("DIR", options->folder, "Where to: frame-0000.png, frame-0001.png, ..., frames.json")
        ->required();
    command->add_flag("--log", options->log, "The library's diagnostics on standard error");
    command->callback([options, &action] { action = [options] { return frames(*options); }; });
}

}  // namespace vorel_tool
