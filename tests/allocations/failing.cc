#include "failing.h"

#include <atomic>
#include <mutex>
#include <new>
#include <unordered_set>

extern "C" {
void *__real_malloc(size_t bytes);
void *__real_calloc(size_t count, size_t bytes);
void *__real_realloc(void *block, size_t bytes);
void __real_free(void *block);
}

namespace {

template <typename Value>
struct Plain {
    using value_type = Value;
    Plain() = default;
    template <typename Other>
    Plain(const Plain<Other> &) {}  // NOLINT
    Value *allocate(size_t count) { return static_cast<Value *>(__real_malloc(count * sizeof(Value))); }
    void deallocate(Value *block, size_t) { __real_free(block); }
    bool operator==(const Plain &) const { return true; }
};

std::atomic<bool> g_counting;
std::mutex g_mutex;
size_t g_made, g_fail_at;
bool g_failed;

using Blocks = std::unordered_set<void *, std::hash<void *>, std::equal_to<void *>, Plain<void *>>;
Blocks &blocks() {
    static Blocks all;
    return all;
}

bool fails() {
    if (!g_counting) return false;
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (++g_made != g_fail_at) return false;
    return g_failed = true;
}

void *noted(void *block) {
    if (!block || !g_counting) return block;
    const std::lock_guard<std::mutex> lock(g_mutex);
    blocks().insert(block);
    return block;
}

// Before it is freed: another thread may be given the same block at once.
bool forget(void *block) {
    if (!block) return false;
    const std::lock_guard<std::mutex> lock(g_mutex);
    return !blocks().empty() && blocks().erase(block) != 0;
}

}  // namespace

// What libstdc++ allocates and what is freed here, or the other way round, goes by other names.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() { return "alloc_dealloc_mismatch=0"; }

extern "C" {

void *__wrap_malloc(size_t bytes) { return fails() ? nullptr : noted(__real_malloc(bytes)); }
void *__wrap_calloc(size_t count, size_t bytes) { return fails() ? nullptr : noted(__real_calloc(count, bytes)); }
void *__wrap_realloc(void *block, size_t bytes) {
    if (fails()) return nullptr;
    const bool known = forget(block);
    void *const moved = __real_realloc(block, bytes);
    if (moved) return noted(moved);
    if (known) noted(block);
    return nullptr;
}
void __wrap_free(void *block) {
    forget(block);
    __real_free(block);
}

// operator new and delete, by their mangled names.
void *__wrap__Znwm(size_t bytes) {
    void *const block = __wrap_malloc(bytes ? bytes : 1);
    if (!block) throw std::bad_alloc();
    return block;
}
void *__wrap__Znam(size_t bytes) { return __wrap__Znwm(bytes); }
void *__wrap__ZnwmRKSt9nothrow_t(size_t bytes, const std::nothrow_t &) { return __wrap_malloc(bytes ? bytes : 1); }
void __wrap__ZdlPv(void *block) { __wrap_free(block); }
void __wrap__ZdlPvm(void *block, size_t) { __wrap_free(block); }
void __wrap__ZdaPv(void *block) { __wrap_free(block); }
void __wrap__ZdaPvm(void *block, size_t) { __wrap_free(block); }

}  // extern "C"

namespace vorel::test {

void fail_allocation(size_t index) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_made = 0, g_fail_at = index, g_failed = false;
}
size_t allocations_made() { return g_made; }
bool allocation_failed() { return g_failed; }
int64_t live_allocations() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return static_cast<int64_t>(blocks().size());
}

CountedCall::CountedCall() { g_counting = true; }
CountedCall::~CountedCall() { g_counting = false; }

}  // namespace vorel::test
