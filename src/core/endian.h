// Numbers in files, in both byte orders.
#pragma once

#include <cstdint>

namespace vorel {

constexpr int32_t big_endian_16(const uint8_t *bytes) { return bytes[0] << 8 | bytes[1]; }
constexpr int32_t little_endian_16(const uint8_t *bytes) { return bytes[1] << 8 | bytes[0]; }
constexpr uint32_t big_endian_32(const uint8_t *bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
constexpr uint32_t little_endian_32(const uint8_t *bytes) {
    return uint32_t{bytes[3]} << 24 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[1]} << 8 | bytes[0];
}

}  // namespace vorel
