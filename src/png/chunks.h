// What surrounds the data of a chunk: its length and its name in front, its check value behind.
#pragma once

#include <cstdint>
#include <cstring>

namespace vorel {

constexpr uint32_t kChunkHeader = 8, kCrcBytes = 4;
constexpr uint32_t kMostChunkBytes = 0x7FFFFFFF;  // of data
constexpr uint8_t kIdatName[4] = {'I', 'D', 'A', 'T'};

inline bool names_idat(const uint8_t header[kChunkHeader]) {
    return std::memcmp(header + 4, kIdatName, sizeof kIdatName) == 0;
}

}  // namespace vorel
