// The decodes under test over bytes in memory or in a file, into buffers that end at an unreadable page.
#pragma once

#include <vorel/png.h>

#include "png/images.h"
#include "png/model.h"

namespace vorel::test {

constexpr uint8_t kFill = 0x5A;

Decoded decode_whole(const Bytes &png, const WholeRequest &request, uint8_t fill = kFill, bool by_path = false);

// Owns a handle over bytes that it keeps.
class Regions {
  public:
    explicit Regions(const Bytes &png, int format = 7, bool by_path = false);
    ~Regions();
    Regions(const Regions &) = delete;
    Regions &operator=(const Regions &) = delete;

    vpng_tile_index *handle() { return handle_; }
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
