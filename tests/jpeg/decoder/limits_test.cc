// Memory, failing allocations, cancelling and progress.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/core.h"
#include "jpeg/decoder/decode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

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
        PictureSpec spec;
        spec.width = 6000;
        spec.height = 64;
        spec.h = sampling.h;
        spec.v = sampling.v;
        const Bytes jpeg = turbo_picture(spec);
        for (const int divisor : {1, 2, 3, 4, 8}) {
            const int width = 6000 / divisor, height = std::max(1, 64 / divisor);
            const size_t bytes = format_bytes(COLOR_RGBA8888, width, height);
            const size_t memory = peak_of(jpeg, Kind::kMemory, width, height, COLOR_RGBA8888, bytes);
            EXPECT_LE(memory, kFixedBytes + kBytesPerColumn * 6000)
                << sampling.h << "x" << sampling.v << " /" << divisor;
            EXPECT_LE(peak_of(jpeg, Kind::kPath, width, height, COLOR_RGBA8888, bytes), memory + kFileBytes);
        }
    }
}

// Some hundred bytes that claim 15000 x 15000 pixels.
TEST(JpegMemory, ATinyFileOfHugeSizeCostsItsWidth) {
    PictureSpec spec;
    Bytes jpeg = turbo_picture(spec);
    for (size_t i = 0; i + 9 < jpeg.size(); ++i) {
        if (jpeg[i] != 0xFF || jpeg[i + 1] != 0xC0) continue;
        jpeg[i + 5] = jpeg[i + 7] = 15000 >> 8;
        jpeg[i + 6] = jpeg[i + 8] = 15000 & 255;
    }
    EXPECT_LE(peak_of(jpeg, Kind::kMemory, 150, 150, COLOR_RGBA8888, 150 * 150 * 4),
              kFixedBytes + kBytesPerColumn * 15000);
}

int32_t stop_at_once(DecInfo *, uint32_t) { return 0; }
int32_t cancel_in_the_middle(DecInfo *session, uint32_t row) {
    if (row >= 100) store_relaxed(&session->abortFlag, kAbortCancelled);
    return 1;
}

TEST(JpegCancel, StopsAtTheNextRowAndKeepsWhatIsThere) {
    PictureSpec spec;
    spec.width = 64;
    spec.height = 400;
    const Bytes jpeg = turbo_picture(spec);
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

TEST(JpegProgress, PercentagesRiseAndAZeroStops) {
    PictureSpec spec;
    spec.width = 64;
    spec.height = 800;
    const Bytes jpeg = turbo_picture(spec);
    struct Seen {
        std::vector<int32_t> percents;
        int32_t answer = 1;
    } seen;
    Input input(Kind::kMemory, jpeg, COLOR_GRAY);
    ProgressRecord *record = static_cast<ProgressRecord *>(VORELBRIM_OsMalloc(sizeof(ProgressRecord)));
    record->userValue = &seen;
    record->callback = [](void *value, int32_t percent) {
        Seen *s = static_cast<Seen *>(value);
        s->percents.push_back(percent);
        return s->answer;
    };
    input.session()->progress = record;
    Bytes out(64 * 800);
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 64, 800), 1);
    ASSERT_GE(seen.percents.size(), 15u) << "50 iMCU rows, every third";
    EXPECT_TRUE(std::is_sorted(seen.percents.begin(), seen.percents.end()));
    EXPECT_LE(seen.percents.back(), 100);
    seen.answer = 0;
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), out.data(), 64, 800), 0);
}

}  // namespace
}  // namespace vorel::test
