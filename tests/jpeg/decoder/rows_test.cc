// The exported row steps, for programs with loops of their own.
#include <climits>
#include <memory>
#include <utility>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

PictureSpec picture(int width, int height, int sampling) { return sized(width, height, sampling, sampling); }

// Rows of a caller's own: each in a block of memory by itself, in shuffled places.
TEST(JpegRowSteps, EachRowGoesWhereItsPointerSays) {
    for (const int scale : {1, 2, 4, 8}) {
        const PictureSpec spec = picture(77, 64, 2);
        const Bytes jpeg = turbo_picture(spec);
        const int width = spec.width / scale, height = spec.height / scale;
        const Bytes whole = decode(jpeg, {.format = COLOR_RGBA8888, .width = width, .height = height}).pixels;
        OpenRecord record(jpeg, COLOR_RGBA8888, width, height);
        VorelJpegRows needed;
        ASSERT_EQ(vorel_jpeg_rows(record.get(), &needed), 1);
        EXPECT_EQ(needed.outputRows, static_cast<uint32_t>(height));
        std::vector<std::unique_ptr<GuardBuffer>> memory;
        std::vector<uint8_t *> pointers[3];
        for (size_t c = 0; c < 3; ++c) {
            for (int y = 0; y < needed.rowCount[c]; ++y) {
                memory.push_back(std::make_unique<GuardBuffer>(static_cast<size_t>(needed.rowBytes[c])));
                pointers[c].push_back(memory.back()->data());
            }
            std::reverse(pointers[c].begin() + 1, pointers[c].end());
            record.rows()[c] = pointers[c].data();
        }
        record.process_all(height);
        EXPECT_TRUE(record.pixels() == whole) << scale;
    }
}

// No step makes more rows than it is allowed, whatever the sizes, and the picture comes out the same.
TEST(JpegRowSteps, RowBudgetsAreKept) {
    constexpr int kSizes[][2] = {{320, 200}, {640, 600}, {200, 150}, {80, 50}, {321, 200}};
    const Bytes jpeg = turbo_picture(picture(320, 200, 2));
    for (const auto &size : kSizes) {
        const uint32_t options = VOREL_OPTION_FIT_STRETCH;
        const DecodeSpec spec{.format = COLOR_RGBA8888, .width = size[0], .height = size[1], .options = options};
        OpenRecord record(jpeg, spec.format, size[0], size[1], Kind::kMemory, options);
        const auto height = static_cast<uint32_t>(size[1]);
        for (uint32_t done = 0, budget = 1; done < height; budget = 1 + budget * 5 % 7) {
            const uint32_t most = std::min(height, done + budget);
            const int32_t step = record.process(&done, most);
            ASSERT_LE(done, most);
            ASSERT_NE(step, 201);
            if (step == 101) break;
        }
        EXPECT_TRUE(record.pixels() == decode(jpeg, spec).pixels) << size[0] << " x " << size[1];
    }
}

// Rows passed over in front of a decode take no place in the output: it begins with the first row that begins behind
// them.
TEST(JpegRowSteps, SkippedRowsAreNotStored) {
    const Bytes jpeg = turbo_picture(picture(320, 200, 2));
    constexpr int kSizes[][2] = {{320, 200}, {160, 100}, {80, 50}, {40, 25}, {200, 150}, {80, 60}, {640, 600}};
    for (const auto &[width, height] : kSizes) {
        const uint32_t options = VOREL_OPTION_FIT_STRETCH;
        const DecodeSpec spec{.format = COLOR_RGBA8888, .width = width, .height = height, .options = options};
        const Bytes whole = decode(jpeg, spec).pixels;
        OpenRecord record(jpeg, spec.format, width, height, Kind::kMemory, options);
        uint32_t done = 0;
        for (int i = 0; i < 3; ++i)
            BRIMJ_ProcessDataSkipRow(record.get(), record.rows(), &done, static_cast<uint32_t>(height));
        if (200 % height == 0) EXPECT_EQ(done, 48u * static_cast<uint32_t>(height) / 200);
        EXPECT_NEAR(done, height * 48.0 / 200, 2);
        const ptrdiff_t from = ptrdiff_t{done} * width * 4;
        record.process_all(height, done);
        const Bytes ours = record.pixels();
        EXPECT_TRUE(std::equal(whole.begin() + from, whole.end(), ours.begin())) << width;
    }
}

