// What the fuzz targets share: options from the end of the input, the same bytes as every kind of input, and looking at
// what came out.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <vorel/frame.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace vorel::fuzz {

// Options are taken from the end, so that the file begins where files begin and seeds stay readable.
class Options {
  public:
    Options(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    // 0 when the input is used up.
    uint8_t byte() { return size_ == 0 ? uint8_t{0} : data_[--size_]; }
    uint32_t below(uint32_t limit) { return limit == 0 ? 0 : (uint32_t{byte()} << 8 | byte()) % limit; }

    const uint8_t *data() const { return data_; }
    size_t size() const { return size_; }

  private:
    const uint8_t *data_;
    size_t size_;
};

[[noreturn]] inline void fail(const char *what) {
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

inline void require(bool holds, const char *what) {
    if (!holds) fail(what);
}

// Reads every byte, so that the sanitizers see it.
inline void touch(const void *bytes, size_t size) {
    uint8_t all = 0;
    for (size_t i = 0; i < size; ++i) all = static_cast<uint8_t>(all + static_cast<const uint8_t *>(bytes)[i]);
    asm volatile("" : : "r"(all));  // keeps the loop
}

// A file without a place in the file system, with a path all the same.
class MemoryFile {
  public:
    MemoryFile(const uint8_t *data, size_t size) : descriptor_(memfd_create("fuzz", 0)) {
        if (descriptor_ < 0 || write(descriptor_, data, size) != static_cast<ssize_t>(size)) fail("no memory file");
        path_ = "/proc/self/fd/" + std::to_string(descriptor_);
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    char *path() { return path_.data(); }

  private:
    int descriptor_;
    std::string path_;
};

// Callbacks over the bytes; a read delivers at most `chunk` of them.
struct ByteStream {
    const uint8_t *data;
    size_t size;
    size_t chunk;
    size_t position = 0;

    static int32_t read(void *context, void *destination, int32_t count) {
        auto *self = static_cast<ByteStream *>(context);
        size_t come = self->size - self->position;
        if (come > static_cast<size_t>(count)) come = static_cast<size_t>(count);
        if (come > self->chunk) come = self->chunk;
        if (come > 0) std::memcpy(destination, self->data + self->position, come);
        self->position += come;
        return static_cast<int32_t>(come);
    }
    static int32_t skip(void *context, int32_t, int32_t count) {
        auto *self = static_cast<ByteStream *>(context);
        const size_t left = self->size - self->position;
        self->position += count < 0 ? 0 : static_cast<size_t>(count) < left ? static_cast<size_t>(count) : left;
        return static_cast<int32_t>(self->position);
    }
    static int32_t rewind(void *context, int32_t, int32_t) {
        static_cast<ByteStream *>(context)->position = 0;
        return 0;
    }

    DecInfo *open(bool with_rewind, int32_t color_format = 0, uint32_t options = 0) {
        return VORELBRIM_CreateDecInfoWithStream(this, static_cast<int32_t>(size), read, skip,
                                                 with_rewind ? rewind : nullptr, color_format, options);
    }
};

// A session over a private copy of the bytes, so that every read outside them is seen.
class MemorySession {
  public:
    MemorySession(const uint8_t *data, size_t size, int32_t color_format = 0, uint32_t options = 0)
        : bytes_(new uint8_t[size ? size : 1]) {
        if (size > 0) std::memcpy(bytes_, data, size);
        session_ = VORELBRIM_CreateDecInfo(1, bytes_, static_cast<int32_t>(size), color_format, options);
    }
    ~MemorySession() {
        if (session_) VORELBRIM_DestroyDecInfo(session_);
        delete[] bytes_;
    }
    MemorySession(const MemorySession &) = delete;
    MemorySession &operator=(const MemorySession &) = delete;

    DecInfo *get() const { return session_; }

  private:
    uint8_t *bytes_;
    DecInfo *session_;
};

}  // namespace vorel::fuzz
