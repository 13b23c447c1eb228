// What every C entry of the raw developer has around it.
#pragma once

#include <exception>
#include <new>

namespace vorel {

// Calls work(); no_memory for std::bad_alloc, failed for any other exception: none leaves a C entry.
template <typename Result, typename Work>
Result dng_entry(Result no_memory, Result failed, const Work &work) {
    try {
        return work();
    } catch (const std::bad_alloc &) {
        return no_memory;
    } catch (...) {
        return failed;
    }
}

}  // namespace vorel