// In a region's session an MCU of one block is as wide as its samples reach, whatever the picture's width.
TEST(JpegRowSteps, WidthsOfMcus) {
    for (const int width : {16, 33, 128, 256}) {
        PictureSpec spec = picture(width, 32, 2);
        for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent}) {
            spec.scans = scans;
            OpenRecord record(turbo_picture(spec), COLOR_RGBA8888, width, 32);
            EXPECT_EQ(BRIMJ_GetMcuSampleWidth(record.get()), 16);
            record.get()->isRegion = 1;
            EXPECT_EQ(BRIMJ_GetMcuSampleWidth(record.get()), scans == Scans::kInterleaved ? 16 : 8) << width;
        }
    }
}

TEST(JpegRowSteps, ProgressIsReckonedByTheRowsThatACropKeeps) {
    const Bytes jpeg = turbo_picture(picture(320, 2000, 2));
    for (const uint32_t options : {uint32_t{VOREL_OPTION_FIT_COVER}, 0u}) {
        ProgressCalls seen;
        Input input(Kind::kMemory, jpeg, COLOR_RGBA8888, options);
        DecInfo *session = input.session();
        seen.attach(session);
        GuardBuffer out(size_t{320} * 400 * 4);
        ASSERT_EQ(VORELBRIM_DecodeJPEG(session, out.data(), 320, 400), 1);
        ASSERT_GT(seen.percents.size(), 5u);
        EXPECT_TRUE(std::is_sorted(seen.percents.begin(), seen.percents.end()));
        EXPECT_LE(seen.percents.front(), 10);
        EXPECT_GE(seen.percents.back(), 80);
        EXPECT_LE(seen.percents.back(), 100);
    }
}

// An end in the last rows leaves a gray tail, also where a window shows that tail alone.
TEST(JpegRowSteps, AWindowOfAGrayTailIsItsCut) {
    const Bytes jpeg = turbo_picture(picture(64, 64, 2));
    const Bytes cut = without(jpeg, scan_data(jpeg) + (jpeg.size() - scan_data(jpeg)) * 6 / 10, jpeg.size());
    for (const int height : {64, 20, 19, 70}) {
        const uint32_t fit = VOREL_OPTION_FIT_STRETCH;
        DecodeSpec spec{.format = COLOR_RGBA8888, .width = 20, .height = height, .options = fit};
        const Decoded whole = decode(cut, spec);
        EXPECT_EQ(whole.result, height <= 20) << height;
        spec.window_y = static_cast<uint32_t>(height) * 3 / 5;
        spec.window_width = 20;
        spec.window_height = static_cast<uint32_t>(height) - spec.window_y;
        const Decoded window = decode(cut, spec);
        EXPECT_EQ(window.result, whole.result) << height;
        if (!whole.result) continue;
        const auto from = whole.pixels.begin() + static_cast<ptrdiff_t>(spec.window_y) * 20 * 4;
        EXPECT_TRUE(std::equal(from, whole.pixels.end(), window.pixels.begin())) << height;
    }
}

// What a decode leaves in its session, and what the next one of that session makes of it.
TEST(JpegRowSteps, SessionsMayDecodeAgain) {
    PictureSpec separate = picture(640, 600, 2);
    separate.scans = Scans::kOnePerComponent;
    const Bytes interleaved = turbo_picture(picture(640, 600, 2));
    Input input(Kind::kMemory, turbo_picture(separate), COLOR_RGBA8888);
    DecInfo *session = input.session();
    EXPECT_EQ(session->decodeResult, -1);
    GuardBuffer out(size_t{320} * 300 * 4);
    ASSERT_EQ(VORELBRIM_DecodeJPEG(session, out.data(), 320, 300), 1);
    EXPECT_EQ(session->decodeResult, 1);
    EXPECT_EQ(session->partialHeight, 0u) << "the next decode is not one of a window";
    // Another picture in the same session: its chroma has kernels of its own again.
    IoInfo *first = session->ioInfo;
    session->ioInfo =
        VORELBRIM_Open_IO(1, const_cast<uint8_t *>(interleaved.data()), static_cast<int32_t>(interleaved.size()));
    static int32_t while_running;
    session->checkFn = [](DecInfo *running, uint32_t) { return while_running = running->decodeResult, 1; };
    ASSERT_EQ(VORELBRIM_DecodeJPEG(session, out.data(), 320, 300), 1);
    EXPECT_EQ(while_running, -1);
    const DecodeSpec spec{.format = COLOR_RGBA8888, .width = 320, .height = 300};
    EXPECT_TRUE(out.bytes() == decode(interleaved, spec).pixels);
    VORELBRIM_Close_IO(session->ioInfo);
    session->ioInfo = first;
}

