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

// Called by name, a function does what its name says, whatever the record plans.
TEST(JpegRowSteps, FunctionsDoWhatTheirNamesSay) {
    const Bytes jpeg = turbo_picture(picture(96, 32, 1));
    Bytes samples, grays, mixed;
    for (int x = 0; x < 96; ++x) {
        const auto sample = static_cast<uint8_t>(x * 5);
        samples.push_back(sample);
        grays.insert(grays.end(), {sample, sample, sample, 255});
        mixed.insert(mixed.end(), {sample, 77, 77, 255});
    }
    const uint8_t *row = samples.data();
    const Bytes full(96, 255);
    OpenRecord gray(jpeg, COLOR_RGBA8888, 96, 32), rgb(jpeg, COLOR_RGBA8888, 96, 32);
    OpenRecord cmyk(jpeg, COLOR_RGBA8888, 96, 32);
    BRIMJ_GrayWriteOutput1to1(gray.get(), row, 96);
    BRIMJ_RGBWriteOutput1to1(rgb.get(), row, row, row, 96);
    BRIMJ_CMYKWriteOutput1to1(cmyk.get(), row, row, row, full.data(), 96);
    for (OpenRecord *record : {&gray, &rgb, &cmyk}) EXPECT_EQ(head(record->pixels(), grays.size()), grays);
    // A row of zeros and a row of 200 into one row: the mean takes both, the centre one of them.
    Bytes low(96, 0), high(96, 200), grey(96, 128);
    const auto first_pixel = [&](void (*output)(JpegInfo *, uint8_t ***, int32_t)) {
        OpenRecord record(jpeg, COLOR_RGBA8888, 60, 20, Kind::kMemory, VOREL_OPTION_FIT_STRETCH);
        EXPECT_EQ(record.get()->plan.scaledHeight, 32);
        uint8_t *luma[2] = {low.data(), high.data()}, *chroma[2] = {grey.data(), grey.data()};
        uint8_t **rows[3] = {luma, chroma, chroma};
        output(record.get(), rows, 2);
        return record.pixels()[0];
    };
    EXPECT_EQ(first_pixel(BRIMJ_DoYcbcrToRgb), 100);
    EXPECT_EQ(first_pixel(BRIMJ_DoFastYcbcrToRgb), 0);
    // Rows of a record whose chroma rows have half the width, which a function for RGB takes as they are.
    OpenRecord shared(turbo_picture(picture(96, 32, 2)), COLOR_RGBA8888, 96, 32);
    GuardBuffer luma(samples), half(Bytes(48, 77));
    uint8_t *luma_rows[2] = {luma.data(), luma.data()}, *half_rows[2] = {half.data(), half.data()};
    uint8_t **rows[3] = {luma_rows, half_rows, half_rows};
    BRIMJ_DoRgbConvert(shared.get(), rows, 2);
    EXPECT_EQ(head(shared.pixels(), 2 * mixed.size()), cat({mixed, mixed}));
    // A doubling function doubles, also where the record plans no doubling.
    OpenRecord even(jpeg, COLOR_RGBA8888, 96, 32);
    JpegComponent component = even.get()->frame->components[1];
    GuardBuffer narrow(Bytes(samples.begin(), samples.begin() + 48)), wide(96);
    uint8_t *from[1] = {narrow.data()}, *to[1] = {wide.data()}, **doubled = to;
    BRIMJ_DoH2V1Upsample(&component, even.get(), from, &doubled);
    for (size_t x = 0; x < 96; ++x) ASSERT_EQ(wide.data()[x], samples[x / 2]) << x;
    // No code is longer than 16 bits, nor shorter than one.
    DerivedTable *table = shared.scan()->entropy.blockAc[0];
    const auto symbol = [&](int32_t least) {
        BitState state = {shared.get(), nullptr, 0, 0, 0};
        return BRIMJ_DecodeHuffMan(&state, 0xAAAAAAAA, 32, table, least);
    };
    EXPECT_EQ(symbol(1), 0x00) << "1010 ends a block";
    for (const int32_t least : {0, -3, INT32_MIN}) EXPECT_EQ(symbol(least), symbol(1));
    for (const int32_t least : {17, 40, INT32_MAX}) EXPECT_EQ(symbol(least), symbol(16));
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

// ---- The exported writers, one by one: what they store is what a decode stores

using DirectWriter = void (*)(JpegInfo *, uint8_t ***, int32_t);

TEST(JpegWriters, DirectWritersTakeRowsAtTheComponentsOwnWidth) {
#define WRITERS(sampling)                                                                                           \
    {                                                                                                               \
        BRIMJ_YcbcrWriteOutput1to1_##sampling, BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGB565,                    \
            BRIMJ_YcbcrWriteOutput1to1_##sampling##_toRGBA8888, BRIMJ_YcbcrWriteOutput1to1_##sampling##_toBGRA8888, \
    }
    const struct {
        int h, v;
        DirectWriter writers[4];
    } kRows[] = {
        {2, 2, WRITERS(YUV420)}, {2, 1, WRITERS(YUV422_H2V1)}, {1, 2, WRITERS(YUV422_H1V2)}, {1, 1, WRITERS(YUV444)}};
#undef WRITERS
    constexpr int32_t kFormats[4] = {COLOR_RGB888, COLOR_RGB565, COLOR_RGBA8888, COLOR_BGRA8888};
    for (const auto &row : kRows) {
        const PictureSpec spec{.width = 37, .height = 21, .h = row.h, .v = row.v};
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        for (int i = 0; i < 4; ++i) {
            OpenRecord record(jpeg, kFormats[i], spec.width, spec.height);
            ASSERT_TRUE(record.get());
            // Rows that end where the component does: an odd width's last pixel has a chroma sample of its own.
            for (int y = 0; y < spec.height; y += row.v) {
                std::vector<GuardBuffer *> rows;
                uint8_t *pointers[3][2] = {};
                for (size_t c = 0; c < 3; ++c) {
                    const Plane &plane = coded->components[c].plane;
                    for (int k = 0; k < (c ? 1 : row.v); ++k) {
                        const int at = std::min(c ? y / row.v : y + k, plane.height - 1);
                        const int width = c ? (spec.width + row.h - 1) / row.h : spec.width;
                        const auto from = plane.samples.begin() + static_cast<ptrdiff_t>(at) * plane.width;
                        rows.push_back(new GuardBuffer(Bytes(from, from + width)));
                        pointers[c][k] = rows.back()->data();
                    }
                }
                uint8_t **views[3] = {pointers[0], pointers[1], pointers[2]};
                row.writers[i](record.get(), views, spec.width);
                for (GuardBuffer *buffer : rows) delete buffer;
            }
            EXPECT_TRUE(record.pixels() == decode(jpeg, {.format = kFormats[i]}).pixels)
                << row.h << "x" << row.v << " format " << kFormats[i];
        }
    }
}

template <auto kWrite>
void of_three(JpegInfo *info, const uint8_t *const *p, int32_t width) {
    kWrite(info, p[0], p[1], p[2], width);
}
template <auto kWrite>
void of_four(JpegInfo *info, const uint8_t *const *p, int32_t width) {
    kWrite(info, p[0], p[1], p[2], p[3], width);
}

TEST(JpegWriters, RowWritersStoreOneRow) {
    const struct {
        Colour colour;
        void (*write)(JpegInfo *, const uint8_t *const *, int32_t);
        void (*write_sums)(JpegInfo *, const uint32_t *, int32_t);
    } kRows[] = {
        {Colour::kYcc, of_three<BRIMJ_YcbcrWriteOutput1to1>, BRIMJ_YcbcrWriteOutput},
        {Colour::kYcc, of_three<BRIMJ_FastYcbcrWriteOutput>, nullptr},
        {Colour::kYcc, of_three<BRIMJ_FastYcbcrUpscaleWriteOutput>, nullptr},
        {Colour::kGray,
         [](JpegInfo *info, const uint8_t *const *p, int32_t w) { BRIMJ_GrayWriteOutput1to1(info, p[0], w); },
         BRIMJ_GrayWriteOutput},
        {Colour::kRgb, of_three<BRIMJ_RGBWriteOutput1to1>, BRIMJ_RGBWriteOutput},
        {Colour::kCmyk, of_four<BRIMJ_CMYKWriteOutput1to1>, nullptr},
        {Colour::kYcck, of_four<BRIMJ_YCCKWriteOutput1to1>, nullptr},
    };
    for (const auto &row : kRows) {
        const PictureSpec spec{.width = 45, .height = 9, .colour = row.colour, .h = 1, .v = 1};
        const Bytes jpeg = turbo_picture(spec);
        const auto coded = turbo_planes(jpeg);
        ASSERT_TRUE(coded);
        for (const int32_t format : {COLOR_RGB565, COLOR_RGBA8888, COLOR_GRAY, COLOR_YUV444}) {
            const Bytes whole = decode(jpeg, {.format = format}).pixels;
            for (const bool sums : {false, true}) {
                if (sums && !row.write_sums) continue;
                OpenRecord record(jpeg, format, spec.width, spec.height);
                ASSERT_TRUE(record.get());
                for (int y = 0; y < spec.height; ++y) {
                    const uint8_t *planes[4] = {};
                    std::vector<uint32_t> words(static_cast<size_t>(spec.width));
                    for (size_t c = 0; c < coded->components.size(); ++c) {
                        const Plane &plane = coded->components[c].plane;
                        planes[c] = plane.samples.data() + static_cast<ptrdiff_t>(y) * plane.width;
                        // Four times the same sample, in its ten bits.
                        for (size_t x = 0; sums && x < words.size(); ++x)
                            words[x] += uint32_t{planes[c][x]} * 4 << (20 - 10 * c);
                    }
                    sums ? row.write_sums(record.get(), words.data(), spec.width)
                         : row.write(record.get(), planes, spec.width);
                }
                EXPECT_TRUE(record.pixels() == whole)
                    << static_cast<int>(row.colour) << " format " << format << " sums " << sums;
            }
        }
    }
}

}  // namespace
}  // namespace vorel::test
