// A file that appears under its name only when it is complete.
#pragma once

#include <cstdio>
#include <string>

namespace vorel_tool {

// Writes go to a temporary file in the same folder; commit() gives it the name, replacing what stood there. Without a
// commit nothing is left behind and an older file stays as it is. Failures are thrown as Failure.
class OutputFile {
  public:
    explicit OutputFile(const std::string &path);
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    ~OutputFile();

    FILE *stream() { return stream_; }
    void write(const void *bytes, size_t count);
    void commit();

  private:
    [[noreturn]] void fail(int error) const;

    std::string path_;    // the name asked for, for messages
    std::string target_;  // the file itself, where the name is a symbolic link
    std::string temporary_;
    FILE *stream_ = nullptr;
};

}  // namespace vorel_tool
