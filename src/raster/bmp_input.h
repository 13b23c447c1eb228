// The bytes of a BMP: header fields one after another, stored rows in rising order. Memory is read where it stands,
// other inputs through a block that is filled forwards, so that a stream need not be rewound.
#pragma once

#include "core/core.h"

struct BmpInput {
    IoInfo *io;
    const uint8_t *at, *end;  // unread bytes: of the whole input, or of the block
    const uint8_t *base;      // of those
    int64_t end_position;     // in the input, of `end`
    bool ended;               // a read brought nothing, or all is in memory
    uint8_t *block;           // null for memory
    uint8_t *row;             // null until rows are read
    int64_t first_row, row_bytes, line_bytes;
    int64_t current_row;  // that `row` holds, or -1
};

namespace vorel {

// At the start of the input. Null without memory.
BmpInput *open_bmp_input(IoInfo *io);
void close_bmp_input(BmpInput *input);

inline int64_t input_position(const BmpInput *input) { return input->end_position - (input->end - input->at); }
// Beyond the end there are no bytes, and none where a stream had to go back before its block and cannot.
void go_to(BmpInput *input, int64_t position);
// Makes an unread byte stand at `at`; false at the end.
bool refill(BmpInput *input);
// How many of `count` bytes came.
int64_t read_bytes(BmpInput *input, void *destination, int64_t count);
inline int32_t next_byte(BmpInput *input) { return input->at != input->end || refill(input) ? *input->at++ : -1; }

// Rows of row_bytes that start at `position` and lie line_bytes apart. False without memory.
bool open_rows(BmpInput *input, int64_t position, int64_t row_bytes, int64_t line_bytes);
// Asked for in rising order, the same one repeatedly. Valid until the next call; null when the row is not all there.
const uint8_t *stored_row(BmpInput *input, int64_t index);

// The result of a decode whose bytes have run out: 5 when the input has not come to its end.
inline int32_t result_at_end(const BmpInput *input) {
    constexpr int32_t kEnded = 1, kMoreToCome = 5;
    return is_memory(input->io) || input->io->position >= input->io->size ? kEnded : kMoreToCome;
}

}  // namespace vorel
