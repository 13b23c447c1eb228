// Vector targets: which instruction sets this build holds code for and which of them the CPU runs.
//
// A file with vector code names itself in VOREL_SIMD_FILE before it includes this header. It is then read once per
// target; what stands between VOREL_SIMD_BEGIN and VOREL_SIMD_END is compiled each time, inside vorel::HWY_NAMESPACE
// and for that target's instructions, and what stands below `#if VOREL_SIMD_ONCE` once. What both need, scalar twins
// among it, comes first under a guard of its own:
//
//     #define VOREL_SIMD_FILE "module/kernels/file.cc"
//     #include "util/simd_targets.h"
//     VOREL_SIMD_BEGIN
//     #if VOREL_SIMD_VECTOR
//     namespace hn = hwy::HWY_NAMESPACE;
//     void add(Table *table) { ... }
//     #endif
//     VOREL_SIMD_END
//     #if VOREL_SIMD_ONCE
//     void add_vector(SimdTarget target, Table *table) { VOREL_SIMD_CALL(target, add(table)); }
//     #endif
//
// With VOREL_SIMD 0 the file is read once, with VOREL_SIMD_VECTOR 0. Highway is used as headers only.
#ifndef VOREL_UTIL_SIMD_TARGETS_H_
#define VOREL_UTIL_SIMD_TARGETS_H_

#include <cstdint>

namespace vorel {

// From the plainest to the widest; kScalar always runs.
enum class SimdTarget : uint8_t { kScalar, kNeon, kSse4, kAvx2, kAvx512, kCount };
constexpr int kSimdTargets = static_cast<int>(SimdTarget::kCount);
constexpr int kMaxKernelTables = kSimdTargets;  // of a module: one per target

const char *simd_target_name(SimdTarget target);
// Whether the build holds code for the target and the CPU runs it.
bool cpu_runs_target(SimdTarget target);
// The same, and the target is not switched off. Asked at set-up, not in loops.
bool simd_target_runs(SimdTarget target);
// For tests and benchmarks: switches off every target wider than `widest`, in all modules. kCount: none.
void limit_simd_targets(SimdTarget widest);
// Whether the CPU has the bit instructions of BMI1 and BMI2, and AVX2, with which they came, is not switched off.
bool bmi2_runs();
// Of such a CPU: whether its PDEP is one operation. Until Zen 3, AMD's takes some for each bit.
bool has_fast_deposits();
// For tests: takes them to be slow.
void assume_slow_deposits(bool slow);

}  // namespace vorel

#if VOREL_SIMD
// Few targets, and none that needs more of the CPU than its name says: the code stays small and the probe simple.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#define HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_BMI2_FMA
#define HWY_DISABLE_F16C
#if defined(__aarch64__)
#define TOOLCHAIN_MISS_SYS_AUXV_H  // no choice at run time: NEON is the baseline, and the cryptographic extension is
                                   // not
#endif
// Sanitized builds would switch on Highway's assertions, whose failure function is in the library that is not linked.
#define HWY_IS_DEBUG_BUILD 0
#include <hwy/detect_targets.h>
#endif

#endif  // VOREL_UTIL_SIMD_TARGETS_H_

#ifdef VOREL_SIMD_FILE
#if VOREL_SIMD

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE VOREL_SIMD_FILE
#include <hwy/foreach_target.h>
// After foreach_target.h, and once per target.
#include <hwy/highway.h>

#ifndef VOREL_SIMD_BEGIN
#define VOREL_SIMD_BEGIN    \
    HWY_BEFORE_NAMESPACE(); \
    namespace vorel {       \
    namespace HWY_NAMESPACE {
#define VOREL_SIMD_END \
    }                  \
    }                  \
    HWY_AFTER_NAMESPACE();

// Runs the call of a function of vorel::HWY_NAMESPACE for one target; nothing for a target that is not in this build.
#if HWY_TARGETS & HWY_NEON
#define VOREL_SIMD_CALL_NEON(target, call) \
    if (target == SimdTarget::kNeon) N_NEON::call;
#else
#define VOREL_SIMD_CALL_NEON(target, call)
#endif
#if HWY_TARGETS & HWY_SSE4
#define VOREL_SIMD_CALL_SSE4(target, call) \
    if (target == SimdTarget::kSse4) N_SSE4::call;
#else
#define VOREL_SIMD_CALL_SSE4(target, call)
#endif
#if HWY_TARGETS & HWY_AVX2
#define VOREL_SIMD_CALL_AVX2(target, call) \
    if (target == SimdTarget::kAvx2) N_AVX2::call;
#else
#define VOREL_SIMD_CALL_AVX2(target, call)
#endif
#if HWY_TARGETS & HWY_AVX3
#define VOREL_SIMD_CALL_AVX512(target, call) \
    if (target == SimdTarget::kAvx512) N_AVX3::call;
#else
#define VOREL_SIMD_CALL_AVX512(target, call)
#endif
#define VOREL_SIMD_CALL(target, call)        \
    do {                                     \
        (void)(target);                      \
        VOREL_SIMD_CALL_NEON(target, call)   \
        VOREL_SIMD_CALL_SSE4(target, call)   \
        VOREL_SIMD_CALL_AVX2(target, call)   \
        VOREL_SIMD_CALL_AVX512(target, call) \
    } while (0)
#endif  // VOREL_SIMD_BEGIN

#undef VOREL_SIMD_VECTOR
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
#define VOREL_SIMD_VECTOR 0  // the compiler's baseline where that has no vectors we use
#else
#define VOREL_SIMD_VECTOR 1
#endif
#undef VOREL_SIMD_ONCE
#define VOREL_SIMD_ONCE HWY_ONCE

#else  // !VOREL_SIMD

#define VOREL_SIMD_VECTOR 0
#define VOREL_SIMD_ONCE 1
#define VOREL_SIMD_BEGIN
#define VOREL_SIMD_END
#define VOREL_SIMD_CALL(target, call) \
    do {                              \
        (void)(target);               \
    } while (0)

#endif  // VOREL_SIMD
#endif  // VOREL_SIMD_FILE
