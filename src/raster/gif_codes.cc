// The code stream of a GIF image: data sub-blocks to bits.
#include "raster/gif_codes.h"

#include <algorithm>

#include "raster/gif.h"

namespace vorel {

namespace {

// A file of many images without terminators would be read again and again. Looking back into a buffer costs what is
// parsed, beyond it another read.
constexpr int64_t kMostLookedAhead = int64_t{16} << 20;

int64_t position_of(const GifInput *input) { return int64_t{input->stream->position} - input->available; }

// Back to a position that was left before; false for a stream that cannot be rewound.
bool go_back(GifInput *input, int64_t position) {
    const int64_t distance = position_of(input) - position;
    if (distance <= input->cursor - input->buffer) {
        input->cursor -= distance;
        input->available += static_cast<int32_t>(distance);
        return true;
    }
    if (!is_memory(input->stream) && !is_file(input->stream) && !input->stream->rewindFn) return false;
    if (VORELBRIM_Seek_IO(input->stream, static_cast<int32_t>(position), SEEK_SET) < 0) return false;
    input->cursor = input->buffer;
    input->available = 0;
    return true;
}

}  // namespace

void GifCodes::start(GifInput *from) {
    input = from;
    now = {0, 0, staged, staged};
    terminated = false;
    sub_blocks = 0;
}

// How many of the sub-blocks at the end of what is staged no code has reached, and their bytes in the file.
int32_t GifCodes::unused_sub_blocks(int32_t *raw_bytes) const {
    int32_t unused = static_cast<int32_t>(now.end - now.at) + static_cast<int32_t>(now.count >> 3), count = 0;
    *raw_bytes = 0;
    while (count < sub_blocks && sizes[sub_blocks - 1 - count] <= unused) {
        const int32_t size = sizes[sub_blocks - 1 - count++];
        unused -= size;
        *raw_bytes += size + 1;
    }
    return count;
}

// Required: what follows the last code's sub-block are more of them only if they end in a terminator that something
// sensible stands behind. Else the terminator was lost, and what follows is no data.
void GifCodes::finish() {
    int32_t behind;
    unused_sub_blocks(&behind);
    const int64_t next = position_of(input) - behind - (terminated ? 1 : 0);
    const bool ended = terminated || gif_skip_sub_blocks(input);
    terminated = true;
    const bool sensible = ended && gif_at_block(input);
    looked_ahead += position_of(input) - next;
    if (sensible || looked_ahead > kMostLookedAhead) return;
    if (position_of(input) - next > input->cursor - input->buffer) looked_ahead += kGifBlockBytes;
    go_back(input, next);
}

// Takes in sub-blocks up to a terminator or as many as there is space for. False at the end of the input; what there is
// of a sub-block that is cut counts.
bool GifCodes::stage() {
    int32_t raw_bytes;
    const int32_t kept = std::min(sub_blocks, unused_sub_blocks(&raw_bytes) + 1);
    std::memmove(sizes, sizes + sub_blocks - kept, static_cast<size_t>(kept));
    sub_blocks = kept;
    int32_t kept_bytes = static_cast<int32_t>(now.end - now.at);
    std::memmove(staged, now.at, static_cast<size_t>(kept_bytes));
    bool more = true;
    while (more && !terminated) {
        more = BRIMI_CheckBuffer(input, 1);
        if (!more) break;
        const int32_t size = *input->cursor;
        if (kept_bytes + size > kStaged) break;
        ++input->cursor;
        --input->available;
        terminated = size == 0;
        if (terminated) break;
        more = BRIMI_CheckBuffer(input, size);
        const int32_t came = std::min(size, input->available);
        std::memcpy(staged + kept_bytes, input->cursor, static_cast<size_t>(came));
        input->cursor += came;
        input->available -= came;
        kept_bytes += came;
        sizes[sub_blocks++] = static_cast<uint8_t>(came);
    }
    now.at = staged;
    now.end = staged + kept_bytes;
    return more;
}

bool GifCodes::ensure_before_terminator(uint32_t needed) {
    const auto bits_there = [this] { return now.count + 8 * static_cast<uint64_t>(now.end - now.at); };
    if (bits_there() < needed && !terminated) stage();
    return bits_there() >= needed && ensure(needed);
}

// Byte by byte, so that the last bits of the data are had. Required: with codes still due, a sub-block without data is
// no terminator but is passed over.
bool GifCodes::ensure_from_input(uint32_t needed) {
    while (now.count < needed) {
        if (now.at == now.end && terminated) {
            // The next code uses up what was there before.
            terminated = false;
            sub_blocks = 0;
        }
        const bool more = stage();
        for (; now.count <= 56 && now.at < now.end; now.count += 8) now.bits |= uint64_t{*now.at++} << now.count;
        if (!more && now.at == now.end) break;
    }
    return now.count >= needed;
}

}  // namespace vorel
