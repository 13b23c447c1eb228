// The thin operating-system layer: libc and POSIX with the differences that callers rely on.
#include "core/os.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/codes.h"
#include "core/log.h"

extern "C" {
uint32_t gVORELBRIM_Error = 0;
uint32_t debug_BrimCodecError = 0;
}

namespace vorel {
namespace {

constexpr AllocHooks kLibcHooks = {std::malloc, std::realloc, std::free};
AllocHooks g_hooks = kLibcHooks;

thread_local uint32_t t_failed_allocations;

void *counted(void *block) {
    if (!block) ++t_failed_allocations;
    return block;
}

// A size argument of the exported layer; a negative one asks for nothing.
bool to_size(int32_t value, size_t *out) {
    if (value < 0) return false;
    *out = static_cast<size_t>(value);
    return true;
}

// What VORELBRIM_OpenFile gives for a file that did not open.
FILE *const kNoFile = reinterpret_cast<FILE *>(static_cast<intptr_t>(-1));

bool is_open(const FILE *stream) { return stream && stream != kNoFile; }

}  // namespace

void set_alloc_hooks(const AllocHooks *hooks) { g_hooks = hooks ? *hooks : kLibcHooks; }

void *os_allocate(size_t bytes) { return counted(g_hooks.allocate(bytes)); }

void *os_allocate_zeroed(size_t bytes) {
    // Pages that come fresh from the system are not written once more.
    if (g_hooks.allocate == kLibcHooks.allocate) return counted(std::calloc(bytes, 1));
    void *pointer = os_allocate(bytes);
    if (pointer) std::memset(pointer, 0, bytes);
    return pointer;
}

void *os_reallocate(void *pointer, size_t bytes) { return counted(g_hooks.reallocate(pointer, bytes)); }

uint32_t failed_allocations() { return t_failed_allocations; }

void os_release(void *pointer) {
    if (pointer) g_hooks.release(pointer);
}

bool checked_product(uint64_t a, uint64_t b, size_t *out) {
    uint64_t product;
    if (__builtin_mul_overflow(a, b, &product) || product > INT32_MAX) return false;
    *out = static_cast<size_t>(product);
    return true;
}

void use_large_pages([[maybe_unused]] void *block, [[maybe_unused]] size_t bytes) {
#ifdef MADV_HUGEPAGE
    constexpr uintptr_t kLargePage = uintptr_t{1} << 21;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + kLargePage - 1) & ~(kLargePage - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kLargePage - 1);
    if (begin < end) madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

FILE *open_regular_file(const char *path) {
    // Without waiting: a FIFO opens only when somebody writes to it.
    const int descriptor = path ? open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (descriptor < 0) return nullptr;
    struct stat status = {};
    FILE *file = nullptr;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        file = fdopen(descriptor, "rb");
    } else {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    if (!file) close(descriptor);
    return file;
}

}  // namespace vorel

using namespace vorel;

