// The code stream of a GIF image and the strings of its codes, as the decoder keeps them (GIF89a, Appendix F).
#pragma once

#include <vorel/raster.h>

#include <cstdint>
#include <cstring>

namespace vorel {

constexpr uint32_t kGifCodes = 4096;
constexpr uint32_t kGifMaxCodeBits = 12;

// Bits of staged bytes, least significant first. Small enough to be kept in registers while codes are taken.
struct GifBits {
    uint64_t bits;
    uint32_t count;           // of bits that are there; those above are zero or repeat what stands at `at`
    const uint8_t *at, *end;  // staged bytes that are not in yet

    // 56 bits or more, from at least eight bytes.
    void refill() {
        uint64_t next;
        std::memcpy(&next, at, sizeof next);
        bits |= next << count;
        at += (63 - count) >> 3;
        count |= 56;
    }
    uint32_t peek(uint32_t size) const { return static_cast<uint32_t>(bits) & ((1u << size) - 1); }
    void drop(uint32_t size) {
        bits >>= size;
        count -= size;
    }
};

// Codes from data sub-blocks. Whole sub-blocks are put behind one another before bits are taken, but none beyond the
// terminator as long as there are bits before it.
struct GifCodes {
    static constexpr int32_t kStaged = 4096;

    GifBits now;
    GifInput *input;
    bool terminated;  // the input stands behind a block terminator
    uint8_t staged[kStaged + 8];
    // Sizes of the latest sub-blocks that were staged: those that hold bytes that are not used up, and maybe some
    // before.
    int32_t sub_blocks;
    uint8_t sizes[kStaged + 16];
    int64_t looked_ahead;  // bytes parsed behind end codes to find terminators, in all images of the file

    void start(GifInput *from);
    // Leaves the input behind the block terminator. Where that was lost, behind the sub-block of the last code.
    void finish();

    // At least `needed` bits, at most 12, in `now`. False when the input has ended.
    bool ensure(uint32_t needed) {
        if (now.count >= needed) return true;
        if (now.end - now.at < 8) return ensure_from_input(needed);
        now.refill();
        return true;
    }
    bool ensure_from_input(uint32_t needed);
    // The same, but false where a block terminator stands before them.
    bool ensure_before_terminator(uint32_t needed);

  private:
    bool stage();
    int32_t unused_sub_blocks(int32_t *raw_bytes) const;
};

// A string in pieces of eight indices, the last one shorter: its own indices and the code of what stands before them,
// whose length is a multiple of eight. So a string is written from its end in whole words.
struct GifString {
    uint64_t piece;  // first index in the lowest byte, zeros above the last
    uint16_t before;
    uint16_t length;
    uint8_t first;
};

struct GifStrings {
    GifString of[kGifCodes];
};

}  // namespace vorel
