#include "raster/bmp_input.h"

#include <algorithm>
#include <cstring>

namespace vorel {
namespace {

// A read function may deliver less than it is asked for. Positions are 31 bits: a source that never ends, ends for us
// where they do.
void fill_block(BmpInput *input) {
    int32_t filled = 0;
    if (input->end_position > INT32_MAX - kBlockBytes) input->ended = true;
    if (input->ended) return;
    while (filled < kBlockBytes) {
        const int32_t came = VORELBRIM_Read_IO(input->io, input->block + filled, kBlockBytes - filled);
        if (came <= 0) {
            input->ended = true;
            break;
        }
        filled += came;
    }
    input->base = input->at = input->block;
    input->end = input->block + filled;
    input->end_position += filled;
}

// Passes over bytes of the input that are not in the block.
void skip_input(BmpInput *input, int64_t count) {
    input->at = input->end;
    const bool seeks = input->io->kind != kIoStream || input->io->skipFn;
    while (!seeks && count > 0 && refill(input)) {
        const int64_t step = std::min<int64_t>(count, input->end - input->at);
        input->at += step;
        count -= step;
    }
    if (!seeks || input->ended) return;
    const auto step = static_cast<int32_t>(std::min<int64_t>(count, INT32_MAX - std::max(input->io->position, 0)));
    VORELBRIM_Seek_IO(input->io, step, SEEK_CUR);
    input->base = input->at = input->end = input->block;
    input->end_position += count;
}

// Only a second walk over the rows of a record gets here.
void go_back(BmpInput *input, int32_t position) {
    input->ended = VORELBRIM_Seek_IO(input->io, position, SEEK_SET) != position;
    input->base = input->at = input->end = input->block;
    input->end_position = position;
}

}  // namespace

BmpInput *open_bmp_input(IoInfo *io) {
    auto *input = os_allocate_array<BmpInput>(1);
    if (!input) return nullptr;
    input->io = io;
    if (is_memory(io)) {
        const bool any = io->source && io->size > 0;
        input->base = input->at = any ? static_cast<const uint8_t *>(io->source) : nullptr;
        input->end = any ? input->base + io->size : nullptr;
        input->end_position = any ? io->size : 0;
        input->ended = true;
        return input;
    }
    input->block = static_cast<uint8_t *>(os_allocate(kBlockBytes));
    if (!input->block) {
        close_bmp_input(input);
        return nullptr;
    }
    input->base = input->at = input->end = input->block;
    VORELBRIM_Seek_IO(io, 0, SEEK_SET);
    return input;
}

void close_bmp_input(BmpInput *input) {
    if (!input) return;
    os_release(input->block);
    os_release(input->row);
    os_release(input);
}

bool refill(BmpInput *input) {
    if (input->ended) return false;
    fill_block(input);
    return input->at != input->end;
}

void go_to(BmpInput *input, int64_t position) {
    const int64_t start = input->end_position - (input->end - input->base);
    if (position >= start && position <= input->end_position) {
        input->at = input->base + (position - start);
    } else if (position > input->end_position) {
        skip_input(input, position - input->end_position);
    } else {
        go_back(input, static_cast<int32_t>(position));
    }
}

int64_t read_bytes(BmpInput *input, void *destination, int64_t count) {
    auto *out = static_cast<uint8_t *>(destination);
    int64_t came = 0;
    while (came < count && (input->at != input->end || refill(input))) {
        const int64_t step = std::min<int64_t>(count - came, input->end - input->at);
        std::memcpy(out + came, input->at, static_cast<size_t>(step));
        input->at += step;
        came += step;
    }
    return came;
}

bool open_rows(BmpInput *input, int64_t position, int64_t row_bytes, int64_t line_bytes) {
    input->first_row = position;
    input->row_bytes = row_bytes;
    input->line_bytes = line_bytes;
    input->current_row = -1;
    if (!input->block) return true;
    os_release(input->row);
    input->row = static_cast<uint8_t *>(os_allocate(static_cast<size_t>(row_bytes)));
    return input->row != nullptr;
}

const uint8_t *stored_row(BmpInput *input, int64_t index) {
    // A line has fewer than 2^20 bytes and there are fewer than 2^17 of them.
    const int64_t position = input->first_row + index * input->line_bytes;
    if (!input->block) return input->end_position - position >= input->row_bytes ? input->base + position : nullptr;
    if (index == input->current_row) return input->row;
    input->current_row = -1;
    go_to(input, position);
    if (read_bytes(input, input->row, input->row_bytes) != input->row_bytes) return nullptr;
    input->current_row = index;
    return input->row;
}

}  // namespace vorel
