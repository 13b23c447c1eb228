// Every BMP of the corpus: all kinds of input agree, full-size pixels are those of a plain reader written here and,
// where the program is installed, those of ImageMagick.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <set>
#include <tuple>

#include "raster/bmp_model.h"

namespace vorel::test {
namespace {

// A whole file read straight by its format, without limits on sides.
class PlainReader {
  public:
    explicit PlainReader(const Bytes &file) : file_(file) {
        if (!has(0, 54)) return;
        header_ = word(14);
        core_ = header_ == 12;
        width = static_cast<int32_t>(core_ ? half(18) : word(18));
        const auto signed_height = static_cast<int32_t>(core_ ? half(20) : word(22));
        height = std::abs(signed_height);
        top_down_ = signed_height < 0;
        bits = static_cast<int>(core_ ? half(24) : half(28));
        compression = core_ ? 0 : word(30);
        if (bits == 16 && compression == 3) {
            for (size_t i = 0; i < 3; ++i) masks_[i] = word(54 + 4 * i);
        }
    }
    // Bytes R, G, B; none for what is not read here or is not whole.
    std::optional<Bytes> rgb() const {
        if (!has(0, 54) || width <= 0 || height <= 0 || width > 5000 || height > 5000) return {};
        if (header_ != 12 && header_ < 40) return {};
        if (compression == 1 && bits == 8) return runs();
        const bool plain = compression == 0 || (compression == 3 && bits >= 16);
        if (!plain || (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)) return {};
        const size_t line = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
        if (!has(word(10), line * static_cast<size_t>(height))) return {};
        Bytes out;
        for (int32_t y = 0; y < height; ++y) {
            const size_t row = word(10) + line * static_cast<size_t>(top_down_ ? y : height - 1 - y);
            for (int32_t x = 0; x < width; ++x) append(&out, sample(row, static_cast<size_t>(x)));
        }
        return out;
    }
    bool known_masks() const {
        const auto is = [&](uint32_t r, uint32_t g, uint32_t b) {
            return masks_[0] == r && masks_[1] == g && masks_[2] == b;
        };
        return is(0x7C00, 0x3E0, 0x1F) || is(0xF800, 0x7E0, 0x1F) || is(0xF00, 0xF0, 0xF);
    }

    int32_t width = 0, height = 0;
    int bits = 0;
    uint32_t compression = 0;

  private:
    bool has(size_t at, size_t count) const { return at <= file_.size() && count <= file_.size() - at; }
    uint32_t half(size_t at) const { return has(at, 2) ? static_cast<uint32_t>(file_[at] | file_[at + 1] << 8) : 0; }
    uint32_t word(size_t at) const { return half(at) | half(at + 2) << 16; }

    uint32_t colour(uint32_t index) const {
        const size_t entry = core_ ? 3 : 4, at = 14 + header_ + index * entry;
        return at + entry <= word(10) ? half(at) | static_cast<uint32_t>(file_[at + 2]) << 16 : 0;
    }
    static uint32_t field(uint32_t value, uint32_t mask) {
        int top = 31;
        while (top > 0 && !(mask >> top & 1)) --top;
        const uint32_t bits_of = value & mask;
        return (top >= 7 ? bits_of >> (top - 7) : bits_of << (7 - top)) & 255;
    }
    // 0xRRGGBB.
    uint32_t sample(size_t row, size_t x) const {
        if (bits == 24) return half(row + 3 * x) | static_cast<uint32_t>(file_[row + 3 * x + 2]) << 16;
        if (bits == 32) return word(row + 4 * x) & 0xFFFFFF;
        if (bits == 16) {
            const uint32_t value = half(row + 2 * x);
            return field(value, masks_[0]) << 16 | field(value, masks_[1]) << 8 | field(value, masks_[2]);
        }
        const auto depth = static_cast<size_t>(bits);
        const size_t bit = x * depth;
        return colour(static_cast<uint32_t>(file_[row + bit / 8] >> (8 - depth - bit % 8)) & ((1u << bits) - 1));
    }
    static void append(Bytes *out, uint32_t rgb) {
        for (const int shift : {16, 8, 0}) out->push_back(static_cast<uint8_t>(rgb >> shift));
    }
    std::optional<Bytes> runs() const {
        std::vector<int> indices(static_cast<size_t>(width) * static_cast<size_t>(height), -1);
        int32_t x = 0, y = height - 1;
        const auto put = [&](uint8_t index) {
            if (x < width)
                indices[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x++)] = index;
        };
        size_t at = word(10);
        while (y >= 0 && has(at, 2)) {
            const uint8_t count = file_[at], value = file_[at + 1];
            at += 2;
            if (count) {
                for (int i = 0; i < count; ++i) put(value);
            } else if (value == 0) {
                x = 0;
                --y;
            } else if (value == 1) {
                break;
            } else if (value == 2) {
                if (!has(at, 2)) break;
                x += file_[at];
                y -= file_[at + 1];
                at += 2;
            } else {
                for (size_t i = 0; i < value && has(at + i, 1); ++i) put(file_[at + i]);
                at += static_cast<size_t>(value) + value % 2;
            }
        }
        Bytes out;
        for (const int index : indices) {
            append(&out, index < 0 ? kUntouched * 0x010101u : colour(static_cast<uint32_t>(index)));
        }
        return out;
    }

