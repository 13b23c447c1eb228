// Decodes in pieces: whatever the pieces are, together they are the whole decode.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/decoder/iterative/iteration.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

constexpr int kWidth = 301, kHeight = 243;

struct Picture {
    const char *name;
    PictureSpec spec;
};
const Picture kPictures[] = {
    {"4:2:0", {.width = kWidth, .height = kHeight, .noise = 60}},
    {"4:4:4, a restart every row", {.width = kWidth, .height = kHeight, .h = 1, .v = 1, .restart_interval = 38}},
    {"4:2:2, restarts", {.width = kWidth, .height = kHeight, .h = 2, .v = 1, .restart_interval = 7, .noise = 60}},
    {"4:4:0, restarts", {.width = kWidth, .height = kHeight, .h = 1, .v = 2, .restart_interval = 24}},
    {"progressive", {.width = kWidth, .height = kHeight, .progressive = true}},
    {"progressive, restarts",
     {.width = kWidth, .height = kHeight, .h = 1, .v = 1, .restart_interval = 5, .progressive = true}},
};
constexpr int32_t kFormats[] = {COLOR_RGBA8888, COLOR_RGB565, COLOR_YUV420, COLOR_NV21, COLOR_NV12};
struct Target {
    int width, height;
};
// 1, 1/2, 1/4, 1/8, between two scales, more than 1/8.
constexpr Target kTargets[] = {{kWidth, kHeight}, {150, 121}, {75, 60}, {37, 30}, {200, 161}, {18, 15}};

int guard_of(int32_t format) { return pixel_bytes(format) ? 1 : 2; }

size_t strip_bytes(int32_t format, int width, int rows) {
    return format_bytes(format, width, rows + 2 * guard_of(format));
}

// Strip [start, stop) of a whole picture with its guard rows, in a buffer for `rows` rows. Rows above `top` repeat it.
Bytes expected_strip(const Bytes &whole, int32_t format, const Target &size, int start, int stop, int rows, int top) {
    const int guard = guard_of(format);
    const FramePlanes from = planes_of_frame(format, size.width, size.height);
    const FramePlanes to = planes_of_frame(format, size.width, rows + 2 * guard);
    Bytes out(strip_bytes(format, size.width, rows));
    for (int p = 0; p < from.count; ++p) {
        const int shift = from.planes[p].shift;
        const size_t row_bytes = from.planes[p].row_bytes;
        const auto here = [&](int y) {
            return out.begin() + static_cast<ptrdiff_t>(to.planes[p].offset + static_cast<size_t>(y) * row_bytes);
        };
        const int used = (stop - start + 2 * guard + shift) >> shift, all = (rows + 2 * guard + shift) >> shift;
        for (int y = 0; y < all; ++y) {
            if (y >= used) {
                std::fill_n(here(y), row_bytes, p == 0 ? 0 : 128);
                continue;
            }
            const int row = std::clamp(((start - guard) >> shift) + y, top >> shift, (size.height - 1) >> shift);
            const uint8_t *source = whole.data() + from.planes[p].offset + static_cast<size_t>(row) * row_bytes;
            std::copy_n(source, row_bytes, here(y));
        }
    }
    return out;
}

int32_t prepare(DecInfo *session, const Target &size) {
    int32_t result = 4;
    for (int calls = 0; result == 4 && calls < 40; ++calls)
        result = VORELBRIM_PrepareJPEGIter(session, size.width, size.height);
    return result;
}

Bytes blob_of(const Bytes &jpeg, int count, const Target &size = kTargets[0]) {
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    input.session()->midpointCount = count;
    Bytes pixels(format_bytes(COLOR_RGBA8888, size.width, size.height));
    EXPECT_EQ(VORELBRIM_DecodeJPEG(input.session(), pixels.data(), size.width, size.height), 1);
    Bytes blob(static_cast<size_t>(vorel_write_midpoints(input.session(), nullptr, 0)));
    vorel_write_midpoints(input.session(), blob.data(), static_cast<int32_t>(blob.size()));
    return blob;
}

