// Positions in a scan: reported anywhere, the same for every path and input, and decoding goes on from them.
#include <memory>
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

// Fill bytes in front of a stuffed byte, then a marker that does not belong there.
Bytes damaged(const Bytes &jpeg) {
    const size_t middle = scan_data(jpeg) + (jpeg.size() - scan_data(jpeg)) / 2;
    const Bytes filled = with_inserted(jpeg, middle, {0xFF, 0xFF, 0xFF, 0x00});
    return with_inserted(filled, middle + 700, {0xFF, 0xFF, 0xD3});
}

std::vector<Bytes> pictures() {
    std::vector<Bytes> out;
    for (const int sampling : {1, 2}) {
        for (const unsigned restart : {0u, 1u, 5u, 17u}) {
            PictureSpec spec = sized(260, 136, sampling, sampling);
            spec.restart_interval = restart;
            spec.noise = 100;
            spec.quality = 96;
            out.push_back(turbo_picture(spec));
            out.push_back(damaged(out.back()));
            spec.scans = Scans::kOnePerComponent;
            out.push_back(turbo_picture(spec));
        }
    }
    return out;
}

TEST(JpegPosition, IsTheSameForEveryPathAndInputAndDecodingGoesOnFromIt) {
    std::mt19937 random(3);
    for (const Bytes &jpeg : pictures()) {
        OpenRecord lead(jpeg, COLOR_GRAY, 260, 136);
        ASSERT_TRUE(lead.get() && lead.scan()->window);
        const auto total = static_cast<int32_t>(lead.scan()->mcusPerRow * lead.scan()->mcuRows);
        // Readers over each input and path, which follow the lead step by step.
        std::vector<std::unique_ptr<OpenRecord>> others;
        for (const Kind kind : {Kind::kMemory, Kind::kPath, Kind::kStream, Kind::kStdio}) {
            for (const bool plain : {false, true}) {
                allow_fast_path(!plain);
                others.push_back(std::make_unique<OpenRecord>(jpeg, COLOR_GRAY, 260, 136, kind));
                allow_fast_path(true);
                ASSERT_TRUE(others.back()->get());
            }
        }
        std::vector<EntropyPosition> seen;
        std::vector<int16_t> straight;
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
            const std::vector<int16_t> mcu_of = coefficients(lead, McuMode::kFull, 1);
            straight.insert(straight.end(), mcu_of.begin(), mcu_of.end());
        }
        // From the last position to the first: each is restored into a reader that stands somewhere else.
        const size_t per_mcu = straight.size() / seen.size();
        for (size_t at = seen.size(); at-- > 0;) {
            if (at % 7 && at + 40 < seen.size()) continue;
            ASSERT_TRUE(restore(lead.scan(), seen[at]));
            const std::vector<int16_t> expected = coefficients(lead, McuMode::kFull, kAhead);
            ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(per_mcu),
                                   straight.begin() + static_cast<ptrdiff_t>(at * per_mcu)))
                << "MCU " << at;
            OpenRecord &other = *others[random() % others.size()];
            ASSERT_TRUE(restore(other.scan(), seen[at]));
            ASSERT_EQ(coefficients(other, McuMode::kFull, kAhead), expected) << "MCU " << at;
            ASSERT_EQ(other.position(), lead.position()) << "MCU " << at;
        }
    }
}

// A stream without a way back refuses a position that its block no longer holds, and nothing is read.
TEST(JpegPosition, AStreamThatOnlyGoesForwardRefusesToGoBack) {
    StreamSource forward(turbo_picture({.width = 260, .height = 136, .noise = 90}));
    const SessionGuard session(forward.open(COLOR_GRAY, 0, false));
    OpenRecord record(session.get(), 260, 136);
    ASSERT_TRUE(record.get());
    const EntropyPosition first = tell(record.scan());
    decode_mcus(record.scan(), McuMode::kSkip, 17 * 9, nullptr, nullptr);
    EXPECT_FALSE(restore(record.scan(), first));
}

// Whole intervals above a window are passed over by their markers, from the first call on, and what follows is right.
TEST(JpegPosition, RestartMarkersLeadToAWindow) {
    const Bytes jpeg = turbo_picture({.width = 256, .height = 256, .restart_interval = 5});
    OpenRecord straight(jpeg, COLOR_GRAY, 256, 256);
    Input input(Kind::kMemory, jpeg, COLOR_GRAY);
    set_window(input.session(), 0, 64, 100, 100);
    OpenRecord record(input.session(), 256, 256);
    ASSERT_TRUE(record.get());
    // 64 MCUs lie above; the interval that reaches beyond them is decoded.
    for (int mcu = 0; mcu < 60; ++mcu)
        ASSERT_EQ(BRIMJ_SkipMcuUsingRST(record.get()), mcu && mcu % 5 == 0 ? 1 : 2) << mcu;
    EXPECT_EQ(BRIMJ_SkipMcuUsingRST(record.get()), 0);
    coefficients(straight, McuMode::kFull, 60);
    EXPECT_EQ(coefficients(record, McuMode::kFull, 6), coefficients(straight, McuMode::kFull, 6));
}

// A source that pauses ends its MCU without decoding it, and that one does not count against the interval.
TEST(JpegPosition, APauseOfTheSourceDoesNotCount) {
    struct Pausing : StreamSource {
        size_t pause;
        static int32_t read(void *context, void *destination, int32_t count) {
            auto *self = static_cast<Pausing *>(context);
            if (self->position == self->pause) return self->pause = 0, 0;
            const auto before = static_cast<int32_t>(self->pause) - static_cast<int32_t>(self->position);
            return StreamSource::read(self, destination, self->pause ? std::min(count, before) : count);
        }
    };
    const Bytes jpeg = turbo_picture({.width = 160, .height = 160, .restart_interval = 60});
    Pausing source = {StreamSource(jpeg), scan_data(jpeg) + 300};
    const SessionGuard session(VORELBRIM_CreateDecInfoWithStream(
        &source, static_cast<int32_t>(jpeg.size()), Pausing::read, StreamSource::skip, nullptr, COLOR_GRAY, 0));
    const PlainPathOnly plain_only;
    OpenRecord record(session.get(), 160, 160);
    ASSERT_TRUE(record.get());
    EXPECT_EQ(decode_mcus(record.scan(), McuMode::kSkip, 50, nullptr, nullptr), 50);
    EXPECT_EQ(source.pause, 0u);
    EXPECT_EQ(record.scan()->entropy.restartsToGo, 11u);
}

}  // namespace
}  // namespace vorel::test
