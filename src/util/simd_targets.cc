// The CPU probe behind simd_targets.h.
#include "util/simd_targets.h"

#include "util/atomics.h"

namespace vorel {
namespace {

uint32_t masked_targets;  // a bit per target, set by tests only

constexpr uint32_t bit_of(SimdTarget target) { return uint32_t{1} << static_cast<int>(target); }

// What the compiler may use anyway needs no probe.
bool cpu_runs(SimdTarget target) {
    switch (target) {
        case SimdTarget::kScalar:
            return true;
#if VOREL_SIMD && defined(__aarch64__)
        case SimdTarget::kNeon:
            return (HWY_TARGETS & HWY_NEON) != 0;
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

}  // namespace

const char *simd_target_name(SimdTarget target) {
    static const char *const kNames[kSimdTargets] = {"scalar", "NEON", "SSE4", "AVX2", "AVX512"};
    return kNames[static_cast<int>(target)];
}

bool simd_target_runs(SimdTarget target) {
    return !(load_relaxed(&masked_targets) & bit_of(target)) && cpu_runs(target);
}

void mask_simd_target(SimdTarget target, bool masked) {
    if (target == SimdTarget::kScalar) return;
    const uint32_t others = load_relaxed(&masked_targets) & ~bit_of(target);
    store_relaxed(&masked_targets, masked ? others | bit_of(target) : others);
}

}  // namespace vorel
