#include "pyramid.h"

#include <algorithm>
#include <cstring>

namespace vorel_tool {

Span tile_span(const TileGrid &grid, int32_t index, int32_t pixels) {
    const int32_t first = std::max(0, index * grid.side - grid.overlap);
    return {first, std::min(pixels, (index + 1) * grid.side + grid.overlap) - first};
}

std::vector<PyramidLevel> pyramid_levels(int32_t width, int32_t height, const TileGrid &grid) {
    const auto tiles = [&](int32_t pixels) { return (pixels + grid.side - 1) / grid.side; };
    std::vector<PyramidLevel> levels;
    for (;; width = (width + 1) / 2, height = (height + 1) / 2) {
        levels.push_back({0, width, height, tiles(width), tiles(height)});
        if (width == 1 && height == 1) break;
    }
    for (size_t i = 0; i < levels.size(); ++i) levels[i].number = static_cast<int32_t>(levels.size() - 1 - i);
    return levels;
}

std::shared_ptr<uint8_t> BufferPool::take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (free_.empty()) {
        all_.push_back(std::make_unique_for_overwrite<uint8_t[]>(bytes_));
        free_.reserve(all_.size());  // giving back needs no memory
        free_.push_back(all_.back().get());
    }
    uint8_t *buffer = free_.back();
    free_.pop_back();
    return {buffer, [pool = shared_from_this()](uint8_t *back) {
                const std::lock_guard<std::mutex> relock(pool->mutex_);
                pool->free_.push_back(back);
            }};
}

void halve_rows(const uint8_t *upper, const uint8_t *lower, int32_t width, uint8_t *out) {
    // Two channels at a time in halves of a word: four bytes add up to less than 16 bits.
    constexpr uint32_t kEven = 0x00FF00FF, kRounding = 0x00020002;
    for (int32_t x = 0; x < width / 2; ++x, upper += 2 * kPixelBytes, lower += 2 * kPixelBytes, out += kPixelBytes) {
        uint32_t a, b, c, d;
        std::memcpy(&a, upper, 4);
        std::memcpy(&b, upper + 4, 4);
        std::memcpy(&c, lower, 4);
        std::memcpy(&d, lower + 4, 4);
        const uint32_t even = (a & kEven) + (b & kEven) + (c & kEven) + (d & kEven) + kRounding;
        const uint32_t odd = (a >> 8 & kEven) + (b >> 8 & kEven) + (c >> 8 & kEven) + (d >> 8 & kEven) + kRounding;
        const uint32_t mean = (even >> 2 & kEven) | (odd >> 2 & kEven) << 8;
        std::memcpy(out, &mean, 4);
    }
    if (width % 2 == 0) return;
    for (size_t i = 0; i < kPixelBytes; ++i) out[i] = static_cast<uint8_t>((2 * upper[i] + 2 * lower[i] + 2) >> 2);
}

class Pyramid::Level {
  public:
    Level(const PyramidLevel &size, const TileGrid &grid, int32_t strip_rows, Level *below, const Visitor &visit)
        : size_(size),
          grid_(grid),
          strip_rows_(strip_rows),
          least_last_(std::max(1, 2 * grid.overlap)),
          row_bytes_(static_cast<size_t>(size.width) * kPixelBytes),
          // The row above, the rows, those that the last strip may have more, the row below.
          pool_(std::make_shared<BufferPool>(row_bytes_ * static_cast<size_t>(1 + strip_rows + least_last_ + 1))),
          below_(below),
          visit_(visit) {
        begin_strip();
    }

    uint8_t *place(int32_t *rows) {
        *rows = strip_.rows.end() - next_;
        return row(next_);
    }

    void filled(int32_t rows) {
        if (below_) {
            for (int32_t y = next_; y < next_ + rows; ++y) {
                if (y % 2 == 1) halve(y - 1, y);
                if (y % 2 == 0 && y == size_.height - 1) halve(y, y);
            }
        }
        next_ += rows;
        // The next row of tiles may be all there: the overlap of this one.
        while (next_ == strip_.rows.end()) {
            strip_.pixels = {buffer_, row(strip_.rows.first)};
            visit_(strip_);
            strip_.pixels.reset();
            if (strip_.number + 1 == strip_.count && strip_.tile_row + 1 == size_.rows) {
                buffer_.reset();
                return;
            }
            end_strip();
        }
    }

  private:
    uint8_t *row(int32_t y) const {
        return buffer_.get() + static_cast<size_t>(y - strip_.rows.first + 1) * row_bytes_;
    }

    void halve(int32_t upper, int32_t lower) {
        int32_t ignored;
        halve_rows(row(upper), row(lower), size_.width, below_->place(&ignored));
        below_->filled(1);
    }

    void begin_strip() {
        const Span all = tile_span(grid_, strip_.tile_row, size_.height);
        strip_.level = size_;
        strip_.tile_rows = all;
        strip_.count = 1 + std::max(0, all.count - least_last_) / strip_rows_;
        const int32_t first = all.first + strip_.number * strip_rows_;
        strip_.rows = {first, strip_.number + 1 == strip_.count ? all.end() - first : strip_rows_};
        buffer_ = pool_->take();
    }

    // Goes over to the next strip, which gets what it has in common with this one: the overlap, or the row above it.
    void end_strip() {
        const std::shared_ptr<uint8_t> buffer = buffer_;
        const int32_t first = strip_.rows.first;
        if (++strip_.number == strip_.count) {
            strip_.number = 0;
            ++strip_.tile_row;
        }
        begin_strip();
        const int32_t from = std::min(strip_.rows.first, next_ - 1);
        std::memcpy(row(from), buffer.get() + static_cast<size_t>(from - first + 1) * row_bytes_,
                    static_cast<size_t>(next_ - from) * row_bytes_);
    }

    const PyramidLevel size_;
    const TileGrid grid_;
    const int32_t strip_rows_, least_last_;
    const size_t row_bytes_;
    const std::shared_ptr<BufferPool> pool_;
    Level *below_;
    const Visitor visit_;
    Strip strip_ = {};
    std::shared_ptr<uint8_t> buffer_;
    int32_t next_ = 0;
};

Pyramid::Pyramid(const std::vector<PyramidLevel> &levels, const TileGrid &grid, int32_t strip_rows, Visitor visit)
    : levels_(levels.size()) {
    for (size_t i = levels.size(); i-- > 0;)
        levels_[i] = std::make_unique<Level>(levels[i], grid, std::min(strip_rows, levels[i].height),
                                             i + 1 < levels.size() ? levels_[i + 1].get() : nullptr, visit);
}

Pyramid::~Pyramid() = default;

uint8_t *Pyramid::place(int32_t *rows) { return levels_.front()->place(rows); }

void Pyramid::filled(int32_t rows) { levels_.front()->filled(rows); }

}  // namespace vorel_tool
