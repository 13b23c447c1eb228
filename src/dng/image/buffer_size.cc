#include "dng/image/buffer_size.h"

#include <limits>

uint32_t RoundUpForPixelSize(uint32_t value, uint32_t pixelSize) {
    const bool whole = pixelSize == 1 || pixelSize == 2 || pixelSize == 4 || pixelSize == 8;
    const uint32_t multiple = whole ? 16 / pixelSize : 16;
    return (value + multiple - 1) / multiple * multiple;
}

bool SafeUint32Add(uint32_t a, uint32_t b, uint32_t *result) {
    if (a > std::numeric_limits<uint32_t>::max() - b) return false;
    *result = a + b;
    return true;
}

bool SafeUint32Mult(uint32_t a, uint32_t b, uint32_t *result) {
    const uint64_t product = uint64_t{a} * b;
    if (product > std::numeric_limits<uint32_t>::max()) return false;
    *result = static_cast<uint32_t>(product);
    return true;
}

bool SafeInt32Sub(int32_t a, int32_t b, int32_t *result) {
    const int64_t difference = int64_t{a} - b;
    if (difference != static_cast<int32_t>(difference)) return false;
    *result = static_cast<int32_t>(difference);
    return true;
}

uint32_t SafeUint32DivideUp(uint32_t a, uint32_t b) { return b ? a / b + (a % b != 0) : 0; }

bool RoundUpUint32ToMultiple(uint32_t value, uint32_t multiple, uint32_t *result) {
    return multiple != 0 && SafeUint32Mult(SafeUint32DivideUp(value, multiple), multiple, result);
}

uint32_t ComputeBufferSize(uint32_t pixelType, const vorel::DngPoint &size, uint32_t planes, uint32_t padding) {
    const uint32_t pixel_size = TagTypeSize(pixelType);
    if (size.v <= 0 || size.h <= 0 || pixel_size == 0) return 0;
    const uint32_t columns = static_cast<uint32_t>(size.h);  // below 2^31: rounding it up does not wrap
    uint32_t bytes = padding == kPaddingSIMD ? RoundUpForPixelSize(columns, pixel_size) : columns;
    const bool fits = SafeUint32Mult(bytes, pixel_size, &bytes) && SafeUint32Mult(bytes, planes, &bytes) &&
                      SafeUint32Mult(bytes, static_cast<uint32_t>(size.v), &bytes);
    return fits ? bytes : 0;
}
