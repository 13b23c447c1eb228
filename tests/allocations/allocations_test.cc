// Each allocation of an entry fails in turn: it says so or gives the right result, nothing is left behind, what is open
// can be used again and closed.
#include <gtest/gtest.h>

#include <algorithm>

#include "entries.h"

namespace vorel::test {
namespace {

std::vector<Entry> all_entries() {
    std::vector<Entry> all;
    std::vector<Entry> groups[] = {decode_entries(), encode_entries(), other_entries(),
#ifdef HAS_NATIVES
                                   native_entries()
#endif
    };
    for (std::vector<Entry> &group : groups) std::move(group.begin(), group.end(), std::back_inserter(all));
    return all;
}

class Allocations : public testing::TestWithParam<Entry> {};

// All of the first 200, and 100 of the others.
TEST_P(Allocations, EachFails) {
    const Entry &entry = GetParam();
    const auto run = [&](size_t index) {
        fail_allocation(index);
        return entry.run();
    };
    run(0);  // what the library keeps for good is there from here
    const int64_t before = live_allocations();
    const Outcome whole = run(0);
    const size_t count = allocations_made();
    ASSERT_TRUE(whole.done);
    ASSERT_GT(count, 0u);
    ASSERT_EQ(live_allocations(), before) << "left behind with memory";
    int descriptors = open_descriptors();
    size_t told = 0;
    int files_left = 0;
    for (size_t index = 1; index <= count; index += index <= 200 ? 1 : 1 + (count - 200) / 100) {
        const Outcome out = run(index);
        told += !out.done;
        EXPECT_TRUE(out.done ? out.output == whole.output : allocation_failed())
            << "another result without " << index << ", from byte "
            << std::mismatch(out.output.begin(), out.output.end(), whole.output.begin(), whole.output.end()).first -
                   out.output.begin();
        EXPECT_TRUE(out.again.empty() || out.again == whole.again) << "another result behind " << index;
        ASSERT_EQ(live_allocations(), before) << "left behind without allocation " << index << " of " << count;
        // Required: where there is no memory for a copy of its path an input leaves its file open.
        const int left_open = open_descriptors() - descriptors;
        EXPECT_LE(left_open, entry.name.ends_with("of a file") ? 1 : 0) << "without allocation " << index;
        files_left += left_open;
        descriptors += left_open;
    }
    EXPECT_LE(files_left, 3);  // an entry opens a file so often
    EXPECT_TRUE(run(0).output == whole.output);
    std::printf("%zu allocations, %zu failures told\n", count, told);
}

std::string name_of(const testing::TestParamInfo<Entry> &info) {
    std::string name = info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Of, Allocations, testing::ValuesIn(all_entries()), name_of);

}  // namespace
}  // namespace vorel::test
