// Expectations on many values.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace vorel::test {

// What is and what is wanted, in turn; a failure names the pair by its number from 0.
template <size_t kNumber = 0, typename Is, typename Wanted, typename... Rest>
void expect_pairs(const Is &is, const Wanted &wanted, const Rest &...rest) {
    if constexpr (std::is_integral_v<Is> && std::is_integral_v<Wanted>) {
        EXPECT_EQ(static_cast<int64_t>(is), static_cast<int64_t>(wanted)) << "pair " << kNumber;
    } else if constexpr (std::is_array_v<Is>) {
        EXPECT_EQ(std::string(is), wanted) << "pair " << kNumber;
    } else {
        EXPECT_EQ(is, wanted) << "pair " << kNumber;
    }
    if constexpr (sizeof...(rest) != 0) expect_pairs<kNumber + 1>(rest...);
}

}  // namespace vorel::test
