// A file that appears under its name only when it is complete.
#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace vorel_tool {
namespace {

// The permissions that a plain open would give a new file.
mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(const std::string &path) : path_(path), target_(path) {
    mode_t mode = new_file_mode();
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
        // A rename would put a file in the place of a device, a pipe or a folder.
        if (!S_ISREG(status.st_mode)) throw Failure(path + ": is there and is not a regular file");
        mode = status.st_mode & 07777;
        if (char *resolved = realpath(path.c_str(), nullptr)) {
            target_ = resolved;
            std::free(resolved);
        }
    }
    temporary_ = target_ + ".XXXXXX";
    const int descriptor = mkstemp(temporary_.data());
    if (descriptor < 0) {
        temporary_.clear();
        fail(errno);
    }
    fchmod(descriptor, mode);
    stream_ = fdopen(descriptor, "wb");
    if (!stream_) {
        const int error = errno;
        close(descriptor);
        unlink(temporary_.c_str());
        fail(error);
    }
}

OutputFile::~OutputFile() {
    if (stream_) std::fclose(stream_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::write(const void *bytes, size_t count) {
    if (std::fwrite(bytes, 1, count, stream_) != count) fail(errno);
}

void OutputFile::commit() {
    FILE *stream = stream_;
    stream_ = nullptr;
    const bool flushed = std::fflush(stream) == 0 && !std::ferror(stream);
    const int error = errno;
    if (std::fclose(stream) != 0 || !flushed) fail(flushed ? errno : error);
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(errno);
    temporary_.clear();
}

void OutputFile::fail(int error) const { throw Failure(path_ + ": cannot be written: " + std::strerror(error)); }

}  // namespace vorel_tool
