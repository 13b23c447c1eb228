// Positions in a scan: told anywhere, the same for every path and input, and decoding goes on from them.
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

}  // namespace
}  // namespace vorel::test
