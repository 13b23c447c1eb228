// The accurate integer DCT of Loeffler, Ligtenberg and Moschytz in 13-bit fixed point, both directions: the constants
// of its flow graph, round(8192 x), multiplied out to what each input adds to each output.
#pragma once

#include <cstdint>

namespace vorel {

constexpr int32_t k0_298 = 2446, k0_390 = 3196, k0_541 = 4433, k0_765 = 6270, k0_899 = 7373, k1_175 = 9633,
                  k1_501 = 12299, k1_847 = 15137, k1_961 = 16069, k2_053 = 16819, k2_562 = 20995, k3_072 = 25172;
// Coefficients 2 and 6, between the outer pair of even values and the inner one.
constexpr int32_t kEven2 = k0_541 + k0_765, kEven6 = k0_541 - k1_847;
// Coefficient 2 j + 1 and the difference of samples i and 7 - i: symmetric, so it serves both directions.
constexpr int32_t kOdd[4][4] = {{k1_501 - k0_899 - k0_390 + k1_175, k1_175, k1_175 - k0_390, k1_175 - k0_899},
                                {k1_175, k3_072 - k2_562 - k1_961 + k1_175, k1_175 - k2_562, k1_175 - k1_961},
                                {k1_175 - k0_390, k1_175 - k2_562, k2_053 - k2_562 - k0_390 + k1_175, k1_175},
                                {k1_175 - k0_899, k1_175 - k1_961, k1_175, k0_298 - k0_899 - k1_961 + k1_175}};

// Forward shifts: 13 bits of the constants, of which the first pass keeps 2 and the second takes them off.
constexpr int kKeptBits = 2, kForwardFirst = 13 - kKeptBits, kForwardSecond = 13 + kKeptBits;

}  // namespace vorel
