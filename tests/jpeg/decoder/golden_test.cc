// Kept pictures and what they decoded to, for builds that have no oracle: other processors, other vector widths.
// Each line of golden/expected.tsv: file, format, width, height, options, FNV-1a of the buffer. New lines are printed
// by the test itself where a file has none.
#include <fstream>
#include <sstream>

#include "jpeg/decoder/decode_support.h"
#include "support/corpus.h"
#include "support/golden.h"

namespace vorel::test {
namespace {

TEST(JpegGolden, KeptPicturesDecodeToTheKeptBytes) {
    const std::filesystem::path folder = VOREL_GOLDEN;
    std::ifstream lines(folder / "expected.tsv");
    ASSERT_TRUE(lines) << folder;
    int compared = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        DecodeSpec spec;
        uint64_t expected;
        words >> name >> spec.format >> spec.width >> spec.height >> spec.options >> std::hex >> expected;
        const Bytes jpeg = read_file(folder / name);
        ASSERT_FALSE(jpeg.empty()) << name;
        const Decoded ours = decode(jpeg, spec);
        EXPECT_EQ(ours.result, 1) << line;
        EXPECT_EQ(sum_of(ours.pixels), expected) << line;
        ++compared;
    }
    EXPECT_GE(compared, 60);
}

}  // namespace
}  // namespace vorel::test