extern "C" {

void *VORELBRIM_OsMalloc(int32_t size) {
    size_t bytes;
    return to_size(size, &bytes) ? os_allocate(bytes) : nullptr;
}

void *VORELBRIM_OsRealloc(void *pointer, int32_t size) {
    size_t bytes;
    return to_size(size, &bytes) ? os_reallocate(pointer, bytes) : nullptr;
}

void VORELBRIM_OsFree(void *pointer) { os_release(pointer); }

void *VORELBRIM_OsMemset(void *destination, int32_t value, int32_t count) {
    if (count > 0) std::memset(destination, value, static_cast<size_t>(count));
    return destination;
}

void *VORELBRIM_OsMemcpy(void *destination, const void *source, int32_t count) {
    if (count > 0) std::memcpy(destination, source, static_cast<size_t>(count));
    return destination;
}

int32_t VORELBRIM_OsSleep(uint32_t microseconds) { return usleep(microseconds); }

FILE *VORELBRIM_OsFopen(const char *path, const char *mode) {
    if (!path || !mode) return nullptr;
    // Required: a directory is refused silently, a link to one is not.
    struct stat status;
    if (mode[0] == 'r' && lstat(path, &status) == 0 && S_ISDIR(status.st_mode)) return nullptr;
    FILE *file = mode[0] == 'r' && !std::strchr(mode, '+') ? open_regular_file(path) : std::fopen(path, mode);
    if (!file) VOREL_LOG(kTagJpegStat, "%s : %d open fail", path, errno);
    return file;
}

// Required: failure is -1, not null.
FILE *VORELBRIM_OpenFile(const char *path) {
    FILE *file = VORELBRIM_OsFopen(path, "rb");
    return file ? file : kNoFile;
}

int32_t VORELBRIM_OsFclose(FILE *stream) { return is_open(stream) ? std::fclose(stream) : -1; }

int32_t VORELBRIM_CloseFile(FILE *stream) { return VORELBRIM_OsFclose(stream); }

int32_t VORELBRIM_OsFseek(FILE *stream, int32_t offset, int32_t whence) {
    return is_open(stream) ? std::fseek(stream, offset, whence) : -1;
}

// A position that does not fit is -1, as for a failed ftell.
int32_t VORELBRIM_OsFtell(FILE *stream) {
    if (!is_open(stream)) return -1;
    const long position = std::ftell(stream);
    return position > INT32_MAX ? -1 : static_cast<int32_t>(position);
}

int32_t VORELBRIM_OsFread(void *buffer, int32_t size, int32_t count, FILE *stream) {
    size_t element, elements;
    if (!buffer || !is_open(stream) || !to_size(size, &element) || !to_size(count, &elements)) return 0;
    return static_cast<int32_t>(std::fread(buffer, element, elements, stream));
}

int32_t VORELBRIM_SeekFile(FILE *stream, int32_t offset, int32_t whence) {
    VORELBRIM_OsFseek(stream, offset, whence);
    return VORELBRIM_OsFtell(stream);
}

int32_t VORELBRIM_ReadFile(FILE *stream, void *destination, int32_t count) {
    return VORELBRIM_OsFread(destination, 1, count, stream);
}

int32_t VORELBRIM_OsFwrite(const void *buffer, int32_t size, int32_t count, FILE *stream) {
    if (!buffer || size <= 0 || count <= 0 || !is_open(stream)) return -1;
    return static_cast<int32_t>(std::fwrite(buffer, static_cast<size_t>(size), static_cast<size_t>(count), stream));
}

int32_t VORELBRIM_OsClock(void) { return static_cast<int32_t>(std::clock()); }

int32_t VORELBRIM_OsThreadCreate(void *(*routine)(void *), void *argument, pthread_t *outHandle) {
    pthread_attr_t attributes;
    if (routine && outHandle && pthread_attr_init(&attributes) == 0) {
        static_assert(PTHREAD_SCOPE_SYSTEM == 0, "the system scope");
        pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
        const int failed = pthread_create(outHandle, &attributes, routine, argument);
        pthread_attr_destroy(&attributes);
        if (!failed) return 1;
    }
    VOREL_LOG(kTagJpegStat, "pthread_create fail");
    return 0;
}

int32_t VORELBRIM_OsThreadWait(pthread_t handle, void *) { return pthread_join(handle, nullptr); }

int32_t VORELBRIM_OsThreadMutex_Init(pthread_mutex_t *mutex) { return pthread_mutex_init(mutex, nullptr); }
int32_t VORELBRIM_OsThreadMutex_Lock(pthread_mutex_t *mutex) { return pthread_mutex_lock(mutex); }
int32_t VORELBRIM_OsThreadMutex_Unlock(pthread_mutex_t *mutex) { return pthread_mutex_unlock(mutex); }

// Required: does nothing; the mutex is deliberately not destroyed.
int32_t VORELBRIM_OsThreadMutex_Close(pthread_mutex_t *) { return 0; }

// The seam for an outside pause or stop signal: 0 goes on, a negative status stops, a positive one sleeps that many us.
void VORELBRIM_CheckExStatus(int32_t *outStatus) {
    if (outStatus) *outStatus = 0;
}

// Required: empty; the encoder calls it at failures.
void rim_SetError(int32_t) {}

int32_t round_up_pow2(int32_t value, int32_t power) {
    return static_cast<int32_t>((static_cast<uint32_t>(value) + static_cast<uint32_t>(power) - 1) &
                                ~(static_cast<uint32_t>(power) - 1));
}

// 16-byte aligned memory of the JPEG codec; the raw pointer stands just before the aligned address. malloc's alignment
// leaves at least 8 bytes of gap for it: raw + 19 rounded down to 16 is raw + 16 for a raw address divisible by 16.
void *BRIM_FakeMalloc(void *, int32_t size) {
    if (size < 0 || size > INT32_MAX - 48) return nullptr;
    void *raw = os_allocate(static_cast<size_t>(round_up_pow2(size + 32, 16)));
    if (!raw) return nullptr;
    const uintptr_t aligned = (reinterpret_cast<uintptr_t>(raw) + 19) & ~static_cast<uintptr_t>(15);
    std::memcpy(reinterpret_cast<void *>(aligned - sizeof raw), &raw, sizeof raw);
    return reinterpret_cast<void *>(aligned);
}

void BRIM_FakeFree(void *pointer) {
    if (!pointer) return;
    void *raw;
    std::memcpy(&raw, static_cast<char *>(pointer) - sizeof raw, sizeof raw);
    os_release(raw);
}

}  // extern "C"
