// Rectangles of a picture: child sessions, the map, and that a rectangle is what the whole picture has there.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "core/core.h"
#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/region/coefficient_store.h"
#include "jpeg/decoder/surgery.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"

namespace vorel::test {
namespace {

TEST(JpegChildren, SeeTheCancelOfTheirBaseWithASlotOrWithout) {
    const Bytes jpeg = turbo_picture({});
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    DecInfo *base = input.session();
    std::vector<std::unique_ptr<SessionGuard>> children;
    for (int i = 0; i < 34; ++i) {
        children.push_back(std::make_unique<SessionGuard>(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1)));
    }
    const DecInfo *first = base->children[0];
    children.erase(children.end() - 2);  // one without a slot
    EXPECT_EQ(base->children[0], first);
    GuardBuffer out(64 * 48 * 4);
    for (const bool cancelled : {false, true}) {
        store_relaxed(&base->abortFlag, cancelled ? kAbortCancelled : 0u);
        for (const size_t child : {size_t{0}, size_t{32}}) {
            EXPECT_EQ(VORELBRIM_DecodeJPEG(children[child]->get(), out.data(), 64, 48), !cancelled) << child;
        }
    }
    const SessionGuard late(BRIMJ_CreateTemporaryDecInfo(base, 0, 0, 64, 48, 1));
    EXPECT_EQ(late->abortFlag, kAbortCancelled);
}

// ---- A rectangle is the cut of the whole

constexpr uint8_t kFill = 0x3C;  // formats that a picture does not serve keep it
constexpr int kWidth = 619, kHeight = 347;

struct Rect {
    int x, y, width, height;
};

// A base session with its map.
class Mapped {
  public:
    Mapped(const Bytes &jpeg, int32_t format, Kind kind = Kind::kMemory)
        : input_(kind, jpeg, format, VOREL_OPTION_REGION), result_(VORELBRIM_ScanHuffmanInfo(input_.session())) {}
    ~Mapped() { VORELBRIM_DestroyJpegInfo(input_.session()); }
    DecInfo *base() { return input_.session(); }
    int32_t result() const { return result_; }
    using Decoder = decltype(VORELBRIM_DecodeRegion);
    Decoded region(const Rect &at, int sample, Decoder *decoder = VORELBRIM_DecodeRegion) {
        GuardBuffer out(format_bytes(base()->outColorFormat, at.width, at.height), kFill);
        Decoded decoded;
        decoded.result = decoder(base(), out.data(), kWidth, kHeight, at.x, at.y, at.width, at.height, sample);
        decoded.pixels = out.bytes();
        return decoded;
    }

