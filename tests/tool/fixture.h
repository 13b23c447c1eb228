// What the tests of the program share: a folder of files, runs that work and runs that are refused.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "run_tool.h"

namespace vorel_tests {

using Arguments = std::vector<std::string>;

class ToolFixture : public testing::Test {
  protected:
    // Runs and expects success without a word on standard error.
    void expect_ok(const Arguments &arguments) {
        const ToolRun run = folder.run(arguments);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
    }

    // Runs and expects that status, one line on standard error that has `says` in it, and the folder as it was.
    void expect_refused(const Arguments &arguments, int status, const std::string &says = "") {
        std::string line;
        for (const std::string &argument : arguments) line += argument + " ";
        SCOPED_TRACE(line);
        const auto before = folder.snapshot();
        const ToolRun run = folder.run(arguments);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(run.err.rfind("vorel: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(says), std::string::npos) << run.err;
        EXPECT_TRUE(folder.snapshot() == before) << "files changed";
    }

    ScratchFolder folder;
};

}  // namespace vorel_tests
