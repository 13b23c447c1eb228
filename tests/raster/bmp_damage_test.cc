// Damaged and hostile BMPs, inputs that end early, memory that runs out.
#include <gtest/gtest.h>

#include <vorel/raster.h>

#include <algorithm>

#include "core/core.h"
#include "raster/bmp_decode.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

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

constexpr uint32_t kScaledTurned = VOREL_OPTION_FIT_STRETCH | VOREL_OPTION_ROTATE_270;

// docs/tolerance.md names these rows.
TEST(BmpTolerance, EveryPrefixGivesTheRowsThatAreThere) {
    for (const SmallFile &file : small_files()) {
        for (const BmpTarget &target : {BmpTarget{7, 5, COLOR_RGB888, 0}, {4, 9, COLOR_RGBA8888, kScaledTurned}}) {
            const Bytes whole = decode_bmp(Kind::kMemory, file.bytes, target).pixels;
            const bool in_runs = file.what == std::string("RLE8");
            size_t most = 0;
            for (size_t length = 1; length <= file.bytes.size(); ++length) {
                const Bytes cut = head(file.bytes, length);
                const BmpDecoded memory = decode_bmp(Kind::kMemory, cut, target);
                EXPECT_EQ(memory.result, length < 54 || (file.data_offset == 66 && length < 66) ? 0 : 1)
                    << file.what << ", " << length;
                // A palette that a stream does not have is a failure; memory is read as if it were there.
                const bool palette_cut = memory.result && file.indexed && length < file.data_offset;
                for (const Kind kind : {Kind::kPath, Kind::kStdio, Kind::kStream, Kind::kOwnedMemory}) {
                    const BmpDecoded got = decode_bmp(kind, cut, target);
                    const bool refused = palette_cut && kind != Kind::kOwnedMemory;
                    ASSERT_EQ(got.result, refused ? 0 : memory.result) << file.what << ", " << length;
                    if (!refused) ASSERT_EQ(got.pixels, memory.pixels) << file.what << ", " << length;
                }
                if (in_runs) continue;
                // A pixel is the whole file's or untouched, and rows only come on.
                size_t right = 0;
                for (size_t i = 0; i < whole.size(); ++i) {
                    right += memory.pixels[i] == whole[i];
                    ASSERT_TRUE(memory.pixels[i] == whole[i] || memory.pixels[i] == kBmpFill) << file.what;
                }
                ASSERT_GE(right, most) << file.what << ", " << length;
                most = right;
            }
        }
    }
}

TEST(BmpTolerance, ThePaddingOfTheLastRowMayBeMissing) {
    const BmpPicture picture = random_bmp(3, 24, 3, 4);
    const Bytes file = bmp_file(picture);
    const BmpTarget target = {3, 4, COLOR_RGB888, 0};
    const Bytes whole = decode_bmp(Kind::kMemory, file, target).pixels;
    for (const Kind kind : kAllKinds) {
        EXPECT_EQ(decode_bmp(kind, head(file, file.size() - 3), target).pixels, whole);
        EXPECT_EQ(decode_bmp(kind, head(file, file.size() - 4), target).pixels,
                  cat({Bytes(9, kBmpFill), tail(whole, 27)}))
            << "the top row is the last one";
    }
}

TEST(BmpTolerance, EveryByteSetToFourValuesStaysInside) {
    LogCapture log;
    for (const SmallFile &file : small_files()) {
        for (size_t at = 0; at < file.bytes.size(); ++at) {
            for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
                Bytes bytes = file.bytes;
                bytes[at] = static_cast<uint8_t>(value);
                const BmpTarget target = {9, 6, COLOR_RGB888, at % 2 ? 0 : kScaledTurned};
                const BmpDecoded memory = decode_bmp(Kind::kMemory, bytes, target);
                const BmpDecoded path = decode_bmp(Kind::kPath, bytes, target);
                const BmpDecoded stream = decode_bmp(Kind::kStream, bytes, target);
                EXPECT_EQ(path.result, stream.result) << file.what << ": " << at << " = " << value;
                EXPECT_EQ(path.pixels, stream.pixels) << file.what << ": " << at << " = " << value;
                EXPECT_TRUE(memory.result == 0 || memory.result == 1);
                // The one difference is the palette that a stream does not have.
                if (path.result == memory.result) EXPECT_EQ(path.pixels, memory.pixels) << file.what << ": " << at;
                if (path.result != memory.result) EXPECT_EQ(path.pixels, bmp_target_bytes(target)) << file.what;
            }
        }
    }
}

TEST(BmpTolerance, AStreamWithMoreToGiveIsToldApart) {
    const Bytes plain = bmp_file(random_bmp(3, 24, 9, 6)), runs = rle8_file(random_bmp(3, 8, 9, 6));
    for (const Bytes &file : {plain, runs}) {
        for (const bool claims_more : {false, true}) {
            for (const uint32_t option : {0u, 0x700u}) {
                StreamSource source(head(file, file.size() - 20));
                const int32_t size = source.size() + (claims_more ? 20 : 0);
                SessionGuard session(VORELBRIM_CreateDecInfoWithStream(
                    &source, size, StreamSource::read, StreamSource::skip, StreamSource::rewind, COLOR_RGB888, option));
                Bytes out(4 * 3 * 3 + 9 * 6 * 3);
                EXPECT_EQ(VORELBRIMI_DecodeBMP(session.get(), out.data(), option ? 4 : 9, option ? 3 : 6),
                          claims_more ? 5 : 1);
            }
        }
    }
}

