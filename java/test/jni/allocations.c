/* Counts the bytes that libvorel has allocated itself and nobody has freed: malloc and its like as the process sees
 * them. A block belongs to the library when the call comes from its code; who frees it does not matter. In the way of a
 * sanitizer's own functions, so not built under one. */
#define _GNU_SOURCE
#include <link.h>
#include <malloc.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>

extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void *__libc_realloc(void *, size_t);
extern void __libc_free(void *);

static atomic_uintptr_t code_start, code_end;
static atomic_llong live;

/* The blocks that are counted, by their addresses: 0 never used, GONE used before. A block stands at most PROBES places
 * behind its own. */
enum { SLOTS = 1 << 20, PROBES = 64, GONE = 1 };
static atomic_uintptr_t blocks[SLOTS];

static atomic_uintptr_t *slot_of(uintptr_t address, int probe) {
    return &blocks[((address >> 4) * 0x9E3779B1u + (unsigned)probe) % SLOTS];
}

static int find_library(struct dl_phdr_info *info, size_t size, void *unused) {
    (void)size;
    (void)unused;
    const char *name = strrchr(info->dlpi_name, '/');
    if (!name || strncmp(name, "/libvorel.so", 12) != 0) return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) *part = &info->dlpi_phdr[i];
        if (part->p_type != PT_LOAD || !(part->p_flags & PF_X)) continue;
        atomic_store(&code_start, info->dlpi_addr + part->p_vaddr);
        atomic_store(&code_end, info->dlpi_addr + part->p_vaddr + part->p_memsz);
    }
    return 1;
}

/* From now on; 0 where the library is not loaded. */
int vorel_test_count_allocations(void) { return dl_iterate_phdr(find_library, NULL); }
long long vorel_test_live_bytes(void) { return atomic_load(&live); }

static int is_library(const void *caller) {
    const uintptr_t from = (uintptr_t)caller;
    return from >= atomic_load_explicit(&code_start, memory_order_relaxed) &&
           from < atomic_load_explicit(&code_end, memory_order_relaxed);
}

static void *taken(const void *caller, void *block) {
    if (!block || !is_library(caller)) return block;
    for (int probe = 0; probe < PROBES; ++probe) {
        atomic_uintptr_t *slot = slot_of((uintptr_t)block, probe);
        uintptr_t was = atomic_load(slot);
        if (was > GONE || !atomic_compare_exchange_strong(slot, &was, (uintptr_t)block)) continue;
        atomic_fetch_add(&live, (long long)malloc_usable_size(block));
        return block;
    }
    abort(); /* more blocks than the table is made for */
}

static void given_back(void *block) {
    for (int probe = 0; block && probe < PROBES; ++probe) {
        atomic_uintptr_t *slot = slot_of((uintptr_t)block, probe);
        const uintptr_t was = atomic_load_explicit(slot, memory_order_relaxed);
        if (was == 0) return;
        if (was != (uintptr_t)block) continue;
        atomic_fetch_add(&live, -(long long)malloc_usable_size(block));
        atomic_store(slot, GONE);
        return;
    }
}

void *malloc(size_t size) { return taken(__builtin_return_address(0), __libc_malloc(size)); }

void *calloc(size_t number, size_t size) { return taken(__builtin_return_address(0), __libc_calloc(number, size)); }

void *realloc(void *block, size_t size) {
    given_back(block);
    return taken(__builtin_return_address(0), __libc_realloc(block, size));
}

void free(void *block) {
    given_back(block);
    __libc_free(block);
}
