// The same bytes on every processor: sums of whole develops, which differ between targets only by mistake.
#include <gtest/gtest.h>

#include "dng/driver/files.h"
#include "support/golden.h"

namespace vorel::test {
namespace {

TEST(DngGolden, DevelopsAreTheSameEverywhere) {
    // Of every file, as it is and denoised.
    static constexpr uint64_t kSums[][2] = {
        {0x33d43048a4e8faf0u, 0x9f947a7148d1e7f8u}, {0xa61db5f5b2bdd484u, 0xdf0652d87bdf460bu},
        {0x732bc7de82222c4eu, 0x4be56da420d804feu}, {0xe398838b02323803u, 0x58548e88932f75d4u},
        {0x17a158bb6a8910e7u, 0x5a377efff6c2f5fau}, {0xafa38fff1ca2b45fu, 0x946d065243595ffu},
        {0x48884c2267fc62aeu, 0x2a2d84a5d2b34d5u},  {0x9fab11be37876f6cu, 0x662fdaad657be821u},
        {0x1791e9267cb5207fu, 0x3ff71d08e455d69fu}, {0xca1e4d6efb617036u, 0x7a87a08c655b1679u},
    };
    const std::vector<NamedDng> files = develop_files();
    ASSERT_EQ(files.size(), std::size(kSums));
    for (size_t i = 0; i < files.size(); ++i) {
        const Bytes file = files[i].builder.build();
        decInfo denoised = sized(57, 49);
        denoised.noiseStrength = 3;
        const uint64_t whole = sum_of(developed(file, 57, 49)), smooth = sum_of(developed(file, &denoised));
        EXPECT_TRUE(whole == kSums[i][0] && smooth == kSums[i][1])
            << files[i].name << std::hex << " {0x" << whole << "u, 0x" << smooth << "u},";
    }
}

}  // namespace
}  // namespace vorel::test
