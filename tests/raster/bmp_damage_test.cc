// Damaged and hostile BMPs, inputs that end early, memory that runs out.
#include <gtest/gtest.h>

#include "raster/bmp_model.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

struct SmallFile {
    const char *what;
    Bytes bytes;
    size_t data_offset;
    bool indexed;
};

// Of at most 8 colours.
BmpPicture small_picture(int bits) {
    BmpPicture picture = random_bmp(static_cast<uint32_t>(bits), bits, 7, 5);
    if (bits != 8) return picture;
    picture.palette.resize(8);
    for (uint32_t &sample : picture.samples) sample %= 8;
    return picture;
}

std::vector<SmallFile> small_files() {
    std::vector<SmallFile> files;
    const auto add = [&](const char *what, int bits, const BmpShape &shape) {
        BmpPicture picture = small_picture(bits);
        if (shape.header == 12) picture.palette[0] = 0;
        files.push_back({what, bmp_file(picture, shape), bmp_data_offset(picture, shape), bits <= 8});
    };
    add("1 bit", 1, {});
    add("4 bits of OS/2", 4, {12});
    add("8 bits top down", 8, {40, true});
    add("565", 16, {40, false, Fields16::k565});
    add("24 bits", 24, {});
    add("32 bits of a long header", 32, {124});
    const BmpPicture runs = small_picture(8);
    files.push_back({"RLE8", rle8_file(runs), bmp_data_offset(runs, {}), true});
    return files;
}

std::vector<Subject> subjects(const SmallFile &file) {
    constexpr uint32_t kScaledTurned = VOREL_OPTION_FIT_STRETCH | VOREL_OPTION_ROTATE_270;
    std::vector<Subject> out;
    for (const RasterTarget &target : {RasterTarget{7, 5, COLOR_RGB888}, {4, 9, COLOR_RGBA8888, kScaledTurned}}) {
        const auto decode = [=](Kind kind, const Bytes &bytes) {
            return seen_by(VORELBRIMI_DecodeBMP, kind, bytes, target);
        };
        // A palette that a stream does not have is a failure; memory is read as if it were there.
        const auto without_palette = [=](Kind kind, const Bytes &, const Seen &first, const Seen &other) {
            const bool stream = kind != Kind::kOwnedMemory;
            return stream && first.result == 1 && other.result == 0 && other.bytes == target_bytes(target);
        };
        out.push_back({.name = std::string("BMP of ") + file.what + text_of(target),
                       .file = file.bytes,
                       .decode = decode,
                       .kinds = {Kind::kMemory, Kind::kOwnedMemory, Kind::kPath, Kind::kStdio, Kind::kStream},
                       .memory = size_t{320} << 10,
                       .decodes = 100,
                       .may_differ = file.indexed ? without_palette : decltype(Subject::may_differ){}});
    }
    return out;
}

// docs/tolerance.md names these rows.
TEST(BmpTolerance, EveryInputGivesTheRowsThatAreThere) {
    for (const SmallFile &file : small_files()) {
        for (Subject &subject : subjects(file)) {
            const Bytes whole = subject.decode(Kind::kMemory, file.bytes).bytes;
            size_t most = 0;
            subject.on_prefix = [&](const Bytes &cut, const Seen &seen) {
                const bool headless = cut.size() < 54 || (file.data_offset == 66 && cut.size() < 66);
                EXPECT_EQ(seen.result, headless ? 0 : 1);
                const bool palette_cut = !headless && file.indexed && cut.size() < file.data_offset;
                EXPECT_EQ(subject.decode(Kind::kStream, cut).result, headless || palette_cut ? 0 : 1);
                if (file.what == std::string("RLE8")) return;
                // A pixel is the whole file's or untouched, and rows only come on.
                size_t right = 0;
                for (size_t i = 0; i < whole.size(); ++i) {
                    right += seen.bytes[i] == whole[i];
                    ASSERT_TRUE(seen.bytes[i] == whole[i] || seen.bytes[i] == kUntouched);
                }
                ASSERT_GE(right, most);
                most = right;
            };
            expect_conforms(subject);
        }
    }
}

TEST(BmpTolerance, ThePaddingOfTheLastRowMayBeMissing) {
    const Bytes file = bmp_file(random_bmp(3, 24, 3, 4));
    const RasterTarget target = {3, 4, COLOR_RGB888};
    const Bytes whole = decode_bmp(Kind::kMemory, file, target).pixels;
    for (const Kind kind : kAllKinds) {
        EXPECT_EQ(decode_bmp(kind, head(file, file.size() - 3), target).pixels, whole);
        // The top row is the last one.
        const Bytes cut = decode_bmp(kind, head(file, file.size() - 4), target).pixels;
        EXPECT_EQ(cut, cat({Bytes(9, kUntouched), tail(whole, 27)}));
    }
}

TEST(BmpTolerance, AStreamWithMoreToGiveIsNotAtItsEnd) {
    const Bytes plain = bmp_file(random_bmp(3, 24, 9, 6)), runs = rle8_file(random_bmp(3, 8, 9, 6));
    for (const Bytes &file : {plain, runs}) {
        for (const int32_t more : {0, 20}) {
            for (const uint32_t option : {0u, 0x700u}) {
                StreamSource source(head(file, file.size() - 20));
                SessionGuard session(VORELBRIM_CreateDecInfoWithStream(&source, source.size() + more,
                                                                       StreamSource::read, StreamSource::skip,
                                                                       StreamSource::rewind, COLOR_RGB888, option));
                Bytes out(9 * 6 * 3);
                EXPECT_EQ(VORELBRIMI_DecodeBMP(session.get(), out.data(), option ? 4 : 9, option ? 3 : 6),
                          more ? 5 : 1);
            }
        }
    }
}

TEST(BmpTolerance, HugeOffsetsAndSidesTakeLittle) {
    const auto decode_in_little = [](Kind kind, const Bytes &bytes, const RasterTarget &target) {
        CountingAllocator allocator;
        const RasterPicture got = decode_bmp(kind, bytes, target);
        EXPECT_EQ(got.result, 1);
        EXPECT_LT(allocator.peak_bytes(), size_t{320} << 10);
        return got.pixels;
    };
    const Bytes file = bmp_file(random_bmp(3, 32, 4, 4));
    for (const uint32_t offset : {0u, 13u, 54u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (const Kind kind : kAllKinds) {
            SCOPED_TRACE(offset);
            const Bytes bytes = changed(file, 10, little_32(offset));
            decode_in_little(kind, bytes, {4, 4, COLOR_RGBA8888});
            const RasterTarget target = {4, 4, COLOR_RGBA8888, 0x700};
            EXPECT_EQ(decode_in_little(kind, changed(bytes, 18, little_16(0xFFFF)), target), target_bytes(target));
        }
    }
    // A bitmap of runs has one row in memory at any size.
    const Bytes runs = rle8_of_codes(65535, 32767, {255, 1, 0, 2, 0, 255, 255, 2});
    decode_in_little(Kind::kPath, runs, {50, 50, COLOR_RGB888, 0x700});
}

}  // namespace
}  // namespace vorel::test
