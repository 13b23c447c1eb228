// Undoing the differences that a writer made before compression.
#pragma once

#include <cstdint>

namespace vorel {

// Tag 317: 2 (TIFF 6.0 section 14) and 3 (TIFF technical note 3), and DNG's forms of both over every second and every
// fourth sample, which are those of one colour in a mosaic.
enum Predictor : uint32_t {
    kPredictorNone = 1,
    kPredictorHorizontal = 2,
    kPredictorFloat = 3,
    kPredictorHorizontalX2 = 34892,
    kPredictorHorizontalX4 = 34893,
    kPredictorFloatX2 = 34894,
    kPredictorFloatX4 = 34895
};

bool is_horizontal(uint32_t predictor);
bool is_float_predictor(uint32_t predictor);
// Pixels between a sample and the one that it is the difference to: 1, 2 or 4; 0 for other predictors.
uint32_t predictor_factor(uint32_t predictor);

// A row of count samples in native order, each added to the one `distance` samples to the left.
void add_left(void *row, uint32_t pixel_size, uint64_t count, uint64_t distance);

// A row of count samples of sample_bytes each as planes of bytes, the most significant first, differenced over all of
// its bytes: undone in scratch, which has as many bytes, and regrouped to big-endian samples in row.
void regroup_floats(uint8_t *row, uint8_t *scratch, uint32_t sample_bytes, uint64_t count, uint64_t distance);

}  // namespace vorel
