// The vorel program: reads the command line, runs one subcommand, turns what went wrong into a line and a status.
#include <vorel/jpeg_decoder.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "commands.h"
#include "failure.h"

namespace vorel_tool {

void complain(const std::string &message) {
    std::string line = message;
    while (!line.empty() && line.back() == '\n') line.pop_back();
    for (char &character : line)
        if (character == '\n' || character == '\r') character = ' ';
    std::fprintf(stderr, "vorel: %s\n", line.c_str());
}

namespace {

// The subcommand that stands on the line, for the hint after a mistake in its arguments.
std::string help_command(const CLI::App &app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? "vorel --help" : "vorel " + chosen.front()->get_name() + " --help";
}

int run(int argc, char **argv) {
    CLI::App app{"Looks into pictures, decodes, encodes and works on them, through libvorel.", "vorel"};
    app.set_version_flag("--version", std::string("vorel " VOREL_TOOL_VERSION ", libvorel ") + BRIMJ_GetVersion());
    app.require_subcommand(1);
    Action action;
    register_info(app, action);
    register_exif(app, action);
    register_decode(app, action);
    register_encode(app, action);
    register_develop(app, action);
    register_checkpoints(app, action);
    register_convert(app, action);
    register_resize(app, action);
    register_rotate(app, action);
    register_frames(app, action);
    register_region(app, action);
    register_tiles(app, action);
    register_demo(app, action);
    try {
        app.parse(argc, argv);
        return action();
    } catch (const CLI::Success &help_or_version) {
        return app.exit(help_or_version);
    } catch (const CLI::ParseError &error) {
        complain(std::string(error.what()) + " (see " + help_command(app) + ")");
    } catch (const BadUsage &error) {
        complain(std::string(error.what()) + " (see " + help_command(app) + ")");
    }
    return kExitUsage;
}

}  // namespace
}  // namespace vorel_tool

int main(int argc, char **argv) {
    try {
        return vorel_tool::run(argc, argv);
    } catch (const std::bad_alloc &) {
        vorel_tool::complain("out of memory");
    } catch (const std::exception &error) {
        vorel_tool::complain(error.what());
    }
    return vorel_tool::kExitFailed;
}