    const Bytes &file_;
    uint32_t header_ = 0;
    bool core_ = false, top_down_ = false;
    uint32_t masks_[3] = {0x7C00, 0x3E0, 0x1F};
};

// ImageMagick's pixels; nothing where it does not read the file.
std::optional<Bytes> by_imagemagick(const Bytes &file) {
    const TempFile in(file), out;
    const std::string command =
        std::string("convert 'bmp:") + in.path() + "[0]' -alpha off -depth 8 'rgb:" + out.path() + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return {};
    return read_file(out.path());
}

TEST(BmpCorpus, DecodesAsThePlainReaderAndImageMagick) {
    int compared = 0, by_peer = 0;
    const bool installed = std::system("convert -version >/dev/null 2>&1") == 0;
    std::set<std::tuple<uint8_t, int, uint32_t>> done;  // one of a kind: a process takes its time
    const auto check = [&](const std::string &name, const Bytes &file) {
        const PlainReader reader(file);
        const std::optional<Bytes> expected = reader.rgb();
        const bool wanted = expected && (reader.bits != 16 || reader.known_masks());
        const RasterTarget whole =
            wanted ? RasterTarget{reader.width, reader.height, COLOR_RGB888} : RasterTarget{100, 80, COLOR_RGB888};
        for (const RasterTarget &target : {whole, {31, 57, COLOR_RGBA8888, 0x704}}) {
            const RasterPicture by_path = decode_bmp(Kind::kPath, file, target);
            EXPECT_TRUE(decode_bmp(Kind::kStream, file, target) == by_path);
            if (wanted) EXPECT_EQ(by_path.result, 1);
            if (wanted) EXPECT_TRUE(decode_bmp(Kind::kMemory, file, target) == by_path);
        }
        if (!wanted) return;
        const Bytes pixels = decode_bmp(Kind::kMemory, file, whole).pixels;
        EXPECT_TRUE(pixels == *expected);
        ++compared;
        // The peer reads palettes of 3-byte entries behind OS/2 headers of 64 bytes, which have 4. Bit fields of 32
        // bits are ours to ignore, and pixels that runs leave out ours to keep.
        const bool same_rules = reader.compression == 0 || (reader.compression == 3 && reader.bits == 16) ||
                                (reader.compression == 1 && name.find("trns") == std::string::npos);
        if (!installed || name.rfind("corrupt-", 0) == 0 || !same_rules || file[14] == 64) return;
        if (!done.insert({file[14], reader.bits, reader.compression}).second) return;
        const std::optional<Bytes> peer = by_imagemagick(file);
        if (!peer || peer->size() != pixels.size()) return;
        // Where 16 bits are expanded the peer replicates the top bits below; they agree in the field's own.
        int worst = 0;
        for (size_t i = 0; i < pixels.size(); ++i) worst = std::max(worst, std::abs(pixels[i] - (*peer)[i]));
        EXPECT_LE(worst, reader.bits == 16 ? 17 : 0);
        ++by_peer;
    };
    if (!for_each_of_corpus("bmp", check)) GTEST_SKIP() << "no corpus";
    EXPECT_GT(compared, 0);
    EXPECT_GT(by_peer, installed ? 0 : -1);
}

}  // namespace
}  // namespace vorel::test
