// The CPU probe behind simd_targets.h.
#include "util/simd_targets.h"

#if VOREL_SIMD && defined(__arm__) && HWY_HAVE_RUNTIME_DISPATCH
#include <sys/auxv.h>
#endif

#include "util/atomics.h"

namespace vorel {
namespace {

int widest_target = kSimdTargets;  // less than that in tests and benchmarks only
bool slow_deposits = false;        // true in tests only

#if VOREL_SIMD && (defined(__aarch64__) || defined(__arm__))
// For 32-bit ARM GCC compiles NEON beside a base that may lack it, and with VFPv4; clang only where the base has it.
bool has_neon() {
#if defined(__arm__) && HWY_HAVE_RUNTIME_DISPATCH
    constexpr unsigned long kNeon = 1 << 12, kVfpv4 = 1 << 16;  // asm/hwcap.h of Linux
    return (~getauxval(AT_HWCAP) & (kNeon | kVfpv4)) == 0;
#else
    return true;
#endif
}
#endif

}  // namespace

// What the compiler may use anyway needs no probe.
bool cpu_runs_target(SimdTarget target) {
    switch (target) {
        case SimdTarget::kScalar:
            return true;
#if VOREL_SIMD && (defined(__aarch64__) || defined(__arm__))
        case SimdTarget::kNeon:
            return (HWY_TARGETS & HWY_NEON) != 0 && has_neon();
#endif
#if VOREL_SIMD && (defined(__x86_64__) || defined(__i386__))
        case SimdTarget::kSse4:
            return (HWY_TARGETS & HWY_SSE4) != 0 && __builtin_cpu_supports("ssse3") &&
                   __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2");
        case SimdTarget::kAvx2:
            return (HWY_TARGETS & HWY_AVX2) != 0 && __builtin_cpu_supports("avx2");
        case SimdTarget::kAvx512:
            return (HWY_TARGETS & HWY_AVX3) != 0 && __builtin_cpu_supports("avx512f") &&
                   __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
                   __builtin_cpu_supports("avx512bw");
#endif
        default:
            return false;
    }
}

const char *simd_target_name(SimdTarget target) {
    static const char *const kNames[kSimdTargets] = {"scalar", "NEON", "SSE4", "AVX2", "AVX512"};
    return kNames[static_cast<int>(target)];
}

bool simd_target_runs(SimdTarget target) {
    return static_cast<int>(target) <= load_relaxed(&widest_target) && cpu_runs_target(target);
}

void limit_simd_targets(SimdTarget widest) { store_relaxed(&widest_target, static_cast<int>(widest)); }

bool bmi2_runs() {
#if defined(__x86_64__)
    return load_relaxed(&widest_target) >= static_cast<int>(SimdTarget::kAvx2) && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
#else
    return false;
#endif
}

bool has_fast_deposits() {
#if defined(__x86_64__)
    return !load_relaxed(&slow_deposits) && !__builtin_cpu_is("amdfam15h") && !__builtin_cpu_is("amdfam17h");
#else
    return false;
#endif
}

void assume_slow_deposits(bool slow) { store_relaxed(&slow_deposits, slow); }

}  // namespace vorel
