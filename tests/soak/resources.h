// What the process holds.
#pragma once

#include <cstdint>
#include <string>

namespace vorel::soak {

struct Resources {
    int64_t library_blocks, library_bytes;  // of the library's allocations
    int64_t news;                           // blocks of operator new; 0 under a sanitizer
    int64_t heap_bytes;                     // in use by the allocator's own account
    int64_t resident_bytes;                 // 0 under a sanitizer, whose own memory grows
    int64_t descriptors, threads, free_handles;
};

// Counts the library's allocations from now on; before the first of them.
void count_allocations();
// While no job runs.
Resources resources_now();

// What is left behind: nothing may be of blocks, descriptors, threads and handles. Bytes in use may differ by 24 KB,
// what the C library keeps with the stacks of ended threads for the next ones; resident memory by 16 MB, free pages
// between small blocks and up to 1 MB at the end of each arena of threads. Empty: all is well.
std::string what_is_left(const Resources &before, const Resources &after);

}  // namespace vorel::soak
