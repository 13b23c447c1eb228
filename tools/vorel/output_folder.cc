#include "output_folder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "failure.h"

namespace vorel_tool {

namespace fs = std::filesystem;

OutputFolder::OutputFolder(const std::string &path) : path_(path) {
    while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
    std::error_code error;
    if (fs::exists(path_, error) && (!fs::is_directory(path_, error) || !fs::is_empty(path_, error)))
        throw Failure(path + ": is there already");
    std::string name = path_ + ".XXXXXX";
    if (!mkdtemp(name.data())) fail(errno);
    temporary_ = name;
    const mode_t mask = umask(0);
    umask(mask);
    chmod(temporary_.c_str(), 0777 & ~mask);
}

OutputFolder::~OutputFolder() {
    std::error_code ignored;
    if (!temporary_.empty()) fs::remove_all(temporary_, ignored);
}

void OutputFolder::add_folder(const std::string &name) {
    if (mkdir(file(name).c_str(), 0777) != 0) fail(errno);
}

void OutputFolder::commit() {
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail(errno);
    temporary_.clear();
}

void OutputFolder::fail(int error) const { throw Failure(path_ + ": cannot be written: " + std::strerror(error)); }

}  // namespace vorel_tool
