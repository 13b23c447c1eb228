// The fast path's MCU loops with the flag-free shifts of BMI2, and those that need its deposits to be fast; compiled
// with -mbmi -mbmi2 -mpopcnt.
#if !defined(__BMI__) || !defined(__BMI2__) || !defined(__POPCNT__)
#error "the options of this file, -mbmi -mbmi2 -mpopcnt, have not reached the compiler"
#endif

#include "jpeg/decoder/entropy/entropy_run.inc"
#include "jpeg/decoder/entropy/lossless_run.inc"
#include "jpeg/decoder/entropy/progressive_run.inc"

namespace vorel {
extern const RunTable kBmi2Runs = make_run_table<PlainSets>();
extern const RunTable kDepositRuns = make_run_table<DepositSets>();
}  // namespace vorel
