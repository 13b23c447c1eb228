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

// libpng's warnings go to standard error, which tests of damaged files would fill.
class QuietStderr {
  public:
    QuietStderr();
    ~QuietStderr();
    QuietStderr(const QuietStderr &) = delete;
    QuietStderr &operator=(const QuietStderr &) = delete;

  private:
    int kept_;
};

}  // namespace vorel::test
