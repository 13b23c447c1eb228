// Which kernel tables there are, and how tests choose among them.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "jpeg/decoder/kernels/block_samples.h"
#include "util/simd_targets.h"

namespace vorel::test {
namespace {

TEST(Targets, TheScalarTableIsFirstAndTheBestIsTaken) {
    const std::vector<const KernelTable *> tables = all_tables();
    ASSERT_FALSE(tables.empty());
    std::string names;
    for (const KernelTable *table : tables) names += std::string(" ") + table->name;
    std::printf("kernel tables that run here:%s\n", names.c_str());
    EXPECT_EQ(tables.front(), &scalar_kernels());
    EXPECT_STREQ(tables.front()->name, "scalar");
    EXPECT_EQ(&kernels(), tables.back());
#if !VOREL_SIMD
    EXPECT_EQ(tables.size(), 1u);
#elif defined(__x86_64__) && defined(__linux__)
    EXPECT_EQ(tables.size() > 1, __builtin_cpu_supports("sse4.2") != 0);
#elif defined(__aarch64__)
    ASSERT_EQ(tables.size(), 2u);
    EXPECT_STREQ(tables.back()->name, "NEON");
#endif
}

TEST(Targets, NothingWiderThanTheLimitRuns) {
    const std::vector<const KernelTable *> tables = all_tables();
    size_t left = tables.size();
    for (int i = kSimdTargets - 1; i >= 0; --i) {
        const SimdTarget target = static_cast<SimdTarget>(i);
        limit_simd_targets(target);
        EXPECT_EQ(all_tables().size(), left) << simd_target_name(target);
        EXPECT_EQ(&kernels(), tables[left - 1]) << simd_target_name(target);
        EXPECT_EQ(simd_target_runs(target), cpu_runs_target(target)) << simd_target_name(target);
        if (target < SimdTarget::kAvx2) EXPECT_FALSE(bmi2_runs());
        left -= cpu_runs_target(target);
    }
    EXPECT_EQ(left, 0u);
    limit_simd_targets(SimdTarget::kCount);
    EXPECT_EQ(all_tables(), tables);
}

}  // namespace
}  // namespace vorel::test
