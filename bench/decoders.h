// The two decoders of a row, each from opening the input to closing it.
#pragma once

#include <cstdint>

#include "picture.h"
#include "rows.h"

namespace vorel_bench {

struct Output {
    int width = 0, height = 0;  // of the picture in the buffer, rows without padding
    Bytes bytes;
};

// Makes room in `output` for what the decoder will write: not part of the time, nor of the memory.
void prepare_ours(const Row &row, const Jpeg &jpeg, Output *output);
void prepare_peer(const Row &row, const Jpeg &jpeg, Output *output);

// False when the decoder fails.
bool decode_ours(const Row &row, const Jpeg &jpeg, Output *output);
bool decode_peer(const Row &row, const Jpeg &jpeg, Output *output);

size_t buffer_bytes(Format format, int width, int height);

}  // namespace vorel_bench
