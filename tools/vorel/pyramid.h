// A picture at all sizes of the Deep Zoom format at once: its rows come in from the top, and each level passes its own
// on at half the size. Of every level there is no more in memory than the strips that are being filled and cut.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace vorel_tool {

// Tiles of a level begin at multiples of side and reach over into their neighbours by so many pixels.
struct TileGrid {
    int32_t side, overlap;
};

// Rows or columns.
struct Span {
    int32_t first, count;
    int32_t end() const { return first + count; }
};

// What tile `index` of a level covers along a side of so many pixels, overlap included.
Span tile_span(const TileGrid &grid, int32_t index, int32_t pixels);

// Level 0 is one pixel, each other one has twice the size of the one below, the last is the picture.
struct PyramidLevel {
    int32_t number;
    int32_t width, height;  // pixels
    int32_t columns, rows;  // tiles
};
// The last level first.
std::vector<PyramidLevel> pyramid_levels(int32_t width, int32_t height, const TileGrid &grid);

constexpr size_t kPixelBytes = 4;  // R, G, B, A

// Some rows of a row of tiles, as wide as the level.
struct Strip {
    PyramidLevel level;
    int32_t tile_row;
    Span tile_rows;         // all rows of that row of tiles
    Span rows;              // those of this strip
    int32_t number, count;  // strips of the row of tiles come in order
    std::shared_ptr<const uint8_t> pixels;
};

// Buffers of one size, used again. Lives in a shared_ptr, and as long as one of them is out.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
  public:
    explicit BufferPool(size_t bytes) : bytes_(bytes) {}
    // Goes back with its last owner, on any thread.
    std::shared_ptr<uint8_t> take();

  private:
    size_t bytes_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<uint8_t[]>> all_;
    std::vector<uint8_t *> free_;
};

class Pyramid {
  public:
    using Visitor = std::function<void(const Strip &)>;

    // Strips have strip_rows rows, the last of a row of tiles may have fewer or, by less than twice the overlap, more.
    Pyramid(const std::vector<PyramidLevel> &levels, const TileGrid &grid, int32_t strip_rows, Visitor visit);
    ~Pyramid();

    // Where the next rows of the picture go, and how many at most (at least 1, until the picture is complete). The row
    // above that place and the one below the last may be written too: with the picture's own rows, or with anything
    // where the picture has none.
    uint8_t *place(int32_t *rows);
    // So many have been put there.
    void filled(int32_t rows);

  private:
    class Level;
    std::vector<std::unique_ptr<Level>> levels_;
};

// The means of 2 x 2 pixels, rounded; width of the two rows. The last pixel of an odd row stands for two.
void halve_rows(const uint8_t *upper, const uint8_t *lower, int32_t width, uint8_t *out);

}  // namespace vorel_tool
