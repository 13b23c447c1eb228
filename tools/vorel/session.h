// A decode session of the library over a file, reached in one of three ways.
#pragma once

#include <vorel/frame.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace vorel_tool {

// How the library gets the bytes: from memory that holds the whole file, from the path, or through callbacks.
enum class Source { kMemory, kFile, kStream };

// Owns the library's session and whatever its input needs. Failures are thrown with the path in front.
class Session {
  public:
    Session(const std::string &path, Source source, int32_t color_format, uint32_t options);
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    // Type, size and layout, from the first bytes; throws when the library takes it for no picture of its formats.
    ImageInfo parse();

    DecInfo *get() const { return session_; }
    int32_t type() const { return session_->imageType; }
    const std::string &path() const { return path_; }

  private:
    DecInfo *open(int32_t color_format, uint32_t options);

    struct FileCloser {
        void operator()(FILE *file) const { std::fclose(file); }
    };

    std::string path_;
    Source source_;
    int32_t size_ = 0;
    std::vector<uint8_t> bytes_;              // Source::kMemory
    std::unique_ptr<FILE, FileCloser> file_;  // Source::kStream
    DecInfo *session_ = nullptr;
};

// The Exif orientation of a JPEG, 1 to 8; 0 where it has none. The session decodes afterwards as before.
int32_t exif_orientation(Session &session);

const char *type_name(int32_t image_type);

// What the library's error word says of the last failure; empty when it says nothing.
std::string last_error();

// Sends the library's diagnostics to standard error.
void show_diagnostics();

}  // namespace vorel_tool