  private:
    Input input_;
    int32_t result_;
};

Bytes cut(int32_t format, const Bytes &whole, int width, int height, const Rect &at) {
    Bytes out;
    size_t base = 0;
    const std::vector<PlaneSize> planes = planes_of(format, width, height),
                                 parts = planes_of(format, at.width, at.height);
    for (size_t p = 0; p < planes.size(); ++p) {
        const PlaneSize &plane = planes[p];
        // Chroma planes begin where the luma's even place is.
        const int x = plane.width < width ? at.x / 2 : at.x, y = plane.height < height ? at.y / 2 : at.y;
        for (int row = 0; row < parts[p].height; ++row) {
            const size_t from = base + area(plane.width, y + row) * static_cast<size_t>(plane.unit) +
                                static_cast<size_t>(x * plane.unit);
            const auto begin = whole.begin() + static_cast<ptrdiff_t>(from);
            out.insert(out.end(), begin, begin + parts[p].width * plane.unit);
        }
        base += area(plane.width, plane.height) * static_cast<size_t>(plane.unit);
    }
    return out;
}

// Around MCUs of 8 to 32 pixels, the middle and the last ones.
std::vector<Rect> rectangles(int width, int height, bool even) {
    const int xs[] = {0, 7, 16, 33, width / 2, width - 21}, ys[] = {0, 9, 16, height / 2 - 1, height - 11};
    const int sizes[] = {1, 8, 17, 40, 4096};
    std::vector<Rect> out;
    for (int x : xs) {
        for (int y : ys) {
            const int step = even ? 2 : 1;
            x = std::max(0, x) / step * step, y = std::max(0, y) / step * step;
            if (x >= width || y >= height) continue;
            const int w = sizes[out.size() % 5], h = sizes[(out.size() / 5 + out.size()) % 5];
            out.push_back({x, y, std::min(w, width - x), std::min(h, height - y)});
        }
    }
    return out;
}

PictureSpec grid_picture(int sampling, bool progressive, unsigned restart, bool smooth = false) {
    constexpr struct { int h, v; } kSamplings[] = {{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}, {1, 1}};
    PictureSpec out = sized(kWidth, kHeight, kSamplings[sampling].h, kSamplings[sampling].v);
    if (sampling == 5) out.colour = Colour::kGray;
    out.progressive = progressive;
    out.restart_interval = restart;
    out.smooth = smooth;
    return out;
}

TEST(JpegRegion, IsTheCutOfTheWhole) {
    size_t cases = 0;
    for (const bool progressive : {false, true}) {
        for (int sampling = 0; sampling < 6; ++sampling) {
            for (const unsigned restart : {0u, 1000u, 4u, 24u, 7u}) {
                // A row of MCUs.
                const unsigned mcu = sampling == 4 ? 32 : sampling == 1 || sampling == 2 ? 16 : 8;
                const unsigned interval = restart == 1000 ? (kWidth + mcu - 1) / mcu : restart;
                const Bytes jpeg = turbo_picture(grid_picture(sampling, progressive, interval));
                for (const int32_t format : {COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21, COLOR_NV12}) {
                    // Sampling 4:1:1 has no map.
                    Mapped mapped(jpeg, format);
                    ASSERT_EQ(mapped.result(), sampling != 4);
                    if (sampling == 4) break;
                    for (const int sample : {1, 2, 4, 8, 16}) {
                        const int width = (kWidth + sample / 2) / sample, height = (kHeight + sample / 2) / sample;
                        const Decoded whole = decode(jpeg, {.format = format,
                                                            .width = width,
                                                            .height = height,
                                                            .options = VOREL_OPTION_FIT_STRETCH,
                                                            .fill = kFill});
                        ASSERT_EQ(whole.result, 1);
                        for (const Rect &at : rectangles(width, height, !pixel_bytes(format))) {
                            const Decoded part = mapped.region(at, sample);
                            ASSERT_EQ(part.result, 1);
                            ASSERT_TRUE(part.pixels == cut(format, whole.pixels, width, height, at))
                                << "progressive " << progressive << " sampling " << sampling << " restart " << interval
                                << " format " << format << " 1/" << sample << " at " << at.x << "," << at.y << " "
                                << at.width << "x" << at.height;
                            ++cases;
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(cases, size_t{10000});
}

// Odd rectangles of planes and turned ones are what a window of the plain decode is; a sampling that halves neither way
// evenly, and the pictures of a few MCUs that the fast path leaves alone.
TEST(JpegRegion, IsTheWindowOfAPlainDecode) {
    std::mt19937 random(11);
    const auto below = [&random](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
    for (const bool progressive : {false, true}) {
        for (const auto &[width, height] : {std::pair{kWidth, kHeight}, {35, 19}, {1, 1}, {3, 200}}) {
            PictureSpec picture = sized(width, height, 1 + below(3), 1 + below(3));
            if (picture.h * picture.v > 8) picture.v = 2;
            picture.progressive = progressive;
            picture.restart_interval = static_cast<unsigned>(below(3) * 5);
            const Bytes jpeg = turbo_picture(picture);
            for (int i = 0; i < 60; ++i) {
                DecodeSpec spec{.format = kAllFormats[below(15)], .fill = kFill};
                if (pixel_bytes(spec.format)) spec.options = static_cast<uint32_t>(below(4)) * 4;
                const int sample = 1 << below(progressive ? 3 : 5);
                const int w = std::max(1, (width + sample / 2) / sample),
                          h = std::max(1, (height + sample / 2) / sample);
                const Rect at = {below(w), below(h), 1 + below(w + 5), 1 + below(h + 5)};
                Input input(Kind::kMemory, jpeg, spec.format, spec.options | VOREL_OPTION_REGION);
                GuardBuffer out(format_bytes(spec.format, at.width, at.height), kFill);
                GuardBuffer expected(out.bytes());
                const int32_t done =
                    VORELBRIM_DecodeRegion(input.session(), out.data(), 1, 1, at.x, at.y, at.width, at.height, sample);
                VORELBRIM_SetDecOption(input.session(), spec.options | VOREL_OPTION_FIT_STRETCH);
                set_window(input.session(), static_cast<uint32_t>(at.x), static_cast<uint32_t>(at.y),
                           static_cast<uint32_t>(at.width), static_cast<uint32_t>(at.height));
                const bool turned = spec.options & 4 && pixel_bytes(spec.format) != 0;
                ASSERT_EQ(VORELBRIM_DecodeJPEG(input.session(), expected.data(), turned ? h : w, turned ? w : h), done);
                ASSERT_TRUE(out.bytes() == expected.bytes())
                    << width << "x" << height << " format " << spec.format << " turn " << spec.options << " 1/"
                    << sample << " at " << at.x << "," << at.y << " " << at.width << "x" << at.height;
            }
        }
    }
}

// ---- Inputs, threads, what goes wrong

constexpr Rect kMiddle = {201, 77, 133, 150}, kLarge = {9, 5, 600, 330};

TEST(JpegRegion, EveryInputGivesTheSame) {
    for (const bool progressive : {false, true}) {
        const Bytes jpeg = turbo_picture(grid_picture(2, progressive, 7));
        const Bytes expected = Mapped(jpeg, COLOR_RGBA8888).region(kLarge, 1).pixels;
        for (const Kind kind : kAllKinds) {
            Mapped mapped(jpeg, COLOR_RGBA8888, kind);
            ASSERT_EQ(mapped.result(), 1);
            for (const auto decoder : {VORELBRIM_DecodeRegion, VORELBRIM_PDecodeRegion, VORELBRIM_P2DecodeRegion}) {
                const Decoded part = mapped.region(kLarge, 1, decoder);
                const bool served = kind != Kind::kStdio;
                // Bands from a list say nothing.
                const bool silent = decoder == VORELBRIM_P2DecodeRegion && !progressive && kind != Kind::kStream;
                EXPECT_EQ(part.result, served && !silent) << static_cast<int>(kind);
                EXPECT_EQ(part.pixels == expected, served) << static_cast<int>(kind);
            }
            // Without the option children make a window of a plain decode.
            VORELBRIM_SetDecOption(mapped.base(), 0);
            EXPECT_EQ(mapped.region(kLarge, 1).pixels == expected, kind != Kind::kStdio);
            VORELBRIM_SetDecOption(mapped.base(), VOREL_OPTION_REGION);
            if (kind != Kind::kStdio) continue;
            // A caller's own FILE serves its session alone.
            set_window(mapped.base(), kLarge.x, kLarge.y, kLarge.width, kLarge.height);
            GuardBuffer out(expected.size());
            EXPECT_EQ(VORELBRIM_DecodeJPEG(mapped.base(), out.data(), 1, 1), 1);
            EXPECT_TRUE(out.bytes() == expected);
        }
    }
}

TEST(JpegRegion, WithoutARectangleTheWholeIsDecoded) {
    const Bytes jpeg = turbo_picture(grid_picture(2, false, 0));
    TempFile file(jpeg);
    Mapped mapped(jpeg, COLOR_RGBA8888);
    const Bytes expected = mapped.region({0, 0, kWidth, kHeight}, 1).pixels;
    const SessionGuard child(BRIMJ_CreateTemporaryDecInfoWithIIO(mapped.base(), 0, file.path()));
    EXPECT_EQ(BRIMJ_CreateRegionMap(mapped.base(), nullptr, 0, 0), 1) << "the map of the child stays";
    for (DecInfo *session : {child.get(), mapped.base()}) {
        for (const uint32_t options : {uint32_t{VOREL_OPTION_REGION}, uint32_t{VOREL_OPTION_REGION}, 0u}) {
            VORELBRIM_SetDecOption(session, options);
            GuardBuffer out(expected.size());
            EXPECT_EQ(VORELBRIM_DecodeJPEG(session, out.data(), kWidth, kHeight), 1);
            EXPECT_TRUE(out.bytes() == expected) << "base " << (session == mapped.base()) << " options " << options;
        }
    }
    VORELBRIM_SetDecOption(mapped.base(), VOREL_OPTION_REGION);
    for (const auto decoder : {VORELBRIM_DecodeRegion, VORELBRIM_PDecodeRegion, VORELBRIM_P2DecodeRegion}) {
        const Decoded below = mapped.region({0, INT32_MAX - 10, 2000, 100}, 1, decoder);
        EXPECT_EQ(below.result, 1);
        EXPECT_EQ(below.pixels, Bytes(below.pixels.size(), kFill));
    }
}

TEST(JpegRegion, ThreadsOverOneMapAndTwoThreadsARectangleGiveTheSame) {
    for (const bool progressive : {false, true}) {
        const Bytes jpeg = turbo_picture(grid_picture(2, progressive, 0));
        for (const int32_t format : {COLOR_RGB565, COLOR_YUV420, COLOR_YUV422, COLOR_NV21, COLOR_GRAY}) {
            Mapped mapped(jpeg, format);
            const std::vector<Rect> all = {
                {0, 0, 200, 64}, {37, 80, 560, 260}, kMiddle, {3, 3, 616, 344}, {8, 8, 9, 63}};
            std::vector<Bytes> expected;
            for (const Rect &at : all) expected.push_back(mapped.region(at, 1).pixels);
            std::vector<std::thread> threads;
            std::atomic<int> wrong = 0;
            for (int thread = 0; thread < 4; ++thread) {
                threads.emplace_back([&, thread] {
                    for (size_t i = 0; i < 3 * all.size(); ++i) {
                        const size_t at = (i + static_cast<size_t>(thread)) % all.size();
                        const auto decoder = i < all.size()       ? VORELBRIM_DecodeRegion
                                             : i < 2 * all.size() ? VORELBRIM_PDecodeRegion
                                                                  : VORELBRIM_P2DecodeRegion;
                        const Decoded part = mapped.region(all[at], 1, decoder);
                        // One without whole bytes a pixel has no two threads.
                        const bool refused = format == COLOR_GRAY && decoder == VORELBRIM_PDecodeRegion &&
                                             !progressive && all[at].height >= 64;
                        if (!refused && part.pixels != expected[at]) ++wrong;
                        if (refused && part.result != 0) ++wrong;
                    }
                });
            }
            for (std::thread &thread : threads) thread.join();
            EXPECT_EQ(wrong, 0) << "format " << format << " progressive " << progressive;
        }
    }
}

TEST(JpegRegion, BandsEndAtMultiplesOfTheirHeight) {
    const Bytes jpeg = turbo_picture({});
    Input input(Kind::kMemory, jpeg, COLOR_RGB565);
    DecInfo *session = input.session();
    Bytes pixels(2 * 7 * 300);
    uint8_t *out = pixels.data();
    const struct {
        int sample, y, height;
        std::vector<int> bands;
    } kCases[] = {{1, 100, 300, {28, 128, 128, 16}}, {1, 128, 128, {}}, {1, 128, 129, {128, 1}}, {2, 0, 100, {64, 36}},
                  {4, 15, 18, {1, 16, 1}},           {16, 3, 13, {}},   {0, 0, 20, {16, 4}},     {1, 65400, 300, {}}};
    for (const auto &expected : kCases) {
        session->sampleSize = expected.sample;
        EXPECT_EQ(BRIMJ_MakeRDJobList(session, out, 5, expected.y, 7, expected.height), !expected.bands.empty());
        if (!expected.bands.empty())
            EXPECT_EQ(BRIMJ_MakeRDJobList(session, out, 5, 0, 7, 300), 0) << "one list at a time";
        int y = expected.y;
        for (const int rows : expected.bands) {
            const RegionJob *job = BRIMJ_GetOneJob(session);
            ASSERT_NE(job, nullptr);
            EXPECT_EQ(job->y, y);
            EXPECT_EQ(job->height, rows);
            EXPECT_EQ(job->output, out + 2 * 7 * (y - expected.y));
            y += rows;
        }
        EXPECT_EQ(BRIMJ_GetOneJob(session), nullptr);
        EXPECT_EQ(session->jobsExhausted, 1u);
        VORELBRIM_OsFree(session->regionJobs);
        session->regionJobs = nullptr;
    }
}

struct CancelAt {
    int row = 0;
};
thread_local CancelAt g_cancel;
int32_t cancel_at_row(DecInfo *session, uint32_t) {
    if (g_cancel.row-- == 0) store_relaxed(&session->abortFlag, kAbortCancelled);
    return 1;
}

// At each row of the pass and of a rectangle; nothing is left behind, and other children go on.
TEST(JpegRegion, CancelsAtAnyRow) {
    for (const bool progressive : {false, true}) {
        const Bytes jpeg = turbo_picture(grid_picture(2, progressive, 0));
        CountingAllocator allocator;
        for (int row = 0; row < 26; ++row) {
            {
                Input input(Kind::kMemory, jpeg, COLOR_RGBA8888, VOREL_OPTION_REGION);
                input.session()->checkFn = cancel_at_row;
                g_cancel.row = row;
                // The last row has been walked when its cancel could be seen.
                EXPECT_EQ(VORELBRIM_ScanHuffmanInfo(input.session()), row >= 21) << row;
                EXPECT_EQ(VORELBRIM_DestroyJpegInfo(input.session()), 1);
            }
            EXPECT_EQ(allocator.live_blocks(), 0u);
        }
        {
            Mapped mapped(jpeg, COLOR_RGBA8888);
            const Bytes expected = mapped.region(kMiddle, 1).pixels;
            const SessionGuard other(BRIMJ_CreateTemporaryDecInfo(mapped.base(), 201, 77, 133, 150, 1));
            for (int row = 0; row < 9; ++row) {
                const SessionGuard child(BRIMJ_CreateTemporaryDecInfo(mapped.base(), 201, 77, 133, 150, 1));
                child->checkFn = cancel_at_row;
                g_cancel.row = row;
                GuardBuffer out(expected.size());
                EXPECT_EQ(VORELBRIM_DecodeRegionBase(child.get(), out.data(), 1, 1), 0) << row;
                EXPECT_EQ(VORELBRIM_DecodeJPEG(other.get(), out.data(), 1, 1), 1);
                EXPECT_TRUE(out.bytes() == expected);
            }
            store_relaxed(&mapped.base()->abortFlag, kAbortCancelled);
            for (const auto decoder : {VORELBRIM_DecodeRegion, VORELBRIM_PDecodeRegion, VORELBRIM_P2DecodeRegion}) {
                EXPECT_EQ(mapped.region(kMiddle, 1, decoder).result, 0);
            }
            other->retainedJpegInfo = nullptr;
        }
        EXPECT_EQ(allocator.live_blocks(), 0u);
    }
}

TEST(JpegRegion, CutFilesHaveNoMapAndEndedOnesAGrayRest) {
    const Bytes jpeg = turbo_picture(grid_picture(2, false, 0));
    EXPECT_EQ(Mapped(head(jpeg, jpeg.size() / 2), COLOR_RGBA8888).result(), 0);
    for (const size_t size : {jpeg.size() / 2, jpeg.size() - 200}) {
        const Bytes ended = cat({head(jpeg, size), {0xFF, 0xD9}});
        Mapped mapped(ended, COLOR_RGBA8888);
        ASSERT_EQ(mapped.result(), 1);
        const Bytes whole = decode(ended, {.format = COLOR_RGBA8888}).pixels;
        for (const Rect &at : {Rect{100, 300, 200, 47}, kMiddle}) {
            EXPECT_TRUE(mapped.region(at, 1).pixels == cut(COLOR_RGBA8888, whole, kWidth, kHeight, at));
        }
    }
    // Within the last 15 rows a cut is forgiven.
    const Bytes nearly = head(jpeg, jpeg.size() - 600);
    Mapped mapped(nearly, COLOR_RGBA8888);
    ASSERT_EQ(mapped.result(), 1);
    const Rect bottom = {560, 320, 59, 27};
    EXPECT_TRUE(mapped.region(bottom, 1).pixels ==
                cut(COLOR_RGBA8888, decode(nearly, {.format = COLOR_RGBA8888}).pixels, kWidth, kHeight, bottom));
    // A map that failed is not tried again; scans apart have a map and no rectangles.
    Input failed(Kind::kMemory, head(jpeg, 2000), COLOR_RGBA8888, VOREL_OPTION_REGION);
    GuardBuffer out(16);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(VORELBRIM_DecodeRegion(failed.session(), out.data(), 1, 1, 0, 0, 2, 2, 1), 0);
    EXPECT_EQ(VORELBRIM_ScanHuffmanInfo(failed.session()), 0);
    EXPECT_EQ(VORELBRIM_DecodeJPEG(failed.session(), out.data(), 2, 2), 0);
    Mapped apart(turbo_picture({.scans = Scans::kOnePerComponent}), COLOR_RGBA8888);
    EXPECT_EQ(apart.result(), 1);
    EXPECT_EQ(apart.region({0, 0, 2, 2}, 1).result, 0);
    for (const Rect &none : {Rect{0, 0, 0, 4}, {-1, 0, 4, 4}, {0, 0, 4, -4}}) {
        EXPECT_EQ(VORELBRIM_DecodeRegion(mapped.base(), out.data(), 1, 1, none.x, none.y, none.width, none.height, 1),
                  0);
    }
    Mapped scans(turbo_picture(grid_picture(2, true, 0)), COLOR_RGBA8888);
    EXPECT_EQ(scans.region({0, 0, 2, 2}, 3).result, 0) << "progressive by 3";
}

// What is kept of rectangles changes nothing, whatever the data is like and however little may be kept.
TEST(JpegRegion, WhatIsKeptGivesTheSame) {
    std::mt19937 random(5);
    size_t maps = 0;
    for (int i = 0; i < 120; ++i) {
        Bytes jpeg = turbo_picture(grid_picture(i % 4, false, i % 3 == 0 ? 7 : 0, i % 5 == 0));
        const size_t data = jpeg.size() / 4;
        if (i % 8 == 1) jpeg = cat({head(jpeg, data + random() % (3 * data)), {0xFF, 0xD9}});
        // Many leave DC values that 1/8 refuses.
        for (int byte = 0; byte < (i % 8 == 7 ? 300 : i % 8); ++byte)
            jpeg[data + random() % (jpeg.size() - data)] = static_cast<uint8_t>(random());
        Mapped without(jpeg, COLOR_RGBA8888), with(jpeg, COLOR_RGBA8888), little(jpeg, COLOR_RGBA8888);
        if (without.result() != 1) continue;
        ++maps;
        ASSERT_EQ(vorel_jpeg_set_region_memory(without.base(), 0), 1);
        constexpr size_t kLittle = 30000;
        vorel_jpeg_set_region_memory(little.base(), kLittle);
        for (const int sample : {1, 8, 4, 2}) {
            for (const Rect &at : {kMiddle, Rect{150, 60, 133, 150}, Rect{9, 5, 600, 330}}) {
                const Rect reduced = {at.x / sample, at.y / sample, at.width / sample, at.height / sample};
                const Decoded expected = without.region(reduced, sample);
                for (int turn = 0; turn < 3; ++turn) {
                    for (Mapped *mapped : {&with, &little}) {
                        const Decoded part = mapped->region(reduced, sample);
                        ASSERT_EQ(part.result, expected.result) << i << " 1/" << sample << " turn " << turn;
                        ASSERT_TRUE(part.pixels == expected.pixels) << i << " 1/" << sample << " turn " << turn;
                    }
                }
            }
        }
        EXPECT_EQ(without.base()->retainedJpegInfo->store->bytes(), 0u);
        EXPECT_LE(little.base()->retainedJpegInfo->store->bytes(), kLittle);
        EXPECT_GT(with.base()->retainedJpegInfo->store->bytes(), kLittle);
        vorel_jpeg_set_region_memory(with.base(), 0);
        EXPECT_EQ(with.base()->retainedJpegInfo->store->bytes(), 0u);
    }
    EXPECT_GT(maps, size_t{70});
    Mapped progressive(turbo_picture(grid_picture(2, true, 0)), COLOR_RGBA8888);
    EXPECT_EQ(vorel_jpeg_set_region_memory(progressive.base(), 1 << 20), 0);
    EXPECT_EQ(vorel_jpeg_set_region_memory(nullptr, 1 << 20), 0);
}

// A child over another input than its base, a picture with the same map, takes nothing that the base's rectangles have
// left and leaves nothing for them.
TEST(JpegRegion, ChildrenWithInputsOfTheirOwnReadThem) {
    const Bytes jpeg = turbo_picture(grid_picture(2, false, 0));
    std::mt19937 random(8);
    Bytes other = jpeg;
    for (int i = 0; i < 200; ++i) {
        uint8_t &byte = other[jpeg.size() / 4 + random() % (jpeg.size() / 2)];
        const uint8_t now = static_cast<uint8_t>(byte ^ 1 << random() % 7);
        // Markers stay where they are.
        if (byte < 0xF0 && byte != 0 && now < 0xF0) byte = now;
    }
    TempFile other_file(other), same_file(jpeg);
    GuardBuffer other_memory(other);
    const auto size = static_cast<int32_t>(jpeg.size());
    for (const Kind kind : {Kind::kMemory, Kind::kPath}) {
        Mapped kept(jpeg, COLOR_RGBA8888, kind), plain(jpeg, COLOR_RGBA8888, kind);
        ASSERT_EQ(kept.result() + plain.result(), 2);
        ASSERT_EQ(vorel_jpeg_set_region_memory(plain.base(), 0), 1);
        const auto by_child = [&](Mapped &mapped, uint32_t source, void *handle) {
            const SessionGuard child(BRIMJ_CreateTemporaryDecInfoWithIIO(mapped.base(), source, handle));
            if (!child) return Decoded();
            set_window(child.get(), kLarge.x, kLarge.y, kLarge.width, kLarge.height);
            GuardBuffer out(area(kLarge.width, kLarge.height) * 4, kFill);
            const int32_t result = VORELBRIM_DecodeRegionBase(child.get(), out.data(), kWidth, kHeight);
            return Decoded{result, out.bytes()};
        };
        ASSERT_EQ(kept.base()->ioInfo->size, size);
        const Decoded own = plain.region(kLarge, 1);
        ASSERT_EQ(own.result, 1);
        for (const bool first_by_base : {true, false}) {
            if (!first_by_base) {
                vorel_jpeg_set_region_memory(kept.base(), 0);
                vorel_jpeg_set_region_memory(kept.base(), size_t{32} << 20);
            }
            for (int turn = 0; turn < 3 && first_by_base; ++turn) kept.region(kLarge, 1);
            EXPECT_EQ(kept.base()->retainedJpegInfo->store->bytes() > 0, first_by_base);
            for (int turn = 0; turn < 3; ++turn) {
                for (const auto &[source, handle] :
                     {std::pair<uint32_t, void *>{kIoFile, other_file.path()}, {kIoMemory, other_memory.data()}}) {
                    const Decoded expected = by_child(plain, source, handle), part = by_child(kept, source, handle);
                    ASSERT_EQ(expected.result, 1);
                    EXPECT_FALSE(expected.pixels == own.pixels);
                    EXPECT_EQ(part.result, 1);
                    EXPECT_TRUE(part.pixels == expected.pixels) << "source " << source << " turn " << turn;
                }
                EXPECT_TRUE(by_child(kept, kIoFile, same_file.path()).pixels == own.pixels);
            }
            EXPECT_EQ(kept.base()->retainedJpegInfo->store->bytes() > 0, first_by_base);
            for (int turn = 0; turn < 3; ++turn) EXPECT_TRUE(kept.region(kLarge, 1).pixels == own.pixels);
        }
    }
}

TEST(JpegRegion, WithoutMemoryNothingIsLeftBehind) {
    for (const bool progressive : {false, true}) {
        const Bytes jpeg = turbo_picture({.width = 420, .height = 330, .progressive = progressive});
        const Bytes expected = Mapped(jpeg, COLOR_RGB565).region({4, 2, 410, 325}, 1).pixels;
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            {
                SessionGuard base(VORELBRIM_CreateDecInfo(1, const_cast<uint8_t *>(jpeg.data()),
                                                          static_cast<int32_t>(jpeg.size()), COLOR_RGB565,
                                                          VOREL_OPTION_REGION));
                GuardBuffer out(expected.size());
                bool done = base && VORELBRIM_ScanHuffmanInfo(base.get()) == 1;
                for (int turn = 0; turn < 3 && done; ++turn)
                    done = VORELBRIM_PDecodeRegion(base.get(), out.data(), 1, 1, 4, 2, 410, 325, 1) == 1;
                if (done) EXPECT_TRUE(out.bytes() == expected || allocator.failed());
                EXPECT_TRUE(done || allocator.failed());
                if (base) VORELBRIM_DestroyJpegInfo(base.get());
            }
            EXPECT_EQ(allocator.live_blocks(), 0u);
        });
        EXPECT_GT(allocations, size_t{20});
    }
}

// Loops of one's own: MCUs that leave positions, MCUs that take them, row steps.
TEST(JpegRegion, SingleSteps) {
    const Bytes jpeg = turbo_picture(grid_picture(2, false, 7));
    Mapped mapped(jpeg, COLOR_RGBA8888);
    const SessionGuard child(BRIMJ_CreateTemporaryDecInfo(mapped.base(), 201, 77, 133, 150, 1));
    StreamCursor cursor(child->ioInfo);
    GuardBuffer out(size_t{133} * 150 * 4);
    FrameRequest request = {0, 0, out.data(), 1, 1};
    using McuFn = decltype(BRIMJ_DecodeMcu);
    constexpr std::pair<McuFn *, McuFn *> kPairs[] = {{BRIMJ_DecodeMcu, BRIMJ_DecodeMcuRegion},
                                                      {BRIMJ_DecodeMcu_2to1, BRIMJ_DecodeMcu_2to1Region},
                                                      {BRIMJ_DecodeMcu_4to1, BRIMJ_DecodeMcu_4to1Region},
                                                      {BRIMJ_DecodeMcu_8to1, BRIMJ_DecodeMcu_8to1Region}};
    for (const auto &[plain, twin] : kPairs) {
        OpenRecord whole(jpeg, COLOR_RGBA8888, kWidth, kHeight), walk(jpeg, COLOR_RGBA8888, kWidth, kHeight);
        cursor.start_at(0);
        JpegInfo *region = BRIMJ_GetJpegRegionInfo(child.get(), cursor.stream(), &request);
        ASSERT_NE(region, nullptr);
        for (McuBatch *batch : {whole.batch(), region->pump.batch})
            std::fill_n(batch->coefficients[0], 6 * 64, int16_t{0});
        EXPECT_EQ(twin(whole.get(), whole.batch()->blocks), 0) << "no map";
        for (int mcu = 0; mcu < 100; ++mcu) {
            // A stream that is somewhere else: the position brings it back.
            if (mcu % 39 % 7 == 0) discard(&region->scan);
            ASSERT_EQ(plain(whole.get(), whole.batch()->blocks), 1);
            ASSERT_EQ(twin(region, region->pump.batch->blocks), 1);
            ASSERT_EQ(BRIMJ_DecodeMcuScan(walk.get(), nullptr), 1);
            for (int b = 0; b < 6; ++b) {
                ASSERT_TRUE(
                    std::equal(whole.batch()->blocks[b], whole.batch()->blocks[b] + 64, region->pump.batch->blocks[b]))
                    << mcu;
            }
        }
        const auto &made = walk.get()->own_map.tables[0].rows, &known = region->map->tables[0].rows;
        for (const auto &[row, column] : {std::pair{0, 5}, {4, 3}}) {
            EXPECT_EQ(std::memcmp(&made[row][column], &known[row][column], sizeof(EntropyState)), 0);
        }
        BRIMJ_RegionDeleteDecoderInfo(region);
    }
    cursor.start_at(0);
    JpegInfo *region = BRIMJ_RegionInitialize(child.get(), cursor.stream(), &request);
    uint8_t **rows[3];
    for (int c = 0; c < 3; ++c) rows[c] = region->pump.components[c].rows;
    uint32_t done = region->out.outputRow;
    EXPECT_EQ(done, 64u) << "the rows above are behind";
    while (done < 227 && BRIMJ_ProcessDataRegion(region, reinterpret_cast<uint8_t **>(rows), &done, 227) == 100) {
    }
    BRIMJ_RegionDeleteDecoderInfo(region);
    EXPECT_TRUE(out.bytes() == mapped.region(kMiddle, 1).pixels);
}

// Pictures that claim 50000 x 50000 pixels in a few bytes, an MCU between two restarts.
TEST(JpegRegion, MapsOfHugePicturesStayInBounds) {
    for (const bool progressive : {false, true}) {
        const Bytes small = turbo_picture({.h = 1, .v = 1, .restart_interval = 1, .progressive = progressive});
        const Bytes side = {50000 >> 8, 50000 & 255};
        const Bytes jpeg = changed(small, find_marker(small, progressive ? 0xC2 : 0xC0) + 5, cat({side, side}));
        CountingAllocator allocator;
        {
            Mapped mapped(jpeg, COLOR_RGBA8888);
            EXPECT_EQ(mapped.result(), 1);
            EXPECT_LT(allocator.live_bytes(), size_t{70} << 20);
            EXPECT_LT(allocator.peak_bytes(), size_t{100} << 20);
        }
        EXPECT_EQ(allocator.live_blocks(), 0u);
    }
}

}  // namespace
}  // namespace vorel::test
