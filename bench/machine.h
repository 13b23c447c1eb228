// Where and when numbers were measured, for the heads of the tables.
#pragma once

#include <string>

namespace vorel_bench {

// "PROCESSOR, N cores; GCC VERSION; DATE TIME UTC"
std::string machine_line();

// Keeps the process on the processor that it runs on, so that nobody has threads: for tables of single decodes.
void stay_on_one_processor();

}  // namespace vorel_bench
