// A deflated tile, row by row (RFC 1950).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vorel {

class InflateRows {
  public:
    // data stays the caller's. Throws std::bad_alloc.
    InflateRows(const uint8_t *data, size_t length);
    ~InflateRows();
    InflateRows(const InflateRows &) = delete;
    InflateRows &operator=(const InflateRows &) = delete;

    // The next bytes of the tile; false when the stream is damaged, ends before, or there is no zlib in this build.
    bool next(uint8_t *row, size_t bytes);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vorel
