// Every allocation of a call, counted, and any of them made to fail: malloc and its like and operator new, of the
// library's objects and of what they inline. The program is linked with those names wrapped.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorel::test {

// The index-th allocation inside the calls from now on fails, from 1; 0: none.
void fail_allocation(size_t index);
size_t allocations_made();  // inside calls, since then
bool allocation_failed();
// Blocks that were allocated inside calls, by this time not freed.
int64_t live_allocations();

// A scope whose allocations count, those of other threads too.
class CountedCall {
  public:
    CountedCall();
    ~CountedCall();
    CountedCall(const CountedCall &) = delete;
    CountedCall &operator=(const CountedCall &) = delete;
};
template <typename Work>
auto counted(const Work &work) {
    const CountedCall call;
    return work();
}

}  // namespace vorel::test