TEST(JpegIterative, AnySplitGivesTheWhole) {
    std::minstd_rand random(1);
    size_t inputs = 0;
    for (const Picture &picture : kPictures) {
        const Bytes jpeg = turbo_picture(picture.spec);
        for (const int32_t format : kFormats) {
            for (const Target &size : kTargets) {
                const Kind kind = kAllKinds[inputs++ % 5];
                const uint32_t options = pixel_bytes(format) ? (random() % 4) << 2 : 0;
                const bool turned = options & 4;
                const Target target = turned ? Target{size.height, size.width} : size;
                const Decoded whole = decode(
                    jpeg, {.format = format, .width = target.width, .height = target.height, .options = options});
                const std::string what = std::string(picture.name) + " to " + std::to_string(size.width) + " format " +
                                         std::to_string(format);
                ASSERT_EQ(whole.result, 1) << what;
                Input input(kind, jpeg, format, options);
                ASSERT_EQ(prepare(input.session(), target), 1) << what;
                GuardBuffer first(whole.pixels.size()), second(whole.pixels.size());
                GuardBuffer *out = &first;
                int32_t result = 4;
                for (int calls = 0; result == 4; ++calls) {
                    // Another buffer takes over where the first one was left.
                    if (calls == 2) std::copy_n(first.data(), first.size(), second.data()), out = &second;
                    const auto rows = static_cast<int32_t>(random() % 40);
                    result =
                        VORELBRIM_DecodeJPEGIter(input.session(), out->data(), target.width, target.height, 1, rows);
                }
                ASSERT_EQ(result, 1) << what;
                ASSERT_TRUE(out->bytes() == whole.pixels) << what;
                ASSERT_EQ(input.session()->codecState, nullptr);
            }
        }
    }
}

TEST(JpegIterative, StripsAndTheirGuardRowsAreThoseOfTheWhole) {
    std::minstd_rand random(2);
    for (const Picture &picture : kPictures) {
        const Bytes jpeg = turbo_picture(picture.spec);
        for (const int32_t format : kFormats) {
            for (const Target &size : kTargets) {
                const std::string what = std::string(picture.name) + " to " + std::to_string(size.width) + " format " +
                                         std::to_string(format);
                const Decoded whole = decode(jpeg, {.format = format, .width = size.width, .height = size.height});
                Input input(kAllKinds[random() % 5], jpeg, format);
                ASSERT_EQ(prepare(input.session(), size), 1) << what;
                const auto rows = static_cast<int>(2 * (random() % 40));
                int32_t result = VORELBRIM_DecodeJPEGIter4LTN(input.session(), &result, size.width, size.height, 1, 0);
                EXPECT_EQ(result, 4);
                for (int start = 0; result == 4;) {
                    // An empty strip is one of guard rows.
                    const int here = start == 0 ? std::max(rows, 2) : random() % 8 == 0 ? 0 : std::max(rows, 2);
                    GuardBuffer strip(strip_bytes(format, size.width, here), 77);
                    result =
                        VORELBRIM_DecodeJPEGIter4LTN(input.session(), strip.data(), size.width, size.height, 1, here);
                    const int stop = std::min(start + here, size.height);
                    ASSERT_EQ(result, stop < size.height ? 4 : 1) << what;
                    ASSERT_EQ(input.session()->stripStartRow, static_cast<uint32_t>(start)) << what;
                    ASSERT_TRUE(strip.bytes() == expected_strip(whole.pixels, format, size, start, stop, here, 0))
                        << what << " strip of " << here << " at " << start;
                    start = stop;
                }
            }
        }
    }
}

