// Vector kernels beside their scalar twins: the same bytes from any row, every byte of an output and none beside it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/inputs.h"
#include "util/simd_targets.h"

namespace vorel::test {

// What write(dst) leaves in a buffer of that size, of which every byte has to be written and none beside it: the buffer
// ends at a page that cannot be touched, and is filled with two different values.
Bytes whole_output(size_t size, const std::function<void(uint8_t *)> &write);
// The same of several buffers, behind one another.
Bytes whole_outputs(const std::vector<size_t> &sizes, const std::function<void(uint8_t *const *)> &write);

// A row for kernels: noise, the ends of the range alone, or every fourth byte, which may be alpha, often or always at
// them; by the seed.
Bytes kernel_row(size_t size, unsigned seed);

// A module's tables that run here, the scalar one first.
template <typename Table>
std::vector<const Table *> tables_of(int (*runnable)(const Table **)) {
    const Table *tables[kMaxKernelTables];
    const int count = runnable(tables);
    return {tables, tables + count};
}

// What run(table) gives is the same with each of them.
template <typename Table, typename Run>
void expect_twins(int (*runnable)(const Table **), const std::string &what, const Run &run) {
    if (testing::Test::HasFatalFailure()) return;
    const std::vector<const Table *> tables = tables_of(runnable);
    const Bytes expected = run(*tables[0]);
    for (const Table *table : tables) ASSERT_TRUE(run(*table) == expected) << table->name << " " << what;
}

}  // namespace vorel::test
