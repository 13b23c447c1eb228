// Decodes on several threads against the same decodes on one: bands of rows, and DC values that are read ahead.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <random>
#include <thread>

#include "jpeg/decoder/coded_stream.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "jpeg/decoder/threads/speculation.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"
#include "support/log_capture.h"

namespace vorel::test {
namespace {

int g_threads;  // that tasks are run on; 0: the pools' own threads
std::mt19937 g_order;

// All waiting tasks in shuffled order. They may not be queued again, so their records need not come back.
void run_shuffled(vorel_threadpool *pool) {
    std::vector<vorel_threadpool_task> tasks;
    while (vorel_threadpool_task *task = vorel_threadpool_queue_dequeue(&pool->waiting)) tasks.push_back(*task);
    std::shuffle(tasks.begin(), tasks.end(), g_order);
    std::atomic<size_t> next{0};
    std::latch all_there(std::max(g_threads, 1));
    const auto work = [&] {
        all_there.arrive_and_wait();
        for (size_t i; (i = next++) < tasks.size();) tasks[i].routine(tasks[i].argument);
    };
    std::vector<std::thread> threads;
    for (int i = 1; i < g_threads; ++i) threads.emplace_back(work);
    work();
    for (std::thread &thread : threads) thread.join();
}

class Threads {
  public:
    // chunk: of speculation, bytes.
    Threads(int threads, int32_t chunk) {
        g_threads = threads;
        set_pool_runner(threads ? run_shuffled : nullptr);
        set_speculation_chunk(chunk);
    }
    ~Threads() {
        set_pool_runner(nullptr);
        set_speculation_chunk(0);
    }
    Threads(const Threads &) = delete;
    Threads &operator=(const Threads &) = delete;
};

int32_t by_choice(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG(session, output, width, height, 0);
}
int32_t by_restarts(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_RST(session, output, width, height, 1);
}
int32_t by_two(DecInfo *session, void *output, int32_t width, int32_t height) {
    return VORELBRIM_PDecodeJPEG_No_RST(session, output, width, height, 1);
}
constexpr decltype(DecodeSpec::entry) kEntries[] = {by_choice, by_restarts, by_two};

// One thread, without any of the methods.
Decoded plainly(const Bytes &jpeg, DecodeSpec spec) {
    const Threads none(0, -1);
    spec.entry = VORELBRIM_DecodeJPEG;
    return decode(jpeg, spec);
}

bool same(const Decoded &a, const Decoded &b) {
    return a.result == b.result && a.pixels == b.pixels && a.out_width == b.out_width && a.out_height == b.out_height;
}

PictureSpec random_picture(std::mt19937 &random, int width, int height) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}, {1, 3}};
    const auto &sampling = kSamplings[random() % 6];
    PictureSpec out = sized(width, height, sampling.h, sampling.v);
    const unsigned row = static_cast<unsigned>((width + sampling.h * 8 - 1) / (sampling.h * 8));
    const unsigned intervals[] = {0, 0, 1, row, 4, 24, 7, 3 * row};
    out.restart_interval = intervals[random() % 8];
    if (random() % 6 == 0) out.scans = Scans::kOnePerComponent;
    if (random() % 6 == 0) out.colour = random() % 2 ? Colour::kGray : Colour::kCmyk;
    out.progressive = random() % 12 == 0;
    out.quality = 30 + static_cast<int>(random() % 65);
    out.noise = static_cast<int>(random() % 3 * 30);
    out.seed = random();
    return out;
}

