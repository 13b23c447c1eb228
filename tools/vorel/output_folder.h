// A folder that appears under its name only when it is complete.
#pragma once

#include <string>

namespace vorel_tool {

// Files go to a temporary folder beside it; commit() gives it the name, which must be free or that of an empty folder.
// Without a commit nothing is left behind. Failures are thrown as Failure.
class OutputFolder {
  public:
    explicit OutputFolder(const std::string &path);
    OutputFolder(const OutputFolder &) = delete;
    OutputFolder &operator=(const OutputFolder &) = delete;
    ~OutputFolder();

    // The path of a file in it for now.
    std::string file(const std::string &name) const { return temporary_ + "/" + name; }
    void add_folder(const std::string &name);
    void commit();

  private:
    [[noreturn]] void fail(int error) const;

    std::string path_, temporary_;
};

}  // namespace vorel_tool
