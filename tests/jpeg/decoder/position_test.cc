// Positions in a scan: told anywhere, the same for every path and input, and decoding goes on from them.
#include <array>
#include <cstring>
#include <random>

#include "jpeg/decoder/colour_model.h"
#include "jpeg/decoder/open_record.h"
#include "jpeg/decoder/surgery.h"

namespace vorel::test {
namespace {

// All coefficients of the next `count` MCUs.
std::vector<int16_t> coefficients(OpenRecord &record, McuMode mode, int32_t count) {
    std::vector<int16_t> out;
    McuBatch *batch = record.batch();
    const int32_t blocks = record.scan()->blocksInMcu;
    for (int32_t i = 0; i < count; ++i) {
        if (decode_mcus(record.scan(), mode, 1, batch->blocks, batch->last) != 1) out.push_back(-1);
        if (mode == McuMode::kSkip) continue;
        const int16_t *from = batch->coefficients[0];
        out.insert(out.end(), from, from + blocks * (mode == McuMode::kDc ? 1 : 64));
    }
    return out;
}

struct GridCase {
    PictureSpec spec;
    bool damaged;
};

std::vector<GridCase> grid() {
    std::vector<GridCase> out;
    for (const int sampling : {1, 2}) {
        for (const unsigned restart : {0u, 1u, 5u, 17u}) {
            for (const Scans scans : {Scans::kInterleaved, Scans::kOnePerComponent}) {
                PictureSpec spec;
                spec.width = 260;
                spec.height = 136;
                spec.h = spec.v = sampling;
                spec.restart_interval = restart;
                spec.scans = scans;
                spec.noise = 100;
                spec.quality = 96;
                out.push_back({spec, false});
                if (scans == Scans::kInterleaved) out.push_back({spec, true});
            }
        }
    }
    return out;
}

Bytes picture_of(const GridCase &row) {
    const Bytes jpeg = turbo_picture(row.spec);
    if (!row.damaged) return jpeg;
    // Fill bytes in front of a stuffed byte, then a marker that does not belong there.
    const size_t middle = scan_data(jpeg) + (jpeg.size() - scan_data(jpeg)) / 2;
    const Bytes filled = with_inserted(jpeg, middle, {0xFF, 0xFF, 0xFF, 0x00});
    return with_inserted(filled, middle + 700, {0xFF, 0xFF, 0xD3});
}

TEST(JpegPosition, IsTheSameForEveryPathAndInputAndDecodingGoesOnFromIt) {
    std::mt19937 random(3);
    for (const GridCase &row : grid()) {
        const Bytes jpeg = picture_of(row);
        OpenRecord lead(jpeg, COLOR_GRAY, row.spec.width, row.spec.height);
        ASSERT_TRUE(lead.get() && lead.scan()->window);
        const auto total = static_cast<int32_t>(lead.scan()->mcusPerRow * lead.scan()->mcuRows);
        // Readers over each input and path, which follow the lead step by step.
        std::vector<std::unique_ptr<OpenRecord>> others;
        for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream, Kind::kStdio}) {
            for (const bool plain : {false, true}) {
                allow_fast_path(!plain);
                others.push_back(std::make_unique<OpenRecord>(jpeg, COLOR_GRAY, row.spec.width, row.spec.height, kind));
                allow_fast_path(true);
                ASSERT_TRUE(others.back()->get());
            }
        }
        std::vector<EntropyPosition> seen;
        std::vector<std::vector<int16_t>> next;
        constexpr int32_t kAhead = 3;
        for (int32_t mcu = 0; mcu + kAhead < total; ++mcu) {
            ASSERT_EQ(begin_mcu(lead.scan()), begin_mcu(others[0]->scan()));
            seen.push_back(tell(lead.scan()));
            const std::vector<int64_t> position = lead.position();
            for (size_t i = 0; i < others.size(); ++i) {
                begin_mcu(others[i]->scan());
                ASSERT_EQ(others[i]->position(), position) << "MCU " << mcu << " reader " << i;
                decode_mcus(others[i]->scan(), McuMode::kSkip, 1, nullptr, nullptr);
            }
            coefficients(lead, McuMode::kFull, 1);
        }
        // From the last position to the first: each is restored into a reader that stands somewhere else.
        for (size_t at = seen.size(); at-- > 0;) {
            if (at % 7 && at + 40 < seen.size()) continue;
            ASSERT_TRUE(restore(lead.scan(), seen[at]));
            const std::vector<int16_t> expected = coefficients(lead, McuMode::kFull, kAhead);
            const std::vector<int64_t> behind = lead.position();
            OpenRecord &other = *others[random() % others.size()];
            ASSERT_TRUE(restore(other.scan(), seen[at]));
            ASSERT_EQ(coefficients(other, McuMode::kFull, kAhead), expected) << "MCU " << at;
            ASSERT_EQ(other.position(), behind) << "MCU " << at;
        }
    }
}