DecodeSpec random_spec(std::mt19937 &random, int width, int height) {
    constexpr uint32_t kFits[] = {0, 0x100, 0x200, 0x300, 0x700, 0x700};
    const int share = 1 << random() % 4;
    const bool exact = random() % 2;
    DecodeSpec spec{.format = kAllFormats[random() % std::size(kAllFormats)], .fill = 0xA5};
    spec.width = exact ? std::max(1, (width + share / 2) / share)
                       : 1 + static_cast<int>(random() % static_cast<uint32_t>(width));
    spec.height = exact ? std::max(1, (height + share / 2) / share)
                        : 1 + static_cast<int>(random() % static_cast<uint32_t>(height));
    spec.options = kFits[random() % 6] | (random() % 3 == 0 ? random() % 4 * 4 : 0);
    spec.kind = random() % 3 ? Kind::kMemory : kAllKinds[random() % 5];
    if (random() % 4 == 0) {
        spec.window_x = random() % static_cast<uint32_t>(spec.width);
        spec.window_y = random() % static_cast<uint32_t>(spec.height);
        spec.window_width = 1 + random() % static_cast<uint32_t>(spec.width);
        spec.window_height = 1 + random() % static_cast<uint32_t>(spec.height);
        spec.window_in_place = random() % 2;
    }
    return spec;
}

std::string text(const DecodeSpec &spec) {
    std::string out;
    for (const int64_t value : {int64_t{spec.format}, int64_t{spec.width}, int64_t{spec.height}, int64_t{spec.options},
                                int64_t{spec.window_x}, int64_t{spec.window_y}, int64_t{spec.window_width},
                                int64_t{spec.window_height}, static_cast<int64_t>(spec.kind), int64_t{g_threads}})
        out += std::to_string(value) + " ";
    return out;
}

// Small pictures by the methods themselves, pictures of 512 rows and more by whatever is chosen for them.
TEST(JpegThreads, BandsAreThePictureOfOneThread) {
    std::mt19937 random(11);
    for (int picture = 0; picture < 200; ++picture) {
        const bool large = picture % 8 == 0;
        const int width = large ? 512 + static_cast<int>(random() % 90) : 1 + static_cast<int>(random() % 190);
        const int height = picture == 0 ? 577
                           : large      ? 512 + static_cast<int>(random() % 90)
                                        : 20 + static_cast<int>(random() % 300);
        const PictureSpec source = random_picture(random, width, height);
        const Bytes jpeg = turbo_picture(source);
        for (int i = 0; i < (large ? 4 : 10); ++i) {
            DecodeSpec spec = random_spec(random, width, height);
            if (large && i < 3) {
                spec = {.format = spec.format,
                        .width = (width + (1 << i) / 2) >> i,
                        .height = (height + (1 << i) / 2) >> i,
                        .kind = spec.kind};
            }
            const Decoded expected = plainly(jpeg, spec);
            // Several scans are read side by side, which a stream cannot serve.
            ASSERT_TRUE(expected.result == 1 || spec.kind == Kind::kStream);
            const Threads threads(static_cast<int>(random() % 7), 0);
            spec.entry = large ? by_choice : kEntries[1 + random() % 2];
            jsInfo.enabled = picture % 2;
            ASSERT_TRUE(same(decode(jpeg, spec), expected))
                << text(spec) << "picture " << picture << ": " << width << "x" << height << " " << source.h << source.v
                << " restarts " << source.restart_interval;
            jsInfo.enabled = 0;
        }
    }
}