// Every number on a thread of its own, with checkpoints that came as bytes from a decode at another scale.
TEST(JpegIterative, StripsFromCheckpointsAreThoseOfTheWhole) {
    for (const Picture &picture : kPictures) {
        if (picture.spec.progressive) continue;
        const Bytes jpeg = turbo_picture(picture.spec);
        for (int count = 1; count <= 4; ++count) {
            for (const Target &size : kTargets) {
                const int32_t format = kFormats[static_cast<size_t>(count + size.width) % 5];
                const Bytes blob = blob_of(jpeg, count, kTargets[count % 4]);
                const Decoded whole = decode(jpeg, {.format = format, .width = size.width, .height = size.height});
                Input input(count % 2 ? Kind::kPath : Kind::kMemory, jpeg, format);
                DecInfo *session = input.session();
                ASSERT_EQ(vorel_read_midpoints(session, blob.data(), static_cast<int32_t>(blob.size())), 1);
                session->midpointPhase = 1;  // as a decode of too few rows leaves it
                ASSERT_EQ(prepare(session, size), 1);
                EXPECT_EQ(session->partialWidth, 0u);
                std::vector<int> stops(static_cast<size_t>(count)), starts(stops);
                for (int n = 1; n <= count; ++n) {
                    const JpegInfo *info = decoder_of(session, n);
                    ASSERT_TRUE(info) << picture.name << " number " << n << " of " << count;
                    starts[static_cast<size_t>(n - 1)] = info->iteration->first_row;
                    stops[static_cast<size_t>(n - 1)] = info->iteration->end_row;
                }
                ASSERT_EQ(starts[0], 0);
                ASSERT_EQ(stops.back(), size.height);
                for (size_t n = 1; n < starts.size(); ++n) ASSERT_EQ(starts[n], stops[n - 1]);
                std::vector<std::thread> threads;
                for (int n = 1; n <= count; ++n) {
                    threads.emplace_back([&, n] {
                        const int first = starts[static_cast<size_t>(n - 1)], end = stops[static_cast<size_t>(n - 1)];
                        if (guard_of(format) == 2 && first % 2) return;  // chroma rows are pairs of rows
                        int32_t result = 4;
                        for (int start = first; result == 4;) {
                            GuardBuffer strip(strip_bytes(format, size.width, 16));
                            result = VORELBRIM_DecodeJPEGMidpIter4LTN(session, strip.data(), size.width, size.height, 1,
                                                                      n, 16);
                            const int stop = std::min(start + 16, end);
                            EXPECT_EQ(result, stop < end ? 4 : 1);
                            EXPECT_TRUE(strip.bytes() ==
                                        expected_strip(whole.pixels, format, size, start, stop, 16, first))
                                << picture.name << " number " << n << " of " << count << " row " << start << " to "
                                << size.width;
                            start = stop;
                        }
                    });
                }
                for (std::thread &thread : threads) thread.join();
                EXPECT_EQ(VORELBRIM_AbortJPEGIter(session), 1);
            }
        }
    }
}

// Behind the last row the session has its map, and rectangles of it are cuts of the whole.
TEST(JpegIterative, TheMapIsThereBehindTheLastRow) {
    for (const Picture &picture : kPictures) {
        const Bytes jpeg = turbo_picture(picture.spec);
        const bool progressive = picture.spec.progressive;
        const Decoded whole = decode(jpeg, {.format = COLOR_RGBA8888, .width = kWidth, .height = kHeight});
        for (int form = 0; form < (progressive ? 2 : 4); ++form) {
            // Only a decode at full size goes through all scans of a progressive picture.
            const Target size = progressive ? kTargets[0] : kTargets[form];
            Input input(form % 2 ? Kind::kPath : Kind::kMemory, jpeg, COLOR_RGBA8888);
            DecInfo *session = input.session();
            const Bytes blob = blob_of(jpeg, form == 3 ? 4 : 0);
            ASSERT_EQ(vorel_read_midpoints(session, blob.data(), static_cast<int32_t>(blob.size())), 1);
            ASSERT_EQ(prepare(session, size), 1);
            const auto run = [&](int number) {
                Bytes out(strip_bytes(COLOR_RGBA8888, size.width, std::max(size.height, 50)));
                int32_t result = 4;
                while (result == 4) {
                    result = form < 2 ? VORELBRIM_DecodeJPEGIter(session, out.data(), size.width, size.height, 3, 50)
                             : form == 2
                                 ? VORELBRIM_DecodeJPEGIter4LTN(session, out.data(), size.width, size.height, 3, 50)
                                 : VORELBRIM_DecodeJPEGMidpIter4LTN(session, out.data(), size.width, size.height, 3,
                                                                    number, 50);
                }
                EXPECT_EQ(result, 1);
            };
            std::vector<std::thread> threads;
            for (int number = 1; number <= (form == 3 ? 4 : 1); ++number) threads.emplace_back(run, number);
            for (std::thread &thread : threads) thread.join();
            ASSERT_TRUE(session->regionMap && *session->regionMap == 1) << picture.name << " form " << form;
            ASSERT_TRUE(session->codecState == session->retainedJpegInfo);
            for (int y = 0; y < kHeight; y += 30) {
                const int x = y, rows = std::min(40, kHeight - y), columns = std::min(50, kWidth - x);
                GuardBuffer part(format_bytes(COLOR_RGBA8888, columns, rows));
                ASSERT_EQ(VORELBRIM_DecodeRegion(session, part.data(), kWidth, kHeight, x, y, columns, rows, 1), 1)
                    << picture.name << y;
                for (int row = 0; row < rows; ++row) {
                    ASSERT_TRUE(std::equal(part.data() + row * columns * 4, part.data() + (row + 1) * columns * 4,
                                           whole.pixels.data() + ((y + row) * kWidth + x) * 4))
                        << picture.name << " form " << form << " row " << y + row;
                }
            }
            Bytes out(4 * kWidth * kHeight);
            EXPECT_EQ(VORELBRIM_DecodeJPEGIter(session, out.data(), size.width, size.height, 1, 9), 0);
            if (form % 2) EXPECT_EQ(VORELBRIM_AbortJPEGIter(session), 1);
            EXPECT_EQ(VORELBRIM_DestroyJpegInfo(session), 1);
            EXPECT_EQ(VORELBRIM_AbortJPEGIter(session), 1);
        }
    }
}

