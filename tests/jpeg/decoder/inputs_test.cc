// How the bytes arrive makes no difference, whatever is wrong with them; what a decode costs, and how it is stopped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "core/core.h"
#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/surgery.h"
#include "oracle/turbo.h"
#include "support/conformance.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

TEST(JpegInputs, EveryKindGivesTheSamePicture) {
    for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent, Scans::kLumaThenChroma}) {
        for (const unsigned restart : {0u, 3u}) {
            const Bytes jpeg = turbo_picture({.width = 900,
                                              .height = 700,
                                              .quality = 97,
                                              .restart_interval = restart,
                                              .scans = scans,
                                              .noise = 120});
            ASSERT_GT(jpeg.size(), size_t{200000}) << "many blocks of input";
            for (const int scale : {1, 2, 4, 8}) {
                DecodeSpec wanted{.format = COLOR_YUV420, .width = 900 / scale, .height = 700 / scale};
                const Decoded memory = decode(jpeg, wanted);
                EXPECT_EQ(memory.result, 1);
                for (const Kind kind : kAllKinds) {
                    wanted.kind = kind;
                    const Decoded other = decode(jpeg, wanted);
                    EXPECT_EQ(other.result, 1);
                    EXPECT_TRUE(other.pixels == memory.pixels) << static_cast<int>(kind) << " 1/" << scale;
                }
            }
        }
    }
}

// Readers of several scans go back and forth.
TEST(JpegInputs, SeveralScansNeedAWayBack) {
    const Bytes jpeg = turbo_picture({.scans = Scans::kOnePerComponent});
    Bytes out(64 * 64 * 4);
    for (const bool rewinds : {false, true}) {
        StreamSource source(jpeg);
        const SessionGuard session(source.open(COLOR_RGBA8888, 0, rewinds));
        EXPECT_EQ(VORELBRIM_DecodeJPEG(session.get(), out.data(), 64, 64), rewinds);
    }
}

// A stream that delivers whatever it likes: short reads end a block early, never the picture. And a picture inside
// another file.
TEST(JpegInputs, StreamsOfEverySplitAndOffsetsGiveTheSamePicture) {
    const Bytes jpeg = turbo_picture({.width = 300, .height = 200, .quality = 95, .noise = 100});
    const Bytes expected = decode(jpeg, {}).pixels;
    GuardBuffer out(expected.size());
    for (const int32_t chunk : {8192, 5000, 4097, 16384}) {
        StreamSource source(jpeg, chunk);
        const SessionGuard session(source.open(COLOR_YUV444));
        EXPECT_EQ(VORELBRIM_DecodeJPEG(session.get(), out.data(), 300, 200), 1) << chunk;
        EXPECT_TRUE(out.bytes() == expected) << chunk;
    }
    const Bytes wrapped = with_inserted(jpeg, 0, Bytes(20000, 0x5A));
    for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStdio, Kind::kStream}) {
        Input input(kind, wrapped, COLOR_YUV444);
        input.session()->streamOffset = 20000;
        EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 300, 200), 1);
        EXPECT_TRUE(out.bytes() == expected) << static_cast<int>(kind);
    }
    Input input(Kind::kPath, jpeg, COLOR_YUV444, VOREL_OPTION_EXIF_ORIENTATION);
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 300, 200), 1);
    EXPECT_EQ(VORELBRIM_PDecodeJPEG(input.session(), out.data(), 300, 200, 1), 1);
    EXPECT_TRUE(out.bytes() == expected) << "again";
    EXPECT_EQ(input.session()->decOption, uint32_t{VOREL_OPTION_EXIF_ORIENTATION});
}

// Further scans are read through a second opening of the input. Whatever stands there by then, the frame is the one
// that was parsed: samples stay inside its rows (page ends and sanitizers watch).
TEST(JpegInputs, AnInputThatChangedUnderTheDecoderStaysInsideItsRows) {
    for (const int sampling : {1, 2}) {
        PictureSpec spec{.width = 64, .height = 64, .h = sampling, .v = sampling, .scans = Scans::kOnePerComponent};
        const TempFile file(turbo_picture(spec));
        spec.h = spec.v = 3 - sampling;
        const TempFile other(turbo_picture(spec));
        SessionGuard session(VORELBRIM_CreateDecInfo(0, const_cast<char *>(file.path()), 0, COLOR_YUV444, 0));
        ASSERT_TRUE(session);
        ASSERT_EQ(std::rename(other.path(), file.path()), 0);
        GuardBuffer out(64 * 64 * 3);
        VORELBRIM_DecodeJPEG(session.get(), out.data(), 64, 64);
    }
}

// A scan behind one that is passed over has to be a scan like any other.
TEST(JpegInputs, ABrokenLaterScanFailsTheDecode) {
    const Bytes jpeg = turbo_picture({.width = 64, .height = 64, .scans = Scans::kOnePerComponent});
    const size_t second = find_marker(jpeg, 0xDA, scan_data(jpeg));
    for (const uint8_t id : {uint8_t{9}, jpeg[find_marker(jpeg, 0xDA) + 5]}) {
        EXPECT_EQ(decode(changed(jpeg, second + 5, {id}), {}).result, 0) << "component " << int{id};
    }
    EXPECT_EQ(decode(jpeg, {}).result, 1);
}

constexpr size_t kFixedBytes = 1 << 20;
constexpr size_t kBytesPerColumn = 64;
constexpr size_t kFileBytes = 64 << 10;