// Streams of every kind and what may become of them: also those that fail do so alike.
TEST(JpegThreads, ValuesReadAheadAreThoseOfOneThread) {
    std::mt19937 random(12);
    for (int picture = 0; picture < 160; ++picture) {
        const int width = 60 + static_cast<int>(random() % 500), height = 60 + static_cast<int>(random() % 400);
        PictureSpec source = random_picture(random, width, height);
        source.noise = static_cast<int>(random() % 100);
        if (picture % 8) source.restart_interval = 0;
        const auto seed = static_cast<unsigned>(random());
        Bytes jpeg = picture % 4 == 3
                         ? coded_stream({width, height, 1 + static_cast<int>(random() % 2), false, 0, seed})
                         : turbo_picture(source);
        const size_t data = scan_data(jpeg), at = data + random() % (jpeg.size() - data);
        switch (random() % 8) {
            case 0:
                jpeg.resize(at);
                break;
            case 1:
                jpeg = with_inserted(jpeg, at, noise(1 + random() % 300, random()));
                break;
            case 2:
                jpeg = with_inserted(jpeg, at, Bytes(1 + random() % 60, 0xFF));
                break;
            case 3:
                jpeg[at] ^= static_cast<uint8_t>(1 << random() % 8);
                break;
            default:
                break;
        }
        for (int i = 0; i < 8; ++i) {
            const int share = 8 << random() % 3;
            DecodeSpec spec{.format = i % 2 ? COLOR_RGBA8888 : COLOR_YUV420,
                            .width = std::max(1, width / share),
                            .height = std::max(1, height / share),
                            .options = VOREL_OPTION_FIT_STRETCH,
                            .kind = kAllKinds[random() % 5]};
            const Decoded expected = plainly(jpeg, spec);
            const Threads threads(static_cast<int>(random() % 7), static_cast<int32_t>(40 + random() % 3000));
            jsInfo.enabled = picture % 2;
            ASSERT_TRUE(same(decode(jpeg, spec), expected))
                << text(spec) << "picture " << picture << ", result " << expected.result;
            jsInfo.enabled = 0;
        }
    }
    const Bytes large = turbo_picture({.width = 2000, .height = 1500, .quality = 97, .noise = 90});
    const DecodeSpec eighth{.format = COLOR_RGBA8888, .width = 250, .height = 188};
    ASSERT_GT(large.size(), size_t{12 * 65536});
    const Decoded expected = plainly(large, eighth);
    EXPECT_TRUE(same(decode(large, eighth), expected));
    DecodeSpec file = eighth;
    file.kind = Kind::kPath;
    EXPECT_TRUE(same(decode(large, file), expected));
}

// Rows of bands that fail are left out without a word, but not those of a picture that is turned.
TEST(JpegThreads, BrokenPictures) {
    const Bytes whole = turbo_picture({.width = 80, .height = 300, .quality = 100});
    int failed = 0;
    for (unsigned seed = 0; seed < 150; ++seed) {
        const Bytes jpeg = with_inserted(whole, scan_data(whole) + 40 * seed, noise(600, seed));
        for (const uint32_t turn : {0u, 8u}) {
            DecodeSpec spec{.format = COLOR_RGBA8888, .width = 10, .height = 38, .options = turn};
            const int32_t expected = plainly(jpeg, spec).result;
            failed += expected == 0;
            const Threads threads(3, 0);
            spec.entry = kEntries[1 + seed % 2];
            EXPECT_EQ(decode(jpeg, spec).result, turn ? expected : 1);
        }
    }
    EXPECT_GT(failed, 2);
}

int g_checks, g_cancel_at;
int32_t cancel_in_time(DecInfo *session, uint32_t row) {
    EXPECT_LE(row, session->outHeight);
    if (++g_checks < g_cancel_at) return 1;
    if (g_cancel_at % 2) return 0;
    std::thread([session] { __atomic_store_n(&session->abortFlag, 6u, __ATOMIC_RELAXED); }).join();
    return 1;
}

