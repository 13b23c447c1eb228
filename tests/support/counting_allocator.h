// The engine's memory while it lives: what is allocated, the peak, and a failure at any allocation.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel::test {

class CountingAllocator {
  public:
    CountingAllocator();
    ~CountingAllocator();
    CountingAllocator(const CountingAllocator &) = delete;
    CountingAllocator &operator=(const CountingAllocator &) = delete;

    // The index-th allocation from now on, from 1, fails; 0 lets all succeed.
    void fail_at(size_t index);
    bool failed() const;  // since the last fail_at

    size_t live_blocks() const;
    size_t live_bytes() const;
    size_t peak_bytes() const;  // since the last reset_peak
    void reset_peak();
};

// Runs scenario(allocator) once for each of its allocations, with that one failing, and once without a failure. The
// scenario checks its own result; nothing may stay allocated.
template <typename Scenario>
size_t with_each_allocation_failing(const Scenario &scenario) {
    CountingAllocator allocator;
    for (size_t index = 1;; ++index) {
        allocator.fail_at(index);
        scenario(allocator);
        if (!allocator.failed()) return index - 1;
    }
}

}  // namespace vorel::test
