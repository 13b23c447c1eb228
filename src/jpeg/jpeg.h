// What the JPEG decoder and the encoder share: marker codes (T.81 table B.1) and block arithmetic.
#pragma once

#include <cstdint>

namespace vorel {

enum Marker : int32_t {
    kSof0 = 0xC0,
    kSof1 = 0xC1,
    kSof2 = 0xC2,
    kDht = 0xC4,
    kRst0 = 0xD0,
    kRst7 = 0xD7,
    kSoi = 0xD8,
    kEoi = 0xD9,
    kSos = 0xDA,
    kDqt = 0xDB,
    kDnl = 0xDC,
    kDri = 0xDD,
    kApp0 = 0xE0,
    kApp1 = 0xE1,
    kApp13 = 0xED,
    kApp14 = 0xEE,
    kApp15 = 0xEF,
    kCom = 0xFE,
};

constexpr int kBlockCoefficients = 64;
constexpr int kBlockSide = 8;
constexpr int kMaxComponents = 4;
constexpr int kMaxBlocksInMcu = 10;  // T.81 B.2.3

constexpr bool is_restart(int32_t marker) { return marker >= kRst0 && marker <= kRst7; }
constexpr bool is_app(int32_t marker) { return marker >= kApp0 && marker <= kApp15; }

constexpr int64_t ceil_div(int64_t a, int64_t b) { return (a + b - 1) / b; }

}  // namespace vorel

// BRIMJ_NATURAL_ORDER under a name that the library keeps to itself, so that loops reach it without the table of
// exported symbols.
extern "C" __attribute__((visibility("hidden"))) const uint8_t vorel_natural_order[80];
