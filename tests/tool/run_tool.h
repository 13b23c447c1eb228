// Running the program in a folder of its own, and the pictures that it is given.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vorel_tests {

using Bytes = std::vector<uint8_t>;

struct ToolRun {
    int status = -1;  // exit status; 128 + signal when a signal ended it
    std::string out, err;
    bool has_terminal = true;  // of run_until: false where the machine has no pseudo-terminals
};

// A folder that is removed with everything in it.
class ScratchFolder {
  public:
    ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;
    ~ScratchFolder();

    std::string path(const std::string &name) const { return (root_ / name).string(); }
    void put(const std::string &name, const Bytes &bytes) const;
    Bytes get(const std::string &name) const;
    // Every file with its bytes: two snapshots are equal when nothing has changed.
    std::map<std::string, Bytes> snapshot() const;

    // Runs the program in this folder with the arguments of a line, with standard output and error kept.
    ToolRun run(const std::string &line) const;
    // Runs it with standard error on a terminal and interrupts it (SIGINT) as soon as `text` has appeared there.
    ToolRun run_until(const std::string &line, const std::string &text) const;

  private:
    std::filesystem::path root_;
};

// A smooth picture in colour (components 3) or gray (1), sampled 4:4:4.
Bytes make_jpeg(int width, int height, int components);
struct Pixels {
    int width = 0, height = 0;
    Bytes rgb;
    bool operator==(const Pixels &) const = default;
};
// With three bytes a pixel, or four.
Pixels read_png(const std::string &path, bool alpha = false);
Pixels read_ppm(const Bytes &bytes);
// A rectangle of it.
Pixels cut_out(const Pixels &whole, int x, int y, int width, int height);

}  // namespace vorel_tests
