// Progressive streams and streams with measured tables: what libjpeg-turbo reads of them, and fast rows beside single
// MCUs.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "jpeg/decoder/decode_support.h"
#include "jpeg/encoder/encode_support.h"
#include "oracle/turbo.h"
#include "support/counting_allocator.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// Segments of a stream, from their length on; entropy-coded data is passed over.
struct Segment {
    int code;
    Bytes body;
};
std::vector<Segment> segments(const Bytes &stream) {
    std::vector<Segment> out;
    for (size_t at = 2; at + 3 < stream.size(); ++at) {
        if (stream[at] != 0xFF || stream[at + 1] < 0xC0 || (stream[at + 1] & 0xF8) == 0xD0) continue;
        const size_t length = static_cast<size_t>(stream[at + 2] << 8 | stream[at + 3]);
        const auto from = stream.begin() + static_cast<ptrdiff_t>(at);
        out.push_back({stream[at + 1], Bytes(from + 4, from + 2 + static_cast<ptrdiff_t>(length))});
        at += 1 + length;
    }
    return out;
}

void expect_same_blocks(const Bytes &stream, const Bytes &baseline, const std::string &what, int warnings = 0) {
    const auto planes = turbo_planes(stream);
    ASSERT_TRUE(planes) << what;
    EXPECT_EQ(planes->warnings, warnings) << what;
    const auto blocks = turbo_coefficients(stream), wanted = turbo_coefficients(baseline);
    ASSERT_EQ(blocks.size(), wanted.size()) << what;
    for (size_t c = 0; c < wanted.size(); ++c) {
        EXPECT_EQ(blocks[c].across, wanted[c].across) << what;
        EXPECT_TRUE(blocks[c].coefficients == wanted[c].coefficients) << what << " component " << c;
    }
}

// Blocks beside and below the picture have nothing but the DC value of their neighbour.
void expect_filled_mcus(const JEInfo *session) {
    for (uint32_t c = 0; c < session->componentCount; ++c) {
        const JEComponent &component = session->components[c];
        JEBlock **rows = session->coefState->wholeImage[c];
        for (uint32_t y = 0; y < session->mcuRowTotal * component.vSamp; ++y) {
            const bool below = y >= component.heightInBlocks;
            for (uint32_t x = below ? 0 : component.widthInBlocks; x % component.hSamp || x < component.widthInBlocks;
                 ++x) {
                const int16_t *block = rows[y][x];
                EXPECT_EQ(block[0], below ? rows[y - 1][x][0] : rows[y][x - 1][0]);
                EXPECT_EQ(std::count(block + 1, block + 64, 0), 63);
            }
        }
    }
}

// A progressive session step by step. An interval makes MCU go by MCU; of one with more MCUs than there are nothing but
// its segment is in the stream, and is taken out.
constexpr uint32_t kNever = 1 << 30;
Bytes by_steps(const RawPicture &picture, int32_t quality, uint32_t interval) {
    RawInfo raw = picture.record();
    raw.progressive = 1;
    HuffmanSpec spec = {};
    spec.quality = static_cast<uint32_t>(quality);
    RimEncSink sink = {};
    sink.mode = 1;
    JEInfo *session = __rim_jpeg_enc_initiaize(&raw, &sink, &spec, nullptr);
    session->restartInterval = interval;
    while (session->nextRow < session->height) __rim_jpeg_enc_process_image_data(session);
    vjpeg_init_c_master_control(session);
    expect_filled_mcus(session);
    bool good = true;
    uint32_t passes = 0;
    for (vjpeg_finish_pass_master(session); good && !session->master->isLastPass; vjpeg_finish_pass_master(session)) {
        good = vjpeg_prepare_for_pass(session) == 1;
        for (uint32_t row = 0; row < session->mcuRowTotal; ++row)
            good = good && __rim_jpeg_enc_compress_output(session) == 1;
        ++passes;
    }
    EXPECT_TRUE(good);
    EXPECT_EQ(__rim_jpeg_enc_compress_output(session), 0) << "no row is left";
    EXPECT_EQ(__rim_jpeg_enc_compress_first_pass(session, session->sampling->rows), 0);
    EXPECT_EQ(passes, 2 * session->scanCount - 2);  // less the first, and that of DC refinement that there is not
    EXPECT_EQ(__rim_jpeg_enc_make_end_mark(session), 1);
    const Bytes first = head(encode(picture), 20);  // SOI and APP0
    Bytes stream = cat({first, Bytes(session->sink->buffer, session->sink->buffer + session->sink->total)});
    const Bytes segment = {0xFF, 0xDD, 0, 4, 0, 0};
    const auto at = std::search(stream.begin(), stream.end(), segment.begin(), segment.end());
    if (interval == kNever && at < stream.end()) stream.erase(at, at + 6);
    vjpeg_enc_release_prog_info(session);
    VORELBRIM_OsFree(session->sink->buffer);
    __rim_jpeg_enc_release_mem(session);
    VORELBRIM_OsFree(session);
    return stream;
}