// 16 rows of MCUs, 3 checkpoints: rows 5, 9 and 13, as bytes that other programs have stored.
TEST(JpegMidpoint, RecordsAreWhatApplicationsStore) {
    const Bytes jpeg = turbo_picture({.width = 256, .height = 256, .restart_interval = 3, .noise = 60});
    const Bytes blob = blob_of(jpeg, 3, {256, 256});
    ASSERT_EQ(blob.size(), 4u + 3 * 68);
    EXPECT_EQ(head(blob, 4), little_32(3));
    for (uint32_t k = 0; k < 3; ++k) {
        const Bytes record(blob.begin() + 4 + 68 * k, blob.begin() + 72 + 68 * k);
        const uint32_t row = 4 * k + 5;
        EXPECT_EQ(head(record, 8),
                  cat({little_32(static_cast<uint32_t>(jpeg.size())), little_16(256), little_16(256)}));
        for (const size_t zero : {29u, 36u, 46u, 64u}) EXPECT_EQ(record[zero], 0) << zero;
        EXPECT_EQ(tail(record, 20),
                  cat({little_32(16 * row - 2), little_32(row), little_32(row), little_32(row), little_32(0)}));
        // 16 MCUs a row: where the restart marker stands before the checkpoint is in the counters.
        EXPECT_EQ(record[26] | record[27] << 8, static_cast<int>(row * 16 % 3 ? 3 - row * 16 % 3 : 3)) << row;
    }
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    ASSERT_EQ(vorel_read_midpoints(input.session(), blob.data(), static_cast<int32_t>(blob.size())), 1);
    EXPECT_EQ(VORELBRIM_GetJPEGMidPoint(input.session(), 1, 1), 0);  // no decoder yet
    ASSERT_EQ(prepare(input.session(), {256, 256}), 1);
    for (const auto &[divisor, index, row] :
         {std::tuple{1, 0, 80}, {1, 1, 80}, {2, 2, 72}, {8, 3, 26}, {1, 4, 0}, {0, 1, 0}, {1, -1, 0}})
        EXPECT_EQ(VORELBRIM_GetJPEGMidPoint(input.session(), divisor, index), row) << divisor << " " << index;
    EXPECT_EQ(VORELBRIM_AbortJPEGIter(input.session()), 1);
}

