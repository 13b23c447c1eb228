// Divisors and multiples that programs with loops of their own reckon restart intervals with.
#include <vorel/jpeg_decoder.h>

extern "C" {

int32_t GCD(int32_t a, int32_t b) {
    while (b != 0) {
        const int32_t rest = b == -1 ? 0 : a % b;
        a = b;
        b = rest;
    }
    return a;
}

int32_t BRIMJ_GetGCD(int32_t a, int32_t b) {
    const int32_t divisor = GCD(a, b);
    return divisor < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(divisor)) : divisor;
}

int32_t LCM(int32_t a, int32_t b) {
    const int32_t divisor = GCD(a, b);
    if (divisor == 0) return 0;
    return static_cast<int32_t>(static_cast<int64_t>(a / divisor) * b);
}

}  // extern "C"
