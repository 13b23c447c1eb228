// What the fuzz targets share: options from the last bytes of the input, sessions over it, outputs that are read.
#pragma once

#include <vorel/frame.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace vorel_fuzz {

using Bytes = std::vector<uint8_t>;

// The input: a picture, and behind it the bytes that choose what is done with it.
class Case {
  public:
    Case(const uint8_t *data, size_t size, size_t option_bytes);

    // The next of the option bytes; 0 when the input is too short to have any.
    uint32_t option();
    const Bytes &picture() const { return picture_; }

  private:
    Bytes picture_, options_;
};

// How the library gets the picture. A slow stream delivers less than it is asked for.
enum class Source { kMemory, kOwnedMemory, kPath, kStdio, kStream, kSlowStream };

// Owns a session over the picture; get() is null when the library makes none.
class Session {
  public:
    Session(const Bytes &picture, Source source, int32_t format, uint32_t options);
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session();

    DecInfo *get() { return session_; }

  private:
    static int32_t read(void *self, void *destination, int32_t count);
    static int32_t skip(void *self, int32_t zero, int32_t count);
    static int32_t rewind(void *self, int32_t zero1, int32_t zero2);

    // A file without a place in the file system; its path.
    const char *write_file();

    Bytes bytes_;  // a copy of its own, so that a read past the end is seen
    size_t at_ = 0;
    size_t most_ = SIZE_MAX;  // bytes a read delivers
    int descriptor_ = -1;
    char path_[32];
    FILE *stdio_ = nullptr;
    DecInfo *session_ = nullptr;
};

// Bytes of a target of that size in a layout (COLOR_...); 0 for numbers that are no layout.
size_t target_bytes(int32_t format, int32_t width, int32_t height);

// Ends the process with a message: a property does not hold.
void require(bool holds, const char *property);

}  // namespace vorel_fuzz