// Records of readers that keep whole bytes in their reservoir, 0xFF with its stuffing among them.
TEST(JpegMidpoint, AFullReservoirGoesOn) {
    const Bytes jpeg = turbo_picture({.width = 256, .height = 256, .quality = 100, .noise = 120});
    const Decoded whole = decode(jpeg, {.format = COLOR_GRAY, .width = 256, .height = 256});
    Bytes blob = blob_of(jpeg, 2, {256, 256});
    int longer = 0;
    for (int k = 0; k < 2; ++k) {
        uint8_t *record = blob.data() + 4 + 68 * k;
        const auto word = [&](int at) { return little_endian_32(record + at); };
        uint32_t bits = word(16), count = word(32), left = static_cast<uint32_t>(record[24] | record[25] << 8);
        while (count <= 24) {
            const uint8_t byte = jpeg[word(8) - left];
            left -= byte == 0xFF ? 2 : 1;
            bits = bits << 8 | byte;
            count += 8;
            ++longer;
        }
        const Bytes put = cat({little_32(bits), little_32(0), little_16(left)});
        std::copy(put.begin(), put.end(), record + 16);
        record[32] = static_cast<uint8_t>(count);
    }
    EXPECT_GE(longer, 6);
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    OpenRecord record(jpeg, COLOR_RGBA8888, 256, 256), straight(jpeg, COLOR_RGBA8888, 256, 256);
    ASSERT_EQ(vorel_read_midpoints(record.session(), blob.data(), static_cast<int32_t>(blob.size())), 1);
    record.session()->midpointState = static_cast<Midpoint *>(VORELBRIM_OsMalloc(68));
    *record.session()->midpointState = *record.session()->midpoints[1];
    LOAD_MID_POINT(record.get());
    EXPECT_EQ(record.session()->midpointState, nullptr);
    const uint32_t row = record.get()->pump.imcu_row;
    EXPECT_EQ(row, 11u);
    decode_mcus(straight.scan(), McuMode::kSkip, static_cast<int32_t>(row * 16), nullptr, nullptr);
    EXPECT_EQ(record.position(), straight.position());
    record.process_all(256, 16 * row);
    straight.get()->pump.imcu_row = 0;
    const Decoded all = decode(jpeg, {.format = COLOR_RGBA8888, .width = 256, .height = 256});
    EXPECT_EQ(tail(record.pixels(), 1024 * (256 - 16 * row)), tail(all.pixels, 1024 * (256 - 16 * row)));
}

// Bytes of checkpoints may come from anywhere. Numbers that they give no decoder are 0, and the others cover the
// picture.
TEST(JpegMidpoint, DamagedRecordsCountAsMissing) {
    const Bytes jpeg = turbo_picture(kPictures[0].spec);
    const Bytes good = blob_of(jpeg, 4);
    const struct {
        size_t at;
        Bytes value;
    } kDamage[] = {{0, {9}},     {4, {9}},    {6, {9}}, {8, {0xFF, 0xFF, 0xFF, 0x7F}}, {24, {0x60, 0xEA}}, {32, {33}},
                   {52, {0, 0}}, {52, {200}}, {52, {1}}};
    for (const auto &damage : kDamage) {
        Bytes blob = changed(good, 4 + 68 * 2 + damage.at, damage.value);
        Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
        DecInfo *session = input.session();
        ASSERT_EQ(vorel_read_midpoints(session, blob.data(), static_cast<int32_t>(blob.size())), 1);
        ASSERT_EQ(prepare(session, kTargets[0]), 1);
        GuardBuffer strip(strip_bytes(COLOR_RGBA8888, kWidth, 300));
        EXPECT_EQ(VORELBRIM_DecodeJPEGMidpIter4LTN(session, strip.data(), kWidth, kHeight, 1, 3, 300), 0) << damage.at;
        EXPECT_EQ(VORELBRIM_GetJPEGMidPoint(session, 1, 3), 0) << damage.at;
        EXPECT_EQ(decoder_of(session, 2)->iteration->end_row, decoder_of(session, 4)->iteration->first_row);
        for (const int number : {1, 2, 4, 5})
            EXPECT_EQ(VORELBRIM_DecodeJPEGMidpIter4LTN(session, strip.data(), kWidth, kHeight, 1, number, 300),
                      number < 5);
    }
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
    for (const Bytes &blob :
         {Bytes{}, Bytes{1, 0, 0}, head(good, good.size() - 1), changed(good, 0, {5}), changed(good, 3, {128})})
        EXPECT_EQ(vorel_read_midpoints(input.session(), blob.data(), static_cast<int32_t>(blob.size())), 0);
    EXPECT_EQ(vorel_read_midpoints(input.session(), little_32(0).data(), 4), 1);
}