size_t peak_of(const Bytes &jpeg, Kind kind, int32_t width, int32_t height, int32_t format, size_t buffer_bytes) {
    CountingAllocator allocator;
    size_t peak = 0;
    {
        Input input(kind, jpeg, format);
        Bytes out(buffer_bytes);
        allocator.reset_peak();
        VORELBRIM_DecodeJPEG(input.session(), out.data(), width, height);
        peak = allocator.peak_bytes();
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
    return peak;
}

TEST(JpegMemory, FollowsTheWidthAtEveryScale) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {2, 2}, {1, 4}, {4, 2}};
    for (const auto &sampling : kSamplings) {
        PictureSpec spec = sized(6000, 64, sampling.h, sampling.v);
        const Bytes jpeg = turbo_picture(spec);
        spec.progressive = true;
        const Bytes progressive = turbo_picture(spec);
        for (const int divisor : {1, 2, 3, 4, 8}) {
            const int width = 6000 / divisor, height = std::max(1, 64 / divisor);
            const size_t bytes = format_bytes(COLOR_RGBA8888, width, height);
            const size_t memory = peak_of(jpeg, Kind::kMemory, width, height, COLOR_RGBA8888, bytes);
            EXPECT_LE(memory, kFixedBytes + kBytesPerColumn * 6000)
                << sampling.h << "x" << sampling.v << " /" << divisor;
            EXPECT_LE(peak_of(jpeg, Kind::kPath, width, height, COLOR_RGBA8888, bytes), memory + kFileBytes);
            EXPECT_LE(peak_of(progressive, Kind::kMemory, width, height, COLOR_RGBA8888, bytes),
                      kFixedBytes + kBytesPerColumn * 6000);
        }
    }
}

// Some hundred bytes that claim 15000 x 15000 pixels.
TEST(JpegMemory, ATinyFileOfHugeSizeCostsItsWidth) {
    const Bytes side = big_16(15000);
    for (const bool progressive : {false, true}) {
        const Bytes small = turbo_picture({.progressive = progressive});
        const Bytes jpeg = changed(small, find_marker(small, progressive ? 0xC2 : 0xC0) + 5, cat({side, side}));
        EXPECT_LE(peak_of(jpeg, Kind::kMemory, 150, 150, COLOR_RGBA8888, 150 * 150 * 4),
                  kFixedBytes + kBytesPerColumn * 15000);
    }
}

int32_t stop_at_once(DecInfo *, uint32_t) { return 0; }
int32_t cancel_in_the_middle(DecInfo *session, uint32_t row) {
    if (row >= 100) store_relaxed(&session->abortFlag, kAbortCancelled);
    return 1;
}

TEST(JpegCancel, StopsAtTheNextRowAndKeepsWhatIsThere) {
    const Bytes jpeg = turbo_picture({.width = 64, .height = 400});
    const Bytes whole = decode(jpeg, {.format = COLOR_RGBA8888}).pixels;
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    GuardBuffer out(whole.size(), 0x77);
    input.session()->checkFn = stop_at_once;
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 64, 400), 0);
    EXPECT_EQ(out.data()[0], 0x77);
    input.session()->checkFn = cancel_in_the_middle;
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 64, 400), 0);
    // The check of row 112 set the word; that row is still done, the next is not.
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + 128 * 64 * 4, out.data()));
    EXPECT_EQ(out.data()[128 * 64 * 4], 0x77);
    // A new decode starts with a clear word.
    input.session()->checkFn = VORELBRIM_CheckFn;
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 64, 400), 1);
    EXPECT_TRUE(out.bytes() == whole);
}

// ---- Decodes on every input: cut, changed, without memory, again and again; straight, scaled, resampled, turned

Subject subject(const char *name, Scans scans, unsigned restart, const DecodeSpec &wanted) {
    Subject out = {.name = name,
                   .file = turbo_picture(
                       {.width = 34, .height = 18, .restart_interval = restart, .scans = scans, .optimize = true}),
                   .allocations = 10,
                   .decodes = 300};
    out.decode = [wanted](Kind kind, const Bytes &jpeg) -> Seen {
        DecodeSpec request = wanted;
        request.kind = kind;
        Decoded decoded = decode(jpeg, request);
        decoded.pixels.insert(decoded.pixels.end(),
                              {static_cast<uint8_t>(decoded.out_width), static_cast<uint8_t>(decoded.out_height)});
        return {decoded.result, std::move(decoded.pixels), decoded.error};
    };
    // Memory that the session owns is where a picture's segments begin, whatever its first two bytes are.
    out.may_differ = [](Kind kind, const Bytes &input, const Seen &, const Seen &) {
        return kind == Kind::kOwnedMemory && (input[0] != 0xFF || input[1] != 0xD8);
    };
    return out;
}

TEST(Conformance, Jpeg) {
    expect_conforms(subject("whole", Scans::kInterleaved, 0, {.format = COLOR_RGBA8888, .width = 34, .height = 18}));
    expect_conforms(subject("resampled", Scans::kInterleaved, 2, {.format = COLOR_YUV420, .width = 20, .height = 18}));
    expect_conforms(subject("an eighth, turned", Scans::kInterleaved, 1,
                            {.format = COLOR_RGB565, .width = 3, .height = 5, .options = VOREL_OPTION_ROTATE_90}));
    Subject separate = subject("scans apart", Scans::kOnePerComponent, 2, {.width = 17, .height = 9});
    separate.kinds = {Kind::kMemory, Kind::kPath, Kind::kStdio};
    expect_conforms(separate);
    Subject progressive = subject("progressive", Scans::kInterleaved, 0, {.width = 34, .height = 18});
    progressive.memory = size_t{3} << 20;  // a row of coefficients at the width that a changed byte gives
    progressive.file = turbo_picture({.width = 34, .height = 18, .restart_interval = 2, .progressive = true});
    expect_conforms(progressive);
}

}  // namespace
}  // namespace vorel::test
