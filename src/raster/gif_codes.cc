// The code stream of a GIF image: data sub-blocks to bits.
#include "raster/gif_codes.h"

#include <algorithm>

#include "raster/gif.h"

namespace vorel {

void GifCodes::start(GifInput *from) {
    input = from;
    now = {0, 0, staged, staged};
    terminated = false;
}

void GifCodes::finish() {
    if (!terminated) gif_skip_sub_blocks(input);
    terminated = true;
}

// Takes in sub-blocks up to a terminator or as many as have room. False at the end of the input; what there is of a
// sub-block that is cut counts.
bool GifCodes::stage() {
    int32_t held = static_cast<int32_t>(now.end - now.at);
    std::memmove(staged, now.at, static_cast<size_t>(held));
    bool more = true;
    while (more && !terminated) {
        more = BRIMI_CheckBuffer(input, 1);
        if (!more) break;
        const int32_t size = *input->cursor;
        if (held + size > kStaged) break;
        ++input->cursor;
        --input->available;
        terminated = size == 0;
        if (terminated) break;
        more = BRIMI_CheckBuffer(input, size);
        const int32_t came = std::min(size, input->available);
        std::memcpy(staged + held, input->cursor, static_cast<size_t>(came));
        input->cursor += came;
        input->available -= came;
        held += came;
    }
    now.at = staged;
    now.end = staged + held;
    return more;
}

// Byte by byte, so that the last bits of the data are had. Required: with codes still due, a sub-block without data is
// no terminator but is passed over.
bool GifCodes::ensure_from_input(uint32_t needed) {
    while (now.count < needed) {
        if (now.at == now.end) terminated = false;
        const bool more = stage();
        for (; now.count <= 56 && now.at < now.end; now.count += 8) now.bits |= uint64_t{*now.at++} << now.count;
        if (!more && now.at == now.end) break;
    }
    return now.count >= needed;
}

}  // namespace vorel