// At whatever row it comes, by the word or by the check function, nothing begins behind it and nothing stays behind.
TEST(JpegThreads, CancelsAtEveryRow) {
    struct Case {
        DecodeSpec spec;
        unsigned restarts;
        int32_t chunk;
    };
    const DecodeSpec full{.format = COLOR_NV21, .width = 80, .height = 300, .check = cancel_in_time};
    const DecodeSpec eighth{.format = COLOR_RGBA8888, .width = 10, .height = 38, .check = cancel_in_time};
    for (Case c : {Case{full, 5, 0}, Case{full, 0, 0}, Case{eighth, 0, 300}}) {
        const Bytes jpeg = turbo_picture({.width = 80, .height = 300, .quality = 95, .restart_interval = c.restarts});
        c.spec.entry = c.chunk ? VORELBRIM_DecodeJPEG : c.restarts ? by_restarts : by_two;
        for (const int threads : {0, 1, 3}) {
            for (g_cancel_at = 1; g_cancel_at <= 19; ++g_cancel_at) {
                const Threads running(threads, c.chunk);
                const CountingAllocator allocator;
                g_checks = 0;
                ASSERT_EQ(decode(jpeg, c.spec).result, 0) << threads << " threads, row " << g_cancel_at;
                ASSERT_EQ(g_checks, g_cancel_at);
                ASSERT_EQ(allocator.live_blocks(), 0u);
            }
        }
        // Nobody cancels: each row is asked about once, and those of bands that are left to the caller once more.
        const Threads running(1, c.chunk);
        g_cancel_at = 1000;
        g_checks = 0;
        EXPECT_EQ(decode(jpeg, c.spec).result, 1);
        EXPECT_LE(g_checks, c.chunk ? 19 : c.restarts ? 35 : 29);
    }
}

// Memory that is missing ends the decode or costs a thread, never pixels.
TEST(JpegThreads, MissingMemory) {
    struct Case {
        DecodeSpec spec;
        int32_t chunk;
    };
    const DecodeSpec full{.format = COLOR_RGBA8888, .width = 320, .height = 1600, .entry = by_two};
    const DecodeSpec eighth{.format = COLOR_RGBA8888, .width = 40, .height = 200};
    const Bytes jpeg = turbo_picture({.width = 320, .height = 1600, .quality = 90});
    for (const Case &c : {Case{full, 0}, Case{eighth, 9000}}) {
        const Decoded expected = plainly(jpeg, c.spec);
        for (const int runners : {0, 2}) {
            const Threads threads(runners, c.chunk);
            with_each_allocation_failing([&](const CountingAllocator &allocator) {
                const Decoded out = decode(jpeg, c.spec);
                if (out.result) {
                    EXPECT_TRUE(same(out, expected));
                } else {
                    EXPECT_TRUE(allocator.failed());
                }
                EXPECT_EQ(allocator.live_blocks(), 0u);
            });
        }
    }
}

struct {
    vorel_threadpool *pool;
    BandTask *tasks;
} g_walk;
int32_t start_waiting_threads(DecInfo *, uint32_t) {
    for (int i = 0; g_walk.tasks && i < 2; ++i) vorel_threadpool_add_task(g_walk.pool, decodeSub, &g_walk.tasks[i], 0);
    g_walk.tasks = nullptr;
    return 1;
}

// A walk of the caller's at 1/8 hands out bands to a pool of the caller's; and threads that wait for its checkpoints.
TEST(JpegThreads, BandsOfAWalkOfOnesOwn) {
    for (const unsigned restarts : {0u, 7u}) {
        for (const int32_t format : {COLOR_RGBA8888, COLOR_NV12}) {
            const Bytes jpeg = turbo_picture({.width = 200, .height = 700, .restart_interval = restarts});
            const DecodeSpec spec{.format = format, .width = 100, .height = 350};
            const Decoded expected = plainly(jpeg, spec);
            for (const bool checkpoints : {false, true}) {
                Input input(Kind::kMemory, jpeg, format);
                DecInfo *session = input.session();
                GuardBuffer out(expected.pixels.size()), small(format_bytes(format, 25, 88));
                // No start is that of an iMCU row.
                BandRow rows[] = {{0, 0, 100, 90, nullptr}, {0, 90, 100, 70, nullptr}, {0, 160, 100, 190, nullptr}};
                for (BandRow &row : rows) row.output = out.data() + (pixel_bytes(format) ? row.y * 400 : 0);
                session->bandTable = rows;
                session->bandCount = 3;
                session->bandThreads = 2;
                session->sampleSize = 2;
                session->dualTargetWidth = 100;
                session->dualTargetHeight = 350;
                vorel_threadpool *pool = vorel_threadpool_init(2);
                BandTask tasks[] = {{session, 100, 350, 0, 0, nullptr}, {session, 100, 350, 1, 0, nullptr}};
                if (checkpoints) {
                    // Checkpoints at a third and at two thirds, above the bands that begin by them.
                    session->midpointCount = 2;
                    g_walk = {pool, tasks};
                    session->checkFn = start_waiting_threads;
                    rows[0].height = 120;
                    rows[1] = {0, 120, 100, 120, out.data() + (pixel_bytes(format) ? 120 * 400 : 0)};
                    rows[2] = {0, 240, 100, 110, out.data() + (pixel_bytes(format) ? 240 * 400 : 0)};
                } else {
                    session->threadPool = pool;
                    session->threadBandStart = 1;
                }
                EXPECT_EQ(VORELBRIM_DecodeJPEG(session, small.data(), 25, 88), 1);
                vorel_threadpool_free(pool, 1);
                EXPECT_TRUE(out.bytes() == expected.pixels) << restarts << " " << format << " " << checkpoints;
                EXPECT_EQ(session->threadBandStart, 0u);
            }
        }
    }
}

