// A whole file in memory.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vorel {

struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};
using MallocBytes = std::unique_ptr<uint8_t, FreeMemory>;

enum class FileBytes : uint8_t { kRead, kNotOpened, kEmpty, kNotRead, kNoMemory };

// Reads a file below 2 GB into memory of malloc. A larger one is kNotRead.
FileBytes read_file(const char *path, MallocBytes *bytes, int32_t *length);

}  // namespace vorel
