#include "support/counting_allocator.h"

#include <cstdlib>
#include <mutex>
#include <unordered_map>

#include "core/os.h"

namespace vorel::test {
namespace {

struct State {
    std::mutex mutex;
    std::unordered_map<void *, size_t> blocks;
    size_t live = 0, peak = 0, until_failure = 0;
    bool failed = false;
};
State g_state;

void note(void *pointer, size_t bytes) {
    if (!pointer) return;
    g_state.blocks[pointer] = bytes;
    g_state.live += bytes;
    if (g_state.live > g_state.peak) g_state.peak = g_state.live;
}

// Blocks that others allocated are not known here.
void forget(void *pointer) {
    const auto found = g_state.blocks.find(pointer);
    if (found == g_state.blocks.end()) return;
    g_state.live -= found->second;
    g_state.blocks.erase(found);
}

bool due_to_fail() {
    if (g_state.until_failure == 0 || --g_state.until_failure != 0) return false;
    g_state.failed = true;
    return true;
}

void *allocate(size_t bytes) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    if (due_to_fail()) return nullptr;
    void *pointer = std::malloc(bytes);
    note(pointer, bytes);
    return pointer;
}

void *reallocate(void *pointer, size_t bytes) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    if (due_to_fail()) return nullptr;
    forget(pointer);
    void *moved = std::realloc(pointer, bytes);
    note(moved, bytes);
    return moved;
}

void release(void *pointer) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    forget(pointer);
    std::free(pointer);
}

constexpr AllocHooks kHooks = {allocate, reallocate, release};

}  // namespace

CountingAllocator::CountingAllocator() {
    g_state.blocks.clear();
    g_state.live = g_state.peak = g_state.until_failure = 0;
    set_alloc_hooks(&kHooks);
}

CountingAllocator::~CountingAllocator() { set_alloc_hooks(nullptr); }

void CountingAllocator::fail_at(size_t index) {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.until_failure = index;
    g_state.failed = false;
}

bool CountingAllocator::failed() const { return g_state.failed; }
size_t CountingAllocator::live_blocks() const { return g_state.blocks.size(); }
size_t CountingAllocator::live_bytes() const { return g_state.live; }
size_t CountingAllocator::peak_bytes() const { return g_state.peak; }
void CountingAllocator::reset_peak() { g_state.peak = g_state.live; }

}  // namespace vorel::test
