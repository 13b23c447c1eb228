// The fast path's MCU loops for every CPU.
#include "jpeg/decoder/entropy/entropy_run.inc"
#include "jpeg/decoder/entropy/lossless_run.inc"
#include "jpeg/decoder/entropy/progressive_run.inc"

namespace vorel {
extern const RunTable kPlainRuns = make_run_table<PlainSets>();
}
