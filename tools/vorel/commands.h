// The subcommands. Each file adds its own to the program and sets the action to be run once the line is read.
#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace vorel_tool {

// What ends the program: 0, 1 for work that failed, 2 for a command line that makes no sense.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// Returns the exit status; throws Failure or BadUsage (failure.h).
using Action = std::function<int()>;

void register_info(CLI::App &app, Action &action);
void register_exif(CLI::App &app, Action &action);
void register_decode(CLI::App &app, Action &action);
void register_encode(CLI::App &app, Action &action);
void register_develop(CLI::App &app, Action &action);
void register_checkpoints(CLI::App &app, Action &action);
void register_convert(CLI::App &app, Action &action);
void register_resize(CLI::App &app, Action &action);
void register_rotate(CLI::App &app, Action &action);
void register_frames(CLI::App &app, Action &action);
void register_region(CLI::App &app, Action &action);
void register_tiles(CLI::App &app, Action &action);
void register_demo(CLI::App &app, Action &action);

// "vorel: message" as one line on standard error, whatever line breaks the message has.
void complain(const std::string &message);

}  // namespace vorel_tool
