// The coder's loop for every CPU.
#include "jpeg/encoder/entropy/mcu_run.inc"

namespace vorel {
extern const McuRun kPlainMcuRun = run_mcu;
}
