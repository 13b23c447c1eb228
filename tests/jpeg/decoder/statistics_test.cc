// Counters of the decoder's steps: they speak of what was decoded, and change nothing of it.
#include <gtest/gtest.h>
#include <vorel/vorel.h>

#include <chrono>
#include <numeric>
#include <set>
#include <string>
#include <thread>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/surgery.h"
#include "oracle/turbo.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

class Counting {
  public:
    Counting() {
        vorel_jpeg_stat_reset();
        jsInfo.enabled = 1;
    }
    ~Counting() { jsInfo.enabled = 0; }
    Counting(const Counting &) = delete;
    Counting &operator=(const Counting &) = delete;
};

std::set<int> used_steps() {
    vorel_jpeg_stat_collect();
    std::set<int> out;
    for (int i = 0; i < JPEG_STAT_STEPS; ++i) {
        if (jsInfo.steps[i].calls) out.insert(i);
    }
    return out;
}

uint64_t sum_of(uint64_t JpegStatStep::*member) {
    vorel_jpeg_stat_collect();
    return std::accumulate(std::begin(jsInfo.steps), std::end(jsInfo.steps), uint64_t{0},
                           [&](uint64_t sum, const JpegStatStep &step) { return sum + step.*member; });
}

int32_t region(DecInfo *session, void *output, int32_t width, int32_t height) {
    session->decOption |= VOREL_OPTION_REGION;
    const bool done =
        VORELBRIM_ScanHuffmanInfo(session) && VORELBRIM_DecodeRegion(session, output, width, height, 40, 40, 64, 64, 1);
    VORELBRIM_DestroyJpegInfo(session);
    return done;
}

TEST(JpegStatistics, StepsAreThoseOfTheDecode) {
    const PictureSpec plain = sized(400, 300, 2, 2);
    PictureSpec progressive = plain, thin = sized(400, 300, 4, 1);
    progressive.progressive = true;
    thin.colour = Colour::kCmyk;
    const struct {
        const char *name;
        PictureSpec picture;
        DecodeSpec decode;
        std::set<int> steps;
    } kCases[] = {
        {"full", plain, {.format = COLOR_RGBA8888}, {JPEG_STAT_ENTROPY_FULL, JPEG_STAT_IDCT_8X8, JPEG_STAT_COLOUR}},
        {"half",
         plain,
         {.width = 200, .height = 150},
         {JPEG_STAT_ENTROPY_SCALED, JPEG_STAT_IDCT_4X4, JPEG_STAT_IDCT_8X8, JPEG_STAT_COLOUR}},
        {"eighth",
         plain,
         {.width = 50, .height = 38},
         {JPEG_STAT_ENTROPY_SCALED, JPEG_STAT_IDCT_1X1, JPEG_STAT_COLOUR}},
        {"resampled",
         plain,
         {.width = 333, .height = 250, .options = VOREL_OPTION_FIT_STRETCH},
         {JPEG_STAT_ENTROPY_FULL, JPEG_STAT_IDCT_8X8, JPEG_STAT_RESAMPLING, JPEG_STAT_COLOUR}},
        {"upsampled",
         thin,
         {.format = COLOR_RGBA8888},
         {JPEG_STAT_ENTROPY_FULL, JPEG_STAT_IDCT_8X8, JPEG_STAT_UPSAMPLING, JPEG_STAT_COLOUR}},
        {"window",
         plain,
         {.window_x = 40, .window_y = 40, .window_width = 64, .window_height = 64},
         {JPEG_STAT_ENTROPY_FULL, JPEG_STAT_ENTROPY_SKIPPED, JPEG_STAT_IDCT_8X8, JPEG_STAT_COLOUR}},
        {"progressive", progressive, {}, {JPEG_STAT_PROGRESSIVE, JPEG_STAT_IDCT_8X8, JPEG_STAT_COLOUR}},
        {"region",
         plain,
         {.entry = region},
         {JPEG_STAT_MAP_PASS, JPEG_STAT_REGION, JPEG_STAT_ENTROPY_FULL, JPEG_STAT_ENTROPY_SKIPPED, JPEG_STAT_IDCT_8X8,
          JPEG_STAT_COLOUR}},
    };
    for (const auto &at : kCases) {
        SCOPED_TRACE(at.name);
        const Bytes jpeg = turbo_picture(at.picture);
        const Decoded off = decode(jpeg, at.decode);
        ASSERT_EQ(off.result, 1);
        Decoded on;
        const auto begin = std::chrono::steady_clock::now();
        {
            const Counting counting;
            on = decode(jpeg, at.decode);
        }
        const auto wall = std::chrono::steady_clock::now() - begin;
        EXPECT_EQ(on.pixels, off.pixels);
        std::set<int> steps = at.steps;
        steps.insert({JPEG_STAT_HEADERS, JPEG_STAT_SET_UP});
        EXPECT_EQ(used_steps(), steps);
        EXPECT_EQ(jsInfo.threads, 1);
        // The ticks are held against a clock over some milliseconds.
        const auto ns = static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(wall).count());
        EXPECT_LT(static_cast<double>(sum_of(&JpegStatStep::nanoseconds)), ns * 1.05);
        EXPECT_GT(sum_of(&JpegStatStep::nanoseconds), 0u);
    }
}