// Telling changes nothing, and the coefficients behind a restored position are those of a straight decode.
TEST(JpegPosition, RestoredDecodesEqualTheStraightOne) {
    PictureSpec spec;
    spec.width = 260;
    spec.height = 136;
    spec.noise = 90;
    spec.restart_interval = 6;
    const Bytes jpeg = turbo_picture(spec);
    OpenRecord straight(jpeg, COLOR_GRAY, 260, 136), other(jpeg, COLOR_GRAY, 260, 136, Kind::kStream);
    const int32_t total = 17 * 9;
    std::vector<EntropyPosition> positions;
    std::vector<std::vector<int16_t>> blocks;
    for (int32_t mcu = 0; mcu < total; ++mcu) {
        ASSERT_TRUE(begin_mcu(straight.scan()));
        positions.push_back(tell(straight.scan()));
        blocks.push_back(coefficients(straight, McuMode::kFull, 1));
    }
    for (int32_t mcu = total - 1; mcu >= 0; --mcu) {
        ASSERT_TRUE(restore(other.scan(), positions[static_cast<size_t>(mcu)]));
        ASSERT_EQ(coefficients(other, McuMode::kFull, 1), blocks[static_cast<size_t>(mcu)]) << mcu;
    }
    // A stream without a way back refuses a position that its block no longer holds, and nothing is read.
    StreamSource forward(jpeg);
    SessionGuard session(forward.open(COLOR_GRAY, 0, false));
    StreamCursor cursor(session->ioInfo);
    FrameRequest request = {0, 0, nullptr, 260, 136};
    JpegInfo *info = BRIMJ_Initialize(session.get(), cursor.stream(), &request);
    ASSERT_TRUE(info);
    decode_mcus(&info->scan, McuMode::kSkip, total, nullptr, nullptr);
    EXPECT_FALSE(restore(&info->scan, positions[0]));
    BRIMJ_DeleteDecoderInfo(info);
}

// Whole intervals above a window are passed over by their markers, from the first call on, and what follows is right.
TEST(JpegPosition, RestartMarkersLeadToAWindow) {
    PictureSpec spec;
    spec.width = spec.height = 256;
    spec.restart_interval = 5;
    const Bytes jpeg = turbo_picture(spec);
    OpenRecord straight(jpeg, COLOR_GRAY, 256, 256);
    Input input(Kind::kMemory, jpeg, COLOR_GRAY);
    DecInfo *session = input.session();
    session->partialDecode = 1;
    session->partialY = 64;
    session->partialWidth = session->partialHeight = 100;
    StreamCursor cursor(session->ioInfo);
    FrameRequest request = {0, 0, nullptr, 256, 256};
    JpegInfo *info = BRIMJ_Initialize(session, cursor.stream(), &request);
    ASSERT_TRUE(info);
    // 64 MCUs lie above; the interval that reaches beyond them is decoded.
    for (int mcu = 0; mcu < 60; ++mcu) ASSERT_EQ(BRIMJ_SkipMcuUsingRST(info), mcu && mcu % 5 == 0 ? 1 : 2) << mcu;
    EXPECT_EQ(BRIMJ_SkipMcuUsingRST(info), 0);
    coefficients(straight, McuMode::kFull, 60);
    const std::vector<int16_t> expected = coefficients(straight, McuMode::kFull, 6);
    McuBatch *batch = info->pump.batch;
    ASSERT_EQ(decode_mcus(&info->scan, McuMode::kFull, 6, batch->blocks, batch->last), 6);
    EXPECT_TRUE(std::equal(expected.end() - 384, expected.end(), batch->coefficients[30]));
    BRIMJ_DeleteDecoderInfo(info);
}

