// The fast path's MCU loops with the flag-free shifts of BMI2; compiled with -mbmi2.
#if !defined(__BMI__) || !defined(__BMI2__)
#error "the options of this file, -mbmi -mbmi2, have not reached the compiler"
#endif

#include "jpeg/decoder/entropy/entropy_run.inc"
#include "jpeg/decoder/entropy/lossless_run.inc"
#include "jpeg/decoder/entropy/progressive_run.inc"

namespace vorel {
extern const RunTable kBmi2Runs = kRuns;
}
