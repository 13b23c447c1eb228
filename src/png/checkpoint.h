// Where the rows of a PNG can be resumed: the inflate state before a row, with the bytes that its matches may reach.
#pragma once

#include "png/idat_reader.h"

namespace vorel {

// Of a pass, from one checkpoint to the next.
constexpr int32_t kCheckpointRows = 254;

// What a caller sees comes first. zlib copies whole windows of 32 KiB, most of which are not there yet or stand in the
// checkpoint before too; so all copied states have one window in common, which is filled before a state is used.
struct Checkpoint {
    vpng_row_checkpoint shown;
    const Checkpoint *base;  // whose window this one's differs from in the piece alone; null: from zeros
    uint32_t depth;          // of the chain of bases
    uint32_t piece_offset, piece_bytes;
    uint8_t *piece;
    // The same place for a reader that is not zlib: within the block, bits behind its start that zlib has taken, how
    // many of those are of a code that has given `given` bytes so far, -1 where zlib is in no code.
    BlockStart block;
    uint64_t bits;
    int32_t code_bits;
    uint32_t given;
    bool in_middle;  // of its chunk, whose check value does not fit then
};

const Checkpoint *whole_of(const vpng_row_checkpoint *shown);

// Both give false without memory. In a pass without pixels there is nothing to keep.
bool make_checkpoint(IdatReader *reader, vpng_row_checkpoint **out);
bool restore_checkpoint(IdatReader *reader, const vpng_row_checkpoint *checkpoint);
void delete_checkpoint(vpng_row_checkpoint *checkpoint);

}  // namespace vorel