// A stream that delivers a few bytes at a time, and one that cannot go back or skip.
TEST(BmpTolerance, StreamsOfAllManners) {
    for (const SmallFile &file : small_files()) {
        Bytes far = file.bytes;
        for (const bool gap : {false, true}) {
            if (gap && file.indexed) continue;  // the palette would grow by the distance
            if (gap) {
                far.insert(far.begin() + static_cast<ptrdiff_t>(file.data_offset), 40000, 0xEE);
                const Bytes offset = little_32(static_cast<uint32_t>(file.data_offset + 40000));
                std::copy(offset.begin(), offset.end(), far.begin() + 10);
            }
            const BmpTarget target = {7, 5, COLOR_RGB888, 0};
            const Bytes expected = decode_bmp(Kind::kMemory, gap ? far : file.bytes, target).pixels;
            for (const int32_t chunk : {1, 7, 100000}) {
                for (const bool moves : {false, true}) {
                    StreamSource source(gap ? far : file.bytes, chunk);
                    SessionGuard session(VORELBRIM_CreateDecInfoWithStream(
                        &source, source.size(), StreamSource::read, moves ? StreamSource::skip : nullptr,
                        moves ? StreamSource::rewind : nullptr, target.format, 0));
                    Bytes out = bmp_target_bytes(target);
                    EXPECT_EQ(VORELBRIMI_DecodeBMP(session.get(), out.data(), 7, 5), 1);
                    EXPECT_EQ(out, expected) << file.what << ", " << chunk << ", " << moves << ", " << gap;
                }
            }
        }
    }
}

TEST(BmpTolerance, HugeOffsetsAndSidesTakeLittle) {
    const Bytes file = bmp_file(random_bmp(3, 32, 4, 4));
    for (const uint32_t offset : {0u, 13u, 54u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (const Kind kind : kAllKinds) {
            Bytes bytes = file;
            const Bytes at = little_32(offset), side = little_16(0xFFFF);
            std::copy(at.begin(), at.end(), bytes.begin() + 10);
            EXPECT_EQ(decode_bmp(kind, bytes, {4, 4, COLOR_RGBA8888, 0}).result, 1) << offset;
            std::copy(side.begin(), side.end(), bytes.begin() + 18);
            CountingAllocator allocator;
            const BmpDecoded got = decode_bmp(kind, bytes, {4, 4, COLOR_RGBA8888, 0x700});
            EXPECT_EQ(got.result, 1) << offset;
            EXPECT_EQ(got.pixels, bmp_target_bytes({4, 4, COLOR_RGBA8888, 0}));
            EXPECT_LT(allocator.peak_bytes(), size_t{320} << 10);
        }
    }
    // A bitmap of runs has one row in memory at any size.
    const Bytes runs = rle8_of_codes(65535, 32767, {255, 1, 0, 2, 0, 255, 255, 2});
    CountingAllocator allocator;
    EXPECT_EQ(decode_bmp(Kind::kPath, runs, {50, 50, COLOR_RGB888, 0x700}).result, 1);
    EXPECT_LT(allocator.peak_bytes(), size_t{320} << 10);
}

TEST(BmpResources, AllocationFailures) {
    for (const SmallFile &file : small_files()) {
        const TempFile on_disk(file.bytes);
        for (const uint32_t option : {0u, kScaledTurned}) {
            const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
                SessionGuard session(
                    VORELBRIM_CreateDecInfo(0, const_cast<char *>(on_disk.path()), 0, COLOR_RGB565, option));
                if (!session) return;
                Bytes out(8 * 5 * 2);
                const size_t before = allocator.live_blocks();
                const int32_t result = VORELBRIMI_DecodeBMP(session.get(), out.data(), option ? 3 : 7, 5);
                EXPECT_EQ(result, allocator.failed() ? 0 : 1) << file.what;
                EXPECT_EQ(allocator.live_blocks(), before) << file.what;
                EXPECT_EQ(session->codecState, nullptr);
            });
            EXPECT_GE(allocations, 6u) << file.what;
        }
    }
}

TEST(BmpResources, ThousandsOfDecodesByPathLeaveNothingBehind) {
    CountingAllocator allocator;
    const Bytes file = bmp_file(random_bmp(3, 24, 9, 6));
    const TempFile good(file), cut(head(file, 100)), bad(head(file, 40));
    Bytes out(9 * 6 * 4);
    const int before = open_descriptors();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(VorelDecodeFile(good.path(), out.data(), 0, COLOR_RGBA8888, 1 + i % 3), 1);
        EXPECT_EQ(VorelDecodeFile(cut.path(), out.data(), 0, COLOR_RGBA8888, 1), 1);
        EXPECT_EQ(VorelDecodeFile(bad.path(), out.data(), 0, COLOR_RGBA8888, 1), 0);
        SessionGuard session(VORELBRIM_CreateDecInfo(0, const_cast<char *>(good.path()), 0, COLOR_RGB565, 0));
        EXPECT_EQ(VORELBRIMI_DecodeBMP(session.get(), out.data(), 9, 6), 1);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

}  // namespace
}  // namespace vorel::test
