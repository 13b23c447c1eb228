// Memory of the engine. All of it comes from here, so that tests can count it and make any allocation fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vorel {

// What the engine allocates with. Tests put their own here; nothing else does.
struct AllocHooks {
    void *(*allocate)(size_t bytes);
    void *(*reallocate)(void *pointer, size_t bytes);
    void (*release)(void *pointer);
};
// Null restores malloc, realloc and free. Not while anything is allocated by other hooks.
void set_alloc_hooks(const AllocHooks *hooks);

// 64-bit sizes; null when there is no memory. os_release accepts null.
void *os_allocate(size_t bytes);
void *os_allocate_zeroed(size_t bytes);
void *os_reallocate(void *pointer, size_t bytes);
void os_release(void *pointer);
// How many of them this thread was refused, for callers of functions that say only that they failed.
uint32_t failed_allocations();

// For blocks of several megabytes that are about to be written whole: asks the system for large pages, since a page
// fault every 4 KB would cost as much as a quick loop over the block. Does nothing for small blocks and on systems
// without them.
void use_large_pages(void *block, size_t bytes);

// Opens a file for reading; null, with errno, for a path that is none or anything but a regular file: a FIFO or a
// device could make us wait for ever.
FILE *open_regular_file(const char *path);

// a * b, or false when it exceeds 2^31 - 1, the largest block that the engine asks for.
bool checked_product(uint64_t a, uint64_t b, size_t *out);

// Zero-filled array of count records of one size, with malloc's alignment; null when too large.
template <typename Record>
Record *os_allocate_array(uint64_t count) {
    size_t bytes;
    if (!checked_product(count, sizeof(Record), &bytes)) return nullptr;
    return static_cast<Record *>(os_allocate_zeroed(bytes ? bytes : 1));
}

// Owns one block of os_allocate for the length of a scope.
class OsBlock {
  public:
    OsBlock() = default;
    explicit OsBlock(void *pointer) : pointer_(pointer) {}
    OsBlock(const OsBlock &) = delete;
    OsBlock &operator=(const OsBlock &) = delete;
    ~OsBlock() { os_release(pointer_); }

    void reset(void *pointer) {
        os_release(pointer_);
        pointer_ = pointer;
    }
    void *release() {
        void *out = pointer_;
        pointer_ = nullptr;
        return out;
    }
    template <typename Record>
    Record *as() const {
        return static_cast<Record *>(pointer_);
    }
    explicit operator bool() const { return pointer_ != nullptr; }

  private:
    void *pointer_ = nullptr;
};

}  // namespace vorel