TEST(JpegProgressiveEncoder, BlocksOfTheStandardStream) {
    const int sizes[][2] = {{1, 1}, {8, 8}, {16, 16}, {17, 9}, {33, 31}, {100, 75}};
    for (const int32_t format : kReadFormats) {
        for (const auto &size : sizes) {
            for (const int quality : {1, 40, 85, 100}) {
                const std::string what =
                    testing::PrintToString(std::vector{format, size[0], size[1], static_cast<int>(quality)});
                const RawPicture picture =
                    quality == 100 ? raw_noise(format, size[0], size[1]) : raw_picture(format, size[0], size[1]);
                const Bytes standard = encode(picture, {.quality = quality});
                const Bytes progressive = encode(picture, {.quality = quality, .progressive = true});
                expect_same_blocks(progressive, standard, what);
                const Decoded ours = decode(progressive, {});
                EXPECT_EQ(ours.result, 1) << what;
                EXPECT_TRUE(ours.pixels == decode(standard, {}).pixels) << what;
                const Bytes optimal = encode(picture, {.quality = quality, .optimize = true});
                // One for the spectral selection of baseline scans.
                expect_same_blocks(optimal, standard, what + " with measured tables", 1);
                EXPECT_LE(optimal.size(), standard.size()) << what;
            }
        }
    }
}

TEST(JpegProgressiveEncoder, ScansInTheirOrder) {
    const Bytes colour = {3, 1, 0, 2,  0x10, 3,    0x10, 0, 0, 0x01, 1,    1, 0, 1, 5, 0x02, 1,
                          3, 1, 1, 63, 0x01, 1,    2,    1, 1, 63,   0x01, 1, 1, 0, 6, 63,   0x02,
                          1, 1, 0, 1,  63,   0x21, 3,    1, 0, 2,    0,    3, 0, 0, 0, 0x10, 1,
                          3, 1, 1, 63, 0x10, 1,    2,    1, 1, 63,   0x10, 1, 1, 0, 1, 63,   0x10};
    const Bytes gray = {1, 1, 0, 0, 0,  0x01, 1, 1, 0, 1, 5, 0x02, 1, 1, 0, 6, 63, 0x02,
                        1, 1, 0, 1, 63, 0x21, 1, 1, 0, 0, 0, 0x10, 1, 1, 0, 1, 63, 0x10};
    for (const int32_t format : {COLOR_YUV420, COLOR_GRAY}) {
        Bytes scans, order;
        for (const Segment &segment : segments(encode(raw_picture(format, 200, 120), {.progressive = true}))) {
            order.push_back(static_cast<uint8_t>(segment.code));
            if (segment.code == 0xDA) scans = cat({scans, segment.body});
        }
        EXPECT_EQ(scans, format == COLOR_GRAY ? gray : colour);
        const Bytes one = {0xC4, 0xDA}, three = cat({one, one, one});
        // A refinement of DC values has no table.
        EXPECT_EQ(order, format == COLOR_GRAY ? cat({{0xE0, 0xDB, 0xC2}, one, three, {0xDA}, one})
                                              : cat({{0xE0, 0xDB, 0xDB, 0xC2, 0xC4}, three, three, {0xDA}, three}));
    }
}

