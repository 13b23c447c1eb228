// Rectangles between buffers of different sizes.
#include <vorel/bindings_java.h>

#include <algorithm>
#include <cstring>

namespace vorel {
namespace {

// A stretch of `length` from `from` in one buffer and `to` in another, cut to both.
struct Stretch {
    int64_t from, to, length;

    Stretch(int32_t source_at, int32_t source_size, int32_t target_at, int32_t target_size, int32_t wanted) {
        const int64_t before = std::max({int64_t{0}, -int64_t{source_at}, -int64_t{target_at}});
        from = source_at + before;
        to = target_at + before;
        length = std::min({int64_t{wanted} - before, source_size - from, target_size - to});
    }
};

struct Pixels {
    uint8_t *data;
    int32_t width, height, bytes;  // of a pixel
    uint8_t *at(int64_t x, int64_t y) const { return data + (y * width + x) * bytes; }
};

bool is_buffer(const Pixels &pixels) {
    return pixels.data && pixels.width > 0 && pixels.height > 0 && pixels.bytes > 0;
}

// Of pixels of different sizes the bytes that both have.
bool copy_rectangle(const Pixels &to, int32_t to_x, int32_t to_y, const Pixels &from, int32_t from_x, int32_t from_y,
                    int32_t width, int32_t height) {
    if (!is_buffer(to) || !is_buffer(from)) return false;
    const Stretch across(from_x, from.width, to_x, to.width, width);
    const Stretch down(from_y, from.height, to_y, to.height, height);
    if (across.length <= 0 || down.length <= 0) return true;
    const size_t bytes = static_cast<size_t>(std::min(from.bytes, to.bytes));
    for (int64_t row = 0; row < down.length; ++row) {
        uint8_t *out = to.at(across.to, down.to + row);
        const uint8_t *in = from.at(across.from, down.from + row);
        if (from.bytes == to.bytes) {
            std::memcpy(out, in, static_cast<size_t>(across.length) * bytes);
            continue;
        }
        for (int64_t i = 0; i < across.length; ++i, out += to.bytes, in += from.bytes) std::memcpy(out, in, bytes);
    }
    return true;
}

uint8_t *source_bytes(const uint8_t *bytes) { return const_cast<uint8_t *>(bytes); }  // which are only read

}  // namespace
}  // namespace vorel

using namespace vorel;

extern "C" {

int32_t copySubImageBuffer(uint8_t *dst, int32_t dstWidth, int32_t dstHeight, int32_t dstBytesPerPixel, int32_t dstX,
                           int32_t dstY, const uint8_t *src, int32_t srcWidth, int32_t srcHeight,
                           int32_t srcBytesPerPixel, int32_t srcX, int32_t srcY, int32_t width, int32_t height) {
    return copy_rectangle({dst, dstWidth, dstHeight, dstBytesPerPixel}, dstX, dstY,
                          {source_bytes(src), srcWidth, srcHeight, srcBytesPerPixel}, srcX, srcY, width, height);
}

int32_t getSubImageBuffer(uint8_t *tile, int32_t tileWidth, int32_t tileHeight, const uint8_t *strip,
                          int32_t stripWidth, int32_t stripHeight, int32_t x, int32_t y, int32_t bytesPerPixel) {
    return copy_rectangle({tile, tileWidth, tileHeight, bytesPerPixel}, 0, 0,
                          {source_bytes(strip), stripWidth, stripHeight, bytesPerPixel}, x, y, tileWidth, tileHeight);
}

int32_t getSubImageBufferForYUV420(uint8_t *tile, int32_t tileWidth, int32_t tileHeight, const uint8_t *strip,
                                   int32_t stripWidth, int32_t stripHeight, int32_t x, int32_t y) {
    if (!getSubImageBuffer(tile, tileWidth, tileHeight, strip, stripWidth, stripHeight, x, y, 1)) return 0;
    // Behind luma stand the pairs, of two pixels in two rows each.
    const auto half = [](int32_t side) { return static_cast<int32_t>((int64_t{side} + 1) / 2); };
    const Pixels to = {tile + int64_t{tileWidth} * tileHeight, half(tileWidth), half(tileHeight), 2};
    const Pixels from = {source_bytes(strip) + int64_t{stripWidth} * stripHeight, half(stripWidth), half(stripHeight),
                         2};
    return copy_rectangle(to, 0, 0, from, x / 2, y / 2, to.width, to.height);
}

}  // extern "C"