// Further scans lie where the caller's own stream buffer began, not where the session's stream does.
TEST(JpegRowSteps, FurtherScansAreFoundFromTheCallersPlace) {
    PictureSpec spec = picture(96, 80, 2);
    spec.scans = Scans::kOnePerComponent;
    const Bytes second = turbo_picture(spec);
    spec.seed = 9;
    const Bytes both = cat({turbo_picture(spec), second});
    const auto start = static_cast<int32_t>(both.size() - second.size());
    Input input(Kind::kPath, both, COLOR_RGBA8888);
    StreamCursor cursor(input.session()->ioInfo);
    ASSERT_EQ(cursor.start_at(start), start);
    GuardBuffer out(size_t{96} * 80 * 4);
    ASSERT_EQ(BRIMJ_DecodeFrame(input.session(), cursor.stream(), out.data(), 96, 80), 1);
    EXPECT_TRUE(out.bytes() == decode(second, {.format = COLOR_RGBA8888}).pixels);
}

TEST(JpegRowSteps, StepsOfSetUpMayBeRepeated) {
    const Bytes jpeg = turbo_picture(picture(96, 80, 2));
    CountingAllocator allocator;
    {
        OpenRecord record(jpeg, COLOR_RGBA8888, 96, 80);
        const size_t blocks = allocator.live_blocks();
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(BRIMJ_InitUpsampler(record.get()), 200);
            EXPECT_EQ(BRIMJ_InitDecBeforeScan(record.get()), 200);
        }
        EXPECT_EQ(allocator.live_blocks(), blocks);
        record.scan()->streamBuffer->offset = 0;
        record.scan()->streamBuffer->available = static_cast<int32_t>(jpeg.size());
        EXPECT_EQ(BRIMJ_ParseHeader(record.get(), nullptr), 200);
        EXPECT_EQ(allocator.live_blocks(), blocks);
        OpenRecord small(jpeg, COLOR_RGBA8888, 60, 50, Kind::kMemory, VOREL_OPTION_FIT_STRETCH);
        const size_t with_small = allocator.live_blocks();
        GuardBuffer out(60 * 50 * 4);
        FrameRequest request = {0, 0, out.data(), 60, 50};
        EXPECT_EQ(BRIMJ_PostInitialize(small.session(), nullptr, &request, small.get()), small.get());
        EXPECT_EQ(allocator.live_blocks(), with_small);
    }
    EXPECT_EQ(allocator.live_blocks(), 0u);
}

// The stream may be read by hand between rows: it goes on where the rows ended, over blocks of a file too.
TEST(JpegRowSteps, MarkersMayBeReadBetweenRows) {
    PictureSpec spec = picture(320, 320, 1);
    spec.noise = 120;
    const Bytes jpeg = turbo_picture(spec);
    ASSERT_GT(jpeg.size(), 3u * 16384);
    for (int step = 0; step < 3; ++step) {
        OpenRecord record(jpeg, COLOR_RGBA8888, 320, 320, Kind::kPath);
        uint32_t done = 0;
        ASSERT_EQ(BRIMJ_ProcessData(record.get(), record.rows(), &done, 8), 100);
        const EntropyPosition behind = tell(record.scan());
        int32_t status;
        BitState bits = {record.get(), nullptr, 0, 0, 0};
        if (step == 0) EXPECT_EQ(BRIMJ_NextRestartMarker(record.get()), 1);
        if (step == 1) EXPECT_EQ(BRIMJ_ParseNextMarker(record.get(), &status), 0xD9);
        if (step == 2) EXPECT_EQ(BRIMJ_ReadBits(&bits, 0, 0, 25), 1);
        if (step == 0) EXPECT_EQ(record.scan()->entropy.unreadMarker, 0xD9u);
        if (step == 2) EXPECT_LE(stream_position(record.scan()->streamBuffer) - behind.next, 8);
        if (step == 2) EXPECT_GT(stream_position(record.scan()->streamBuffer), behind.next);
        EXPECT_NE(BRIMJ_ProcessData(record.get(), record.rows(), &done, 320), 0);
        EXPECT_GE(tell(record.scan()).next, behind.next);
    }
}