// 67 x 490 blocks without a coefficient: a run of 32767 and one of 63, each with the size of its length as its symbol.
TEST(JpegProgressiveEncoder, LongRuns) {
    for (const int32_t format : {COLOR_GRAY, COLOR_YUV444}) {
        RawPicture picture = raw_noise(format, 536, 3920);
        std::fill(picture.pixels.begin(), picture.pixels.end(), uint8_t{90});
        const Bytes stream = encode(picture, {.progressive = true});
        expect_same_blocks(stream, encode(picture), "flat");
        EXPECT_TRUE(stream == by_steps(picture, 85, kNever));
        for (const Segment &segment : segments(stream)) {
            if (segment.code != 0xC4 || segment.body[0] < 0x10) continue;
            const std::set<uint8_t> symbols(segment.body.begin() + 17, segment.body.end());
            EXPECT_EQ(symbols, (std::set<uint8_t>{0x50, 0xE0}));
        }
    }
}

// A run ends behind the block that brings the bits that refine it above 937, for single MCUs and for rows.
TEST(JpegProgressiveEncoder, RefinementBitsBehindARun) {
    const struct {
        int bits, blocks;  // of each block; in a run
    } rows[] = {{63, 15}, {62, 16}, {31, 31}, {1, 938}};
    for (const auto &row : rows) {
        const RawPicture picture = raw_picture(COLOR_GRAY, 8 * 960, 8);
        RawInfo raw = picture.record();
        raw.progressive = 1;
        RimEncSink sink = {};
        JEInfo *session = __rim_jpeg_enc_initiaize(&raw, &sink, nullptr, nullptr);
        session->ss = 1, session->se = 63, session->ah = 1, session->al = 0;
        ASSERT_EQ(vjpeg_start_pass_phuff(session, 1), 1);
        int16_t block[64] = {}, *blocks[] = {block};
        std::fill(block + 64 - row.bits, block + 64, int16_t{-3});
        int coded = 0;
        for (const JEPhuff *phuff = session->phuff; coded == 0 || phuff->eobRun; ++coded) {
            EXPECT_EQ(phuff->bufferedBits, static_cast<uint32_t>(coded * row.bits));
            ASSERT_EQ(session->phuff->encodeMcu(session, blocks), 1);
        }
        EXPECT_EQ(coded, row.blocks) << row.bits;
        ASSERT_EQ(vjpeg_start_pass_phuff(session, 1), 1);
        for (int i = 0; i < 960; ++i) std::copy_n(block, 64, session->coefState->wholeImage[0][0][i]);
        EXPECT_EQ(__rim_jpeg_enc_compress_output(session), 1);
        EXPECT_EQ(session->phuff->eobRun, static_cast<uint32_t>(960 % row.blocks));
        __rim_jpeg_enc_release_mem(session);
        VORELBRIM_OsFree(session);
    }
}

TEST(JpegProgressiveEncoder, RowsAndSingleMcusGiveTheSameBytes) {
    for (const int32_t format : {COLOR_GRAY, COLOR_YUV420, COLOR_YUV422, COLOR_RGBA8888, COLOR_YUV444}) {
        RawPicture harsh = raw_noise(format, 270, 145);
        for (auto &byte : harsh.pixels) byte = byte & 1 ? 255 : 0;
        for (const auto &picture : {harsh, raw_noise(format, 270, 145), raw_picture(format, 333, 181, 4)}) {
            for (const int quality : {10, 75, 95, 100}) {
                EXPECT_TRUE(encode(picture, {.quality = quality, .progressive = true}) ==
                            by_steps(picture, quality, kNever))
                    << format << " quality " << quality;
            }
        }
    }
}

TEST(JpegProgressiveEncoder, RestartIntervalOfTheCaller) {
    for (const int32_t format : {COLOR_GRAY, COLOR_YUV420}) {
        const RawPicture picture = raw_picture(format, 181, 75);
        expect_same_blocks(by_steps(picture, 90, 7), encode(picture, {.quality = 90}), "interval");
    }
}

TEST(JpegProgressiveEncoder, FilesAndFailingAllocations) {
    const RawPicture picture = raw_picture(COLOR_RGBA8888, 70, 50);
    RawInfo raw = picture.record();
    raw.progressive = 1;
    const TempFile file;
    const Bytes whole = encode(picture, {.progressive = true});
    ASSERT_EQ(rim_enc_jpeg_to_file(&raw, file.path(), 85), 1);
    EXPECT_TRUE(read_file(file.path()) == whole);
    with_each_allocation_failing([&](const CountingAllocator &allocator) {
        const Bytes stream = encode(picture, {.progressive = true});
        EXPECT_TRUE(allocator.failed() ? stream.empty() || stream == whole : stream == whole);
    });
}

}  // namespace
}  // namespace vorel::test
