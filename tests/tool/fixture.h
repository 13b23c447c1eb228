// What the tests of the program share: a folder of files, runs that work and runs that are refused.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "run_tool.h"
#include "support/samples.h"

namespace vorel_tests {

// With an APP1 segment whose Exif block has one field: how the camera was held.
inline Bytes with_orientation(Bytes jpeg, uint8_t orientation) {
    const Bytes segment = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M',         0, 42, 0, 0, 0, 8,
                           0,    1,    1, 18, 0,   3,   0,   0,   0, 1, 0,   orientation, 0, 0,  0, 0, 0, 0};
    jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
    return jpeg;
}

class ToolFixture : public testing::Test {
  protected:
    void SetUp() override {
        folder.put("color.jpg", make_jpeg(37, 21, 3));
        folder.put("gray.jpg", make_jpeg(37, 21, 1));
        folder.put("bits.wbmp", vorel::test::wbmp(37, 21, Bytes(5 * 21, 0x94)));
    }
    // Runs and expects success without a word on standard error; what stands on standard output.
    std::string expect_ok(const std::string &line) {
        const ToolRun run = folder.run(line);
        EXPECT_EQ(run.status, 0) << line << ": " << run.err;
        EXPECT_EQ(run.err, "");
        return run.out;
    }

    // Runs and expects that status, one line on standard error that has `says` in it, and the folder as it was.
    void expect_refused(const std::string &line, int status, const std::string &says = "") {
        SCOPED_TRACE(line);
        const auto before = folder.snapshot();
        const ToolRun run = folder.run(line);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(run.err.rfind("vorel: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(says), std::string::npos) << run.err;
        EXPECT_TRUE(folder.snapshot() == before) << "files changed";
    }

    Pixels png(const std::string &name, bool alpha = false) const { return read_png(folder.path(name), alpha); }
    // The RGB of a PPM; nothing for other files.
    Pixels ppm(const std::string &name) const { return read_ppm(folder.get(name)); }

    ScratchFolder folder;
};

}  // namespace vorel_tests