// The entries for JPEG alone decode what the session does.
TEST(JpegEntries, TwinsDecodeAlike) {
    const Bytes jpeg = turbo_picture(picture(96, 80, 2));
    const TempFile file(jpeg);
    const auto length = static_cast<int32_t>(jpeg.size());
    const Bytes half = decode(jpeg, {.format = COLOR_RGBA8888, .width = 48, .height = 40}).pixels;
    GuardBuffer out(half.size());
    const auto expect_half = [&](int32_t result, const char *what) {
        EXPECT_EQ(result, 1) << what;
        EXPECT_TRUE(out.bytes() == half) << what;
        std::fill_n(out.data(), out.size(), uint8_t{0});
    };
    int32_t options[3] = {0, 0, 0}, width, height;
    expect_half(VjpgDecodeFile(file.path(), out.data(), 0, COLOR_RGBA8888, 2), "file");
    expect_half(VjpgDecodeFileOpt(file.path(), out.data(), 0, COLOR_RGBA8888, 2, options), "file, options");
    EXPECT_EQ(options[1], 48);
    EXPECT_EQ(options[2], 40);
    expect_half(VjpgDecodeBuffer(jpeg.data(), out.data(), length, COLOR_RGBA8888, 2), "buffer");
    expect_half(VjpgDecodeBufferOpt(jpeg.data(), out.data(), length, COLOR_RGBA8888, 2, options), "buffer, options");
    expect_half(decodeJPEG(file.path(), 0, out.data(), 48, 40, COLOR_RGBA8888), "decodeJPEG of a path");
    expect_half(decodeJPEG(jpeg.data(), length, out.data(), 48, 40, COLOR_RGBA8888), "decodeJPEG of a buffer");
    for (const bool by_file : {true, false}) {
        EXPECT_EQ(by_file ? VjpgGetImageInfoFromFile(file.path(), 0, 0, &width, &height)
                          : VjpgGetImageInfoFromBuffer(jpeg.data(), 0, length, &width, &height),
                  1);
        EXPECT_EQ(width, 96);
        EXPECT_EQ(height, 80);
        DecInfo *session =
            getExif(by_file ? static_cast<const void *>(file.path()) : jpeg.data(), by_file ? 0 : length);
        ASSERT_TRUE(session);
        EXPECT_EQ(session->imageWidth, 96u);
        EXPECT_EQ(session->outWidth, 12u);
        EXPECT_EQ(destroyExif(session), 1);
    }
}

size_t g_blocks_transformed;
BlockRunFn g_transform;
void counted_transform(const BlockRun &run) {
    g_blocks_transformed += static_cast<size_t>(run.count);
    g_transform(run);
}

// A window in the middle of a huge picture costs the transforms of its own blocks.
TEST(JpegRowSteps, AWindowTransformsItsOwnBlocks) {
    for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent}) {
        PictureSpec spec = picture(7680, 1200, 2);
        spec.scans = scans;
        Input input(Kind::kMemory, turbo_picture(spec), COLOR_RGBA8888);
        set_window(input.session(), 3500, 400, 512, 512);
        OpenRecord record(input.session(), 7680, 1200);
        JpegInfo *info = record.get();
        ASSERT_TRUE(info);
        ASSERT_EQ(open_further_scans(info), 200);
        KernelTable counting = *info->plan.kernels;
        BlockRunFn &transform = counting.idct[static_cast<int>(IdctShape::k8x8)];
        g_transform = std::exchange(transform, counted_transform);
        info->plan.kernels = &counting;
        g_blocks_transformed = 0;
        record.process_all(912);
        EXPECT_GE(g_blocks_transformed, 32u * 33 * 6);
        EXPECT_LE(g_blocks_transformed, 33u * 34 * 6) << "of 230,400";
    }
}

}  // namespace
}  // namespace vorel::test
