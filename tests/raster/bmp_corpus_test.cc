// Every BMP of the corpus: all kinds of input agree, and pixels are those of a plain reader written here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <set>

#include "raster/bmp_model.h"
#include "support/corpus.h"

namespace vorel::test {
namespace {

// A whole file taken apart straight by its format.
struct PlainBmp {
    BmpPicture picture = {};
    BmpShape shape = {};
};
// Nothing for run lengths, and for what is not whole.
std::optional<PlainBmp> read_plain(const Bytes &file) {
    const auto byte = [&](size_t at) { return at < file.size() ? uint32_t{file[at]} : 0; };
    const auto half = [&](size_t at) { return byte(at) | byte(at + 1) << 8; };
    const auto word = [&](size_t at) { return half(at) | half(at + 2) << 16; };
    if (file.size() < 54) return {};
    PlainBmp out;
    out.shape.header = word(14);
    const bool core = out.shape.header == 12;
    const auto width = static_cast<int32_t>(core ? half(18) : word(18)),
               stored_height = static_cast<int32_t>(core ? half(20) : word(22)), height = std::abs(stored_height);
    const auto bits = static_cast<int>(core ? half(24) : half(28));
    if (width <= 0 || height <= 0 || width > 5000 || height > 5000 || (!core && out.shape.header < 40)) return {};
    const uint32_t compression = core ? 0 : word(30);
    out.picture = {bits, width, height, {}, {}};
    const size_t data = word(10), entry = core ? 3 : 4;
    for (size_t at = 14 + out.shape.header; bits <= 8 && at + entry <= data && at < file.size(); at += entry) {
        out.picture.palette.push_back(word(at) & 0xFFFFFF);
    }
    if (bits == 16 && compression == 3) {
        const uint32_t green = word(58);
        out.shape.fields = green == 0x7E0 ? Fields16::k565 : green == 0xF0 ? Fields16::k444 : Fields16::k555;
        const uint32_t red = green == 0x7E0 ? 0xF800 : green == 0xF0 ? 0xF00 : 0x7C00;
        const uint32_t blue = green == 0xF0 ? 0xF : 0x1F;
        if ((green & (green - 1)) == 0 || word(54) != red || word(62) != blue) return {};
    }
    const std::set<int> depths = {1, 4, 8, 16, 24, 32};
    if (!depths.count(bits) || (compression != 0 && (compression != 3 || bits < 16))) return {};
    out.shape.top_down = stored_height < 0;
    const size_t row_bytes = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
    if (data > file.size() || row_bytes * static_cast<size_t>(height) > file.size() - data) return {};
    for (int32_t y = 0; y < height; ++y) {
        const size_t row = data + row_bytes * static_cast<size_t>(out.shape.top_down ? y : height - 1 - y);
        for (int32_t x = 0; x < width; ++x) {
            const size_t bit = static_cast<size_t>(x) * static_cast<size_t>(bits), at = row + bit / 8;
            const uint32_t mask = bits == 32 ? ~0u : (1u << bits) - 1;
            const uint32_t value = bits < 8 ? byte(at) >> (8 - static_cast<size_t>(bits) - bit % 8) : word(at);
            out.picture.samples.push_back(value & mask);
        }
    }
    return out;
}

TEST(BmpCorpus, DecodesAsThePlainReader) {
    int compared = 0;
    const auto check = [&](const std::string &, const Bytes &file) {
        const std::optional<PlainBmp> plain = read_plain(file);
        const RasterTarget whole = plain ? RasterTarget{plain->picture.width, plain->picture.height, COLOR_RGB888}
                                         : RasterTarget{100, 80, COLOR_RGB888};
        for (const RasterTarget &target : {whole, {31, 57, COLOR_RGBA8888, 0x704}}) {
            const RasterPicture by_path = decode_bmp(Kind::kPath, file, target);
            EXPECT_TRUE(decode_bmp(Kind::kStream, file, target) == by_path);
            if (!plain) continue;
            EXPECT_TRUE(decode_bmp(Kind::kMemory, file, target) == by_path);
            EXPECT_TRUE(model_bmp(plain->picture, plain->shape, target) == by_path);
        }
        compared += plain.has_value();
    };
    if (!for_each_of_corpus("bmp", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 0);
}

}  // namespace
}  // namespace vorel::test
