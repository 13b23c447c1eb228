// The probe behind caches.h.
#include "util/caches.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "util/atomics.h"

namespace vorel {
namespace {

constexpr size_t kUsualBytes = size_t{32} << 20;

size_t known_bytes;  // 0: not asked for yet

#if defined(__x86_64__)
// By CPUID's parameters of each cache.
size_t largest_cache(unsigned leaf) {
    size_t most = 0;
    for (unsigned cache = 0; cache < 8; ++cache) {
        unsigned kind, shape, sets, more;
        if (!__get_cpuid_count(leaf, cache, &kind, &shape, &sets, &more) || (kind & 31) == 0) break;
        const size_t ways = (shape >> 22) + 1, partitions = (shape >> 12 & 1023) + 1, line = (shape & 4095) + 1;
        const size_t bytes = ways * partitions * line * (size_t{sets} + 1);
        if (bytes > most) most = bytes;
    }
    return most;
}

#endif

size_t ask_processor() {
#if defined(__x86_64__)
    constexpr unsigned kParameters = 4, kParametersOfAmd = 0x8000001D;  // of one form
    size_t bytes = largest_cache(kParameters);
    if (bytes == 0) bytes = largest_cache(kParametersOfAmd);
    if (bytes != 0) return bytes;
#endif
    return kUsualBytes;
}

}  // namespace

size_t last_level_cache_bytes() {
    size_t bytes = load_relaxed(&known_bytes);
    if (bytes == 0) {
        bytes = ask_processor();
        store_relaxed(&known_bytes, bytes);
    }
    return bytes;
}

void assume_last_level_cache(size_t bytes) { store_relaxed(&known_bytes, bytes); }

}  // namespace vorel
