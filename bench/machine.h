// Where and when numbers were measured, for the heads of the tables.
#pragma once

#include <string>

namespace vorel_bench {

// "PROCESSOR, N cores; GCC VERSION; DATE TIME UTC"
std::string machine_line();

}  // namespace vorel_bench
