// Heap use of a stretch of the program: every allocation of the process passes here.
#pragma once

#include <cstdint>

namespace vorel_bench {

// Starts counting from what is allocated now.
void start_heap_count();
// The largest number of bytes held at once since then, beyond what was held at the start.
int64_t stop_heap_count();

}  // namespace vorel_bench
