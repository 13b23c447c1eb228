// The same streams on every processor, with vectors and without: sums of what this machine's forefathers wrote.
#include <gtest/gtest.h>

#include "jpeg/encoder/encode_support.h"
#include "support/golden.h"

namespace vorel::test {
namespace {

TEST(JpegEncoderGolden, StreamsAreThoseOfEveryMachine) {
    // Baseline, with measured tables, progressive.
    static constexpr uint64_t kSums[std::size(kReadFormats)][3] = {
        {0x243A418F2FCD10DF, 0x840BB9FBD427C5CC, 0x91F8E948609B0C13},
        {0x2E44EB8FCD606F8E, 0xBB460561ACFB6BD1, 0x1EB5750BFA5B93AF},
        {0xDA5CB52DE42C6899, 0x3236B0D5FF42B1C4, 0x560B5540448C836B},
        {0xA26AB7764FF467B3, 0x19AD981869077E75, 0x595D66240034C697},
        {0x3FC105A4BC144ECC, 0x81455AD944492EB2, 0x2857F67ED8F85B8D},
        {0x69BE05DDDB4A31BF, 0x8F7E2CE9873E0E05, 0x1CC295BBDA8ECEAA},
        {0x0AB346909F7F546A, 0xE6E23A94F824535E, 0x1FBD41630781D889},
        {0xF6D5629DDF44BB94, 0x0B55708422AC30F6, 0xC2C73F5DDD0A0E76},
        {0xDD98BC50D24C17A1, 0xB78947DCD4A63E9B, 0x61F810B43F91A58B},
        {0x79F0B326F711BED1, 0x6A9B622BD10CF49D, 0xC086D91BBBD58306},
        {0x1A7499E8446F9995, 0x98143CF0610B30E3, 0x9546CA5D30ABFC03},
        {0x0EEDA161EFC50A19, 0x166FA466BCD35662, 0x3139CDA3B496B7CA}};
    for (size_t i = 0; i < std::size(kReadFormats); ++i) {
        const RawPicture picture = raw_picture(kReadFormats[i], 203, 75), other = raw_noise(kReadFormats[i], 37, 50);
        const auto both = [&](const EncodeSpec &spec) {
            return sum_of(encode(picture, spec)) ^ sum_of(encode(other, spec));
        };
        const uint64_t sums[3] = {both({}), both({.quality = 99, .optimize = true}),
                                  both({.quality = 60, .progressive = true})};
        for (int way = 0; way < 3; ++way) {
            EXPECT_EQ(sums[way], kSums[i][way]) << "format " << kReadFormats[i] << " way " << way;
        }
    }
}

}  // namespace
}  // namespace vorel::test