TEST(JpegIterative, EndsEarlyWithoutALeak) {
    const CountingAllocator memory;
    std::vector<uint8_t> out(strip_bytes(COLOR_RGBA8888, kWidth, kHeight));
    for (const Picture &picture : kPictures) {
        const Bytes jpeg = turbo_picture(picture.spec);
        const Bytes blob = blob_of(jpeg, picture.spec.progressive ? 0 : 3);
        const size_t before = memory.live_blocks();
        for (int end = 0; end < 10; ++end) {
            for (int calls = 0; calls < 4; ++calls) {
                const std::string what =
                    std::string(picture.name) + " end " + std::to_string(end) + " after " + std::to_string(calls);
                Input input(Kind::kMemory, jpeg, COLOR_RGBA8888);
                DecInfo *session = input.session();
                ASSERT_EQ(vorel_read_midpoints(session, blob.data(), static_cast<int32_t>(blob.size())), 1);
                if (end == 5) {
                    // Not even prepared.
                    for (int i = 0; i <= calls; ++i) VORELBRIM_PrepareJPEGIter(session, kWidth, kHeight);
                    EXPECT_EQ(VORELBRIM_AbortJPEGIter(session), 1);
                    continue;
                }
                ASSERT_EQ(prepare(session, kTargets[0]), 1);
                const auto decode_more = end % 2 ? VORELBRIM_DecodeJPEGIter4LTN : VORELBRIM_DecodeJPEGIter;
                const auto step = [&](uint32_t flags, int width = kWidth) {
                    return decode_more(session, out.data(), width, kHeight, flags, 30);
                };
                for (int i = 0; i < calls; ++i) ASSERT_EQ(step(1), 4) << what;
                if (calls) EXPECT_GE(VORELBRIM_GetCurOutputRow(session), 30 * calls);
                if (end < 2) {
                    session->abortFlag = 6;
                    EXPECT_EQ(step(1), 6) << what;
                } else if (end < 4) {
                    EXPECT_EQ(end == 2 ? step(0) : step(1, kWidth + 1), 0) << what;
                } else if (end == 6) {
                    // The window is not the one that was prepared for.
                    session->partialDecode = 1;
                    EXPECT_EQ(step(1), 0) << what;
                } else if (end == 7 && calls) {
                    EXPECT_EQ(VORELBRIM_DecodeJPEGIter(session, out.data(), kWidth, kHeight, 1, 300), 0) << what;
                } else if (end == 9 && calls < 2 && !picture.spec.progressive) {
                    // Beyond where the strips of number 1 end.
                    EXPECT_EQ(VORELBRIM_DecodeJPEGIter4LTN(session, out.data(), kWidth, kHeight, 1, 200), 4);
                    EXPECT_EQ(VORELBRIM_DecodeJPEGMidpIter4LTN(session, out.data(), kWidth, kHeight, 1, 1, 30), 1);
                    VORELBRIM_AbortJPEGIter(session);
                } else if (end == 8) {
                    session->midpointCount = 0;
                    JpegInfo *again = nullptr;
                    EXPECT_EQ(VORELBRIM_InitJPEGIter(session, &again, kWidth, kHeight), 1);
                    EXPECT_EQ(step(2), 0);
                } else {
                    EXPECT_EQ(VORELBRIM_AbortJPEGIter(session), 1);
                }
                EXPECT_EQ(step(1), 0) << what;
                EXPECT_EQ(VORELBRIM_GetCurOutputRow(session), 0);
            }
        }
        EXPECT_EQ(memory.live_blocks(), before) << picture.name;
    }
    EXPECT_EQ(VORELBRIM_AbortJPEGIter(nullptr), 3);
}

