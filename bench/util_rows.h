// The rows of the table of utilities: our function and the peer's nearest one over the same frames.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vorel_bench {

struct UtilRow {
    std::string name;
    std::function<void()> ours, peer;
    size_t bytes;  // read and written by ours at the least
    bool threads;  // ours runs on several
};

// Frames for all rows of one size: big enough for any layout, and noise.
class UtilFrames {
  public:
    UtilFrames(int width, int height);
    int width() const { return width_; }
    int height() const { return height_; }
    size_t pixels() const { return static_cast<size_t>(width_) * static_cast<size_t>(height_); }
    const uint8_t *source() const { return source_.data(); }
    uint8_t *out() { return out_.data(); }
    uint8_t *peer_out() { return peer_out_.data(); }

  private:
    int width_, height_;
    std::vector<uint8_t> source_, out_, peer_out_;
};

// Converters, rotations and resizers in one thread against the peer.
std::vector<UtilRow> peer_rows(UtilFrames &frames);
// The forms on a pool (ours) against the same in one thread (peer).
std::vector<UtilRow> pool_rows(UtilFrames &frames);

}  // namespace vorel_bench
