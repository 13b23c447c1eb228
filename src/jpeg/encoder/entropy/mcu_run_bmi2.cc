// The coder's loop with the shifts of BMI2; compiled with -mbmi -mbmi2.
#if !defined(__BMI__) || !defined(__BMI2__)
#error "the options of this file, -mbmi -mbmi2, have not reached the compiler"
#endif

#include "jpeg/encoder/entropy/mcu_run.inc"

namespace vorel {
extern const McuRun kBmi2McuRun = run_mcu;
}
