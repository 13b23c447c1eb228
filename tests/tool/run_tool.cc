// Running the program in a folder of its own, and the pictures that it is given.
#include "run_tool.h"

#include <fcntl.h>
#include <png.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "oracle/turbo.h"

namespace vorel_tests {
namespace fs = std::filesystem;
namespace {

using vorel::test::read_file;
std::string text_of(const Bytes &bytes) { return std::string(bytes.begin(), bytes.end()); }

[[noreturn]] void become_tool(const fs::path &folder, const std::string &line) {
    std::istringstream words("vorel " + line);
    std::vector<std::string> arguments(std::istream_iterator<std::string>(words), {});
    std::vector<char *> list;
    for (std::string &argument : arguments) list.push_back(argument.data());
    list.push_back(nullptr);
    if (chdir(folder.c_str()) == 0) execv(VOREL_TOOL_PATH, list.data());
    _exit(127);
}

void redirect(int descriptor, const fs::path &path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, descriptor);
}

int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Reads the terminal until the child has closed it; interrupts the child once `text` has been read. A silent minute
// ends the child.
std::string watch_terminal(int terminal, pid_t child, const std::string &text) {
    std::string seen;
    bool interrupted = false;
    char block[4096];
    for (;;) {
        pollfd wait = {terminal, POLLIN, 0};
        if (poll(&wait, 1, 60000) <= 0) kill(child, SIGKILL);
        const ssize_t count = read(terminal, block, sizeof block);
        if (count <= 0) return seen;
        seen.append(block, static_cast<size_t>(count));
        if (!interrupted && seen.find(text) != std::string::npos) {
            interrupted = true;
            kill(child, SIGINT);
        }
    }
}

}  // namespace

ScratchFolder::ScratchFolder() {
    std::string name = (fs::temp_directory_path() / "vorel_tool_test.XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no scratch folder");
    root_ = name;
    fs::create_directory(root_ / "work");
    root_ /= "work";
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(root_.parent_path(), ignored);
}

void ScratchFolder::put(const std::string &name, const Bytes &bytes) const {
    std::ofstream file(root_ / name, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes ScratchFolder::get(const std::string &name) const { return read_file(root_ / name); }

std::map<std::string, Bytes> ScratchFolder::snapshot() const {
    std::map<std::string, Bytes> files;
    for (const auto &entry : fs::recursive_directory_iterator(root_))
        files[entry.path().string()] = entry.is_regular_file() ? read_file(entry.path()) : Bytes();
    return files;
}

ToolRun ScratchFolder::run(const std::string &line) const {
    const fs::path out = root_.parent_path() / "out", err = root_.parent_path() / "err";
    const pid_t child = fork();
    if (child == 0) {
        redirect(STDOUT_FILENO, out);
        redirect(STDERR_FILENO, err);
        become_tool(root_, line);
    }
    const int status = wait_for(child);
    return {status, text_of(read_file(out)), text_of(read_file(err))};
}

ToolRun ScratchFolder::run_until(const std::string &line, const std::string &text) const {
    int terminal, inner;
    if (openpty(&terminal, &inner, nullptr, nullptr, nullptr) != 0) return {-1, "", "", false};
    const pid_t child = fork();
    if (child == 0) {
        dup2(inner, STDERR_FILENO);
        close(inner);
        close(terminal);
        redirect(STDOUT_FILENO, "/dev/null");
        become_tool(root_, line);
    }
    close(inner);
    ToolRun run;
    run.err = watch_terminal(terminal, child, text);
    run.status = wait_for(child);
    close(terminal);
    return run;
}

Bytes make_jpeg(int width, int height, int components) {
    vorel::test::PictureSpec spec = vorel::test::sized(width, height, 1, 1);
    if (components == 1) spec.colour = vorel::test::Colour::kGray;
    spec.quality = 95;
    spec.smooth = true;
    return vorel::test::turbo_picture(spec);
}

Pixels read_png(const std::string &path, bool alpha) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return {};
    image.format = alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    Pixels pixels = {static_cast<int>(image.width), static_cast<int>(image.height), Bytes(PNG_IMAGE_SIZE(image))};
    return png_image_finish_read(&image, nullptr, pixels.rgb.data(), 0, nullptr) ? pixels : Pixels();
}

Pixels read_ppm(const Bytes &bytes) {
    Pixels pixels;
    int header = 0;
    const std::string text = text_of(bytes).substr(0, 64);
    if (std::sscanf(text.c_str(), "P6\n%d %d\n255%n", &pixels.width, &pixels.height, &header) == 2)
        pixels.rgb.assign(bytes.begin() + header + 1, bytes.end());
    return pixels;
}

Pixels cut_out(const Pixels &whole, int x, int y, int width, int height) {
    Pixels out = {width, height, {}};
    for (int row = y; row < y + height; ++row) {
        const auto at = whole.rgb.begin() + (row * whole.width + x) * 3;
        out.rgb.insert(out.rgb.end(), at, at + width * 3);
    }
    return out;
}

}  // namespace vorel_tests