// Bodies of threads and loops of one's own give what the decodes give, and refuse what is not whole.
TEST(JpegThreads, BodiesAndLoops) {
    const Bytes jpeg = turbo_picture({.width = 640, .height = 480, .quality = 95});
    for (const int share : {1, 8}) {
        const DecodeSpec spec{.format = COLOR_RGBA8888, .width = 640 / share, .height = 480 / share};
        const Decoded expected = plainly(jpeg, spec);
        for (void *(*body)(void *) : {decode_jpeg, decode_jpeg2, dualdecode_jpeg, scan_jpeg_mid_point}) {
            Input input(Kind::kMemory, jpeg, spec.format);
            GuardBuffer out(expected.pixels.size());
            DecodeJobParam block;
            set_parameter(&block, input.session(), out.data(), 0, 0, spec.width, spec.height, share, 0);
            EXPECT_EQ(body(&block), nullptr);
            EXPECT_TRUE(out.bytes() == expected.pixels);
            LogCapture log;
            block.output = nullptr;
            body(&block);
            body(nullptr);
            EXPECT_EQ(log.take().size(), 2u);
        }
        for (const int loop : {0, 1, 2, 3, 4}) {
            if (loop < 2 ? share == 1 : loop == 2 && share == 8) continue;
            const Threads threads(2, 700);
            OpenRecord record(jpeg, spec.format, spec.width, spec.height);
            JpegInfo *info = record.get();
            const uint32_t scale = share == 1 ? 0 : 3;
            const int32_t result =
                loop == 0   ? BRIMJ_Decode_Dualcore_8to1(record.session(), nullptr, info, nullptr)
                : loop == 1 ? BRIMJ_Decode_Dualcore_8to1_NoWait(record.session(), nullptr, info, nullptr)
                : loop == 2 ? BRIMJ_Decode_Dualcore_1to1(record.session(), nullptr, info, nullptr)
                : loop == 3 ? BRIMJ_Decode_Dualcore_Nto1(record.session(), nullptr, info, nullptr, scale)
                            : BRIMJ_Decode_Dualcore_Nowait(record.session(), nullptr, info, nullptr, scale);
            EXPECT_EQ(result, 200);
            EXPECT_TRUE(record.pixels() == expected.pixels) << loop;
        }
    }
}

TEST(JpegThreads, ChunksByTheDensityOfThePicture) {
    EXPECT_EQ(speculation_interval(12400000, 2000000), 12);
    EXPECT_EQ(speculation_interval(7999999, 7999999), 12);
    EXPECT_EQ(speculation_interval(8000000, 4000000), 42);
    EXPECT_EQ(speculation_interval(8000000, INT32_MAX), 56);
    EXPECT_EQ(speculation_interval(8000000, 0), 12);
}

}  // namespace
}  // namespace vorel::test
