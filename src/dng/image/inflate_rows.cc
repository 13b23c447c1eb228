#include "dng/image/inflate_rows.h"

#if VOREL_HAS_ZLIB
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace vorel {

struct InflateRows::State {
    z_stream stream = {};
    size_t left = 0;  // input behind what the stream was given
};

InflateRows::InflateRows(const uint8_t *data, size_t length) : state_(std::make_unique<State>()) {
    state_->stream.next_in = const_cast<Bytef *>(data);
    state_->left = length;
    if (inflateInit(&state_->stream) != Z_OK) throw std::bad_alloc();
}

InflateRows::~InflateRows() { inflateEnd(&state_->stream); }

bool InflateRows::next(uint8_t *row, size_t bytes) {
    constexpr size_t kMost = std::numeric_limits<uInt>::max();
    z_stream &stream = state_->stream;
    stream.next_out = row;
    stream.avail_out = static_cast<uInt>(bytes);  // a row is far below 4 GB
    while (stream.avail_out != 0) {
        const uInt more = static_cast<uInt>(std::min(state_->left, kMost - stream.avail_in));
        stream.avail_in += more;
        state_->left -= more;
        if (inflate(&stream, Z_NO_FLUSH) != Z_OK) break;
    }
    return stream.avail_out == 0;
}

}  // namespace vorel
#else
namespace vorel {

struct InflateRows::State {};

InflateRows::InflateRows(const uint8_t *, size_t) {}
InflateRows::~InflateRows() = default;
bool InflateRows::next(uint8_t *, size_t) { return false; }

}  // namespace vorel
#endif