TEST(JpegIterative, FailingAllocations) {
    for (const Picture &picture : kPictures) {
        const Bytes jpeg = turbo_picture(picture.spec);
        const Bytes blob = blob_of(jpeg, picture.spec.progressive ? 0 : 2);
        const Decoded whole = decode(jpeg, {.format = COLOR_RGB565, .width = 75, .height = 60});
        with_each_allocation_failing([&](CountingAllocator &allocator) {
            Input input(Kind::kMemory, jpeg, COLOR_RGB565);
            if (!input.session()) return;
            int32_t result = vorel_read_midpoints(input.session(), blob.data(), static_cast<int32_t>(blob.size()));
            if (result == 1) result = prepare(input.session(), {75, 60});
            Bytes out(whole.pixels.size());
            while (result == 1 || result == 4) {
                result = VORELBRIM_DecodeJPEGIter(input.session(), out.data(), 75, 60, 1, 11);
                if (result == 1) break;
            }
            if (!allocator.failed() || result == 1) EXPECT_TRUE(out == whole.pixels);
            VORELBRIM_AbortJPEGIter(input.session());
        });
    }
}

// A picture whose Exif segment holds another one.
TEST(JpegIterative, TheThumbnailInItsPlace) {
    const Bytes wide = turbo_picture({.width = 40, .height = 24}), tall = turbo_picture({.width = 24, .height = 40});
    for (const bool is_tall : {false, true}) {
        const Bytes &inner = is_tall ? tall : wide;
        const Bytes segment =
            cat({{0xFF, 0xE0}, big_16(static_cast<uint32_t>(inner.size()) + 8), text("JFXX"), {0, 16}, inner});
        const Bytes jpeg = with_inserted(turbo_picture(kPictures[0].spec), 2, segment);
        for (const uint32_t option : {0u, 1u, 2u, 3u}) {
            for (const int32_t format : {COLOR_RGBA8888, COLOR_YUV420}) {
                const bool turned = option == 3 && is_tall;
                const Target size = is_tall && !turned ? Target{24, 40} : Target{40, 24};
                const Bytes &shown = option < 2 ? jpeg : inner;
                Bytes expected;
                if (turned) {
                    expected = decode(shown, {.format = format, .width = 24, .height = 40}).pixels;
                    ASSERT_EQ(vorel_rotate(expected.data(), 24, 40, format, 90), 1);
                } else {
                    expected = decode(shown, {.format = format, .width = size.width, .height = size.height}).pixels;
                }
                Input input(Kind::kMemory, jpeg, format, option);
                ASSERT_EQ(prepare(input.session(), size), 1);
                GuardBuffer out(expected.size());
                int32_t result = 4;
                for (int rows = 7; result == 4; rows += 7) {
                    result = VORELBRIM_DecodeJPEGIter(input.session(), out.data(), size.width, size.height, 1, 7);
                    if (result == 4 && option > 1) EXPECT_EQ(VORELBRIM_GetCurOutputRow(input.session()), rows);
                }
                EXPECT_EQ(result, 1);
                EXPECT_TRUE(out.bytes() == expected) << option << " format " << format << " tall " << is_tall;
                // The picture itself does not fill the rectangle.
                if (option < 2) continue;
                ASSERT_EQ(prepare(input.session(), size), 1);
                GuardBuffer strip(strip_bytes(format, size.width, 64));
                EXPECT_EQ(VORELBRIM_DecodeJPEGIter4LTN(input.session(), strip.data(), size.width, size.height, 1, 64),
                          1);
                EXPECT_TRUE(strip.bytes() == expected_strip(expected, format, size, 0, size.height, 64, 0)) << option;
            }
        }
    }
    // One that is damaged gives way to the picture.
    const Bytes broken = cat({{0xFF, 0xE0}, big_16(108), text("JFXX"), {0, 16}, head(wide, 100)});
    const Bytes jpeg = with_inserted(turbo_picture(kPictures[0].spec), 2, broken);
    Input input(Kind::kMemory, jpeg, COLOR_RGBA8888, 2);
    ASSERT_EQ(prepare(input.session(), {40, 24}), 1);
    EXPECT_EQ(input.session()->imageWidth, static_cast<uint32_t>(kWidth));
    VORELBRIM_AbortJPEGIter(input.session());
}

}  // namespace
}  // namespace vorel::test
