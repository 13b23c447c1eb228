// The decodes under test over bytes in memory or in a file, into buffers that end at an unreadable page.
#pragma once

#include <png.h>
#include <vorel/png.h>

#include <optional>

#include "png/images.h"
#include "png/model.h"
#include "support/conformance.h"

namespace vorel::test {

constexpr uint8_t kFill = 0x5A;

Decoded decode_whole(const Bytes &png, const WholeRequest &request, uint8_t fill = kFill, bool by_path = false);

// The steps as they stand in the interface: libpng's transformations, each row straight into the output, as if skipped
// or read. Nothing for a picture of another size.
std::optional<Decoded> decode_by_steps(const Bytes &png, int width, int height);

// Of a decode and a region: what the harness compares.
Subject png_subject(const PngSpec &spec, const WholeRequest &request, const RegionRequest &region);

// The function's result; -1 when libpng jumped out of it.
template <typename Function>
int unless_jumped(png_structp png, const Function &function) {
    if (setjmp(png_jmpbuf(png))) return -1;
    return function();
}

// Owns a handle over bytes that it keeps.
class Regions {
  public:
    explicit Regions(const Bytes &png, int format = 7, bool by_path = false);
    ~Regions();
    Regions(const Regions &) = delete;
    Regions &operator=(const Regions &) = delete;

    vpng_tile_index *handle() { return handle_; }
    const char *path() const { return file_.path(); }  // of those by path
    explicit operator bool() const { return handle_ != nullptr; }
    Decoded decode(const RegionRequest &request);

  private:
    Bytes png_;
    TempFile file_;
    vpng_tile_index *handle_ = nullptr;
};

// A read object over a PNG in memory, opened by the library.
class Opened {
  public:
    explicit Opened(const Bytes &file) : bytes_(file) {
        good_ = onDecodeVPNGInit(&png, &info, bytes_.data(), vpng_read_fn, static_cast<int32_t>(bytes_.size())) != 0;
    }
    ~Opened() { vpng_destroy_read_struct(&png, &info, nullptr); }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;
    bool good() const { return good_; }
    const Bytes &bytes() const { return bytes_; }

    png_structp png = nullptr;
    png_infop info = nullptr;

  private:
    Bytes bytes_;
    bool good_;
};

}  // namespace vorel::test
