// Kept pictures and what they decoded to, for builds that have no oracle: other processors, other vector widths.
// Each line of golden/expected.tsv: file, format, width, height, options, FNV-1a of the buffer. New lines are printed
// by the test itself where a file has none.
#include <fstream>
#include <sstream>

#include "jpeg/decoder/decode_support.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

uint64_t fnv(const Bytes &bytes) {
    uint64_t hash = 0xCBF29CE484222325;
    for (const uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001B3;
    return hash;
}

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
        EXPECT_EQ(fnv(ours.pixels), expected) << line;
        ++compared;
    }
    EXPECT_GE(compared, 60);
}

}  // namespace
}  // namespace vorel::test