// A source that pauses ends its MCU without decoding it, and that one does not count against the interval.
TEST(JpegPosition, APauseOfTheSourceDoesNotCount) {
    struct Pausing {
        Bytes bytes;
        size_t position, pause;
        static int32_t read(void *context, void *destination, int32_t count) {
            Pausing *self = static_cast<Pausing *>(context);
            if (self->position == self->pause) {
                self->pause = 0;
                return 0;
            }
            const size_t end = self->pause ? self->pause : self->bytes.size();
            const size_t bytes = std::min(static_cast<size_t>(count), end - self->position);
            std::memcpy(destination, self->bytes.data() + self->position, bytes);
            self->position += bytes;
            return static_cast<int32_t>(bytes);
        }
        static int32_t skip(void *, int32_t, int32_t count) { return count; }
    };
    PictureSpec spec;
    spec.width = spec.height = 160;
    spec.restart_interval = 60;
    const Bytes jpeg = turbo_picture(spec);
    Pausing source = {jpeg, 0, scan_data(jpeg) + 300};
    SessionGuard session(VORELBRIM_CreateDecInfoWithStream(&source, static_cast<int32_t>(jpeg.size()), Pausing::read,
                                                           Pausing::skip, nullptr, COLOR_GRAY, 0));
    StreamCursor cursor(session->ioInfo);
    FrameRequest request = {0, 0, nullptr, 160, 160};
    const PlainPathOnly plain_only;
    JpegInfo *info = BRIMJ_Initialize(session.get(), cursor.stream(), &request);
    ASSERT_TRUE(info);
    EXPECT_EQ(decode_mcus(&info->scan, McuMode::kSkip, 50, nullptr, nullptr), 50);
    EXPECT_EQ(source.pause, 0u);
    EXPECT_EQ(info->scan.entropy.restartsToGo, 11u);
    BRIMJ_DeleteDecoderInfo(info);
}

// ---- Streams whose tables no encoder would choose

// Codes of one length, and how a block ends.
struct Coding {
    int code_bits;
    enum { kPlainEnds, kOddEnds, kNoEnds } ends;  // run 0 and size 0; runs of 0 to 14 with size 0; never
};

using Block = std::array<int, 64>;  // zigzag order

class StreamWriter {
  public:
    explicit StreamWriter(const Coding &coding) : coding_(coding) {
        if (coding.ends != Coding::kNoEnds) {
            for (int run = 0; run < 15; ++run) symbols_.push_back(static_cast<uint8_t>(run << 4));
        }
        symbols_.push_back(0xF0);
        for (int symbol = 0; symbol < 256; ++symbol) {
            if ((symbol & 15) >= 1 && (symbol & 15) <= 5) symbols_.push_back(static_cast<uint8_t>(symbol));
        }
    }
    // Both tables, at index 0.
    Bytes tables() const {
        Bytes dc_symbols(12), out;
        for (size_t i = 0; i < 12; ++i) dc_symbols[i] = static_cast<uint8_t>(i);
        for (const bool ac : {false, true}) {
            const Bytes &symbols = ac ? symbols_ : dc_symbols;
            Bytes segment(21, 0);
            segment[0] = 0xFF;
            segment[1] = 0xC4;
            segment[3] = static_cast<uint8_t>(19 + symbols.size());
            segment[4] = ac ? 0x10 : 0;
            segment[static_cast<size_t>(4 + coding_.code_bits)] = static_cast<uint8_t>(symbols.size());
            segment.insert(segment.end(), symbols.begin(), symbols.end());
            out.insert(out.end(), segment.begin(), segment.end());
        }
        return out;
    }
    void block(const Block &block, int component) {
        const int difference = block[0] - last_dc_[component];
        last_dc_[component] = block[0];
        put(static_cast<unsigned>(size_of(difference)), coding_.code_bits);
        value(difference);
        int run = 0;
        for (size_t k = 1; k < 64; ++k) {
            if (block[k] == 0) {
                ++run;
                continue;
            }
            for (; run > 15; run -= 16) symbol(0xF0);
            symbol(run << 4 | size_of(block[k]));
            value(block[k]);
            run = 0;
        }
        if (run) symbol(coding_.ends == Coding::kOddEnds ? ends_++ % 15 << 4 : 0);
    }
    Bytes data() {
        while (bits_.size() % 8) bits_.push_back(true);
        Bytes out;
        for (size_t i = 0; i < bits_.size(); i += 8) {
            int byte = 0;
            for (size_t k = i; k < i + 8; ++k) byte = byte * 2 + bits_[k];
            out.push_back(static_cast<uint8_t>(byte));
            if (byte == 0xFF) out.push_back(0);
        }
        return out;
    }

