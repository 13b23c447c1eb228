// The same bytes as every kind of input, and buffers whose neighbours must not be touched.
#pragma once

#include <vorel/frame.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vorel::test {

using Bytes = std::vector<uint8_t>;

Bytes read_file(const std::filesystem::path &path);

// A file that goes with its object.
class TempFile {
  public:
    explicit TempFile(const Bytes &bytes = {});
    ~TempFile();
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    const char *path() const { return path_.c_str(); }
    char *path() { return path_.data(); }

  private:
    std::string path_;
};

// `size` bytes that end at a page which cannot be touched.
class GuardBuffer {
  public:
    explicit GuardBuffer(size_t size, uint8_t fill = 0);
    explicit GuardBuffer(const Bytes &bytes);
    ~GuardBuffer();
    GuardBuffer(const GuardBuffer &) = delete;
    GuardBuffer &operator=(const GuardBuffer &) = delete;

    uint8_t *data() { return data_; }
    size_t size() const { return size_; }
    Bytes bytes() const { return Bytes(data_, data_ + size_); }

  private:
    void *map_;
    size_t map_bytes_, size_;
    uint8_t *data_;
};

// Read, skip and rewind callbacks over a vector. A read delivers at most `chunk` bytes.
struct StreamSource {
    explicit StreamSource(Bytes data, int32_t most = INT32_MAX) : bytes(std::move(data)), chunk(most) {}

    static int32_t read(void *context, void *destination, int32_t count);
    static int32_t skip(void *context, int32_t zero, int32_t count);
    static int32_t rewind(void *context, int32_t zero1, int32_t zero2);

    int32_t size() const { return static_cast<int32_t>(bytes.size()); }
    DecInfo *open(int32_t color_format = 0, uint32_t options = 0, bool with_rewind = true);

    Bytes bytes;
    int32_t chunk;
    size_t position = 0;
};

enum class Kind { kPath, kMemory, kStdio, kStream, kOwnedMemory };
constexpr Kind kAllKinds[] = {Kind::kPath, Kind::kMemory, Kind::kStdio, Kind::kStream, Kind::kOwnedMemory};

// A session over one kind of input, with whatever stands behind it.
class Input {
  public:
    Input(Kind kind, const Bytes &bytes, int32_t color_format = 0, uint32_t options = 0);
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    // Null when it did not open.
    DecInfo *session() { return session_; }

  private:
    std::optional<TempFile> file_;
    std::optional<GuardBuffer> memory_;
    std::optional<StreamSource> stream_;
    FILE *stdio_ = nullptr;
    DecInfo *session_ = nullptr;
};

// A session that is destroyed with its scope. Frees the record that the library leaves behind for kind 5.
class SessionGuard {
  public:
    explicit SessionGuard(DecInfo *session) : session_(session) {}
    ~SessionGuard();
    SessionGuard(const SessionGuard &) = delete;
    SessionGuard &operator=(const SessionGuard &) = delete;
    DecInfo *get() const { return session_; }
    DecInfo *operator->() const { return session_; }
    explicit operator bool() const { return session_ != nullptr; }

  private:
    DecInfo *session_;
};

// What a session says of its progress, and the answer that it gets.
struct ProgressCalls {
    int32_t answer = 1;
    std::vector<int32_t> percents = {};

    // The session owns its record.
    void attach(DecInfo *session);
};

// Has the next decode of a session make a window of its output.
void set_window(DecInfo *session, uint32_t x, uint32_t y, uint32_t width, uint32_t height);

int open_descriptors();

}  // namespace vorel::test
