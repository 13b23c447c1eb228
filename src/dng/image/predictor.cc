#include "dng/image/predictor.h"

#include <cstring>

namespace vorel {
namespace {

template <typename Sample>
void add_left_of(Sample *row, uint64_t count, uint64_t distance) {
    for (uint64_t i = distance; i < count; ++i) row[i] = static_cast<Sample>(row[i] + row[i - distance]);
}

}  // namespace

bool is_horizontal(uint32_t predictor) {
    return predictor == kPredictorHorizontal || predictor == kPredictorHorizontalX2 ||
           predictor == kPredictorHorizontalX4;
}

bool is_float_predictor(uint32_t predictor) {
    return predictor == kPredictorFloat || predictor == kPredictorFloatX2 || predictor == kPredictorFloatX4;
}

uint32_t predictor_factor(uint32_t predictor) {
    switch (predictor) {
        case kPredictorHorizontal:
        case kPredictorFloat:
            return 1;
        case kPredictorHorizontalX2:
        case kPredictorFloatX2:
            return 2;
        case kPredictorHorizontalX4:
        case kPredictorFloatX4:
            return 4;
        default:
            return 0;
    }
}

void add_left(void *row, uint32_t pixel_size, uint64_t count, uint64_t distance) {
    switch (pixel_size) {
        case 1:
            return add_left_of(static_cast<uint8_t *>(row), count, distance);
        case 2:
            return add_left_of(static_cast<uint16_t *>(row), count, distance);
        case 4:
            return add_left_of(static_cast<uint32_t *>(row), count, distance);
        default:
            return;
    }
}

void regroup_floats(uint8_t *row, uint8_t *scratch, uint32_t sample_bytes, uint64_t count, uint64_t distance) {
    const uint64_t bytes = count * sample_bytes;
    std::memcpy(scratch, row, bytes);
    add_left_of(scratch, bytes, distance);
    for (uint64_t i = 0; i < count; ++i) {
        for (uint32_t byte = 0; byte < sample_bytes; ++byte) *row++ = scratch[byte * count + i];
    }
}

}  // namespace vorel