  private:
    static int size_of(int value) {
        int size = 0;
        for (int rest = std::abs(value); rest; rest >>= 1) ++size;
        return size;
    }
    void put(unsigned value, int count) {
        while (count-- > 0) bits_.push_back(value >> count & 1);
    }
    void value(int value) { put(static_cast<unsigned>(value < 0 ? value - 1 : value), size_of(value)); }
    void symbol(int symbol) {
        const auto at = std::find(symbols_.begin(), symbols_.end(), static_cast<uint8_t>(symbol));
        put(static_cast<unsigned>(at - symbols_.begin()), coding_.code_bits);
    }

    Coding coding_;
    Bytes symbols_;
    std::vector<bool> bits_;
    int last_dc_[3] = {};
    int ends_ = 0;
};

// Three components of 24 x 24 blocks, in one scan or in one each, with tables of its own before each.
Bytes coded_picture(const std::vector<Block> (&blocks)[3], const std::vector<Coding> &codings) {
    Bytes out = {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
    out.insert(out.end(), 64, 3);
    out.insert(out.end(), {0xFF, 0xC0, 0, 17, 8, 0, 192, 0, 192, 3, 1, 0x11, 0, 2, 0x11, 0, 3, 0x11, 0});
    for (size_t s = 0; s < codings.size(); ++s) {
        StreamWriter writer(codings[s]);
        const Bytes tables = writer.tables();
        out.insert(out.end(), tables.begin(), tables.end());
        const size_t first = codings.size() == 1 ? 0 : s, end = codings.size() == 1 ? 3 : s + 1;
        const auto count = static_cast<uint8_t>(end - first);
        out.insert(out.end(), {0xFF, 0xDA, 0, static_cast<uint8_t>(6 + 2 * count), count});
        for (size_t c = first; c < end; ++c) out.insert(out.end(), {static_cast<uint8_t>(c + 1), 0});
        out.insert(out.end(), {0, 63, 0});
        for (size_t b = 0; b < blocks[0].size(); ++b) {
            for (size_t c = first; c < end; ++c) writer.block(blocks[c][b], static_cast<int>(c));
        }
        const Bytes data = writer.data();
        out.insert(out.end(), data.begin(), data.end());
    }
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

// The same coefficients under other codes are the same picture, at every scale and in a window, on both paths.
TEST(JpegPosition, TablesThatChangeBetweenScansGiveTheSamePicture) {
    std::mt19937 random(7);
    std::vector<Block> blocks[3];
    for (size_t c = 0; c < 3; ++c) {
        for (int b = 0; b < 24 * 24; ++b) {
            Block block = {};
            block[0] = static_cast<int>(random() % 300) - 150;
            for (size_t k = 1; k < 64; ++k) {
                if (random() % 7 == 0) block[k] = static_cast<int>(random() % 31) - 15;
            }
            // What a block without an end needs.
            if (c == 1 && block[63] == 0) block[63] = 1;
            blocks[c].push_back(block);
        }
    }
    const Bytes plain = coded_picture(blocks, {{8, Coding::kPlainEnds}});
    const Bytes odd = coded_picture(blocks, {{16, Coding::kPlainEnds}, {8, Coding::kNoEnds}, {9, Coding::kOddEnds}});
    for (const int side : {192, 96, 48, 24, 12, 70}) {
        for (const uint32_t window : {0u, 5u}) {
            DecodeSpec wanted{.width = side, .height = side, .window_x = window, .window_y = window};
            if (window) wanted.window_width = wanted.window_height = 6;
            const Decoded expected = decode(plain, wanted);
            for (const bool fast : {true, false}) {
                allow_fast_path(fast);
                const Decoded ours = decode(odd, wanted);
                allow_fast_path(true);
                EXPECT_EQ(ours.result, 1);
                EXPECT_TRUE(ours.pixels == expected.pixels) << side << " window " << window << " fast " << fast;
            }
        }
    }
    EXPECT_EQ(turbo_coefficients(odd)[2].coefficients[0], blocks[2][0][0]) << "the generator's streams are good";
}

}  // namespace
}  // namespace vorel::test
