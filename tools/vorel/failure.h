// What a subcommand throws where it cannot go on: one line for people.
#pragma once

#include <stdexcept>

namespace vorel_tool {

// Work that failed: exit status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A command line that makes no sense: exit status 2.
struct BadUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace vorel_tool
