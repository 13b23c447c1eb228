// Which rows and columns a smaller output keeps.
#pragma once

#include <cstdint>

namespace vorel {

// Columns in rising order: the first one, and from each to the next `whole` or, each time the remainders have grown to
// `divisor`, one more. count of them.
struct ColumnSteps {
    int64_t first;
    int64_t count;
    int64_t whole;
    int64_t rest, rest_step, divisor;  // all three 0 and 1 where the steps are equal
};

// The columns that fit `width` of them to out_width pixels.
ColumnSteps fitted_columns(int32_t width, int32_t out_width);
// Every step-th column from `start` plus the middle of the first step on, below `end`; step >= 1, start >= 0.
ColumnSteps sampled_columns(int32_t width, int64_t start, int64_t end, int32_t step);

// Copies those pixels of 4 bytes, at most `most` of them; returns how many.
int64_t pick_columns(const ColumnSteps &columns, int64_t most, const uint8_t *row, uint8_t *out);

}  // namespace vorel
