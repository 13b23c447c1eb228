// The fast path's MCU loops with the flag-free shifts of BMI2; compiled with -mbmi2.
#include "jpeg/decoder/entropy/entropy_run.inc"

namespace vorel {
extern const RunTable kBmi2Runs = kRuns;
}