// All of the entropy-coded data, and nothing twice: by one thread and, between restart markers, by several.
TEST(JpegStatistics, BytesAreThoseOfTheScan) {
    for (const bool progressive : {false, true}) {
        PictureSpec spec = sized(1200, 900, 2, 2);
        spec.progressive = progressive;
        const Bytes jpeg = turbo_picture(spec);
        const Counting counting;
        ASSERT_EQ(decode(jpeg, {}).result, 1);
        const auto bytes = static_cast<double>(sum_of(&JpegStatStep::bytes));
        EXPECT_NEAR(bytes, static_cast<double>(jpeg.size() - scan_data(jpeg)), progressive ? 2000 : 16);
    }
}

// A thread's numbers outlive it, and those of several threads are added.
TEST(JpegStatistics, ThreadsAreSummed) {
    const Bytes jpeg = turbo_picture(sized(300, 200, 2, 2));
    const auto run = [&] {
        Bytes pixels(300 * 200 * 4);
        VorelDecodeBuffer(jpeg.data(), pixels.data(), static_cast<int32_t>(jpeg.size()), COLOR_RGBA8888, 1);
    };
    const Counting counting;
    run();
    vorel_jpeg_stat_collect();
    const uint64_t calls = jsInfo.steps[JPEG_STAT_ENTROPY_FULL].calls, bytes = sum_of(&JpegStatStep::bytes);
    {
        std::thread a(run), b(run);
        vorel_jpeg_stat_collect();
        a.join();
        b.join();
    }
    vorel_jpeg_stat_collect();
    EXPECT_EQ(jsInfo.steps[JPEG_STAT_ENTROPY_FULL].calls, 3 * calls);
    EXPECT_EQ(sum_of(&JpegStatStep::bytes), 3 * bytes);
    EXPECT_EQ(jsInfo.threads, 3);
    jsInfo.enabled = 0;
    run();
    vorel_jpeg_stat_collect();
    EXPECT_EQ(jsInfo.steps[JPEG_STAT_ENTROPY_FULL].calls, 3 * calls);
}

TEST(JpegStatistics, TableNamesItsSteps) {
    const Counting counting;
    ASSERT_EQ(decode(turbo_picture(sized(100, 80, 1, 1)), {}).result, 1);
    jpeg_set_stat_info(JPEG_STAT_COLOUR, "paint");
    jpeg_set_stat_info(JPEG_STAT_STEPS, "nothing");
    LogCapture log;
    stat_print_all_info();
    jpeg_print_stat_simple_info();
    std::string text;
    for (const LogLine &line : log.take()) text += line.tag + "|" + line.text;
    jpeg_set_stat_info(JPEG_STAT_COLOUR, nullptr);
    EXPECT_NE(text.find("paint"), std::string::npos) << text;
    EXPECT_NE(text.find("inverse DCT 8x8"), std::string::npos);
    EXPECT_EQ(text.find("merge"), std::string::npos);
    EXPECT_STREQ(vorel_jpeg_stat_name(JPEG_STAT_COLOUR), "colour and store");
}

}  // namespace
}  // namespace vorel::test
