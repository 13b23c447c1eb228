#include "raster/wbmp_model.h"

#include <utility>

namespace vorel::test {
namespace {

constexpr uint32_t kSample = 0x3F3F3F;

// A sample line or column: where it stands, in units where one source row or column is `scale` long.
struct Line {
    int64_t position;
    int32_t index;

    bool within(int32_t row, int32_t scale) const {
        return position >= int64_t{row} * scale && position < int64_t{row + 1} * scale;
    }
    void advance(int32_t extent) {
        position += extent;
        ++index;
    }
};

class Walk {
  public:
    Walk(const WbmpPicture &picture, int32_t out_width, int32_t out_height)
        : picture_(picture), out_width_(out_width), out_height_(out_height), sums_{row(), row()} {}

    // The sums of the output rows, from the top.
    std::vector<std::vector<uint32_t>> run() {
        Line a = {picture_.height >> 2, 0}, b = {picture_.height * 3 >> 2, 0};
        int row_a = 0, row_b = 0;  // which accumulator each line adds to
        for (int32_t y = 0; static_cast<int32_t>(out_.size()) < out_height_;) {
            const bool has_a = a.within(y, out_height_), has_b = b.within(y, out_height_);
            if (has_a && has_b) {
                sample(y, true, {row_a, row_b});
                emit(row_b);
                a.advance(picture_.height);
                b.advance(picture_.height);
                std::swap(row_a, row_b);
            } else if (has_a) {
                sample_a_alone(y, row_a);
                a.advance(picture_.height);
                row_a ^= 1;
            } else if (has_b) {
                sample(y, false, {row_b, row_b});
                emit(row_b);
                b.advance(picture_.height);
                row_b ^= 1;
            } else {
                ++y;
            }
        }
        return out_;
    }

  private:
    struct Rows {
        int first, second;
    };

    std::vector<uint32_t> row() const { return std::vector<uint32_t>(static_cast<std::size_t>(out_width_)); }

    void add(int which, int32_t index, int32_t x, int32_t y) {
        if (index < out_width_ && picture_.white(x, y)) sums_[which][static_cast<std::size_t>(index)] += kSample;
    }

    // Both sample columns, into one accumulator or into both.
    void sample(int32_t y, bool into_both, Rows rows) {
        Line a = {picture_.width >> 2, 0}, b = {picture_.width * 3 >> 2, 0};
        for (int32_t x = 0; x < picture_.width;) {
            Line *hit = a.within(x, out_width_) ? &a : b.within(x, out_width_) ? &b : nullptr;
            if (!hit) {
                ++x;
                continue;
            }
            add(rows.first, hit->index, x, y);
            if (into_both) add(rows.second, hit->index, x, y);
            hit->advance(picture_.width);
        }
    }

    void sample_a_alone(int32_t y, int which) {
        Line a = {picture_.width >> 2, 0}, b = {picture_.width * 3 >> 2, 0};
        for (int32_t x = 0; x < picture_.width;) {
            if (a.within(x, out_width_)) {
                add(which, a.index, x, y);
                add(which, b.index, x, y);
                a.advance(picture_.width);
                b.advance(picture_.width);
            } else if (b.within(x, out_width_)) {
                add(which, b.index, x, y);
                b.advance(picture_.width);
            } else {
                ++x;
            }
        }
    }

    void emit(int which) {
        out_.push_back(sums_[which]);
        sums_[which] = row();
    }

    const WbmpPicture &picture_;
    int32_t out_width_, out_height_;
    std::vector<uint32_t> sums_[2];
    std::vector<std::vector<uint32_t>> out_;
};

void put(uint8_t *pixel, int32_t format, uint32_t sum) {
    const uint32_t red = sum >> 16 & 0xFF, green = sum >> 8 & 0xFF, blue = sum & 0xFF;
    if (format == 0) {
        const uint32_t word = (sum >> 19 & 31) << 11 | (sum >> 10 & 63) << 5 | (sum >> 3 & 31);
        pixel[0] = static_cast<uint8_t>(word);
        pixel[1] = static_cast<uint8_t>(word >> 8);
        return;
    }
    pixel[0] = static_cast<uint8_t>(red);
    pixel[1] = static_cast<uint8_t>(green);
    pixel[2] = static_cast<uint8_t>(blue);
    if (format != 1) pixel[3] = 255;
}

}  // namespace

int32_t wbmp_pixel_bytes(int32_t format) { return format == 0 ? 2 : format == 1 ? 3 : 4; }

std::vector<uint8_t> model_wbmp(const WbmpPicture &picture, const WbmpTarget &target, std::vector<uint8_t> before,
                                int32_t *out_width, int32_t *out_height) {
    int32_t width = target.width, height = target.height;
    bool direct = false;
    if (!target.stretch) {
        if (picture.width <= target.width && picture.height <= target.height) {
            width = picture.width;
            height = picture.height;
            direct = true;
        } else if (static_cast<double>(picture.width) / target.width >=
                   static_cast<double>(picture.height) / target.height) {
            height = target.width * picture.height / picture.width;
        } else {
            width = target.height * picture.width / picture.height;
        }
    }
    *out_width = width;
    *out_height = height;
    if (width == 0 || height == 0) {
        *out_width = *out_height = 0;
        return before;
    }
    const int32_t left = (target.width - width + 1) / 2, top = (target.height + 1 - height) / 2;
    const int32_t bytes = wbmp_pixel_bytes(target.format);
    std::vector<std::vector<uint32_t>> sums;
    if (!direct) sums = Walk(picture, width, height).run();
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            uint8_t *pixel = &before[static_cast<std::size_t>(((top + y) * target.width + left + x) * bytes)];
            if (!direct) {
                put(pixel, target.format, sums[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)]);
                continue;
            }
            const bool white = picture.white(x, y);
            put(pixel, target.format, white ? 0xFFFFFF : 0);
            if (target.format == 0 && white) pixel[0] = 0xDF;
        }
    }
    return before;
}

}  // namespace vorel::test
